// Method log_clear of KOVA.Core.ISCSI.Node on a remote node: empties its service log.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeLogClear : public WebAPIClientNode {
public:
    WebAPIClientNodeLogClear();
    WebAPIClientNodeLogClear(const ISCSI::ISCSINodeInfo& node);
    ~WebAPIClientNodeLogClear() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
