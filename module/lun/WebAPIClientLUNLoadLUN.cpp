#include <webapi-iSCSI/lun/WebAPIClientLUNLoadLUN.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNLoadLUN::WebAPIClientLUNLoadLUN() = default;

WebAPIClientLUNLoadLUN::WebAPIClientLUNLoadLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                               bool is_for_trash, bool is_for_unsync_size)
    : WebAPIClientLUN(node, uuid), is_for_trash(is_for_trash), is_for_unsync_size(is_for_unsync_size)
{}

WebAPIClientLUNLoadLUN::~WebAPIClientLUNLoadLUN() = default;

int WebAPIClientLUNLoadLUN::send()
{
    beginRequest(API, "load_lun");
    params["uuid"] = uuid;
    params["is_for_trash"] = is_for_trash;
    params["is_for_unsync_size"] = is_for_unsync_size;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNLoadLUN::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNLoadLUN::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
