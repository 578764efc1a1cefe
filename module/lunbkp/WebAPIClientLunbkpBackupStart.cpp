#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpBackupStart.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpBackupStart::WebAPIClientLunbkpBackupStart() = default;

WebAPIClientLunbkpBackupStart::WebAPIClientLunbkpBackupStart(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpBackupStart::WebAPIClientLunbkpBackupStart(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& uuid,
                                                             const std::string& block_dev_path)
    : WebAPIClientLunbkp(node, uuid), block_dev_path(block_dev_path)
{}

WebAPIClientLunbkpBackupStart::~WebAPIClientLunbkpBackupStart() = default;

int WebAPIClientLunbkpBackupStart::send()
{
    beginRequest(API, "lunbackup_start");
    params["uuid"] = uuid;
    params["block_dev_path"] = block_dev_path;
    return sendRequestByDrNode();
}

bool WebAPIClientLunbkpBackupStart::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || block_dev_path.empty();
}

std::string WebAPIClientLunbkpBackupStart::toString() const
{
    return leafText(", [block_dev_path: " + block_dev_path + "]");
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
