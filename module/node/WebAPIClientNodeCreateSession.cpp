#include <webapi-iSCSI/node/WebAPIClientNodeCreateSession.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeCreateSession::WebAPIClientNodeCreateSession() = default;

WebAPIClientNodeCreateSession::WebAPIClientNodeCreateSession(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientNode(node)
{}

WebAPIClientNodeCreateSession::~WebAPIClientNodeCreateSession() = default;

int WebAPIClientNodeCreateSession::send()
{
    beginRequest(API, "create_session");
    const int result = sendRequestByAccount();
    if (result != 0)
        return result;
    ReadReply(replyData(), "session_id", session_id);
    return 0;
}

bool WebAPIClientNodeCreateSession::isInvalid() const
{
    return dst_node.isInvalid(true);
}

std::string WebAPIClientNodeCreateSession::toString() const
{
    return leafText("session_id: " + session_id + " ,");
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
