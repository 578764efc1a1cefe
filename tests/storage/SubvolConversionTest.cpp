// The conversion of a volume's LUN files into one btrfs subvolume each: data unchanged,
// snapshots still restored, progress and status, the refusals of the feasibility check, and a
// conversion cut off by the death of its process (killed, or left in each in-flight state).
// The btrfs tests run on a btrfs loop volume as root and print SKIPPED without one.
#include "StorageTestSupport.h"

#include "clone/CopyEngine.h"
#include "config/ConfigDB.h"
#include "lun/LUNStore.h"
#include "node/SubvolConversion.h"

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBNode.h>
#include <iscsi/ISCSILIBTarget.h>

#include <fcntl.h>
#include <linux/btrfs.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <thread>

namespace {

using namespace KovaStorageTest;
using ISCSI::LIB::LIBNode::ISCSILIBNode;
using ISCSI::LIB::LIBTarget::ISCSILIBTarget;
using ISCSI::Storage::LUNRow;

constexpr int kFeasibilityHard = 18990335;

std::string Digest(const std::string& path)
{
    std::string digest;
    EXPECT_EQ(0, ISCSI::Storage::ContentDigest(path, digest)) << path;
    return digest;
}

bool IsSubvolume(const std::string& path)
{
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_ino == 256;
}

_tag_iscsi_conv_to_subvol_progress_ Progress(const std::string& root)
{
    _tag_iscsi_conv_to_subvol_progress_ progress{};
    EXPECT_EQ(0, ISCSILIBNode().getSubvolConvProgress(root, &progress));
    return progress;
}

bool AllNormal()
{
    bool normal = false;
    EXPECT_EQ(0, ISCSILIBNode().checkAllSubvolConvStatusNormal(normal));
    return normal;
}

class SubvolConversionTest : public StorageLibraryWithoutTgtdTest {
protected:
    SubvolConversionTest() : StorageLibraryWithoutTgtdTest("subvol") {}

    void TearDown() override
    {
        StorageLibraryWithoutTgtdTest::TearDown();
        LibraryContext::Reset();
        std::error_code ec;
        if (!volumeDir_.empty())
            fs::remove_all(volumeDir_, ec);
        btrfs_.reset();
    }

    // Runs the library with /volume1 on a new directory of a btrfs file system; false (the
    // test is skipped) when there is none.
    bool UseBtrfs()
    {
        btrfs_ = std::make_unique<BtrfsVolume>("kova-subvol-loop", true);
        if (btrfs_->dir.empty()) {
            std::printf("SKIPPED: %s\n", btrfs_->reason.c_str());
            return false;
        }
        std::string pattern = btrfs_->dir + "/kova-subvol-XXXXXX";
        if (!mkdtemp(&pattern[0]))
            return false;
        volumeDir_ = pattern;
        UseVolumes({volumeDir_});
        return true;
    }

    static LUNRow Row(const std::string& uuid)
    {
        LUNRow row;
        EXPECT_EQ(0, LibraryContext::With([&](LibraryContext& ctx) {
                      return ISCSI::Storage::FindLUNByUuid(ctx.db(), uuid, row);
                  }));
        return row;
    }

    static std::string DataPath(const std::string& uuid)
    {
        const LUNRow row = Row(uuid);
        std::string path;
        LibraryContext::With([&](LibraryContext& ctx) {
            path = ISCSI::Storage::LunDataPath(ctx, row);
            return 0;
        });
        return path;
    }

    std::string SubvolDir(const std::string& uuid) const { return vol1_ + "/@iscsi/" + uuid + ".subvol"; }

    // The LUN is wholly in its old file or wholly in its subvolume, as its row says.
    void ExpectWhole(const std::string& uuid, const std::string& digest)
    {
        const LUNRow row = Row(uuid);
        if (ISCSI::Storage::LunInSubvolume(row)) {
            EXPECT_TRUE(IsSubvolume(SubvolDir(uuid))) << uuid;
            EXPECT_FALSE(fs::exists(Image(uuid))) << uuid;
        } else {
            EXPECT_EQ("@iscsi/" + uuid + ".img", row.file_path);
            EXPECT_FALSE(fs::exists(SubvolDir(uuid))) << uuid;
        }
        EXPECT_EQ(digest, Digest(DataPath(uuid))) << uuid;
    }

