#include <webapi-iSCSI/replication/WebAPIClientReplicationPromote.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationPromote::WebAPIClientReplicationPromote() = default;

WebAPIClientReplicationPromote::WebAPIClientReplicationPromote(const ISCSI::ISCSINodeInfo& node,
                                                               const std::string& uuid)
    : WebAPIClientReplication(node, uuid)
{}

WebAPIClientReplicationPromote::~WebAPIClientReplicationPromote() = default;

int WebAPIClientReplicationPromote::send()
{
    beginRequest(API, "promote");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationPromote::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationPromote::toString() const
{
    return leafText();
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
