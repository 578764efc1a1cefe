#include <webapi-iSCSI/lun/WebAPIClientLUNGetSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNGetSnapshot::WebAPIClientLUNGetSnapshot() = default;

WebAPIClientLUNGetSnapshot::WebAPIClientLUNGetSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                       const std::string& snapshot_uuid,
                                                       const std::vector<std::string>& additional)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid), additional(additional)
{}

WebAPIClientLUNGetSnapshot::~WebAPIClientLUNGetSnapshot() = default;

int WebAPIClientLUNGetSnapshot::send()
{
    beginRequest(API, "get_snapshot");
    params["snapshot_uuid"] = snapshot_uuid;
    SetIfNotEmpty(params, "additional", additional);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    if (data.isMember("snapshot")) {
        const int loaded = snapshot.loadFromJson(data["snapshot"]);
        if (loaded != 0)
            return loaded;
    }
    ReadReply(data, "export_done", export_done);
    ReadReply(data, "export_total", export_total);
    ReadReply(data, "export_errno", export_errno);
    ReadReply(data, "sync_total", sync_total);
    ReadReply(data, "sync_done", sync_done);
    return 0;
}

bool WebAPIClientLUNGetSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty();
}

std::string WebAPIClientLUNGetSnapshot::toString() const
{
    return leafText("snapshot_uuid: " + snapshot_uuid + " ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
