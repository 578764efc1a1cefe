// The jobs of clones, export and import as the rest of the library sees them: their kinds,
// the figures they put into LUN and snapshot records, and the undoing of a clone that a dead
// process left unfinished.
#pragma once

#include "context/LibraryContext.h"

#include <iscsi/ISCSILUNInfo.h>
#include <iscsi/ISCSISnapshotInfo.h>

#include <string>

namespace ISCSI {
namespace Storage {

// The kinds of the job rows (jobs.kind). A clone's job works on the new LUN (its related
// object is the source LUN); an export's on the snapshot; an import's on the LUN it fills.
constexpr char kCloneJobKind[] = "clone";
constexpr char kExportJobKind[] = "export";
constexpr char kImportJobKind[] = "import";

// The status of a LUN row while its clone runs; the row becomes "normal" when it is done.
constexpr char kCloningStatus[] = "cloning";

// Under the lock, for the load flags (ISCSI_LUN_LOAD_* bits) asked: fills the clone figures
// (sync_total, sync_done, sync_errno: bytes of the newest clone job that made this LUN) and
// the import figures (import_total, import_done, import_errno: the newest import into it) of a
// LUN record, and shows "cloning" as its status while its clone runs. Figures of no job are
// left as they are (0). Without the sync, import and status flags it reads nothing.
void LoadLunJobFigures(ConfigDB& db, ISCSILUNInfo& record, int flags);
// Under the lock: the export figures (export_total, export_done, export_errno) of the newest
// export of a snapshot, and the status "exporting" while it runs.
void LoadSnapshotJobFigures(ConfigDB& db, ISCSISnapshotInfo& record);

// Start-up, under the lock, inside the transaction that marks the clone's job interrupted:
// removes the row of the LUN lunUuid if it is still "cloning" (its files are the job's
// partial files, removed by the caller).
void DropUnfinishedClone(LibraryContext& context, const std::string& lunUuid);

} // namespace Storage
} // namespace ISCSI
