// The jobs iscsictl can wait for, each read through its progress method and stopped through
// its stop method.
#pragma once

#include "Wait.h"

#include <string>

namespace iscsictl {

// A clone into the new LUN uuid (clone, clone_snapshot): get with "sync_progress", stop_clone.
Job CloneJob(const std::string& uuid, const std::string& name);
// The export of a snapshot: get_snapshot with "export_status", export_cancel.
Job ExportJob(const std::string& snapshot);
// An import into a LUN: get with "import_status", import_cancel.
Job ImportJob(const std::string& lun);
// The sending of a replication: get with "sending_status", stop_sending.
Job SendJob(const std::string& replication);
// The unsync size computation of a replication: get_unsync_size (no stop method: Ctrl-C leaves it).
Job UnsyncSizeJob(const std::string& replication);
// A backup or restore of a LUN: lunbkp_progress_get, lunbackup_stop or lunrestore_stop.
Job BackupJob(const std::string& lun, bool restore);

} // namespace iscsictl
