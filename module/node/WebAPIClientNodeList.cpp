#include <webapi-iSCSI/node/WebAPIClientNodeList.h>

#include "etc/WebAPIClientFields.h"
#include "etc/WebAPIFrame.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

namespace {

// A node of the reply, built from its eight keys; false when it is no object or lacks one (or
// holds one of a type that cannot be read). The port is read as an integer and narrowed.
bool ReadNode(const Json::Value& element, ISCSI::ISCSINodeInfo& node)
{
    std::string uuid, sessionId, hostname, protocol, rodKey, account;
    int port = 0;
    bool isLocalNode = false;
    if (!(ReadRequired(element, "uuid", uuid) && ReadRequired(element, "session_id", sessionId) &&
          ReadRequired(element, "hostname", hostname) && ReadRequired(element, "port", port) &&
          ReadRequired(element, "protocol", protocol) && ReadRequired(element, "rod_key", rodKey) &&
          ReadRequired(element, "account", account) && ReadRequired(element, "is_local_node", isLocalNode)))
        return false;
    node = ISCSI::ISCSINodeInfo(uuid, sessionId, hostname, static_cast<unsigned short>(port), protocol,
                                rodKey, account, isLocalNode);
    return true;
}

} // namespace

WebAPIClientNodeList::WebAPIClientNodeList() = default;

WebAPIClientNodeList::WebAPIClientNodeList(const ISCSI::ISCSINodeInfo& node) : WebAPIClientNode(node) {}

WebAPIClientNodeList::~WebAPIClientNodeList() = default;

int WebAPIClientNodeList::send()
{
    beginRequest(API, "list");
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    if (!ReadReplyList(replyData(), "nodes", nodes, ReadNode)) {
        WEBAPI_LOG_FAULT("Failed to get node info from response.");
        return ISCSI::ISCSI_ERR_NODE_RECORD_INVALID;
    }
    return 0;
}

bool WebAPIClientNodeList::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientNodeList::toString() const
{
    std::string own = "nodes: ";
    for (const ISCSI::ISCSINodeInfo& node : nodes)
        own += "[" + node.toString() + "] ";
    return leafText(own);
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
