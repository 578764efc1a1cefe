#include <webapi-iSCSI/node/WebAPIClientNodeSubvolConvert.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeSubvolConvert::WebAPIClientNodeSubvolConvert() = default;

WebAPIClientNodeSubvolConvert::WebAPIClientNodeSubvolConvert(const ISCSI::ISCSINodeInfo& node,
                                                             const std::string& root_path)
    : WebAPIClientNode(node), root_path(root_path)
{}

WebAPIClientNodeSubvolConvert::~WebAPIClientNodeSubvolConvert() = default;

int WebAPIClientNodeSubvolConvert::send()
{
    beginRequest(API, "subvol_convert");
    params["root_path"] = root_path;
    return sendRequestByDrNode();
}

bool WebAPIClientNodeSubvolConvert::isInvalid() const
{
    return dst_node.isInvalid(false) || root_path.empty();
}

std::string WebAPIClientNodeSubvolConvert::toString() const
{
    return leafText();
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
