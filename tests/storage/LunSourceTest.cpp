// LUNs made from a source file or directory, BLOCK LUNs on a block device, type changes, moves
// between volumes (a job), and LUNs on a volume marked as a remote disk.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "StorageTestSupport.h"
#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace KovaStorageTest;

class LunSourceTest : public StorageLibraryTest {
protected:
    LunSourceTest() : StorageLibraryTest("lunsrc", {"vol1", "vol2", "vol3,remote-disk"}) {}

    void TearDown() override
    {
        LibraryContext::Reset();
        for (const std::string& device : loops_)
            std::system(("losetup -d " + device + " 2>/dev/null").c_str());
        StorageLibraryTest::TearDown();
    }

    // A sparse source image of size bytes in volume 1 with "HEAD" at 0 and "TAIL" near its end.
    std::string MakeSource(const std::string& relative, unsigned long long size)
    {
        const std::string path = vol1_ + "/" + relative;
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path).close();
        fs::resize_file(path, size);
        WriteAt(path, 0, "HEAD");
        WriteAt(path, static_cast<off_t>(size - 4096), "TAIL");
        return path;
    }

    int CreateFrom(const std::string& name, _tag_iscsi_lun_type type, unsigned long long size,
                   const std::string& dir, const std::string& file, std::string* uuid = nullptr,
                   const std::string& location = "/volume1")
    {
        ISCSILIBLUN lun(name, type, location, size, 8192, 0, 0, "", false);
        const int rc = lun.createLUN(dir, file);
        if (uuid)
            *uuid = lun.uuid;
        return rc;
    }

    ISCSILUNInfo Load(const std::string& uuid)
    {
        ISCSILIBLUN lun(uuid, false, false, false);
        EXPECT_EQ(0, lun.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_ALL));
        return lun;
    }

    // Waits for the newest move job of the LUN and answers its final code.
    int WaitMove(const std::string& uuid)
    {
        int rc = 0;
        Latest("move", uuid, &rc);
        if (rc != 0)
            return rc;
        const ISCSI::Storage::JobRecord job = WaitFor("move", uuid);
        EXPECT_NE("running", job.state);
        return job.errorCode;
    }

    // A loop device over a new file of size bytes (root only); empty when none can be made.
    std::string MakeLoopDevice(unsigned long long size)
    {
        const std::string backing = root_ + "/device-" + std::to_string(loops_.size()) + ".raw";
        std::ofstream(backing).close();
        fs::resize_file(backing, size);
        FILE* out = ::popen(("losetup -f --show " + backing + " 2>/dev/null").c_str(), "r");
        if (!out)
            return std::string();
        char line[128] = {0};
        const bool got = std::fgets(line, sizeof line, out) != nullptr;
        ::pclose(out);
        std::string device = got ? std::string(line) : std::string();
        while (!device.empty() && (device.back() == '\n' || device.back() == ' '))
            device.pop_back();
        if (!device.empty())
            loops_.push_back(device);
        return device;
    }

    std::vector<std::string> loops_;
};

TEST_F(LunSourceTest, FromSourceFileCopiesDataAndKeepsHoles)
{
    MakeSource("images/disk.img", 64 * kMiB);
    std::string uuid;
    ASSERT_EQ(0, CreateFrom("copy", ISCSI_LUN_TYPE_THIN, 0, "", "/volume1/images/disk.img", &uuid));
    const std::string image = Image(vol1_, uuid);
    EXPECT_EQ(64 * kMiB, fs::file_size(image));
    EXPECT_EQ("HEAD", ReadAt(image, 0, 4));
    EXPECT_EQ("TAIL", ReadAt(image, static_cast<off_t>(64 * kMiB - 4096), 4));
    EXPECT_LT(Allocated(image), 4 * kMiB) << "the holes of the source must stay holes";
    EXPECT_EQ(64 * kMiB, Load(uuid).size);
    // The source is untouched, and the LUN is a copy: writing one does not change the other.
    WriteAt(image, 0, "LUN!");
    EXPECT_EQ("HEAD", ReadAt(vol1_ + "/images/disk.img", 0, 4));
}

