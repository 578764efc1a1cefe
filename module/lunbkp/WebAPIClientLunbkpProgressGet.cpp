#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpProgressGet.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpProgressGet::WebAPIClientLunbkpProgressGet() = default;

WebAPIClientLunbkpProgressGet::WebAPIClientLunbkpProgressGet(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpProgressGet::WebAPIClientLunbkpProgressGet(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& uuid)
    : WebAPIClientLunbkp(node, uuid)
{}

WebAPIClientLunbkpProgressGet::~WebAPIClientLunbkpProgressGet() = default;

int WebAPIClientLunbkpProgressGet::send()
{
    beginRequest(API, "lunbkp_progress_get");
    params["uuid"] = uuid;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "lunbkp_progress", lunbkp_progress);
    ReadReply(data, "lunbkp_offset_sector", lunbkp_offset_sector);
    ReadReply(data, "lunbkp_total_sector", lunbkp_total_sector);
    return 0;
}

bool WebAPIClientLunbkpProgressGet::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLunbkpProgressGet::toString() const
{
    return leafText(", [lunbkp_progress: " + Text(lunbkp_progress) + "]" +
                    ", [lunbkp_offset_sector: " + Text(lunbkp_offset_sector) + "]" +
                    ", [lunbkp_total_sector: " + Text(lunbkp_total_sector) + "]");
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
