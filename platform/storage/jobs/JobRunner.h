// The library's job runner: long work (clones, export, import, moves of a LUN) on threads of
// its own, each job one row of the table jobs.
//
// A job row holds: uuid, kind ("clone", "export", ...), the uuid of the object it works on,
// state ("running", "done", "failed", "cancelled", "interrupted"), progress 0-100, bytes done
// and total, the error code it ended with, started/ended times (seconds since the epoch), and
// the partial files it writes (removed when a restarted process finds the job interrupted).
// Readers of progress read the row (LatestJob), never the thread.
//
// The work runs OUTSIDE the library lock: it takes LibraryContext::With only for short
// database updates, and JobControl::progress writes at most a few updates a second. A cancel
// sets a flag that the work reads through JobControl::cancelled() between chunks.
//
// Usage, from a library operation (outside LibraryContext::With):
//
//     JobPlan plan;
//     plan.kind = "move";
//     plan.objectUuid = lunUuid;
//     plan.partialFiles = {dstPath + ".moving"};
//     plan.work = [=](JobControl& job) {
//         job.setTotal(bytes);
//         for (...) {                           // copy a chunk
//             if (job.cancelled()) return ISCSI_ERR_JOB_CANCELLED;
//             job.progress(doneBytes);
//         }
//         return 0;                             // or an error code
//     };
//     plan.finish = [=](LibraryContext& ctx, int rc) {
//         // under the lock, in the transaction that writes the job's final state: on rc 0
//         // commit the result (rename files, update rows), else remove the partial output.
//         return rc;                            // the job's final code
//     };
//     std::string jobUuid;
//     int rc = StartJob(plan, jobUuid);         // inserts the row, starts the thread
//
// From inside LibraryContext::With (e.g. to insert a LUN row and its job in one transaction)
// call StartJobLocked(ctx, plan, jobUuid) instead; the thread begins its work only after the
// caller's With has returned, and does nothing at all when the caller's transaction rolled
// the job row back.
#pragma once

#include "context/LibraryContext.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

// What the work of a job sees of its job.
class JobControl {
public:
    virtual ~JobControl() = default;
    // True once the job was cancelled (or the runner is stopping): end the work soon and
    // answer ISCSI_ERR_JOB_CANCELLED.
    virtual bool cancelled() const = 0;
    // The number of bytes the work will go through (written to the row at once).
    virtual void setTotal(std::uint64_t totalBytes) = 0;
    // The bytes done so far; written to the row at most a few times a second.
    virtual void progress(std::uint64_t doneBytes) = 0;
    virtual const std::string& jobUuid() const = 0;
};

struct JobPlan {
    std::string kind;        // what the job does: "clone", "export", "import", "move", ...
    std::string objectUuid;  // the LUN or snapshot it works on (cancel and progress go by it)
    std::string relatedUuid; // optional: the other object (the source LUN of a clone)
    // Files the work creates and that only the finish makes final: removed by the start of a
    // later process when this one died with the job running.
    std::vector<std::string> partialFiles;
    // The work, on the job's thread, outside the library lock: 0 or an error code.
    std::function<int(JobControl&)> work;
    // Optional: runs under the library lock with the work's result, inside the transaction
    // that writes the job's final state (rolled back with it when it answers non-zero). It
    // answers the job's final code. rc is ISCSI_ERR_JOB_CANCELLED after a cancel and
    // ISCSI_ERR_JOB_INTERRUPTED when the runner stopped (process shutting down).
    std::function<int(LibraryContext&, int rc)> finish;
    // Optional: runs on the job's thread after the final state is committed, OUTSIDE the lock,
    // with the final code; may call public library operations (map the new LUN to targets).
    // A non-zero answer is stored as the job's code while its state stays "done": the job did
    // its work but a follow-up step failed.
    std::function<int(int rc)> after;
};

// One row of the table jobs.
struct JobRecord {
    std::string uuid;
    std::string kind;
    std::string objectUuid;
    std::string relatedUuid;
    std::string state; // "running", "done", "failed", "cancelled", "interrupted"
    int progress = 0;  // 0-100
    std::uint64_t bytesDone = 0;
    std::uint64_t bytesTotal = 0;
    int errorCode = 0; // 0 unless failed, cancelled or interrupted
    long long startedAt = 0;
    long long endedAt = 0; // 0 while running
};

// Starts a job: inserts its row (state "running") and starts its thread. Takes the library
// lock itself: never call it inside LibraryContext::With. 0, ISCSI_ERR_JOB_BUSY when a job of
// the same kind and object is running, or ISCSI_ERR_DATABASE.
int StartJob(const JobPlan& plan, std::string& jobUuid);
// The same inside LibraryContext::With: the row joins the caller's open transaction if any.
int StartJobLocked(LibraryContext& context, const JobPlan& plan, std::string& jobUuid);

// Asks the running jobs of kind on objectUuid to stop (kind empty: any kind; a job matches by
// its objectUuid or its relatedUuid). Answers at once: 0, or ISCSI_ERR_NO_RUNNING_JOB; with
// jobUuids, the uuids of the jobs asked. Takes no lock.
int CancelJob(const std::string& kind, const std::string& objectUuid,
              std::vector<std::string>* jobUuids = nullptr);
// Whether a job of kind (empty: any) on objectUuid (as object or related object) runs in this
// process. Takes no lock.
bool JobRunning(const std::string& kind, const std::string& objectUuid);
// The first job of this process whose work on uuid (as object or related object) has not yet
// ended: a job whose end is committed and that only runs its follow-up does not count. true
// with its kind, its uuid and whether uuid is its object. Takes no lock.
bool FindWorkingJob(const std::string& uuid, std::string& kind, std::string& jobUuid, bool& asObject);
// Waits until the job's thread has ended (tests, and operations that must wait). Takes no lock.
void WaitJob(const std::string& jobUuid);

// The newest job of kind (empty: any) on objectUuid, read from the database (call under the
// lock, with the context's database). 0, ISCSI_ERR_NO_RUNNING_JOB when there is none, or
// ISCSI_ERR_DATABASE.
int LatestJob(ConfigDB& db, const std::string& kind, const std::string& objectUuid, JobRecord& job);
int FindJob(ConfigDB& db, const std::string& jobUuid, JobRecord& job);

} // namespace Storage
} // namespace ISCSI