TEST_F(LunSourceTest, FromSourceWithLargerSizeGrowsAndThickAllocates)
{
    MakeSource("disk.img", 8 * kMiB);
    std::string uuid;
    ASSERT_EQ(0, CreateFrom("big", ISCSI_LUN_TYPE_FILE, 16 * kMiB, "", vol1_ + "/disk.img", &uuid));
    const std::string image = Image(vol1_, uuid);
    EXPECT_EQ(16 * kMiB, fs::file_size(image));
    EXPECT_GE(Allocated(image), 16 * kMiB) << "a thick LUN has every block";
    EXPECT_EQ("TAIL", ReadAt(image, static_cast<off_t>(8 * kMiB - 4096), 4));
    // A size below the source's is refused, and nothing is left behind.
    EXPECT_EQ(kInvalidSize, CreateFrom("small", ISCSI_LUN_TYPE_THIN, 4 * kMiB, "", "/volume1/disk.img"));
}

TEST_F(LunSourceTest, FromSourceDirectoryTakesItsOneImage)
{
    MakeSource("lundir/lun.img", 4 * kMiB);
    std::ofstream(vol1_ + "/lundir/notes.txt") << "not an image";
    std::string uuid;
    ASSERT_EQ(0, CreateFrom("fromdir", ISCSI_LUN_TYPE_THIN, 0, "/volume1/lundir", "", &uuid));
    EXPECT_EQ("HEAD", ReadAt(Image(vol1_, uuid), 0, 4));
    // A file name relative to the directory.
    ASSERT_EQ(0, CreateFrom("named", ISCSI_LUN_TYPE_THIN, 0, "/volume1/lundir", "lun.img", &uuid));
    EXPECT_EQ(4 * kMiB, fs::file_size(Image(vol1_, uuid)));
    // Two images: which one is meant is unclear.
    MakeSource("lundir/second.img", kMiB);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SOURCE, CreateFrom("two", ISCSI_LUN_TYPE_THIN, 0, "/volume1/lundir", ""));
    // No image at all, and a directory that is no directory.
    fs::create_directories(vol1_ + "/empty");
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SOURCE, CreateFrom("none", ISCSI_LUN_TYPE_THIN, 0, "/volume1/empty", ""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SOURCE,
              CreateFrom("none", ISCSI_LUN_TYPE_THIN, 0, "/volume1/missing", ""));
}

TEST_F(LunSourceTest, SourcesOutsideTheVolumesAreRefused)
{
    MakeSource("disk.img", kMiB);
    fs::create_symlink("/etc/passwd", vol1_ + "/passwd.img");
    fs::create_directories(vol1_ + "/linkdir");
    fs::create_symlink("/etc/passwd", vol1_ + "/linkdir/evil.img");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES,
              CreateFrom("x", ISCSI_LUN_TYPE_THIN, 0, "", "/etc/passwd"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_DOT_DOT,
              CreateFrom("x", ISCSI_LUN_TYPE_THIN, 0, "", "/volume1/../../etc/passwd"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_DOT_DOT,
              CreateFrom("x", ISCSI_LUN_TYPE_THIN, 0, "/volume1", "../disk.img"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME,
              CreateFrom("x", ISCSI_LUN_TYPE_THIN, 0, "", "/volume1/passwd.img"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_NOT_ABSOLUTE, CreateFrom("x", ISCSI_LUN_TYPE_THIN, 0, "", "disk.img"));
    // A link in a source directory is not taken as its image.
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SOURCE, CreateFrom("x", ISCSI_LUN_TYPE_THIN, 0, "/volume1/linkdir", ""));
    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    EXPECT_TRUE(luns.empty());
}

// A source that is a hard link to a file outside the volumes, or no regular file, is refused.
TEST_F(LunSourceTest, HardLinkedAndSpecialSourcesAreRefused)
{
    const std::string host = root_ + "/host.img";
    std::ofstream(host) << "a file of the host outside every volume";
    fs::create_hard_link(host, vol1_ + "/hard.img");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_NOT_PLAIN_FILE,
              CreateFrom("x", ISCSI_LUN_TYPE_THIN, 0, "", "/volume1/hard.img"));
    ASSERT_EQ(0, ::mkfifo((vol1_ + "/pipe.img").c_str(), 0600));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_NOT_PLAIN_FILE,
              CreateFrom("x", ISCSI_LUN_TYPE_THIN, 0, "", "/volume1/pipe.img"));
    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    EXPECT_TRUE(luns.empty());
}

