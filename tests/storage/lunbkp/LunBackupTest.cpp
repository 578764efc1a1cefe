// LUN backup through the storage library: a LUN is copied to the disk LUN of an iSCSI target
// (a target of the library's own tgtd on 127.0.0.1, reached through libiscsi as any target
// would be) and restored from it into a fresh LUN, byte for byte; a copy stopped at about 30%
// (or cut off by a restart of the library) resumes from its bitmap; progress only grows and
// reaches the total; a restore whose process is killed with SIGKILL (the disk then served by a
// tgtd of its own, as another appliance would) leaves the LUN as it was and resumes; a disk
// smaller than the LUN, a LUN that a target serves, a bad address and a bad IQN are refused
// with their codes; backupLunMove moves the LUN, though not while a copy of it runs. Needs root and
// /usr/sbin/tgtd; each test prints "SKIPPED: <reason>" and is skipped without them.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSILIBLUNBKP.h>
#include <iscsi/ISCSILIBTarget.h>

#include "StorageTestSupport.h"
#include "Tools.h"
#include "clone/CopyEngine.h"
#include "lunbkp/LunbkpStore.h"
#include "target/TgtDaemon.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace KovaStorageTest {
namespace {

using ISCSI::LIB::LIBLUNBKP::ISCSILIBLUNBKP;
using ISCSI::LIB::LIBTarget::ISCSILIBTarget;
using ISCSI::Storage::CopyState;
using ISCSI::Storage::JobRecord;

constexpr unsigned long long kSector = 512;

// Bytes that differ from block to block and from seed to seed.
std::string Pattern(unsigned seed, std::size_t bytes)
{
    std::string data(bytes, '\0');
    unsigned x = seed * 2654435761u + 1;
    for (std::size_t i = 0; i < bytes; ++i) {
        x = x * 1103515245u + 12345u;
        data[i] = static_cast<char>(x >> 16);
    }
    return data;
}

class LunBackupTest : public StorageLibraryTest {
protected:
    LunBackupTest() : StorageLibraryTest("lunbkp", {"vol1", "vol2"}) {}

    void SetUp() override
    {
        const std::string why = KOVATest::MissingTgtdPrerequisite({});
        if (!why.empty()) {
            std::printf("SKIPPED: %s\n", why.c_str());
            GTEST_SKIP() << why;
        }
        port_ = KOVATest::FreeTcpPort();
        ASSERT_NE(0, port_);
        setenv("KOVA_ISCSI_PORTAL", Portal().c_str(), 1);
        unsetenv("KOVA_TGTD");
        StorageLibraryTest::SetUp();
    }

    void TearDown() override
    {
        ISCSI::Storage::SetCopyRateLimit(0);
        if (port_ != 0)
            StorageLibraryTest::TearDown();
        unsetenv("KOVA_ISCSI_PORTAL");
    }

    std::string Portal() const { return "127.0.0.1:" + std::to_string(port_); }
    static std::string Iqn(const std::string& name) { return "iqn.2026-01.org.example:" + name; }

    // An enabled target of the library's tgtd that serves a new thin LUN of size bytes;
    // answers the LUN's uuid.
    std::string ServedLun(const std::string& name, unsigned long long size)
    {
        const std::string lun = CreateLUN(name, size);
        ISCSILIBTarget target(name, Iqn(name), true, false, false, 262144, 262144, 1, ISCSI_AUTH_TYPE_NONE,
                              "", "", "", "", false);
        EXPECT_EQ(0, target.createTarget());
        EXPECT_EQ(0, ISCSILIBTarget(target.tid).mapLUN({lun}));
        return lun;
    }

    std::string Connect(const std::string& name)
    {
        std::string path;
        EXPECT_EQ(0, ISCSILIBLUNBKP().targetConnect(Portal(), Iqn(name), path));
        return path;
    }

    static CopyState Copy(const std::string& lun)
    {
        CopyState state;
        LibraryContext::With(
            [&](LibraryContext& ctx) { return ISCSI::Storage::LoadCopyState(ctx.db(), lun, state); });
        return state;
    }

    struct Progress {
        int progress = 0;
        unsigned long long offset = 0;
        unsigned long long total = 0;
    };
    static Progress ProgressOf(const std::string& lun)
    {
        Progress p;
        EXPECT_EQ(0, ISCSILIBLUNBKP(lun).smartddProgressGet(p.progress, p.offset, p.total));
        return p;
    }

