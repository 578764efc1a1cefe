#include <webapi-iSCSI/lun/WebAPIClientLUNExport.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNExport::WebAPIClientLUNExport() = default;

WebAPIClientLUNExport::WebAPIClientLUNExport(const ISCSI::ISCSINodeInfo& node,
                                             const std::string& snapshot_uuid,
                                             const std::string& exported_dir_path)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid), exported_dir_path(exported_dir_path)
{}

WebAPIClientLUNExport::~WebAPIClientLUNExport() = default;

int WebAPIClientLUNExport::send()
{
    beginRequest(API, "export");
    params["snapshot_uuid"] = snapshot_uuid;
    params["exported_dir_path"] = exported_dir_path;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNExport::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty() || exported_dir_path.empty();
}

std::string WebAPIClientLUNExport::toString() const
{
    return leafText("[snapshot_uuid: " + snapshot_uuid + " ,exported_dir_path: " + exported_dir_path + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
