// The node configuration and sessions are not offered by this build of the storage library
// yet: the record's operations answer ISCSI_ERR_NOT_AVAILABLE, and no node is in the
// configuration. Resolving the empty identifier needs no configuration and answers 0. The
// local rod key is in node/ISCSILIBNode.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSINodeInfo.h>

namespace ISCSI {

int ISCSINodeInfo::loadFromConfig()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
bool ISCSINodeInfo::isInConfig() const
{
    return false;
}
int ISCSINodeInfo::updateConfig(bool, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSINodeInfo::deleteFromNodeConfig() const
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSINodeInfo::createSession()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSINodeInfo::deleteSession() const
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

int ISCSINodeInfo::GetNodeUuid(const std::string& id, std::string& uuid)
{
    if (!id.empty())
        return ISCSI_ERR_NOT_AVAILABLE;
    uuid.clear();
    return 0;
}

} // namespace ISCSI
