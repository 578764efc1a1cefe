// Method delete of KOVA.Core.ISCSI.LUN on a remote node: the LUN uuid, or the LUNs of uuids in
// the background when that set has elements (the peer still resolves uuid then).
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNDelete : public WebAPIClientLUN {
public:
    WebAPIClientLUNDelete();
    WebAPIClientLUNDelete(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                          bool is_soft_feas_ignored, const std::set<std::string>& uuids);
    ~WebAPIClientLUNDelete() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    bool is_soft_feas_ignored = false;
    std::set<std::string> uuids;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
