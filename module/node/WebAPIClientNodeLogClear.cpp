#include <webapi-iSCSI/node/WebAPIClientNodeLogClear.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeLogClear::WebAPIClientNodeLogClear() = default;

WebAPIClientNodeLogClear::WebAPIClientNodeLogClear(const ISCSI::ISCSINodeInfo& node) : WebAPIClientNode(node)
{}

WebAPIClientNodeLogClear::~WebAPIClientNodeLogClear() = default;

int WebAPIClientNodeLogClear::send()
{
    beginRequest(API, "log_clear");
    return sendRequestByDrNode();
}

bool WebAPIClientNodeLogClear::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientNodeLogClear::toString() const
{
    return leafText();
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
