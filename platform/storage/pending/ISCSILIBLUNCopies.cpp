// The LUN copy operations that this build of the storage library does not offer yet (clones,
// export and import): each answers ISCSI_ERR_NOT_AVAILABLE.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

namespace ISCSI {
namespace LIB {
namespace LIBLUN {

int ISCSILIBLUN::localClone(const std::string&, std::string&, _tag_iscsi_lun_type, const std::string&,
                            const std::string&, bool, bool, const std::set<int>&)
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

int ISCSILIBLUN::cloneSnapshot(const std::string&, const std::string&, std::string&, _tag_iscsi_lun_type,
                               const std::string&)
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

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
