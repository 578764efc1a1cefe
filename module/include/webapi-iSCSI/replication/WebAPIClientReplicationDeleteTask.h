// Method delete_task of KOVA.Core.ISCSI.Replication on a remote node: removes one end's task.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationDeleteTask : public WebAPIClientReplication {
public:
    WebAPIClientReplicationDeleteTask();
    WebAPIClientReplicationDeleteTask(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientReplicationDeleteTask() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
