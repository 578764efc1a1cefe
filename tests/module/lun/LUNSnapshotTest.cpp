// Taking, stopping, listing and reading snapshots of a LUN against the recording double: what
// reaches the storage library, what the caller gets back, and what the system log shows.
#include "LUNHandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <iscsi/ISCSISnapshotInfo.h>

#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;
using namespace KOVATest::LUNTests;

// The JSON form of a snapshot record read from json, with the facts of flags marked loaded.
Json::Value RecordJson(const std::string& json, int flags)
{
    ISCSI::ISCSISnapshotInfo record;
    record.loadFromJson(ParseJson(json));
    record.additional |= flags;
    Json::Value j;
    record.toJsonFormat(j);
    return j;
}

class LUNSnapshotTest : public LUNHandlerTest {};

// take_snapshot

const std::string TAKE = R"({"src_lun_uuid":"lun1","is_locked":true,"is_app_consistent":false})";

TEST_F(LUNSnapshotTest, TakeSnapshotPassesAppConsistencyFirstAndTheLockSecondAndAnswersUuidAndNumber)
{
    ResolveLun();
    Json::Value out(Json::objectValue);
    out["snapshot_uuid"] = SNAP_UUID;
    out["snapshot_id"] = 4;
    Lib().Script("ISCSILIBLUN::takeSnapshot", 0, out);
    const std::string params =
        R"({"src_lun_uuid":"lun1","is_locked":true,"is_app_consistent":false,"snapshot_name":"daily",
            "description":"before upgrade","taken_by":"admin","snapshot_time":1700000000,
            "is_scheduled":true,"src_snap_dir":"/volume1/@snap","snap_version":"v7"})";
    auto r = Call(TakeSnapshot, params);
    EXPECT_EQ(Answer(r), R"(success {"snapshot_id":4,"snapshot_uuid":")" + SNAP_UUID + "\"}");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSILIBLUN::ISCSILIBLUN([\"" +
                              LUN_UUID +
                              "\",false,false,false])\n"
                              "ISCSILIBLUN::takeSnapshot([false,true,\"daily\",\"before upgrade\",\"admin\","
                              "1700000000,true,\"/volume1/@snap\",\"v7\",\"\",0])\n");
    EXPECT_EQ(Log(), DebugLine("TakeSnapshot", params));
}

TEST_F(LUNSnapshotTest, TakeSnapshotWithOnlyTheRequiredParametersPassesEmptyTextsTimeZeroAndNotScheduled)
{
    ResolveLun();
    auto r = Call(TakeSnapshot, R"({"src_lun_uuid":"lun1","is_locked":false,"is_app_consistent":true})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::takeSnapshot")[0].args),
              R"([true,false,"","","",0,false,"","","",0])");
}

TEST_F(LUNSnapshotTest, TakeSnapshotWithAnEmptySnapshotNameAnswers18990513ButWithoutTheKeyPassesAnEmptyName)
{
    auto r = Call(TakeSnapshot, With(TAKE, "snapshot_name", R"("")"));
    EXPECT_EQ(Answer(r), "error 18990513");
    EXPECT_EQ(LibCalls(), "");

    SetUp();
    ResolveLun();
    EXPECT_TRUE(Call(TakeSnapshot, TAKE).HasSuccess());
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::takeSnapshot")[0].args[2].asString(), "");
}

TEST_F(LUNSnapshotTest, TakeSnapshotAcceptsAnEmptyDescription)
{
    ResolveLun();
    auto r = Call(TakeSnapshot, With(TAKE, "description", R"("")"));
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::takeSnapshot")[0].args[3].asString(), "");
}

TEST_F(LUNSnapshotTest, TakeSnapshotWidensATimeAbove2To31ToLongWithoutLoss)
{
    ResolveLun();
    Call(TakeSnapshot, With(TAKE, "snapshot_time", "4294967295"));
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::takeSnapshot")[0].args[5].asInt64(), 4294967295LL);
}

TEST_F(LUNSnapshotTest, TakeSnapshotRefusesEmptyTextsWhereANameIsNeeded)
{
    ExpectRefusals(TakeSnapshot, "TakeSnapshot", true, TAKE,
                   {{"src_lun_uuid", R"("")", 18990508},
                    {"taken_by", R"("")", 18990614},
                    {"src_snap_dir", R"("")", 18990612},
                    {"snap_version", R"("")", 18990836}});
}

