// Method acl_masks_add of KOVA.Core.ISCSI.Target on a remote node: sets what initiators may do
// with the target, by IQN ("rw", "r" or "-"; the remote node refuses other texts).
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

#include <map>
#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetACLMasksAdd : public WebAPIClientTarget {
public:
    WebAPIClientTargetACLMasksAdd();
    WebAPIClientTargetACLMasksAdd(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                                  const std::map<std::string, std::string>& acls);
    ~WebAPIClientTargetACLMasksAdd() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    // Initiator IQN to permission text.
    std::map<std::string, std::string> acls;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
