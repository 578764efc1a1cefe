// The storage library's LUN operations on a temporary data directory and volume: files,
// rows, feasibility, changes and a restart of the library over the same directory.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSILogInfo.h>
#include <kova/SystemRoot.h>

#include "StorageTestSupport.h"
#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "lun/LUNStore.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace KovaStorageTest;

class LUNStoreTest : public StorageLibraryTest {
protected:
    LUNStoreTest() : StorageLibraryTest("storage") {}

    // Creates a LUN; answers the code and the new LUN's uuid.
    int Create(const std::string& name, _tag_iscsi_lun_type type, unsigned long long size,
               std::string* uuid = nullptr, bool softIgnored = false,
               const std::string& location = "/volume1")
    {
        ISCSILIBLUN lun(name, type, location, size, 8192, 0, 0, "", softIgnored);
        const int rc = lun.createLUN("", "");
        if (uuid)
            *uuid = lun.uuid;
        last_ = lun;
        return rc;
    }

    std::vector<std::string> LunDirEntries() const
    {
        std::vector<std::string> names;
        std::error_code ec;
        for (const auto& entry : fs::directory_iterator(vol1_ + "/@iscsi", ec))
            names.push_back(entry.path().filename().string());
        return names;
    }

    unsigned long long FreeBytes() const
    {
        struct statvfs st {};
        EXPECT_EQ(0, statvfs(vol1_.c_str(), &st));
        return static_cast<unsigned long long>(st.f_bavail) * st.f_frsize;
    }

    ISCSILIBLUN last_;
};

TEST_F(LUNStoreTest, ThinLUNIsASparseFile)
{
    std::string uuid;
    ASSERT_EQ(0, Create("thin1", ISCSI_LUN_TYPE_THIN, 64 * kMiB, &uuid));
    EXPECT_EQ(36u, uuid.size());
    EXPECT_EQ('4', uuid[14]); // a version 4 uuid
    EXPECT_EQ(1, last_.lun_id);
    struct stat st {};
    ASSERT_EQ(0, stat(Image(uuid).c_str(), &st));
    EXPECT_EQ(static_cast<off_t>(64 * kMiB), st.st_size);
    EXPECT_LT(static_cast<unsigned long long>(st.st_blocks) * 512, kMiB);
}

TEST_F(LUNStoreTest, ThickLUNIsAllocated)
{
    std::string uuid;
    ASSERT_EQ(0, Create("thick1", ISCSI_LUN_TYPE_FILE, 8 * kMiB, &uuid));
    struct stat st {};
    ASSERT_EQ(0, stat(Image(uuid).c_str(), &st));
    EXPECT_EQ(static_cast<off_t>(8 * kMiB), st.st_size);
    EXPECT_GE(static_cast<unsigned long long>(st.st_blocks) * 512, 8 * kMiB);
}

TEST_F(LUNStoreTest, NewLUNsTakeTheLowestFreeIds)
{
    std::string a, b, c;
    ASSERT_EQ(0, Create("a", ISCSI_LUN_TYPE_THIN, kMiB, &a));
    ASSERT_EQ(0, Create("b", ISCSI_LUN_TYPE_THIN, kMiB, &b));
    ASSERT_EQ(0, ISCSILIBLUN(a, false, false, false).deleteLUN());
    ASSERT_EQ(0, Create("c", ISCSI_LUN_TYPE_THIN, kMiB, &c));
    EXPECT_EQ(1, last_.lun_id);
}

