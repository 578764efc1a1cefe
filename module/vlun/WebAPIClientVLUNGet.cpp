#include <webapi-iSCSI/vlun/WebAPIClientVLUNGet.h>

#include "etc/WebAPIClientFields.h"
#include "etc/WebAPIVocabulary.h"

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

WebAPIClientVLUNGet::WebAPIClientVLUNGet() = default;

WebAPIClientVLUNGet::WebAPIClientVLUNGet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClientVLUN(node, uuid)
{}

WebAPIClientVLUNGet::~WebAPIClientVLUNGet() = default;

int WebAPIClientVLUNGet::send()
{
    beginRequest(API, "get");
    params["uuid"] = uuid;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "status", status);
    ReadReply(data, "sync_size", sync_size);
    ReadReply(data, "total_size", total_size);
    return 0;
}

bool WebAPIClientVLUNGet::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientVLUNGet::toString() const
{
    return leafText("[status: " + Text(status) + " ,sync_size: " + Text(sync_size) + " (" +
                    FormatByteSize(sync_size) + ")" + " ,total_size: " + Text(total_size) + " (" +
                    FormatByteSize(total_size) + ")" + "] ,");
}

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
