#include <webapi-iSCSI/replication/WebAPIClientReplicationCreateTask.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationCreateTask::WebAPIClientReplicationCreateTask() = default;

WebAPIClientReplicationCreateTask::WebAPIClientReplicationCreateTask(const ISCSI::ISCSINodeInfo& node,
                                                                     const std::string& uuid, bool is_source,
                                                                     const std::string& src_lun_uuid,
                                                                     const std::string& dst_lun_uuid,
                                                                     const std::string& src_node_uuid,
                                                                     const std::string& dst_node_uuid)
    : WebAPIClientReplication(node, uuid, is_source, src_lun_uuid, dst_lun_uuid, src_node_uuid, dst_node_uuid)
{}

WebAPIClientReplicationCreateTask::~WebAPIClientReplicationCreateTask() = default;

int WebAPIClientReplicationCreateTask::send()
{
    beginRequest(API, "create_task");
    SetIfNotEmpty(params, "src_task_uuid", uuid);
    params["is_source"] = is_source;
    params["src_lun_uuid"] = src_lun_uuid;
    params["dst_lun_uuid"] = dst_lun_uuid;
    params["src_node_uuid"] = src_node_uuid;
    params["dst_node_uuid"] = dst_node_uuid;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "uuid", uuid);
    return 0;
}

bool WebAPIClientReplicationCreateTask::isInvalid() const
{
    return dst_node.isInvalid(false) || src_lun_uuid.empty() || dst_lun_uuid.empty() ||
           src_node_uuid.empty() || dst_node_uuid.empty();
}

std::string WebAPIClientReplicationCreateTask::toString() const
{
    return leafText();
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
