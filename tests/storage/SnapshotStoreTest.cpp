// The storage library's snapshots on a temporary data directory and volume: taking, listing,
// loading, names, locks, deletion, restoring data, restarts and the leftovers of a dead process.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSISnapshotInfo.h>

#include "StorageTestSupport.h"
#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "snapshot/SnapshotStore.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace KovaStorageTest;

constexpr int kInvalidUserLock = 18990596;

class SnapshotStoreTest : public StorageLibraryTest {
protected:
    SnapshotStoreTest() : StorageLibraryTest("snapshots") {}

    void TearDown() override
    {
        StorageLibraryTest::TearDown();
        std::error_code ec;
        if (!extraDir_.empty())
            fs::remove_all(extraDir_, ec);
    }

    int Take(const std::string& lunUuid, const std::string& name, std::string* snapUuid = nullptr,
             int* snapId = nullptr, bool locked = false, const std::string& takenBy = "admin")
    {
        ISCSILIBLUN lun(lunUuid, false, false, false);
        std::string uuid;
        int id = -1;
        const int rc =
            lun.takeSnapshot(true, locked, name, "desc of " + name, takenBy, 0, false, "", "", uuid, id);
        if (snapUuid)
            *snapUuid = uuid;
        if (snapId)
            *snapId = id;
        return rc;
    }

    std::string SnapDir(const std::string& lunUuid) const { return vol1_ + "/@iscsi/snapshots/" + lunUuid; }
    std::string SnapImage(const std::string& lunUuid, const std::string& snapUuid) const
    {
        return SnapDir(lunUuid) + "/" + snapUuid + ".img";
    }

    static unsigned long long Allocated(const std::string& path)
    {
        struct stat st {};
        EXPECT_EQ(0, stat(path.c_str(), &st)) << path;
        return static_cast<unsigned long long>(st.st_blocks) * 512ULL;
    }

    static long long Length(const std::string& path)
    {
        struct stat st {};
        EXPECT_EQ(0, stat(path.c_str(), &st)) << path;
        return static_cast<long long>(st.st_size);
    }

    std::vector<ISCSISnapshotInfo> List(const std::string& lunUuid, int flags = 0, int* rc = nullptr)
    {
        std::vector<ISCSISnapshotInfo> snapshots;
        ISCSILIBLUN lun(lunUuid, false, false, false);
        const int result = lun.listSnapshot(snapshots, flags);
        if (rc)
            *rc = result;
        else
            EXPECT_EQ(0, result);
        return snapshots;
    }

    std::string extraDir_;
};

