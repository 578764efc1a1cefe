#include <webapi-iSCSI/lun/WebAPIClientLUNMapVhost.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNMapVhost::WebAPIClientLUNMapVhost() = default;

WebAPIClientLUNMapVhost::WebAPIClientLUNMapVhost(const ISCSI::ISCSINodeInfo& node,
                                                 const std::string& src_lun_uuid, const std::string& rod_key,
                                                 const std::string& outgoing_interface,
                                                 const std::set<std::string>& portals)
    : WebAPIClientLUN(node, src_lun_uuid), rod_key(rod_key), outgoing_interface(outgoing_interface),
      portals(portals)
{}

WebAPIClientLUNMapVhost::~WebAPIClientLUNMapVhost() = default;

int WebAPIClientLUNMapVhost::send()
{
    beginRequest(API, "map_vhost");
    params["src_lun_uuid"] = uuid;
    if (!portals.empty()) {
        params["rod_key"] = rod_key;
        params["portals"] = JsonArray(portals);
        SetIfNotEmpty(params, "outgoing_interface", outgoing_interface);
    }
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "vhost_interface", vhost_interface);
    return 0;
}

bool WebAPIClientLUNMapVhost::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty() || (!portals.empty() && rod_key.empty());
}

std::string WebAPIClientLUNMapVhost::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
