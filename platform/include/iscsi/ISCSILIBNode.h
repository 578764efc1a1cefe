// Nodes of the iSCSI service: the local node's settings and state, the node entries made from
// connection data, and the conversion of iSCSI data into subvolumes.
#pragma once

#include <iscsi/ISCSINodeInfo.h>

#include <json/json.h>

#include <string>
#include <vector>

// Progress of the conversion of the iSCSI data under one root path into a subvolume, as
// ISCSI::LIB::LIBNode::ISCSILIBNode::getSubvolConvProgress fills it.
struct _tag_iscsi_conv_to_subvol_progress_ {
    unsigned long long total_size;
    unsigned long long done_size;
    int total_number;
    int done_number;
    int err_no;      // errno of a failed conversion, 0 if none
    char status[64]; // NUL-terminated
    char uuid[37];   // NUL-terminated uuid of the conversion
};

// How the EP buffer is unmapped. The mode values are the storage library's; 2 is what a node
// has until it is set.
enum _tag_ep_buffer_unmap_mode_ {
    EP_BUFFER_UNMAP_MODE_NONE = 0,
    EP_BUFFER_UNMAP_MODE_1 = 1,
    EP_BUFFER_UNMAP_MODE_2 = 2,
};

namespace ISCSI {
namespace LIB {
namespace LIBNode {

// Flags of the local node's get, one per word of its "additional" parameter.
enum {
    ISCSI_NODE_GET_SUBVOL_CONV_PROGRESS = 0x001,    // "subvol_conv_progress"
    ISCSI_NODE_GET_NO_ROD_KEY = 0x002,              // "no_rod_key"
    ISCSI_NODE_GET_NO_STATUS = 0x004,               // "no_status"
    ISCSI_NODE_GET_ISNS_INFO = 0x008,               // "isns_info"
    ISCSI_NODE_GET_IO_QUEUE_LENGTH = 0x010,         // "io_queue_length"
    ISCSI_NODE_GET_IQN_HASH_KEY = 0x020,            // "iqn_hash_key"
    ISCSI_NODE_GET_IS_SUBVOL_CONV_NORMAL = 0x040,   // "is_subvol_conv_normal"
    ISCSI_NODE_GET_EP_BUF_MAPPED_SIZE = 0x080,      // "ep_buf_mapped_size"
    ISCSI_NODE_GET_EP_UNMAP_BUF_MODE = 0x100,       // "ep_unmap_buf_mode"
    ISCSI_NODE_GET_TP_HARD_THRESHOLD_BYTES = 0x200, // "tp_hard_threshold_bytes"
    ISCSI_NODE_GET_PLUGIN_INFO = 0x400,             // "plugin_info"
    ISCSI_NODE_GET_PROMOTE_STORAGE_CONSOLE = 0x800, // "promote_storage_console"
};

class ISCSILIBNode {
public:
    // The local node.
    ISCSILIBNode();
    // A node to be made by createNode, reached at protocol://hostname:port with account,
    // password and (optional) otpCode.
    ISCSILIBNode(const std::string& uuid, const std::string& hostname, unsigned short port,
                 const std::string& protocol, const std::string& rodKey, const std::string& account,
                 const std::string& password, const std::string& otpCode);
    virtual ~ISCSILIBNode();

    // Makes the node that the object describes.
    int createNode();
    // The node's status, one of ISCSI::_tag_iscsi_node_status; not an error code.
    int getStatus() const;

    // The iSCSI directory under iscsiDirRootPath.
    int getIscsiDirPath(const std::string& iscsiDirRootPath, std::string& iscsiDirPath);
    // Fills progress with the conversion under subvolRootPath (empty: the current one).
    int getSubvolConvProgress(const std::string& subvolRootPath,
                              _tag_iscsi_conv_to_subvol_progress_* progress);
    int getIsnsInfo(bool& isnsEnabled, std::string& isnsAddress);
    int getIoQueueLength(int& ioQueueLength);
    int getIqnHashKey(std::string& iqnHashKey);
    // Whether every subvolume conversion is in a normal state.
    int checkAllSubvolConvStatusNormal(bool& isSubvolConvNormal);
    // An array with one object per root path: {"root_path": string, "mapped_size": unsigned
    // 64-bit bytes}.
    int getEpBufMapSize(Json::Value& epBufMappedSize);
    int getEpUnmapBufMode(_tag_ep_buffer_unmap_mode_& epUnmapBufMode);
    int getTpHardThreshold(unsigned long long& tpHardThresholdBytes);
    // A JSON object describing the installed plugins; its members are the library's.
    int getPluginInfo(Json::Value& pluginInfo);
    int getPromoteStorageConsole(bool& promoteStorageConsole);

    int setIsnsInfo(bool isnsEnabled, const std::string& isnsAddress);
    int setIoQueueLength(int ioQueueLength);
    // mode: a _tag_ep_buffer_unmap_mode_ value.
    int setEpUnmapBufMode(int epUnmapBufMode);
    int setTpHardThreshold(unsigned long long tpHardThresholdBytes);
    int setPromoteStorageConsole(bool promoteStorageConsole);

    // All known nodes, the local one included (is_local_node).
    static int ListNode(std::vector<ISCSI::ISCSINodeInfo>& nodes);

    // 0 when the data under rootPath can be converted into a subvolume; 18990335 when hard
    // reasons stand against it, then listed in feasibilityHard; or another error code.
    int subvolConvFeasibilityCheck(const std::string& rootPath, std::vector<std::string>& feasibilityHard);
    // Starts the conversion of the data under rootPath; it runs on after the call.
    int subvolConvert(const std::string& rootPath);

    // The node the object describes: its uuid, hostname, port, protocol, rod_key, account,
    // password and otp_code as the constructor took them.
    ISCSI::ISCSINodeInfo node;
};

} // namespace LIBNode
} // namespace LIB
} // namespace ISCSI
