#include <webapi-iSCSI/lun/WebAPIClientLUNExportCancel.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNExportCancel::WebAPIClientLUNExportCancel() = default;

WebAPIClientLUNExportCancel::WebAPIClientLUNExportCancel(const ISCSI::ISCSINodeInfo& node,
                                                         const std::string& snapshot_uuid)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid)
{}

WebAPIClientLUNExportCancel::~WebAPIClientLUNExportCancel() = default;

int WebAPIClientLUNExportCancel::send()
{
    beginRequest(API, "export_cancel");
    params["snapshot_uuid"] = snapshot_uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNExportCancel::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty();
}

std::string WebAPIClientLUNExportCancel::toString() const
{
    return leafText("[snapshot_uuid: " + snapshot_uuid + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
