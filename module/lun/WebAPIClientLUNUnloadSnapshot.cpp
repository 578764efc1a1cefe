#include <webapi-iSCSI/lun/WebAPIClientLUNUnloadSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNUnloadSnapshot::WebAPIClientLUNUnloadSnapshot() = default;

WebAPIClientLUNUnloadSnapshot::WebAPIClientLUNUnloadSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& snapshot_uuid,
                                                             bool is_for_trash, bool is_for_unsync_size)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid), is_for_trash(is_for_trash),
      is_for_unsync_size(is_for_unsync_size)
{}

WebAPIClientLUNUnloadSnapshot::~WebAPIClientLUNUnloadSnapshot() = default;

int WebAPIClientLUNUnloadSnapshot::send()
{
    beginRequest(API, "unload_snapshot");
    params["snapshot_uuid"] = snapshot_uuid;
    params["is_for_trash"] = is_for_trash;
    params["is_for_unsync_size"] = is_for_unsync_size;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNUnloadSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty();
}

std::string WebAPIClientLUNUnloadSnapshot::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
