// Method demote of KOVA.Core.ISCSI.Replication on a remote node: demotes the end of a task.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationDemote : public WebAPIClientReplication {
public:
    WebAPIClientReplicationDemote();
    WebAPIClientReplicationDemote(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientReplicationDemote() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
