#include <webapi-iSCSI/lun/WebAPIClientLUNDelete.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNDelete::WebAPIClientLUNDelete() = default;

WebAPIClientLUNDelete::WebAPIClientLUNDelete(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                             bool is_soft_feas_ignored, const std::set<std::string>& uuids)
    : WebAPIClientLUN(node, uuid), is_soft_feas_ignored(is_soft_feas_ignored), uuids(uuids)
{}

WebAPIClientLUNDelete::~WebAPIClientLUNDelete() = default;

int WebAPIClientLUNDelete::send()
{
    beginRequest(API, "delete");
    params["uuid"] = uuid;
    params["is_soft_feas_ignored"] = is_soft_feas_ignored;
    params["uuids"] = JsonArray(uuids);
    return sendRequestByDrNode();
}

// The peer needs uuid in any case, but an empty one is left for it to refuse.
bool WebAPIClientLUNDelete::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientLUNDelete::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
