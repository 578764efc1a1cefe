#include <webapi-iSCSI/target/WebAPIClientTargetNetworkPortalsAdd.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetNetworkPortalsAdd::WebAPIClientTargetNetworkPortalsAdd() = default;

WebAPIClientTargetNetworkPortalsAdd::WebAPIClientTargetNetworkPortalsAdd(
    const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
    const std::set<std::string>& network_portals)
    : WebAPIClientTarget(node, target_id), network_portals(network_portals)
{}

WebAPIClientTargetNetworkPortalsAdd::~WebAPIClientTargetNetworkPortalsAdd() = default;

int WebAPIClientTargetNetworkPortalsAdd::send()
{
    beginRequest(API, "network_portals_add");
    params["target_id"] = target_id;
    params["network_portals"] = NetworkPortalsJson(network_portals);
    return sendRequestByDrNode();
}

bool WebAPIClientTargetNetworkPortalsAdd::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty() || network_portals.empty();
}

std::string WebAPIClientTargetNetworkPortalsAdd::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