TEST_F(LunSourceTest, ThinBecomesThickWithEveryBlockAndBack)
{
    std::string uuid;
    ASSERT_EQ(0,
              CreateFrom("t", ISCSI_LUN_TYPE_THIN, 0, "",
                         "/volume1/" + fs::path(MakeSource("s.img", 8 * kMiB)).filename().string(), &uuid));
    const std::string image = Image(vol1_, uuid);
    ASSERT_LT(Allocated(image), kMiB);
    ISCSILIBLUN lun(uuid, false, false, false);
    ASSERT_EQ(0, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_FILE, "", 0, 0, ""));
    EXPECT_EQ(ISCSI_LUN_TYPE_FILE, Load(uuid).type);
    EXPECT_GE(Allocated(image), 8 * kMiB);
    EXPECT_EQ("HEAD", ReadAt(image, 0, 4)) << "allocating keeps the data";
    ASSERT_EQ(0, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_ADV, "", 0, 0, ""));
    EXPECT_EQ(ISCSI_LUN_TYPE_ADV, Load(uuid).type);
}

TEST_F(LunSourceTest, MoveToAnotherVolumeIsAJob)
{
    MakeSource("m.img", 16 * kMiB);
    std::string uuid;
    ASSERT_EQ(0, CreateFrom("mover", ISCSI_LUN_TYPE_THIN, 0, "", "/volume1/m.img", &uuid));
    ISCSILIBLUN lun(uuid, false, false, false);
    ASSERT_EQ(0, lun.localUpdateLUN("moved", 0, ISCSI_LUN_TYPE_NONE, "/volume2", 0, 0, ""));
    ASSERT_EQ(0, WaitMove(uuid));
    const ISCSILUNInfo moved = Load(uuid);
    EXPECT_EQ("/volume2", moved.location);
    EXPECT_EQ("moved", moved.name);
    EXPECT_EQ("normal", moved.status);
    EXPECT_FALSE(fs::exists(Image(vol1_, uuid)));
    const std::string image = Image(vol2_, uuid);
    EXPECT_EQ("HEAD", ReadAt(image, 0, 4));
    EXPECT_EQ("TAIL", ReadAt(image, static_cast<off_t>(16 * kMiB - 4096), 4));
    EXPECT_LT(Allocated(image), 4 * kMiB);
    EXPECT_FALSE(fs::exists(image + ".creating"));

    // The row stays where it was after a restart, and the file with it.
    LibraryContext::Reset();
    EXPECT_EQ("/volume2", Load(uuid).location);
    EXPECT_TRUE(fs::exists(image));
}

