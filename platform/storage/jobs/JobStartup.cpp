// The job runner's part in opening the library context: the jobs that a previous process left
// "running" died with it. Their partial files are removed, what their kind had begun is undone
// (the LUN row of an unfinished clone), and they are marked "interrupted".
#include "context/StartupHooks.h"

#include "clone/CloneJobs.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"

#include <iscsi/ISCSIErrors.h>

#include <syslog.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <sstream>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {
namespace {

// Ended jobs are kept this long for their figures, then dropped at the next start.
constexpr long long kKeepEndedSeconds = 30LL * 24 * 3600;

struct LeftJob {
    std::string uuid;
    std::string kind;
    std::string objectUuid;
    std::string partialFiles;
};

} // namespace

void MarkInterruptedJobs(LibraryContext& context)
{
    ConfigDB& db = context.db();
    std::vector<LeftJob> left;
    {
        Statement query(db,
                        "SELECT uuid, kind, object_uuid, partial_files FROM jobs WHERE state = 'running';");
        while (query.step() == SQLITE_ROW)
            left.push_back({query.text(0), query.text(1), query.text(2), query.text(3)});
    }
    const long long now = static_cast<long long>(std::time(nullptr));
    for (const LeftJob& job : left) {
        Transaction tx(db);
        if (!tx.begun())
            return;
        if (job.kind == kCloneJobKind)
            DropUnfinishedClone(context, job.objectUuid);
        Statement update(
            db, "UPDATE jobs SET state = 'interrupted', error_code = ?2, ended_at = ?3 WHERE uuid = ?1;");
        update.bind(1, job.uuid)
            .bind(2, static_cast<std::int64_t>(ISCSI_ERR_JOB_INTERRUPTED))
            .bind(3, static_cast<std::int64_t>(now));
        if (!update.run() || !tx.commit()) {
            syslog(LOG_ERR, "iSCSI storage: cannot mark the %s job %s interrupted", job.kind.c_str(),
                   job.uuid.c_str());
            continue;
        }
        // The rows no longer name the files: remove them after the commit.
        std::istringstream lines(job.partialFiles);
        std::string path;
        while (std::getline(lines, path)) {
            if (!path.empty() && std::remove(path.c_str()) != 0 && errno != ENOENT)
                syslog(LOG_WARNING, "iSCSI storage: cannot remove the partial file %s", path.c_str());
        }
        syslog(LOG_WARNING, "iSCSI storage: the %s job %s of %s was interrupted by a restart",
               job.kind.c_str(), job.uuid.c_str(), job.objectUuid.c_str());
    }
    Statement prune(db, "DELETE FROM jobs WHERE state <> 'running' AND ended_at > 0 AND ended_at < ?1;");
    prune.bind(1, static_cast<std::int64_t>(now - kKeepEndedSeconds)).run();
}

} // namespace Storage
} // namespace ISCSI
