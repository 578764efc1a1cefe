#include <webapi-iSCSI/lun/WebAPIClientLUNSetWhitelist.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNSetWhitelist::WebAPIClientLUNSetWhitelist() = default;

WebAPIClientLUNSetWhitelist::WebAPIClientLUNSetWhitelist(const ISCSI::ISCSINodeInfo& node,
                                                         const std::string& uuid,
                                                         const std::vector<std::string>& whitelist)
    : WebAPIClientLUN(node, uuid), whitelist(whitelist)
{}

WebAPIClientLUNSetWhitelist::~WebAPIClientLUNSetWhitelist() = default;

int WebAPIClientLUNSetWhitelist::send()
{
    beginRequest(API, "set_whitelist");
    params["uuid"] = uuid;
    params["whitelist"] = JsonArray(whitelist);
    return sendRequestByDrNode();
}

bool WebAPIClientLUNSetWhitelist::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || whitelist.empty();
}

std::string WebAPIClientLUNSetWhitelist::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
