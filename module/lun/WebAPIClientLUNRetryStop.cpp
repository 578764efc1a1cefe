#include <webapi-iSCSI/lun/WebAPIClientLUNRetryStop.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNRetryStop::WebAPIClientLUNRetryStop() = default;

WebAPIClientLUNRetryStop::WebAPIClientLUNRetryStop(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClientLUN(node, uuid)
{}

WebAPIClientLUNRetryStop::~WebAPIClientLUNRetryStop() = default;

int WebAPIClientLUNRetryStop::send()
{
    beginRequest(API, "retry_stop");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNRetryStop::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNRetryStop::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