    // Follows the copy of lun until its job ends (bounded), checking that its progress never
    // goes back; answers the job's final row. stopAt: stop the copy once progress reaches it.
    static JobRecord Follow(const std::string& lun, const char* kind, std::vector<Progress>& seen,
                            int stopAt = 101)
    {
        for (int i = 0; i < 6000 && ISCSI::Storage::JobRunning(kind, lun); ++i) {
            const Progress p = ProgressOf(lun);
            if (!seen.empty()) {
                EXPECT_GE(p.offset, seen.back().offset);
                EXPECT_GE(p.progress, seen.back().progress);
            }
            seen.push_back(p);
            if (p.progress >= stopAt) {
                EXPECT_EQ(0, ISCSILIBLUNBKP(lun).smartddStop(std::string(kind) == "lunrestore"
                                                                 ? LUNBKP_TYPE_RESTORE
                                                                 : LUNBKP_TYPE_BACKUP));
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        const JobRecord job = WaitFor(kind, lun);
        const Progress last = ProgressOf(lun);
        if (!seen.empty()) {
            EXPECT_GE(last.offset, seen.back().offset);
        }
        seen.push_back(last);
        return job;
    }

    int port_ = 0;
};

TEST_F(LunBackupTest, BackupToAnotherTargetThenRestoreIntoAFreshLunIsByteIdentical)
{
    const unsigned long long size = 24 * kMiB;
    const std::string source = CreateLUN("source", size);
    // Data here and there, holes between.
    WriteAt(Image(source), 0, Pattern(1, kMiB));
    WriteAt(Image(source), 5 * kMiB + 4096, Pattern(2, 300 * 1024));
    WriteAt(Image(source), 20 * kMiB, Pattern(3, 2 * kMiB));
    const std::string backup = ServedLun("backup", size);
    // Old data where the source has a hole: the backup must not keep it.
    WriteAt(Image(backup), 10 * kMiB, std::string(kMiB, '\xAA'));

    unsigned long long sectors = 0;
    ASSERT_EQ(0, ISCSILIBLUNBKP(source).sizeGet(sectors));
    EXPECT_EQ(size / kSector, sectors);
    Progress before = ProgressOf(source);
    EXPECT_EQ(0, before.progress);
    EXPECT_EQ(0u, before.offset);
    EXPECT_EQ(size / kSector, before.total);

    const std::string path = Connect("backup");
    EXPECT_EQ("iscsi://" + Portal() + "/" + Iqn("backup") + "/1", path);
    ASSERT_EQ(0, ISCSILIBLUNBKP(source).smartddStart(path, LUNBKP_TYPE_BACKUP));
    std::vector<Progress> seen;
    JobRecord job = Follow(source, "lunbackup", seen);
    EXPECT_EQ("done", job.state);
    EXPECT_EQ(0, job.errorCode);
    // Only the data chunks were read: 1 + 1 + 2 MiB.
    EXPECT_EQ(4 * kMiB, job.bytesTotal);
    EXPECT_EQ(100, seen.back().progress);
    EXPECT_EQ(size / kSector, seen.back().offset);
    EXPECT_EQ(size / kSector, seen.back().total);
    EXPECT_TRUE(ReadAll(Image(source)) == ReadAll(Image(backup))) << "the backup differs from the LUN";

    // Restore into a new LUN that no target serves.
    const std::string restored = CreateLUN("restored", size);
    WriteAt(Image(restored), 3 * kMiB, Pattern(9, kMiB));
    ASSERT_EQ(0, ISCSILIBLUNBKP(restored).smartddStart(path, LUNBKP_TYPE_RESTORE));
    seen.clear();
    job = Follow(restored, "lunrestore", seen);
    EXPECT_EQ("done", job.state);
    EXPECT_EQ(0, job.errorCode);
    EXPECT_EQ(100, seen.back().progress);
    EXPECT_EQ(size / kSector, seen.back().offset);
    EXPECT_TRUE(ReadAll(Image(source)) == ReadAll(Image(restored))) << "the restored LUN differs";
    // The zeros of the disk stayed holes of the thin LUN.
    EXPECT_LT(Allocated(Image(restored)), 8 * kMiB);
    EXPECT_FALSE(fs::exists(Image(restored) + ".lunrestore"));

    EXPECT_EQ(0, ISCSILIBLUNBKP().targetDisconnect(Portal(), Iqn("backup")));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUNBKP_NO_DEVICE,
              ISCSILIBLUNBKP(source).smartddStart(path, LUNBKP_TYPE_BACKUP));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUNBKP_NO_DEVICE, ISCSILIBLUNBKP().targetDisconnect(Portal(), Iqn("backup")));
}

TEST_F(LunBackupTest, StoppedAtThirtyPercentResumesFromItsBitmapAndEndsIdentical)
{
    const unsigned long long size = 32 * kMiB;
    const std::string source = CreateLUN("source", size);
    WriteAt(Image(source), 0, Pattern(4, size));
    const std::string backup = ServedLun("backup", size);
    const std::string path = Connect("backup");

    // Slow enough to be stopped on the way.
    ISCSI::Storage::SetCopyRateLimit(16 * kMiB);
    ASSERT_EQ(0, ISCSILIBLUNBKP(source).smartddStart(path, LUNBKP_TYPE_BACKUP));
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_BUSY, ISCSILIBLUNBKP(source).smartddStart(path, LUNBKP_TYPE_BACKUP));
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_BUSY, ISCSILIBLUNBKP(source).bitmapReset());
    std::vector<Progress> seen;
    const JobRecord first = Follow(source, "lunbackup", seen, 30);
    EXPECT_EQ("cancelled", first.state);
    const CopyState stopped = Copy(source);
    EXPECT_EQ("stopped", stopped.state);
    EXPECT_GT(stopped.chunksDone, 0u);
    EXPECT_LT(stopped.chunksDone, 32u);
    // What progress says is what the bitmap holds.
    EXPECT_EQ(stopped.chunksDone * kMiB / kSector, seen.back().offset);
    EXPECT_LT(seen.back().progress, 100);

    ISCSI::Storage::SetCopyRateLimit(0);
    ASSERT_EQ(0, ISCSILIBLUNBKP(source).smartddStart(path, LUNBKP_TYPE_BACKUP));
    const JobRecord second = Follow(source, "lunbackup", seen);
    EXPECT_EQ("done", second.state);
    // The second run copied only the chunks that the bitmap did not hold.
    EXPECT_EQ((32 - stopped.chunksDone) * kMiB, second.bytesTotal);
    EXPECT_LT(second.bytesTotal, size);
    EXPECT_EQ(100, seen.back().progress);
    EXPECT_EQ(size / kSector, seen.back().offset);
    EXPECT_EQ(32u, Copy(source).chunksDone);
    EXPECT_TRUE(ReadAll(Image(source)) == ReadAll(Image(backup)))
        << "the resumed backup differs from the LUN";

    // A new start after a finished copy begins anew; a reset bitmap too.
    ASSERT_EQ(0, ISCSILIBLUNBKP(source).bitmapReset());
    Progress reset = ProgressOf(source);
    EXPECT_EQ(0u, reset.offset);
    EXPECT_EQ(0, reset.progress);
}

