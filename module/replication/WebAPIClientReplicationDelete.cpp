#include <webapi-iSCSI/replication/WebAPIClientReplicationDelete.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplicationDelete::WebAPIClientReplicationDelete() = default;

WebAPIClientReplicationDelete::WebAPIClientReplicationDelete(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& uuid, bool delete_lun)
    : WebAPIClientReplication(node, uuid), delete_lun(delete_lun)
{}

WebAPIClientReplicationDelete::~WebAPIClientReplicationDelete() = default;

int WebAPIClientReplicationDelete::send()
{
    beginRequest(API, "delete");
    params["uuid"] = uuid;
    params["delete_lun"] = delete_lun;
    return sendRequestByDrNode();
}

bool WebAPIClientReplicationDelete::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientReplicationDelete::toString() const
{
    return leafText("[delete_lun: " + Text(delete_lun) + "] ,");
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
