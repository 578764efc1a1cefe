// Method unmap_vhost of KOVA.Core.ISCSI.LUN on a remote node: unmaps a LUN from its vhost.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNUnmapVhost : public WebAPIClientLUN {
public:
    WebAPIClientLUNUnmapVhost();
    WebAPIClientLUNUnmapVhost(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                              const std::set<std::string>& portals);
    ~WebAPIClientLUNUnmapVhost() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::set<std::string> portals;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
