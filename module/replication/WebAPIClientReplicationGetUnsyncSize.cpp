#include <webapi-iSCSI/replication/WebAPIClientReplicationGetUnsyncSize.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationGetUnsyncSize::WebAPIClientReplicationGetUnsyncSize() = default;

WebAPIClientReplicationGetUnsyncSize::WebAPIClientReplicationGetUnsyncSize(
    const ISCSI::ISCSINodeInfo& node, const std::string& uuid, const std::string& sending_snapshot_uuid)
    : WebAPIClientReplication(node, uuid), sending_snapshot_uuid(sending_snapshot_uuid)
{}

WebAPIClientReplicationGetUnsyncSize::~WebAPIClientReplicationGetUnsyncSize() = default;

int WebAPIClientReplicationGetUnsyncSize::send()
{
    beginRequest(API, "get_unsync_size");
    params["uuid"] = uuid;
    params["sending_snapshot_uuid"] = sending_snapshot_uuid;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "errno", err_no);
    ReadReply(data, "total_size", total_size);
    ReadReply(data, "scanned_size", scanned_size);
    ReadReply(data, "unsync_size", unsync_size);
    return 0;
}

bool WebAPIClientReplicationGetUnsyncSize::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationGetUnsyncSize::toString() const
{
    return leafText();
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
