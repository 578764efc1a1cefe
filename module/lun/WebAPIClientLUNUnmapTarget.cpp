#include <webapi-iSCSI/lun/WebAPIClientLUNUnmapTarget.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNUnmapTarget::WebAPIClientLUNUnmapTarget() = default;

WebAPIClientLUNUnmapTarget::WebAPIClientLUNUnmapTarget(const ISCSI::ISCSINodeInfo& node,
                                                       const std::string& uuid,
                                                       const std::set<std::string>& target_ids)
    : WebAPIClientLUN(node, uuid), target_ids(target_ids)
{}

WebAPIClientLUNUnmapTarget::~WebAPIClientLUNUnmapTarget() = default;

int WebAPIClientLUNUnmapTarget::send()
{
    beginRequest(API, "unmap_target");
    params["uuid"] = uuid;
    params["target_ids"] = JsonArray(target_ids);
    return sendRequestByDrNode();
}

bool WebAPIClientLUNUnmapTarget::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || target_ids.empty();
}

std::string WebAPIClientLUNUnmapTarget::toString() const
{
    return leafText("[target_ids: " + EachFollowedByBlank(target_ids) + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
