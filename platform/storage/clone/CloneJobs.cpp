// The figures of clone, export and import jobs in the records, and the start-up undoing of an
// unfinished clone.
#include "clone/CloneJobs.h"

#include "jobs/JobRunner.h"
#include "lun/LUNStore.h"

namespace ISCSI {
namespace Storage {

void LoadLunJobFigures(ConfigDB& db, ISCSILUNInfo& record, int flags)
{
    JobRecord job;
    if ((flags & (ISCSI_LUN_LOAD_SYNC_PROGRESS | ISCSI_LUN_LOAD_STATUS)) != 0 &&
        LatestJob(db, kCloneJobKind, record.uuid, job) == 0) {
        record.sync_total = job.bytesTotal;
        record.sync_done = job.bytesDone;
        record.sync_errno = job.errorCode;
        if (job.state == "running")
            record.status = kCloningStatus;
    }
    if ((flags & ISCSI_LUN_LOAD_IMPORT_STATUS) != 0 && LatestJob(db, kImportJobKind, record.uuid, job) == 0) {
        record.import_total = job.bytesTotal;
        record.import_done = job.bytesDone;
        record.import_errno = job.errorCode;
    }
}

void LoadSnapshotJobFigures(ConfigDB& db, ISCSISnapshotInfo& record)
{
    JobRecord job;
    if (LatestJob(db, kExportJobKind, record.uuid, job) != 0)
        return;
    record.export_total = job.bytesTotal;
    record.export_done = job.bytesDone;
    record.export_errno = job.errorCode;
    if (job.state == "running")
        record.status = "exporting";
}

void DropUnfinishedClone(LibraryContext& context, const std::string& lunUuid)
{
    LUNRow row;
    if (FindLUNByUuid(context.db(), lunUuid, row) == 0 && row.status == kCloningStatus)
        DeleteLUNRow(context.db(), lunUuid);
}

} // namespace Storage
} // namespace ISCSI
