#include <webapi-iSCSI/lun/WebAPIClientLUNStartDefrag.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNStartDefrag::WebAPIClientLUNStartDefrag() = default;

WebAPIClientLUNStartDefrag::WebAPIClientLUNStartDefrag(const ISCSI::ISCSINodeInfo& node,
                                                       const std::string& uuid, bool background)
    : WebAPIClientLUN(node, uuid), background(background)
{}

WebAPIClientLUNStartDefrag::~WebAPIClientLUNStartDefrag() = default;

int WebAPIClientLUNStartDefrag::send()
{
    beginRequest(API, "defrag");
    params["uuid"] = uuid;
    params["background"] = background;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNStartDefrag::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientLUNStartDefrag::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
