// The conversion of iSCSI data into subvolumes is not offered by this build of the storage
// library yet: these operations answer ISCSI_ERR_NOT_AVAILABLE. The local node's status and
// settings are in node/ISCSILIBNode.cpp, remote nodes in node/ISCSILIBNodeRemote.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBNode.h>

namespace ISCSI {
namespace LIB {
namespace LIBNode {

int ISCSILIBNode::getSubvolConvProgress(const std::string&, _tag_iscsi_conv_to_subvol_progress_*)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::checkAllSubvolConvStatusNormal(bool&)
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
