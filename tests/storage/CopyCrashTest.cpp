// A process that dies in the middle of a clone, an export or an import: a child process starts
// the job (its copies slowed down so that it is surely mid-way), tells the parent once the job
// has written progress, and is killed with SIGKILL. The parent then opens the library as a
// restarted service would and checks that nothing is left behind: no partial files, no row of
// the unfinished LUN or snapshot, and the job marked interrupted.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSISnapshotInfo.h>

#include "StorageTestSupport.h"
#include "clone/CopyEngine.h"
#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace KovaStorageTest;

// Every file under dir, as paths relative to it.
std::vector<std::string> FilesUnder(const std::string& dir)
{
    std::vector<std::string> files;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file())
            files.push_back(fs::relative(it->path(), dir).string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

class CopyCrashTest : public StorageLibraryTest {
protected:
    CopyCrashTest() : StorageLibraryTest("crash") {}

    void TearDown() override
    {
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        StorageLibraryTest::TearDown();
    }

    // Runs start in a child process with copies limited to 1 MiB/s; start answers the uuid
    // of the object whose job it began (or empty on failure). Once that job's row shows
    // progress, the child tells the parent the uuid and waits to be killed; the parent kills
    // it with SIGKILL and answers the uuid.
    std::string StartInChildAndKill(const std::string& kind, const std::function<std::string()>& start)
    {
        LibraryContext::Reset(); // the child opens its own connection to the database
        int fds[2];
        if (pipe(fds) != 0)
            return std::string();
        child_ = fork();
        if (child_ == 0) {
            close(fds[0]);
            ISCSI::Storage::SetCopyRateLimit(kMiB);
            const std::string object = start();
            for (int i = 0; !object.empty() && i < 600; ++i) { // at most 60 s
                const ISCSI::Storage::JobRecord job = StorageLibraryTest::Latest(kind, object);
                if (job.state == "running" && job.bytesDone > 0) {
                    const std::string line = object + "\n";
                    if (write(fds[1], line.data(), line.size()) < 0)
                        _exit(3);
                    std::this_thread::sleep_for(std::chrono::seconds(60));
                    _exit(2);
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
            _exit(1);
        }
        close(fds[1]);
        std::string object;
        pollfd pfd{fds[0], POLLIN, 0};
        if (poll(&pfd, 1, 60000) == 1) {
            char buffer[128];
            const ssize_t n = read(fds[0], buffer, sizeof(buffer));
            if (n > 0)
                object.assign(buffer, static_cast<std::size_t>(n));
        }
        close(fds[0]);
        if (!object.empty() && object.back() == '\n')
            object.pop_back();
        return object;
    }

    void KillChild()
    {
        ASSERT_GT(child_, 0);
        ASSERT_EQ(0, kill(child_, SIGKILL));
        int status = 0;
        ASSERT_EQ(child_, waitpid(child_, &status, 0));
        EXPECT_TRUE(WIFSIGNALED(status));
        child_ = -1;
    }

    static ISCSI::Storage::JobRecord Latest(const std::string& kind, const std::string& object)
    {
        int rc = -1;
        const ISCSI::Storage::JobRecord job = StorageLibraryTest::Latest(kind, object, &rc);
        EXPECT_EQ(0, rc);
        return job;
    }

    pid_t child_ = -1;
};

TEST_F(CopyCrashTest, KilledCloneLeavesNoLunAndIsInterrupted)
{
    const std::string src = CreateLUN("src", 64 * kMiB);
    WriteAt(Image(src), 0, std::string(24 * kMiB, 'c'));
    const std::vector<std::string> before = FilesUnder(vol1_);

    const std::string clone = StartInChildAndKill("clone", [&]() -> std::string {
        std::string uuid;
        ISCSILIBLUN lun(src, false, false, false);
        return lun.localClone("dying", uuid, ISCSI_LUN_TYPE_NONE, "", "", true, false, {}) == 0
                   ? uuid
                   : std::string();
    });
    ASSERT_FALSE(clone.empty());
    // Mid-way: the partial copy is there.
    EXPECT_TRUE(fs::exists(Image(clone) + ".cloning"));
    KillChild();

    // The restart.
    LibraryContext::Reset();
    const ISCSI::Storage::JobRecord job = Latest("clone", clone);
    EXPECT_EQ("interrupted", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_INTERRUPTED, job.errorCode);
    EXPECT_GT(job.bytesDone, 0u);
    EXPECT_LT(job.bytesDone, job.bytesTotal);
    EXPECT_EQ(kNoSuchLUN, ISCSILIBLUN(clone, false, false, false).loadLUNInfo(0));
    std::vector<ISCSI::ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    ASSERT_EQ(1u, luns.size());
    EXPECT_EQ(src, luns[0].uuid);
    EXPECT_EQ(before, FilesUnder(vol1_));
    // The name is free again.
    std::string again;
    EXPECT_EQ(0, ISCSILIBLUN(src, false, false, false)
                     .localClone("dying", again, ISCSI_LUN_TYPE_NONE, "", "", true, false, {}));
    ISCSI::Storage::WaitJob(Latest("clone", again).uuid);
    EXPECT_EQ("done", Latest("clone", again).state);
}

TEST_F(CopyCrashTest, KilledExportLeavesNoFilesAndIsInterrupted)
{
    const std::string lun = CreateLUN("src", 64 * kMiB);
    WriteAt(Image(lun), 0, std::string(24 * kMiB, 'e'));
    std::string snap;
    int id = 0;
    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false)
                     .takeSnapshot(false, false, "s", "", "t", 0, false, "", "", snap, id));
    fs::create_directories(vol1_ + "/exports");
    const std::vector<std::string> before = FilesUnder(vol1_);

    const std::string object = StartInChildAndKill("export", [&]() -> std::string {
        return ISCSILIBLUN().exportLun(snap, "/volume1/exports/dying") == 0 ? snap : std::string();
    });
    ASSERT_EQ(snap, object);
    EXPECT_TRUE(fs::exists(vol1_ + "/exports/dying/lun.img.partial"));
    KillChild();

    LibraryContext::Reset();
    const ISCSI::Storage::JobRecord job = Latest("export", snap);
    EXPECT_EQ("interrupted", job.state);
    ISCSISnapshotInfo record(snap);
    ASSERT_EQ(0, record.loadFromConfig(ISCSI::ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS));
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_INTERRUPTED, record.export_errno);
    EXPECT_EQ("normal", record.status);
    EXPECT_EQ(before, FilesUnder(vol1_));
    EXPECT_FALSE(fs::exists(vol1_ + "/exports/dying")); // the directory it made is gone too
}

