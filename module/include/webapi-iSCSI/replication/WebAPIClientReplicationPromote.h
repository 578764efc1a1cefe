// Method promote of KOVA.Core.ISCSI.Replication on a remote node: promotes the end of a task.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationPromote : public WebAPIClientReplication {
public:
    WebAPIClientReplicationPromote();
    WebAPIClientReplicationPromote(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientReplicationPromote() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
