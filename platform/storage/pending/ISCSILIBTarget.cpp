// Targets are not offered by this build of the storage library yet: the object keeps what it
// was made with, and every operation answers ISCSI_ERR_NOT_AVAILABLE.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBTarget.h>

namespace ISCSI {
namespace LIB {
namespace LIBTarget {

ISCSILIBTarget::ISCSILIBTarget() : is_soft_feas_ignored(false) {}
ISCSILIBTarget::ISCSILIBTarget(const std::string& name, const std::string& iqn, bool isEnabled,
                               bool hasHeaderChecksum, bool hasDataChecksum, unsigned int maxRecvSegBytes,
                               unsigned int maxSendSegBytes, unsigned int maxSessions,
                               ISCSI_AUTH_TYPE authType, const std::string& user, const std::string& password,
                               const std::string& mutualUser, const std::string& mutualPassword,
                               bool isSoftFeasIgnored)
    : ISCSITargetInfo(name, iqn, isEnabled, hasHeaderChecksum, hasDataChecksum, maxRecvSegBytes,
                      maxSendSegBytes, maxSessions, authType, user, password, mutualUser, mutualPassword),
      is_soft_feas_ignored(isSoftFeasIgnored)
{}
ISCSILIBTarget::ISCSILIBTarget(unsigned int tid) : ISCSITargetInfo(tid), is_soft_feas_ignored(false) {}
ISCSILIBTarget::~ISCSILIBTarget() = default;

int ISCSILIBTarget::ListTarget(std::vector<ISCSI::ISCSITargetInfo>&, const std::string&, int)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::loadTargetInfo(int)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::createTarget()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::deleteTarget()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::enableTarget()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::disableTarget()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::updateTarget(int, const std::string&, const std::string&, bool, bool, unsigned int,
                                 unsigned int, unsigned int, ISCSI_AUTH_TYPE, const std::string&,
                                 const std::string&, const std::string&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::aclMasksSet(const Json::Value&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::aclMasksAdd(const std::map<std::string, ISCSI_TARGET_AUTHORITY>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::aclMasksRemove(const std::set<std::string>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::networkPortalsAdd(const std::vector<_tag_struct_iscsi_network_portal_>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::networkPortalsRemove(const std::vector<_tag_struct_iscsi_network_portal_>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::mapLUN(const std::set<std::string>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBTarget::unmapLUN(const std::set<std::string>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBTarget
} // namespace LIB
} // namespace ISCSI
