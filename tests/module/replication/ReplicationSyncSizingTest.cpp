// get_base_version, compute_unsync_size, get_unsync_size and check_node against the recording
// double: what reaches the storage library, what the caller gets back, and what the system
// log shows.
#include "HandlerTest.h"

#include "replication/WebAPIServerReplication.h"

#include <iscsi/ISCSISnapshotInfo.h>

#include <initializer_list>
#include <string>
#include <utility>

namespace {

using namespace ISCSI::WebAPI::APIReplication;
using KOVATest::Answer;

const char TASK_ID[] = "task-7";
const char TASK[] = "7a5c0000-0000-4000-8000-000000000007";
const char LUN_ID[] = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";
const char LUN[] = "1c0e0000-0000-4000-8000-0000000000aa";
const char SYNC_VERSION[] = "AbCdEf01-2345-6789-abcd-ef0123456789";
const char NODE[] = "bbbbbbbb-1111-2222-3333-444444444444";
const char SNAP_A[] = "5a900000-0000-4000-8000-00000000000a";
const char SNAP_B[] = "5a900000-0000-4000-8000-00000000000b";

using KOVATest::Params;
using KOVATest::With;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerReplication.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerReplication.cpp", function, code, params);
}

// A snapshot's JSON form as a source node sends it.
Json::Value SnapshotForm(const std::string& uuid, const std::string& version, const std::string& name)
{
    ISCSI::ISCSISnapshotInfo snapshot(uuid);
    snapshot.lun_uuid = LUN;
    snapshot.version = version;
    snapshot.name = name;
    snapshot.type = ISCSI::ISCSI_SNAPSHOT_TYPE_BLUN;
    Json::Value form;
    snapshot.toJsonFormat(form);
    return form;
}

Json::Value Array(std::initializer_list<Json::Value> elements)
{
    Json::Value array(Json::arrayValue);
    for (const Json::Value& element : elements)
        array.append(element);
    return array;
}

class ReplicationSyncSizingTest : public KOVATest::HandlerTest {
protected:
    void ResolveTask() { Lib().Script("ISCSITaskInfo::GetTaskUuid", 0, Params({{"uuid", TASK}})); }
    void ResolveLUN() { Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", LUN}})); }
    void ResolveSnapshot(const char* canonical)
    {
        Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 0, Params({{"uuid", canonical}}));
    }
    // The snapshot map that getBaseVersion received, as the double logs it.
    Json::Value MapGiven()
    {
        const auto calls = Lib().CallsOf("ISCSILIBReplication::getBaseVersion");
        return calls.size() == 1 ? calls[0].args[2] : Json::Value("no single call");
    }
};

// get_base_version

const std::string BASE = Params({{"uuid", TASK_ID}, {"source_snapshots", Json::Value(Json::arrayValue)}});

