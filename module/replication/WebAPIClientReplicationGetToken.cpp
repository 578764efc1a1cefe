#include <webapi-iSCSI/replication/WebAPIClientReplicationGetToken.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationGetToken::WebAPIClientReplicationGetToken() = default;

WebAPIClientReplicationGetToken::WebAPIClientReplicationGetToken(const ISCSI::ISCSINodeInfo& node,
                                                                 const std::string& dst_dir_path)
    : WebAPIClientReplication(node), dst_dir_path(dst_dir_path)
{}

WebAPIClientReplicationGetToken::~WebAPIClientReplicationGetToken() = default;

int WebAPIClientReplicationGetToken::send()
{
    beginRequest(API, "get_token");
    params["dst_dir_path"] = dst_dir_path;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "btrfs_token", btrfs_token);
    return 0;
}

bool WebAPIClientReplicationGetToken::isInvalid() const
{
    return dst_node.isInvalid(false) || dst_dir_path.empty();
}

std::string WebAPIClientReplicationGetToken::toString() const
{
    return leafText("[dst_dir_path: " + dst_dir_path + " ,btrfs_token: " + btrfs_token + "] ,");
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
