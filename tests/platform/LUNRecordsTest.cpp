// Data code of the LUN and snapshot records: constructors, JSON forms and their reading back,
// the keys each load flag adds, and the texts for logs.
#include <iscsi/ISCSILUNInfo.h>
#include <iscsi/ISCSISnapshotInfo.h>
#include <kova/JsonText.h>

#include "RecordTestHelpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace {

using ISCSI::ISCSIFamilyConfigInfo;
using ISCSI::ISCSILUNInfo;
using ISCSI::ISCSISnapshotInfo;
using RecordTest::ExpectEachFormRefused;
using RecordTest::Parse;

const int kBadRecordJson = 18990204;

std::vector<std::string> SortedKeys(const Json::Value& object)
{
    std::vector<std::string> keys = object.getMemberNames();
    std::sort(keys.begin(), keys.end());
    return keys;
}

std::vector<std::string> Sorted(std::vector<std::string> keys)
{
    std::sort(keys.begin(), keys.end());
    return keys;
}

template <typename Record> Json::Value ToJson(const Record& record)
{
    Json::Value j;
    EXPECT_EQ(record.toJsonFormat(j), 0);
    return j;
}

using LoadGroups = std::vector<std::pair<int, std::vector<std::string>>>;

// For each group, a record named uuid with only that fact loaded writes the base keys and the
// group's, and reads back with the same fact loaded.
template <typename Record>
void ExpectEachLoadFlagAddsItsKeys(const std::string& uuid, const std::vector<std::string>& base,
                                   const LoadGroups& groups)
{
    for (const auto& group : groups) {
        Record record(uuid);
        record.additional = group.first;
        std::vector<std::string> expected = base;
        expected.insert(expected.end(), group.second.begin(), group.second.end());
        EXPECT_EQ(SortedKeys(ToJson(record)), Sorted(expected)) << group.first;

        // Read back, the keys mark the same fact as loaded.
        Record back;
        ASSERT_EQ(back.loadFromJson(ToJson(record)), 0);
        EXPECT_EQ(back.additional, group.first);
    }
}

const std::vector<std::string> kLunBaseKeys = {"uuid",        "lun_id",     "name", "type",
                                               "type_str",    "location",   "size", "description",
                                               "vpd_unit_sn", "dev_attribs"};

// A LUN with every field away from its default, every fact loaded.
ISCSILUNInfo FullLun()
{
    ISCSILUNInfo lun("0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d");
    lun.lun_id = 12;
    lun.name = "lun-1";
    lun.type = ISCSI_LUN_TYPE_BLUN;
    lun.location = "/volume2";
    lun.size = std::numeric_limits<unsigned long long>::max();
    lun.description = "data of the mail server";
    lun.vpd_unit_sn = "SN-0001";
    lun.dev_attribs = ISCSI::ISCSI_DEV_ATTRIB_EMULATE_CAW | ISCSI::ISCSI_DEV_ATTRIB_CAN_SNAPSHOT;
    lun.additional = ISCSI::ISCSI_LUN_LOAD_ALL;
    lun.is_action_locked = true;
    lun.is_mapped = true;
    lun.extent_size = 8192;
    lun.allocated_size = 5368709120ULL;
    lun.status = "normal";
    lun.is_vhost_mapped = true;
    lun.is_bound = true;
    lun.allow_bkpobj = true;
    lun.storage_manager = "virtualization";
    lun.import_total = 1000;
    lun.import_done = 400;
    lun.import_errno = 5;
    lun.sync_total = 2000;
    lun.sync_done = 1999;
    lun.sync_errno = -2;
    lun.whitelist = {"10.0.0.1", "fe80::1"};
    lun.flashcache_status = "enabled";
    lun.family_config.family_uuid = "fam-1";
    lun.family_config.parent_uuid = "parent-1";
    lun.family_config.parent_snapshot_uuid = "snap-1";
    lun.family_config.child_uuids = {"child-1", "child-2"};
    lun.rmt_clone_total = 30;
    lun.rmt_clone_done = 20;
    lun.rmt_clone_sent = 10;
    lun.rmt_clone_errno = 28;
    lun.rmt_clone_status = 3;
    lun.tree_size = 4096;
    lun.tree_level = 2;
    lun.snapshot_count = 7;
    return lun;
}

