// Method create of KOVA.Core.ISCSI.Node on a remote node: makes a node there from connection data
// and reads back its uuid. A target in the node configuration is reached with its session
// (reloaded from the configuration); a target not known yet, by logging in with its account.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeCreate : public WebAPIClientNode {
public:
    WebAPIClientNodeCreate();
    WebAPIClientNodeCreate(const ISCSI::ISCSINodeInfo& node, const std::string& hostname, unsigned short port,
                           const std::string& protocol, const std::string& rod_key,
                           const std::string& account, const std::string& password,
                           const std::string& otp_code);
    ~WebAPIClientNodeCreate() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
