#include <webapi-iSCSI/node/WebAPIClientNodeAddNode.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeAddNode::WebAPIClientNodeAddNode() = default;

WebAPIClientNodeAddNode::WebAPIClientNodeAddNode(const ISCSI::ISCSINodeInfo& node,
                                                 const std::vector<ISCSI::ISCSINodeInfo>& nodes)
    : WebAPIClientNode(node), nodes(nodes)
{}

WebAPIClientNodeAddNode::~WebAPIClientNodeAddNode() = default;

int WebAPIClientNodeAddNode::send()
{
    beginRequest(API, "add_node");
    params["nodes"] = Json::Value(Json::arrayValue);
    const int written = AppendJsonRecords(nodes, params["nodes"]);
    if (written != 0)
        return written;
    // When the target itself is among the nodes, the record given here is the one to reach it
    // with, not the one of the node configuration.
    bool reload = true;
    for (const ISCSI::ISCSINodeInfo& record : nodes) {
        if (record.uuid == dst_node.uuid) {
            dst_node = record;
            reload = false;
        }
    }
    return sendRequestBySessionID(reload);
}

bool WebAPIClientNodeAddNode::isInvalid() const
{
    return dst_node.isInvalid(false) || nodes.empty();
}

std::string WebAPIClientNodeAddNode::toString() const
{
    std::string own;
    for (size_t i = 0; i < nodes.size(); ++i)
        own += Text(i) + ": " + nodes[i].toString();
    return leafText(own);
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
