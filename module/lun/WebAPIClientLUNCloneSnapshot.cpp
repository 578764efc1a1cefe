#include <webapi-iSCSI/lun/WebAPIClientLUNCloneSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNCloneSnapshot::WebAPIClientLUNCloneSnapshot() = default;

WebAPIClientLUNCloneSnapshot::WebAPIClientLUNCloneSnapshot(
    const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid, const std::string& snapshot_uuid,
    const std::string& cloned_lun_name, const std::string& clone_type, const std::string& vpd_unit_sn)
    : WebAPIClientLUN(node, src_lun_uuid), snapshot_uuid(snapshot_uuid), cloned_lun_name(cloned_lun_name),
      clone_type(clone_type), vpd_unit_sn(vpd_unit_sn)
{}

WebAPIClientLUNCloneSnapshot::~WebAPIClientLUNCloneSnapshot() = default;

int WebAPIClientLUNCloneSnapshot::send()
{
    beginRequest(API, "clone_snapshot");
    params["src_lun_uuid"] = uuid;
    params["snapshot_uuid"] = snapshot_uuid;
    params["cloned_lun_name"] = cloned_lun_name;
    params["clone_type"] = clone_type;
    SetIfNotEmpty(params, "vpd_unit_sn", vpd_unit_sn);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "cloned_lun_uuid", cloned_lun_uuid);
    return 0;
}

bool WebAPIClientLUNCloneSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || snapshot_uuid.empty() || cloned_lun_name.empty();
}

std::string WebAPIClientLUNCloneSnapshot::toString() const
{
    return leafText("[snapshot_uuid: " + snapshot_uuid + " ,cloned_lun_name: " + cloned_lun_name + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
