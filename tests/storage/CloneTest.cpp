// Clones of LUNs and snapshots on temporary volumes: the data and the holes of the copy, the
// new LUN's row and figures, other volumes, thick copies, refusals, cancel, delete-parent,
// the mapping step, the cloneability test, and reflinks on btrfs.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSISnapshotInfo.h>

#include "StorageTestSupport.h"
#include "clone/CopyEngine.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace KovaStorageTest;

class CloneTest : public StorageLibraryTest {
protected:
    CloneTest() : StorageLibraryTest("clones", {"vol1", "vol2"}) {}

    void TearDown() override
    {
        ISCSI::Storage::SetCopyRateLimit(0);
        StorageLibraryTest::TearDown();
    }

    static int Clone(const std::string& source, const std::string& name, std::string& newUuid, int type = 0,
                     const std::string& location = "", bool deleteParent = false,
                     const std::set<int>& targets = {})
    {
        ISCSILIBLUN lun(source, false, false, false);
        return lun.localClone(name, newUuid, static_cast<_tag_iscsi_lun_type>(type), location, "", true,
                              deleteParent, targets);
    }
};

TEST_F(CloneTest, CloneHasTheSourceDataAndHoles)
{
    const std::string src = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 32 * kMiB);
    WriteAt(Image(vol1_, src), 0, "first block");
    WriteAt(Image(vol1_, src), static_cast<off_t>(10 * kMiB), std::string(3 * kMiB, 'm'));
    WriteAt(Image(vol1_, src), static_cast<off_t>(32 * kMiB - 5), "tail!");

    std::string clone;
    ASSERT_EQ(0, Clone(src, "copy", clone));
    ASSERT_FALSE(clone.empty());
    EXPECT_NE(src, clone);
    const ISCSI::Storage::JobRecord job = WaitFor("clone", clone);
    EXPECT_EQ("done", job.state);
    EXPECT_EQ(0, job.errorCode);
    EXPECT_EQ(src, job.relatedUuid);

    const std::string copy = Image(vol1_, clone);
    ASSERT_TRUE(fs::exists(copy));
    EXPECT_FALSE(fs::exists(copy + ".cloning"));
    EXPECT_EQ(32 * kMiB, Length(copy));
    EXPECT_TRUE(ReadAll(Image(vol1_, src)) == ReadAll(copy));
    // Sparse stays sparse: about the 3 MiB written, not the 32 MiB of the LUN.
    EXPECT_LT(Allocated(copy), 8 * kMiB);

    ISCSILIBLUN loaded(clone, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_STATUS | ISCSI::ISCSI_LUN_LOAD_SYNC_PROGRESS));
    EXPECT_EQ("copy", loaded.name);
    EXPECT_EQ(ISCSI_LUN_TYPE_THIN, loaded.type);
    EXPECT_EQ("/volume1", loaded.location);
    EXPECT_EQ(32 * kMiB, loaded.size);
    EXPECT_EQ("normal", loaded.status);
    EXPECT_GT(loaded.sync_total, 0u);
    EXPECT_EQ(loaded.sync_total, loaded.sync_done);
    EXPECT_EQ(0, loaded.sync_errno);

    // The copy is independent of its source.
    WriteAt(Image(vol1_, src), 0, "changed");
    EXPECT_EQ("first block", ReadAll(copy).substr(0, 11));
}

TEST_F(CloneTest, CloneIntoAnotherVolumeAsThick)
{
    const std::string src = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 16 * kMiB);
    WriteAt(Image(vol1_, src), static_cast<off_t>(kMiB), "data");
    std::string clone;
    ASSERT_EQ(0, Clone(src, "thick", clone, ISCSI_LUN_TYPE_FILE, "/volume2"));
    EXPECT_EQ("done", WaitFor("clone", clone).state);
    const std::string copy = Image(vol2_, clone);
    ASSERT_TRUE(fs::exists(copy));
    EXPECT_FALSE(fs::exists(Image(vol1_, clone)));
    EXPECT_EQ(ReadAll(Image(vol1_, src)), ReadAll(copy));
    // A thick LUN has every block.
    EXPECT_GE(Allocated(copy), 16 * kMiB);
    ISCSILIBLUN loaded(clone, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(0));
    EXPECT_EQ("/volume2", loaded.location);
    EXPECT_EQ(ISCSI_LUN_TYPE_FILE, loaded.type);
}

