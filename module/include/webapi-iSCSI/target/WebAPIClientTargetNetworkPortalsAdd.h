// Method network_portals_add of KOVA.Core.ISCSI.Target on a remote node: adds portals to the target. A portal
// is written "ADDRESS:PORT" or "INTERFACE:PORT", the port optional (the remote node then takes 3260); an IPv6
// address cannot be given, since the portal is cut at its first colon.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

#include <set>
#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetNetworkPortalsAdd : public WebAPIClientTarget {
public:
    WebAPIClientTargetNetworkPortalsAdd();
    WebAPIClientTargetNetworkPortalsAdd(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                                        const std::set<std::string>& network_portals);
    ~WebAPIClientTargetNetworkPortalsAdd() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::set<std::string> network_portals;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