TEST_F(LUNSnapshotTest, TakeSnapshotRefusesEachParameterOfTheWrongJsonType)
{
    ExpectRefusals(TakeSnapshot, "TakeSnapshot", true, TAKE,
                   {{"src_lun_uuid", "5", 18990508},
                    {"is_locked", R"("true")", 18990514},
                    {"is_app_consistent", "1", 18990515},
                    {"snapshot_name", "7", 18990513},
                    {"description", "false", 18990403},
                    {"taken_by", "[]", 18990614},
                    {"snapshot_time", R"("now")", 18990521},
                    {"snapshot_time", "-1", 18990521},
                    {"snapshot_time", "1.5", 18990521},
                    {"snapshot_time", "4294967296", 18990521},
                    {"is_scheduled", R"("yes")", 18990527},
                    {"src_snap_dir", "{}", 18990612},
                    {"snap_version", "3", 18990836}});
}

TEST_F(LUNSnapshotTest, TakeSnapshotRefusesARequestWithoutARequiredParameter)
{
    ExpectRefusals(
        TakeSnapshot, "TakeSnapshot", true, TAKE,
        {{"src_lun_uuid", "", 18990508}, {"is_locked", "", 18990514}, {"is_app_consistent", "", 18990515}});
}

TEST_F(LUNSnapshotTest, TakeSnapshotChecksItsParametersInRequestOrder)
{
    ExpectCheckOrder(TakeSnapshot,
                     R"({"src_lun_uuid":"","is_locked":0,"is_app_consistent":0,"snapshot_name":"",
                         "description":0,"taken_by":"","snapshot_time":-1,"is_scheduled":0,
                         "src_snap_dir":"","snap_version":""})",
                     {{"src_lun_uuid", R"("lun1")", 18990508},
                      {"is_locked", "true", 18990514},
                      {"is_app_consistent", "true", 18990515},
                      {"snapshot_name", R"("n")", 18990513},
                      {"description", R"("d")", 18990403},
                      {"taken_by", R"("t")", 18990614},
                      {"snapshot_time", "1", 18990521},
                      {"is_scheduled", "true", 18990527},
                      {"src_snap_dir", R"("s")", 18990612},
                      {"snap_version", R"("v")", 18990836}});
}

TEST_F(LUNSnapshotTest, TakeSnapshotOfAnUnknownLUNAnswersTheResolversCodeWithoutTakingAnything)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    auto r = Call(TakeSnapshot, TAKE);
    EXPECT_EQ(Answer(r), "error 18990501");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("TakeSnapshot", TAKE) + ErrorLine("TakeSnapshot", 18990501, TAKE));
}

TEST_F(LUNSnapshotTest, TakeSnapshotPassesALibraryFailureOnWithoutData)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::takeSnapshot", 18990522, R"({"snapshot_uuid":"half","snapshot_id":2})");
    auto r = Call(TakeSnapshot, TAKE);
    EXPECT_EQ(Answer(r), "error 18990522");
    EXPECT_EQ(Log(), DebugLine("TakeSnapshot", TAKE) + ErrorLine("TakeSnapshot", 18990522, TAKE));
}

// stop_snapshot

const std::string STOP = R"({"src_lun_uuid":"lun1","snapshot_uuid":"snap1"})";

TEST_F(LUNSnapshotTest, StopSnapshotResolvesLUNThenSnapshotAndStopsItOnTheLUN)
{
    ResolveLun();
    ResolveSnapshot();
    auto r = Call(StopSnapshot, STOP);
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSILIBLUN::ISCSILIBLUN([\"" +
                              LUN_UUID +
                              "\",false,false,false])\n"
                              "ISCSILIBLUN::stopSnapshot([\"" +
                              SNAP_UUID + "\"])\n");
    EXPECT_EQ(Log(), DebugLine("StopSnapshot", STOP));
}

TEST_F(LUNSnapshotTest, StopSnapshotOfAnUnknownLUNDoesNotLookTheSnapshotUp)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(StopSnapshot, STOP)), "error 18990501");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n");
}

