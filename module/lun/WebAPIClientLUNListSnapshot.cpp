#include <webapi-iSCSI/lun/WebAPIClientLUNListSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNListSnapshot::WebAPIClientLUNListSnapshot() = default;

WebAPIClientLUNListSnapshot::WebAPIClientLUNListSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                         const std::string& src_lun_uuid, bool is_count_only,
                                                         const std::vector<std::string>& additional)
    : WebAPIClientLUN(node, src_lun_uuid), is_count_only(is_count_only), additional(additional)
{}

WebAPIClientLUNListSnapshot::~WebAPIClientLUNListSnapshot() = default;

int WebAPIClientLUNListSnapshot::send()
{
    beginRequest(API, "list_snapshot");
    SetIfNotEmpty(params, "src_lun_uuid", uuid);
    if (is_count_only)
        params["is_count_only"] = true;
    SetIfNotEmpty(params, "additional", additional);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "count", count);
    return ReadReplyRecords<ISCSI::ISCSISnapshotInfo>(data, "snapshots", snapshots);
}

bool WebAPIClientLUNListSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false);
}

// "snapshops" is the label the logs have always shown.
std::string WebAPIClientLUNListSnapshot::toString() const
{
    std::string text = "count: " + Text(count) + " ,snapshops: [";
    for (std::size_t i = 0; i < snapshots.size(); ++i)
        text += " [" + Text(i) + ": " + snapshots[i].toString() + "]";
    return leafText(text + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
