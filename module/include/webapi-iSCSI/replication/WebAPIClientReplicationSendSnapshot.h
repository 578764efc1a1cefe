// Method send_snapshot of KOVA.Core.ISCSI.Replication on a remote node: starts sending a snapshot of
// the task's LUN to dst_address. Optional texts and ports are sent only when set (a port of 0
// leaves the node's default).
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationSendSnapshot : public WebAPIClientReplication {
public:
    WebAPIClientReplicationSendSnapshot();
    WebAPIClientReplicationSendSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                        const std::string& snapshot_uuid, const std::string& src_address,
                                        const std::string& dst_address, const std::string& dst_snap_name,
                                        unsigned int src_port, unsigned int dst_port,
                                        bool is_full_sync_allowed, bool is_data_encrypted);
    ~WebAPIClientReplicationSendSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    std::string src_address;
    std::string dst_address;
    std::string dst_snap_name;
    unsigned int src_port = 0;
    unsigned int dst_port = 0;
    bool is_full_sync_allowed = true;
    bool is_data_encrypted = false;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
