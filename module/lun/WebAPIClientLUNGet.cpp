#include <webapi-iSCSI/lun/WebAPIClientLUNGet.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNGet::WebAPIClientLUNGet() = default;

WebAPIClientLUNGet::WebAPIClientLUNGet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                       const std::vector<std::string>& additional)
    : WebAPIClientLUN(node, uuid), additional(additional)
{}

WebAPIClientLUNGet::~WebAPIClientLUNGet() = default;

int WebAPIClientLUNGet::send()
{
    beginRequest(API, "get");
    params["uuid"] = uuid;
    SetIfNotEmpty(params, "additional", additional);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    if (data.isMember("lun")) {
        const int loaded = lun.loadFromJson(data["lun"]);
        if (loaded != 0)
            return loaded;
    }
    ReadReply(data, "import_total", import_total);
    ReadReply(data, "import_done", import_done);
    ReadReply(data, "import_errno", import_errno);
    ReadReply(data, "sync_total", sync_total);
    ReadReply(data, "sync_done", sync_done);
    ReadReply(data, "sync_errno", sync_errno);
    ReadReply(data, "rmt_clone_total", rmt_clone_total);
    ReadReply(data, "rmt_clone_done", rmt_clone_done);
    ReadReply(data, "rmt_clone_sent", rmt_clone_sent);
    ReadReply(data, "rmt_clone_errno", rmt_clone_errno);
    ReadReply(data, "rmt_clone_status", rmt_clone_status);
    ReadReplyTexts(data, "whitelist", whitelist);
    return 0;
}

bool WebAPIClientLUNGet::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNGet::toString() const
{
    return leafText("lun: [" + lun.toString() + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
