#include <webapi-iSCSI/replication/WebAPIClientReplicationList.h>

#include "etc/WebAPIClientFields.h"
#include "etc/WebAPIFrame.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationList::WebAPIClientReplicationList() = default;

WebAPIClientReplicationList::WebAPIClientReplicationList(const ISCSI::ISCSINodeInfo& node,
                                                         const std::string& lun_uuid)
    : WebAPIClientReplication(node), lun_uuid(lun_uuid)
{}

WebAPIClientReplicationList::~WebAPIClientReplicationList() = default;

int WebAPIClientReplicationList::send()
{
    beginRequest(API, "list");
    SetIfNotEmpty(params, "lun_uuid", lun_uuid);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    if (!ReadReplyList(replyData(), "tasks", tasks, ReadTask)) {
        WEBAPI_LOG_FAULT("Failed to get task info from response.");
        return ISCSI::ISCSI_ERR_TASK_RECORD_INVALID;
    }
    return 0;
}

bool WebAPIClientReplicationList::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientReplicationList::toString() const
{
    std::string own = "lun_uuid: " + lun_uuid + " ,tasks: ";
    for (size_t i = 0; i < tasks.size(); ++i)
        own += " [" + Text(i) + ": " + tasks[i].toString() + "]";
    return leafText(own);
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
