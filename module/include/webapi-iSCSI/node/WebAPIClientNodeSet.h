// Method set of KOVA.Core.ISCSI.Node on a remote node: writes the settings that are given. A
// negative isns_enabled leaves iSNS as it is; a queue length or threshold of 0 or less, and a
// mode of 0, are not sent.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

#include <iscsi/ISCSILIBNode.h>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeSet : public WebAPIClientNode {
public:
    WebAPIClientNodeSet();
    WebAPIClientNodeSet(const ISCSI::ISCSINodeInfo& node, int isns_enabled, const std::string& isns_address,
                        int io_queue_length, _tag_ep_buffer_unmap_mode_ ep_unmap_buf_mode,
                        int tp_hard_threshold_bytes);
    ~WebAPIClientNodeSet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    int isns_enabled = 0;
    std::string isns_address;
    int io_queue_length = 0;
    _tag_ep_buffer_unmap_mode_ ep_unmap_buf_mode = EP_BUFFER_UNMAP_MODE_NONE;
    int tp_hard_threshold_bytes = 0;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
