// The LUN operations of the target engine that this build of the storage library does not
// offer yet (mapping to targets, loading, whitelists): each answers ISCSI_ERR_NOT_AVAILABLE.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

namespace ISCSI {
namespace LIB {
namespace LIBLUN {

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

int ISCSILIBLUN::loadSnapshot(const std::string&, bool, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

int ISCSILIBLUN::unloadSnapshot(const std::string&, bool, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

int ISCSILIBLUN::setWhitelist(const std::vector<std::string>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
