// Recording double of the behaviour of ISCSI::ISCSITaskInfo (its data code is the shared one).
#include "../LibDouble.h"

#include <iscsi/ISCSITaskInfo.h>

using namespace KOVATest;

namespace ISCSI {

int ISCSITaskInfo::GetTaskUuid(const std::string& id, std::string& uuid)
{
    return RecordResolve("ISCSITaskInfo::GetTaskUuid", id, "uuid", uuid);
}

} // namespace ISCSI
