// The client classes of KOVA.Core.ISCSI.VLUN: the family's fields and text.
#pragma once

#include <webapi-iSCSI/etc/WebAPIClient.h>

#include <iscsi/ISCSITypes.h>

#include <set>
#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

class WebAPIClientVLUN : public WebAPIClient {
public:
    WebAPIClientVLUN();
    WebAPIClientVLUN(const ISCSI::ISCSINodeInfo& node, ISCSI::_tag_iscsi_vlun_type type,
                     const std::string& src_lun_uuid);
    WebAPIClientVLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    WebAPIClientVLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                     const std::string& dst_lun_uuid, const std::set<std::string>& portals);
    ~WebAPIClientVLUN() override;

    // "vLUN: [uuid: U ,type: T ,src_lun_uuid: S ,dst_lun_uuid: D ,portals: P1 P2 ]"
    std::string toString() const;

    std::string uuid;
    ISCSI::_tag_iscsi_vlun_type type;
    std::string src_lun_uuid;
    std::string dst_lun_uuid;
    std::set<std::string> portals;

protected:
    static constexpr const char* API = "KOVA.Core.ISCSI.VLUN";
    // A leaf's text: the root's, " ,", the family's, " ,", the leaf's own fields (each leaf's
    // own text ends in " ," when it has one) and "[Response: ...]".
    std::string leafText(const std::string& own = std::string()) const;
};

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