TEST_F(LunBackupTest, RestoreCutOffByARestartResumesAndLeavesTheLunIntactMeanwhile)
{
    const unsigned long long size = 32 * kMiB;
    const std::string backup = ServedLun("backup", size);
    const std::string data = Pattern(5, size);
    WriteAt(Image(backup), 0, data);
    const std::string path = Connect("backup");
    const std::string target = CreateLUN("target", size);
    const std::string old = Pattern(6, kMiB);
    WriteAt(Image(target), 0, old);

    ISCSI::Storage::SetCopyRateLimit(16 * kMiB);
    ASSERT_EQ(0, ISCSILIBLUNBKP(target).smartddStart(path, LUNBKP_TYPE_RESTORE));
    for (int i = 0; i < 3000 && ProgressOf(target).progress < 30; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    // The library stops as its process would: the job is interrupted.
    LibraryContext::Reset();
    EXPECT_EQ("interrupted", Latest("lunrestore", target).state);
    const CopyState cut = Copy(target);
    EXPECT_GT(cut.chunksDone, 0u);
    EXPECT_LT(cut.chunksDone, 32u);
    // The LUN still holds its own data; the restored part waits beside it.
    EXPECT_EQ(old, ReadAt(Image(target), 0, old.size()));
    EXPECT_TRUE(fs::exists(Image(target) + ".lunrestore"));

    ISCSI::Storage::SetCopyRateLimit(0);
    ASSERT_EQ(0, ISCSILIBLUNBKP(target).smartddStart(path, LUNBKP_TYPE_RESTORE));
    std::vector<Progress> seen;
    const JobRecord resumed = Follow(target, "lunrestore", seen);
    EXPECT_EQ("done", resumed.state);
    EXPECT_EQ((32 - cut.chunksDone) * kMiB, resumed.bytesTotal);
    EXPECT_TRUE(data == ReadAll(Image(target))) << "the restored LUN differs from the disk";
}

TEST_F(LunBackupTest, RestoreOfAProcessKilledWithSigkillResumesAndTheLunStaysIntact)
{
    // The disk is served by a tgtd of its own, as another appliance would serve it (the
    // library here serves nothing, so the process that is killed runs no tgtd).
    const unsigned long long size = 32 * kMiB;
    const std::string disk = root_ + "/disk.img";
    const std::string data = Pattern(7, size);
    {
        std::ofstream(disk, std::ios::binary) << data;
    }
    ISCSI::Storage::Target::TgtDaemonOptions options;
    options.socketDir = root_ + "/other-tgtd";
    options.portal = Portal();
    ISCSI::Storage::Target::TgtDaemon other(options);
    std::string error;
    ASSERT_TRUE(other.Start(error)) << error;
    const auto tgtadm = other.client();
    ASSERT_TRUE(tgtadm.CreateTarget(1, Iqn("other")).ok());
    ASSERT_TRUE(tgtadm.CreateLu(1, 1, disk).ok());
    ASSERT_TRUE(tgtadm.BindInitiatorAddress(1, "ALL").ok());
    const std::string path = Connect("other");
    const std::string target = CreateLUN("target", size);
    const std::string old = Pattern(8, 2 * kMiB);
    WriteAt(Image(target), 4 * kMiB, old);

    // A child process restores slowly and says when its bitmap holds chunks; then it dies by
    // SIGKILL.
    LibraryContext::Reset();
    int ready[2];
    ASSERT_EQ(0, ::pipe2(ready, O_CLOEXEC));
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(ready[0]);
        ISCSI::Storage::SetCopyRateLimit(8 * kMiB);
        const int started = ISCSILIBLUNBKP(target).smartddStart(path, LUNBKP_TYPE_RESTORE);
        if (started != 0) {
            std::fprintf(stderr, "child: smartddStart answered %d\n", started);
            _exit(1);
        }
        for (int i = 0; i < 600 && Copy(target).chunksDone == 0; ++i) // at most 60 s
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (::write(ready[1], "r", 1) != 1)
            _exit(2);
        std::this_thread::sleep_for(std::chrono::seconds(60));
        _exit(3);
    }
    ::close(ready[1]);
    char signal = 0;
    pollfd pfd{ready[0], POLLIN, 0};
    const bool told = ::poll(&pfd, 1, 60000) == 1 && ::read(ready[0], &signal, 1) == 1;
    ::close(ready[0]);
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_TRUE(told) << "the child did not start its restore (exit " << WEXITSTATUS(status) << ")";
    EXPECT_TRUE(WIFSIGNALED(status));

    // Opened again as a restarted service: the job is interrupted, the LUN has its own data,
    // and the chunks recorded wait beside it.
    const CopyState cut = Copy(target);
    EXPECT_EQ("interrupted", Latest("lunrestore", target).state);
    EXPECT_EQ("copying", cut.state);
    EXPECT_GT(cut.chunksDone, 0u);
    EXPECT_LT(cut.chunksDone, 32u);
    EXPECT_EQ(old, ReadAt(Image(target), 4 * kMiB, old.size()));
    EXPECT_TRUE(fs::exists(Image(target) + ".lunrestore"));
    std::vector<Progress> seen{ProgressOf(target)};
    EXPECT_EQ(cut.sectorsDone(), seen.back().offset);

    ASSERT_EQ(0, ISCSILIBLUNBKP(target).smartddStart(path, LUNBKP_TYPE_RESTORE));
    const JobRecord resumed = Follow(target, "lunrestore", seen);
    EXPECT_EQ("done", resumed.state);
    EXPECT_LE(resumed.bytesTotal, (32 - cut.chunksDone) * kMiB);
    EXPECT_TRUE(data == ReadAll(Image(target))) << "the restored LUN differs from the disk";
    EXPECT_TRUE(other.Stop(error)) << error;
}

