#include <webapi-iSCSI/node/WebAPIClientNodeDeleteSession.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeDeleteSession::WebAPIClientNodeDeleteSession() = default;

WebAPIClientNodeDeleteSession::WebAPIClientNodeDeleteSession(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientNode(node)
{}

WebAPIClientNodeDeleteSession::~WebAPIClientNodeDeleteSession() = default;

int WebAPIClientNodeDeleteSession::send()
{
    beginRequest(API, "delete_session");
    return sendRequestBySessionID(true);
}

bool WebAPIClientNodeDeleteSession::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientNodeDeleteSession::toString() const
{
    return leafText();
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
