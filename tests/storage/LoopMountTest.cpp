// Attaching LUN files to loop devices: the device really shows the LUN's data, a second mount
// answers the same device, unmounting detaches it, and deleting a LUN detaches its device.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "StorageTestSupport.h"
#include "context/LibraryContext.h"
#include "lun/LUNDevices.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

using namespace KovaStorageTest;

class LoopMountTest : public StorageLibraryTest {
protected:
    LoopMountTest() : StorageLibraryTest("loop") {}

    void TearDown() override
    {
        // Whatever a failed test left attached goes.
        for (const std::string& uuid : made_)
            ISCSI::Storage::DetachLoopDevicesOf(Image(uuid));
        StorageLibraryTest::TearDown();
    }

    std::string Create(const std::string& name)
    {
        made_.push_back(CreateLUN(name, ISCSI_LUN_TYPE_THIN, 4 * kMiB, false));
        return made_.back();
    }

    // Skips the test without root and /dev/loop-control.
    static void SkipWithoutLoopDevices()
    {
        if (!CanUseLoopDevices()) {
            std::printf("SKIPPED: attaching loop devices needs root and /dev/loop-control\n");
            GTEST_SKIP();
        }
    }

    // Mounts lun on a loop device into device; skips the test where the host has no free one.
    static void MountOrSkip(ISCSILIBLUN& lun, std::string& device)
    {
        const int rc = lun.loopMount(device);
        if (rc == ISCSI::ISCSI_ERR_LOOP_DEVICE) {
            std::printf("SKIPPED: no free loop device on this host\n");
            GTEST_SKIP();
        }
        ASSERT_EQ(0, rc);
    }

    std::vector<std::string> made_;
};

TEST_F(LoopMountTest, MountShowsTheLUNDataAndUnmountDetaches)
{
    SkipWithoutLoopDevices();
    if (IsSkipped())
        return;
    const std::string uuid = Create("looped");
    const std::string image = Image(uuid);
    {
        const int fd = ::open(image.c_str(), O_WRONLY);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(8, ::pwrite(fd, "LOOPDATA", 8, 1024 * 1024));
        ::close(fd);
    }
    ISCSILIBLUN lun(uuid, false, false, false);
    std::string device;
    MountOrSkip(lun, device);
    if (IsSkipped() || HasFatalFailure())
        return;
    ASSERT_EQ(0u, device.rfind("/dev/loop", 0)) << device;
    struct stat st {};
    ASSERT_EQ(0, ::stat(device.c_str(), &st));
    EXPECT_TRUE(S_ISBLK(st.st_mode));
    // The device reads the LUN's bytes.
    {
        const int fd = ::open(device.c_str(), O_RDONLY);
        ASSERT_GE(fd, 0);
        char buffer[8] = {0};
        ASSERT_EQ(8, ::pread(fd, buffer, 8, 1024 * 1024));
        ::close(fd);
        EXPECT_EQ("LOOPDATA", std::string(buffer, 8));
    }
    // Mounting again answers the same device; the kernel knows it by its backing file.
    std::string again;
    ASSERT_EQ(0, ISCSILIBLUN(uuid, false, false, false).loopMount(again));
    EXPECT_EQ(device, again);
    LibraryContext::Reset();
    ASSERT_EQ(0, ISCSILIBLUN(uuid, false, false, false).loopMount(again));
    EXPECT_EQ(device, again) << "a restarted process finds the device again";

    ASSERT_EQ(0, lun.loopUnmount());
    std::string left;
    EXPECT_FALSE(ISCSI::Storage::FindLoopDevice(image, left));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_LOOP_MOUNTED, lun.loopUnmount());
}

TEST_F(LoopMountTest, DeletingALUNDetachesItsDevice)
{
    SkipWithoutLoopDevices();
    if (IsSkipped())
        return;
    const std::string uuid = Create("doomed");
    const std::string image = Image(uuid);
    ISCSILIBLUN lun(uuid, false, false, false);
    std::string device;
    MountOrSkip(lun, device);
    if (IsSkipped() || HasFatalFailure())
        return;
    ASSERT_EQ(0, lun.deleteLUN());
    std::string left;
    EXPECT_FALSE(ISCSI::Storage::FindLoopDevice(image, left));
    EXPECT_FALSE(ISCSI::Storage::FindLoopDevice(image + ".deleting", left));
}

TEST_F(LoopMountTest, MountAfterARestoreShowsTheRestoredData)
{
    SkipWithoutLoopDevices();
    if (IsSkipped())
        return;
    const std::string uuid = Create("restored");
    const std::string image = Image(uuid);
    auto write = [&](const char* text) {
        const int fd = ::open(image.c_str(), O_WRONLY);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(8, ::pwrite(fd, text, 8, 0));
        ::close(fd);
    };
    auto readDevice = [](const std::string& device) {
        char buffer[8] = {0};
        const int fd = ::open(device.c_str(), O_RDONLY | O_DIRECT);
        if (fd < 0)
            return std::string("<no device>");
        void* aligned = nullptr;
        if (posix_memalign(&aligned, 4096, 4096) != 0) {
            ::close(fd);
            return std::string("<no memory>");
        }
        const ssize_t got = ::pread(fd, aligned, 4096, 0);
        ::close(fd);
        std::memcpy(buffer, aligned, sizeof buffer);
        std::free(aligned);
        return got == 4096 ? std::string(buffer, 8) : std::string("<short read>");
    };
    write("SNAPSHOT");
    ISCSILIBLUN lun(uuid, false, false, false);
    std::string snapshotUuid;
    int snapshotId = 0;
    ASSERT_EQ(0, lun.takeSnapshot(false, false, "s", "", "test", 0, false, "", "", snapshotUuid, snapshotId));
    write("NEWDATA!");
    std::string device;
    MountOrSkip(lun, device);
    if (IsSkipped() || HasFatalFailure())
        return;
    EXPECT_EQ("NEWDATA!", readDevice(device));
    // The restore puts a new file in place; the device still holds the old one.
    ASSERT_EQ(0, lun.restoreSnapshot(snapshotUuid));
    std::string again;
    ASSERT_EQ(0, lun.loopMount(again));
    EXPECT_EQ("SNAPSHOT", readDevice(again)) << "a mount after the restore shows the restored data";
    ASSERT_EQ(0, lun.loopUnmount());
    std::string left;
    EXPECT_FALSE(ISCSI::Storage::FindLoopDevice(image, left));
}

TEST_F(LoopMountTest, UnknownLUNAndUnmountedLUN)
{
    std::string device = "untouched";
    EXPECT_EQ(18990505,
              ISCSILIBLUN("00000000-0000-4000-8000-000000000000", false, false, false).loopMount(device));
    EXPECT_EQ("untouched", device);
    EXPECT_EQ(18990505,
              ISCSILIBLUN("00000000-0000-4000-8000-000000000000", false, false, false).loopUnmount());
    const std::string uuid = Create("plain");
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_LOOP_MOUNTED, ISCSILIBLUN(uuid, false, false, false).loopUnmount());
}

} // namespace
