#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpSizeGet.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpSizeGet::WebAPIClientLunbkpSizeGet() = default;

WebAPIClientLunbkpSizeGet::WebAPIClientLunbkpSizeGet(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpSizeGet::WebAPIClientLunbkpSizeGet(const ISCSI::ISCSINodeInfo& node,
                                                     const std::string& uuid)
    : WebAPIClientLunbkp(node, uuid)
{}

WebAPIClientLunbkpSizeGet::~WebAPIClientLunbkpSizeGet() = default;

int WebAPIClientLunbkpSizeGet::send()
{
    beginRequest(API, "lunbkp_size_get");
    params["uuid"] = uuid;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "lunbkp_total_sector", lunbkp_total_sector);
    return 0;
}

bool WebAPIClientLunbkpSizeGet::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLunbkpSizeGet::toString() const
{
    return leafText(", [lunbkp_total_sector: " + Text(lunbkp_total_sector) + "]");
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
