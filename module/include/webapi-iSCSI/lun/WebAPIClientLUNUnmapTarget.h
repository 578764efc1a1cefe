// Method unmap_target of KOVA.Core.ISCSI.LUN on a remote node: unmaps the LUN from the targets of target_ids.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNUnmapTarget : public WebAPIClientLUN {
public:
    WebAPIClientLUNUnmapTarget();
    WebAPIClientLUNUnmapTarget(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                               const std::set<std::string>& target_ids);
    ~WebAPIClientLUNUnmapTarget() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::set<std::string> target_ids;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