TEST_F(SnapshotStoreTest, TakeListGetDelete)
{
    const std::string lun = CreateLUN("lun1", ISCSI_LUN_TYPE_THIN, 4 * kMiB);
    WriteAt(Image(lun), 4096, "hello");

    std::string snap;
    int id = 0;
    ASSERT_EQ(0, Take(lun, "first", &snap, &id));
    EXPECT_EQ(36u, snap.size());
    EXPECT_EQ(1, id);
    EXPECT_TRUE(fs::exists(SnapImage(lun, snap)));
    EXPECT_EQ(static_cast<long long>(4 * kMiB), Length(SnapImage(lun, snap)));
    EXPECT_EQ("hello", ReadAt(SnapImage(lun, snap), 4096, 5));

    std::string second;
    ASSERT_EQ(0, Take(lun, "", &second, &id, false, "operator"));
    EXPECT_EQ(2, id);

    const std::vector<ISCSISnapshotInfo> snapshots = List(lun);
    ASSERT_EQ(2u, snapshots.size());
    EXPECT_EQ(snap, snapshots[0].uuid);
    EXPECT_EQ(lun, snapshots[0].lun_uuid);
    EXPECT_EQ("first", snapshots[0].name);
    EXPECT_EQ("desc of first", snapshots[0].description);
    EXPECT_EQ("admin", snapshots[0].taken_by);
    EXPECT_EQ("/volume1", snapshots[0].location);
    EXPECT_EQ("normal", snapshots[0].status);
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_TYPE_ADV, snapshots[0].type);
    EXPECT_EQ(1, snapshots[0].snapshot_id);
    EXPECT_EQ(4 * kMiB, snapshots[0].size);
    EXPECT_TRUE(snapshots[0].is_app_consistent);
    EXPECT_FALSE(snapshots[0].is_user_locked);
    EXPECT_FALSE(snapshots[0].is_scheduled);
    EXPECT_FALSE(snapshots[0].version.empty());
    EXPECT_NE(snapshots[0].version, snapshots[1].version);
    EXPECT_GT(snapshots[0].snapshot_time, 1600000000L);
    EXPECT_EQ(0, snapshots[0].additional);
    EXPECT_EQ(0u, std::string(snapshots[1].name).find("Snapshot-"));
    EXPECT_EQ("operator", snapshots[1].taken_by);

    ISCSISnapshotInfo loaded(second);
    ASSERT_EQ(0, loaded.loadFromConfig(ISCSI::ISCSI_SNAPSHOT_LOAD_ALL));
    EXPECT_EQ(lun, loaded.lun_uuid);
    EXPECT_EQ(2, loaded.snapshot_id);
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_LOAD_ALL, loaded.additional);
    EXPECT_FALSE(loaded.is_action_locked);
    EXPECT_TRUE(loaded.locked_app_keys.empty());
    EXPECT_EQ(0u, loaded.export_total);
    EXPECT_EQ(0u, loaded.sync_total);
    Json::Value json;
    ASSERT_EQ(0, loaded.toJsonFormat(json));
    EXPECT_EQ(second, json["uuid"].asString());
    EXPECT_EQ(kNoSuchSnapshot, ISCSISnapshotInfo("nothing").loadFromConfig(0));

    ISCSILIBLUN info(lun, false, false, false);
    ASSERT_EQ(0, info.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_ALL));
    EXPECT_EQ(2, info.snapshot_count);

    EXPECT_EQ(0, ISCSILIBLUN().deleteSnapshot(snap, "admin"));
    EXPECT_FALSE(fs::exists(SnapImage(lun, snap)));
    EXPECT_EQ(kNoSuchSnapshot, ISCSILIBLUN().deleteSnapshot(snap, "admin"));
    ASSERT_EQ(1u, List(lun).size());
    // Ids go on from the highest one.
    ASSERT_EQ(0, Take(lun, "third", nullptr, &id));
    EXPECT_EQ(3, id);
}

TEST_F(SnapshotStoreTest, TakingNeedsAKnownLUN)
{
    std::string uuid;
    int id = 0;
    EXPECT_EQ(kNoSuchLUN, ISCSILIBLUN("nobody", false, false, false)
                              .takeSnapshot(false, false, "s", "", "", 0, false, "", "", uuid, id));
    const std::string lun = CreateLUN("l", ISCSI_LUN_TYPE_THIN, kMiB);
    // A snapshot from the content of a directory is not offered yet.
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_AVAILABLE,
              ISCSILIBLUN(lun, false, false, false)
                  .takeSnapshot(false, false, "s", "", "", 0, false, "/volume1/dir", "", uuid, id));
    // A given time and version are kept.
    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false)
                     .takeSnapshot(false, false, "", "", "sched", 1700000000, true, "", "v-7", uuid, id));
    ISCSISnapshotInfo loaded(uuid);
    ASSERT_EQ(0, loaded.loadFromConfig(0));
    EXPECT_EQ(1700000000L, loaded.snapshot_time);
    EXPECT_EQ("v-7", loaded.version);
    EXPECT_EQ("Snapshot-20231114-221320", loaded.name);
    EXPECT_TRUE(loaded.is_scheduled);
}