    std::string Take(const std::string& lunUuid, const std::string& name)
    {
        std::string snapshot;
        int id = 0;
        EXPECT_EQ(0, ISCSILIBLUN(lunUuid, false, false, false)
                         .takeSnapshot(false, false, name, "", "admin", 0, false, "", "", snapshot, id));
        return snapshot;
    }

    static ISCSI::Storage::JobRecord Convert(const std::string& root)
    {
        EXPECT_EQ(0, ISCSILIBNode().subvolConvert(root));
        return WaitFor(ISCSI::Storage::kSubvolConvertJobKind, "/volume1");
    }

    std::unique_ptr<BtrfsVolume> btrfs_;
    std::string volumeDir_;
};

TEST_F(SubvolConversionTest, MovesEachLunIntoItsSubvolumeWithItsDataAndSnapshots)
{
    if (!UseBtrfs())
        GTEST_SKIP() << btrfs_->reason;
    const std::string thin = CreateLUN("thin", ISCSI_LUN_TYPE_THIN, 64 * kMiB);
    const std::string thick = CreateLUN("thick", ISCSI_LUN_TYPE_FILE, 8 * kMiB);
    WriteAt(Image(thin), 0, std::string(kMiB, 'a'));
    WriteAt(Image(thin), 40 * kMiB, "before");
    WriteAt(Image(thick), 4 * kMiB, std::string(kMiB, 'k'));
    const std::string before = Take(thin, "before");
    WriteAt(Image(thin), 40 * kMiB, "after!");
    const std::string thinDigest = Digest(Image(thin));
    const std::string thickDigest = Digest(Image(thick));
    const unsigned long long thinAllocated = Allocated(Image(thin));

    std::vector<std::string> reasons;
    EXPECT_EQ(0, ISCSILIBNode().subvolConvFeasibilityCheck("/volume1", reasons));
    EXPECT_TRUE(reasons.empty());
    EXPECT_STREQ("none", Progress("/volume1").status);

    const ISCSI::Storage::JobRecord job = Convert("/volume1");
    EXPECT_EQ("done", job.state);
    EXPECT_EQ(0, job.errorCode);

    const auto progress = Progress("/volume1");
    EXPECT_STREQ("done", progress.status);
    EXPECT_EQ(0, progress.err_no);
    EXPECT_EQ(2, progress.total_number);
    EXPECT_EQ(2, progress.done_number);
    EXPECT_EQ(72 * kMiB, progress.total_size);
    EXPECT_EQ(72 * kMiB, progress.done_size);
    EXPECT_EQ(36u, std::string(progress.uuid).size());
    EXPECT_STREQ(progress.uuid, Progress("").uuid);    // the newest conversion of any volume
    EXPECT_STREQ(progress.uuid, Progress(vol1_).uuid); // the volume named by its directory
    EXPECT_TRUE(AllNormal());

    for (const std::string& uuid : {thin, thick}) {
        EXPECT_EQ("@iscsi/" + uuid + ".subvol/" + uuid + ".img", Row(uuid).file_path);
        EXPECT_TRUE(IsSubvolume(SubvolDir(uuid)));
        EXPECT_FALSE(fs::exists(Image(uuid)));
    }
    EXPECT_EQ(thinDigest, Digest(DataPath(thin)));
    EXPECT_EQ(thickDigest, Digest(DataPath(thick)));
    EXPECT_EQ(thinAllocated, Allocated(DataPath(thin))); // holes stay holes
    EXPECT_GE(Allocated(DataPath(thick)), 8 * kMiB);     // a thick LUN stays allocated

    // A snapshot taken before the conversion restores into the subvolume.
    ASSERT_EQ(0, ISCSILIBLUN(thin, false, false, false).restoreSnapshot(before));
    EXPECT_EQ("before", ReadAt(DataPath(thin), 40 * kMiB, 6));
    EXPECT_EQ(std::string(kMiB, 'a'), ReadAt(DataPath(thin), 0, kMiB));
    EXPECT_FALSE(fs::exists(DataPath(thin) + ".restoring"));
    // So does one taken after it.
    WriteAt(DataPath(thin), 40 * kMiB, "later!");
    const std::string later = Take(thin, "later");
    WriteAt(DataPath(thin), 40 * kMiB, "gone..");
    ASSERT_EQ(0, ISCSILIBLUN(thin, false, false, false).restoreSnapshot(later));
    EXPECT_EQ("later!", ReadAt(DataPath(thin), 40 * kMiB, 6));
    // A snapshot of a LUN in a subvolume is a snapshot of that subvolume.
    const std::string snapshots = vol1_ + "/@iscsi/snapshots/" + thin;
    EXPECT_TRUE(IsSubvolume(snapshots + "/" + later + ".subvol"));
    EXPECT_EQ("later!", ReadAt(snapshots + "/" + later + ".subvol/" + thin + ".img", 40 * kMiB, 6));
    EXPECT_TRUE(fs::exists(snapshots + "/" + before + ".img")); // one taken before stays a file
    const std::string third = Take(thin, "third");
    ASSERT_TRUE(IsSubvolume(snapshots + "/" + third + ".subvol"));
    ASSERT_EQ(0, ISCSILIBLUN(thin, false, false, false).deleteSnapshot(third, "admin"));
    EXPECT_FALSE(fs::exists(snapshots + "/" + third + ".subvol"));
    // A snapshot subvolume that no row names (a taking cut off) goes at start.
    const std::string orphan = Take(thin, "orphan");
    LibraryContext::With([&](LibraryContext& ctx) {
        ISCSI::Storage::Statement remove(ctx.db(), "DELETE FROM snapshots WHERE uuid = ?1;");
        return remove.bind(1, orphan).run() ? 0 : ISCSI::ISCSI_ERR_DATABASE;
    });
    LibraryContext::Reset();
    LibraryContext::With([](LibraryContext&) { return 0; }); // starts as a restarted process
    EXPECT_FALSE(fs::exists(snapshots + "/" + orphan + ".subvol"));
    EXPECT_TRUE(IsSubvolume(snapshots + "/" + later + ".subvol"));

    // A restart keeps the LUNs where they are.
    LibraryContext::Reset();
    EXPECT_EQ(thickDigest, Digest(DataPath(thick)));
    EXPECT_TRUE(IsSubvolume(SubvolDir(thick)));

    // A second conversion has nothing left to do; a new LUN is converted by the next one.
    const std::string fresh = CreateLUN("fresh", ISCSI_LUN_TYPE_THIN, 4 * kMiB);
    WriteAt(Image(fresh), 0, "fresh data");
    EXPECT_EQ("done", Convert("/volume1").state);
    EXPECT_EQ(1, Progress("/volume1").total_number);
    EXPECT_TRUE(ISCSI::Storage::LunInSubvolume(Row(fresh)));
    EXPECT_EQ("fresh data", ReadAt(DataPath(fresh), 0, 10));
    EXPECT_EQ("done", Convert("/volume1").state);
    EXPECT_EQ(0, Progress("/volume1").total_number);

    // Deleting a converted LUN removes its subvolume.
    ASSERT_EQ(0, ISCSILIBLUN(thin, false, false, false).deleteLUN());
    EXPECT_FALSE(fs::exists(SubvolDir(thin)));
    EXPECT_FALSE(fs::exists(snapshots)); // with its snapshots, subvolumes or files
    EXPECT_TRUE(IsSubvolume(SubvolDir(thick)));
}

// A converted LUN moved to another volume leaves its subvolume for a plain file there.
TEST_F(SubvolConversionTest, MoveOfAConvertedLunLeavesItsSubvolume)
{
    if (!UseBtrfs())
        GTEST_SKIP() << btrfs_->reason;
    UseVolumes({volumeDir_, root_ + "/plain"});
    const std::string lun = CreateLUN("mover", 8 * kMiB);
    WriteAt(Image(lun), 3 * kMiB, "moving data");
    const std::string digest = Digest(Image(lun));
    EXPECT_EQ("done", Convert("/volume1").state);
    ASSERT_TRUE(ISCSI::Storage::LunInSubvolume(Row(lun)));

    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false)
                     .localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "/volume2", 0, 0, ""));
    const ISCSI::Storage::JobRecord move = WaitFor("move", lun);
    EXPECT_EQ("done", move.state);
    const LUNRow row = Row(lun);
    EXPECT_EQ("/volume2", row.location);
    EXPECT_EQ("@iscsi/" + lun + ".img", row.file_path);
    EXPECT_EQ(digest, Digest(Image(vol2_, lun)));
    EXPECT_FALSE(fs::exists(SubvolDir(lun)));
}

