// The job runner on a temporary data directory: rows and states, progress, cancel, busy
// objects, failures, the finish and after steps, a stop of the runner, rows of a rolled-back
// start, and the jobs that a dead process left running.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILogInfo.h>

#include "StorageTestSupport.h"
#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using ISCSI::Storage::ConfigDB;
using ISCSI::Storage::JobControl;
using ISCSI::Storage::JobPlan;
using ISCSI::Storage::JobRecord;
using ISCSI::Storage::Statement;
using ISCSI::Storage::Transaction;
using namespace KovaStorageTest;

// The longest a test waits for a job's thread to reach a point; only a bound against a hang.
constexpr std::chrono::seconds kBound(20);

// A point that the work waits at until the test opens it.
class Gate {
public:
    void open()
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            open_ = true;
        }
        cv_.notify_all();
    }
    // Waits until open or until the job is cancelled; false when the bound passed.
    bool wait(const JobControl* job = nullptr)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto until = std::chrono::steady_clock::now() + kBound;
        while (!open_ && !(job && job->cancelled())) {
            if (cv_.wait_until(
                    lock, std::min(until, std::chrono::steady_clock::now() + std::chrono::milliseconds(5))) ==
                    std::cv_status::timeout &&
                std::chrono::steady_clock::now() >= until)
                return false;
        }
        return true;
    }

private:
    std::mutex mutex_;
    std::condition_variable cv_;
    bool open_ = false;
};

class JobRunnerTest : public StorageLibraryTest {
protected:
    JobRunnerTest() : StorageLibraryTest("jobs") {}

    static JobRecord Find(const std::string& uuid)
    {
        JobRecord job;
        const int rc = LibraryContext::With(
            [&](LibraryContext& ctx) -> int { return ISCSI::Storage::FindJob(ctx.db(), uuid, job); });
        EXPECT_EQ(0, rc);
        return job;
    }
};

TEST_F(JobRunnerTest, JobRunsOnItsThreadAndEndsDone)
{
    Gate started;
    Gate release;
    std::atomic<bool> finished{false};
    std::atomic<int> finishRc{-1};
    std::thread::id workThread;
    JobPlan plan;
    plan.kind = "test";
    plan.objectUuid = "object-1";
    plan.work = [&](JobControl& job) -> int {
        workThread = std::this_thread::get_id();
        job.setTotal(1000);
        job.progress(400);
        started.open();
        if (!release.wait())
            return ISCSI::ISCSI_ERR_COPY_FAILED;
        job.progress(1000);
        return 0;
    };
    plan.finish = [&](LibraryContext&, int rc) -> int {
        finishRc = rc;
        finished = true;
        return rc;
    };
    std::string uuid;
    ASSERT_EQ(0, ISCSI::Storage::StartJob(plan, uuid));
    ASSERT_TRUE(started.wait());

    // While it runs: the row says so, with the figures written so far.
    JobRecord running = Find(uuid);
    EXPECT_EQ("running", running.state);
    EXPECT_EQ("test", running.kind);
    EXPECT_EQ("object-1", running.objectUuid);
    EXPECT_EQ(1000u, running.bytesTotal);
    EXPECT_LE(running.bytesDone, 400u);
    EXPECT_EQ(0, running.endedAt);
    EXPECT_TRUE(ISCSI::Storage::JobRunning("test", "object-1"));
    EXPECT_TRUE(ISCSI::Storage::JobRunning("", "object-1"));
    EXPECT_FALSE(ISCSI::Storage::JobRunning("other", "object-1"));

    release.open();
    ISCSI::Storage::WaitJob(uuid);
    EXPECT_TRUE(finished.load());
    EXPECT_EQ(0, finishRc.load());
    EXPECT_NE(std::this_thread::get_id(), workThread);
    const JobRecord done = Find(uuid);
    EXPECT_EQ("done", done.state);
    EXPECT_EQ(100, done.progress);
    EXPECT_EQ(1000u, done.bytesDone);
    EXPECT_EQ(0, done.errorCode);
    EXPECT_GT(done.endedAt, 0);
    EXPECT_FALSE(ISCSI::Storage::JobRunning("test", "object-1"));
    EXPECT_EQ(uuid, Latest("test", "object-1").uuid);
}