void ExpectSameLun(const ISCSILUNInfo& a, const ISCSILUNInfo& b)
{
    EXPECT_EQ(a.uuid, b.uuid);
    EXPECT_EQ(a.lun_id, b.lun_id);
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.type, b.type);
    EXPECT_EQ(a.location, b.location);
    EXPECT_EQ(a.size, b.size);
    EXPECT_EQ(a.description, b.description);
    EXPECT_EQ(a.vpd_unit_sn, b.vpd_unit_sn);
    EXPECT_EQ(a.dev_attribs, b.dev_attribs);
    EXPECT_EQ(a.additional, b.additional);
    EXPECT_EQ(a.is_action_locked, b.is_action_locked);
    EXPECT_EQ(a.is_mapped, b.is_mapped);
    EXPECT_EQ(a.extent_size, b.extent_size);
    EXPECT_EQ(a.allocated_size, b.allocated_size);
    EXPECT_EQ(a.status, b.status);
    EXPECT_EQ(a.is_vhost_mapped, b.is_vhost_mapped);
    EXPECT_EQ(a.is_bound, b.is_bound);
    EXPECT_EQ(a.allow_bkpobj, b.allow_bkpobj);
    EXPECT_EQ(a.storage_manager, b.storage_manager);
    EXPECT_EQ(a.import_total, b.import_total);
    EXPECT_EQ(a.import_done, b.import_done);
    EXPECT_EQ(a.import_errno, b.import_errno);
    EXPECT_EQ(a.sync_total, b.sync_total);
    EXPECT_EQ(a.sync_done, b.sync_done);
    EXPECT_EQ(a.sync_errno, b.sync_errno);
    EXPECT_EQ(a.whitelist, b.whitelist);
    EXPECT_EQ(a.flashcache_status, b.flashcache_status);
    EXPECT_EQ(a.family_config.family_uuid, b.family_config.family_uuid);
    EXPECT_EQ(a.family_config.parent_uuid, b.family_config.parent_uuid);
    EXPECT_EQ(a.family_config.parent_snapshot_uuid, b.family_config.parent_snapshot_uuid);
    EXPECT_EQ(a.family_config.child_uuids, b.family_config.child_uuids);
    EXPECT_EQ(a.rmt_clone_total, b.rmt_clone_total);
    EXPECT_EQ(a.rmt_clone_done, b.rmt_clone_done);
    EXPECT_EQ(a.rmt_clone_sent, b.rmt_clone_sent);
    EXPECT_EQ(a.rmt_clone_errno, b.rmt_clone_errno);
    EXPECT_EQ(a.rmt_clone_status, b.rmt_clone_status);
    EXPECT_EQ(a.tree_size, b.tree_size);
    EXPECT_EQ(a.tree_level, b.tree_level);
    EXPECT_EQ(a.snapshot_count, b.snapshot_count);
}

// LUN record.

TEST(LUNRecord, DefaultConstructorKnowsNothing)
{
    const ISCSILUNInfo lun;
    EXPECT_EQ(lun.uuid, "");
    EXPECT_EQ(lun.lun_id, -1);
    EXPECT_EQ(lun.name, "");
    EXPECT_EQ(lun.type, ISCSI_LUN_TYPE_NONE);
    EXPECT_EQ(lun.location, "");
    EXPECT_EQ(lun.size, 0u);
    EXPECT_EQ(lun.dev_attribs, 0u);
    EXPECT_EQ(lun.additional, ISCSI::ISCSI_LUN_LOAD_NONE);
    EXPECT_FALSE(lun.is_mapped);
    EXPECT_EQ(lun.extent_size, 0u);
    EXPECT_EQ(lun.import_total, 0u);
    EXPECT_EQ(lun.sync_errno, 0);
    EXPECT_EQ(lun.tree_level, 0);
    EXPECT_TRUE(lun.whitelist.empty());
    EXPECT_TRUE(lun.family_config.child_uuids.empty());
}

TEST(LUNRecord, UuidConstructorNamesTheLunOnly)
{
    const ISCSILUNInfo lun("abc");
    EXPECT_EQ(lun.uuid, "abc");
    EXPECT_EQ(lun.name, "");
    EXPECT_EQ(lun.type, ISCSI_LUN_TYPE_NONE);
    EXPECT_EQ(lun.additional, 0);
}

TEST(LUNRecord, JsonOfAnUnloadedRecordHasTheBaseKeysOnly)
{
    ISCSILUNInfo lun("u-1");
    lun.lun_id = 3;
    lun.name = "lun3";
    lun.type = ISCSI_LUN_TYPE_THIN;
    lun.location = "/volume1";
    lun.size = 1073741824ULL;
    lun.extent_size = 8192; // not loaded: not shown
    lun.is_mapped = true;   // not loaded: not shown
    const Json::Value j = ToJson(lun);
    EXPECT_EQ(SortedKeys(j), Sorted(kLunBaseKeys));
    EXPECT_EQ(j["uuid"].asString(), "u-1");
    EXPECT_EQ(j["lun_id"].asInt(), 3);
    EXPECT_EQ(j["name"].asString(), "lun3");
    EXPECT_EQ(j["type"].asInt(), 7);
    EXPECT_EQ(j["type_str"].asString(), "THIN");
    EXPECT_EQ(j["location"].asString(), "/volume1");
    EXPECT_EQ(j["size"].asUInt64(), 1073741824ULL);
    EXPECT_EQ(j["description"].asString(), "");
    EXPECT_EQ(j["vpd_unit_sn"].asString(), "");
}

