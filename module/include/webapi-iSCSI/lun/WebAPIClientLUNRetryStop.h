// Method retry_stop of KOVA.Core.ISCSI.LUN on a remote node: retries stopping the work on a LUN.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNRetryStop : public WebAPIClientLUN {
public:
    WebAPIClientLUNRetryStop();
    WebAPIClientLUNRetryStop(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLUNRetryStop() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
