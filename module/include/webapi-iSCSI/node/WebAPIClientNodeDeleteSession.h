// Method delete_session of KOVA.Core.ISCSI.Node on a remote node: closes the session held there.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeDeleteSession : public WebAPIClientNode {
public:
    WebAPIClientNodeDeleteSession();
    WebAPIClientNodeDeleteSession(const ISCSI::ISCSINodeInfo& node);
    ~WebAPIClientNodeDeleteSession() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
