// The schema step of the job runner's jobs: one row per job, kept after the job ended so that
// its figures and its result can still be read.
#include "config/Schema.h"

namespace ISCSI {
namespace Storage {

const char* JobSchemaSql()
{
    return "CREATE TABLE IF NOT EXISTS jobs ("
           " uuid TEXT PRIMARY KEY,"
           " kind TEXT NOT NULL,"
           " object_uuid TEXT NOT NULL,"
           " related_uuid TEXT NOT NULL DEFAULT '',"
           " state TEXT NOT NULL,"
           " progress INTEGER NOT NULL DEFAULT 0,"
           " bytes_done INTEGER NOT NULL DEFAULT 0,"
           " bytes_total INTEGER NOT NULL DEFAULT 0,"
           " error_code INTEGER NOT NULL DEFAULT 0,"
           " started_at INTEGER NOT NULL,"
           " ended_at INTEGER NOT NULL DEFAULT 0,"
           " partial_files TEXT NOT NULL DEFAULT ''"
           ");"
           "CREATE INDEX IF NOT EXISTS jobs_by_object ON jobs (object_uuid, kind, started_at);"
           "CREATE INDEX IF NOT EXISTS jobs_by_related ON jobs (related_uuid);"
           "CREATE INDEX IF NOT EXISTS jobs_by_state ON jobs (state);";
}

} // namespace Storage
} // namespace ISCSI
