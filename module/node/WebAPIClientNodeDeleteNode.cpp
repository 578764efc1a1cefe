#include <webapi-iSCSI/node/WebAPIClientNodeDeleteNode.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeDeleteNode::WebAPIClientNodeDeleteNode() = default;

WebAPIClientNodeDeleteNode::WebAPIClientNodeDeleteNode(const ISCSI::ISCSINodeInfo& node,
                                                       const std::set<std::string>& uuids)
    : WebAPIClientNode(node), uuids(uuids)
{}

WebAPIClientNodeDeleteNode::~WebAPIClientNodeDeleteNode() = default;

int WebAPIClientNodeDeleteNode::send()
{
    beginRequest(API, "delete_node");
    params["uuids"] = JsonArray(uuids);
    return sendRequestBySessionID(true);
}

bool WebAPIClientNodeDeleteNode::isInvalid() const
{
    return dst_node.isInvalid(false) || uuids.empty();
}

std::string WebAPIClientNodeDeleteNode::toString() const
{
    std::string own = "[uuids:";
    for (const std::string& uuid : uuids)
        own += " " + uuid;
    return leafText(own + "] ,");
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
