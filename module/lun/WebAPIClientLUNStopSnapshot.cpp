#include <webapi-iSCSI/lun/WebAPIClientLUNStopSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNStopSnapshot::WebAPIClientLUNStopSnapshot() = default;

WebAPIClientLUNStopSnapshot::WebAPIClientLUNStopSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                         const std::string& src_lun_uuid,
                                                         const std::string& snapshot_uuid)
    : WebAPIClientLUN(node, src_lun_uuid), snapshot_uuid(snapshot_uuid)
{}

WebAPIClientLUNStopSnapshot::~WebAPIClientLUNStopSnapshot() = default;

int WebAPIClientLUNStopSnapshot::send()
{
    beginRequest(API, "stop_snapshot");
    params["src_lun_uuid"] = uuid;
    params["snapshot_uuid"] = snapshot_uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNStopSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || snapshot_uuid.empty();
}

std::string WebAPIClientLUNStopSnapshot::toString() const
{
    return leafText("[snapshot_uuid: " + snapshot_uuid + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
