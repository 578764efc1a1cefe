// The LUN operations that this build of the storage library does not offer yet: each answers
// ISCSI_ERR_NOT_AVAILABLE. The constructors, creation, deletion, listing, loading, local
// changes and KOVAiSCSILunIsRemoteDisk are in lun/ISCSILIBLUN.cpp; taking, stopping, listing,
// deleting, changing and restoring snapshots are in snapshot/ISCSILIBLUNSnapshot.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

namespace ISCSI {
namespace LIB {
namespace LIBLUN {

int ISCSILIBLUN::remoteUpdateLUN(const std::string&, unsigned long long)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::remoteUpdateLUN(const std::string&, unsigned int, unsigned int)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::localClone(const std::string&, std::string&, _tag_iscsi_lun_type, const std::string&,
                            const std::string&, bool, bool, const std::set<int>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::remoteClone(const std::string&, _tag_iscsi_lun_type, const std::string&,
                             const ISCSI::ISCSINodeInfo&, const std::string&, unsigned int, std::string&,
                             const std::string&, bool, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::TestCloneability(const std::string&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::stopClone()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::retryStop(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::mapTarget(const std::set<int>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::unmapTarget(const std::set<int>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::loadLUN(bool, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::unloadLUN(bool, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::cloneSnapshot(const std::string&, const std::string&, std::string&, _tag_iscsi_lun_type,
                               const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::loadSnapshot(const std::string&, bool, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::unloadSnapshot(const std::string&, bool, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::exportLun(const std::string&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::importLun(const std::string&, const std::string&, const std::string&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::exportCancel(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::importCancel()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::localMapVhost(std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::remoteMapVhost(const std::string&, const std::set<std::string>&, const std::string&,
                                const std::string&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::localUnmapVhost()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::remoteUnmapVhost(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::loopMount(std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::loopUnmount()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::setWhitelist(const std::vector<std::string>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::startDefrag(bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUN::stopDefrag(bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
