// Method delete_node of KOVA.Core.ISCSI.Node on a remote node: removes nodes from its node
// configuration, by session id.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeDeleteNode : public WebAPIClientNode {
public:
    WebAPIClientNodeDeleteNode();
    WebAPIClientNodeDeleteNode(const ISCSI::ISCSINodeInfo& node, const std::set<std::string>& uuids);
    ~WebAPIClientNodeDeleteNode() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::set<std::string> uuids;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
