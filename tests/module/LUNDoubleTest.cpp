// The recording double of the LUN part of the storage library: what it logs of each call and
// how it answers a script, as the handler tests rely on it.
#include "LibDouble.h"

#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSINodeInfo.h>
#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using ISCSI::ISCSILUNInfo;
using ISCSI::ISCSISnapshotInfo;
using ISCSI::LIB::LIBLUN::ISCSILIBLUN;
using KOVATest::LibDouble;

class LUNDoubleTest : public ::testing::Test {
protected:
    void SetUp() override { LibDouble::Get().Reset(); }
    void TearDown() override { LibDouble::Get().Reset(); }
    LibDouble& Lib() { return LibDouble::Get(); }
};

TEST_F(LUNDoubleTest, DefaultConstructionIsNotLoggedTheOthersAre)
{
    ISCSILIBLUN empty;
    EXPECT_EQ(Lib().CallsText(), "");
    ISCSILIBLUN lun = ISCSILIBLUN("u-1", true, false, true);
    ISCSILIBLUN made("lun1", ISCSI_LUN_TYPE_THIN, "/volume1", 1024, 8192, 3, 1, "SN", false);
    EXPECT_EQ(Lib().CallsText(),
              "ISCSILIBLUN::ISCSILIBLUN([\"u-1\",true,false,true])\n"
              "ISCSILIBLUN::ISCSILIBLUN([\"lun1\",7,\"/volume1\",1024,8192,3,1,\"SN\",false])\n");
    EXPECT_EQ(lun.uuid, "u-1");
    EXPECT_TRUE(lun.is_soft_feas_ignored);
    EXPECT_TRUE(lun.is_feasibility_precheck);
    EXPECT_EQ(made.name, "lun1");
    EXPECT_EQ(made.extent_size, 8192u);
    EXPECT_EQ(made.dev_attrib_mask, 3u);
    EXPECT_EQ(made.dev_attribs, 1u);
}

TEST_F(LUNDoubleTest, TakeSnapshotLogsItsArgumentsAndAnswersTheScript)
{
    Lib().Script("ISCSILIBLUN::takeSnapshot", 0, R"({"snapshot_uuid":"s-9","snapshot_id":4})");
    ISCSILIBLUN lun("u", false, false, false);
    std::string snapshotUuid;
    int snapshotId = -1;
    EXPECT_EQ(lun.takeSnapshot(true, false, "n", "d", "me", 77L, true, "", "v", snapshotUuid, snapshotId), 0);
    EXPECT_EQ(snapshotUuid, "s-9");
    EXPECT_EQ(snapshotId, 4);
    ASSERT_EQ(Lib().CallsOf("ISCSILIBLUN::takeSnapshot").size(), 1u);
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::takeSnapshot")[0].args),
              R"([true,false,"n","d","me",77,true,"","v","",-1])");
}

TEST_F(LUNDoubleTest, UnscriptedCallsAnswer0AndLeaveOutputs)
{
    std::string uuid = "kept";
    EXPECT_EQ(ISCSILUNInfo::GetLunUuid("lun1", uuid), 0);
    EXPECT_EQ(uuid, "kept");
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505, "{}");
    EXPECT_EQ(ISCSILUNInfo::GetLunUuid("x", uuid), 18990505);
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"canonical"})");
    EXPECT_EQ(ISCSILUNInfo::GetLunUuid("lun1", uuid), 0);
    EXPECT_EQ(uuid, "canonical");
    EXPECT_EQ(Lib().CallsText(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"kept\"])\n"
                                 "ISCSILUNInfo::GetLunUuid([\"x\",\"kept\"])\n"
                                 "ISCSILUNInfo::GetLunUuid([\"lun1\",\"kept\"])\n");
}

TEST_F(LUNDoubleTest, FeasibilityFailureSetsTheDetail)
{
    Lib().Script("ISCSILIBLUN::createLUN", 18990335,
                 R"({"ISCSILIBLUN::feasibility_detail":{"hard":[{"reason":"x"}]}})");
    ISCSILIBLUN lun("lun1", ISCSI_LUN_TYPE_ADV, "/volume1", 1, 8192, 0, 0, "", false);
    EXPECT_EQ(lun.createLUN("", ""), 18990335);
    EXPECT_EQ(KOVA::toString(lun.feasibility_detail), R"({"hard":[{"reason":"x"}]})");
}

