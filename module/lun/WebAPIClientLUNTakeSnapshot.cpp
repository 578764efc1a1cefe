#include <webapi-iSCSI/lun/WebAPIClientLUNTakeSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNTakeSnapshot::WebAPIClientLUNTakeSnapshot() = default;

WebAPIClientLUNTakeSnapshot::WebAPIClientLUNTakeSnapshot(
    const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid, bool is_app_consistent, bool is_locked,
    const std::string& snapshot_name, const std::string& description, const std::string& taken_by,
    long snapshot_time, bool is_scheduled, const std::string& src_snap_dir, const std::string& snap_version)
    : WebAPIClientLUN(node, src_lun_uuid), is_app_consistent(is_app_consistent), is_locked(is_locked),
      snapshot_name(snapshot_name), description(description), taken_by(taken_by),
      snapshot_time(snapshot_time), is_scheduled(is_scheduled), src_snap_dir(src_snap_dir),
      snap_version(snap_version)
{}

WebAPIClientLUNTakeSnapshot::~WebAPIClientLUNTakeSnapshot() = default;

int WebAPIClientLUNTakeSnapshot::send()
{
    beginRequest(API, "take_snapshot");
    params["src_lun_uuid"] = uuid;
    params["is_app_consistent"] = is_app_consistent;
    params["is_locked"] = is_locked;
    SetIfNotEmpty(params, "snapshot_name", snapshot_name);
    SetIfNotEmpty(params, "description", description);
    SetIfNotEmpty(params, "taken_by", taken_by);
    params["snapshot_time"] = static_cast<Json::Int64>(snapshot_time);
    params["is_scheduled"] = is_scheduled;
    SetIfNotEmpty(params, "src_snap_dir", src_snap_dir);
    SetIfNotEmpty(params, "snap_version", snap_version);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "snapshot_uuid", snapshot_uuid);
    ReadReply(data, "snapshot_id", snapshot_id);
    return 0;
}

bool WebAPIClientLUNTakeSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNTakeSnapshot::toString() const
{
    return leafText("[is_app_consistent: " + Text(is_app_consistent) + " ,is_locked: " + Text(is_locked) +
                    " ,snapshot_name: " + snapshot_name + " ,description: " + description +
                    " ,taken_by: " + taken_by + " ,snapshot_time: " + Text(snapshot_time) +
                    " ,is_scheduled: " + Text(is_scheduled) + " ,src_snap_dir: " + src_snap_dir +
                    " ,snap_version: " + snap_version + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