TEST_F(LUNSnapshotTest, StopSnapshotOfAnUnknownSnapshotAnswersItsCodeWithoutStopping)
{
    ResolveLun();
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    EXPECT_EQ(Answer(Call(StopSnapshot, STOP)), "error 18990519");
    EXPECT_EQ(Lib().Ops(),
              (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid", "ISCSISnapshotInfo::GetSnapshotUuid"}));
    EXPECT_EQ(Log(), DebugLine("StopSnapshot", STOP) + ErrorLine("StopSnapshot", 18990519, STOP));
}

TEST_F(LUNSnapshotTest, StopSnapshotRefusesMissingEmptyAndWronglyTypedParameters)
{
    ExpectRefusals(StopSnapshot, "StopSnapshot", true, STOP,
                   {{"src_lun_uuid", "", 18990508},
                    {"src_lun_uuid", R"("")", 18990508},
                    {"src_lun_uuid", "1", 18990508},
                    {"snapshot_uuid", "", 18990520},
                    {"snapshot_uuid", R"("")", 18990520},
                    {"snapshot_uuid", "[]", 18990520}});
}

TEST_F(LUNSnapshotTest, StopSnapshotChecksTheLUNBeforeTheSnapshot)
{
    ExpectCheckOrder(StopSnapshot, "{}",
                     {{"src_lun_uuid", R"("lun1")", 18990508}, {"snapshot_uuid", "", 18990520}});
}

TEST_F(LUNSnapshotTest, StopSnapshotPassesALibraryFailureOn)
{
    ResolveLun();
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::stopSnapshot", 18990526);
    EXPECT_EQ(Answer(Call(StopSnapshot, STOP)), "error 18990526");
}

// list_snapshot

const std::string SNAP_A = R"({"uuid":"aaaaaaaa-0000-0000-0000-000000000001","lun_uuid":"L","name":"a",
                                "snapshot_id":1,"type":1,"size":4096})";
const std::string SNAP_B = R"({"uuid":"bbbbbbbb-0000-0000-0000-000000000002","lun_uuid":"L","name":"b",
                                "snapshot_id":2,"type":1,"is_user_locked":true})";

TEST_F(LUNSnapshotTest, ListSnapshotAnswersEachRecordInListOrderAndTheCount)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::listSnapshot", 0, "{\"snapshots\":[" + SNAP_B + "," + SNAP_A + "]}");
    auto r = Call(ListSnapshot, R"({"src_lun_uuid":"lun1"})");
    Json::Value expected;
    expected["snapshots"].append(RecordJson(SNAP_B, 0));
    expected["snapshots"].append(RecordJson(SNAP_A, 0));
    expected["count"] = 2;
    EXPECT_EQ(Answer(r), "success " + KOVA::toString(expected));
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSILIBLUN::ISCSILIBLUN([\"" +
                              LUN_UUID +
                              "\",false,false,false])\n"
                              "ISCSILIBLUN::listSnapshot([[],0])\n");
}

TEST_F(LUNSnapshotTest, ListSnapshotCountOnlyOfNoSnapshotsAnswersCount0AndNoSnapshotsKey)
{
    ResolveLun();
    EXPECT_EQ(Answer(Call(ListSnapshot, R"({"src_lun_uuid":"lun1","is_count_only":true})")),
              R"(success {"count":0})");
}

TEST_F(LUNSnapshotTest, ListSnapshotOfNoSnapshotsAnswersAnEmptyArrayAndCount0)
{
    ResolveLun();
    EXPECT_EQ(Answer(Call(ListSnapshot, R"({"src_lun_uuid":"lun1","is_count_only":false})")),
              R"(success {"count":0,"snapshots":[]})");
}

TEST_F(LUNSnapshotTest, ListSnapshotCountOnlyCountsTheRecordsWithoutShowingThem)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::listSnapshot", 0, "{\"snapshots\":[" + SNAP_A + "," + SNAP_B + "]}");
    EXPECT_EQ(Answer(Call(ListSnapshot, R"({"src_lun_uuid":"lun1","is_count_only":true})")),
              R"(success {"count":2})");
}

TEST_F(LUNSnapshotTest, ListSnapshotTurnsTheTwoLockNamesIntoFlags1And2)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::listSnapshot", 0, "{\"snapshots\":[" + SNAP_A + "]}");
    auto r =
        Call(ListSnapshot, R"({"src_lun_uuid":"lun1","additional":["locked_app_keys","is_action_locked"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::listSnapshot")[0].args[1].asInt(), 3);
    EXPECT_EQ(r.GetData()["snapshots"][0], RecordJson(SNAP_A, 3));
    EXPECT_TRUE(r.GetData()["snapshots"][0].isMember("locked_app_keys"));
}

TEST_F(LUNSnapshotTest, ListSnapshotIgnoresExportStatusAndSyncProgress)
{
    for (const char* additional : {R"(["export_status"])", R"(["sync_progress"])"}) {
        SetUp();
        ResolveLun();
        Call(ListSnapshot, With(R"({"src_lun_uuid":"lun1"})", "additional", additional));
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::listSnapshot")[0].args[1].asInt(), 0) << additional;
    }
}

TEST_F(LUNSnapshotTest, ListSnapshotAcceptsAnUnknownAdditionalNameAndChangesNothing)
{
    ResolveLun();
    auto r = Call(ListSnapshot, R"({"src_lun_uuid":"lun1","additional":["is_action_locked","colour",7]})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::listSnapshot")[0].args[1].asInt(), 1);
}

