#include <webapi-iSCSI/lun/WebAPIClientLUNSet.h>

#include "etc/WebAPIClientFields.h"
#include "lun/WebAPIClientLUNDevAttribs.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNSet::WebAPIClientLUNSet() = default;

WebAPIClientLUNSet::WebAPIClientLUNSet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                       const std::string& new_name, unsigned long long new_size,
                                       const std::string& new_type, const std::string& new_location,
                                       const std::string& vpd_unit_sn, bool is_soft_feas_ignored,
                                       const std::set<std::string>& dev_attribs)
    : WebAPIClientLUN(node, uuid), new_name(new_name), new_size(new_size), new_type(new_type),
      new_location(new_location), vpd_unit_sn(vpd_unit_sn), is_soft_feas_ignored(is_soft_feas_ignored),
      dev_attribs(dev_attribs)
{}

WebAPIClientLUNSet::~WebAPIClientLUNSet() = default;

int WebAPIClientLUNSet::send()
{
    beginRequest(API, "set");
    params["uuid"] = uuid;
    params["new_size"] = static_cast<Json::UInt64>(new_size);
    params["new_type"] = new_type;
    params["is_soft_feas_ignored"] = is_soft_feas_ignored;
    params["dev_attribs"] = DevAttribsArray(dev_attribs);
    SetIfNotEmpty(params, "new_name", new_name);
    SetIfNotEmpty(params, "new_location", new_location);
    SetIfNotEmpty(params, "vpd_unit_sn", vpd_unit_sn);
    return sendRequestByDrNode();
}

bool WebAPIClientLUNSet::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNSet::toString() const
{
    return leafText("[new_name: " + new_name + " ,new_size: " + Text(new_size) + " ,new_type: " + new_type +
                    " ,new_location: " + new_location + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
