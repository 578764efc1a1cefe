#include <webapi-iSCSI/replication/WebAPIClientReplicationSendSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationSendSnapshot::WebAPIClientReplicationSendSnapshot() = default;

WebAPIClientReplicationSendSnapshot::WebAPIClientReplicationSendSnapshot(
    const ISCSI::ISCSINodeInfo& node, const std::string& uuid, const std::string& snapshot_uuid,
    const std::string& src_address, const std::string& dst_address, const std::string& dst_snap_name,
    unsigned int src_port, unsigned int dst_port, bool is_full_sync_allowed, bool is_data_encrypted)
    : WebAPIClientReplication(node, uuid), snapshot_uuid(snapshot_uuid), src_address(src_address),
      dst_address(dst_address), dst_snap_name(dst_snap_name), src_port(src_port), dst_port(dst_port),
      is_full_sync_allowed(is_full_sync_allowed), is_data_encrypted(is_data_encrypted)
{}

WebAPIClientReplicationSendSnapshot::~WebAPIClientReplicationSendSnapshot() = default;

int WebAPIClientReplicationSendSnapshot::send()
{
    beginRequest(API, "send_snapshot");
    params["uuid"] = uuid;
    params["snapshot_uuid"] = snapshot_uuid;
    params["dst_address"] = dst_address;
    params["is_full_sync_allowed"] = is_full_sync_allowed;
    params["is_data_encrypted"] = is_data_encrypted;
    SetIfNotEmpty(params, "src_address", src_address);
    SetIfNotEmpty(params, "dst_snap_name", dst_snap_name);
    SetIfNotZero(params, "src_port", src_port);
    SetIfNotZero(params, "dst_port", dst_port);
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationSendSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || snapshot_uuid.empty() || dst_address.empty();
}

std::string WebAPIClientReplicationSendSnapshot::toString() const
{
    return leafText("[snapshot_uuid: " + snapshot_uuid + " ,src_address: " + src_address +
                    " ,dst_address: " + dst_address + " ,dst_snap_name: " + dst_snap_name +
                    " ,src_port: " + Text(src_port) + " ,dst_port: " + Text(dst_port) +
                    " ,is_full_sync_allowed: " + Text(is_full_sync_allowed) +
                    " ,is_data_encrypted: " + Text(is_data_encrypted) + "] ,");
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
