#include <webapi-iSCSI/lun/WebAPIClientLUNTop.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNTop::WebAPIClientLUNTop() = default;

WebAPIClientLUNTop::WebAPIClientLUNTop(const ISCSI::ISCSINodeInfo& node, bool object,
                                       const std::string& filter_attr, const std::string& filter_value,
                                       const std::vector<std::string>& uuids)
    : WebAPIClientLUN(node), object(object), filter_attr(filter_attr), filter_value(filter_value),
      uuids(uuids)
{}

WebAPIClientLUNTop::~WebAPIClientLUNTop() = default;

int WebAPIClientLUNTop::send()
{
    beginRequest(API, "top");
    params["object"] = object;
    if (!filter_attr.empty()) {
        params["filter"]["attr"] = filter_attr;
        params["filter"]["value"] = filter_value;
    }
    SetIfNotEmpty(params, "uuids", uuids);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    if (replyData().isMember("iostats"))
        iostats = replyData()["iostats"].toStyledString();
    return 0;
}

bool WebAPIClientLUNTop::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientLUNTop::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
