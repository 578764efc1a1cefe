// The LUN operations that this build of the storage library does not offer yet: each answers
// ISCSI_ERR_NOT_AVAILABLE. The constructors, creation, deletion, listing, loading, local
// changes and KOVAiSCSILunIsRemoteDisk are in lun/ISCSILIBLUN.cpp; taking, stopping, listing,
// deleting, changing and restoring snapshots are in snapshot/ISCSILIBLUNSnapshot.cpp.
// Mapping, loading and whitelists are in pending/ISCSILIBLUNTargetSide.cpp, clones, export
// and import in pending/ISCSILIBLUNCopies.cpp, until they are offered.
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

int ISCSILIBLUN::remoteClone(const std::string&, _tag_iscsi_lun_type, const std::string&,
                             const ISCSI::ISCSINodeInfo&, const std::string&, unsigned int, std::string&,
                             const std::string&, bool, bool)
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
