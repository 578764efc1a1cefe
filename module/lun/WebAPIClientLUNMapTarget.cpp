#include <webapi-iSCSI/lun/WebAPIClientLUNMapTarget.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNMapTarget::WebAPIClientLUNMapTarget() = default;

WebAPIClientLUNMapTarget::WebAPIClientLUNMapTarget(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                                   const std::set<std::string>& target_ids)
    : WebAPIClientLUN(node, uuid), target_ids(target_ids)
{}

WebAPIClientLUNMapTarget::~WebAPIClientLUNMapTarget() = default;

int WebAPIClientLUNMapTarget::send()
{
    beginRequest(API, "map_target");
    params["uuid"] = uuid;
    params["target_ids"] = JsonArray(target_ids);
    return sendRequestByDrNode();
}

bool WebAPIClientLUNMapTarget::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || target_ids.empty();
}

std::string WebAPIClientLUNMapTarget::toString() const
{
    return leafText("[target_ids: " + EachFollowedByBlank(target_ids) + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
