#include <webapi-iSCSI/lun/WebAPIClientLUNImport.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNImport::WebAPIClientLUNImport() = default;

WebAPIClientLUNImport::WebAPIClientLUNImport(const ISCSI::ISCSINodeInfo& node,
                                             const std::string& src_lun_uuid,
                                             const std::string& exported_dir_path,
                                             const std::string& snapshot_name, const std::string& description,
                                             const std::string& taken_by)
    : WebAPIClientLUN(node, src_lun_uuid), exported_dir_path(exported_dir_path), snapshot_name(snapshot_name),
      description(description), taken_by(taken_by)
{}

WebAPIClientLUNImport::~WebAPIClientLUNImport() = default;

int WebAPIClientLUNImport::send()
{
    beginRequest(API, "import");
    params["src_lun_uuid"] = uuid;
    params["exported_dir_path"] = exported_dir_path;
    SetIfNotEmpty(params, "snapshot_name", snapshot_name);
    SetIfNotEmpty(params, "description", description);
    SetIfNotEmpty(params, "taken_by", taken_by);
    return sendRequestByDrNode();
}

bool WebAPIClientLUNImport::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || exported_dir_path.empty();
}

std::string WebAPIClientLUNImport::toString() const
{
    return leafText("[exported_dir_path: " + exported_dir_path + " ,snapshot_name: " + snapshot_name +
                    " ,description: " + description + " ,taken_by: " + taken_by + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