TEST_F(LunBackupTest, BackupLunMoveMovesTheLunToAnotherVolumeButNotDuringACopy)
{
    const std::string lun = CreateLUN("moving", 16 * kMiB);
    const std::string data = Pattern(10, kMiB);
    WriteAt(Image(lun), 2 * kMiB, data);
    ServedLun("backup", 16 * kMiB);
    const std::string path = Connect("backup");

    ISCSI::Storage::SetCopyRateLimit(2 * kMiB);
    ASSERT_EQ(0, ISCSILIBLUNBKP(lun).smartddStart(path, LUNBKP_TYPE_BACKUP));
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_BUSY, ISCSILIBLUNBKP(lun).backupLunMove("/volume2"));
    EXPECT_EQ(0, ISCSILIBLUNBKP(lun).smartddStop(LUNBKP_TYPE_BACKUP));
    EXPECT_EQ(0, ISCSILIBLUNBKP(lun).smartddStop(LUNBKP_TYPE_BACKUP)); // nothing runs: nothing to stop
    ISCSI::Storage::SetCopyRateLimit(0);

    EXPECT_EQ(18990501, ISCSILIBLUNBKP(lun).backupLunMove(""));
    EXPECT_EQ(18990505, ISCSILIBLUNBKP("no-such-lun").backupLunMove("/volume2"));
    ASSERT_EQ(0, ISCSILIBLUNBKP(lun).backupLunMove("/volume2"));
    EXPECT_EQ("done", WaitFor("move", lun).state);
    ISCSILIBLUN moved(lun, false, true, false);
    EXPECT_EQ("/volume2", moved.location);
    EXPECT_EQ(data, ReadAt(Image(vol2_, lun), 2 * kMiB, data.size()));
}

