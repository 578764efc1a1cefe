#include <webapi-iSCSI/vlun/WebAPIClientVLUNDelete.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

WebAPIClientVLUNDelete::WebAPIClientVLUNDelete() = default;

WebAPIClientVLUNDelete::WebAPIClientVLUNDelete(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClientVLUN(node, uuid)
{}

WebAPIClientVLUNDelete::~WebAPIClientVLUNDelete() = default;

int WebAPIClientVLUNDelete::send()
{
    beginRequest(API, "delete");
    params["uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientVLUNDelete::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientVLUNDelete::toString() const
{
    return leafText();
}

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