TEST(LUNRecord, ToJsonFormatReplacesWhatTheValueHeld)
{
    Json::Value j = Parse(R"({"stale":1})");
    EXPECT_EQ(ISCSILUNInfo("x").toJsonFormat(j), 0);
    EXPECT_FALSE(j.isMember("stale"));
    EXPECT_EQ(j["uuid"].asString(), "x");
}

TEST(LUNRecord, DevAttribsListAllFiveAttributesInOrderWithTheirBits)
{
    ISCSILUNInfo lun("u");
    lun.dev_attribs = ISCSI::ISCSI_DEV_ATTRIB_EMULATE_TPU | ISCSI::ISCSI_DEV_ATTRIB_EMULATE_3PC;
    EXPECT_EQ(KOVA::toString(ToJson(lun)["dev_attribs"]),
              R"([{"dev_attrib":"emulate_tpu","enable":true},{"dev_attrib":"emulate_caw","enable":false},)"
              R"({"dev_attrib":"emulate_tpws","enable":false},{"dev_attrib":"emulate_3pc","enable":true},)"
              R"({"dev_attrib":"can_snapshot","enable":false}])");
}

TEST(LUNRecord, DevAttribBitsAreTheValuesRequestsUse)
{
    EXPECT_EQ(ISCSI::ISCSI_DEV_ATTRIB_EMULATE_TPU, 1);
    EXPECT_EQ(ISCSI::ISCSI_DEV_ATTRIB_EMULATE_CAW, 2);
    EXPECT_EQ(ISCSI::ISCSI_DEV_ATTRIB_EMULATE_TPWS, 4);
    EXPECT_EQ(ISCSI::ISCSI_DEV_ATTRIB_EMULATE_3PC, 8);
    EXPECT_EQ(ISCSI::ISCSI_DEV_ATTRIB_CAN_SNAPSHOT, 16);
}

TEST(LUNRecord, TypeTextNamesEveryTypeAndUnknownForOthers)
{
    const std::vector<std::pair<_tag_iscsi_lun_type, const char*>> types = {
        {ISCSI_LUN_TYPE_BLOCK, "BLOCK"},
        {ISCSI_LUN_TYPE_FILE, "FILE"},
        {ISCSI_LUN_TYPE_THIN, "THIN"},
        {ISCSI_LUN_TYPE_ADV, "ADV"},
        {ISCSI_LUN_TYPE_SINK, "SINK"},
        {ISCSI_LUN_TYPE_BKP_THIN, "BKP_THIN"},
        {ISCSI_LUN_TYPE_BKP_ADV, "BKP_ADV"},
        {ISCSI_LUN_TYPE_CINDER, "CINDER"},
        {ISCSI_LUN_TYPE_CINDER_BLUN, "CINDER_BLUN"},
        {ISCSI_LUN_TYPE_CINDER_BLUN_THICK, "CINDER_BLUN_THICK"},
        {ISCSI_LUN_TYPE_BLUN, "BLUN"},
        {ISCSI_LUN_TYPE_BLUN_SINK, "BLUN_SINK"},
        {ISCSI_LUN_TYPE_BLUN_THICK, "BLUN_THICK"},
        {ISCSI_LUN_TYPE_BLUN_THICK_SINK, "BLUN_THICK_SINK"},
        {ISCSI_LUN_TYPE_BKP_BLUN, "BKP_BLUN"},
        {ISCSI_LUN_TYPE_BKP_BLUN_THICK, "BKP_BLUN_THICK"},
        {ISCSI_LUN_TYPE_VDISK_ADV, "VDISK_ADV"},
        {ISCSI_LUN_TYPE_VDISK_BLUN, "VDISK_BLUN"},
        {ISCSI_LUN_TYPE_VDISK_BLUN_SINK, "VDISK_BLUN_SINK"},
        {ISCSI_LUN_TYPE_VDISK_BLUN_THICK, "VDISK_BLUN_THICK"},
        {ISCSI_LUN_TYPE_VDISK_BLUN_COW, "VDISK_BLUN_COW"},
        {ISCSI_LUN_TYPE_VDISK_BLUN_C2, "VDISK_BLUN_C2"},
        {ISCSI_LUN_TYPE_NONE, "UNKNOWN"},
        {static_cast<_tag_iscsi_lun_type>(8), "UNKNOWN"},
    };
    for (const auto& t : types) {
        ISCSILUNInfo lun("u");
        lun.type = t.first;
        const Json::Value j = ToJson(lun);
        EXPECT_EQ(j["type"].asInt(), static_cast<int>(t.first));
        EXPECT_EQ(j["type_str"].asString(), t.second) << t.first;
    }
}