TEST_F(SnapshotStoreTest, SparseCopyStaysSparse)
{
    if (FileSystemType(vol1_) != kExt4Magic) {
        std::printf("SKIPPED: %s is not on ext4\n", vol1_.c_str());
        GTEST_SKIP() << "not on ext4";
    }
    const std::string lun = CreateLUN("sparse", ISCSI_LUN_TYPE_THIN, 256 * kMiB);
    WriteAt(Image(lun), static_cast<off_t>(16 * kMiB), std::string(kMiB, 'x'));
    WriteAt(Image(lun), static_cast<off_t>(200 * kMiB), std::string(4096, 'y'));
    const unsigned long long lunAllocated = Allocated(Image(lun));

    std::string snap;
    ASSERT_EQ(0, Take(lun, "s", &snap));
    const std::string image = SnapImage(lun, snap);
    EXPECT_EQ(static_cast<long long>(256 * kMiB), Length(image));
    const unsigned long long allocated = Allocated(image);
    EXPECT_GE(allocated, kMiB);
    EXPECT_LE(allocated, lunAllocated + kMiB);
    EXPECT_LT(allocated, 4 * kMiB);
    EXPECT_EQ(std::string(kMiB, 'x'), ReadAt(image, static_cast<off_t>(16 * kMiB), kMiB));
    EXPECT_EQ(std::string(4096, 'y'), ReadAt(image, static_cast<off_t>(200 * kMiB), 4096));
    EXPECT_EQ(std::string(4096, '\0'), ReadAt(image, static_cast<off_t>(100 * kMiB), 4096));

    // Restoring a thin LUN keeps it sparse too.
    WriteAt(Image(lun), static_cast<off_t>(100 * kMiB), std::string(kMiB, 'z'));
    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).restoreSnapshot(snap));
    EXPECT_LT(Allocated(Image(lun)), 4 * kMiB);
    EXPECT_EQ(std::string(4096, '\0'), ReadAt(Image(lun), static_cast<off_t>(100 * kMiB), 4096));
}

TEST_F(SnapshotStoreTest, RestoreBringsTheDataBack)
{
    const std::string lun = CreateLUN("data", ISCSI_LUN_TYPE_THIN, 8 * kMiB);
    const std::string before = std::string(64 * 1024, 'A') + "the end";
    WriteAt(Image(lun), static_cast<off_t>(kMiB), before);
    std::string snap;
    ASSERT_EQ(0, Take(lun, "before", &snap));

    WriteAt(Image(lun), static_cast<off_t>(kMiB), std::string(before.size(), 'B'));
    WriteAt(Image(lun), static_cast<off_t>(5 * kMiB), "written later");
    ASSERT_EQ(std::string(before.size(), 'B'), ReadAt(Image(lun), static_cast<off_t>(kMiB), before.size()));

    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).restoreSnapshot(snap));
    EXPECT_EQ(before, ReadAt(Image(lun), static_cast<off_t>(kMiB), before.size()));
    EXPECT_EQ(std::string(13, '\0'), ReadAt(Image(lun), static_cast<off_t>(5 * kMiB), 13));
    EXPECT_EQ(static_cast<long long>(8 * kMiB), Length(Image(lun)));
    // The snapshot itself is untouched and no temporary file is left.
    EXPECT_EQ(before, ReadAt(SnapImage(lun, snap), static_cast<off_t>(kMiB), before.size()));
    EXPECT_FALSE(fs::exists(Image(lun) + ".restoring"));

    // A LUN grown since its snapshot keeps its size; the part past the snapshot reads zeros.
    ISCSILIBLUN grown(lun, true, false, false);
    ASSERT_EQ(0, grown.localUpdateLUN("", 16 * kMiB, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    WriteAt(Image(lun), static_cast<off_t>(12 * kMiB), "tail");
    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).restoreSnapshot(snap));
    EXPECT_EQ(static_cast<long long>(16 * kMiB), Length(Image(lun)));
    EXPECT_EQ(std::string(4, '\0'), ReadAt(Image(lun), static_cast<off_t>(12 * kMiB), 4));
    EXPECT_EQ(before, ReadAt(Image(lun), static_cast<off_t>(kMiB), before.size()));
}

