#include <webapi-iSCSI/node/WebAPIClientNodeGet.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

namespace {

// The entries of ep_buf_mapped_size: root_path and mapped_size of each; what is no object is
// skipped.
std::map<std::string, unsigned long long> MappedSizes(const Json::Value& entries)
{
    std::map<std::string, unsigned long long> sizes;
    for (const Json::Value& entry : entries) {
        if (!entry.isObject())
            continue;
        std::string rootPath;
        unsigned long long mappedSize = 0;
        ReadReply(entry, "root_path", rootPath);
        ReadReply(entry, "mapped_size", mappedSize);
        sizes[rootPath] = mappedSize;
    }
    return sizes;
}

} // namespace

WebAPIClientNodeGet::WebAPIClientNodeGet() = default;

WebAPIClientNodeGet::WebAPIClientNodeGet(const ISCSI::ISCSINodeInfo& node,
                                         const std::string& subvol_root_path,
                                         const std::string& iscsi_dir_root_path,
                                         const std::vector<std::string>& additional)
    : WebAPIClientNode(node), subvol_root_path(subvol_root_path), iscsi_dir_root_path(iscsi_dir_root_path),
      additional(additional)
{}

WebAPIClientNodeGet::~WebAPIClientNodeGet() = default;

int WebAPIClientNodeGet::send()
{
    beginRequest(API, "get");
    SetIfNotEmpty(params, "subvol_root_path", subvol_root_path);
    SetIfNotEmpty(params, "iscsi_dir_root_path", iscsi_dir_root_path);
    SetIfNotEmpty(params, "additional", additional);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    ReadReply(data, "status", status);
    ReadReply(data, "rod_key", rod_key);
    ReadReply(data, "subvol_conv_uuid", subvol_conv_uuid);
    ReadReply(data, "subvol_conv_status", subvol_conv_status);
    ReadReply(data, "iscsi_dir_path", iscsi_dir_path);
    ReadReply(data, "isns_address", isns_address);
    ReadReply(data, "iqn_hash_key", iqn_hash_key);
    ReadReply(data, "total_size", total_size);
    ReadReply(data, "done_size", done_size);
    ReadReply(data, "total_number", total_number);
    ReadReply(data, "done_number", done_number);
    ReadReply(data, "subvol_conv_errno", subvol_conv_errno);
    ReadReply(data, "io_queue_length", io_queue_length);
    ReadReply(data, "ep_unmap_buf_mode", ep_unmap_buf_mode);
    ReadReply(data, "tp_hard_threshold_bytes", tp_hard_threshold_bytes);
    ReadReply(data, "isns_enabled", isns_enabled);
    ReadReply(data, "is_subvol_conv_normal", is_subvol_conv_normal);
    if (data.isMember("ep_buf_mapped_size"))
        ep_buf_mapped_size = MappedSizes(data["ep_buf_mapped_size"]);
    return 0;
}

bool WebAPIClientNodeGet::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientNodeGet::toString() const
{
    return leafText("[status: " + Text(status) + " ,rod_key: " + rod_key + "] ,");
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
