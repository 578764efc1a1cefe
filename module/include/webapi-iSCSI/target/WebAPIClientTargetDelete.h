// Method delete of KOVA.Core.ISCSI.Target on a remote node: removes the target.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetDelete : public WebAPIClientTarget {
public:
    WebAPIClientTargetDelete();
    WebAPIClientTargetDelete(const ISCSI::ISCSINodeInfo& node, const std::string& target_id);
    ~WebAPIClientTargetDelete() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
