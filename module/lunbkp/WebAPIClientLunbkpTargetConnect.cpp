#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpTargetConnect.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpTargetConnect::WebAPIClientLunbkpTargetConnect() = default;

WebAPIClientLunbkpTargetConnect::WebAPIClientLunbkpTargetConnect(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpTargetConnect::WebAPIClientLunbkpTargetConnect(const ISCSI::ISCSINodeInfo& node,
                                                                 const std::string& target_ip,
                                                                 const std::string& target_iqn)
    : WebAPIClientLunbkp(node), target_ip(target_ip), target_iqn(target_iqn)
{}

WebAPIClientLunbkpTargetConnect::~WebAPIClientLunbkpTargetConnect() = default;

int WebAPIClientLunbkpTargetConnect::send()
{
    beginRequest(API, "target_connect");
    params["target_ip"] = target_ip;
    params["target_iqn"] = target_iqn;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "block_dev_path", block_dev_path);
    return 0;
}

bool WebAPIClientLunbkpTargetConnect::isInvalid() const
{
    return dst_node.isInvalid(false) || target_ip.empty() || target_iqn.empty();
}

std::string WebAPIClientLunbkpTargetConnect::toString() const
{
    // The path's label closes its bracket before the path: "[block_dev_path: ]PATH]", as the
    // backup's logs have always read.
    return leafText(", [target_ip: " + target_ip + "]" + ", [target_iqn: " + target_iqn + "]" +
                    ", [block_dev_path: ]" + block_dev_path + "]");
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
