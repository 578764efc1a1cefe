#include <webapi-iSCSI/target/WebAPIClientTargetACLMasksAdd.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetACLMasksAdd::WebAPIClientTargetACLMasksAdd() = default;

WebAPIClientTargetACLMasksAdd::WebAPIClientTargetACLMasksAdd(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& target_id,
                                                             const std::map<std::string, std::string>& acls)
    : WebAPIClientTarget(node, target_id), acls(acls)
{}

WebAPIClientTargetACLMasksAdd::~WebAPIClientTargetACLMasksAdd() = default;

int WebAPIClientTargetACLMasksAdd::send()
{
    beginRequest(API, "acl_masks_add");
    params["target_id"] = target_id;
    params["acls"] = Json::Value(Json::arrayValue);
    for (const auto& acl : acls) {
        Json::Value mask(Json::objectValue);
        mask["iqn"] = acl.first;
        mask["permission"] = acl.second;
        params["acls"].append(mask);
    }
    return sendRequestByDrNode();
}

bool WebAPIClientTargetACLMasksAdd::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty() || acls.empty();
}

std::string WebAPIClientTargetACLMasksAdd::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
