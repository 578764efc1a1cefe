// The job runner: a thread per job, a registry of the jobs of this process (for cancel and
// wait), and the rows of the table jobs (for everything that is read).
#include "jobs/JobRunner.h"

#include "context/StartupHooks.h"
#include "log/ServiceLog.h"
#include "lun/LUNStore.h"

#include <iscsi/ISCSIErrors.h>

#include <syslog.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <thread>

namespace ISCSI {
namespace Storage {
namespace {

// The least time between two progress updates of one job's row.
constexpr std::chrono::milliseconds kProgressInterval(250);

struct RunningJob {
    std::string uuid;
    std::string kind;
    std::string objectUuid;
    std::string relatedUuid;
    std::atomic<bool> cancel{false};
    std::atomic<bool> stopping{false}; // the runner stops: the job ends as interrupted
    std::atomic<bool> settled{false};  // its end is committed; only its follow-up may run
    std::mutex mutex;
    std::condition_variable endedCv;
    bool ended = false; // under mutex
    std::thread thread;
};

std::mutex& RegistryMutex()
{
    static std::mutex mutex;
    return mutex;
}

// Never destroyed: a process that exits with jobs whose threads were not joined must not
// destroy joinable std::thread objects (that would abort it).
std::vector<std::shared_ptr<RunningJob>>& Registry()
{
    static auto* jobs = new std::vector<std::shared_ptr<RunningJob>>();
    return *jobs;
}

bool HasEnded(RunningJob& job)
{
    std::lock_guard<std::mutex> lock(job.mutex);
    return job.ended;
}

bool Matches(const RunningJob& job, const std::string& kind, const std::string& uuid)
{
    return (kind.empty() || job.kind == kind) && (job.objectUuid == uuid || job.relatedUuid == uuid);
}

// Joins and drops the jobs whose threads have ended. Called with the registry mutex held.
void ReapEnded()
{
    auto& jobs = Registry();
    for (auto it = jobs.begin(); it != jobs.end();) {
        if (HasEnded(**it)) {
            if ((*it)->thread.joinable())
                (*it)->thread.join();
            it = jobs.erase(it);
        } else {
            ++it;
        }
    }
}

// Cancels every job and waits for the threads, each until deadline when one is given.
void StopAll(const std::chrono::steady_clock::time_point* deadline)
{
    std::vector<std::shared_ptr<RunningJob>> jobs;
    {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        jobs = Registry();
        for (const auto& job : jobs) {
            job->stopping = true;
            job->cancel = true;
        }
    }
    for (const auto& job : jobs) {
        std::unique_lock<std::mutex> lock(job->mutex);
        if (deadline)
            job->endedCv.wait_until(lock, *deadline, [&] { return job->ended; });
        else
            job->endedCv.wait(lock, [&] { return job->ended; });
    }
    std::lock_guard<std::mutex> lock(RegistryMutex());
    ReapEnded();
}

// At the exit of a process that did not stop the runner (the daemon returns from main): the
// running jobs are cancelled and given a few seconds to record themselves "interrupted" and
// remove their partial files; the library's context outlives this object, which is made
// after it. A job that does not end in time is left to the next start.
struct StopAtExit {
    ~StopAtExit()
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        StopAll(&deadline);
    }
};

void EnsureStopAtExit()
{
    static StopAtExit stopper;
    (void)stopper;
}

long long Now()
{
    return static_cast<long long>(std::time(nullptr));
}

std::string JoinLines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        if (!text.empty())
            text += '\n';
        text += line;
    }
    return text;
}

int ProgressPercent(std::uint64_t done, std::uint64_t total)
{
    if (total == 0)
        return 0;
    if (done >= total)
        return 100;
    return static_cast<int>(done * 100 / total);
}

class Control : public JobControl {
public:
    explicit Control(std::shared_ptr<RunningJob> job) : job_(std::move(job)) {}

    bool cancelled() const override { return job_->cancel.load(); }

    void setTotal(std::uint64_t totalBytes) override
    {
        total_ = totalBytes;
        write(done_);
    }

    void progress(std::uint64_t doneBytes) override
    {
        done_ = doneBytes;
        const auto now = std::chrono::steady_clock::now();
        if (now - lastWrite_ < kProgressInterval && doneBytes < total_)
            return;
        write(doneBytes);
    }

    const std::string& jobUuid() const override { return job_->uuid; }
    std::uint64_t done() const { return done_; }
    std::uint64_t total() const { return total_; }

private:
    void write(std::uint64_t doneBytes)
    {
        lastWrite_ = std::chrono::steady_clock::now();
        const std::string uuid = job_->uuid;
        const std::uint64_t total = total_;
        LibraryContext::With([&](LibraryContext& ctx) -> int {
            Statement update(ctx.db(), "UPDATE jobs SET bytes_done = ?2, bytes_total = ?3, progress = ?4 "
                                       "WHERE uuid = ?1 AND state = 'running';");
            update.bind(1, uuid)
                .bind(2, static_cast<std::int64_t>(doneBytes))
                .bind(3, static_cast<std::int64_t>(total))
                .bind(4, static_cast<std::int64_t>(ProgressPercent(doneBytes, total)));
            return update.run() ? 0 : ISCSI_ERR_DATABASE;
        });
    }

