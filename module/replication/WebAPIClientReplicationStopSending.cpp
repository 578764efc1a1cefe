#include <webapi-iSCSI/replication/WebAPIClientReplicationStopSending.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationStopSending::WebAPIClientReplicationStopSending() = default;

WebAPIClientReplicationStopSending::WebAPIClientReplicationStopSending(const ISCSI::ISCSINodeInfo& node,
                                                                       const std::string& uuid)
    : WebAPIClientReplication(node, uuid)
{}

WebAPIClientReplicationStopSending::~WebAPIClientReplicationStopSending() = default;

int WebAPIClientReplicationStopSending::send()
{
    beginRequest(API, "stop_sending");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationStopSending::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationStopSending::toString() const
{
    return leafText();
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
