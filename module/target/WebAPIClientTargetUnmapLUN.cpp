#include <webapi-iSCSI/target/WebAPIClientTargetUnmapLUN.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetUnmapLUN::WebAPIClientTargetUnmapLUN() = default;

WebAPIClientTargetUnmapLUN::WebAPIClientTargetUnmapLUN(const ISCSI::ISCSINodeInfo& node,
                                                       const std::string& target_id,
                                                       const std::set<std::string>& lun_uuids)
    : WebAPIClientTarget(node, target_id), lun_uuids(lun_uuids)
{}

WebAPIClientTargetUnmapLUN::~WebAPIClientTargetUnmapLUN() = default;

int WebAPIClientTargetUnmapLUN::send()
{
    beginRequest(API, "unmap_lun");
    params["target_id"] = target_id;
    params["lun_uuids"] = JsonArray(lun_uuids);
    return sendRequestByDrNode();
}

bool WebAPIClientTargetUnmapLUN::isInvalid() const
{
    return dst_node.isInvalid(false) || lun_uuids.empty() || target_id.empty();
}

std::string WebAPIClientTargetUnmapLUN::toString() const
{
    return lunUuidsText(lun_uuids);
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
