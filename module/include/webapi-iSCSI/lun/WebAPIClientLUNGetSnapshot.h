// Method get_snapshot of KOVA.Core.ISCSI.LUN on a remote node: the snapshot's record and, as
// asked by additional, its export and sync progress.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <iscsi/ISCSISnapshotInfo.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNGetSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNGetSnapshot();
    WebAPIClientLUNGetSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid,
                               const std::vector<std::string>& additional);
    ~WebAPIClientLUNGetSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    std::vector<std::string> additional;

    // Read from the reply.
    ISCSI::ISCSISnapshotInfo snapshot;
    unsigned long long export_done = 0;
    unsigned long long export_total = 0;
    int export_errno = 0;
    unsigned long long sync_total = 0;
    unsigned long long sync_done = 0;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
