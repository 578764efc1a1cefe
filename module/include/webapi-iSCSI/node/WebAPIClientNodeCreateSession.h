// Method create_session of KOVA.Core.ISCSI.Node on a remote node: logs in with the target's
// account and opens a session there; its id is read into session_id.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeCreateSession : public WebAPIClientNode {
public:
    WebAPIClientNodeCreateSession();
    WebAPIClientNodeCreateSession(const ISCSI::ISCSINodeInfo& node);
    ~WebAPIClientNodeCreateSession() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