TEST_F(SnapshotStoreTest, RestoringAThickLUNKeepsItAllocated)
{
    const std::string lun = CreateLUN("thick", ISCSI_LUN_TYPE_FILE, 4 * kMiB);
    WriteAt(Image(lun), 0, "thick data");
    std::string snap;
    ASSERT_EQ(0, Take(lun, "t", &snap));
    WriteAt(Image(lun), 0, "THICK DATA");
    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).restoreSnapshot(snap));
    EXPECT_EQ("thick data", ReadAt(Image(lun), 0, 10));
    EXPECT_GE(Allocated(Image(lun)), 4 * kMiB);
}

TEST_F(SnapshotStoreTest, SnapshotsOfOtherLUNsAreRefused)
{
    const std::string a = CreateLUN("a", ISCSI_LUN_TYPE_THIN, kMiB);
    const std::string b = CreateLUN("b", ISCSI_LUN_TYPE_THIN, kMiB);
    std::string snapA;
    ASSERT_EQ(0, Take(a, "sa", &snapA));
    EXPECT_EQ(0, ISCSILIBLUN(a, false, false, false).stopSnapshot(snapA));
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN,
              ISCSILIBLUN(b, false, false, false).stopSnapshot(snapA));
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN,
              ISCSILIBLUN(b, false, false, false).restoreSnapshot(snapA));
    EXPECT_EQ(kNoSuchSnapshot, ISCSILIBLUN(a, false, false, false).stopSnapshot("nothing"));
    EXPECT_EQ(kNoSuchSnapshot, ISCSILIBLUN(a, false, false, false).restoreSnapshot("nothing"));
    EXPECT_EQ(kNoSuchLUN, ISCSILIBLUN("nobody", false, false, false).restoreSnapshot(snapA));

    // Without a LUN the list holds the snapshots of every LUN; an unknown LUN is refused.
    std::string snapB;
    ASSERT_EQ(0, Take(b, "sb", &snapB));
    EXPECT_EQ(2u, List("").size());
    EXPECT_EQ(1u, List(b).size());
    int rc = 0;
    List("nobody", 0, &rc);
    EXPECT_EQ(kNoSuchLUN, rc);
}

TEST_F(SnapshotStoreTest, LocksRefuseDeletion)
{
    const std::string lun = CreateLUN("locked", ISCSI_LUN_TYPE_THIN, kMiB);
    std::string userLocked, appLocked;
    ASSERT_EQ(0, Take(lun, "user", &userLocked, nullptr, true));
    ASSERT_EQ(0, Take(lun, "app", &appLocked));

    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_LOCKED, ISCSILIBLUN().deleteSnapshot(userLocked, "admin"));
    ASSERT_EQ(0, ISCSILIBLUN().setSnapshot(userLocked, "", 0, ""));
    EXPECT_EQ(0, ISCSILIBLUN().deleteSnapshot(userLocked, "admin"));

    const ISCSISnapshotInfo record(appLocked);
    ASSERT_EQ(0, record.lockSnapshotByAppKey("backup-app"));
    ASSERT_EQ(0, record.lockSnapshotByAppKey("replica-app"));
    ASSERT_EQ(0, record.lockSnapshotByAppKey("backup-app")); // already held: no error
    ISCSISnapshotInfo loaded(appLocked);
    ASSERT_EQ(0, loaded.loadFromConfig(ISCSI::ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS));
    EXPECT_EQ((std::vector<std::string>{"backup-app", "replica-app"}), loaded.locked_app_keys);
    const std::vector<ISCSISnapshotInfo> listed = List(lun, ISCSI::ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS);
    ASSERT_EQ(1u, listed.size());
    EXPECT_EQ(2u, listed[0].locked_app_keys.size());
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS, listed[0].additional);

    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_LOCKED, ISCSILIBLUN().deleteSnapshot(appLocked, "admin"));
    // Neither can the LUN go while one of its snapshots is locked.
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_LOCKED, ISCSILIBLUN(lun, false, false, false).deleteLUN());
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_LOCKED, ISCSILIBLUN(lun, false, false, true).deleteLUN());
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_LOCKED, ISCSILIBLUN().deleteLunNonBlocking({lun}));
    EXPECT_TRUE(fs::exists(Image(lun)));

    ASSERT_EQ(0, record.unlockSnapshotByAppKey("backup-app"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_LOCKED, ISCSILIBLUN().deleteSnapshot(appLocked, "admin"));
    ASSERT_EQ(0, record.unlockSnapshotByAppKey("replica-app"));
    ASSERT_EQ(0, record.unlockSnapshotByAppKey("replica-app")); // not held: no error
    EXPECT_EQ(kNoSuchSnapshot, ISCSISnapshotInfo("nothing").lockSnapshotByAppKey("k"));
    EXPECT_EQ(kNoSuchSnapshot, ISCSISnapshotInfo("nothing").unlockSnapshotByAppKey("k"));
    EXPECT_EQ(0, ISCSILIBLUN().deleteSnapshot(appLocked, "admin"));
}

