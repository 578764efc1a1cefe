// Method enable of KOVA.Core.ISCSI.Target on a remote node: lets initiators log in to the target again.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetEnable : public WebAPIClientTarget {
public:
    WebAPIClientTargetEnable();
    WebAPIClientTargetEnable(const ISCSI::ISCSINodeInfo& node, const std::string& target_id);
    ~WebAPIClientTargetEnable() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