TEST_F(SubvolConversionTest, RefusedWhereTheVolumeIsNotBtrfs)
{
    if (FileSystemType(vol1_) == kBtrfsMagic)
        GTEST_SKIP() << "the temporary directory is on btrfs";
    CreateLUN("plain", 4 * kMiB);
    std::vector<std::string> reasons;
    EXPECT_EQ(kFeasibilityHard, ISCSILIBNode().subvolConvFeasibilityCheck("/volume1", reasons));
    ASSERT_EQ(1u, reasons.size());
    EXPECT_NE(std::string::npos, reasons[0].find("not btrfs")) << reasons[0];
    if (FileSystemType(vol1_) == kExt4Magic) {
        EXPECT_NE(std::string::npos, reasons[0].find("ext2/ext3/ext4")) << reasons[0];
    }
    EXPECT_EQ(kFeasibilityHard, ISCSILIBNode().subvolConvert("/volume1"));
    EXPECT_STREQ("none", Progress("/volume1").status);
    EXPECT_TRUE(AllNormal());

    // A root path that is no volume.
    reasons.clear();
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_A_VOLUME, ISCSILIBNode().subvolConvFeasibilityCheck("/volume9", reasons));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_A_VOLUME, ISCSILIBNode().subvolConvert(root_));
    _tag_iscsi_conv_to_subvol_progress_ progress{};
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_A_VOLUME, ISCSILIBNode().getSubvolConvProgress("/volume9", &progress));
}

