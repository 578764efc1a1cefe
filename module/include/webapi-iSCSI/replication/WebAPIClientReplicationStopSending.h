// Method stop_sending of KOVA.Core.ISCSI.Replication on a remote node: stops the sending of a task.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationStopSending : public WebAPIClientReplication {
public:
    WebAPIClientReplicationStopSending();
    WebAPIClientReplicationStopSending(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientReplicationStopSending() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