TEST_F(ReplicationSyncSizingTest, GetBaseVersionResolvesTaskAndLUNAndAnswersTheFiveOutputs)
{
    ResolveTask();
    ResolveLUN();
    Lib().Script("ISCSILIBReplication::getBaseVersion", 0,
                 R"({"base_version":"v-9","need_full_sync":true,"do_restore":true,"btrfs_token":"tok",)"
                 R"("snap_recv_dir":"/volume1/@recv"})");
    const std::string params = Params({{"uuid", TASK_ID},
                                       {"lun_uuid", LUN_ID},
                                       {"sync_version", SYNC_VERSION},
                                       {"source_snapshots", Array({SnapshotForm(SNAP_A, "v-1", "daily")})}});
    auto r = Call(GetBaseVersion, params);
    EXPECT_EQ(Answer(r), R"(success {"base_version":"v-9","btrfs_token":"tok","do_restore":true,)"
                         R"("need_full_sync":true,"snap_recv_dir":"/volume1/@recv"})");
    Json::Value map(Json::objectValue);
    map["v-1"] = SnapshotForm(SNAP_A, "v-1", "daily");
    EXPECT_EQ(LibCalls(), std::string("ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                                      "ISCSILUNInfo::GetLunUuid([\"") +
                              LUN_ID + "\",\"\"])\nISCSILIBReplication::ISCSILIBReplication([\"" + TASK +
                              "\"])\nISCSILIBReplication::getBaseVersion([\"" + LUN + "\",\"" + SYNC_VERSION +
                              "\"," + KOVA::toString(map) + ",\"\",false,false,\"\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("GetBaseVersion", params));
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionWithAnEmptySnapshotListCallsTheLibraryWithAnEmptyMap)
{
    EXPECT_EQ(Answer(Call(GetBaseVersion, BASE)),
              R"(success {"base_version":"","btrfs_token":"","do_restore":false,"need_full_sync":false,)"
              R"("snap_recv_dir":""})");
    EXPECT_EQ(MapGiven(), Json::Value(Json::objectValue));
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBReplication::getBaseVersion")[0].args),
              R"(["","",{},"",false,false,"",""])");
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionKeysTheSnapshotsByVersionAndKeepsTheFirstOfADuplicate)
{
    Call(GetBaseVersion,
         With(BASE, {{"source_snapshots",
                      Array({SnapshotForm(SNAP_B, "v-2", "second"), SnapshotForm(SNAP_A, "v-1", "first"),
                             SnapshotForm(SNAP_A, "v-2", "duplicate")})}}));
    const Json::Value map = MapGiven();
    EXPECT_EQ(map.getMemberNames(), (std::vector<std::string>{"v-1", "v-2"}));
    EXPECT_EQ(map["v-2"]["name"].asString(), "second");
    EXPECT_EQ(map["v-2"]["uuid"].asString(), SNAP_B);
    EXPECT_EQ(map["v-1"]["name"].asString(), "first");
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionPassesTheSyncVersionAsGivenWithoutResolvingIt)
{
    Call(GetBaseVersion, With(BASE, {{"sync_version", SYNC_VERSION}}));
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::getBaseVersion")[0].args[1].asString(), SYNC_VERSION);
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSITaskInfo::GetTaskUuid", "ISCSILUNInfo::GetLunUuid",
                                                     "ISCSILIBReplication::ISCSILIBReplication",
                                                     "ISCSILIBReplication::getBaseVersion"}));
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionWithoutSourceSnapshotsAnswers18990852)
{
    const std::string params = Params({{"uuid", TASK_ID}});
    EXPECT_EQ(Answer(Call(GetBaseVersion, params)), "error 18990852");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), DebugLine("GetBaseVersion", params) + ErrorLine("GetBaseVersion", 18990852, params));
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionWithOneBadElementAnswersItsErrorAndCallsNoGetBaseVersion)
{
    Json::Value noUuid = SnapshotForm(SNAP_B, "v-2", "b");
    noUuid.removeMember("uuid");
    const std::string params =
        With(BASE, {{"source_snapshots", Array({SnapshotForm(SNAP_A, "v-1", "a"), noUuid})}});
    EXPECT_EQ(Answer(Call(GetBaseVersion, params)), "error 18990204");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::getBaseVersion").size(), 0u);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::ISCSILIBReplication").size(), 0u);
    EXPECT_EQ(Log(), DebugLine("GetBaseVersion", params) + ErrorLine("GetBaseVersion", 18990204, params));
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionWithAnElementThatIsNoObjectAnswers18990204)
{
    EXPECT_EQ(Answer(Call(GetBaseVersion, With(BASE, {{"source_snapshots", Array({"v-1"})}}))),
              "error 18990204");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::getBaseVersion").size(), 0u);
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionChecksTaskThenLUNThenSyncVersionThenSnapshots)
{
    EXPECT_EQ(Answer(Call(GetBaseVersion, Params({{"lun_uuid", "x"}, {"sync_version", "y"}}))),
              "error 18990831");
    EXPECT_EQ(
        Answer(Call(GetBaseVersion, Params({{"uuid", TASK_ID}, {"lun_uuid", "x"}, {"sync_version", "y"}}))),
        "error 18990505");
    EXPECT_EQ(Answer(Call(GetBaseVersion, Params({{"uuid", TASK_ID}, {"sync_version", "y"}}))),
              "error 18990908");
    EXPECT_EQ(Answer(Call(GetBaseVersion, Params({{"uuid", TASK_ID}, {"sync_version", SYNC_VERSION}}))),
              "error 18990852");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    EXPECT_EQ(Answer(Call(GetBaseVersion, With(BASE, {{"uuid", 1}}))), "error 18990831");
    EXPECT_EQ(Answer(Call(GetBaseVersion, With(BASE, {{"lun_uuid", 1}}))), "error 18990505");
    EXPECT_EQ(Answer(Call(GetBaseVersion, With(BASE, {{"sync_version", 1}}))), "error 18990908");
    EXPECT_EQ(
        Answer(Call(GetBaseVersion, With(BASE, {{"source_snapshots", Json::Value(Json::objectValue)}}))),
        "error 18990852");
    EXPECT_EQ(Answer(Call(GetBaseVersion, With(BASE, {{"source_snapshots", "[]"}}))), "error 18990852");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionStopsAtALUNThatDoesNotResolve)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    EXPECT_EQ(Answer(Call(GetBaseVersion, With(BASE, {{"lun_uuid", LUN_ID}}))), "error 18990505");
    EXPECT_EQ(Lib().Ops(),
              (std::vector<std::string>{"ISCSITaskInfo::GetTaskUuid", "ISCSILUNInfo::GetLunUuid"}));
}

