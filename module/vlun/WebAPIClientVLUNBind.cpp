#include <webapi-iSCSI/vlun/WebAPIClientVLUNBind.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

WebAPIClientVLUNBind::WebAPIClientVLUNBind() = default;

WebAPIClientVLUNBind::WebAPIClientVLUNBind(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                           const std::string& dst_node_uuid, const std::string& dst_lun_uuid,
                                           const std::set<std::string>& portals)
    : WebAPIClientVLUN(node, uuid, dst_lun_uuid, portals), dst_node_uuid(dst_node_uuid)
{}

WebAPIClientVLUNBind::~WebAPIClientVLUNBind() = default;

int WebAPIClientVLUNBind::send()
{
    beginRequest(API, "bind");
    params["uuid"] = uuid;
    params["dst_node_uuid"] = dst_node_uuid;
    params["dst_lun_uuid"] = dst_lun_uuid;
    params["portals"] = JsonArray(portals);
    return sendRequestByDrNode();
}

bool WebAPIClientVLUNBind::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || dst_node_uuid.empty() || dst_lun_uuid.empty() ||
           portals.empty();
}

std::string WebAPIClientVLUNBind::toString() const
{
    return leafText("[dst_node_uuid: " + dst_node_uuid + "] ,");
}

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