TEST(LUNRecord, EachLoadFlagAddsItsKeys)
{
    const LoadGroups groups = {
        {ISCSI::ISCSI_LUN_LOAD_IS_ACTION_LOCKED, {"is_action_locked"}},
        {ISCSI::ISCSI_LUN_LOAD_IS_MAPPED, {"is_mapped"}},
        {ISCSI::ISCSI_LUN_LOAD_EXTENT_SIZE, {"extent_size"}},
        {ISCSI::ISCSI_LUN_LOAD_ALLOCATED_SIZE, {"allocated_size"}},
        {ISCSI::ISCSI_LUN_LOAD_STATUS, {"status"}},
        {ISCSI::ISCSI_LUN_LOAD_IS_VHOST_MAPPED, {"is_vhost_mapped"}},
        {ISCSI::ISCSI_LUN_LOAD_IS_BOUND, {"is_bound"}},
        {ISCSI::ISCSI_LUN_LOAD_ALLOW_BKPOBJ, {"allow_bkpobj"}},
        {ISCSI::ISCSI_LUN_LOAD_STORAGE_MANAGER, {"storage_manager"}},
        {ISCSI::ISCSI_LUN_LOAD_IMPORT_STATUS, {"import_total", "import_done", "import_errno"}},
        {ISCSI::ISCSI_LUN_LOAD_SYNC_PROGRESS, {"sync_total", "sync_done", "sync_errno"}},
        {ISCSI::ISCSI_LUN_LOAD_WHITELIST, {"whitelist"}},
        {ISCSI::ISCSI_LUN_LOAD_FLASHCACHE_STATUS, {"flashcache_status"}},
        {ISCSI::ISCSI_LUN_LOAD_FAMILY_CONFIG, {"family_config"}},
        {ISCSI::ISCSI_LUN_LOAD_REMOTE_CLONE_PROGRESS,
         {"rmt_clone_total", "rmt_clone_done", "rmt_clone_sent", "rmt_clone_errno", "rmt_clone_status"}},
        {ISCSI::ISCSI_LUN_LOAD_SUB_VOL_INFO, {"tree_size", "tree_level"}},
        {ISCSI::ISCSI_LUN_LOAD_SNAPSHOT_INFO, {"snapshot_count"}},
    };
    ExpectEachLoadFlagAddsItsKeys<ISCSILUNInfo>("u", kLunBaseKeys, groups);
    int all = 0;
    for (const auto& group : groups)
        all |= group.first;
    EXPECT_EQ(all, ISCSI::ISCSI_LUN_LOAD_ALL);
}

TEST(LUNRecord, LoadFlagsAreTheBitsOfTheAdditionalNames)
{
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_IS_ACTION_LOCKED, 0x2);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_IS_MAPPED, 0x4);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_EXTENT_SIZE, 0x8);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_ALLOCATED_SIZE, 0x10);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_STATUS, 0x20);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_IS_VHOST_MAPPED, 0x40);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_IS_BOUND, 0x80);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_ALLOW_BKPOBJ, 0x100);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_STORAGE_MANAGER, 0x200);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_IMPORT_STATUS, 0x400);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_SYNC_PROGRESS, 0x800);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_WHITELIST, 0x1000);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_FLASHCACHE_STATUS, 0x2000);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_FAMILY_CONFIG, 0x4000);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_REMOTE_CLONE_PROGRESS, 0x8000);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_SUB_VOL_INFO, 0x10000);
    EXPECT_EQ(ISCSI::ISCSI_LUN_LOAD_SNAPSHOT_INFO, 0x20000);
}

TEST(LUNRecord, FullyLoadedRecordRoundTripsEveryField)
{
    const ISCSILUNInfo lun = FullLun();
    ISCSILUNInfo back;
    ASSERT_EQ(back.loadFromJson(ToJson(lun)), 0);
    ExpectSameLun(lun, back);
    EXPECT_EQ(ToJson(back), ToJson(lun));
}

TEST(LUNRecord, RoundTripSurvivesTheJsonText)
{
    const ISCSILUNInfo lun = FullLun();
    ISCSILUNInfo back;
    ASSERT_EQ(back.loadFromJson(Parse(KOVA::toString(ToJson(lun)))), 0);
    ExpectSameLun(lun, back);
}