TEST_F(CloneTest, RefusalsLeaveNothing)
{
    const std::string src = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 4 * kMiB);
    CreateLUN("taken", ISCSI_LUN_TYPE_THIN, 4 * kMiB);
    std::string clone;
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_NAME_EXISTS, Clone(src, "taken", clone));
    EXPECT_EQ(kInvalidLocation, Clone(src, "x", clone, 0, "/volume9"));
    EXPECT_EQ(kInvalidType, Clone(src, "x", clone, 0x999));
    EXPECT_EQ(18990503, Clone(src, "", clone));
    EXPECT_EQ(kNoSuchLUN, Clone("00000000-0000-4000-8000-000000000000", "x", clone));
    EXPECT_TRUE(clone.empty());
    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    EXPECT_EQ(2u, luns.size());
    int files = 0;
    for (const auto& entry : fs::directory_iterator(vol1_ + "/@iscsi")) {
        if (entry.is_regular_file())
            ++files;
    }
    EXPECT_EQ(2, files);
}

TEST_F(CloneTest, CloneOfASnapshotHasTheSnapshotData)
{
    const std::string src = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 8 * kMiB);
    WriteAt(Image(vol1_, src), 0, "before");
    ISCSILIBLUN lun(src, false, false, false);
    std::string snap;
    int snapId = 0;
    ASSERT_EQ(0, lun.takeSnapshot(false, false, "s1", "", "test", 0, false, "", "", snap, snapId));
    WriteAt(Image(vol1_, src), 0, "after!");

    std::string clone;
    // The type must be given: 0 is no type for a clone of a snapshot.
    EXPECT_EQ(kInvalidType, lun.cloneSnapshot(snap, "from-snap", clone, ISCSI_LUN_TYPE_NONE, ""));
    ASSERT_EQ(0, lun.cloneSnapshot(snap, "from-snap", clone, ISCSI_LUN_TYPE_CINDER, "SN-1"));
    EXPECT_EQ("done", WaitFor("clone", clone).state);
    EXPECT_EQ("before", ReadAll(Image(vol1_, clone)).substr(0, 6));
    ISCSILIBLUN loaded(clone, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(0));
    EXPECT_EQ(ISCSI_LUN_TYPE_CINDER, loaded.type);
    EXPECT_EQ("SN-1", loaded.vpd_unit_sn);

    // A snapshot of another LUN is refused.
    const std::string other = CreateLUN("other", ISCSI_LUN_TYPE_THIN, 4 * kMiB);
    ISCSILIBLUN otherLun(other, false, false, false);
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN,
              otherLun.cloneSnapshot(snap, "wrong", clone, ISCSI_LUN_TYPE_THIN, ""));
}

TEST_F(CloneTest, StopCloneRemovesTheNewLun)
{
    const std::string src = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 64 * kMiB);
    WriteAt(Image(vol1_, src), 0, std::string(16 * kMiB, 'z'));
    // 16 MiB at 1 MiB/s: the copy runs long enough to be stopped mid-way.
    ISCSI::Storage::SetCopyRateLimit(kMiB);
    std::string clone;
    ASSERT_EQ(0, Clone(src, "stopped", clone));
    ISCSILIBLUN cloning(clone, false, false, false);
    ASSERT_EQ(0, cloning.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_STATUS | ISCSI::ISCSI_LUN_LOAD_SYNC_PROGRESS));
    EXPECT_EQ("cloning", cloning.status);
    EXPECT_LT(cloning.sync_done, 16 * kMiB);
    // A clone being made is no source, and its name is taken.
    std::string again;
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_NOT_READY, Clone(clone, "of-clone", again));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_NAME_EXISTS, Clone(src, "stopped", again));

    // The source is not deleted under the clone that reads it.
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_IN_CLONE, ISCSILIBLUN(src, false, false, false).deleteLUN());

    ASSERT_EQ(0, cloning.stopClone());
    const ISCSI::Storage::JobRecord job = WaitFor("clone", clone);
    EXPECT_EQ("cancelled", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_CANCELLED, job.errorCode);
    EXPECT_EQ(kNoSuchLUN, ISCSILIBLUN(clone, false, false, false).loadLUNInfo(0));
    EXPECT_FALSE(fs::exists(Image(vol1_, clone)));
    EXPECT_FALSE(fs::exists(Image(vol1_, clone) + ".cloning"));
    // Nothing runs any more.
    EXPECT_EQ(ISCSI::ISCSI_ERR_NO_RUNNING_JOB, cloning.stopClone());
    EXPECT_EQ(0, ISCSILIBLUN(src, false, false, false).retryStop(src));
}

