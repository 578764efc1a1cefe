// Defragmenting LUN files with the file system's tool: a run in the foreground, one in the
// background that stop kills, and the answer where the file system has no tool.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "StorageTestSupport.h"
#include "context/LibraryContext.h"
#include "lun/LUNDevices.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace KovaStorageTest;

class DefragTest : public StorageLibraryTest {
protected:
    DefragTest() : StorageLibraryTest("defrag") {}

    std::string Create(const std::string& name, _tag_iscsi_lun_type type, unsigned long long size)
    {
        return CreateLUN(name, type, size, false);
    }
};

TEST_F(DefragTest, ForegroundRunEndsWithTheToolsResult)
{
    std::vector<std::string> command;
    if (!ISCSI::Storage::DefragCommand(vol1_, command)) {
        // The answer where there is no tool is itself the behaviour to check.
        const std::string uuid = Create("nodefrag", ISCSI_LUN_TYPE_FILE, kMiB);
        EXPECT_EQ(ISCSI::ISCSI_ERR_DEFRAG, ISCSILIBLUN(uuid, false, false, false).startDefrag(false));
        std::printf("SKIPPED: the file system of %s has no defragmentation tool here\n", root_.c_str());
        GTEST_SKIP();
    }
    const std::string uuid = Create("frag", ISCSI_LUN_TYPE_FILE, 8 * kMiB);
    ISCSILIBLUN lun(uuid, false, false, false);
    EXPECT_EQ(0, lun.startDefrag(false)) << command[0];
    EXPECT_FALSE(ISCSI::Storage::DefragRunning(uuid));
    EXPECT_EQ(0, lun.stopDefrag(false)) << "nothing runs: nothing to stop";
}

// A stand-in for a long run: what is checked is the process handling, so a program that runs
// until it is killed (sleep) takes the tool's place for the LUN.
const std::vector<std::string> kLongRun = {"/bin/sleep", "60"};

TEST_F(DefragTest, StopKillsABackgroundRun)
{
    const std::string uuid = Create("long", ISCSI_LUN_TYPE_THIN, kMiB);
    // As in the daemon: SIGTERM blocked in the starting thread. The tool must still get it.
    sigset_t term, old;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &term, &old);
    const int started = ISCSI::Storage::RunDefragProcess(uuid, kLongRun, true);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    ASSERT_EQ(0, started);
    EXPECT_TRUE(ISCSI::Storage::DefragRunning(uuid));
    ISCSILIBLUN lun(uuid, false, false, false);
    EXPECT_EQ(0, lun.startDefrag(true)) << "a start while one runs is no error and starts nothing";
    // stopDefrag(true) answers once the process is gone; SIGKILL comes only after 2 s, so a
    // quick answer here is the SIGTERM's work. What is asserted is the end state.
    EXPECT_EQ(0, lun.stopDefrag(true));
    EXPECT_FALSE(ISCSI::Storage::DefragRunning(uuid));
}

TEST_F(DefragTest, StopEndsAForegroundRunAsCancelled)
{
    const std::string uuid = Create("waited", ISCSI_LUN_TYPE_THIN, kMiB);
    int result = -1;
    std::thread runner([&] { result = ISCSI::Storage::RunDefragProcess(uuid, kLongRun, false); });
    // Bounded wait for the process to be known (at most 5 s).
    for (int i = 0; i < 500 && !ISCSI::Storage::DefragRunning(uuid); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_TRUE(ISCSI::Storage::DefragRunning(uuid));
    EXPECT_EQ(0, ISCSILIBLUN(uuid, false, false, false).stopDefrag(false));
    runner.join();
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_CANCELLED, result);
    EXPECT_FALSE(ISCSI::Storage::DefragRunning(uuid));
}

TEST_F(DefragTest, ResetStopsEveryRun)
{
    const std::string uuid = Create("reset", ISCSI_LUN_TYPE_THIN, kMiB);
    ASSERT_EQ(0, ISCSI::Storage::RunDefragProcess(uuid, kLongRun, true));
    LibraryContext::Reset();
    EXPECT_FALSE(ISCSI::Storage::DefragRunning(uuid));
}

TEST_F(DefragTest, ToolThatFailsAnswersTheDefragCode)
{
    const std::string uuid = Create("fails", ISCSI_LUN_TYPE_THIN, kMiB);
    EXPECT_EQ(ISCSI::ISCSI_ERR_DEFRAG, ISCSI::Storage::RunDefragProcess(uuid, {"/bin/false"}, false));
    EXPECT_EQ(ISCSI::ISCSI_ERR_DEFRAG, ISCSI::Storage::RunDefragProcess(uuid, {"/nonexistent/tool"}, false));
}

TEST_F(DefragTest, UnknownLUN)
{
    EXPECT_EQ(18990505,
              ISCSILIBLUN("00000000-0000-4000-8000-000000000000", false, false, false).startDefrag(true));
    EXPECT_EQ(18990505,
              ISCSILIBLUN("00000000-0000-4000-8000-000000000000", false, false, false).stopDefrag(false));
}

} // namespace
