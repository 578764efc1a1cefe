// Method clean_token of KOVA.Core.ISCSI.Replication on a remote node: gives a token of get_token
// back.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationCleanToken : public WebAPIClientReplication {
public:
    WebAPIClientReplicationCleanToken();
    WebAPIClientReplicationCleanToken(const ISCSI::ISCSINodeInfo& node, const std::string& btrfs_token);
    ~WebAPIClientReplicationCleanToken() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string btrfs_token;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
