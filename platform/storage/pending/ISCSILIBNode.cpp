// Remote nodes and the conversion of iSCSI data into subvolumes are not offered by this build of
// the storage library yet: these operations answer ISCSI_ERR_NOT_AVAILABLE. The local node's
// status and settings are in node/ISCSILIBNode.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBNode.h>

namespace ISCSI {
namespace LIB {
namespace LIBNode {

int ISCSILIBNode::createNode()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBNode::ListNode(std::vector<ISCSI::ISCSINodeInfo>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBNode
} // namespace LIB
} // namespace ISCSI