TEST_F(LUNSnapshotTest, ListSnapshotWithoutALUNAsksTheResolverAboutTheEmptyTextAndAnswersItsCode)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    auto r = Call(ListSnapshot, "{}");
    EXPECT_EQ(Answer(r), "error 18990501");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"\",\"\"])\n");
}

TEST_F(LUNSnapshotTest, ListSnapshotWritesNoDebugLineOnlyTheErrorLineOfAFailure)
{
    ResolveLun();
    Call(ListSnapshot, R"({"src_lun_uuid":"lun1"})");
    EXPECT_EQ(Log(), "");

    SetUp();
    ResolveLun();
    Lib().Script("ISCSILIBLUN::listSnapshot", 18990502);
    const std::string params = R"({"src_lun_uuid":"lun1","is_count_only":true})";
    EXPECT_EQ(Answer(Call(ListSnapshot, params)), "error 18990502");
    EXPECT_EQ(Log(), ErrorLine("ListSnapshot", 18990502, params));
}

TEST_F(LUNSnapshotTest, ListSnapshotRefusesEachParameterOfTheWrongJsonType)
{
    ExpectRefusals(ListSnapshot, "ListSnapshot", false, R"({"src_lun_uuid":"lun1"})",
                   {{"src_lun_uuid", "5", 18990508},
                    {"is_count_only", R"("yes")", 18990516},
                    {"additional", R"("is_action_locked")", 18990517},
                    {"additional", "{}", 18990517}});
}

TEST_F(LUNSnapshotTest, ListSnapshotChecksItsParametersInRequestOrder)
{
    ExpectCheckOrder(ListSnapshot, R"({"src_lun_uuid":1,"is_count_only":1,"additional":1})",
                     {{"src_lun_uuid", R"("")", 18990508},
                      {"is_count_only", "true", 18990516},
                      {"additional", "[]", 18990517}});
}

// get_snapshot

TEST_F(LUNSnapshotTest, GetSnapshotLoadsTheRecordAndAnswersItAlone)
{
    ResolveSnapshot();
    Lib().Script(
        "ISCSISnapshotInfo::loadFromConfig", 0,
        R"({"ISCSISnapshotInfo::name":"daily","ISCSISnapshotInfo::type":2,"ISCSISnapshotInfo::export_total":9})");
    auto r = Call(GetSnapshot, R"({"snapshot_uuid":"snap1"})");
    ISCSI::ISCSISnapshotInfo record(SNAP_UUID);
    Json::Value before;
    record.toJsonFormat(before);
    record.name = "daily";
    record.type = 2;
    record.export_total = 9;
    Json::Value after;
    record.toJsonFormat(after);
    EXPECT_EQ(Answer(r), "success {\"snapshot\":" + KOVA::toString(after) + "}");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSISnapshotInfo::loadFromConfig([" +
                              KOVA::toString(before) + ",0])\n");
}

TEST_F(LUNSnapshotTest, GetSnapshotWithExportStatusLoadsFlag4AndAddsTheThreeExportFigures)
{
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 0,
                 R"({"ISCSISnapshotInfo::export_total":8589934592,"ISCSISnapshotInfo::export_done":4096,
                     "ISCSISnapshotInfo::export_errno":-5,"ISCSISnapshotInfo::sync_total":77})");
    auto r = Call(GetSnapshot, R"({"snapshot_uuid":"snap1","additional":["export_status"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSISnapshotInfo::loadFromConfig")[0].args[1].asInt(), 4);
    const Json::Value& data = r.GetData();
    EXPECT_EQ(data.getMemberNames(),
              (std::vector<std::string>{"export_done", "export_errno", "export_total", "snapshot"}));
    EXPECT_EQ(data["export_total"].asUInt64(), 8589934592ULL);
    EXPECT_EQ(data["export_done"].asUInt64(), 4096u);
    EXPECT_EQ(data["export_errno"].asInt(), -5);
    EXPECT_EQ(data["snapshot"]["export_total"].asUInt64(), 8589934592ULL);
}

TEST_F(LUNSnapshotTest, GetSnapshotWithSyncProgressLoadsFlag8AndAddsTheTwoSyncFigures)
{
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 0,
                 R"({"ISCSISnapshotInfo::sync_total":100,"ISCSISnapshotInfo::sync_done":40})");
    auto r = Call(GetSnapshot, R"({"snapshot_uuid":"snap1","additional":["sync_progress"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSISnapshotInfo::loadFromConfig")[0].args[1].asInt(), 8);
    EXPECT_EQ(r.GetData().getMemberNames(),
              (std::vector<std::string>{"snapshot", "sync_done", "sync_total"}));
    EXPECT_EQ(r.GetData()["sync_total"].asUInt64(), 100u);
    EXPECT_EQ(r.GetData()["sync_done"].asUInt64(), 40u);
}