TEST_F(LunSourceTest, MoveIsRefusedForASnapshottedLUNAndAnUnknownVolume)
{
    std::string uuid;
    ASSERT_EQ(0, CreateFrom("snap", ISCSI_LUN_TYPE_THIN, 0, "",
                            "/volume1/" + fs::path(MakeSource("x.img", kMiB)).filename().string(), &uuid));
    ISCSILIBLUN lun(uuid, false, false, false);
    EXPECT_EQ(kInvalidLocation, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "/volume9", 0, 0, ""));
    std::string snapshotUuid;
    int snapshotId = 0;
    ASSERT_EQ(0,
              lun.takeSnapshot(false, false, "s1", "", "test", 0, false, "", "", snapshotUuid, snapshotId));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_CHANGE_NOT_OFFERED,
              lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "/volume2", 0, 0, ""));
    EXPECT_EQ("/volume1", Load(uuid).location);
}

TEST_F(LunSourceTest, StartUpRemovesTheOldFileOfAFinishedMove)
{
    // A process died before the copy of a move was committed: the copies on the new volume
    // go. Then one died after the row change was committed and before the old file was
    // removed: the old file goes.
    std::string uuid;
    ASSERT_EQ(0, CreateFrom("half", ISCSI_LUN_TYPE_THIN, 0, "",
                            "/volume1/" + fs::path(MakeSource("h.img", kMiB)).filename().string(), &uuid));
    fs::create_directories(vol2_ + "/@iscsi");
    fs::copy_file(Image(vol1_, uuid), Image(vol2_, uuid));
    fs::copy_file(Image(vol1_, uuid), Image(vol2_, uuid) + ".creating");
    LibraryContext::Reset();
    // The row still names volume 1: the copies on volume 2 are the leftovers.
    EXPECT_EQ("/volume1", Load(uuid).location);
    EXPECT_TRUE(fs::exists(Image(vol1_, uuid)));
    EXPECT_FALSE(fs::exists(Image(vol2_, uuid)));
    EXPECT_FALSE(fs::exists(Image(vol2_, uuid) + ".creating"));

    // The move's end was committed (the row names volume 2, where the copy is) but the old
    // file on volume 1 was not removed yet.
    fs::copy_file(Image(vol1_, uuid), Image(vol2_, uuid));
    ASSERT_EQ(0, LibraryContext::With([&](LibraryContext& ctx) {
                  ISCSI::Storage::Statement update(ctx.db(),
                                                   "UPDATE luns SET location = '/volume2' WHERE uuid = ?1;");
                  return update.bind(1, uuid).run() ? 0 : 1;
              }));
    LibraryContext::Reset();
    EXPECT_EQ("/volume2", Load(uuid).location);
    EXPECT_FALSE(fs::exists(Image(vol1_, uuid)));
    EXPECT_EQ("HEAD", ReadAt(Image(vol2_, uuid), 0, 4));
}

TEST_F(LunSourceTest, RemoteDiskLUNsTakeSizeAndAttributes)
{
    std::string remoteUuid, localUuid;
    ASSERT_EQ(0,
              CreateFrom("remote", ISCSI_LUN_TYPE_THIN, 0, "",
                         "/volume1/" + fs::path(MakeSource("r.img", kMiB)).filename().string(), &localUuid));
    {
        ISCSILIBLUN lun("onremote", ISCSI_LUN_TYPE_THIN, "/volume3", kMiB, 8192, 0, 0, "", false);
        ASSERT_EQ(0, lun.createLUN("", ""));
        remoteUuid = lun.uuid;
    }
    bool remote = false;
    ASSERT_EQ(0, KOVAiSCSILunIsRemoteDisk(remoteUuid.c_str(), &remote));
    EXPECT_TRUE(remote);
    ASSERT_EQ(0, KOVAiSCSILunIsRemoteDisk(localUuid.c_str(), &remote));
    EXPECT_FALSE(remote);

    ISCSILIBLUN handle(remoteUuid, false, false, false);
    ASSERT_EQ(0, handle.remoteUpdateLUN(remoteUuid, 2 * kMiB));
    EXPECT_EQ(2 * kMiB, Load(remoteUuid).size);
    EXPECT_EQ(2 * kMiB, fs::file_size(Image(vol3_, remoteUuid)));
    ASSERT_EQ(0, handle.remoteUpdateLUN(remoteUuid, 2u, 2u));
    EXPECT_EQ(2u, Load(remoteUuid).dev_attribs & 2u);
    EXPECT_EQ(0, handle.remoteUpdateLUN(remoteUuid, 0ULL)) << "a size of 0 changes nothing";
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SHRINK, handle.remoteUpdateLUN(remoteUuid, kMiB));
    // A local LUN is not changed this way.
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_REMOTE_DISK, handle.remoteUpdateLUN(localUuid, 4 * kMiB));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_REMOTE_DISK, handle.remoteUpdateLUN(localUuid, 1u, 1u));
    EXPECT_EQ(18990505, handle.remoteUpdateLUN("00000000-0000-4000-8000-000000000000", 4 * kMiB));
}

