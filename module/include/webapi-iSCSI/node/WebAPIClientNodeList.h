// Method list of KOVA.Core.ISCSI.Node on a remote node: the nodes it knows, its own entry among them
// (is_local_node).
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeList : public WebAPIClientNode {
public:
    WebAPIClientNodeList();
    WebAPIClientNodeList(const ISCSI::ISCSINodeInfo& node);
    ~WebAPIClientNodeList() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    // The nodes of the reply; a reply with a node that lacks one of its keys leaves them as they
    // were.
    std::vector<ISCSI::ISCSINodeInfo> nodes;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
