#include <webapi-iSCSI/lun/WebAPIClientLUNSetSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNSetSnapshot::WebAPIClientLUNSetSnapshot() = default;

WebAPIClientLUNSetSnapshot::WebAPIClientLUNSetSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                       const std::string& snapshot_uuid,
                                                       const std::string& snapshot_name, int is_user_locked,
                                                       const std::string& description)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid), snapshot_name(snapshot_name),
      is_user_locked(is_user_locked), description(description)
{}

WebAPIClientLUNSetSnapshot::~WebAPIClientLUNSetSnapshot() = default;

int WebAPIClientLUNSetSnapshot::send()
{
    beginRequest(API, "set_snapshot");
    params["snapshot_uuid"] = snapshot_uuid;
    SetIfNotEmpty(params, "snapshot_name", snapshot_name);
    if (is_user_locked >= 0)
        params["is_user_locked"] = is_user_locked > 0;
    SetIfNotEmpty(params, "description", description);
    return sendRequestByDrNode();
}

bool WebAPIClientLUNSetSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty();
}

std::string WebAPIClientLUNSetSnapshot::toString() const
{
    return leafText("snapshot_uuid: " + snapshot_uuid + " ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
