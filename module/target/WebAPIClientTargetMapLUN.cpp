#include <webapi-iSCSI/target/WebAPIClientTargetMapLUN.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetMapLUN::WebAPIClientTargetMapLUN() = default;

WebAPIClientTargetMapLUN::WebAPIClientTargetMapLUN(const ISCSI::ISCSINodeInfo& node,
                                                   const std::string& target_id,
                                                   const std::set<std::string>& lun_uuids)
    : WebAPIClientTarget(node, target_id), lun_uuids(lun_uuids)
{}

WebAPIClientTargetMapLUN::~WebAPIClientTargetMapLUN() = default;

int WebAPIClientTargetMapLUN::send()
{
    beginRequest(API, "map_lun");
    params["target_id"] = target_id;
    params["lun_uuids"] = JsonArray(lun_uuids);
    return sendRequestByDrNode();
}

bool WebAPIClientTargetMapLUN::isInvalid() const
{
    return dst_node.isInvalid(false) || lun_uuids.empty() || target_id.empty();
}

std::string WebAPIClientTargetMapLUN::toString() const
{
    return lunUuidsText(lun_uuids);
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
