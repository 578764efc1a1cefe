// Method unlock_snapshot of KOVA.Core.ISCSI.LUN on a remote node: unlocks a snapshot locked for an
// application key.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNUnlockSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNUnlockSnapshot();
    WebAPIClientLUNUnlockSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid,
                                  const std::string& app_key);
    ~WebAPIClientLUNUnlockSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    std::string app_key;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
