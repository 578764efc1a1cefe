#include <webapi-iSCSI/replication/WebAPIClientReplicationDemote.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationDemote::WebAPIClientReplicationDemote() = default;

WebAPIClientReplicationDemote::WebAPIClientReplicationDemote(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& uuid)
    : WebAPIClientReplication(node, uuid)
{}

WebAPIClientReplicationDemote::~WebAPIClientReplicationDemote() = default;

int WebAPIClientReplicationDemote::send()
{
    beginRequest(API, "demote");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationDemote::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationDemote::toString() const
{
    return leafText();
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
