// Method acl_masks_remove of KOVA.Core.ISCSI.Target on a remote node: drops the access masks of
// the initiators of initiator_iqns from the target.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

#include <set>
#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetACLMasksRemove : public WebAPIClientTarget {
public:
    WebAPIClientTargetACLMasksRemove();
    WebAPIClientTargetACLMasksRemove(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                                     const std::set<std::string>& initiator_iqns);
    ~WebAPIClientTargetACLMasksRemove() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::set<std::string> initiator_iqns;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
