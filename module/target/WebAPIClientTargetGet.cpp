#include <webapi-iSCSI/target/WebAPIClientTargetGet.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetGet::WebAPIClientTargetGet() = default;

WebAPIClientTargetGet::WebAPIClientTargetGet(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                                             const std::vector<std::string>& additional)
    : WebAPIClientTarget(node, target_id), additional(additional)
{}

WebAPIClientTargetGet::~WebAPIClientTargetGet() = default;

int WebAPIClientTargetGet::send()
{
    beginRequest(API, "get");
    params["target_id"] = target_id;
    SetIfNotEmpty(params, "additional", additional);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    if (!data.isMember("target"))
        return 0;
    return target.loadFromJson(data["target"]);
}

bool WebAPIClientTargetGet::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty();
}

std::string WebAPIClientTargetGet::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
