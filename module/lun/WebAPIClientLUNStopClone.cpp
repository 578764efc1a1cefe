#include <webapi-iSCSI/lun/WebAPIClientLUNStopClone.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNStopClone::WebAPIClientLUNStopClone() = default;

WebAPIClientLUNStopClone::WebAPIClientLUNStopClone(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClientLUN(node, uuid)
{}

WebAPIClientLUNStopClone::~WebAPIClientLUNStopClone() = default;

int WebAPIClientLUNStopClone::send()
{
    beginRequest(API, "stop_clone");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNStopClone::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientLUNStopClone::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
