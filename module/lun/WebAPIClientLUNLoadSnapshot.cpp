#include <webapi-iSCSI/lun/WebAPIClientLUNLoadSnapshot.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNLoadSnapshot::WebAPIClientLUNLoadSnapshot() = default;

WebAPIClientLUNLoadSnapshot::WebAPIClientLUNLoadSnapshot(const ISCSI::ISCSINodeInfo& node,
                                                         const std::string& snapshot_uuid, bool is_for_trash,
                                                         bool is_for_unsync_size)
    : WebAPIClientLUN(node), snapshot_uuid(snapshot_uuid), is_for_trash(is_for_trash),
      is_for_unsync_size(is_for_unsync_size)
{}

WebAPIClientLUNLoadSnapshot::~WebAPIClientLUNLoadSnapshot() = default;

int WebAPIClientLUNLoadSnapshot::send()
{
    beginRequest(API, "load_snapshot");
    params["snapshot_uuid"] = snapshot_uuid;
    params["is_for_trash"] = is_for_trash;
    params["is_for_unsync_size"] = is_for_unsync_size;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNLoadSnapshot::isInvalid() const
{
    return dst_node.isInvalid(false) || snapshot_uuid.empty();
}

std::string WebAPIClientLUNLoadSnapshot::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
