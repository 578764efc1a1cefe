// Method map_vhost of KOVA.Core.ISCSI.LUN on a remote node: maps a LUN to a vhost; with portals, through
// another appliance's portals with its rod key.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNMapVhost : public WebAPIClientLUN {
public:
    WebAPIClientLUNMapVhost();
    WebAPIClientLUNMapVhost(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                            const std::string& rod_key, const std::string& outgoing_interface,
                            const std::set<std::string>& portals);
    ~WebAPIClientLUNMapVhost() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string rod_key;
    std::string outgoing_interface;
    std::set<std::string> portals;
    std::string vhost_interface;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
