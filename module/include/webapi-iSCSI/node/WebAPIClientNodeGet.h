// Method get of KOVA.Core.ISCSI.Node on a remote node: its status and rod key, and what
// additional asks for (subvolume conversion progress, iSNS, queue length, EP buffer settings ...).
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

#include <map>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeGet : public WebAPIClientNode {
public:
    WebAPIClientNodeGet();
    WebAPIClientNodeGet(const ISCSI::ISCSINodeInfo& node, const std::string& subvol_root_path,
                        const std::string& iscsi_dir_root_path, const std::vector<std::string>& additional);
    ~WebAPIClientNodeGet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string subvol_root_path;
    std::string iscsi_dir_root_path;
    std::vector<std::string> additional;

    int status = 0;
    std::string subvol_conv_uuid;
    std::string subvol_conv_status;
    std::string iscsi_dir_path;
    std::string isns_address;
    std::string iqn_hash_key;
    unsigned long long total_size = 0;
    unsigned long long done_size = 0;
    int total_number = 0;
    int done_number = 0;
    int subvol_conv_errno = 0;
    int io_queue_length = 0;
    int ep_unmap_buf_mode = 0;
    // An int, narrower than the node's 64-bit threshold: a larger value is not read.
    int tp_hard_threshold_bytes = 0;
    bool isns_enabled = false;
    bool is_subvol_conv_normal = false;
    // Mapped EP buffer size by root path.
    std::map<std::string, unsigned long long> ep_buf_mapped_size;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
