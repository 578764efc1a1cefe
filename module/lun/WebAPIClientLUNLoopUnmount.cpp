#include <webapi-iSCSI/lun/WebAPIClientLUNLoopUnmount.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNLoopUnmount::WebAPIClientLUNLoopUnmount() = default;

WebAPIClientLUNLoopUnmount::WebAPIClientLUNLoopUnmount(const ISCSI::ISCSINodeInfo& node,
                                                       const std::string& uuid)
    : WebAPIClientLUN(node, uuid)
{}

WebAPIClientLUNLoopUnmount::~WebAPIClientLUNLoopUnmount() = default;

int WebAPIClientLUNLoopUnmount::send()
{
    beginRequest(API, "loop_unmount");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNLoopUnmount::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNLoopUnmount::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
