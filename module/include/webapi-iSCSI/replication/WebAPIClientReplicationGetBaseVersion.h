// Method get_base_version of KOVA.Core.ISCSI.Replication on a remote node, the destination: from
// the source's snapshots, what a sending must start from (base version, full sync or not,
// restore or not, token and receive directory).
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

#include <iscsi/ISCSISnapshotInfo.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationGetBaseVersion : public WebAPIClientReplication {
public:
    WebAPIClientReplicationGetBaseVersion();
    WebAPIClientReplicationGetBaseVersion(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                          const std::string& sync_version,
                                          const std::vector<ISCSI::ISCSISnapshotInfo>& snapshots);
    // With the task's LUNs: the destination LUN goes out as lun_uuid.
    WebAPIClientReplicationGetBaseVersion(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                          const std::string& src_lun_uuid, const std::string& dst_lun_uuid,
                                          const std::string& sync_version,
                                          const std::vector<ISCSI::ISCSISnapshotInfo>& snapshots);
    ~WebAPIClientReplicationGetBaseVersion() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string sync_version;
    // The source's snapshots, sent as source_snapshots.
    std::vector<ISCSI::ISCSISnapshotInfo> snapshots;

    std::string base_version;
    bool need_full_sync = false;
    bool do_restore = false;
    std::string btrfs_token;
    std::string snap_recv_dir;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