TEST_F(ReplicationSyncSizingTest, GetBaseVersionPassesALibraryFailureOnWithoutData)
{
    Lib().Script("ISCSILIBReplication::getBaseVersion", 18990850, R"({"base_version":"v-9"})");
    EXPECT_EQ(Answer(Call(GetBaseVersion, BASE)), "error 18990850");
}

// compute_unsync_size

const std::string COMPUTE = Params({{"uuid", TASK_ID}});

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizeResolvesTheLUNBeforeTheTaskThenBothSnapshots)
{
    ResolveLUN();
    ResolveTask();
    ResolveSnapshot(SNAP_A);
    ResolveSnapshot(SNAP_B);
    const std::string params = Params({{"uuid", TASK_ID},
                                       {"base_snapshot_uuid", "base"},
                                       {"sending_snapshot_uuid", "sending"},
                                       {"lun_uuid", LUN_ID}});
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, params)), "success null");
    EXPECT_EQ(LibCalls(), std::string("ISCSILUNInfo::GetLunUuid([\"") + LUN_ID +
                              "\",\"\"])\n"
                              "ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                              "ISCSISnapshotInfo::GetSnapshotUuid([\"base\",\"\"])\n"
                              "ISCSISnapshotInfo::GetSnapshotUuid([\"sending\",\"\"])\n"
                              "ISCSILIBReplication::ISCSILIBReplication([\"" +
                              TASK + "\"])\nISCSILIBReplication::computeUnsyncSize([\"" + SNAP_A + "\",\"" +
                              SNAP_B + "\",\"" + LUN + "\"])\n");
    EXPECT_EQ(Log(), DebugLine("ComputeUnsyncSize", params));
}

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizeWithNeitherSnapshotCallsTheLibraryWithTwoEmptyTexts)
{
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, COMPUTE)), "success null");
    EXPECT_EQ(Lib().CallsOf("ISCSISnapshotInfo::GetSnapshotUuid").size(), 0u);
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBReplication::computeUnsyncSize")[0].args),
              R"(["","",""])");
}

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizeWithOnlyOneSnapshotGoesWithTheOtherEmpty)
{
    ResolveSnapshot(SNAP_B);
    Call(ComputeUnsyncSize, With(COMPUTE, {{"sending_snapshot_uuid", "sending"}}));
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBReplication::computeUnsyncSize")[0].args),
              std::string("[\"\",\"") + SNAP_B + "\",\"\"]");
    SetUp();
    ResolveSnapshot(SNAP_A);
    Call(ComputeUnsyncSize, With(COMPUTE, {{"base_snapshot_uuid", "base"}}));
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBReplication::computeUnsyncSize")[0].args),
              std::string("[\"") + SNAP_A + "\",\"\",\"\"]");
}

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizeWithTheSameSnapshotTwiceAnswers18990520BeforeTheTaskIsUsed)
{
    ResolveSnapshot(SNAP_A);
    ResolveSnapshot(SNAP_A);
    const std::string params =
        With(COMPUTE, {{"base_snapshot_uuid", "by-name"}, {"sending_snapshot_uuid", SNAP_A}});
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, params)), "error 18990520");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid", "ISCSITaskInfo::GetTaskUuid",
                                                     "ISCSISnapshotInfo::GetSnapshotUuid",
                                                     "ISCSISnapshotInfo::GetSnapshotUuid"}));
    EXPECT_EQ(Log(),
              DebugLine("ComputeUnsyncSize", params) + ErrorLine("ComputeUnsyncSize", 18990520, params));
}

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizeWithBothSnapshotsResolvingEmptyIsNotRefused)
{
    const std::string params = With(COMPUTE, {{"base_snapshot_uuid", ""}, {"sending_snapshot_uuid", ""}});
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, params)), "success null");
    EXPECT_EQ(Lib().CallsOf("ISCSISnapshotInfo::GetSnapshotUuid").size(), 2u);
}

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizeStopsAtASnapshotThatDoesNotResolve)
{
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990520);
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize,
                          With(COMPUTE, {{"base_snapshot_uuid", "gone"}, {"sending_snapshot_uuid", "s"}}))),
              "error 18990520");
    EXPECT_EQ(Lib().CallsOf("ISCSISnapshotInfo::GetSnapshotUuid").size(), 1u);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::computeUnsyncSize").size(), 0u);
}

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizeStopsAtALUNThatDoesNotResolveBeforeTouchingTheTask)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, With(COMPUTE, {{"lun_uuid", LUN_ID}}))), "error 18990505");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid"}));
}

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizeChecksTaskThenBaseThenSendingThenLUN)
{
    EXPECT_EQ(
        Answer(Call(ComputeUnsyncSize,
                    Params({{"base_snapshot_uuid", 1}, {"sending_snapshot_uuid", 1}, {"lun_uuid", "x"}}))),
        "error 18990831");
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, With(COMPUTE, {{"base_snapshot_uuid", 1},
                                                            {"sending_snapshot_uuid", 1},
                                                            {"lun_uuid", "x"}}))),
              "error 18990853");
    EXPECT_EQ(
        Answer(Call(ComputeUnsyncSize, With(COMPUTE, {{"sending_snapshot_uuid", 1}, {"lun_uuid", "x"}}))),
        "error 18990854");
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, With(COMPUTE, {{"lun_uuid", "x"}}))), "error 18990505");
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, With(COMPUTE, {{"uuid", 1}}))), "error 18990831");
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, With(COMPUTE, {{"lun_uuid", false}}))), "error 18990505");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationSyncSizingTest, ComputeUnsyncSizePassesALibraryFailureOn)
{
    Lib().Script("ISCSILIBReplication::computeUnsyncSize", 18990831);
    EXPECT_EQ(Answer(Call(ComputeUnsyncSize, COMPUTE)), "error 18990831");
}