TEST_F(CloneTest, StopThroughTheSourceAndRetryStop)
{
    const std::string src = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 64 * kMiB);
    WriteAt(Image(vol1_, src), 0, std::string(16 * kMiB, 'y'));
    ISCSI::Storage::SetCopyRateLimit(kMiB);
    std::string clone;
    ASSERT_EQ(0, Clone(src, "by-source", clone));
    ISCSILIBLUN source(src, false, false, false);
    ASSERT_EQ(0, source.retryStop(src));
    EXPECT_EQ("cancelled", WaitFor("clone", clone).state);
    EXPECT_EQ(kNoSuchLUN, ISCSILIBLUN(clone, false, false, false).loadLUNInfo(0));
    EXPECT_EQ(kNoSuchLUN, source.retryStop("00000000-0000-4000-8000-000000000000"));
}

TEST_F(CloneTest, DeleteParentAndMappingStep)
{
    const std::string src = CreateLUN("parent", ISCSI_LUN_TYPE_THIN, 4 * kMiB);
    WriteAt(Image(vol1_, src), 0, "keep me");
    std::string clone;
    ASSERT_EQ(0, Clone(src, "child", clone, 0, "", true));
    const ISCSI::Storage::JobRecord job = WaitFor("clone", clone);
    EXPECT_EQ("done", job.state);
    EXPECT_EQ(0, job.errorCode);
    EXPECT_EQ(kNoSuchLUN, ISCSILIBLUN(src, false, false, false).loadLUNInfo(0));
    EXPECT_FALSE(fs::exists(Image(vol1_, src)));
    EXPECT_EQ("keep me", ReadAll(Image(vol1_, clone)).substr(0, 7));

    // Mapping to a target that does not exist fails after the copy: the clone stays, and the
    // mapping's code is its figure.
    std::string mapped;
    ASSERT_EQ(0, Clone(clone, "mapped", mapped, 0, "", false, {987654}));
    const ISCSI::Storage::JobRecord mapJob = WaitFor("clone", mapped);
    EXPECT_EQ("done", mapJob.state);
    EXPECT_NE(0, mapJob.errorCode);
    ISCSILIBLUN loaded(mapped, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_SYNC_PROGRESS));
    EXPECT_EQ(mapJob.errorCode, loaded.sync_errno);
}

TEST_F(CloneTest, Cloneability)
{
    const std::string src = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 4 * kMiB);
    EXPECT_EQ(0, ISCSILIBLUN::TestCloneability(Image(vol1_, src), "/volume2"));
    EXPECT_EQ(0, ISCSILIBLUN::TestCloneability("/volume1/@iscsi/" + src + ".img", "/volume1"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_CLONEABLE, ISCSILIBLUN::TestCloneability(Image(vol1_, src), ""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_CLONEABLE, ISCSILIBLUN::TestCloneability(Image(vol1_, src), "/volume9"));
    const std::string stray = vol1_ + "/stray.img";
    std::ofstream(stray) << "x";
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_CLONEABLE, ISCSILIBLUN::TestCloneability(stray, "/volume1"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_CLONEABLE, ISCSILIBLUN::TestCloneability(root_ + "/none.img", "/volume1"));
}

TEST_F(CloneTest, CloneOnBtrfsSharesExtents)
{
    // A btrfs file system: KOVA_TEST_BTRFS_DIR, else (as root) a loop volume for the test.
    BtrfsVolume btrfs("kova-clone-btrfs", false);
    if (btrfs.dir.empty()) {
        std::printf("SKIPPED: %s\n", btrfs.reason.c_str());
        GTEST_SKIP() << btrfs.reason;
    }
    std::string pattern = btrfs.dir + "/kova-clone-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(&pattern[0]));
    UseVolumes({pattern + "/v1", pattern + "/v2"});
    const std::string src = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 96 * kMiB);
    WriteAt(Image(vol1_, src), 0, std::string(64 * kMiB, 'b'));
    struct statvfs before {};
    ASSERT_EQ(0, statvfs(vol1_.c_str(), &before));

    std::string clone;
    ASSERT_EQ(0, Clone(src, "reflinked", clone));
    EXPECT_EQ("done", WaitFor("clone", clone).state);
    struct statvfs after {};
    ASSERT_EQ(0, statvfs(vol1_.c_str(), &after));
    EXPECT_EQ(ReadAll(Image(vol1_, src)), ReadAll(Image(vol1_, clone)));
    // A reflink takes (almost) no space: far less than the 64 MiB of data.
    const long long usedBytes =
        (static_cast<long long>(before.f_bavail) - static_cast<long long>(after.f_bavail)) *
        static_cast<long long>(after.f_frsize);
    EXPECT_LT(usedBytes, static_cast<long long>(16 * kMiB));
    WriteAt(Image(vol1_, clone), 0, "own");
    EXPECT_EQ("bbb", ReadAll(Image(vol1_, src)).substr(0, 3));
    LibraryContext::Reset();
    std::error_code ec;
    fs::remove_all(pattern, ec);
}

} // namespace
