// Method disable of KOVA.Core.ISCSI.Target on a remote node: refuses new logins to the target.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetDisable : public WebAPIClientTarget {
public:
    WebAPIClientTargetDisable();
    WebAPIClientTargetDisable(const ISCSI::ISCSINodeInfo& node, const std::string& target_id);
    ~WebAPIClientTargetDisable() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
