// The snapshot record's operations on stored data are not offered by this build of the
// storage library yet: each answers ISCSI_ERR_NOT_AVAILABLE and leaves its outputs as they were.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSISnapshotInfo.h>

namespace ISCSI {

int ISCSISnapshotInfo::loadFromConfig(int)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSISnapshotInfo::lockSnapshotByAppKey(const std::string&) const
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSISnapshotInfo::unlockSnapshotByAppKey(const std::string&) const
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSISnapshotInfo::GetSnapshotUuid(const std::string&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace ISCSI