TEST(LUNRecord, LoadedValuesAreWrittenUnderTheirKeys)
{
    const Json::Value j = ToJson(FullLun());
    EXPECT_EQ(j["size"].asUInt64(), std::numeric_limits<unsigned long long>::max());
    EXPECT_EQ(j["import_total"].asUInt64(), 1000u);
    EXPECT_EQ(j["import_done"].asUInt64(), 400u);
    EXPECT_EQ(j["import_errno"].asInt(), 5);
    EXPECT_EQ(j["sync_errno"].asInt(), -2);
    EXPECT_EQ(j["rmt_clone_sent"].asUInt64(), 10u);
    EXPECT_EQ(j["rmt_clone_status"].asInt(), 3);
    EXPECT_EQ(j["tree_size"].asUInt64(), 4096u);
    EXPECT_EQ(j["tree_level"].asInt(), 2);
    EXPECT_EQ(KOVA::toString(j["whitelist"]), R"(["10.0.0.1","fe80::1"])");
    EXPECT_EQ(KOVA::toString(j["family_config"]),
              R"({"child_uuids":["child-1","child-2"],"family_uuid":"fam-1","parent_snapshot_uuid":"snap-1",)"
              R"("parent_uuid":"parent-1"})");
    EXPECT_EQ(j["status"].asString(), "normal");
    EXPECT_EQ(j["extent_size"].asUInt(), 8192u);
}

TEST(LUNRecord, EmptyWhitelistIsWrittenAsAnEmptyArray)
{
    ISCSILUNInfo lun("u");
    lun.additional = ISCSI::ISCSI_LUN_LOAD_WHITELIST;
    EXPECT_EQ(KOVA::toString(ToJson(lun)["whitelist"]), "[]");
}

TEST(LUNRecord, LoadFromJsonLeavesFieldsOfAbsentKeys)
{
    ISCSILUNInfo lun = FullLun();
    ASSERT_EQ(lun.loadFromJson(Parse(R"({"uuid":"other","name":"renamed"})")), 0);
    EXPECT_EQ(lun.uuid, "other");
    EXPECT_EQ(lun.name, "renamed");
    EXPECT_EQ(lun.lun_id, 12);
    EXPECT_EQ(lun.location, "/volume2");
    EXPECT_EQ(lun.whitelist.size(), 2u);
    EXPECT_EQ(lun.additional, ISCSI::ISCSI_LUN_LOAD_ALL);
}

TEST(LUNRecord, LoadFromJsonIgnoresTheTypeText)
{
    ISCSILUNInfo lun;
    ASSERT_EQ(lun.loadFromJson(Parse(R"({"uuid":"u","type":263,"type_str":"THIN"})")), 0);
    EXPECT_EQ(lun.type, ISCSI_LUN_TYPE_BLUN);
}

TEST(LUNRecord, LoadFromJsonReadsDevAttribsByName)
{
    ISCSILUNInfo lun("u");
    lun.dev_attribs = ISCSI::ISCSI_DEV_ATTRIB_EMULATE_TPWS | ISCSI::ISCSI_DEV_ATTRIB_EMULATE_CAW;
    ASSERT_EQ(lun.loadFromJson(Parse(R"({"uuid":"u","dev_attribs":[{"dev_attrib":"emulate_tpu","enable":1},)"
                                     R"({"dev_attrib":"emulate_caw","enable":false},)"
                                     R"({"dev_attrib":"emulate_xyz","enable":true}]})")),
              0);
    // tpu set, caw cleared, tpws not named so kept, the unknown name skipped.
    EXPECT_EQ(lun.dev_attribs,
              unsigned(ISCSI::ISCSI_DEV_ATTRIB_EMULATE_TPU | ISCSI::ISCSI_DEV_ATTRIB_EMULATE_TPWS));
}

TEST(LUNRecord, LoadFromJsonRefusesWhatIsNoLunRecord)
{
    const std::vector<std::string> bad = {
        R"([])",
        R"("text")",
        R"(null)",
        R"({"name":"no uuid"})",
        R"({"uuid":5})",
        R"({"uuid":"u","lun_id":"3"})",
        R"({"uuid":"u","size":-1})",
        R"({"uuid":"u","size":"big"})",
        R"({"uuid":"u","type":"THIN"})",
        R"({"uuid":"u","is_mapped":1})",
        R"({"uuid":"u","extent_size":-8192})",
        R"({"uuid":"u","whitelist":"10.0.0.1"})",
        R"({"uuid":"u","whitelist":[1]})",
        R"({"uuid":"u","family_config":[]})",
        R"({"uuid":"u","family_config":{"child_uuids":[7]}})",
        R"({"uuid":"u","dev_attribs":{}})",
        R"({"uuid":"u","dev_attribs":[{"dev_attrib":"emulate_tpu"}]})",
        R"({"uuid":"u","dev_attribs":["emulate_tpu"]})",
        R"({"uuid":"u","import_errno":1.5})",
    };
    ExpectEachFormRefused<ISCSILUNInfo>(bad, kBadRecordJson);
}