TEST_F(SnapshotStoreTest, DeletingALUNDeletesItsSnapshots)
{
    const std::string lun = CreateLUN("gone", ISCSI_LUN_TYPE_THIN, kMiB);
    const std::string kept = CreateLUN("kept", ISCSI_LUN_TYPE_THIN, kMiB);
    std::string s1, s2, other;
    ASSERT_EQ(0, Take(lun, "s1", &s1));
    ASSERT_EQ(0, Take(lun, "s2", &s2));
    ASSERT_EQ(0, Take(kept, "s1", &other));
    ASSERT_EQ(0, ISCSISnapshotInfo(s1).lockSnapshotByAppKey("k"));
    ASSERT_EQ(0, ISCSISnapshotInfo(s1).unlockSnapshotByAppKey("k"));

    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).deleteLUN());
    EXPECT_FALSE(fs::exists(SnapDir(lun)));
    EXPECT_FALSE(fs::exists(SnapDir(lun) + ".deleting"));
    std::string found;
    EXPECT_EQ(kNoSuchSnapshot, ISCSISnapshotInfo::GetSnapshotUuid(s1, found));
    EXPECT_EQ(1u, List("").size());
    EXPECT_TRUE(fs::exists(SnapImage(kept, other)));
}

TEST_F(SnapshotStoreTest, NamesAreUniquePerLUN)
{
    const std::string a = CreateLUN("a", ISCSI_LUN_TYPE_THIN, kMiB);
    const std::string b = CreateLUN("b", ISCSI_LUN_TYPE_THIN, kMiB);
    std::string first, other;
    ASSERT_EQ(0, Take(a, "daily", &first));
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_NAME_EXISTS, Take(a, "daily"));
    ASSERT_EQ(0, Take(b, "daily", &other));
    EXPECT_EQ(1u, List(a).size());
    EXPECT_EQ(1u, List(b).size());

    // Default names of snapshots taken in the same second differ.
    std::string d1, d2;
    ASSERT_EQ(0, Take(a, "", &d1));
    ASSERT_EQ(0, Take(a, "", &d2));
    ISCSISnapshotInfo r1(d1), r2(d2);
    ASSERT_EQ(0, r1.loadFromConfig(0));
    ASSERT_EQ(0, r2.loadFromConfig(0));
    EXPECT_NE(r1.name, r2.name);

    ASSERT_EQ(0, Take(a, "weekly"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_NAME_EXISTS, ISCSILIBLUN().setSnapshot(first, "weekly", -1, ""));
    ASSERT_EQ(0, ISCSILIBLUN().setSnapshot(first, "monthly", 1, "kept for a month"));
    ISCSISnapshotInfo changed(first);
    ASSERT_EQ(0, changed.loadFromConfig(0));
    EXPECT_EQ("monthly", changed.name);
    EXPECT_TRUE(changed.is_user_locked);
    EXPECT_EQ("kept for a month", changed.description);
    // Empty texts and -1 leave the properties as they are.
    ASSERT_EQ(0, ISCSILIBLUN().setSnapshot(first, "", -1, ""));
    ASSERT_EQ(0, changed.loadFromConfig(0));
    EXPECT_EQ("monthly", changed.name);
    EXPECT_TRUE(changed.is_user_locked);
    EXPECT_EQ("kept for a month", changed.description);
    ASSERT_EQ(0, ISCSILIBLUN().setSnapshot(first, "monthly", 0, ""));
    ASSERT_EQ(0, changed.loadFromConfig(0));
    EXPECT_FALSE(changed.is_user_locked);
    EXPECT_EQ(kInvalidUserLock, ISCSILIBLUN().setSnapshot(first, "", 2, ""));
    EXPECT_EQ(kNoSuchSnapshot, ISCSILIBLUN().setSnapshot("nothing", "x", -1, ""));
}

