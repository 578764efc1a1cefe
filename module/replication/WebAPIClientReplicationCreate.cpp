#include <webapi-iSCSI/replication/WebAPIClientReplicationCreate.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationCreate::WebAPIClientReplicationCreate() = default;

WebAPIClientReplicationCreate::WebAPIClientReplicationCreate(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& src_lun_uuid,
                                                             const std::string& dst_node_uuid,
                                                             const std::string& dst_location,
                                                             const std::string& dst_lun_name)
    : WebAPIClientReplication(node, src_lun_uuid, dst_node_uuid), dst_location(dst_location),
      dst_lun_name(dst_lun_name)
{}

WebAPIClientReplicationCreate::~WebAPIClientReplicationCreate() = default;

int WebAPIClientReplicationCreate::send()
{
    beginRequest(API, "create");
    // The node the request goes to is the source of the replication.
    params["src_node_uuid"] = dst_node.uuid;
    params["src_lun_uuid"] = src_lun_uuid;
    params["dst_node_uuid"] = dst_node_uuid;
    params["dst_location"] = dst_location;
    params["dst_lun_name"] = dst_lun_name;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "uuid", uuid);
    ReadReply(data, "dst_lun_uuid", dst_lun_uuid);
    return 0;
}

bool WebAPIClientReplicationCreate::isInvalid() const
{
    return dst_node.isInvalid(false) || src_lun_uuid.empty() || dst_node_uuid.empty() ||
           dst_location.empty() || dst_lun_name.empty();
}

std::string WebAPIClientReplicationCreate::toString() const
{
    return leafText("[dst_location: " + dst_location + " ,dst_lun_name: " + dst_lun_name + "] ,");
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
