#include <webapi-iSCSI/node/WebAPIClientNode.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNode::WebAPIClientNode() : port(0) {}

WebAPIClientNode::WebAPIClientNode(const ISCSI::ISCSINodeInfo& node) : WebAPIClient(node), port(0) {}

WebAPIClientNode::WebAPIClientNode(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClient(node), uuid(uuid), port(0)
{}

WebAPIClientNode::WebAPIClientNode(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                   const std::string& hostname, unsigned short port,
                                   const std::string& protocol, const std::string& rod_key,
                                   const std::string& account, const std::string& password,
                                   const std::string& otp_code)
    : WebAPIClient(node), uuid(uuid), hostname(hostname), port(port), protocol(protocol), rod_key(rod_key),
      account(account), password(password), otp_code(otp_code)
{}

WebAPIClientNode::~WebAPIClientNode() = default;

std::string WebAPIClientNode::toString() const
{
    return "Node: [uuid: " + uuid + " ,hostname: " + hostname + " ,port: " + Text(port) +
           " ,protocol: " + protocol + " ,rod_key: " + rod_key + " ,account: " + account +
           " ,otp_code: " + otp_code + " ,session_id: " + session_id + "]";
}

std::string WebAPIClientNode::leafText(const std::string& own) const
{
    return WebAPIClient::toString() + " ," + WebAPIClientNode::toString() + " ," + own + responseText();
}

void WebAPIClientNode::setLogFilter(int date_from, int date_to, const std::string& keyword,
                                    const std::vector<std::string>& log_level)
{
    SetIfNotNegative(params, "date_from", date_from);
    SetIfNotNegative(params, "date_to", date_to);
    SetIfNotEmpty(params, "keyword", keyword);
    SetIfNotEmpty(params, "log_level", log_level);
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