TEST_F(SnapshotStoreTest, GetSnapshotUuid)
{
    const std::string a = CreateLUN("a", ISCSI_LUN_TYPE_THIN, kMiB);
    const std::string b = CreateLUN("b", ISCSI_LUN_TYPE_THIN, kMiB);
    std::string snap, shared1;
    ASSERT_EQ(0, Take(a, "only-here", &snap));
    ASSERT_EQ(0, Take(a, "shared", &shared1));
    ASSERT_EQ(0, Take(b, "shared"));

    std::string uuid = "stale";
    ASSERT_EQ(0, ISCSISnapshotInfo::GetSnapshotUuid("", uuid));
    EXPECT_EQ("", uuid);
    ASSERT_EQ(0, ISCSISnapshotInfo::GetSnapshotUuid(snap, uuid));
    EXPECT_EQ(snap, uuid);
    std::string upper = snap;
    for (char& c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    ASSERT_EQ(0, ISCSISnapshotInfo::GetSnapshotUuid(upper, uuid));
    EXPECT_EQ(snap, uuid);
    ASSERT_EQ(0, ISCSISnapshotInfo::GetSnapshotUuid("only-here", uuid));
    EXPECT_EQ(snap, uuid);
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_NAME_AMBIGUOUS, ISCSISnapshotInfo::GetSnapshotUuid("shared", uuid));
    EXPECT_EQ(kNoSuchSnapshot, ISCSISnapshotInfo::GetSnapshotUuid("none", uuid));
    EXPECT_EQ(kNoSuchSnapshot,
              ISCSISnapshotInfo::GetSnapshotUuid("00000000-0000-4000-8000-000000000000", uuid));
    // Renamed apart, the name is unique again.
    ASSERT_EQ(0, ISCSILIBLUN().setSnapshot(shared1, "renamed", -1, ""));
    ASSERT_EQ(0, ISCSISnapshotInfo::GetSnapshotUuid("renamed", uuid));
    EXPECT_EQ(shared1, uuid);
    ASSERT_EQ(0, ISCSISnapshotInfo::GetSnapshotUuid("shared", uuid));
}

TEST_F(SnapshotStoreTest, SnapshotsOutliveARestart)
{
    const std::string lun = CreateLUN("kept", ISCSI_LUN_TYPE_THIN, kMiB);
    std::string snap;
    ASSERT_EQ(0, Take(lun, "kept-snap", &snap, nullptr, true));
    ASSERT_EQ(0, ISCSISnapshotInfo(snap).lockSnapshotByAppKey("app"));
    LibraryContext::Reset();

    const std::vector<ISCSISnapshotInfo> snapshots = List(lun, ISCSI::ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS);
    ASSERT_EQ(1u, snapshots.size());
    EXPECT_EQ(snap, snapshots[0].uuid);
    EXPECT_EQ("kept-snap", snapshots[0].name);
    EXPECT_TRUE(snapshots[0].is_user_locked);
    EXPECT_EQ(std::vector<std::string>{"app"}, snapshots[0].locked_app_keys);
    EXPECT_TRUE(fs::exists(SnapImage(lun, snap)));

    ISCSI::Storage::ConfigDB db;
    std::string error;
    ASSERT_TRUE(db.open(dataDir_ + "/iscsi.db", error)) << error;
    EXPECT_EQ(ISCSI::Storage::ConfigDB::kSchemaVersion, db.schemaVersion());
}

