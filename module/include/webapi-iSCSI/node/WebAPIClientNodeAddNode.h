// Method add_node of KOVA.Core.ISCSI.Node on a remote node: adds nodes to its node configuration,
// by session id.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeAddNode : public WebAPIClientNode {
public:
    WebAPIClientNodeAddNode();
    WebAPIClientNodeAddNode(const ISCSI::ISCSINodeInfo& node, const std::vector<ISCSI::ISCSINodeInfo>& nodes);
    ~WebAPIClientNodeAddNode() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::vector<ISCSI::ISCSINodeInfo> nodes;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