TEST(LUNRecord, ToStringIsOneLineWithTheIdentity)
{
    ISCSILUNInfo lun("u-9");
    lun.lun_id = 4;
    lun.name = "db";
    lun.type = ISCSI_LUN_TYPE_VDISK_BLUN;
    lun.location = "/volume3";
    lun.size = 2048;
    EXPECT_EQ(lun.toString(),
              "uuid: u-9, lun_id: 4, name: db, type: VDISK_BLUN (295), location: /volume3, size: 2048");
    EXPECT_EQ(ISCSILUNInfo().toString(),
              "uuid: , lun_id: -1, name: , type: UNKNOWN (0), location: , size: 0");
}

TEST(LUNRecord, IsCopiedByValueWithItsFamily)
{
    ISCSILUNInfo copy;
    {
        const ISCSILUNInfo lun = FullLun();
        copy = lun;
    }
    EXPECT_EQ(copy.family_config.child_uuids, (std::vector<std::string>{"child-1", "child-2"}));
    EXPECT_EQ(copy.whitelist, (std::vector<std::string>{"10.0.0.1", "fe80::1"}));
}

TEST(LUNRecord, FamilyConfigStartsEmpty)
{
    const ISCSIFamilyConfigInfo family;
    EXPECT_EQ(family.family_uuid, "");
    EXPECT_EQ(family.parent_uuid, "");
    EXPECT_EQ(family.parent_snapshot_uuid, "");
    EXPECT_TRUE(family.child_uuids.empty());
}

TEST(LUNRecord, CategoriesAreTheTypeBits)
{
    EXPECT_EQ(ISCSI_LUN_CATEGORY_ALL, 0);
    EXPECT_EQ(ISCSI_LUN_CATEGORY_THIN, 4);
    EXPECT_EQ(ISCSI_LUN_CATEGORY_BLUN, 256);
    EXPECT_EQ(ISCSI_LUN_TYPE_BLUN_THICK & ISCSI_LUN_CATEGORY_BLUN, ISCSI_LUN_CATEGORY_BLUN);
    EXPECT_NE(ISCSI_LUN_TYPE_BLUN_THICK & ISCSI_LUN_CATEGORY_THIN, ISCSI_LUN_CATEGORY_THIN);
}

TEST(LUNRecord, ConfigStructureCanBeZeroed)
{
    _tag_iscsi_lun_ lun{};
    EXPECT_EQ(lun.type, ISCSI_LUN_TYPE_NONE);
    EXPECT_EQ(lun.location[0], '\0');
    EXPECT_EQ(lun.size, 0u);
    EXPECT_GE(sizeof(lun.name), 258u); // the longest valid object name and its NUL
}

// Snapshot record.

ISCSISnapshotInfo FullSnapshot()
{
    ISCSISnapshotInfo s("5d4c3b2a-0000-1111-2222-333344445555");
    s.lun_uuid = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";
    s.version = "9e8d7c6b-aaaa-bbbb-cccc-ddddeeeeffff";
    s.name = "daily-1";
    s.description = "before the upgrade";
    s.taken_by = "admin";
    s.location = "/volume1";
    s.status = "normal";
    s.type = ISCSI::ISCSI_SNAPSHOT_TYPE_BLUN;
    s.snapshot_id = 17;
    s.size = 123456789012ULL;
    s.snapshot_time = 1700000000L;
    s.is_user_locked = true;
    s.is_app_consistent = true;
    s.is_scheduled = true;
    s.additional = ISCSI::ISCSI_SNAPSHOT_LOAD_ALL;
    s.is_action_locked = true;
    s.locked_app_keys = {"backup", "replication"};
    s.export_total = 100;
    s.export_done = 50;
    s.export_errno = 28;
    s.sync_total = 200;
    s.sync_done = 150;
    return s;
}

