#include <webapi-iSCSI/target/WebAPIClientTargetEnable.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetEnable::WebAPIClientTargetEnable() = default;

WebAPIClientTargetEnable::WebAPIClientTargetEnable(const ISCSI::ISCSINodeInfo& node,
                                                   const std::string& target_id)
    : WebAPIClientTarget(node, target_id)
{}

WebAPIClientTargetEnable::~WebAPIClientTargetEnable() = default;

int WebAPIClientTargetEnable::send()
{
    beginRequest(API, "enable");
    params["target_id"] = target_id;
    return sendRequestByDrNode();
}

bool WebAPIClientTargetEnable::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty();
}

std::string WebAPIClientTargetEnable::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