TEST_F(LunBackupTest, SmallDeviceAndServedLunAreRefused)
{
    ServedLun("small", 8 * kMiB);
    const std::string path = Connect("small");
    const std::string big = CreateLUN("big", 16 * kMiB);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUNBKP_DEVICE_TOO_SMALL,
              ISCSILIBLUNBKP(big).smartddStart(path, LUNBKP_TYPE_RESTORE));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUNBKP_DEVICE_TOO_SMALL,
              ISCSILIBLUNBKP(big).smartddStart(path, LUNBKP_TYPE_BACKUP));
    // A LUN that an enabled target serves is not restored into.
    const std::string served = ServedLun("served", 8 * kMiB);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUNBKP_LUN_IN_USE,
              ISCSILIBLUNBKP(served).smartddStart(path, LUNBKP_TYPE_RESTORE));
    // Nothing started, nothing recorded.
    EXPECT_FALSE(ISCSI::Storage::JobRunning("", big));
    EXPECT_EQ(0, ProgressOf(big).progress);
    EXPECT_EQ(18990505, ISCSILIBLUNBKP("no-such-lun").smartddStart(path, LUNBKP_TYPE_BACKUP));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUNBKP_NO_DEVICE,
              ISCSILIBLUNBKP(big).smartddStart("iscsi://127.0.0.1:1/iqn.2026-01.org.example:x/1",
                                               LUNBKP_TYPE_BACKUP));
}

TEST_F(LunBackupTest, BadAddressOrIqnAnswersItsCode)
{
    ServedLun("present", 8 * kMiB); // tgtd runs
    const int closed = KOVATest::FreeTcpPort("127.0.0.1", port_);
    ASSERT_NE(0, closed);
    struct Case {
        std::string ip, iqn;
        int code;
    };
    const std::vector<Case> cases = {
        {"999.1.1.1", Iqn("present"), ISCSI::ISCSI_ERR_LUNBKP_TARGET_ADDRESS},
        {"127.0.0.1:70000", Iqn("present"), ISCSI::ISCSI_ERR_LUNBKP_TARGET_ADDRESS},
        {"localhost", Iqn("present"), ISCSI::ISCSI_ERR_LUNBKP_TARGET_ADDRESS},
        {"[::1", Iqn("present"), ISCSI::ISCSI_ERR_LUNBKP_TARGET_ADDRESS},
        {"127.0.0.1:" + std::to_string(closed), Iqn("present"), ISCSI::ISCSI_ERR_LUNBKP_TARGET_UNREACHABLE},
        {Portal(), Iqn("absent"), ISCSI::ISCSI_ERR_LUNBKP_TARGET_LOGIN},
        {Portal(), "not an iqn", ISCSI::ISCSI_ERR_LUNBKP_TARGET_LOGIN},
    };
    for (const Case& c : cases) {
        std::string path = "unchanged";
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(c.code, ISCSILIBLUNBKP().targetConnect(c.ip, c.iqn, path)) << c.ip << " " << c.iqn;
        const auto ms =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
                .count();
        std::printf("targetConnect(%s, %s): %lld ms\n", c.ip.c_str(), c.iqn.c_str(),
                    static_cast<long long>(ms));
        EXPECT_EQ("unchanged", path);
    }
    // The port may be given, or not (3260); IPv6 in brackets.
    std::string path;
    EXPECT_EQ(0, ISCSILIBLUNBKP().targetConnect(Portal(), Iqn("present"), path));
    EXPECT_EQ("iscsi://" + Portal() + "/" + Iqn("present") + "/1", path);
}

} // namespace
} // namespace KovaStorageTest
