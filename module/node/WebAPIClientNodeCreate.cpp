#include <webapi-iSCSI/node/WebAPIClientNodeCreate.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeCreate::WebAPIClientNodeCreate() = default;

WebAPIClientNodeCreate::WebAPIClientNodeCreate(const ISCSI::ISCSINodeInfo& node, const std::string& hostname,
                                               unsigned short port, const std::string& protocol,
                                               const std::string& rod_key, const std::string& account,
                                               const std::string& password, const std::string& otp_code)
    : WebAPIClientNode(node, std::string(), hostname, port, protocol, rod_key, account, password, otp_code)
{}

WebAPIClientNodeCreate::~WebAPIClientNodeCreate() = default;

int WebAPIClientNodeCreate::send()
{
    beginRequest(API, "create");
    params["hostname"] = hostname;
    params["port"] = static_cast<int>(port);
    params["protocol"] = protocol;
    params["rod_key"] = rod_key;
    params["account"] = account;
    params["password"] = password;
    SetIfNotEmpty(params, "otp_code", otp_code);
    const int result = dst_node.isInConfig() ? sendRequestBySessionID(true) : sendRequestByAccount();
    if (result != 0)
        return result;
    ReadReply(replyData(), "uuid", uuid);
    return 0;
}

bool WebAPIClientNodeCreate::isInvalid() const
{
    return dst_node.isInvalid(!dst_node.isInConfig()) || hostname.empty() || port == 0 || protocol.empty() ||
           rod_key.empty() || account.empty() || password.empty();
}

std::string WebAPIClientNodeCreate::toString() const
{
    return leafText();
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
