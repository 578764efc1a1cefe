#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpBackupStop.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpBackupStop::WebAPIClientLunbkpBackupStop() = default;

WebAPIClientLunbkpBackupStop::WebAPIClientLunbkpBackupStop(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpBackupStop::WebAPIClientLunbkpBackupStop(const ISCSI::ISCSINodeInfo& node,
                                                           const std::string& uuid)
    : WebAPIClientLunbkp(node, uuid)
{}

WebAPIClientLunbkpBackupStop::~WebAPIClientLunbkpBackupStop() = default;

int WebAPIClientLunbkpBackupStop::send()
{
    beginRequest(API, "lunbackup_stop");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLunbkpBackupStop::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLunbkpBackupStop::toString() const
{
    return leafText();
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
