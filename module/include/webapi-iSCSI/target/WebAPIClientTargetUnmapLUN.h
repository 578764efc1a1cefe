// Method unmap_lun of KOVA.Core.ISCSI.Target on a remote node: takes the LUNs of lun_uuids off the target.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

#include <set>
#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetUnmapLUN : public WebAPIClientTarget {
public:
    WebAPIClientTargetUnmapLUN();
    WebAPIClientTargetUnmapLUN(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                               const std::set<std::string>& lun_uuids);
    ~WebAPIClientTargetUnmapLUN() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::set<std::string> lun_uuids;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
