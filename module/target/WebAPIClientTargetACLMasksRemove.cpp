#include <webapi-iSCSI/target/WebAPIClientTargetACLMasksRemove.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetACLMasksRemove::WebAPIClientTargetACLMasksRemove() = default;

WebAPIClientTargetACLMasksRemove::WebAPIClientTargetACLMasksRemove(
    const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
    const std::set<std::string>& initiator_iqns)
    : WebAPIClientTarget(node, target_id), initiator_iqns(initiator_iqns)
{}

WebAPIClientTargetACLMasksRemove::~WebAPIClientTargetACLMasksRemove() = default;

int WebAPIClientTargetACLMasksRemove::send()
{
    beginRequest(API, "acl_masks_remove");
    params["target_id"] = target_id;
    // The request form holds an access list beside the initiators; it is always empty here.
    params["acls"] = Json::Value(Json::arrayValue);
    params["initiator_iqns"] = JsonArray(initiator_iqns);
    return sendRequestByDrNode();
}

bool WebAPIClientTargetACLMasksRemove::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty() || initiator_iqns.empty();
}

std::string WebAPIClientTargetACLMasksRemove::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
