// The LUN record's operations on stored data are not offered by this build of the storage
// library yet: each answers ISCSI_ERR_NOT_AVAILABLE and leaves its outputs as they were.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILUNInfo.h>

namespace ISCSI {

int ISCSILUNInfo::loadFromConfig(_tag_iscsi_lun_&, int)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILUNInfo::GetLunUuid(const std::string&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILUNInfo::ListIOStat(Json::Value&, bool, const Json::Value&, const Json::Value&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace ISCSI
