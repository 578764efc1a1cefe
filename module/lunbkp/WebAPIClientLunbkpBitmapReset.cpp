#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpBitmapReset.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpBitmapReset::WebAPIClientLunbkpBitmapReset() = default;

WebAPIClientLunbkpBitmapReset::WebAPIClientLunbkpBitmapReset(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpBitmapReset::WebAPIClientLunbkpBitmapReset(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& uuid)
    : WebAPIClientLunbkp(node, uuid)
{}

WebAPIClientLunbkpBitmapReset::~WebAPIClientLunbkpBitmapReset() = default;

int WebAPIClientLunbkpBitmapReset::send()
{
    beginRequest(API, "lunbkp_bitmap_reset");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLunbkpBitmapReset::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLunbkpBitmapReset::toString() const
{
    return leafText();
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
