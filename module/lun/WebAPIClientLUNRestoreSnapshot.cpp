#include <webapi-iSCSI/lun/WebAPIClientLUNRestoreSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNRestoreSnapshot::WebAPIClientLUNRestoreSnapshot() = default;

WebAPIClientLUNRestoreSnapshot::WebAPIClientLUNRestoreSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                               const std::string& src_lun_uuid,
                                                               const std::string& snapshot_uuid)
    : WebAPIClientLUN(node, src_lun_uuid), snapshot_uuid(snapshot_uuid)
{}

WebAPIClientLUNRestoreSnapshot::~WebAPIClientLUNRestoreSnapshot() = default;

int WebAPIClientLUNRestoreSnapshot::send()
{
    beginRequest(API, "restore_snapshot");
    params["src_lun_uuid"] = uuid;
    params["snapshot_uuid"] = snapshot_uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNRestoreSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || snapshot_uuid.empty();
}

std::string WebAPIClientLUNRestoreSnapshot::toString() const
{
    return leafText("[snapshot_uuid: " + snapshot_uuid + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
