// Method compute_unsync_size of KOVA.Core.ISCSI.Replication on a remote node: starts measuring what
// differs between a base snapshot and the snapshot to be sent.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationComputeUnsyncSize : public WebAPIClientReplication {
public:
    WebAPIClientReplicationComputeUnsyncSize();
    WebAPIClientReplicationComputeUnsyncSize(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                             const std::string& base_snapshot_uuid,
                                             const std::string& sending_snapshot_uuid);
    ~WebAPIClientReplicationComputeUnsyncSize() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string base_snapshot_uuid;
    std::string sending_snapshot_uuid;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