// get_unsync_size

TEST_F(ReplicationSyncSizingTest, GetUnsyncSizeResolvesTaskSnapshotThenLUNAndAnswersTheFourFigures)
{
    ResolveTask();
    ResolveSnapshot(SNAP_B);
    ResolveLUN();
    Lib().Script("ISCSILIBReplication::getCurrentUnsyncSize", 0,
                 R"({"total_size":10737418240,"scanned_size":5368709120,"unsync_size":4096,"err_no":0})");
    const std::string params =
        Params({{"uuid", TASK_ID}, {"sending_snapshot_uuid", "sending"}, {"lun_uuid", LUN_ID}});
    auto r = Call(GetUnsyncSize, params);
    EXPECT_EQ(Answer(r),
              R"(success {"errno":0,"scanned_size":5368709120,"total_size":10737418240,"unsync_size":4096})");
    EXPECT_EQ(LibCalls(), std::string("ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                                      "ISCSISnapshotInfo::GetSnapshotUuid([\"sending\",\"\"])\n"
                                      "ISCSILUNInfo::GetLunUuid([\"") +
                              LUN_ID + "\",\"\"])\nISCSILIBReplication::ISCSILIBReplication([\"" + TASK +
                              "\"])\nISCSILIBReplication::getCurrentUnsyncSize([\"" + SNAP_B +
                              "\",0,0,0,0,\"" + LUN + "\"])\n");
    EXPECT_EQ(Log(), "");
}

TEST_F(ReplicationSyncSizingTest, GetUnsyncSizeOfAFailedComputationAnswersSuccessWithTheFailureInErrno)
{
    Lib().Script("ISCSILIBReplication::getCurrentUnsyncSize", 0, R"({"err_no":5,"total_size":100})");
    auto r = Call(GetUnsyncSize, Params({{"uuid", TASK_ID}}));
    EXPECT_EQ(Answer(r), R"(success {"errno":5,"scanned_size":0,"total_size":100,"unsync_size":0})");
    EXPECT_EQ(Log(), "");
}

TEST_F(ReplicationSyncSizingTest, GetUnsyncSizeWithoutSendingSnapshotResolvesNoSnapshot)
{
    Call(GetUnsyncSize, Params({{"uuid", TASK_ID}}));
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSITaskInfo::GetTaskUuid", "ISCSILUNInfo::GetLunUuid",
                                                     "ISCSILIBReplication::ISCSILIBReplication",
                                                     "ISCSILIBReplication::getCurrentUnsyncSize"}));
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::getCurrentUnsyncSize")[0].args[0].asString(), "");
}

