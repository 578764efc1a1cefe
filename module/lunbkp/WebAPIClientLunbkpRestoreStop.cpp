#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpRestoreStop.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpRestoreStop::WebAPIClientLunbkpRestoreStop() = default;

WebAPIClientLunbkpRestoreStop::WebAPIClientLunbkpRestoreStop(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpRestoreStop::WebAPIClientLunbkpRestoreStop(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& uuid)
    : WebAPIClientLunbkp(node, uuid)
{}

WebAPIClientLunbkpRestoreStop::~WebAPIClientLunbkpRestoreStop() = default;

int WebAPIClientLunbkpRestoreStop::send()
{
    beginRequest(API, "lunrestore_stop");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLunbkpRestoreStop::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLunbkpRestoreStop::toString() const
{
    return leafText();
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
