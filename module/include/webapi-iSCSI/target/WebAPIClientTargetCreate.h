// Method create of KOVA.Core.ISCSI.Target on a remote node: a new target; its id is read into
// target_id.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetCreate : public WebAPIClientTarget {
public:
    WebAPIClientTargetCreate();
    WebAPIClientTargetCreate(const ISCSI::ISCSINodeInfo& node, const std::string& name,
                             const std::string& iqn, ISCSI_AUTH_TYPE auth_type, const std::string& user,
                             const std::string& password, const std::string& mutual_user,
                             const std::string& mutual_password, unsigned int max_sessions,
                             bool is_soft_feas_ignored);
    ~WebAPIClientTargetCreate() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    // Create the target even where the remote node's soft feasibility test would refuse it.
    bool is_soft_feas_ignored = false;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
