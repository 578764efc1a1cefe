// Method create_task of KOVA.Core.ISCSI.Replication on a remote node: records one end of a
// replication; a destination end names its source task by uuid. The new task's uuid is read back.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationCreateTask : public WebAPIClientReplication {
public:
    WebAPIClientReplicationCreateTask();
    WebAPIClientReplicationCreateTask(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                      bool is_source, const std::string& src_lun_uuid,
                                      const std::string& dst_lun_uuid, const std::string& src_node_uuid,
                                      const std::string& dst_node_uuid);
    ~WebAPIClientReplicationCreateTask() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
