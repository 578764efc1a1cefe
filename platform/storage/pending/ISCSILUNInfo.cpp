// The LUN record's I/O statistics are not offered by this build of the storage library yet:
// ListIOStat answers ISCSI_ERR_NOT_AVAILABLE and leaves its output as it was. loadFromConfig
// and GetLunUuid are in lun/ISCSILUNInfoConfig.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILUNInfo.h>

namespace ISCSI {

int ISCSILUNInfo::ListIOStat(Json::Value&, bool, const Json::Value&, const Json::Value&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace ISCSI