TEST_F(SubvolConversionTest, RefusedWhileALunIsInUse)
{
    if (!UseBtrfs())
        GTEST_SKIP() << btrfs_->reason;
    const std::string lun = CreateLUN("served", 4 * kMiB);
    const std::string other = CreateLUN("other", 4 * kMiB);
    ISCSILIBTarget enabled("t1", "iqn.2026-11.com.example:t1", true, false, false, 262144, 262144, 1,
                           ISCSI_AUTH_TYPE_NONE, "", "", "", "", false);
    ASSERT_EQ(0, enabled.createTarget());
    ISCSILIBTarget disabled("t2", "iqn.2026-11.com.example:t2", false, false, false, 262144, 262144, 1,
                            ISCSI_AUTH_TYPE_NONE, "", "", "", "", false);
    ASSERT_EQ(0, disabled.createTarget());
    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).mapTarget({static_cast<int>(enabled.tid)}));
    ASSERT_EQ(0, ISCSILIBLUN(other, false, false, false).mapTarget({static_cast<int>(disabled.tid)}));

    std::vector<std::string> reasons;
    EXPECT_EQ(kFeasibilityHard, ISCSILIBNode().subvolConvFeasibilityCheck("/volume1", reasons));
    ASSERT_EQ(1u, reasons.size()); // a LUN on a disabled target is not in use
    EXPECT_NE(std::string::npos, reasons[0].find("served (" + lun + ")")) << reasons[0];
    EXPECT_NE(std::string::npos, reasons[0].find("enabled target t1")) << reasons[0];
    EXPECT_EQ(kFeasibilityHard, ISCSILIBNode().subvolConvert("/volume1"));
    EXPECT_FALSE(ISCSI::Storage::LunInSubvolume(Row(other))); // nothing started

    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).unmapTarget({static_cast<int>(enabled.tid)}));
    if (CanUseLoopDevices()) {
        std::string device;
        ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).loopMount(device));
        reasons.clear();
        EXPECT_EQ(kFeasibilityHard, ISCSILIBNode().subvolConvFeasibilityCheck("/volume1", reasons));
        ASSERT_EQ(1u, reasons.size());
        EXPECT_NE(std::string::npos, reasons[0].find("loop device " + device)) << reasons[0];
        ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).loopUnmount());
    }
    reasons.clear();
    EXPECT_EQ(0, ISCSILIBNode().subvolConvFeasibilityCheck("/volume1", reasons));
    EXPECT_EQ("done", Convert("/volume1").state);
    EXPECT_TRUE(ISCSI::Storage::LunInSubvolume(Row(other)));
}