TEST_F(LUNStoreTest, ListAndLoadFillTheAskedFacts)
{
    std::string thin, thick;
    ASSERT_EQ(0, Create("thin", ISCSI_LUN_TYPE_THIN, 16 * kMiB, &thin));
    ASSERT_EQ(0, Create("thick", ISCSI_LUN_TYPE_FILE, 4 * kMiB, &thick));

    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, ISCSI::ISCSI_LUN_LOAD_NONE));
    ASSERT_EQ(2u, luns.size());
    EXPECT_EQ("thin", luns[0].name);
    EXPECT_EQ(1, luns[0].lun_id);
    EXPECT_EQ(ISCSI_LUN_TYPE_THIN, luns[0].type);
    EXPECT_EQ("/volume1", luns[0].location);
    EXPECT_EQ(16 * kMiB, luns[0].size);
    EXPECT_EQ("thick", luns[1].name);
    EXPECT_EQ(0, luns[0].additional);
    Json::Value json;
    ASSERT_EQ(0, luns[0].toJsonFormat(json));
    EXPECT_FALSE(json.isMember("allocated_size"));
    EXPECT_FALSE(json.isMember("status"));

    const int flags = ISCSI::ISCSI_LUN_LOAD_ALLOCATED_SIZE | ISCSI::ISCSI_LUN_LOAD_STATUS |
                      ISCSI::ISCSI_LUN_LOAD_EXTENT_SIZE | ISCSI::ISCSI_LUN_LOAD_IS_MAPPED;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, flags));
    ASSERT_EQ(2u, luns.size());
    EXPECT_EQ(flags, luns[1].additional);
    EXPECT_EQ("normal", luns[1].status);
    EXPECT_EQ(8192u, luns[1].extent_size);
    EXPECT_FALSE(luns[1].is_mapped);
    EXPECT_GE(luns[1].allocated_size, 4 * kMiB);
    EXPECT_LT(luns[0].allocated_size, kMiB);
    ASSERT_EQ(0, luns[1].toJsonFormat(json));
    EXPECT_TRUE(json.isMember("allocated_size"));
    EXPECT_EQ("normal", json["status"].asString());
    EXPECT_FALSE(json.isMember("whitelist"));

    ISCSILIBLUN one(thick, false, false, false);
    ASSERT_EQ(0, one.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_ALL));
    EXPECT_EQ("thick", one.name);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_ALL, one.additional);
    EXPECT_TRUE(one.whitelist.empty());
    EXPECT_EQ(thick, one.family_config.family_uuid);
    EXPECT_EQ(0u, one.snapshot_count);
    ASSERT_EQ(0, one.toJsonFormat(json));
    EXPECT_TRUE(json["whitelist"].isArray());

    ISCSILIBLUN loaded(thin, false, true, false);
    EXPECT_EQ("thin", loaded.name);
    EXPECT_EQ(16 * kMiB, loaded.size);

    EXPECT_EQ(kNoSuchLUN,
              ISCSILIBLUN("00000000-0000-4000-8000-000000000000", false, false, false).loadLUNInfo(0));
}

TEST_F(LUNStoreTest, NamesAreUnique)
{
    ASSERT_EQ(0, Create("same", ISCSI_LUN_TYPE_THIN, kMiB));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_NAME_EXISTS, Create("same", ISCSI_LUN_TYPE_FILE, kMiB));
    EXPECT_EQ(1u, LunDirEntries().size());
    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    EXPECT_EQ(1u, luns.size());
}

TEST_F(LUNStoreTest, CreationChecksItsArguments)
{
    EXPECT_EQ(kInvalidLocation, Create("x", ISCSI_LUN_TYPE_THIN, kMiB, nullptr, false, "/volume9"));
    EXPECT_EQ(kInvalidLocation, Create("x", ISCSI_LUN_TYPE_THIN, kMiB, nullptr, false, ""));
    EXPECT_EQ(18990502, Create("x", ISCSI_LUN_TYPE_THIN, 0));
    EXPECT_EQ(18990503, Create("", ISCSI_LUN_TYPE_THIN, kMiB));
    EXPECT_EQ(18990500, Create("x", static_cast<_tag_iscsi_lun_type>(2), kMiB));
    // A BLOCK LUN's location is a block device; a volume is none.
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SOURCE, Create("x", ISCSI_LUN_TYPE_BLOCK, kMiB));
    ISCSILIBLUN fromFile("x", ISCSI_LUN_TYPE_THIN, "/volume1", kMiB, 8192, 0, 0, "", false);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SOURCE, fromFile.createLUN("", "/volume1/some.img"));
    EXPECT_TRUE(LunDirEntries().empty());
}

