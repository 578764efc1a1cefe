// The LUN operations that this build of the storage library does not offer yet: each answers
// ISCSI_ERR_NOT_AVAILABLE. The constructors, creation, deletion, listing, loading, local and
// remote-disk changes and KOVAiSCSILunIsRemoteDisk are in lun/ISCSILIBLUN.cpp, loop devices
// and defragmentation in lun/ISCSILIBLUNDevices.cpp; taking, stopping, listing,
// deleting, changing and restoring snapshots are in snapshot/ISCSILIBLUNSnapshot.cpp; clones
// in clone/, export and import in export/, and mapping, loading and whitelists in target/.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

namespace ISCSI {
namespace LIB {
namespace LIBLUN {

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

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