TEST_F(SnapshotStoreTest, AVersionOneFileIsMigrated)
{
    const std::string lun = CreateLUN("old", ISCSI_LUN_TYPE_THIN, kMiB);
    LibraryContext::Reset();
    {
        // Turn the file back into one of version 1: the LUN table alone, every table of the
        // later steps dropped.
        ISCSI::Storage::ConfigDB db;
        std::string error;
        ASSERT_TRUE(db.open(dataDir_ + "/iscsi.db", error)) << error;
        std::vector<std::string> later;
        {
            ISCSI::Storage::Statement tables(
                db, "SELECT name FROM sqlite_master WHERE type = 'table' AND "
                    "name NOT IN ('luns', 'schema_version') AND name NOT LIKE 'sqlite_%';");
            while (tables.step() == SQLITE_ROW)
                later.push_back(tables.text(0));
        }
        ASSERT_FALSE(later.empty());
        std::string drop = "PRAGMA foreign_keys = OFF;";
        for (const std::string& table : later)
            drop += " DROP TABLE \"" + table + "\";";
        ASSERT_TRUE(db.exec((drop + " UPDATE schema_version SET version = 1;").c_str())) << db.lastError();
    }
    ASSERT_EQ(0u, List(lun).size());
    ASSERT_EQ(0, Take(lun, "after-migration"));
    EXPECT_EQ(1u, List(lun).size());
}

TEST_F(SnapshotStoreTest, StartUpSortsOutLeftoversOfADeadProcess)
{
    const std::string lun = CreateLUN("lun", ISCSI_LUN_TYPE_THIN, kMiB);
    std::string deleting, creating, plain;
    ASSERT_EQ(0, Take(lun, "deleting", &deleting));
    ASSERT_EQ(0, Take(lun, "creating", &creating));
    ASSERT_EQ(0, Take(lun, "plain", &plain));
    LibraryContext::Reset();

    // A deletion that never committed, a committed creation whose file kept its temporary
    // name, a creation that never committed, a restore that never reached its rename, and the
    // snapshots of a LUN whose row is gone.
    ASSERT_EQ(
        0, std::rename(SnapImage(lun, deleting).c_str(), (SnapImage(lun, deleting) + ".deleting").c_str()));
    ASSERT_EQ(
        0, std::rename(SnapImage(lun, creating).c_str(), (SnapImage(lun, creating) + ".creating").c_str()));
    std::ofstream(SnapDir(lun) + "/11111111-2222-4333-8444-555555555555.img.creating") << "x";
    std::ofstream(Image(lun) + ".restoring") << "x";
    const std::string ghost = vol1_ + "/@iscsi/snapshots/22222222-2222-4333-8444-555555555555";
    fs::create_directories(ghost);
    std::ofstream(ghost + "/33333333-2222-4333-8444-555555555555.img") << "x";

    ASSERT_EQ(3u, List(lun).size());
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(SnapDir(lun)))
        names.insert(entry.path().filename().string());
    EXPECT_EQ((std::set<std::string>{deleting + ".img", creating + ".img", plain + ".img"}), names);
    EXPECT_FALSE(fs::exists(Image(lun) + ".restoring"));
    EXPECT_FALSE(fs::exists(ghost));

    // A LUN deletion that never committed: its snapshot directory comes back.
    LibraryContext::Reset();
    ASSERT_EQ(0, std::rename(SnapDir(lun).c_str(), (SnapDir(lun) + ".deleting").c_str()));
    ASSERT_EQ(3u, List(lun).size());
    EXPECT_TRUE(fs::exists(SnapImage(lun, plain)));
    EXPECT_FALSE(fs::exists(SnapDir(lun) + ".deleting"));
}