TEST_F(CopyCrashTest, KilledImportLeavesNoSnapshotAndIsInterrupted)
{
    const std::string lun = CreateLUN("src", 64 * kMiB);
    WriteAt(Image(lun), 0, std::string(24 * kMiB, 'i'));
    std::string snap;
    int id = 0;
    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false)
                     .takeSnapshot(false, false, "s", "", "t", 0, false, "", "", snap, id));
    ASSERT_EQ(0, ISCSILIBLUN().exportLun(snap, "/volume1/exports/full"));
    ISCSI::Storage::JobRecord exported = Latest("export", snap);
    ISCSI::Storage::WaitJob(exported.uuid);
    ASSERT_EQ("done", Latest("export", snap).state);
    const std::string target = CreateLUN("target", 64 * kMiB);
    const std::vector<std::string> before = FilesUnder(vol1_);

    const std::string object = StartInChildAndKill("import", [&]() -> std::string {
        ISCSILIBLUN into(target, false, false, false);
        return into.importLun("/volume1/exports/full", "dying", "", "") == 0 ? target : std::string();
    });
    ASSERT_EQ(target, object);
    KillChild();

    LibraryContext::Reset();
    EXPECT_EQ("interrupted", Latest("import", target).state);
    std::vector<ISCSISnapshotInfo> snaps;
    ASSERT_EQ(0, ISCSILIBLUN(target, false, false, false).listSnapshot(snaps, 0));
    EXPECT_TRUE(snaps.empty());
    EXPECT_EQ(before, FilesUnder(vol1_));
    ISCSILIBLUN loaded(target, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_IMPORT_STATUS));
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_INTERRUPTED, loaded.import_errno);
}

// A process that leaves main (exit) while a job runs: the job is stopped on the way out and
// recorded as interrupted, its partial output removed, and the process exits normally.
TEST_F(CopyCrashTest, ExitWithARunningCloneInterruptsIt)
{
    const std::string src = CreateLUN("src", 64 * kMiB);
    WriteAt(Image(src), 0, std::string(24 * kMiB, 'x'));
    const std::vector<std::string> before = FilesUnder(vol1_);
    LibraryContext::Reset();
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    child_ = fork();
    if (child_ == 0) {
        close(fds[0]);
        ISCSI::Storage::SetCopyRateLimit(kMiB);
        std::string clone;
        if (ISCSILIBLUN(src, false, false, false)
                .localClone("leaving", clone, ISCSI_LUN_TYPE_NONE, "", "", true, false, {}) != 0)
            _exit(1);
        for (int i = 0; i < 600; ++i) { // at most 60 s
            const ISCSI::Storage::JobRecord job = StorageLibraryTest::Latest("clone", clone);
            if (job.bytesDone > 0) {
                const std::string line = clone + "\n";
                if (write(fds[1], line.data(), line.size()) < 0)
                    _exit(3);
                std::exit(0); // static destructors run, as when the service returns from main
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        _exit(1);
    }
    close(fds[1]);
    std::string clone;
    char buffer[128];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof(buffer))) > 0)
        clone.append(buffer, static_cast<std::size_t>(n));
    close(fds[0]);
    int status = 0;
    ASSERT_EQ(child_, waitpid(child_, &status, 0));
    child_ = -1;
    ASSERT_TRUE(WIFEXITED(status)) << "the process did not exit normally";
    EXPECT_EQ(0, WEXITSTATUS(status));
    ASSERT_FALSE(clone.empty());
    clone.pop_back();

    // Before any restart: the exiting process recorded the end itself and removed its files.
    {
        ISCSI::Storage::ConfigDB db;
        std::string error;
        ASSERT_TRUE(db.open(root_ + "/data/iscsi.db", error)) << error;
        ISCSI::Storage::JobRecord left;
        ASSERT_EQ(0, ISCSI::Storage::LatestJob(db, "clone", clone, left));
        EXPECT_EQ("interrupted", left.state);
        EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_INTERRUPTED, left.errorCode);
        EXPECT_FALSE(fs::exists(Image(clone) + ".cloning"));
    }
    const ISCSI::Storage::JobRecord job = Latest("clone", clone);
    EXPECT_EQ("interrupted", job.state);
    EXPECT_EQ(kNoSuchLUN, ISCSILIBLUN(clone, false, false, false).loadLUNInfo(0));
    EXPECT_EQ(before, FilesUnder(vol1_));
}

} // namespace