TEST_F(JobRunnerTest, CancelEndsTheJobCancelled)
{
    Gate started;
    Gate never;
    std::atomic<int> finishRc{-1};
    JobPlan plan;
    plan.kind = "test";
    plan.objectUuid = "object-2";
    plan.relatedUuid = "source-2";
    plan.work = [&](JobControl& job) -> int {
        job.setTotal(10);
        started.open();
        if (!never.wait(&job))
            return ISCSI::ISCSI_ERR_COPY_FAILED;
        return job.cancelled() ? ISCSI::ISCSI_ERR_JOB_CANCELLED : 0;
    };
    plan.finish = [&](LibraryContext&, int rc) -> int {
        finishRc = rc;
        return rc;
    };
    std::string uuid;
    ASSERT_EQ(0, ISCSI::Storage::StartJob(plan, uuid));
    ASSERT_TRUE(started.wait());
    EXPECT_EQ(ISCSI::ISCSI_ERR_NO_RUNNING_JOB, ISCSI::Storage::CancelJob("other", "object-2"));
    // A job matches by its related object too.
    std::vector<std::string> asked;
    ASSERT_EQ(0, ISCSI::Storage::CancelJob("", "source-2", &asked));
    ASSERT_EQ(1u, asked.size());
    EXPECT_EQ(uuid, asked[0]);
    ISCSI::Storage::WaitJob(uuid);
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_CANCELLED, finishRc.load());
    const JobRecord job = Find(uuid);
    EXPECT_EQ("cancelled", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_CANCELLED, job.errorCode);
    EXPECT_EQ(ISCSI::ISCSI_ERR_NO_RUNNING_JOB, ISCSI::Storage::CancelJob("test", "object-2"));
}

TEST_F(JobRunnerTest, SecondJobOfTheSameObjectIsBusy)
{
    Gate started;
    Gate release;
    JobPlan plan;
    plan.kind = "test";
    plan.objectUuid = "object-3";
    plan.work = [&](JobControl&) -> int {
        started.open();
        return release.wait() ? 0 : ISCSI::ISCSI_ERR_COPY_FAILED;
    };
    std::string first;
    ASSERT_EQ(0, ISCSI::Storage::StartJob(plan, first));
    ASSERT_TRUE(started.wait());
    JobPlan again = plan;
    again.work = [](JobControl&) -> int { return 0; };
    std::string second;
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_BUSY, ISCSI::Storage::StartJob(again, second));
    // Another kind on the same object, and the same kind on another object, may run.
    again.kind = "other";
    ASSERT_EQ(0, ISCSI::Storage::StartJob(again, second));
    ISCSI::Storage::WaitJob(second);
    EXPECT_EQ("done", Find(second).state);
    release.open();
    ISCSI::Storage::WaitJob(first);
    EXPECT_EQ("done", Find(first).state);
    // Once ended, the object is free again.
    again.kind = "test";
    ASSERT_EQ(0, ISCSI::Storage::StartJob(again, second));
    ISCSI::Storage::WaitJob(second);
}