TEST_F(SnapshotStoreTest, AFailedCopyLeavesNothingBehind)
{
    const std::string lun = CreateLUN("l", ISCSI_LUN_TYPE_THIN, kMiB);
    WriteAt(Image(lun), 0, "current");
    std::string snap;
    ASSERT_EQ(0, Take(lun, "s", &snap));

    // The snapshot's image is gone: the restore fails and the LUN keeps its data.
    ASSERT_EQ(0, std::remove(SnapImage(lun, snap).c_str()));
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_FILE, ISCSILIBLUN(lun, false, false, false).restoreSnapshot(snap));
    EXPECT_EQ("current", ReadAt(Image(lun), 0, 7));
    EXPECT_FALSE(fs::exists(Image(lun) + ".restoring"));
    // Its row can still be deleted.
    EXPECT_EQ(0, ISCSILIBLUN().deleteSnapshot(snap, ""));

    // The LUN's file is gone: no snapshot is taken, and no row or file is left.
    ASSERT_EQ(0, std::remove(Image(lun).c_str()));
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_FILE, Take(lun, "t"));
    EXPECT_TRUE(List(lun).empty());
    EXPECT_TRUE(fs::is_empty(SnapDir(lun)));
}

TEST_F(SnapshotStoreTest, ReflinkOnBtrfs)
{
    // A btrfs file system: the directory in KOVA_TEST_BTRFS_DIR, else the temporary directory
    // when it is on btrfs, else (as root) a loop volume made for the test.
    BtrfsVolume btrfs("kova-btrfs-loop", true);
    if (btrfs.dir.empty()) {
        std::printf("SKIPPED: %s\n", btrfs.reason.c_str());
        GTEST_SKIP() << btrfs.reason;
    }
    const std::string base = btrfs.dir;
    std::string pattern = base + "/kova-btrfs-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(&pattern[0]));
    extraDir_ = pattern;
    UseVolumes({extraDir_});
    const std::string lun = CreateLUN("b", ISCSI_LUN_TYPE_THIN, 64 * kMiB);
    WriteAt(Image(lun), 0, std::string(8 * kMiB, 'r'));
    std::string snap;
    ASSERT_EQ(0, Take(lun, "reflinked", &snap));
    ISCSI::Storage::CopyMethod method = ISCSI::Storage::CopyMethod::SparseCopy;
    ASSERT_TRUE(ISCSI::Storage::CopyImage(Image(lun), extraDir_ + "/probe.img", &method));
    EXPECT_EQ(ISCSI::Storage::CopyMethod::Reflink, method);
    EXPECT_EQ(std::string(8 * kMiB, 'r'), ReadAt(SnapImage(lun, snap), 0, 8 * kMiB));
    WriteAt(Image(lun), 0, "changed");
    ASSERT_EQ(0, ISCSILIBLUN(lun, false, false, false).restoreSnapshot(snap));
    EXPECT_EQ("rrrrrrr", ReadAt(Image(lun), 0, 7));
    LibraryContext::Reset(); // nothing of the library stays open on the volume before it goes
}

TEST_F(SnapshotStoreTest, CopyImageUsesSparseCopyOnExt4)
{
    if (FileSystemType(vol1_) != kExt4Magic) {
        std::printf("SKIPPED: %s is not on ext4\n", vol1_.c_str());
        GTEST_SKIP() << "not on ext4";
    }
    const std::string src = root_ + "/src.img";
    {
        std::ofstream(src) << "";
    }
    ASSERT_EQ(0, truncate(src.c_str(), static_cast<off_t>(32 * kMiB)));
    WriteAt(src, static_cast<off_t>(31 * kMiB), "end");
    ISCSI::Storage::CopyMethod method = ISCSI::Storage::CopyMethod::Reflink;
    ASSERT_TRUE(ISCSI::Storage::CopyImage(src, root_ + "/dst.img", &method));
    EXPECT_EQ(ISCSI::Storage::CopyMethod::SparseCopy, method);
    EXPECT_EQ("end", ReadAt(root_ + "/dst.img", static_cast<off_t>(31 * kMiB), 3));
    EXPECT_LT(Allocated(root_ + "/dst.img"), kMiB);
    // The target must not exist.
    EXPECT_FALSE(ISCSI::Storage::CopyImage(src, root_ + "/dst.img"));
    EXPECT_TRUE(fs::exists(root_ + "/dst.img"));
}

} // namespace
