#include <webapi-iSCSI/lun/WebAPIClientLUNUnmapVhost.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNUnmapVhost::WebAPIClientLUNUnmapVhost() = default;

WebAPIClientLUNUnmapVhost::WebAPIClientLUNUnmapVhost(const ISCSI::ISCSINodeInfo& node,
                                                     const std::string& src_lun_uuid,
                                                     const std::set<std::string>& portals)
    : WebAPIClientLUN(node, src_lun_uuid), portals(portals)
{}

WebAPIClientLUNUnmapVhost::~WebAPIClientLUNUnmapVhost() = default;

int WebAPIClientLUNUnmapVhost::send()
{
    beginRequest(API, "unmap_vhost");
    params["src_lun_uuid"] = uuid;
    SetIfNotEmpty(params, "portals", portals);
    return sendRequestByDrNode();
}

bool WebAPIClientLUNUnmapVhost::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNUnmapVhost::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
