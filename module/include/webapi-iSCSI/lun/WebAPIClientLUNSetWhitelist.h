// Method set_whitelist of KOVA.Core.ISCSI.LUN on a remote node: sets the addresses allowed to a LUN.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNSetWhitelist : public WebAPIClientLUN {
public:
    WebAPIClientLUNSetWhitelist();
    WebAPIClientLUNSetWhitelist(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                const std::vector<std::string>& whitelist);
    ~WebAPIClientLUNSetWhitelist() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::vector<std::string> whitelist;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
