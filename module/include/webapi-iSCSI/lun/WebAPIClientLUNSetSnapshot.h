// Method set_snapshot of KOVA.Core.ISCSI.LUN on a remote node: changes a snapshot's name, lock
// and description.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNSetSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNSetSnapshot();
    WebAPIClientLUNSetSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid,
                               const std::string& snapshot_name, int is_user_locked,
                               const std::string& description);
    ~WebAPIClientLUNSetSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    std::string snapshot_name;
    // Below 0: the lock is left as it is (nothing sent); 0 unlocks; over 0 locks.
    int is_user_locked = -1;
    std::string description;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
