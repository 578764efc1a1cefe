#include <webapi-iSCSI/lun/WebAPIClientLUNCreate.h>

#include "etc/WebAPIClientFields.h"
#include "lun/WebAPIClientLUNDevAttribs.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNCreate::WebAPIClientLUNCreate() = default;

WebAPIClientLUNCreate::WebAPIClientLUNCreate(const ISCSI::ISCSINodeInfo& node, const std::string& name,
                                             _tag_iscsi_lun_type type, const std::string& location,
                                             unsigned long long size, unsigned int extent_size,
                                             const std::string& vpd_unit_sn, const std::string& src_lun_dir,
                                             const std::string& src_lun_file, bool is_soft_feas_ignored,
                                             const std::set<std::string>& dev_attribs)
    : WebAPIClientLUN(node, name, type, location, size, extent_size), vpd_unit_sn(vpd_unit_sn),
      src_lun_dir(src_lun_dir), src_lun_file(src_lun_file), is_soft_feas_ignored(is_soft_feas_ignored),
      dev_attribs(dev_attribs)
{}

WebAPIClientLUNCreate::~WebAPIClientLUNCreate() = default;

int WebAPIClientLUNCreate::send()
{
    beginRequest(API, "create");
    params["name"] = name;
    params["type"] = static_cast<int>(type);
    params["location"] = location;
    params["size"] = static_cast<Json::UInt64>(size);
    params["extent_size"] = extent_size;
    params["is_soft_feas_ignored"] = is_soft_feas_ignored;
    SetIfNotEmpty(params, "vpd_unit_sn", vpd_unit_sn);
    params["dev_attribs"] = DevAttribsArray(dev_attribs);
    SetIfNotEmpty(params, "src_lun_dir", src_lun_dir);
    SetIfNotEmpty(params, "src_lun_file", src_lun_file);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "uuid", uuid);
    ReadReply(data, "lun_id", lun_id);
    return 0;
}

bool WebAPIClientLUNCreate::isInvalid() const
{
    return dst_node.isInvalid(false) || name.empty() || type == 0 || location.empty();
}

std::string WebAPIClientLUNCreate::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
