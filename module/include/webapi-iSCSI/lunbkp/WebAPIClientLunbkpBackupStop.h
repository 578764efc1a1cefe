// Method lunbackup_stop of KOVA.Core.ISCSI.Lunbkp on a remote node: stops the running backup of the LUN.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpBackupStop : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpBackupStop();
    explicit WebAPIClientLunbkpBackupStop(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpBackupStop(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLunbkpBackupStop() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
