// Virtual LUNs on a temporary data directory and volume: creation over a source LUN of each
// type, the sizes each type reports, deletion, a restart, and the source LUN going away.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSILIBVLUN.h>
#include <iscsi/ISCSILogInfo.h>

#include "StorageTestSupport.h"
#include "context/LibraryContext.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace {

using ISCSI::LIB::LIBVLUN::ISCSILIBVLUN;
using namespace KovaStorageTest;

constexpr int kInvalidVLUNType = 18991000;
constexpr int kNoSuchVLUN = 18991001;

class VLUNTest : public StorageLibraryTest {
protected:
    VLUNTest() : StorageLibraryTest("vlun") {}

    static int CreateVLUN(int type, const std::string& srcLunUuid, std::string& uuid)
    {
        ISCSILIBVLUN vlun(static_cast<ISCSI::_tag_iscsi_vlun_type>(type), srcLunUuid);
        const int rc = vlun.createVLUN();
        uuid = vlun.uuid;
        return rc;
    }

    struct Status {
        int status = -1;
        unsigned long long sync = 1;
        unsigned long long total = 1;
    };

    static int Load(const std::string& uuid, Status& s)
    {
        ISCSILIBVLUN vlun(uuid);
        return vlun.loadStatus(s.status, s.sync, s.total);
    }
};

TEST_F(VLUNTest, CreatesAVLUNOfEachTypeWithItsOwnUuid)
{
    const std::string lun = CreateLUN("src", ISCSI_LUN_TYPE_FILE, 8 * kMiB);
    std::vector<std::string> made;
    for (int type = 1; type <= 3; ++type) {
        std::string uuid;
        ASSERT_EQ(0, CreateVLUN(type, lun, uuid)) << type;
        EXPECT_EQ(36u, uuid.size());
        EXPECT_NE(lun, uuid);
        for (const std::string& other : made)
            EXPECT_NE(other, uuid);
        made.push_back(uuid);
        Status s;
        ASSERT_EQ(0, Load(uuid, s));
        EXPECT_EQ(0, s.status);
        EXPECT_EQ(0u, s.sync);
    }
}

TEST_F(VLUNTest, RefusesABadTypeAndAMissingSourceLUN)
{
    const std::string lun = CreateLUN("src", ISCSI_LUN_TYPE_FILE, 4 * kMiB);
    std::string uuid = "unchanged";
    EXPECT_EQ(kInvalidVLUNType, CreateVLUN(0, lun, uuid));
    EXPECT_EQ(kInvalidVLUNType, CreateVLUN(4, lun, uuid));
    EXPECT_EQ(kInvalidVLUNType, CreateVLUN(-1, lun, uuid));
    EXPECT_EQ(kNoSuchLUN, CreateVLUN(1, "00000000-0000-4000-8000-000000000000", uuid));
    EXPECT_EQ(kNoSuchLUN, CreateVLUN(1, "", uuid));
    EXPECT_EQ("", uuid);
}

TEST_F(VLUNTest, FullTypeReportsTheLUNSize)
{
    const std::string lun = CreateLUN("src", ISCSI_LUN_TYPE_THIN, 5ULL * 1024 * 1024 * 1024);
    std::string uuid;
    ASSERT_EQ(0, CreateVLUN(1, lun, uuid));
    Status s;
    ASSERT_EQ(0, Load(uuid, s));
    // Above 2^32, exactly.
    EXPECT_EQ(5ULL * 1024 * 1024 * 1024, s.total);
}

TEST_F(VLUNTest, AllocatedTypeReportsTheAllocatedBytesOfTheSourceFile)
{
    const std::string lun = CreateLUN("thin", ISCSI_LUN_TYPE_THIN, 64 * kMiB);
    std::string uuid;
    ASSERT_EQ(0, CreateVLUN(2, lun, uuid));
    Status before;
    ASSERT_EQ(0, Load(uuid, before));
    EXPECT_LT(before.total, 1 * kMiB);

    // Write 2 MiB of data into the sparse file.
    const std::string path = vol1_ + "/@iscsi/" + lun + ".img";
    const int fd = open(path.c_str(), O_WRONLY);
    ASSERT_GE(fd, 0) << path;
    const std::string block(kMiB, 'x');
    ASSERT_EQ(static_cast<ssize_t>(kMiB), pwrite(fd, block.data(), block.size(), 0));
    ASSERT_EQ(static_cast<ssize_t>(kMiB), pwrite(fd, block.data(), block.size(), 32 * kMiB));
    ASSERT_EQ(0, fsync(fd));
    close(fd);

    Status after;
    ASSERT_EQ(0, Load(uuid, after));
    EXPECT_GE(after.total, 2 * kMiB);
    EXPECT_LT(after.total, 64 * kMiB);
}