TEST_F(ReplicationSyncSizingTest, GetUnsyncSizeChecksTaskThenSendingSnapshotThenLUNWithoutADebugLine)
{
    const std::string noTask = Params({{"sending_snapshot_uuid", 1}, {"lun_uuid", "x"}});
    EXPECT_EQ(Answer(Call(GetUnsyncSize, noTask)), "error 18990831");
    EXPECT_EQ(Log(), ErrorLine("GetUnsyncSize", 18990831, noTask));
    EXPECT_EQ(Answer(Call(GetUnsyncSize,
                          Params({{"uuid", TASK_ID}, {"sending_snapshot_uuid", 1}, {"lun_uuid", "x"}}))),
              "error 18990854");
    EXPECT_EQ(Answer(Call(GetUnsyncSize, Params({{"uuid", TASK_ID}, {"lun_uuid", "x"}}))), "error 18990505");
    EXPECT_EQ(Answer(Call(GetUnsyncSize, Params({{"uuid", ""}}))), "error 18990831");
    EXPECT_EQ(Answer(Call(GetUnsyncSize, Params({{"uuid", 2}}))), "error 18990831");
    EXPECT_EQ(Answer(Call(GetUnsyncSize, Params({{"uuid", TASK_ID}, {"lun_uuid", 2}}))), "error 18990505");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationSyncSizingTest, GetUnsyncSizePassesALibraryFailureOnWithoutData)
{
    Lib().Script("ISCSILIBReplication::getCurrentUnsyncSize", 18990855, R"({"total_size":100})");
    const std::string params = Params({{"uuid", TASK_ID}});
    EXPECT_EQ(Answer(Call(GetUnsyncSize, params)), "error 18990855");
    EXPECT_EQ(Log(), ErrorLine("GetUnsyncSize", 18990855, params));
}