void ExpectSameSnapshot(const ISCSISnapshotInfo& a, const ISCSISnapshotInfo& b)
{
    EXPECT_EQ(a.uuid, b.uuid);
    EXPECT_EQ(a.lun_uuid, b.lun_uuid);
    EXPECT_EQ(a.version, b.version);
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.description, b.description);
    EXPECT_EQ(a.taken_by, b.taken_by);
    EXPECT_EQ(a.location, b.location);
    EXPECT_EQ(a.status, b.status);
    EXPECT_EQ(a.type, b.type);
    EXPECT_EQ(a.snapshot_id, b.snapshot_id);
    EXPECT_EQ(a.size, b.size);
    EXPECT_EQ(a.snapshot_time, b.snapshot_time);
    EXPECT_EQ(a.is_user_locked, b.is_user_locked);
    EXPECT_EQ(a.is_app_consistent, b.is_app_consistent);
    EXPECT_EQ(a.is_scheduled, b.is_scheduled);
    EXPECT_EQ(a.additional, b.additional);
    EXPECT_EQ(a.is_action_locked, b.is_action_locked);
    EXPECT_EQ(a.locked_app_keys, b.locked_app_keys);
    EXPECT_EQ(a.export_total, b.export_total);
    EXPECT_EQ(a.export_done, b.export_done);
    EXPECT_EQ(a.export_errno, b.export_errno);
    EXPECT_EQ(a.sync_total, b.sync_total);
    EXPECT_EQ(a.sync_done, b.sync_done);
}

TEST(SnapshotRecord, DefaultConstructorKnowsNothing)
{
    const ISCSISnapshotInfo s;
    EXPECT_EQ(s.uuid, "");
    EXPECT_EQ(s.version, "");
    EXPECT_EQ(s.type, ISCSI::ISCSI_SNAPSHOT_TYPE_NONE);
    EXPECT_EQ(s.snapshot_id, -1);
    EXPECT_EQ(s.size, 0u);
    EXPECT_EQ(s.snapshot_time, 0);
    EXPECT_FALSE(s.is_user_locked);
    EXPECT_EQ(s.additional, ISCSI::ISCSI_SNAPSHOT_LOAD_NONE);
    EXPECT_TRUE(s.locked_app_keys.empty());
    EXPECT_EQ(s.export_total, 0u);
    EXPECT_EQ(s.export_errno, 0);
}

TEST(SnapshotRecord, UuidConstructorNamesTheSnapshotOnly)
{
    const ISCSISnapshotInfo s("s-1");
    EXPECT_EQ(s.uuid, "s-1");
    EXPECT_EQ(s.name, "");
    EXPECT_EQ(s.type, 0);
}

TEST(SnapshotRecord, JsonOfAnUnloadedRecordIsExact)
{
    ISCSISnapshotInfo s = FullSnapshot();
    s.additional = ISCSI::ISCSI_SNAPSHOT_LOAD_NONE;
    EXPECT_EQ(
        KOVA::toString(ToJson(s)),
        R"({"description":"before the upgrade","is_app_consistent":true,"is_scheduled":true,)"
        R"("is_user_locked":true,"location":"/volume1","lun_uuid":"0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d",)"
        R"("name":"daily-1","size":123456789012,"snapshot_id":17,"snapshot_time":1700000000,)"
        R"("status":"normal","taken_by":"admin","type":2,"uuid":"5d4c3b2a-0000-1111-2222-333344445555",)"
        R"("version":"9e8d7c6b-aaaa-bbbb-cccc-ddddeeeeffff"})");
}

TEST(SnapshotRecord, EachLoadFlagAddsItsKeys)
{
    const std::vector<std::string> base = {
        "uuid",           "lun_uuid",          "version",     "name",
        "description",    "taken_by",          "location",    "status",
        "type",           "snapshot_id",       "size",        "snapshot_time",
        "is_user_locked", "is_app_consistent", "is_scheduled"};
    const LoadGroups groups = {
        {ISCSI::ISCSI_SNAPSHOT_LOAD_IS_ACTION_LOCKED, {"is_action_locked"}},
        {ISCSI::ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS, {"locked_app_keys"}},
        {ISCSI::ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS, {"export_total", "export_done", "export_errno"}},
        {ISCSI::ISCSI_SNAPSHOT_LOAD_SYNC_PROGRESS, {"sync_total", "sync_done"}},
    };
    EXPECT_EQ(SortedKeys(ToJson(ISCSISnapshotInfo("s"))), Sorted(base));
    ExpectEachLoadFlagAddsItsKeys<ISCSISnapshotInfo>("s", base, groups);
}

TEST(SnapshotRecord, LoadFlagsAreTheBitsOfTheAdditionalNames)
{
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_LOAD_IS_ACTION_LOCKED, 1);
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS, 2);
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS, 4);
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_LOAD_SYNC_PROGRESS, 8);
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_TYPE_ADV, 1);
    EXPECT_EQ(ISCSI::ISCSI_SNAPSHOT_TYPE_BLUN, 2);
}

