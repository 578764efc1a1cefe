// Target identifiers cannot be resolved by this build of the storage library yet: the resolver
// answers ISCSI_ERR_NOT_AVAILABLE and leaves its output alone.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSITargetInfo.h>

namespace ISCSI {

int ISCSITargetInfo::GetTid(const std::string&, int&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace ISCSI
