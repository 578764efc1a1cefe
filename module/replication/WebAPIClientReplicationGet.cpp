#include <webapi-iSCSI/replication/WebAPIClientReplicationGet.h>

#include "etc/WebAPIClientFields.h"
#include "etc/WebAPIFrame.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationGet::WebAPIClientReplicationGet() = default;

WebAPIClientReplicationGet::WebAPIClientReplicationGet(const ISCSI::ISCSINodeInfo& node,
                                                       const std::string& uuid, bool sending_status)
    : WebAPIClientReplication(node, uuid), sending_status(sending_status)
{}

WebAPIClientReplicationGet::~WebAPIClientReplicationGet() = default;

int WebAPIClientReplicationGet::send()
{
    beginRequest(API, "get");
    params["uuid"] = uuid;
    params["sending_status"] = sending_status;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "is_locked", is_locked);
    ReadReply(data, "base_version", base_version);
    ReadReply(data, "sending_data_total", sending_data_total);
    ReadReply(data, "sending_data_done", sending_data_done);
    ReadReply(data, "sending_data_sent", sending_data_sent);
    ReadReply(data, "status_code", status_code);
    ReadReply(data, "sending_errno", sending_errno);
    if (!data.isMember("task"))
        return 0;
    ISCSI::ISCSITaskInfo task;
    if (!ReadTask(data["task"], task)) {
        WEBAPI_LOG_FAULT("Failed to get task info from response.");
        return ISCSI::ISCSI_ERR_TASK_RECORD_INVALID;
    }
    uuid = task.uuid;
    type = task.type;
    src_lun_uuid = task.src_lun.uuid;
    dst_lun_uuid = task.dst_lun.uuid;
    src_node_uuid = task.src_node.uuid;
    dst_node_uuid = task.dst_node.uuid;
    root_path = task.root_path;
    parent_task_uuid = task.parent_task_uuid;
    return 0;
}

bool WebAPIClientReplicationGet::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationGet::toString() const
{
    return leafText();
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
