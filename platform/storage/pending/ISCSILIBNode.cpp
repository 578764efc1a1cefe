// The node operations are not offered by this build of the storage library yet: the object
// keeps what it was made with, every operation answers ISCSI_ERR_NOT_AVAILABLE, and the
// node's status is unknown.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBNode.h>

namespace ISCSI {
namespace LIB {
namespace LIBNode {

ISCSILIBNode::ISCSILIBNode() = default;
ISCSILIBNode::ISCSILIBNode(const std::string& uuid, const std::string& hostname, unsigned short port,
                           const std::string& protocol, const std::string& rodKey, const std::string& account,
                           const std::string& password, const std::string& otpCode)
    : node(uuid, std::string(), hostname, port, protocol, rodKey, account, false)
{
    node.password = password;
    node.otp_code = otpCode;
}
ISCSILIBNode::~ISCSILIBNode() = default;

int ISCSILIBNode::createNode()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getStatus() const
{
    return ISCSI::ISCSI_NODE_STATUS_UNKNOWN;
}
int ISCSILIBNode::getIscsiDirPath(const std::string&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getSubvolConvProgress(const std::string&, _tag_iscsi_conv_to_subvol_progress_*)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getIsnsInfo(bool&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getIoQueueLength(int&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getIqnHashKey(std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::checkAllSubvolConvStatusNormal(bool&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getEpBufMapSize(Json::Value&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getEpUnmapBufMode(_tag_ep_buffer_unmap_mode_&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getTpHardThreshold(unsigned long long&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getPluginInfo(Json::Value&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::getPromoteStorageConsole(bool&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::setIsnsInfo(bool, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::setIoQueueLength(int)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::setEpUnmapBufMode(int)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::setTpHardThreshold(unsigned long long)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::setPromoteStorageConsole(bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::ListNode(std::vector<ISCSI::ISCSINodeInfo>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::subvolConvFeasibilityCheck(const std::string&, std::vector<std::string>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::subvolConvert(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBNode
} // namespace LIB
} // namespace ISCSI
