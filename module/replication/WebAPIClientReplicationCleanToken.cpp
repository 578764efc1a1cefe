#include <webapi-iSCSI/replication/WebAPIClientReplicationCleanToken.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationCleanToken::WebAPIClientReplicationCleanToken() = default;

WebAPIClientReplicationCleanToken::WebAPIClientReplicationCleanToken(const ISCSI::ISCSINodeInfo& node,
                                                                     const std::string& btrfs_token)
    : WebAPIClientReplication(node), btrfs_token(btrfs_token)
{}

WebAPIClientReplicationCleanToken::~WebAPIClientReplicationCleanToken() = default;

int WebAPIClientReplicationCleanToken::send()
{
    beginRequest(API, "clean_token");
    params["btrfs_token"] = btrfs_token;
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationCleanToken::isInvalid() const
{
    return dst_node.isInvalid(false) || btrfs_token.empty();
}

std::string WebAPIClientReplicationCleanToken::toString() const
{
    return leafText("[btrfs_token: " + btrfs_token + "] ,");
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
