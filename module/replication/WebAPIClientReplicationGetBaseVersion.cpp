#include <webapi-iSCSI/replication/WebAPIClientReplicationGetBaseVersion.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationGetBaseVersion::WebAPIClientReplicationGetBaseVersion() = default;

WebAPIClientReplicationGetBaseVersion::WebAPIClientReplicationGetBaseVersion(
    const ISCSI::ISCSINodeInfo& node, const std::string& uuid, const std::string& sync_version,
    const std::vector<ISCSI::ISCSISnapshotInfo>& snapshots)
    : WebAPIClientReplication(node, uuid), sync_version(sync_version), snapshots(snapshots)
{}

WebAPIClientReplicationGetBaseVersion::WebAPIClientReplicationGetBaseVersion(
    const ISCSI::ISCSINodeInfo& node, const std::string& uuid, const std::string& src_lun_uuid,
    const std::string& dst_lun_uuid, const std::string& sync_version,
    const std::vector<ISCSI::ISCSISnapshotInfo>& snapshots)
    : WebAPIClientReplication(node, uuid, src_lun_uuid, dst_lun_uuid), sync_version(sync_version),
      snapshots(snapshots)
{}

WebAPIClientReplicationGetBaseVersion::~WebAPIClientReplicationGetBaseVersion() = default;

int WebAPIClientReplicationGetBaseVersion::send()
{
    beginRequest(API, "get_base_version");
    params["uuid"] = uuid;
    SetIfNotEmpty(params, "lun_uuid", dst_lun_uuid);
    params["sync_version"] = sync_version;
    params["source_snapshots"] = Json::Value(Json::arrayValue);
    // A snapshot that cannot be written stops the request before anything is sent.
    const int written = AppendJsonRecords(snapshots, params["source_snapshots"]);
    if (written != 0)
        return written;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "base_version", base_version);
    ReadReply(data, "btrfs_token", btrfs_token);
    ReadReply(data, "snap_recv_dir", snap_recv_dir);
    ReadReply(data, "need_full_sync", need_full_sync);
    ReadReply(data, "do_restore", do_restore);
    return 0;
}

bool WebAPIClientReplicationGetBaseVersion::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationGetBaseVersion::toString() const
{
    return leafText("[base_version: " + base_version + " ,need_full_sync: " + Text(need_full_sync) +
                    " ,do_restore: " + Text(do_restore) + " ,btrfs_token: " + btrfs_token + "] ,");
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
