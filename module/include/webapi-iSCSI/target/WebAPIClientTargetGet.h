// Method get of KOVA.Core.ISCSI.Target on a remote node: one target, with the optional groups
// that additional asks for ("mapped_lun", "acls", "connected_sessions", "status"), read into
// target.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

#include <string>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetGet : public WebAPIClientTarget {
public:
    WebAPIClientTargetGet();
    WebAPIClientTargetGet(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                          const std::vector<std::string>& additional);
    ~WebAPIClientTargetGet() override;

    // A successful send loads the reply's record into target and answers the code of that
    // load; without a record in the reply, target stays as it was.
    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::vector<std::string> additional;
    ISCSI::ISCSITargetInfo target;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
