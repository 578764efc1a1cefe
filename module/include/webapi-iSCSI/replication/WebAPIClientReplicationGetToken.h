// Method get_token of KOVA.Core.ISCSI.Replication on a remote node: the token of a receiving
// directory.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationGetToken : public WebAPIClientReplication {
public:
    WebAPIClientReplicationGetToken();
    WebAPIClientReplicationGetToken(const ISCSI::ISCSINodeInfo& node, const std::string& dst_dir_path);
    ~WebAPIClientReplicationGetToken() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string dst_dir_path;

    std::string btrfs_token;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