    std::shared_ptr<RunningJob> job_;
    std::uint64_t done_ = 0;
    std::uint64_t total_ = 0;
    std::chrono::steady_clock::time_point lastWrite_{};
};

const char* StateOf(int code)
{
    switch (code) {
    case 0:
        return "done";
    case ISCSI_ERR_JOB_CANCELLED:
        return "cancelled";
    case ISCSI_ERR_JOB_INTERRUPTED:
        return "interrupted";
    default:
        return "failed";
    }
}

void MarkEnded(RunningJob& job)
{
    {
        std::lock_guard<std::mutex> lock(job.mutex);
        job.ended = true;
    }
    job.endedCv.notify_all();
}

void Run(std::shared_ptr<RunningJob> job, JobPlan plan)
{
    // The row was inserted under the lock of the starting operation, maybe inside its
    // transaction: it is visible (or gone, when that transaction rolled back) once the lock
    // can be taken here.
    bool haveRow = false;
    LibraryContext::With([&](LibraryContext& ctx) -> int {
        JobRecord record;
        haveRow = FindJob(ctx.db(), job->uuid, record) == 0 && record.state == "running";
        return 0;
    });
    if (!haveRow) {
        MarkEnded(*job);
        return;
    }

    Control control(job);
    int rc = 0;
    if (job->cancel.load())
        rc = ISCSI_ERR_JOB_CANCELLED;
    else if (plan.work)
        rc = plan.work(control);
    if (rc == ISCSI_ERR_JOB_CANCELLED && job->stopping.load())
        rc = ISCSI_ERR_JOB_INTERRUPTED;

    int final = rc;
    LibraryContext::With([&](LibraryContext& ctx) -> int {
        Transaction tx(ctx.db());
        if (!tx.begun()) {
            final = ISCSI_ERR_DATABASE;
            return final;
        }
        if (plan.finish)
            final = plan.finish(ctx, rc);
        const bool done = final == 0;
        const std::uint64_t total = control.total();
        const std::uint64_t doneBytes = done ? total : control.done();
        Statement update(ctx.db(),
                         "UPDATE jobs SET state = ?2, error_code = ?3, ended_at = ?4, bytes_done = ?5, "
                         "bytes_total = ?6, progress = ?7 WHERE uuid = ?1;");
        update.bind(1, job->uuid)
            .bind(2, std::string(StateOf(final)))
            .bind(3, static_cast<std::int64_t>(final))
            .bind(4, static_cast<std::int64_t>(Now()))
            .bind(5, static_cast<std::int64_t>(doneBytes))
            .bind(6, static_cast<std::int64_t>(total))
            .bind(7, static_cast<std::int64_t>(done ? 100 : ProgressPercent(doneBytes, total)));
        // The result goes to the service log in the same transaction as the job's row.
        const std::string what = "The " + job->kind + " job " + job->uuid + " of " + job->objectUuid;
        if (done)
            WriteServiceLog(ctx.db(), "info", "SYSTEM", what + " finished.");
        else if (final == ISCSI_ERR_JOB_CANCELLED)
            WriteServiceLog(ctx.db(), "warning", "SYSTEM", what + " was cancelled.");
        else
            WriteServiceLog(ctx.db(), "err", "SYSTEM",
                            what + " failed: " + KOVAiSCSIStrError(final) + " (" + std::to_string(final) +
                                ").");
        if (!update.run() || !tx.commit()) {
            syslog(LOG_ERR, "iSCSI storage: cannot record the end of the %s job %s", job->kind.c_str(),
                   job->uuid.c_str());
            final = ISCSI_ERR_DATABASE;
        }
        return final;
    });

    job->settled = true;
    if (plan.after) {
        const int followUp = plan.after(final);
        if (followUp != 0 && final == 0) {
            LibraryContext::With([&](LibraryContext& ctx) -> int {
                Statement update(ctx.db(), "UPDATE jobs SET error_code = ?2 WHERE uuid = ?1;");
                update.bind(1, job->uuid).bind(2, static_cast<std::int64_t>(followUp));
                return update.run() ? 0 : ISCSI_ERR_DATABASE;
            });
        }
    }
    MarkEnded(*job);
}

int ReadJob(Statement& query, JobRecord& job)
{
    const int rc = query.step();
    if (rc == SQLITE_DONE)
        return ISCSI_ERR_NO_RUNNING_JOB;
    if (rc != SQLITE_ROW)
        return ISCSI_ERR_DATABASE;
    job.uuid = query.text(0);
    job.kind = query.text(1);
    job.objectUuid = query.text(2);
    job.relatedUuid = query.text(3);
    job.state = query.text(4);
    job.progress = static_cast<int>(query.integer(5));
    job.bytesDone = static_cast<std::uint64_t>(query.integer(6));
    job.bytesTotal = static_cast<std::uint64_t>(query.integer(7));
    job.errorCode = static_cast<int>(query.integer(8));
    job.startedAt = query.integer(9);
    job.endedAt = query.integer(10);
    return 0;
}

