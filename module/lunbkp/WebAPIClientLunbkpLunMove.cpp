#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpLunMove.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpLunMove::WebAPIClientLunbkpLunMove() = default;

WebAPIClientLunbkpLunMove::WebAPIClientLunbkpLunMove(const ISCSI::ISCSINodeInfo& node,
                                                     const std::string& uuid, const std::string& dst_location)
    : WebAPIClientLunbkp(node, uuid), dst_location(dst_location)
{}

WebAPIClientLunbkpLunMove::~WebAPIClientLunbkpLunMove() = default;

int WebAPIClientLunbkpLunMove::send()
{
    beginRequest(API, "backuplun_move");
    params["uuid"] = uuid;
    params["dst_location"] = dst_location;
    return sendRequestByDrNode();
}

bool WebAPIClientLunbkpLunMove::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || dst_location.empty();
}

std::string WebAPIClientLunbkpLunMove::toString() const
{
    return leafText(", [dst_location: " + dst_location + "]");
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
