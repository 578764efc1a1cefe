// Method list of KOVA.Core.ISCSI.Replication on a remote node: its tasks, or those of one LUN.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationList : public WebAPIClientReplication {
public:
    WebAPIClientReplicationList();
    WebAPIClientReplicationList(const ISCSI::ISCSINodeInfo& node, const std::string& lun_uuid);
    ~WebAPIClientReplicationList() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string lun_uuid;

    // The tasks of the reply; a reply with a task that lacks one of its keys leaves them as
    // they were.
    std::vector<ISCSI::ISCSITaskInfo> tasks;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
