// Method lunrestore_stop of KOVA.Core.ISCSI.Lunbkp on a remote node: stops the running restore of the LUN.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpRestoreStop : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpRestoreStop();
    explicit WebAPIClientLunbkpRestoreStop(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpRestoreStop(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLunbkpRestoreStop() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