TEST_F(VLUNTest, SnapshotTypeReportsTheNewestSnapshot)
{
    const std::string lun = CreateLUN("src", ISCSI_LUN_TYPE_FILE, 4 * kMiB);
    std::string uuid;
    ASSERT_EQ(0, CreateVLUN(3, lun, uuid));
    Status s;
    ASSERT_EQ(0, Load(uuid, s));
    EXPECT_EQ(0u, s.total);

    ISCSILIBLUN source(lun, false, false, false);
    std::string snapshot;
    int id = -1;
    ASSERT_EQ(0, source.takeSnapshot(false, false, "s1", "", "admin", 0, false, "", "", snapshot, id));
    ASSERT_EQ(0, Load(uuid, s));
    EXPECT_EQ(4 * kMiB, s.total);
}

TEST_F(VLUNTest, DeleteRemovesItAndSurvivesARestart)
{
    const std::string lun = CreateLUN("src", ISCSI_LUN_TYPE_FILE, 4 * kMiB);
    std::string kept, removed;
    ASSERT_EQ(0, CreateVLUN(1, lun, kept));
    ASSERT_EQ(0, CreateVLUN(2, lun, removed));
    ASSERT_EQ(0, ISCSILIBVLUN(removed).deleteVLUN());
    EXPECT_EQ(kNoSuchVLUN, ISCSILIBVLUN(removed).deleteVLUN());
    Status s;
    EXPECT_EQ(kNoSuchVLUN, Load(removed, s));
    EXPECT_EQ(-1, s.status);
    EXPECT_EQ(kNoSuchVLUN, Load("", s));

    LibraryContext::Reset();
    ISCSILIBVLUN loaded(kept);
    ASSERT_EQ(0, loaded.loadStatus(s.status, s.sync, s.total));
    EXPECT_EQ(4 * kMiB, s.total);
    EXPECT_EQ(ISCSI::ISCSI_VLUN_TYPE_1, loaded.type);
    EXPECT_EQ(lun, loaded.src_lun_uuid);
}

TEST_F(VLUNTest, DeletingTheSourceLUNDeletesItsVLUNs)
{
    const std::string lun = CreateLUN("src", ISCSI_LUN_TYPE_FILE, 4 * kMiB);
    std::string uuid;
    ASSERT_EQ(0, CreateVLUN(1, lun, uuid));
    ISCSILIBLUN source(lun, true, false, false);
    ASSERT_EQ(0, source.deleteLUN());
    Status s;
    EXPECT_EQ(kNoSuchVLUN, Load(uuid, s));
}

TEST_F(VLUNTest, CreateAndDeleteWriteLogLines)
{
    const std::string lun = CreateLUN("src-lun", ISCSI_LUN_TYPE_FILE, 4 * kMiB);
    std::string uuid;
    ASSERT_EQ(0, CreateVLUN(3, lun, uuid));
    ASSERT_EQ(0, ISCSILIBVLUN(uuid).deleteVLUN());
    std::vector<ISCSI::ISCSILogInfo> logs;
    std::map<std::string, unsigned long long> counts;
    ASSERT_EQ(0, ISCSI::ISCSILogInfo::ListLog(0, -1, 0, -1, -1, {}, "VLUN", logs, counts));
    ASSERT_EQ(2u, logs.size());
    EXPECT_EQ("VLUN " + uuid + " was deleted.", logs[0].message);
    EXPECT_EQ("VLUN " + uuid + " of type 3 was created over LUN src-lun.", logs[1].message);
}

TEST_F(VLUNTest, BindIsNotOfferedYet)
{
    const std::string lun = CreateLUN("src", ISCSI_LUN_TYPE_FILE, 4 * kMiB);
    std::string uuid;
    ASSERT_EQ(0, CreateVLUN(1, lun, uuid));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_AVAILABLE,
              ISCSILIBVLUN(uuid).bind("00000000-0000-4000-8000-000000000000", "node", "10.0.0.1:3260"));
}

} // namespace