TEST_F(LUNSnapshotTest, GetSnapshotWithBothProgressNamesAddsAllFiveFiguresBesideTheRecord)
{
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 0,
                 R"({"ISCSISnapshotInfo::export_total":1,"ISCSISnapshotInfo::export_done":2,
                     "ISCSISnapshotInfo::export_errno":3,"ISCSISnapshotInfo::sync_total":4,
                     "ISCSISnapshotInfo::sync_done":5})");
    auto r = Call(GetSnapshot, R"({"snapshot_uuid":"snap1","additional":["sync_progress","export_status"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSISnapshotInfo::loadFromConfig")[0].args[1].asInt(), 12);
    Json::Value figures = r.GetData();
    figures.removeMember("snapshot");
    EXPECT_EQ(KOVA::toString(figures),
              R"({"export_done":2,"export_errno":3,"export_total":1,"sync_done":5,"sync_total":4})");
}

TEST_F(LUNSnapshotTest, GetSnapshotWithTheLockNamesLoadsFlags1And2AndAddsNoFigures)
{
    ResolveSnapshot();
    Lib().Script(
        "ISCSISnapshotInfo::loadFromConfig", 0,
        R"({"ISCSISnapshotInfo::locked_app_keys":["backup"],"ISCSISnapshotInfo::is_action_locked":true})");
    auto r =
        Call(GetSnapshot, R"({"snapshot_uuid":"snap1","additional":["is_action_locked","locked_app_keys"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSISnapshotInfo::loadFromConfig")[0].args[1].asInt(), 3);
    EXPECT_EQ(r.GetData().getMemberNames(), (std::vector<std::string>{"snapshot"}));
    EXPECT_EQ(KOVA::toString(r.GetData()["snapshot"]["locked_app_keys"]), R"(["backup"])");
    EXPECT_TRUE(r.GetData()["snapshot"]["is_action_locked"].asBool());
}

TEST_F(LUNSnapshotTest, GetSnapshotAcceptsAnUnknownAdditionalNameAndChangesNothing)
{
    ResolveSnapshot();
    auto r = Call(GetSnapshot, R"({"snapshot_uuid":"snap1","additional":["size_on_disk"]})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(Lib().CallsOf("ISCSISnapshotInfo::loadFromConfig")[0].args[1].asInt(), 0);
    EXPECT_EQ(r.GetData().getMemberNames(), (std::vector<std::string>{"snapshot"}));
}

TEST_F(LUNSnapshotTest, GetSnapshotOfAnUnknownSnapshotAnswersTheResolversCodeWithoutLoading)
{
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    const std::string params = R"({"snapshot_uuid":"snap1"})";
    EXPECT_EQ(Answer(Call(GetSnapshot, params)), "error 18990519");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n");
    EXPECT_EQ(Log(), ErrorLine("GetSnapshot", 18990519, params));
}

TEST_F(LUNSnapshotTest, GetSnapshotPassesALoadFailureOnWithoutData)
{
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 18990204);
    auto r = Call(GetSnapshot, R"({"snapshot_uuid":"snap1","additional":["export_status"]})");
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_FALSE(r.HasSuccess());
}

TEST_F(LUNSnapshotTest, GetSnapshotWritesNoDebugLine)
{
    ResolveSnapshot();
    Call(GetSnapshot, R"({"snapshot_uuid":"snap1"})");
    EXPECT_EQ(Log(), "");
}

TEST_F(LUNSnapshotTest, GetSnapshotRefusesMissingEmptyAndWronglyTypedParameters)
{
    ExpectRefusals(GetSnapshot, "GetSnapshot", false, R"({"snapshot_uuid":"snap1"})",
                   {{"snapshot_uuid", "", 18990520},
                    {"snapshot_uuid", R"("")", 18990520},
                    {"snapshot_uuid", "5", 18990520},
                    {"additional", R"("export_status")", 18990517},
                    {"additional", "null", 18990517}});
}

TEST_F(LUNSnapshotTest, GetSnapshotChecksTheSnapshotBeforeAdditional)
{
    ExpectCheckOrder(GetSnapshot, R"({"additional":"x"})",
                     {{"snapshot_uuid", R"("snap1")", 18990520}, {"additional", "", 18990517}});
}

} // namespace
