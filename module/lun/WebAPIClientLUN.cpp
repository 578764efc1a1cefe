#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUN::WebAPIClientLUN()
    : lun_id(0), type(static_cast<_tag_iscsi_lun_type>(0)), size(0), extent_size(0)
{}

WebAPIClientLUN::WebAPIClientLUN(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClient(node), lun_id(0), type(static_cast<_tag_iscsi_lun_type>(0)), size(0), extent_size(0)
{}

WebAPIClientLUN::WebAPIClientLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClient(node), uuid(uuid), lun_id(0), type(static_cast<_tag_iscsi_lun_type>(0)), size(0),
      extent_size(0)
{}

WebAPIClientLUN::WebAPIClientLUN(const ISCSI::ISCSINodeInfo& node, const std::string& name,
                                 _tag_iscsi_lun_type type, const std::string& location,
                                 unsigned long long size, unsigned int extent_size)
    : WebAPIClient(node), lun_id(0), name(name), type(type), location(location), size(size),
      extent_size(extent_size)
{}

WebAPIClientLUN::~WebAPIClientLUN() = default;

std::string WebAPIClientLUN::toString() const
{
    return "LUN: [uuid: " + uuid + " ,lun_id: " + Text(lun_id) + " ,name: " + name + " ,type: " + Text(type) +
           " ,location: " + location + " ,size: " + Text(size) + " ,extent_size: " + Text(extent_size) + "]";
}

std::string WebAPIClientLUN::leafText(const std::string& own) const
{
    return WebAPIClient::toString() + " ," + WebAPIClientLUN::toString() + " ," + own + responseText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
