#include <webapi-iSCSI/replication/WebAPIClientReplicationCheckNode.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationCheckNode::WebAPIClientReplicationCheckNode() = default;

WebAPIClientReplicationCheckNode::WebAPIClientReplicationCheckNode(const ISCSI::ISCSINodeInfo& node,
                                                                   const std::string& dst_node_uuid,
                                                                   const std::string& dst_address,
                                                                   unsigned int dst_port, bool chk_blun_conn)
    : WebAPIClientReplication(node, std::string(), dst_node_uuid), dst_address(dst_address),
      dst_port(dst_port), chk_blun_conn(chk_blun_conn)
{}

WebAPIClientReplicationCheckNode::~WebAPIClientReplicationCheckNode() = default;

int WebAPIClientReplicationCheckNode::send()
{
    beginRequest(API, "check_node");
    params["dst_node_uuid"] = dst_node_uuid;
    params["dst_address"] = dst_address;
    params["chk_blun_conn"] = chk_blun_conn;
    SetIfNotZero(params, "dst_port", dst_port);
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationCheckNode::isInvalid() const
{
    return dst_node.isInvalid(false) || dst_node_uuid.empty() || dst_address.empty();
}

std::string WebAPIClientReplicationCheckNode::toString() const
{
    return leafText("[dst_node_uuid: " + dst_node_uuid + " ,dst_address: " + dst_address +
                    " ,dst_port: " + Text(dst_port) + " ,chk_blun_conn: " + Text(chk_blun_conn) + "] ,");
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
