// Replication tasks are not offered by this build of the storage library yet: resolving a task
// identifier answers ISCSI_ERR_NOT_AVAILABLE, except for the empty identifier, which needs no
// task and answers 0 with the empty uuid.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSITaskInfo.h>

namespace ISCSI {

int ISCSITaskInfo::GetTaskUuid(const std::string& id, std::string& uuid)
{
    if (!id.empty())
        return ISCSI_ERR_NOT_AVAILABLE;
    uuid.clear();
    return 0;
}

} // namespace ISCSI
