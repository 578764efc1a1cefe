#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpTargetDisconnect.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpTargetDisconnect::WebAPIClientLunbkpTargetDisconnect() = default;

WebAPIClientLunbkpTargetDisconnect::WebAPIClientLunbkpTargetDisconnect(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpTargetDisconnect::WebAPIClientLunbkpTargetDisconnect(const ISCSI::ISCSINodeInfo& node,
                                                                       const std::string& target_ip,
                                                                       const std::string& target_iqn)
    : WebAPIClientLunbkp(node), target_ip(target_ip), target_iqn(target_iqn)
{}

WebAPIClientLunbkpTargetDisconnect::~WebAPIClientLunbkpTargetDisconnect() = default;

int WebAPIClientLunbkpTargetDisconnect::send()
{
    beginRequest(API, "target_disconnect");
    params["target_ip"] = target_ip;
    params["target_iqn"] = target_iqn;
    return sendRequestByDrNode();
}

bool WebAPIClientLunbkpTargetDisconnect::isInvalid() const
{
    return dst_node.isInvalid(false) || target_ip.empty() || target_iqn.empty();
}

std::string WebAPIClientLunbkpTargetDisconnect::toString() const
{
    return leafText(", [target_ip: " + target_ip + "]" + ", [target_iqn: " + target_iqn + "]");
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