TEST_F(JobRunnerTest, FailuresOfWorkFinishAndAfterAreRecorded)
{
    JobPlan failing;
    failing.kind = "test";
    failing.objectUuid = "object-4";
    failing.work = [](JobControl& job) -> int {
        job.setTotal(100);
        job.progress(30);
        return ISCSI::ISCSI_ERR_COPY_FAILED;
    };
    std::string uuid;
    ASSERT_EQ(0, ISCSI::Storage::StartJob(failing, uuid));
    ISCSI::Storage::WaitJob(uuid);
    JobRecord job = Find(uuid);
    EXPECT_EQ("failed", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_COPY_FAILED, job.errorCode);
    EXPECT_EQ(30u, job.bytesDone);
    EXPECT_EQ(30, job.progress);

    // The finish decides the final code: a failure there fails the job.
    JobPlan finishFails;
    finishFails.kind = "test";
    finishFails.objectUuid = "object-5";
    finishFails.work = [](JobControl&) -> int { return 0; };
    finishFails.finish = [](LibraryContext&, int) -> int { return ISCSI::ISCSI_ERR_NO_SPACE; };
    ASSERT_EQ(0, ISCSI::Storage::StartJob(finishFails, uuid));
    ISCSI::Storage::WaitJob(uuid);
    job = Find(uuid);
    EXPECT_EQ("failed", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_NO_SPACE, job.errorCode);

    // A failed follow-up step keeps the job done, with the step's code.
    std::atomic<int> afterRc{-1};
    JobPlan afterFails;
    afterFails.kind = "test";
    afterFails.objectUuid = "object-6";
    afterFails.work = [](JobControl&) -> int { return 0; };
    afterFails.after = [&](int rc) -> int {
        afterRc = rc;
        return ISCSI::ISCSI_ERR_NOT_AVAILABLE;
    };
    ASSERT_EQ(0, ISCSI::Storage::StartJob(afterFails, uuid));
    ISCSI::Storage::WaitJob(uuid);
    job = Find(uuid);
    EXPECT_EQ(0, afterRc.load());
    EXPECT_EQ("done", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_AVAILABLE, job.errorCode);
}

TEST_F(JobRunnerTest, StoppingTheRunnerInterruptsRunningJobs)
{
    Gate started;
    Gate never;
    std::atomic<int> finishRc{-1};
    JobPlan plan;
    plan.kind = "test";
    plan.objectUuid = "object-7";
    plan.work = [&](JobControl& job) -> int {
        started.open();
        if (!never.wait(&job))
            return ISCSI::ISCSI_ERR_COPY_FAILED;
        return ISCSI::ISCSI_ERR_JOB_CANCELLED;
    };
    plan.finish = [&](LibraryContext&, int rc) -> int {
        finishRc = rc;
        return rc;
    };
    std::string uuid;
    ASSERT_EQ(0, ISCSI::Storage::StartJob(plan, uuid));
    ASSERT_TRUE(started.wait());
    LibraryContext::Reset(); // stops the runner first, then closes the context
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_INTERRUPTED, finishRc.load());
    EXPECT_FALSE(ISCSI::Storage::JobRunning("test", "object-7"));
    const JobRecord job = Find(uuid); // reopened
    EXPECT_EQ("interrupted", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_INTERRUPTED, job.errorCode);
}

TEST_F(JobRunnerTest, JobOfARolledBackStartDoesNoWork)
{
    std::atomic<bool> worked{false};
    std::atomic<bool> finished{false};
    JobPlan plan;
    plan.kind = "test";
    plan.objectUuid = "object-8";
    plan.work = [&](JobControl&) -> int {
        worked = true;
        return 0;
    };
    plan.finish = [&](LibraryContext&, int rc) -> int {
        finished = true;
        return rc;
    };
    std::string uuid;
    const int rc = LibraryContext::With([&](LibraryContext& ctx) -> int {
        Transaction tx(ctx.db());
        EXPECT_TRUE(tx.begun());
        EXPECT_EQ(0, ISCSI::Storage::StartJobLocked(ctx, plan, uuid));
        return 0; // not committed: the row goes with the transaction
    });
    ASSERT_EQ(0, rc);
    ISCSI::Storage::WaitJob(uuid);
    EXPECT_FALSE(worked.load());
    EXPECT_FALSE(finished.load());
    int found = 0;
    Latest("test", "object-8", &found);
    EXPECT_EQ(ISCSI::ISCSI_ERR_NO_RUNNING_JOB, found);
}

