// Method get_unsync_size of KOVA.Core.ISCSI.Replication on a remote node: how far the measure of
// compute_unsync_size has come.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationGetUnsyncSize : public WebAPIClientReplication {
public:
    WebAPIClientReplicationGetUnsyncSize();
    WebAPIClientReplicationGetUnsyncSize(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                         const std::string& sending_snapshot_uuid);
    ~WebAPIClientReplicationGetUnsyncSize() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string sending_snapshot_uuid;

    // "errno" of the reply: the error of the computation, 0 if none.
    int err_no = 0;
    unsigned long long total_size = 0;
    unsigned long long scanned_size = 0;
    unsigned long long unsync_size = 0;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
