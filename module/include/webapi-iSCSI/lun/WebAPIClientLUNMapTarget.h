// Method map_target of KOVA.Core.ISCSI.LUN on a remote node: maps the LUN to the targets of target_ids.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNMapTarget : public WebAPIClientLUN {
public:
    WebAPIClientLUNMapTarget();
    WebAPIClientLUNMapTarget(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                             const std::set<std::string>& target_ids);
    ~WebAPIClientLUNMapTarget() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::set<std::string> target_ids;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
