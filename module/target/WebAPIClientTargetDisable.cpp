#include <webapi-iSCSI/target/WebAPIClientTargetDisable.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetDisable::WebAPIClientTargetDisable() = default;

WebAPIClientTargetDisable::WebAPIClientTargetDisable(const ISCSI::ISCSINodeInfo& node,
                                                     const std::string& target_id)
    : WebAPIClientTarget(node, target_id)
{}

WebAPIClientTargetDisable::~WebAPIClientTargetDisable() = default;

int WebAPIClientTargetDisable::send()
{
    beginRequest(API, "disable");
    params["target_id"] = target_id;
    return sendRequestByDrNode();
}

bool WebAPIClientTargetDisable::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty();
}

std::string WebAPIClientTargetDisable::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