TEST_F(LunSourceTest, BlockLUNOnALoopDevice)
{
    if (geteuid() != 0) {
        std::printf("SKIPPED: BLOCK LUNs need a block device; making a loop device needs root\n");
        GTEST_SKIP();
    }
    const std::string device = MakeLoopDevice(8 * kMiB);
    if (device.empty()) {
        std::printf("SKIPPED: no free loop device\n");
        GTEST_SKIP();
    }
    std::string uuid;
    ISCSILIBLUN lun("blk", ISCSI_LUN_TYPE_BLOCK, device, 0, 8192, 0, 0, "", false);
    ASSERT_EQ(0, lun.createLUN("", ""));
    uuid = lun.uuid;
    const ISCSILUNInfo loaded = Load(uuid);
    EXPECT_EQ(ISCSI_LUN_TYPE_BLOCK, loaded.type);
    EXPECT_EQ(device, loaded.location);
    EXPECT_EQ(8 * kMiB, loaded.size);
    EXPECT_EQ("normal", loaded.status);
    EXPECT_EQ(8 * kMiB, loaded.allocated_size);

    // One LUN per device; a size larger than the device; a regular file is no device.
    ISCSILIBLUN again("blk2", ISCSI_LUN_TYPE_BLOCK, device, 0, 8192, 0, 0, "", false);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SOURCE, again.createLUN("", ""));
    const std::string other = MakeLoopDevice(4 * kMiB);
    if (!other.empty()) {
        ISCSILIBLUN tooBig("blk3", ISCSI_LUN_TYPE_BLOCK, other, 8 * kMiB, 8192, 0, 0, "", false);
        EXPECT_EQ(kInvalidSize, tooBig.createLUN("", ""));
    }
    ISCSILIBLUN notDevice("blk4", ISCSI_LUN_TYPE_BLOCK, root_ + "/device-0.raw", 0, 8192, 0, 0, "", false);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SOURCE, notDevice.createLUN("", ""));
    // A source cannot be copied onto a device.
    ISCSILIBLUN withSource("blk5", ISCSI_LUN_TYPE_BLOCK, device, 0, 8192, 0, 0, "", false);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_CHANGE_NOT_OFFERED, withSource.createLUN("", "/volume1/x.img"));

    // No growth, no type change, no move; renaming is fine.
    ISCSILIBLUN handle(uuid, false, false, false);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_CHANGE_NOT_OFFERED,
              handle.localUpdateLUN("", 16 * kMiB, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_CHANGE_NOT_OFFERED,
              handle.localUpdateLUN("", 0, ISCSI_LUN_TYPE_THIN, "", 0, 0, ""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_CHANGE_NOT_OFFERED,
              handle.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "/volume2", 0, 0, ""));
    EXPECT_EQ(0, handle.localUpdateLUN("blk-renamed", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));

    // Deleting the LUN leaves the device as it was.
    ASSERT_EQ(0, handle.deleteLUN());
    struct stat st {};
    EXPECT_EQ(0, ::stat(device.c_str(), &st));
    EXPECT_TRUE(S_ISBLK(st.st_mode));
}

} // namespace
