#include <webapi-iSCSI/lun/WebAPIClientLUNClone.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNClone::WebAPIClientLUNClone() = default;

WebAPIClientLUNClone::WebAPIClientLUNClone(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                                           const std::string& dst_lun_name, const std::string& clone_type,
                                           const std::string& dst_location, const std::string& dst_node_uuid,
                                           const std::string& dst_address, unsigned int dst_port,
                                           bool is_data_encrypted, bool is_soft_feas_ignored,
                                           bool is_data_clone, const std::string& vpd_unit_sn)
    : WebAPIClientLUN(node, src_lun_uuid), dst_lun_name(dst_lun_name), clone_type(clone_type),
      dst_location(dst_location), dst_node_uuid(dst_node_uuid), dst_address(dst_address), dst_port(dst_port),
      is_data_encrypted(is_data_encrypted), is_soft_feas_ignored(is_soft_feas_ignored),
      is_data_clone(is_data_clone), vpd_unit_sn(vpd_unit_sn)
{}

WebAPIClientLUNClone::~WebAPIClientLUNClone() = default;

int WebAPIClientLUNClone::send()
{
    beginRequest(API, "clone");
    params["src_lun_uuid"] = uuid;
    params["dst_lun_name"] = dst_lun_name;
    SetIfNotEmpty(params, "clone_type", clone_type);
    SetIfNotEmpty(params, "dst_location", dst_location);
    SetIfNotEmpty(params, "dst_node_uuid", dst_node_uuid);
    SetIfNotEmpty(params, "dst_address", dst_address);
    if (dst_port != 0)
        params["dst_port"] = dst_port;
    params["is_data_encrypted"] = is_data_encrypted;
    params["is_soft_feas_ignored"] = is_soft_feas_ignored;
    params["is_data_clone"] = is_data_clone;
    SetIfNotEmpty(params, "vpd_unit_sn", vpd_unit_sn);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "dst_lun_uuid", dst_lun_uuid);
    return 0;
}

// A clone on the peer itself needs no destination; a clone to a third node needs all of it.
bool WebAPIClientLUNClone::isInvalid() const
{
    if (dst_node.isInvalid(false) || uuid.empty() || dst_lun_name.empty())
        return true;
    return !dst_node_uuid.empty() && (dst_location.empty() || dst_address.empty() || dst_port == 0);
}

// The first bracket stays open: the text is kept as the logs have always shown it.
std::string WebAPIClientLUNClone::toString() const
{
    return leafText("[dst_lun_name: " + dst_lun_name + " ,clone_type: " + clone_type + " ,dst_location: " +
                    dst_location + " ,dst_node_uuid: " + dst_node_uuid + " ,dst_address: " + dst_address +
                    " ,dst_port: " + Text(dst_port) + " ,is_data_encrypted: " + Text(is_data_encrypted) +
                    " ,is_soft_feas_ignored: " + Text(is_soft_feas_ignored) +
                    " ,vpd_unit_sn: " + vpd_unit_sn + " ,dst_lun_uuid: " + dst_lun_uuid + " ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
