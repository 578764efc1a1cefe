// Method lock_snapshot of KOVA.Core.ISCSI.LUN on a remote node: locks a snapshot for an application key.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNLockSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNLockSnapshot();
    WebAPIClientLUNLockSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid,
                                const std::string& app_key);
    ~WebAPIClientLUNLockSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    std::string app_key;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