TEST_F(JobRunnerTest, StartUpMarksLeftJobsInterruptedAndRemovesTheirPartialFiles)
{
    const std::string partial = root_ + "/vol1/left.partial";
    const std::string other = root_ + "/vol1/kept";
    std::ofstream(partial) << "half";
    std::ofstream(other) << "whole";
    // A row as a dead process leaves it: running, with its partial file.
    ASSERT_EQ(0, LibraryContext::With([&](LibraryContext& ctx) -> int {
                  Statement insert(
                      ctx.db(),
                      "INSERT INTO jobs (uuid, kind, object_uuid, state, started_at, partial_files) "
                      "VALUES ('left-job', 'test', 'object-9', 'running', 1, ?1);");
                  insert.bind(1, partial + "\n" + root_ + "/vol1/never-made.partial");
                  return insert.run() ? 0 : 1;
              }));
    LibraryContext::Reset();
    const JobRecord job = Find("left-job"); // the reopen marks it
    EXPECT_EQ("interrupted", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_INTERRUPTED, job.errorCode);
    EXPECT_GT(job.endedAt, 0);
    EXPECT_FALSE(fs::exists(partial));
    EXPECT_TRUE(fs::exists(other));
}

TEST_F(JobRunnerTest, ProgressIsThrottledButTheEndIsExact)
{
    JobPlan plan;
    plan.kind = "test";
    plan.objectUuid = "object-10";
    plan.work = [&](JobControl& job) -> int {
        job.setTotal(100000);
        for (std::uint64_t i = 1; i <= 100000; ++i)
            job.progress(i);
        return 0;
    };
    std::string uuid;
    ASSERT_EQ(0, ISCSI::Storage::StartJob(plan, uuid));
    ISCSI::Storage::WaitJob(uuid);
    const JobRecord job = Find(uuid);
    EXPECT_EQ("done", job.state);
    EXPECT_EQ(100000u, job.bytesDone);
    EXPECT_EQ(100000u, job.bytesTotal);
    EXPECT_EQ(100, job.progress);
}

} // namespace

TEST_F(JobRunnerTest, JobResultsGoToTheServiceLog)
{
    // One job that finishes, one that fails and one that is cancelled before its work starts.
    Gate release;
    JobPlan plan;
    plan.kind = "test";
    plan.objectUuid = "object-logged";
    plan.work = [](JobControl&) -> int { return 0; };
    std::string done, failed, cancelled;
    ASSERT_EQ(0, ISCSI::Storage::StartJob(plan, done));
    ISCSI::Storage::WaitJob(done);
    plan.work = [](JobControl&) -> int { return ISCSI::ISCSI_ERR_COPY_FAILED; };
    ASSERT_EQ(0, ISCSI::Storage::StartJob(plan, failed));
    ISCSI::Storage::WaitJob(failed);
    plan.work = [&release](JobControl& job) -> int {
        release.wait(&job);
        return job.cancelled() ? ISCSI::ISCSI_ERR_JOB_CANCELLED : 0;
    };
    ASSERT_EQ(0, ISCSI::Storage::StartJob(plan, cancelled));
    ASSERT_EQ(0, ISCSI::Storage::CancelJob("test", "object-logged"));
    ISCSI::Storage::WaitJob(cancelled);

    std::vector<ISCSI::ISCSILogInfo> logs;
    std::map<std::string, unsigned long long> counts;
    ASSERT_EQ(0, ISCSI::ISCSILogInfo::ListLog(0, -1, 0, -1, -1, {}, "object-logged", logs, counts));
    ASSERT_EQ(3u, logs.size());
    const std::string prefix = "The test job ";
    EXPECT_EQ("warning", logs[0].level);
    EXPECT_EQ(prefix + cancelled + " of object-logged was cancelled.", logs[0].message);
    EXPECT_EQ("err", logs[1].level);
    EXPECT_EQ(prefix + failed +
                  " of object-logged failed: " + KOVAiSCSIStrError(ISCSI::ISCSI_ERR_COPY_FAILED) + " (" +
                  std::to_string(ISCSI::ISCSI_ERR_COPY_FAILED) + ").",
              logs[1].message);
    EXPECT_EQ("info", logs[2].level);
    EXPECT_EQ(prefix + done + " of object-logged finished.", logs[2].message);
}
