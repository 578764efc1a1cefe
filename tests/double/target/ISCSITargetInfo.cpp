// Recording double of the static resolver of ISCSI::ISCSITargetInfo; the record's data code is
// the shared one.
#include "../LibDouble.h"

#include <iscsi/ISCSITargetInfo.h>

using namespace KOVATest;

namespace ISCSI {

int ISCSITargetInfo::GetTid(const std::string& targetId, int& tid)
{
    return RecordResolve("ISCSITargetInfo::GetTid", targetId, "tid", tid);
}

} // namespace ISCSI
