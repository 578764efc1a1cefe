#include <webapi-iSCSI/lun/WebAPIClientLUNDeleteSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNDeleteSnapshot::WebAPIClientLUNDeleteSnapshot() = default;

WebAPIClientLUNDeleteSnapshot::WebAPIClientLUNDeleteSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& snapshot_uuid,
                                                             const std::string& deleted_by,
                                                             const std::set<std::string>& snapshot_uuids)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid), deleted_by(deleted_by),
      snapshot_uuids(snapshot_uuids)
{}

WebAPIClientLUNDeleteSnapshot::~WebAPIClientLUNDeleteSnapshot() = default;

int WebAPIClientLUNDeleteSnapshot::send()
{
    beginRequest(API, "delete_snapshot");
    params["snapshot_uuid"] = snapshot_uuid;
    params["deleted_by"] = deleted_by;
    SetIfNotEmpty(params, "snapshot_uuids", snapshot_uuids);
    return sendRequestByDrNode();
}

// snapshot_uuid is required also with a list, which the peer then deletes instead.
bool WebAPIClientLUNDeleteSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty();
}

std::string WebAPIClientLUNDeleteSnapshot::toString() const
{
    return leafText("[snapshot_uuid: " + snapshot_uuid + " ,deleted_by: " + deleted_by + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