#define KOVA_JOB_COLUMNS                                                                                     \
    "uuid, kind, object_uuid, related_uuid, state, progress, bytes_done, bytes_total, error_code, "          \
    "started_at, "                                                                                           \
    "ended_at"

} // namespace

int StartJobLocked(LibraryContext& context, const JobPlan& plan, std::string& jobUuid)
{
    EnsureStopAtExit();
    std::lock_guard<std::mutex> lock(RegistryMutex());
    ReapEnded();
    for (const auto& running : Registry()) {
        if (running->kind == plan.kind && running->objectUuid == plan.objectUuid && !HasEnded(*running))
            return ISCSI_ERR_JOB_BUSY;
    }
    auto job = std::make_shared<RunningJob>();
    job->uuid = NewUuid();
    job->kind = plan.kind;
    job->objectUuid = plan.objectUuid;
    job->relatedUuid = plan.relatedUuid;

    Statement insert(
        context.db(),
        "INSERT INTO jobs (uuid, kind, object_uuid, related_uuid, state, started_at, partial_files) "
        "VALUES (?1, ?2, ?3, ?4, 'running', ?5, ?6);");
    insert.bind(1, job->uuid)
        .bind(2, plan.kind)
        .bind(3, plan.objectUuid)
        .bind(4, plan.relatedUuid)
        .bind(5, static_cast<std::int64_t>(Now()))
        .bind(6, JoinLines(plan.partialFiles));
    if (!insert.run())
        return ISCSI_ERR_DATABASE;

    try {
        job->thread = std::thread(Run, job, plan);
    } catch (const std::system_error& e) {
        syslog(LOG_ERR, "iSCSI storage: cannot start a thread for the %s job: %s", plan.kind.c_str(),
               e.what());
        Statement remove(context.db(), "DELETE FROM jobs WHERE uuid = ?1;");
        remove.bind(1, job->uuid).run();
        return ISCSI_ERR_DATABASE;
    }
    Registry().push_back(job);
    jobUuid = job->uuid;
    return 0;
}

int StartJob(const JobPlan& plan, std::string& jobUuid)
{
    return LibraryContext::With(
        [&](LibraryContext& ctx) -> int { return StartJobLocked(ctx, plan, jobUuid); });
}

int CancelJob(const std::string& kind, const std::string& objectUuid, std::vector<std::string>* jobUuids)
{
    std::lock_guard<std::mutex> lock(RegistryMutex());
    bool any = false;
    for (const auto& running : Registry()) {
        if (Matches(*running, kind, objectUuid) && !HasEnded(*running)) {
            running->cancel = true;
            any = true;
            if (jobUuids)
                jobUuids->push_back(running->uuid);
        }
    }
    return any ? 0 : ISCSI_ERR_NO_RUNNING_JOB;
}

bool JobRunning(const std::string& kind, const std::string& objectUuid)
{
    std::lock_guard<std::mutex> lock(RegistryMutex());
    for (const auto& running : Registry()) {
        if (Matches(*running, kind, objectUuid) && !HasEnded(*running))
            return true;
    }
    return false;
}

bool FindWorkingJob(const std::string& uuid, std::string& kind, std::string& jobUuid, bool& asObject)
{
    std::lock_guard<std::mutex> lock(RegistryMutex());
    for (const auto& running : Registry()) {
        if (Matches(*running, std::string(), uuid) && !running->settled.load() && !HasEnded(*running)) {
            kind = running->kind;
            jobUuid = running->uuid;
            asObject = running->objectUuid == uuid;
            return true;
        }
    }
    return false;
}

void WaitJob(const std::string& jobUuid)
{
    std::shared_ptr<RunningJob> job;
    {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        for (const auto& running : Registry()) {
            if (running->uuid == jobUuid)
                job = running;
        }
    }
    if (!job)
        return;
    std::unique_lock<std::mutex> lock(job->mutex);
    job->endedCv.wait(lock, [&] { return job->ended; });
}

int LatestJob(ConfigDB& db, const std::string& kind, const std::string& objectUuid, JobRecord& job)
{
    Statement query(db,
                    "SELECT " KOVA_JOB_COLUMNS " FROM jobs WHERE object_uuid = ?1 AND (?2 = '' OR kind = ?2) "
                    "ORDER BY started_at DESC, rowid DESC LIMIT 1;");
    query.bind(1, objectUuid).bind(2, kind);
    return ReadJob(query, job);
}

int FindJob(ConfigDB& db, const std::string& jobUuid, JobRecord& job)
{
    Statement query(db, "SELECT " KOVA_JOB_COLUMNS " FROM jobs WHERE uuid = ?1;");
    query.bind(1, jobUuid);
    return ReadJob(query, job);
}

// Cancels every job and waits for the threads. The registry lock is not held while waiting:
// a job's last steps may call library operations that look at the registry.
void StopJobRunner()
{
    StopAll(nullptr);
}

} // namespace Storage
} // namespace ISCSI