TEST_F(ReplicationSyncSizingTest, GetUnsyncSizeStopsAtASnapshotThatDoesNotResolve)
{
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990520);
    EXPECT_EQ(Answer(Call(GetUnsyncSize, Params({{"uuid", TASK_ID}, {"sending_snapshot_uuid", "s"}}))),
              "error 18990520");
    EXPECT_EQ(Lib().Ops(),
              (std::vector<std::string>{"ISCSITaskInfo::GetTaskUuid", "ISCSISnapshotInfo::GetSnapshotUuid"}));
}

// check_node

TEST_F(ReplicationSyncSizingTest, CheckNodeChecksTheNodeOnAFreshObjectWithoutResolvingAnyTask)
{
    const std::string params = Params(
        {{"dst_node_uuid", NODE}, {"dst_address", "10.0.0.9"}, {"dst_port", 4000}, {"chk_blun_conn", true}});
    EXPECT_EQ(Answer(Call(CheckNode, params)), "success null");
    EXPECT_EQ(LibCalls(),
              std::string("ISCSILIBReplication::checkNode([\"") + NODE + "\",\"10.0.0.9\",4000,true])\n");
    EXPECT_EQ(Log(), DebugLine("CheckNode", params));
}

TEST_F(ReplicationSyncSizingTest, CheckNodeWithoutPortAndFlagUses3261AndFalse)
{
    Call(CheckNode, Params({{"dst_node_uuid", NODE}, {"dst_address", "10.0.0.9"}}));
    EXPECT_EQ(LibCalls(),
              std::string("ISCSILIBReplication::checkNode([\"") + NODE + "\",\"10.0.0.9\",3261,false])\n");
}

TEST_F(ReplicationSyncSizingTest, CheckNodeWithAnEmptyAddressIsAcceptedAndGoesToTheLibrary)
{
    EXPECT_EQ(Answer(Call(CheckNode, Params({{"dst_node_uuid", NODE}, {"dst_address", ""}}))),
              "success null");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::checkNode")[0].args[1].asString(), "");
}

TEST_F(ReplicationSyncSizingTest, CheckNodeChecksNodeThenAddressThenPortThenFlag)
{
    EXPECT_EQ(
        Answer(Call(CheckNode, Params({{"dst_node_uuid", "node"}, {"dst_port", 0}, {"chk_blun_conn", 1}}))),
        "error 18990823");
    EXPECT_EQ(
        Answer(Call(CheckNode, Params({{"dst_node_uuid", NODE}, {"dst_port", 0}, {"chk_blun_conn", 1}}))),
        "error 18990845");
    EXPECT_EQ(
        Answer(Call(
            CheckNode,
            Params({{"dst_node_uuid", NODE}, {"dst_address", "a"}, {"dst_port", 0}, {"chk_blun_conn", 1}}))),
        "error 18990847");
    EXPECT_EQ(Answer(Call(CheckNode,
                          Params({{"dst_node_uuid", NODE}, {"dst_address", "a"}, {"chk_blun_conn", 1}}))),
              "error 18990903");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationSyncSizingTest, CheckNodeRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    const std::string good = Params({{"dst_node_uuid", NODE}, {"dst_address", "a"}});
    EXPECT_EQ(Answer(Call(CheckNode, With(good, {{"dst_node_uuid", 1}}))), "error 18990823");
    EXPECT_EQ(Answer(Call(CheckNode, With(good, {{"dst_address", 1}}))), "error 18990845");
    EXPECT_EQ(Answer(Call(CheckNode, With(good, {{"dst_port", "3261"}}))), "error 18990847");
    EXPECT_EQ(Answer(Call(CheckNode, With(good, {{"chk_blun_conn", "true"}}))), "error 18990903");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationSyncSizingTest, CheckNodePassesALibraryFailureOnWithAnErrorLine)
{
    Lib().Script("ISCSILIBReplication::checkNode", 18991100);
    const std::string params = Params({{"dst_node_uuid", NODE}, {"dst_address", "10.0.0.9"}});
    EXPECT_EQ(Answer(Call(CheckNode, params)), "error 18991100");
    EXPECT_EQ(Log(), DebugLine("CheckNode", params) + ErrorLine("CheckNode", 18991100, params));
}

} // namespace
