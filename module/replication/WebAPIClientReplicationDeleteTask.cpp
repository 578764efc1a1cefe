#include <webapi-iSCSI/replication/WebAPIClientReplicationDeleteTask.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationDeleteTask::WebAPIClientReplicationDeleteTask() = default;

WebAPIClientReplicationDeleteTask::WebAPIClientReplicationDeleteTask(const ISCSI::ISCSINodeInfo& node,
                                                                     const std::string& uuid)
    : WebAPIClientReplication(node, uuid)
{}

WebAPIClientReplicationDeleteTask::~WebAPIClientReplicationDeleteTask() = default;

int WebAPIClientReplicationDeleteTask::send()
{
    beginRequest(API, "delete_task");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationDeleteTask::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationDeleteTask::toString() const
{
    return leafText();
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