TEST_F(LUNStoreTest, ThickLUNLargerThanTheFreeSpaceIsHardInfeasible)
{
    EXPECT_EQ(ISCSI::LIB::LIBLUN::ISCSI_ERR_FEASIBILITY_HARD,
              Create("huge", ISCSI_LUN_TYPE_FILE, 1ULL << 60));
    const Json::Value& detail = last_.feasibility_detail;
    ASSERT_TRUE(detail.isObject());
    ASSERT_EQ(1u, detail["hard"].size());
    EXPECT_EQ(0u, detail["soft"].size());
    EXPECT_TRUE(detail["hard"][0]["reason"].isString());
    EXPECT_EQ(1ULL << 60, detail["hard"][0]["needed"].asUInt64());
    EXPECT_TRUE(LunDirEntries().empty());
    std::string uuid;
    EXPECT_EQ(kNoSuchLUN, ISCSILUNInfo::GetLunUuid("huge", uuid));
}

TEST_F(LUNStoreTest, ThinLUNsBeyondTheFreeSpaceAreSoftInfeasible)
{
    EXPECT_EQ(ISCSI::LIB::LIBLUN::ISCSI_ERR_FEASIBILITY_SOFT,
              Create("huge", ISCSI_LUN_TYPE_THIN, 1ULL << 60));
    const Json::Value& detail = last_.feasibility_detail;
    ASSERT_TRUE(detail.isObject());
    EXPECT_EQ(0u, detail["hard"].size());
    ASSERT_EQ(1u, detail["soft"].size());
    EXPECT_TRUE(detail["soft"][0]["reason"].isString());
    EXPECT_TRUE(LunDirEntries().empty());

    // A success clears the detail.
    ASSERT_EQ(0, Create("small", ISCSI_LUN_TYPE_THIN, kMiB));
    EXPECT_TRUE(last_.feasibility_detail.isNull());
}

TEST_F(LUNStoreTest, ThinLUNsCountTogetherAndTheWarningCanBeIgnored)
{
    // Each fits alone; together they pass the free space.
    const unsigned long long each = (FreeBytes() / 10 * 6) / 4096 * 4096;
    std::string a, b;
    ASSERT_EQ(0, Create("a", ISCSI_LUN_TYPE_THIN, each, &a));
    EXPECT_EQ(ISCSI::LIB::LIBLUN::ISCSI_ERR_FEASIBILITY_SOFT, Create("b", ISCSI_LUN_TYPE_THIN, each));
    ASSERT_EQ(0, Create("b", ISCSI_LUN_TYPE_THIN, each, &b, true));
    struct stat st {};
    ASSERT_EQ(0, stat(Image(b).c_str(), &st));
    EXPECT_EQ(static_cast<off_t>(each), st.st_size);
    EXPECT_LT(static_cast<unsigned long long>(st.st_blocks) * 512, kMiB);
}

TEST_F(LUNStoreTest, DeleteRemovesFileAndRow)
{
    std::string uuid;
    ASSERT_EQ(0, Create("gone", ISCSI_LUN_TYPE_FILE, 2 * kMiB, &uuid));
    ASSERT_TRUE(fs::exists(Image(uuid)));
    ISCSILIBLUN precheck(uuid, false, false, true);
    ASSERT_EQ(0, precheck.deleteLUN());
    EXPECT_TRUE(fs::exists(Image(uuid)));

    ISCSILIBLUN lun(uuid, false, false, false);
    ASSERT_EQ(0, lun.deleteLUN());
    EXPECT_TRUE(LunDirEntries().empty());
    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    EXPECT_TRUE(luns.empty());
    std::string found;
    EXPECT_EQ(kNoSuchLUN, ISCSILUNInfo::GetLunUuid("gone", found));
    EXPECT_EQ(kNoSuchLUN, lun.deleteLUN());
}

TEST_F(LUNStoreTest, DeleteOfSeveralChecksAllFirst)
{
    std::string a, b;
    ASSERT_EQ(0, Create("a", ISCSI_LUN_TYPE_THIN, kMiB, &a));
    ASSERT_EQ(0, Create("b", ISCSI_LUN_TYPE_THIN, kMiB, &b));
    ISCSILIBLUN lun("", false, false, false);
    EXPECT_EQ(kNoSuchLUN, lun.deleteLunNonBlocking({a, "00000000-0000-4000-8000-000000000000", b}));
    EXPECT_EQ(2u, LunDirEntries().size());
    ASSERT_EQ(0, lun.deleteLunNonBlocking({a, b}));
    EXPECT_TRUE(LunDirEntries().empty());
}

