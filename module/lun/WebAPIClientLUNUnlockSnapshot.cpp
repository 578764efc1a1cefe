#include <webapi-iSCSI/lun/WebAPIClientLUNUnlockSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNUnlockSnapshot::WebAPIClientLUNUnlockSnapshot() = default;

WebAPIClientLUNUnlockSnapshot::WebAPIClientLUNUnlockSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& snapshot_uuid,
                                                             const std::string& app_key)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid), app_key(app_key)
{}

WebAPIClientLUNUnlockSnapshot::~WebAPIClientLUNUnlockSnapshot() = default;

int WebAPIClientLUNUnlockSnapshot::send()
{
    beginRequest(API, "unlock_snapshot");
    params["snapshot_uuid"] = snapshot_uuid;
    params["app_key"] = app_key;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNUnlockSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty() || app_key.empty();
}

std::string WebAPIClientLUNUnlockSnapshot::toString() const
{
    return leafText("snapshot_uuid: " + snapshot_uuid + " ,app_key: " + app_key + " ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
