#include <webapi-iSCSI/target/WebAPIClientTargetDelete.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetDelete::WebAPIClientTargetDelete() = default;

WebAPIClientTargetDelete::WebAPIClientTargetDelete(const ISCSI::ISCSINodeInfo& node,
                                                   const std::string& target_id)
    : WebAPIClientTarget(node, target_id)
{}

WebAPIClientTargetDelete::~WebAPIClientTargetDelete() = default;

int WebAPIClientTargetDelete::send()
{
    beginRequest(API, "delete");
    params["target_id"] = target_id;
    return sendRequestByDrNode();
}

bool WebAPIClientTargetDelete::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty();
}

std::string WebAPIClientTargetDelete::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