TEST_F(LUNDoubleTest, CreateLunSetsUuidAndId)
{
    Lib().Script("ISCSILIBLUN::createLUN", 0, R"({"ISCSILIBLUN::uuid":"new","ISCSILIBLUN::lun_id":5})");
    ISCSILIBLUN lun("lun1", ISCSI_LUN_TYPE_ADV, "/volume1", 1, 8192, 0, 0, "", false);
    EXPECT_EQ(lun.createLUN("/volume1/src", ""), 0);
    EXPECT_EQ(lun.uuid, "new");
    EXPECT_EQ(lun.lun_id, 5);
    EXPECT_TRUE(lun.feasibility_detail.isNull());
}

TEST_F(LUNDoubleTest, LoadLunInfoMarksItsFlagsAndSetsScriptedFields)
{
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 0,
                 R"({"ISCSILIBLUN::import_total":9,"ISCSILIBLUN::whitelist":["10.0.0.1"],)"
                 R"("ISCSILIBLUN::family_config":{"parent_uuid":"p"}})");
    ISCSILIBLUN lun("u", false, false, false);
    const int flags = ISCSI::ISCSI_LUN_LOAD_IMPORT_STATUS | ISCSI::ISCSI_LUN_LOAD_WHITELIST;
    EXPECT_EQ(lun.loadLUNInfo(flags), 0);
    EXPECT_EQ(lun.additional, flags);
    EXPECT_EQ(lun.import_total, 9u);
    EXPECT_EQ(lun.whitelist, std::vector<std::string>{"10.0.0.1"});
    EXPECT_EQ(lun.family_config.parent_uuid, "p");
    Json::Value j;
    lun.toJsonFormat(j);
    EXPECT_EQ(j["import_total"].asUInt64(), 9u);
    EXPECT_EQ(KOVA::toString(j["whitelist"]), R"(["10.0.0.1"])");

    Lib().Script("ISCSILIBLUN::loadLUNInfo", 18990514, "{}");
    ISCSILIBLUN other("v", false, false, false);
    EXPECT_EQ(other.loadLUNInfo(flags), 18990514);
    EXPECT_EQ(other.additional, 0);
}

TEST_F(LUNDoubleTest, ListLunReadsScriptedRecordsWithTheCallsFlags)
{
    Lib().Script("ISCSILIBLUN::ListLUN", 0,
                 R"({"luns":[{"uuid":"a","type":7,"location":"/volume1"},{"uuid":"b","type":263}]})");
    std::vector<ISCSILUNInfo> luns;
    EXPECT_EQ(ISCSILIBLUN::ListLUN(luns, ISCSI::ISCSI_LUN_LOAD_IS_MAPPED), 0);
    ASSERT_EQ(luns.size(), 2u);
    EXPECT_EQ(luns[0].uuid, "a");
    EXPECT_EQ(luns[0].type, ISCSI_LUN_TYPE_THIN);
    EXPECT_EQ(luns[0].location, "/volume1");
    EXPECT_EQ(luns[1].type, ISCSI_LUN_TYPE_BLUN);
    EXPECT_EQ(luns[1].additional, ISCSI::ISCSI_LUN_LOAD_IS_MAPPED);
    EXPECT_EQ(Lib().CallsText(), "ISCSILIBLUN::ListLUN([[],4])\n");
}

TEST_F(LUNDoubleTest, ListSnapshotReadsScriptedRecords)
{
    Lib().Script("ISCSILIBLUN::listSnapshot", 0, R"({"snapshots":[{"uuid":"s1","version":"v1","type":1}]})");
    ISCSILIBLUN lun("u", false, false, false);
    std::vector<ISCSISnapshotInfo> snapshots;
    EXPECT_EQ(lun.listSnapshot(snapshots, ISCSI::ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS), 0);
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_EQ(snapshots[0].version, "v1");
    EXPECT_EQ(snapshots[0].type, 1);
    EXPECT_EQ(snapshots[0].additional, ISCSI::ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS);
}

TEST_F(LUNDoubleTest, RecordOperationsLogTheRecordFirst)
{
    ISCSISnapshotInfo snapshot("s-1");
    EXPECT_EQ(snapshot.lockSnapshotByAppKey("key"), 0);
    const auto calls = Lib().CallsOf("ISCSISnapshotInfo::lockSnapshotByAppKey");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].args[0]["uuid"].asString(), "s-1");
    EXPECT_EQ(calls[0].args[1].asString(), "key");
}