TEST_F(SubvolConversionTest, RefusedWithoutSpaceForTheLargestLun)
{
    if (!UseBtrfs())
        GTEST_SKIP() << btrfs_->reason;
    // Only on the test's own small loop volume can the free space be used up.
    if (btrfs_->dir == "/tmp" || std::getenv("KOVA_TEST_BTRFS_DIR") != nullptr) {
        std::printf("SKIPPED: the btrfs file system is not the test's own\n");
        GTEST_SKIP() << "the btrfs file system is not the test's own";
    }
    CreateLUN("big", ISCSI_LUN_TYPE_FILE, 64 * kMiB); // thick: 64 MiB allocated
    const std::string filler = volumeDir_ + "/filler";
    const int fd = ::open(filler.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    // Use up the free space in 8 MiB pieces (a bounded number of them).
    off_t filled = 0;
    for (int piece = 0; piece < 64 && ::fallocate(fd, 0, filled, static_cast<off_t>(8 * kMiB)) == 0; ++piece)
        filled += static_cast<off_t>(8 * kMiB);
    ::syncfs(fd);
    ::close(fd);
    std::vector<std::string> reasons;
    EXPECT_EQ(kFeasibilityHard, ISCSILIBNode().subvolConvFeasibilityCheck("/volume1", reasons));
    ASSERT_EQ(1u, reasons.size());
    EXPECT_NE(std::string::npos, reasons[0].find("not enough space on /volume1")) << reasons[0];
    std::remove(filler.c_str());
}

// The states a process can die in while one LUN is in flight: before the row names the
// subvolume (rolled back at start) and after (finished at start).
TEST_F(SubvolConversionTest, StartSettlesTheLunThatWasInFlight)
{
    if (!UseBtrfs())
        GTEST_SKIP() << btrfs_->reason;
    const std::string early = CreateLUN("early", 8 * kMiB);
    const std::string late = CreateLUN("late", 8 * kMiB);
    WriteAt(Image(early), kMiB, "early data");
    WriteAt(Image(late), kMiB, "late data");
    const std::string earlyDigest = Digest(Image(early));
    const std::string lateDigest = Digest(Image(late));

    // What a conversion leaves in each state, made by hand.
    auto makeSubvolume = [&](const std::string& uuid) {
        const int parent = ::open((vol1_ + "/@iscsi").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ASSERT_GE(parent, 0);
        struct btrfs_ioctl_vol_args args {};
        const std::string name = uuid + ".subvol";
        name.copy(args.name, BTRFS_PATH_NAME_MAX);
        ASSERT_EQ(0, ::ioctl(parent, BTRFS_IOC_SUBVOL_CREATE, &args));
        ::close(parent);
        ASSERT_EQ(0, ISCSI::Storage::CopyLunImage(Image(uuid), SubvolDir(uuid) + "/" + uuid + ".img", true,
                                                  nullptr));
    };
    makeSubvolume(early); // the copy is made, the row not switched
    makeSubvolume(late);  // the row switched, the old file not removed yet
    ASSERT_EQ(0, LibraryContext::With([&](LibraryContext& ctx) {
                  LUNRow row;
                  ISCSI::Storage::FindLUNByUuid(ctx.db(), late, row);
                  row.file_path = ISCSI::Storage::SubvolLunFilePath(late);
                  ISCSI::Storage::Statement insert(
                      ctx.db(), "INSERT INTO subvol_conversions (uuid, root_path, job_uuid, current_lun, "
                                "started_at) VALUES (?1, '/volume1', '', ?2, 1);");
                  ISCSI::Storage::Statement second(
                      ctx.db(), "INSERT INTO subvol_conversions (uuid, root_path, job_uuid, current_lun, "
                                "started_at) VALUES (?1, '/volume1', '', ?2, 2);");
                  const bool ok = insert.bind(1, ISCSI::Storage::NewUuid()).bind(2, early).run() &&
                                  second.bind(1, ISCSI::Storage::NewUuid()).bind(2, late).run();
                  return ok ? ISCSI::Storage::UpdateLUNRow(ctx.db(), row) : ISCSI::ISCSI_ERR_DATABASE;
              }));
    ASSERT_TRUE(fs::exists(Image(late)));

    LibraryContext::Reset(); // the next use starts the library as a restarted process would
    ExpectWhole(early, earlyDigest);
    ExpectWhole(late, lateDigest);
    EXPECT_FALSE(ISCSI::Storage::LunInSubvolume(Row(early)));
    EXPECT_TRUE(ISCSI::Storage::LunInSubvolume(Row(late)));
    int inFlight = -1;
    LibraryContext::With([&](LibraryContext& ctx) {
        ISCSI::Storage::Statement count(ctx.db(),
                                        "SELECT COUNT(*) FROM subvol_conversions WHERE current_lun <> '';");
        if (count.step() == SQLITE_ROW)
            inFlight = static_cast<int>(count.integer(0));
        return 0;
    });
    EXPECT_EQ(0, inFlight);
}

// A conversion in another process, killed (SIGKILL) once it has converted some LUNs: after a
// restart each LUN is whole in one place, the conversion reads "interrupted" and a new one
// converts what remains.
TEST_F(SubvolConversionTest, KilledConversionLeavesEachLunWholeAndResumes)
{
    if (!UseBtrfs())
        GTEST_SKIP() << btrfs_->reason;
    constexpr int kLuns = 24;
    std::map<std::string, std::string> digests;
    for (int i = 0; i < kLuns; ++i) {
        const std::string uuid = CreateLUN("k" + std::to_string(i), 2 * kMiB);
        WriteAt(Image(uuid), 4096 * i, "data of LUN " + std::to_string(i));
        digests[uuid] = Digest(Image(uuid));
    }
    LibraryContext::Reset(); // the child owns the data directory while it runs

    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const int rc = ISCSILIBNode().subvolConvert("/volume1");
        if (rc == 0)
            ISCSI::Storage::WaitJob(Latest(ISCSI::Storage::kSubvolConvertJobKind, "/volume1").uuid);
        ::_exit(rc == 0 ? 0 : 1);
    }
    // Watch the database (read only) until a few LUNs are converted, then kill the child.
    int seen = 0;
    bool opened = false;
    std::string error;
    {
        ISCSI::Storage::ConfigDB db;
        opened = db.open(dataDir_ + "/iscsi.db", error);
        for (int poll = 0; opened && poll < 20000 && seen < 3; ++poll) {
            ISCSI::Storage::Statement query(db,
                                            "SELECT COALESCE(MAX(done_number), 0) FROM subvol_conversions;");
            if (query.step() == SQLITE_ROW)
                seen = static_cast<int>(query.integer(0));
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    }
    ASSERT_EQ(0, ::kill(child, SIGKILL));
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_TRUE(opened) << error;
    std::printf("killed the conversion after %d of %d LUNs were seen converted\n", seen, kLuns);

    // The restart settles what the child left.
    const auto progress = Progress("/volume1");
    int converted = 0;
    for (const auto& lun : digests) {
        ExpectWhole(lun.first, lun.second);
        converted += ISCSI::Storage::LunInSubvolume(Row(lun.first)) ? 1 : 0;
    }
    EXPECT_EQ(progress.done_number, converted);
    if (converted < kLuns) {
        EXPECT_STREQ("interrupted", progress.status);
        EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_INTERRUPTED, progress.err_no);
        EXPECT_FALSE(AllNormal());
    }
    for (const auto& entry : fs::directory_iterator(vol1_ + "/@iscsi")) {
        const std::string name = entry.path().filename().string();
        if (name.size() > 7 && name.compare(name.size() - 7, 7, ".subvol") == 0) {
            EXPECT_TRUE(ISCSI::Storage::LunInSubvolume(Row(name.substr(0, name.size() - 7)))) << name;
        }
    }

    // A new conversion converts the rest.
    EXPECT_EQ("done", Convert("/volume1").state);
    EXPECT_EQ(kLuns - converted, Progress("/volume1").total_number);
    for (const auto& lun : digests) {
        EXPECT_TRUE(ISCSI::Storage::LunInSubvolume(Row(lun.first)));
        ExpectWhole(lun.first, lun.second);
    }
    EXPECT_TRUE(AllNormal());
}

} // namespace
