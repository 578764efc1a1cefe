// Method get of KOVA.Core.ISCSI.Replication on a remote node: the task (into the family's fields),
// its lock and base version, and with sending_status the progress of its sending.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationGet : public WebAPIClientReplication {
public:
    WebAPIClientReplicationGet();
    WebAPIClientReplicationGet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                               bool sending_status);
    ~WebAPIClientReplicationGet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    bool sending_status = false;

    bool is_locked = false;
    std::string base_version;
    unsigned long long sending_data_total = 0;
    unsigned long long sending_data_done = 0;
    unsigned long long sending_data_sent = 0;
    int status_code = 0;
    int sending_errno = 0;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
