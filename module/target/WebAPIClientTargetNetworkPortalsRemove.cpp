#include <webapi-iSCSI/target/WebAPIClientTargetNetworkPortalsRemove.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetNetworkPortalsRemove::WebAPIClientTargetNetworkPortalsRemove() = default;

WebAPIClientTargetNetworkPortalsRemove::WebAPIClientTargetNetworkPortalsRemove(
    const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
    const std::set<std::string>& network_portals)
    : WebAPIClientTarget(node, target_id), network_portals(network_portals)
{}

WebAPIClientTargetNetworkPortalsRemove::~WebAPIClientTargetNetworkPortalsRemove() = default;

int WebAPIClientTargetNetworkPortalsRemove::send()
{
    beginRequest(API, "network_portals_remove");
    params["target_id"] = target_id;
    params["network_portals"] = NetworkPortalsJson(network_portals);
    return sendRequestByDrNode();
}

bool WebAPIClientTargetNetworkPortalsRemove::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty() || network_portals.empty();
}

std::string WebAPIClientTargetNetworkPortalsRemove::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
