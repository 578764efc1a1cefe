#include <webapi-iSCSI/replication/WebAPIClientReplicationComputeUnsyncSize.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationComputeUnsyncSize::WebAPIClientReplicationComputeUnsyncSize() = default;

WebAPIClientReplicationComputeUnsyncSize::WebAPIClientReplicationComputeUnsyncSize(
    const ISCSI::ISCSINodeInfo& node, const std::string& uuid, const std::string& base_snapshot_uuid,
    const std::string& sending_snapshot_uuid)
    : WebAPIClientReplication(node, uuid), base_snapshot_uuid(base_snapshot_uuid),
      sending_snapshot_uuid(sending_snapshot_uuid)
{}

WebAPIClientReplicationComputeUnsyncSize::~WebAPIClientReplicationComputeUnsyncSize() = default;

int WebAPIClientReplicationComputeUnsyncSize::send()
{
    beginRequest(API, "compute_unsync_size");
    params["uuid"] = uuid;
    params["base_snapshot_uuid"] = base_snapshot_uuid;
    params["sending_snapshot_uuid"] = sending_snapshot_uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationComputeUnsyncSize::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationComputeUnsyncSize::toString() const
{
    return leafText();
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
