#include <webapi-iSCSI/lun/WebAPIClientLUNUnloadLUN.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNUnloadLUN::WebAPIClientLUNUnloadLUN() = default;

WebAPIClientLUNUnloadLUN::WebAPIClientLUNUnloadLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                                   bool is_for_trash, bool is_for_unsync_size)
    : WebAPIClientLUN(node, uuid), is_for_trash(is_for_trash), is_for_unsync_size(is_for_unsync_size)
{}

WebAPIClientLUNUnloadLUN::~WebAPIClientLUNUnloadLUN() = default;

int WebAPIClientLUNUnloadLUN::send()
{
    beginRequest(API, "unload_lun");
    params["uuid"] = uuid;
    params["is_for_trash"] = is_for_trash;
    params["is_for_unsync_size"] = is_for_unsync_size;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNUnloadLUN::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNUnloadLUN::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