TEST(SnapshotRecord, FullyLoadedRecordRoundTripsEveryField)
{
    const ISCSISnapshotInfo s = FullSnapshot();
    ISCSISnapshotInfo back;
    ASSERT_EQ(back.loadFromJson(Parse(KOVA::toString(ToJson(s)))), 0);
    ExpectSameSnapshot(s, back);
    EXPECT_EQ(ToJson(back), ToJson(s));
    const Json::Value j = ToJson(s);
    EXPECT_EQ(KOVA::toString(j["locked_app_keys"]), R"(["backup","replication"])");
    EXPECT_EQ(j["export_total"].asUInt64(), 100u);
    EXPECT_EQ(j["export_done"].asUInt64(), 50u);
    EXPECT_EQ(j["export_errno"].asInt(), 28);
    EXPECT_EQ(j["sync_total"].asUInt64(), 200u);
    EXPECT_EQ(j["sync_done"].asUInt64(), 150u);
}

TEST(SnapshotRecord, NegativeAndLargeTimesRoundTrip)
{
    for (long t : {-1L, 0L, 4102444800L}) {
        ISCSISnapshotInfo s("s");
        s.snapshot_time = t;
        ISCSISnapshotInfo back;
        ASSERT_EQ(back.loadFromJson(ToJson(s)), 0);
        EXPECT_EQ(back.snapshot_time, t);
    }
}

TEST(SnapshotRecord, LoadFromJsonLeavesFieldsOfAbsentKeys)
{
    ISCSISnapshotInfo s = FullSnapshot();
    ASSERT_EQ(s.loadFromJson(Parse(R"({"uuid":"other","type":1})")), 0);
    EXPECT_EQ(s.uuid, "other");
    EXPECT_EQ(s.type, 1);
    EXPECT_EQ(s.version, "9e8d7c6b-aaaa-bbbb-cccc-ddddeeeeffff");
    EXPECT_EQ(s.snapshot_id, 17);
}

TEST(SnapshotRecord, LoadFromJsonRefusesWhatIsNoSnapshotRecord)
{
    const std::vector<std::string> bad = {
        R"([])",
        R"(7)",
        R"({"name":"no uuid"})",
        R"({"uuid":null})",
        R"({"uuid":"s","type":"1"})",
        R"({"uuid":"s","snapshot_id":1.5})",
        R"({"uuid":"s","size":-5})",
        R"({"uuid":"s","snapshot_time":"now"})",
        R"({"uuid":"s","is_user_locked":"yes"})",
        R"({"uuid":"s","locked_app_keys":"k"})",
        R"({"uuid":"s","locked_app_keys":[true]})",
        R"({"uuid":"s","export_done":"1"})",
        R"({"uuid":"s","version":3})",
    };
    ExpectEachFormRefused<ISCSISnapshotInfo>(bad, kBadRecordJson);
}

TEST(SnapshotRecord, ToStringIsOneLineWithTheIdentity)
{
    EXPECT_EQ(FullSnapshot().toString(),
              "uuid: 5d4c3b2a-0000-1111-2222-333344445555, lun_uuid: 0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d, "
              "version: 9e8d7c6b-aaaa-bbbb-cccc-ddddeeeeffff, name: daily-1, snapshot_id: 17, type: 2, "
              "snapshot_time: 1700000000, is_user_locked: true");
    EXPECT_EQ(ISCSISnapshotInfo().toString(),
              "uuid: , lun_uuid: , version: , name: , snapshot_id: -1, type: 0, snapshot_time: 0, "
              "is_user_locked: false");
}

TEST(LUNRecord, ATypeNumberNoLunTypeCanHoldIsRefusedAndAnUnknownOneIsKept)
{
    // Found by fuzzing: 263737 was stored into the enumeration, which cannot hold it.
    for (const char* type : {"263737", "2048", "-1"}) {
        ISCSILUNInfo lun;
        EXPECT_EQ(lun.loadFromJson(Parse(std::string(R"({"uuid":"u","type":)") + type + "}")), 18990204)
            << type;
        EXPECT_EQ(lun.type, ISCSI_LUN_TYPE_NONE) << type;
    }
    ISCSILUNInfo unknown;
    ASSERT_EQ(unknown.loadFromJson(Parse(R"({"uuid":"u","type":2047})")), 0);
    EXPECT_EQ(static_cast<int>(unknown.type), 2047);
    Json::Value out;
    ASSERT_EQ(unknown.toJsonFormat(out), 0);
    EXPECT_EQ(out["type_str"].asString(), "UNKNOWN");
}

} // namespace
