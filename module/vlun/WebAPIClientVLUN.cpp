#include <webapi-iSCSI/vlun/WebAPIClientVLUN.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

WebAPIClientVLUN::WebAPIClientVLUN() : type(ISCSI::ISCSI_VLUN_TYPE_NONE) {}

WebAPIClientVLUN::WebAPIClientVLUN(const ISCSI::ISCSINodeInfo& node, ISCSI::_tag_iscsi_vlun_type type,
                                   const std::string& src_lun_uuid)
    : WebAPIClient(node), type(type), src_lun_uuid(src_lun_uuid)
{}

WebAPIClientVLUN::WebAPIClientVLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClient(node), uuid(uuid), type(ISCSI::ISCSI_VLUN_TYPE_NONE)
{}

WebAPIClientVLUN::WebAPIClientVLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                   const std::string& dst_lun_uuid, const std::set<std::string>& portals)
    : WebAPIClient(node), uuid(uuid), type(ISCSI::ISCSI_VLUN_TYPE_NONE), dst_lun_uuid(dst_lun_uuid),
      portals(portals)
{}

WebAPIClientVLUN::~WebAPIClientVLUN() = default;

std::string WebAPIClientVLUN::toString() const
{
    return "vLUN: [uuid: " + uuid + " ,type: " + Text(type) + " ,src_lun_uuid: " + src_lun_uuid +
           " ,dst_lun_uuid: " + dst_lun_uuid + " ,portals: " + EachFollowedByBlank(portals) + "]";
}

std::string WebAPIClientVLUN::leafText(const std::string& own) const
{
    return WebAPIClient::toString() + " ," + WebAPIClientVLUN::toString() + " ," + own + responseText();
}

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
