#include <webapi-iSCSI/node/WebAPIClientNodeSet.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeSet::WebAPIClientNodeSet() = default;

WebAPIClientNodeSet::WebAPIClientNodeSet(const ISCSI::ISCSINodeInfo& node, int isns_enabled,
                                         const std::string& isns_address, int io_queue_length,
                                         _tag_ep_buffer_unmap_mode_ ep_unmap_buf_mode,
                                         int tp_hard_threshold_bytes)
    : WebAPIClientNode(node), isns_enabled(isns_enabled), isns_address(isns_address),
      io_queue_length(io_queue_length), ep_unmap_buf_mode(ep_unmap_buf_mode),
      tp_hard_threshold_bytes(tp_hard_threshold_bytes)
{}

WebAPIClientNodeSet::~WebAPIClientNodeSet() = default;

int WebAPIClientNodeSet::send()
{
    beginRequest(API, "set");
    if (isns_enabled >= 0) {
        params["isns_enabled"] = isns_enabled != 0;
        params["isns_address"] = isns_address;
    }
    if (io_queue_length > 0)
        params["io_queue_length"] = io_queue_length;
    SetIfNotZero(params, "ep_unmap_buf_mode", static_cast<int>(ep_unmap_buf_mode));
    if (tp_hard_threshold_bytes > 0)
        params["tp_hard_threshold_bytes"] = tp_hard_threshold_bytes;
    return sendRequestByDrNode();
}

bool WebAPIClientNodeSet::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientNodeSet::toString() const
{
    return leafText();
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
