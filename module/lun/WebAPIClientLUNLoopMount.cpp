#include <webapi-iSCSI/lun/WebAPIClientLUNLoopMount.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNLoopMount::WebAPIClientLUNLoopMount() = default;

WebAPIClientLUNLoopMount::WebAPIClientLUNLoopMount(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClientLUN(node, uuid)
{}

WebAPIClientLUNLoopMount::~WebAPIClientLUNLoopMount() = default;

int WebAPIClientLUNLoopMount::send()
{
    beginRequest(API, "loop_mount");
    params["uuid"] = uuid;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "loop_dev_path", loop_dev_path);
    return 0;
}

bool WebAPIClientLUNLoopMount::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNLoopMount::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
