#include <webapi-iSCSI/lun/WebAPIClientLUNStopDefrag.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNStopDefrag::WebAPIClientLUNStopDefrag() = default;

WebAPIClientLUNStopDefrag::WebAPIClientLUNStopDefrag(const ISCSI::ISCSINodeInfo& node,
                                                     const std::string& uuid)
    : WebAPIClientLUN(node, uuid)
{}

WebAPIClientLUNStopDefrag::~WebAPIClientLUNStopDefrag() = default;

int WebAPIClientLUNStopDefrag::send()
{
    beginRequest(API, "stop_defrag");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNStopDefrag::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientLUNStopDefrag::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
