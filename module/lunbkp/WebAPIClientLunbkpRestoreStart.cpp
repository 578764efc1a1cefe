#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpRestoreStart.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkpRestoreStart::WebAPIClientLunbkpRestoreStart() = default;

WebAPIClientLunbkpRestoreStart::WebAPIClientLunbkpRestoreStart(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClientLunbkp(node)
{}

WebAPIClientLunbkpRestoreStart::WebAPIClientLunbkpRestoreStart(const ISCSI::ISCSINodeInfo& node,
                                                               const std::string& uuid,
                                                               const std::string& block_dev_path)
    : WebAPIClientLunbkp(node, uuid), block_dev_path(block_dev_path)
{}

WebAPIClientLunbkpRestoreStart::~WebAPIClientLunbkpRestoreStart() = default;

int WebAPIClientLunbkpRestoreStart::send()
{
    beginRequest(API, "lunrestore_start");
    params["uuid"] = uuid;
    params["block_dev_path"] = block_dev_path;
    return sendRequestByDrNode();
}

bool WebAPIClientLunbkpRestoreStart::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || block_dev_path.empty();
}

std::string WebAPIClientLunbkpRestoreStart::toString() const
{
    return leafText(", [block_dev_path: " + block_dev_path + "]");
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