TEST_F(LUNDoubleTest, SnapshotLoadFromConfigSetsScriptedFields)
{
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 0,
                 R"({"ISCSISnapshotInfo::type":2,"ISCSISnapshotInfo::export_done":3})");
    ISCSISnapshotInfo snapshot("s-1");
    EXPECT_EQ(snapshot.loadFromConfig(ISCSI::ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS), 0);
    EXPECT_EQ(snapshot.type, 2);
    EXPECT_EQ(snapshot.export_done, 3u);
    EXPECT_EQ(snapshot.additional, ISCSI::ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS);
}

TEST_F(LUNDoubleTest, LunLoadFromConfigFillsTheStructure)
{
    Lib().Script("ISCSILUNInfo::loadFromConfig", 0, R"({"lun":{"type":263,"location":"/volume4"}})");
    _tag_iscsi_lun_ config{};
    ISCSILUNInfo lun("u-2");
    EXPECT_EQ(lun.loadFromConfig(config, 0), 0);
    EXPECT_EQ(config.type, ISCSI_LUN_TYPE_BLUN);
    EXPECT_EQ(std::string(config.location), "/volume4");
    const auto calls = Lib().CallsOf("ISCSILUNInfo::loadFromConfig");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].args[0]["uuid"].asString(), "u-2");
    EXPECT_EQ(calls[0].args[1]["location"].asString(), "");
    EXPECT_EQ(calls[0].args[2].asInt(), 0);
}

TEST_F(LUNDoubleTest, RemoteDiskQueryLogsTheUuidAndAnswersTheFlag)
{
    Lib().Script("KOVAiSCSILunIsRemoteDisk", 0, R"({"is_remote":true})");
    bool isRemote = false;
    EXPECT_EQ(KOVAiSCSILunIsRemoteDisk("u-3", &isRemote), 0);
    EXPECT_TRUE(isRemote);
    EXPECT_EQ(Lib().CallsText(), "KOVAiSCSILunIsRemoteDisk([\"u-3\",false])\n");
}

TEST_F(LUNDoubleTest, RemoteCloneLogsTheNodeInItsJsonForm)
{
    Lib().Script("ISCSILIBLUN::remoteClone", 0, R"({"dst_lun_uuid":"c-1"})");
    ISCSILIBLUN lun("u", false, false, false);
    std::string dstLunUuid;
    EXPECT_EQ(lun.remoteClone("copy", ISCSI_LUN_TYPE_BLUN, "/volume1", ISCSI::ISCSINodeInfo("node-1"),
                              "10.0.0.9", 3260, dstLunUuid, "", true, true),
              0);
    EXPECT_EQ(dstLunUuid, "c-1");
    const auto calls = Lib().CallsOf("ISCSILIBLUN::remoteClone");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].args[3]["uuid"].asString(), "node-1");
    EXPECT_EQ(calls[0].args[5].asUInt(), 3260u);
}

TEST_F(LUNDoubleTest, SetsAreLoggedInOrder)
{
    ISCSILIBLUN lun("u", false, false, false);
    EXPECT_EQ(lun.mapTarget({3, 1, 2}), 0);
    std::string vhost;
    EXPECT_EQ(lun.remoteMapVhost("u", {"b:3260", "a:3260"}, "rk", "", vhost), 0);
    EXPECT_EQ(lun.remoteUpdateLUN("u", 5u, 1u), 0);
    EXPECT_EQ(lun.remoteUpdateLUN("u", 0ULL), 0);
    EXPECT_EQ(Lib().CallsText(),
              "ISCSILIBLUN::ISCSILIBLUN([\"u\",false,false,false])\n"
              "ISCSILIBLUN::mapTarget([[1,2,3]])\n"
              "ISCSILIBLUN::remoteMapVhost([\"u\",[\"a:3260\",\"b:3260\"],\"rk\",\"\",\"\"])\n"
              "ISCSILIBLUN::remoteUpdateLUN([\"u\",5,1])\n"
              "ISCSILIBLUN::remoteUpdateLUN([\"u\",0])\n");
}

} // namespace
