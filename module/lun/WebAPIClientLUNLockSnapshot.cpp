#include <webapi-iSCSI/lun/WebAPIClientLUNLockSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNLockSnapshot::WebAPIClientLUNLockSnapshot() = default;

WebAPIClientLUNLockSnapshot::WebAPIClientLUNLockSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                         const std::string& snapshot_uuid,
                                                         const std::string& app_key)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid), app_key(app_key)
{}

WebAPIClientLUNLockSnapshot::~WebAPIClientLUNLockSnapshot() = default;

int WebAPIClientLUNLockSnapshot::send()
{
    beginRequest(API, "lock_snapshot");
    params["snapshot_uuid"] = snapshot_uuid;
    params["app_key"] = app_key;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNLockSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty() || app_key.empty();
}

std::string WebAPIClientLUNLockSnapshot::toString() const
{
    return leafText("snapshot_uuid: " + snapshot_uuid + " ,app_key: " + app_key + " ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