TEST_F(LUNStoreTest, GetLunUuidResolvesUuidsAndNames)
{
    std::string uuid;
    ASSERT_EQ(0, Create("by-name", ISCSI_LUN_TYPE_THIN, kMiB, &uuid));
    std::string found = "stale";
    ASSERT_EQ(0, ISCSILUNInfo::GetLunUuid(uuid, found));
    EXPECT_EQ(uuid, found);
    std::string upper = uuid;
    for (char& c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    ASSERT_EQ(0, ISCSILUNInfo::GetLunUuid(upper, found));
    EXPECT_EQ(uuid, found);
    found.clear();
    ASSERT_EQ(0, ISCSILUNInfo::GetLunUuid("by-name", found));
    EXPECT_EQ(uuid, found);
    found = "stale";
    ASSERT_EQ(0, ISCSILUNInfo::GetLunUuid("", found));
    EXPECT_EQ("", found);
    EXPECT_EQ(kNoSuchLUN, ISCSILUNInfo::GetLunUuid("nobody", found));
    EXPECT_EQ(kNoSuchLUN, ISCSILUNInfo::GetLunUuid("00000000-0000-4000-8000-000000000000", found));
}

TEST_F(LUNStoreTest, RenameKeepsNamesUnique)
{
    std::string a;
    ASSERT_EQ(0, Create("a", ISCSI_LUN_TYPE_THIN, kMiB, &a));
    ASSERT_EQ(0, Create("b", ISCSI_LUN_TYPE_THIN, kMiB));
    ISCSILIBLUN lun(a, false, false, false);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_NAME_EXISTS,
              lun.localUpdateLUN("b", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    ASSERT_EQ(0, lun.localUpdateLUN("renamed", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    ASSERT_EQ(0, lun.localUpdateLUN("renamed", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    std::string found;
    ASSERT_EQ(0, ISCSILUNInfo::GetLunUuid("renamed", found));
    EXPECT_EQ(a, found);
    EXPECT_EQ(kNoSuchLUN, ISCSILUNInfo::GetLunUuid("a", found));
}

TEST_F(LUNStoreTest, LUNsGrowAndNeverShrink)
{
    std::string thin, thick;
    ASSERT_EQ(0, Create("thin", ISCSI_LUN_TYPE_THIN, 8 * kMiB, &thin));
    ASSERT_EQ(0, Create("thick", ISCSI_LUN_TYPE_FILE, 2 * kMiB, &thick));

    ISCSILIBLUN t(thin, false, false, false);
    ASSERT_EQ(0, t.localUpdateLUN("", 16 * kMiB, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    struct stat st {};
    ASSERT_EQ(0, stat(Image(thin).c_str(), &st));
    EXPECT_EQ(static_cast<off_t>(16 * kMiB), st.st_size);
    EXPECT_LT(static_cast<unsigned long long>(st.st_blocks) * 512, kMiB);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_SHRINK, t.localUpdateLUN("", 4 * kMiB, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    ASSERT_EQ(0, t.loadLUNInfo(0));
    EXPECT_EQ(16 * kMiB, t.size);

    ISCSILIBLUN k(thick, false, false, false);
    ASSERT_EQ(0, k.localUpdateLUN("", 6 * kMiB, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    ASSERT_EQ(0, stat(Image(thick).c_str(), &st));
    EXPECT_EQ(static_cast<off_t>(6 * kMiB), st.st_size);
    EXPECT_GE(static_cast<unsigned long long>(st.st_blocks) * 512, 6 * kMiB);
    EXPECT_EQ(ISCSI::LIB::LIBLUN::ISCSI_ERR_FEASIBILITY_HARD,
              k.localUpdateLUN("", 1ULL << 60, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    EXPECT_EQ(1u, k.feasibility_detail["hard"].size());

    // A feasibility precheck changes nothing.
    ISCSILIBLUN pre(thin, false, false, true);
    ASSERT_EQ(0, pre.localUpdateLUN("other", 32 * kMiB, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    ASSERT_EQ(0, t.loadLUNInfo(0));
    EXPECT_EQ(16 * kMiB, t.size);
    EXPECT_EQ("thin", t.name);
}

TEST_F(LUNStoreTest, AttributesAndSerialChange)
{
    std::string uuid;
    ASSERT_EQ(0, Create("attrs", ISCSI_LUN_TYPE_THIN, kMiB, &uuid));
    ISCSILIBLUN lun(uuid, false, false, false);
    ASSERT_EQ(0, lun.loadLUNInfo(0));
    std::string plain = uuid;
    plain.erase(std::remove(plain.begin(), plain.end(), '-'), plain.end());
    EXPECT_EQ(plain, lun.vpd_unit_sn);
    EXPECT_EQ(0u, lun.dev_attribs);

    ASSERT_EQ(0, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "", 0x3, 0x1, ""));
    EXPECT_EQ(0x1u, lun.dev_attribs);
    ASSERT_EQ(0, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "", 0x12, 0x12, "SN-1"));
    ASSERT_EQ(0, lun.loadLUNInfo(0));
    EXPECT_EQ(0x13u, lun.dev_attribs);
    EXPECT_EQ("SN-1", lun.vpd_unit_sn);
    // A serial the data path cannot present whole is refused, and the stored one stays.
    for (const std::string& bad :
         {std::string(37, 'S'), std::string(1000000, 'S'), std::string("SN,2"), std::string("SN=2"),
          std::string("SN 2"), std::string("SN\n2"), std::string("SN\x1b[2J"), std::string("SN\xc3\xa9")}) {
        EXPECT_EQ(ISCSI::Storage::kInvalidVpdUnitSn,
                  lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, bad))
            << bad.substr(0, 40);
        ISCSILIBLUN made("bad-serial", ISCSI_LUN_TYPE_THIN, "/volume1", kMiB, 8192, 0, 0, bad, false);
        EXPECT_EQ(ISCSI::Storage::kInvalidVpdUnitSn, made.createLUN("", "")) << bad.substr(0, 40);
    }
    ASSERT_EQ(0, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, std::string(36, 'S')));
    ASSERT_EQ(0, lun.loadLUNInfo(0));
    EXPECT_EQ(std::string(36, 'S'), lun.vpd_unit_sn);
    ASSERT_EQ(0, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, "SN-1"));

    _tag_iscsi_lun_ config{};
    ISCSILUNInfo record(uuid);
    ASSERT_EQ(0, record.loadFromConfig(config, 0));
    EXPECT_EQ(uuid, config.uuid);
    EXPECT_STREQ("attrs", config.name);
    EXPECT_EQ(ISCSI_LUN_TYPE_THIN, config.type);
    EXPECT_STREQ("/volume1", config.location);
    EXPECT_EQ(kMiB, config.size);
    EXPECT_EQ(8192u, config.extent_size);
    EXPECT_EQ(0x13u, config.dev_attribs);
    EXPECT_STREQ("SN-1", config.vpd_unit_sn);
    EXPECT_EQ(kNoSuchLUN, ISCSILUNInfo("nobody").loadFromConfig(config, 0));
}

TEST_F(LUNStoreTest, TypeAndLocationChangesThatCannotBeMade)
{
    std::string uuid;
    ASSERT_EQ(0, Create("t", ISCSI_LUN_TYPE_THIN, kMiB, &uuid));
    ISCSILIBLUN lun(uuid, false, false, false);
    // A file LUN does not become a device; a volume that is not configured is no location.
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_CHANGE_NOT_OFFERED,
              lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_BLOCK, "", 0, 0, ""));
    EXPECT_EQ(18990500, lun.localUpdateLUN("", 0, static_cast<_tag_iscsi_lun_type>(2), "", 0, 0, ""));
    EXPECT_EQ(kInvalidLocation, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "/volume2", 0, 0, ""));
    EXPECT_EQ(0, lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_THIN, "/volume1", 0, 0, ""));
    EXPECT_EQ(
        kNoSuchLUN,
        ISCSILIBLUN("nobody", false, false, false).localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
}

TEST_F(LUNStoreTest, LocalLUNsAreNotRemote)
{
    std::string uuid;
    ASSERT_EQ(0, Create("local", ISCSI_LUN_TYPE_THIN, kMiB, &uuid));
    bool remote = true;
    ASSERT_EQ(0, KOVAiSCSILunIsRemoteDisk(uuid.c_str(), &remote));
    EXPECT_FALSE(remote);
    EXPECT_EQ(kNoSuchLUN, KOVAiSCSILunIsRemoteDisk("00000000-0000-4000-8000-000000000000", &remote));
    EXPECT_EQ(kNoSuchLUN, KOVAiSCSILunIsRemoteDisk(nullptr, &remote));
}

TEST_F(LUNStoreTest, LUNsOutliveARestart)
{
    std::string uuid;
    ASSERT_EQ(0, Create("kept", ISCSI_LUN_TYPE_THIN, 3 * kMiB, &uuid));
    LibraryContext::Reset();

    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    ASSERT_EQ(1u, luns.size());
    EXPECT_EQ(uuid, luns[0].uuid);
    EXPECT_EQ("kept", luns[0].name);
    EXPECT_EQ(3 * kMiB, luns[0].size);
    EXPECT_TRUE(fs::exists(Image(uuid)));

    ISCSI::Storage::ConfigDB db;
    std::string error;
    ASSERT_TRUE(db.open(dataDir_ + "/iscsi.db", error)) << error;
    EXPECT_EQ(ISCSI::Storage::ConfigDB::kSchemaVersion, db.schemaVersion());
    ISCSI::Storage::Statement mode(db, "PRAGMA journal_mode;");
    ASSERT_EQ(SQLITE_ROW, mode.step());
    EXPECT_EQ("wal", mode.text(0));
}

TEST_F(LUNStoreTest, StartUpSortsOutChangesThatADeadProcessLeft)
{
    std::string kept, other;
    ASSERT_EQ(0, Create("kept", ISCSI_LUN_TYPE_THIN, kMiB, &kept));
    ASSERT_EQ(0, Create("other", ISCSI_LUN_TYPE_THIN, kMiB, &other));
    LibraryContext::Reset();
    // A deletion that never committed, a creation that never committed, and a committed
    // creation whose file kept its temporary name.
    ASSERT_EQ(0, std::rename(Image(kept).c_str(), (Image(kept) + ".deleting").c_str()));
    const std::string orphan = vol1_ + "/@iscsi/11111111-2222-4333-8444-555555555555.img.creating";
    std::ofstream(orphan) << "x";
    ASSERT_EQ(0, std::rename(Image(other).c_str(), (Image(other) + ".creating").c_str()));

    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, ISCSI::ISCSI_LUN_LOAD_STATUS));
    ASSERT_EQ(2u, luns.size());
    EXPECT_EQ("normal", luns[0].status);
    EXPECT_EQ("normal", luns[1].status);
    const std::vector<std::string> entries = LunDirEntries();
    EXPECT_EQ((std::set<std::string>{kept + ".img", other + ".img"}),
              std::set<std::string>(entries.begin(), entries.end()));
}

TEST_F(LUNStoreTest, AMissingFileShowsInTheStatus)
{
    std::string uuid;
    ASSERT_EQ(0, Create("lost", ISCSI_LUN_TYPE_THIN, kMiB, &uuid));
    ASSERT_EQ(0, std::remove(Image(uuid).c_str()));
    ISCSILIBLUN lun(uuid, false, false, false);
    ASSERT_EQ(0, lun.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_STATUS));
    EXPECT_EQ("missing", lun.status);
    // It can still be deleted.
    ASSERT_EQ(0, lun.deleteLUN());
}

TEST_F(LUNStoreTest, DefaultVolumeLiesInTheDataDirectory)
{
    unsetenv("KOVA_VOLUMES");
    LibraryContext::Reset();
    std::string uuid;
    ASSERT_EQ(0, Create("default", ISCSI_LUN_TYPE_THIN, kMiB, &uuid));
    EXPECT_TRUE(fs::exists(dataDir_ + "/volume1/@iscsi/" + uuid + ".img"));
    EXPECT_EQ(dataDir_ + "/volume1", KOVA::SystemRoot::ResolveVolumePath("/volume1"));
    LibraryContext::Reset();
    EXPECT_EQ("/volume1", KOVA::SystemRoot::ResolveVolumePath("/volume1"));
}

TEST_F(LUNStoreTest, SeveralVolumes)
{
    const std::string second = root_ + "/vol2";
    fs::create_directories(second);
    setenv("KOVA_VOLUMES", ("/volume1=" + vol1_ + ";/volume2=" + second).c_str(), 1);
    LibraryContext::Reset();
    std::string uuid;
    ASSERT_EQ(0, Create("on2", ISCSI_LUN_TYPE_FILE, kMiB, &uuid, false, "/volume2"));
    EXPECT_TRUE(fs::exists(second + "/@iscsi/" + uuid + ".img"));
    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    ASSERT_EQ(1u, luns.size());
    EXPECT_EQ("/volume2", luns[0].location);
}

TEST_F(LUNStoreTest, ABadVolumeListStopsTheLibrary)
{
    setenv("KOVA_VOLUMES", "volume1", 1);
    LibraryContext::Reset();
    std::vector<ISCSILUNInfo> luns;
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_STARTED, ISCSILIBLUN::ListLUN(luns, 0));
}

TEST_F(LUNStoreTest, ConcurrentCreationsGetDistinctIds)
{
    constexpr int kThreads = 4;
    constexpr int kEach = 5;
    std::vector<std::thread> threads;
    std::vector<int> failures(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures] {
            for (int i = 0; i < kEach; ++i) {
                ISCSILIBLUN lun("t" + std::to_string(t) + "-" + std::to_string(i), ISCSI_LUN_TYPE_THIN,
                                "/volume1", kMiB, 8192, 0, 0, "", false);
                if (lun.createLUN("", "") != 0)
                    ++failures[t];
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    for (int f : failures)
        EXPECT_EQ(0, f);
    std::vector<ISCSILUNInfo> luns;
    ASSERT_EQ(0, ISCSILIBLUN::ListLUN(luns, 0));
    ASSERT_EQ(static_cast<std::size_t>(kThreads * kEach), luns.size());
    std::set<int> ids;
    for (const auto& lun : luns)
        ids.insert(lun.lun_id);
    EXPECT_EQ(luns.size(), ids.size());
    EXPECT_EQ(1, *ids.begin());
    EXPECT_EQ(kThreads * kEach, *ids.rbegin());
}

} // namespace

TEST_F(LUNStoreTest, CreatingChangingAndDeletingALunWriteTheServiceLog)
{
    std::string uuid;
    ASSERT_EQ(0, Create("logged", ISCSI_LUN_TYPE_THIN, kMiB, &uuid));
    ISCSILIBLUN lun(uuid, false, false, false);
    ASSERT_EQ(0, lun.localUpdateLUN("logged-renamed", 0, ISCSI_LUN_TYPE_NONE, "", 0, 0, ""));
    ASSERT_EQ(0, ISCSILIBLUN(uuid, false, false, false).deleteLUN());
    // A refused creation writes nothing.
    ASSERT_EQ(0, Create("other", ISCSI_LUN_TYPE_THIN, kMiB));
    ASSERT_EQ(ISCSI::ISCSI_ERR_LUN_NAME_EXISTS, Create("other", ISCSI_LUN_TYPE_THIN, kMiB));

    std::vector<ISCSI::ISCSILogInfo> logs;
    std::map<std::string, unsigned long long> counts;
    ASSERT_EQ(0, ISCSI::ISCSILogInfo::ListLog(0, -1, 0, -1, -1, {}, uuid, logs, counts));
    std::vector<std::string> messages;
    for (const ISCSI::ISCSILogInfo& line : logs) {
        EXPECT_EQ("info", line.level);
        EXPECT_EQ("SYSTEM", line.user);
        messages.push_back(line.message);
    }
    // Newest first.
    EXPECT_EQ((std::vector<std::string>{"LUN logged-renamed (" + uuid + ") was deleted.",
                                        "LUN logged-renamed (" + uuid + ") was changed.",
                                        "LUN logged (" + uuid + ") was created."}),
              messages);
    ASSERT_EQ(0, ISCSI::ISCSILogInfo::ListLog(0, -1, 0, -1, -1, {}, "LUN other", logs, counts));
    EXPECT_EQ(1u, logs.size());
}
