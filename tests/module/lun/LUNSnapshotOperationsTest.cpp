// Deleting, changing, restoring, cloning, locking and loading snapshots against the recording
// double: what reaches the storage library, what the caller gets back, and what the system log
// shows.
#include "LUNHandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <iscsi/ISCSISnapshotInfo.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;
using namespace KOVATest::LUNTests;

class LUNSnapshotOperationsTest : public LUNHandlerTest {};

// The JSON text of the record of the snapshot uuid as built before a load, which is how the
// library's log shows the record an operation works on.
std::string RecordText(const std::string& uuid)
{
    ISCSI::ISCSISnapshotInfo record(uuid);
    Json::Value j;
    record.toJsonFormat(j);
    return KOVA::toString(j);
}

// delete_snapshot

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotOfOneUuidResolvesItAndDeletesItRecordingWhoDeletedIt)
{
    ResolveSnapshot();
    const std::string params = R"({"snapshot_uuid":"snap1","deleted_by":"admin"})";
    auto r = Call(DeleteSnapshot, params);
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSILIBLUN::deleteSnapshot([\"" +
                              SNAP_UUID + "\",\"admin\"])\n");
    EXPECT_EQ(Log(), DebugLine("DeleteSnapshot", params));
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotWithoutDeletedByRecordsAnEmptyName)
{
    ResolveSnapshot();
    Call(DeleteSnapshot, R"({"snapshot_uuid":"snap1"})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::deleteSnapshot")[0].args),
              "[\"" + SNAP_UUID + "\",\"\"]");
}

TEST_F(LUNSnapshotOperationsTest,
       DeleteSnapshotOfTwoWhoseSecondIsUnknownDeletesTheFirstAndAnswersTheResolversCode)
{
    ResolveSnapshot("aaaaaaaa-0000-0000-0000-000000000001");
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    const std::string params = R"({"snapshot_uuids":["first","second"],"deleted_by":"ops"})";
    auto r = Call(DeleteSnapshot, params);
    EXPECT_EQ(Answer(r), "error 18990519");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"first\",\"\"])\n"
                          "ISCSILIBLUN::deleteSnapshot([\"aaaaaaaa-0000-0000-0000-000000000001\",\"ops\"])\n"
                          "ISCSISnapshotInfo::GetSnapshotUuid([\"second\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("DeleteSnapshot", params) + ErrorLine("DeleteSnapshot", 18990519, params));
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotStopsTheWalkAtTheFirstFailedDeletion)
{
    ResolveSnapshot("s-1");
    ResolveSnapshot("s-2");
    ResolveSnapshot("s-3");
    Lib().Script("ISCSILIBLUN::deleteSnapshot", 0);
    Lib().Script("ISCSILIBLUN::deleteSnapshot", 18990530);
    auto r = Call(DeleteSnapshot, R"({"snapshot_uuids":["a","b","c"]})");
    EXPECT_EQ(Answer(r), "error 18990530");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"a\",\"\"])\n"
                          "ISCSILIBLUN::deleteSnapshot([\"s-1\",\"\"])\n"
                          "ISCSISnapshotInfo::GetSnapshotUuid([\"b\",\"\"])\n"
                          "ISCSILIBLUN::deleteSnapshot([\"s-2\",\"\"])\n");
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotWithBothFormsDeletesOnlyWhatTheArrayNames)
{
    ResolveSnapshot("s-1");
    auto r = Call(DeleteSnapshot, R"({"snapshot_uuid":"single","snapshot_uuids":["listed"]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"listed\",\"\"])\n"
                          "ISCSILIBLUN::deleteSnapshot([\"s-1\",\"\"])\n");
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotWithAnEmptyArrayAnswersSuccessAndDeletesNothing)
{
    auto r = Call(DeleteSnapshot, R"({"snapshot_uuid":"single","snapshot_uuids":[]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotWithoutEitherFormAsksTheResolverAboutTheEmptyText)
{
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    EXPECT_EQ(Answer(Call(DeleteSnapshot, "{}")), "error 18990519");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"\",\"\"])\n");

    SetUp();
    EXPECT_EQ(Answer(Call(DeleteSnapshot, "{}")), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"\",\"\"])\n"
                          "ISCSILIBLUN::deleteSnapshot([\"\",\"\"])\n");
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotPassesALibraryFailureOn)
{
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::deleteSnapshot", 18990530);
    EXPECT_EQ(Answer(Call(DeleteSnapshot, R"({"snapshot_uuid":"snap1"})")), "error 18990530");
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotRefusesEachParameterOfTheWrongJsonType)
{
    ExpectRefusals(DeleteSnapshot, "DeleteSnapshot", true, R"({"snapshot_uuid":"snap1"})",
                   {{"snapshot_uuid", "5", 18990520},
                    {"snapshot_uuids", R"("snap1")", 18990520},
                    {"snapshot_uuids", "{}", 18990520},
                    {"deleted_by", "1", 18990404}});
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotRefusesASingleUuidOfTheWrongTypeEvenBesideAGoodArray)
{
    EXPECT_EQ(Answer(Call(DeleteSnapshot, R"({"snapshot_uuid":[],"snapshot_uuids":["a"]})")),
              "error 18990520");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(LUNSnapshotOperationsTest, DeleteSnapshotChecksItsParametersInRequestOrder)
{
    ExpectCheckOrder(DeleteSnapshot, R"({"snapshot_uuid":1,"snapshot_uuids":1,"deleted_by":1})",
                     {{"snapshot_uuid", R"("s")", 18990520},
                      {"snapshot_uuids", "[]", 18990520},
                      {"deleted_by", R"("d")", 18990404}});
}

// set_snapshot

TEST_F(LUNSnapshotOperationsTest, SetSnapshotWithOnlyTheUuidLeavesNameLockAndDescription)
{
    ResolveSnapshot();
    auto r = Call(SetSnapshot, R"({"snapshot_uuid":"snap1"})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSILIBLUN::setSnapshot([\"" +
                              SNAP_UUID + "\",\"\",-1,\"\"])\n");
}

TEST_F(LUNSnapshotOperationsTest, SetSnapshotPassesUserLockedFalseAs0AndTrueAs1)
{
    ResolveSnapshot();
    Call(SetSnapshot, R"({"snapshot_uuid":"snap1","is_user_locked":false})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::setSnapshot")[0].args[2].asInt(), 0);

    SetUp();
    ResolveSnapshot();
    Call(SetSnapshot, R"({"snapshot_uuid":"snap1","is_user_locked":true})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::setSnapshot")[0].args[2].asInt(), 1);
}

TEST_F(LUNSnapshotOperationsTest, SetSnapshotPassesNewNameLockAndDescriptionInThatOrder)
{
    ResolveSnapshot();
    Call(SetSnapshot, R"({"snapshot_uuid":"snap1","snapshot_name":"weekly","is_user_locked":true,
                          "description":"kept"})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::setSnapshot")[0].args),
              "[\"" + SNAP_UUID + "\",\"weekly\",1,\"kept\"]");
}

TEST_F(LUNSnapshotOperationsTest, SetSnapshotAcceptsAnEmptyDescriptionButNotAnEmptyName)
{
    ResolveSnapshot();
    EXPECT_TRUE(Call(SetSnapshot, R"({"snapshot_uuid":"snap1","description":""})").HasSuccess());
    SetUp();
    EXPECT_EQ(Answer(Call(SetSnapshot, R"({"snapshot_uuid":"snap1","snapshot_name":""})")), "error 18990513");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(LUNSnapshotOperationsTest, SetSnapshotChangesDataWithoutADebugLineAndLogsOnlyAFailure)
{
    ResolveSnapshot();
    Call(SetSnapshot, R"({"snapshot_uuid":"snap1","snapshot_name":"x"})");
    EXPECT_EQ(Log(), "");

    SetUp();
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::setSnapshot", 18990531);
    const std::string params = R"({"snapshot_uuid":"snap1","snapshot_name":"x"})";
    EXPECT_EQ(Answer(Call(SetSnapshot, params)), "error 18990531");
    EXPECT_EQ(Log(), ErrorLine("SetSnapshot", 18990531, params));
}

TEST_F(LUNSnapshotOperationsTest, SetSnapshotOfAnUnknownSnapshotAnswersTheResolversCodeWithoutChanging)
{
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    EXPECT_EQ(Answer(Call(SetSnapshot, R"({"snapshot_uuid":"snap1"})")), "error 18990519");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSISnapshotInfo::GetSnapshotUuid"}));
}

TEST_F(LUNSnapshotOperationsTest, SetSnapshotRefusesMissingEmptyAndWronglyTypedParameters)
{
    ExpectRefusals(SetSnapshot, "SetSnapshot", false, R"({"snapshot_uuid":"snap1"})",
                   {{"snapshot_uuid", "", 18990520},
                    {"snapshot_uuid", R"("")", 18990520},
                    {"snapshot_uuid", "5", 18990520},
                    {"snapshot_name", "5", 18990513},
                    {"is_user_locked", R"("true")", 18990596},
                    {"is_user_locked", "1", 18990596},
                    {"description", "5", 18990403}});
}

TEST_F(LUNSnapshotOperationsTest, SetSnapshotChecksItsParametersInRequestOrder)
{
    ExpectCheckOrder(SetSnapshot, R"({"snapshot_name":"","is_user_locked":0,"description":0})",
                     {{"snapshot_uuid", R"("s")", 18990520},
                      {"snapshot_name", R"("n")", 18990513},
                      {"is_user_locked", "false", 18990596},
                      {"description", R"("d")", 18990403}});
}

// restore_snapshot

const std::string RESTORE = R"({"src_lun_uuid":"lun1","snapshot_uuid":"snap1"})";

TEST_F(LUNSnapshotOperationsTest, RestoreSnapshotResolvesLUNThenSnapshotAndRestoresTheLUN)
{
    ResolveLun();
    ResolveSnapshot();
    EXPECT_EQ(Answer(Call(RestoreSnapshot, RESTORE)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n" +
                              LunObject() + "ISCSILIBLUN::restoreSnapshot([\"" + SNAP_UUID + "\"])\n");
    EXPECT_EQ(Log(), DebugLine("RestoreSnapshot", RESTORE));
}

TEST_F(LUNSnapshotOperationsTest, RestoreSnapshotOfAnUnknownLUNDoesNotLookTheSnapshotUp)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(RestoreSnapshot, RESTORE)), "error 18990501");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("RestoreSnapshot", RESTORE) + ErrorLine("RestoreSnapshot", 18990501, RESTORE));
}

TEST_F(LUNSnapshotOperationsTest, RestoreSnapshotOfAnUnknownSnapshotRestoresNothing)
{
    ResolveLun();
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    EXPECT_EQ(Answer(Call(RestoreSnapshot, RESTORE)), "error 18990519");
    EXPECT_EQ(Lib().Ops(),
              (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid", "ISCSISnapshotInfo::GetSnapshotUuid"}));
}

TEST_F(LUNSnapshotOperationsTest, RestoreSnapshotPassesALibraryFailureOn)
{
    ResolveLun();
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::restoreSnapshot", 18990532);
    EXPECT_EQ(Answer(Call(RestoreSnapshot, RESTORE)), "error 18990532");
}

TEST_F(LUNSnapshotOperationsTest, RestoreSnapshotRefusesMissingEmptyAndWronglyTypedParameters)
{
    ExpectRefusals(RestoreSnapshot, "RestoreSnapshot", true, RESTORE,
                   {{"src_lun_uuid", "", 18990508},
                    {"src_lun_uuid", R"("")", 18990508},
                    {"src_lun_uuid", "true", 18990508},
                    {"snapshot_uuid", "", 18990520},
                    {"snapshot_uuid", R"("")", 18990520},
                    {"snapshot_uuid", "7", 18990520}});
}

TEST_F(LUNSnapshotOperationsTest, RestoreSnapshotChecksTheLUNBeforeTheSnapshot)
{
    ExpectCheckOrder(RestoreSnapshot, "{}",
                     {{"src_lun_uuid", R"("lun1")", 18990508}, {"snapshot_uuid", R"("s")", 18990520}});
}

// clone_snapshot

const std::string CLONE = R"({"src_lun_uuid":"lun1","snapshot_uuid":"snap1","cloned_lun_name":"copy1"})";
const std::string CLONED_UUID = "c1c1c1c1-0000-1111-2222-333333333333";

std::string CloneCall(int type, const std::string& vpdUnitSn = "")
{
    return "ISCSILIBLUN::cloneSnapshot([\"" + SNAP_UUID + "\",\"copy1\",\"\"," + std::to_string(type) +
           ",\"" + vpdUnitSn + "\"])\n";
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotOfATypeNameMakesTheLUNOfThatTypeAndAnswersItsUuid)
{
    ResolveLun();
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::cloneSnapshot", 0, Out("cloned_lun_uuid", CLONED_UUID));
    const std::string params = With(With(CLONE, "clone_type", R"("thin")"), "vpd_unit_sn", R"("SN42")");
    auto r = Call(CloneSnapshot, params);
    EXPECT_EQ(Answer(r), "success {\"cloned_lun_uuid\":\"" + CLONED_UUID + "\"}");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n" +
                              LunObject() + CloneCall(7, "SN42"));
    EXPECT_EQ(Log(), DebugLine("CloneSnapshot", params));
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotOfCinderInLowerCaseGoesByTheNameAndNotBySnapshotKind)
{
    ResolveLun();
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 0, R"({"ISCSISnapshotInfo::type":2})");
    auto r = Call(CloneSnapshot, With(CLONE, "clone_type", R"("cinder")"));
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n" +
                              LunObject() + CloneCall(143));
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotOfCinderTakesTheTypeFromAnAdvSnapshot)
{
    ResolveLun();
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 0, R"({"ISCSISnapshotInfo::type":1})");
    auto r = Call(CloneSnapshot, With(CLONE, "clone_type", R"("CINDER")"));
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSISnapshotInfo::loadFromConfig([" +
                              RecordText(SNAP_UUID) + ",0])\n" + LunObject() + CloneCall(143));
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotOfCinderTakesCinderBlunFromABlunSnapshot)
{
    ResolveLun();
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 0, R"({"ISCSISnapshotInfo::type":2})");
    Call(CloneSnapshot, With(CLONE, "clone_type", R"("CINDER")"));
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::cloneSnapshot")[0].args[3].asInt(), 391);
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotOfCinderFromASnapshotOfAnotherKindAnswers18990598)
{
    for (int kind : {0, 3}) {
        SetUp();
        ResolveLun();
        ResolveSnapshot();
        Lib().Script("ISCSISnapshotInfo::loadFromConfig", 0, Out("ISCSISnapshotInfo::type", kind));
        const std::string params = With(CLONE, "clone_type", R"("CINDER")");
        EXPECT_EQ(Answer(Call(CloneSnapshot, params)), "error 18990598") << kind;
        EXPECT_EQ(Lib().Ops(),
                  (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid", "ISCSISnapshotInfo::GetSnapshotUuid",
                                            "ISCSISnapshotInfo::loadFromConfig"}))
            << kind;
        EXPECT_EQ(Log(), DebugLine("CloneSnapshot", params) + ErrorLine("CloneSnapshot", 18990598, params));
    }
}

TEST_F(LUNSnapshotOperationsTest,
       CloneSnapshotOfCinderWhoseSettingsCannotBeReadLogsTheFaultAndLeavesTheResponseUnset)
{
    ResolveLun();
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 18990519);
    const std::string params = With(CLONE, "clone_type", R"("CINDER")");
    auto r = Call(CloneSnapshot, params);
    EXPECT_EQ(Answer(r), "none");
    EXPECT_EQ(Lib().Ops(),
              (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid", "ISCSISnapshotInfo::GetSnapshotUuid",
                                        "ISCSISnapshotInfo::loadFromConfig"}));
    EXPECT_EQ(Log(), DebugLine("CloneSnapshot", params) + "<3> iSCSI:" + SOURCE +
                         ":L:CloneSnapshot Failed to load snapshot info from config. UUID: " + SNAP_UUID +
                         "\n");
}

TEST_F(LUNSnapshotOperationsTest,
       CloneSnapshotWithoutCloneTypeOrWithOneThatNamesNoTypePassesType0ToTheLibrary)
{
    for (const char* cloneType : {"", R"("")", R"("no-such-type")"}) {
        SetUp();
        ResolveLun();
        ResolveSnapshot();
        Lib().Script("ISCSILIBLUN::cloneSnapshot", 18990500);
        EXPECT_EQ(Answer(Call(CloneSnapshot, With(CLONE, "clone_type", cloneType))), "error 18990500")
            << cloneType;
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::cloneSnapshot")[0].args[3].asInt(), 0) << cloneType;
    }
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotReadsACloneTypeThatIsNoNameAsATypeNumber)
{
    for (const auto& typeAndId :
         std::vector<std::pair<const char*, int>>{{R"("263")", 263}, {R"("7abc")", 7}}) {
        SetUp();
        ResolveLun();
        ResolveSnapshot();
        Call(CloneSnapshot, With(CLONE, "clone_type", typeAndId.first));
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::cloneSnapshot")[0].args[3].asInt(), typeAndId.second)
            << typeAndId.first;
    }
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotOfAnUnknownLUNOrSnapshotAnswersTheResolversCodeWithoutCloning)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(CloneSnapshot, With(CLONE, "clone_type", R"("CINDER")"))), "error 18990501");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid"}));

    SetUp();
    ResolveLun();
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    EXPECT_EQ(Answer(Call(CloneSnapshot, With(CLONE, "clone_type", R"("CINDER")"))), "error 18990519");
    EXPECT_EQ(Lib().Ops(),
              (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid", "ISCSISnapshotInfo::GetSnapshotUuid"}));
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotPassesALibraryFailureOnWithoutTheNewUuid)
{
    ResolveLun();
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::cloneSnapshot", 18990533, Out("cloned_lun_uuid", CLONED_UUID));
    auto r = Call(CloneSnapshot, CLONE);
    EXPECT_EQ(Answer(r), "error 18990533");
    EXPECT_FALSE(r.HasSuccess());
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotTakesTheLenientObjectNameRule)
{
    ResolveLun();
    ResolveSnapshot();
    EXPECT_TRUE(Call(CloneSnapshot, With(CLONE, "cloned_lun_name", R"("a!b")")).HasSuccess());
    SetUp();
    EXPECT_EQ(Answer(Call(CloneSnapshot, With(CLONE, "cloned_lun_name", R"("ab!")"))), "error 18990503");
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotRefusesMissingEmptyAndWronglyTypedParameters)
{
    ExpectRefusals(CloneSnapshot, "CloneSnapshot", true, CLONE,
                   {{"src_lun_uuid", "", 18990508},
                    {"src_lun_uuid", R"("")", 18990508},
                    {"src_lun_uuid", "1", 18990508},
                    {"snapshot_uuid", "", 18990520},
                    {"snapshot_uuid", R"("")", 18990520},
                    {"snapshot_uuid", "{}", 18990520},
                    {"cloned_lun_name", "", 18990503},
                    {"cloned_lun_name", R"("-copy")", 18990503},
                    {"cloned_lun_name", "5", 18990503},
                    {"clone_type", "5", 18990500},
                    {"clone_type", "[]", 18990500},
                    {"vpd_unit_sn", R"("")", 18990620},
                    {"vpd_unit_sn", "5", 18990620}});
}

TEST_F(LUNSnapshotOperationsTest, CloneSnapshotChecksItsParametersInRequestOrder)
{
    ExpectCheckOrder(CloneSnapshot, R"({"clone_type":1,"vpd_unit_sn":""})",
                     {{"src_lun_uuid", R"("lun1")", 18990508},
                      {"snapshot_uuid", R"("s")", 18990520},
                      {"cloned_lun_name", R"("c")", 18990503},
                      {"clone_type", R"("THIN")", 18990500},
                      {"vpd_unit_sn", R"("SN")", 18990620}});
}

// lock_snapshot and unlock_snapshot

const std::string LOCK = R"({"snapshot_uuid":"snap1","app_key":"backup-app"})";

TEST_F(LUNSnapshotOperationsTest, LockSnapshotLoadsTheRecordAndLocksItUnderTheAppKey)
{
    ResolveSnapshot();
    EXPECT_EQ(Answer(Call(LockSnapshot, LOCK)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSISnapshotInfo::loadFromConfig([" +
                              RecordText(SNAP_UUID) +
                              ",0])\n"
                              "ISCSISnapshotInfo::lockSnapshotByAppKey([" +
                              RecordText(SNAP_UUID) + ",\"backup-app\"])\n");
    EXPECT_EQ(Log(), DebugLine("LockSnapshot", LOCK));
}

TEST_F(LUNSnapshotOperationsTest, UnlockSnapshotLoadsTheRecordAndRemovesTheAppKeysLock)
{
    ResolveSnapshot();
    EXPECT_EQ(Answer(Call(UnlockSnapshot, LOCK)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSISnapshotInfo::loadFromConfig([" +
                              RecordText(SNAP_UUID) +
                              ",0])\n"
                              "ISCSISnapshotInfo::unlockSnapshotByAppKey([" +
                              RecordText(SNAP_UUID) + ",\"backup-app\"])\n");
    EXPECT_EQ(Log(), DebugLine("UnlockSnapshot", LOCK));
}

TEST_F(LUNSnapshotOperationsTest,
       LockSnapshotOfASnapshotWithoutStoredSettingsAnswersTheLoadCodeAndLocksNothing)
{
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::loadFromConfig", 18990519);
    EXPECT_EQ(Answer(Call(LockSnapshot, LOCK)), "error 18990519");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSISnapshotInfo::GetSnapshotUuid",
                                                     "ISCSISnapshotInfo::loadFromConfig"}));
    EXPECT_EQ(Log(), DebugLine("LockSnapshot", LOCK) + ErrorLine("LockSnapshot", 18990519, LOCK));
}

TEST_F(LUNSnapshotOperationsTest,
       UnlockSnapshotWithAnEmptyAppKeyAnswers18990524EvenForASnapshotThatNamesNothing)
{
    Lib().ScriptAlways("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    const std::string params = R"({"snapshot_uuid":"nothing","app_key":""})";
    EXPECT_EQ(Answer(Call(UnlockSnapshot, params)), "error 18990524");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), DebugLine("UnlockSnapshot", params) + ErrorLine("UnlockSnapshot", 18990524, params));
}

TEST_F(LUNSnapshotOperationsTest, LockAndUnlockSnapshotOfAnUnknownSnapshotAnswerTheResolversCode)
{
    for (auto handler : {LockSnapshot, UnlockSnapshot}) {
        SetUp();
        Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
        EXPECT_EQ(Answer(Call(handler, LOCK)), "error 18990519");
        EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSISnapshotInfo::GetSnapshotUuid"}));
    }
}

TEST_F(LUNSnapshotOperationsTest, LockAndUnlockSnapshotPassALibraryFailureOn)
{
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::lockSnapshotByAppKey", 18990534);
    EXPECT_EQ(Answer(Call(LockSnapshot, LOCK)), "error 18990534");
    SetUp();
    ResolveSnapshot();
    Lib().Script("ISCSISnapshotInfo::unlockSnapshotByAppKey", 18990535);
    EXPECT_EQ(Answer(Call(UnlockSnapshot, LOCK)), "error 18990535");
}

TEST_F(LUNSnapshotOperationsTest, LockAndUnlockSnapshotRefuseMissingEmptyAndWronglyTypedParameters)
{
    const std::vector<Refusal> refusals = {
        {"snapshot_uuid", "", 18990520},  {"snapshot_uuid", R"("")", 18990520},
        {"snapshot_uuid", "5", 18990520}, {"app_key", "", 18990524},
        {"app_key", R"("")", 18990524},   {"app_key", "true", 18990524}};
    ExpectRefusals(LockSnapshot, "LockSnapshot", true, LOCK, refusals);
    ExpectRefusals(UnlockSnapshot, "UnlockSnapshot", true, LOCK, refusals);
}

TEST_F(LUNSnapshotOperationsTest, LockAndUnlockSnapshotCheckTheSnapshotBeforeTheAppKey)
{
    for (auto handler : {LockSnapshot, UnlockSnapshot})
        ExpectCheckOrder(handler, "{}",
                         {{"snapshot_uuid", R"("s")", 18990520}, {"app_key", R"("k")", 18990524}});
}

// load_snapshot and unload_snapshot

TEST_F(LUNSnapshotOperationsTest, LoadSnapshotWithoutFlagsLoadsTheSnapshotForNoParticularPurpose)
{
    ResolveSnapshot();
    const std::string params = R"({"snapshot_uuid":"snap1"})";
    EXPECT_EQ(Answer(Call(LoadSnapshot, params)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSILIBLUN::loadSnapshot([\"" +
                              SNAP_UUID + "\",false,false])\n");
    EXPECT_EQ(Log(), DebugLine("LoadSnapshot", params));
}

TEST_F(LUNSnapshotOperationsTest, UnloadSnapshotPassesTrashThenUnsyncSizeFlags)
{
    ResolveSnapshot();
    const std::string params = R"({"snapshot_uuid":"snap1","is_for_trash":true,"is_for_unsync_size":false})";
    EXPECT_EQ(Answer(Call(UnloadSnapshot, params)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSILIBLUN::unloadSnapshot([\"" +
                              SNAP_UUID + "\",true,false])\n");
    EXPECT_EQ(Log(), DebugLine("UnloadSnapshot", params));

    SetUp();
    ResolveSnapshot();
    Call(LoadSnapshot, R"({"snapshot_uuid":"snap1","is_for_trash":false,"is_for_unsync_size":true})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::loadSnapshot")[0].args),
              "[\"" + SNAP_UUID + "\",false,true]");
}

TEST_F(LUNSnapshotOperationsTest, LoadAndUnloadSnapshotOfAnUnknownSnapshotAnswerTheResolversCode)
{
    for (auto handler : {LoadSnapshot, UnloadSnapshot}) {
        SetUp();
        Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
        EXPECT_EQ(Answer(Call(handler, R"({"snapshot_uuid":"snap1"})")), "error 18990519");
        EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSISnapshotInfo::GetSnapshotUuid"}));
    }
}

TEST_F(LUNSnapshotOperationsTest, LoadAndUnloadSnapshotPassALibraryFailureOn)
{
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::loadSnapshot", 18990536);
    EXPECT_EQ(Answer(Call(LoadSnapshot, R"({"snapshot_uuid":"snap1"})")), "error 18990536");
    SetUp();
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::unloadSnapshot", 18990537);
    EXPECT_EQ(Answer(Call(UnloadSnapshot, R"({"snapshot_uuid":"snap1"})")), "error 18990537");
}

TEST_F(LUNSnapshotOperationsTest,
       LoadAndUnloadSnapshotRefuseAFlagOfTheWrongTypeEvenForASnapshotThatNamesNothing)
{
    const std::vector<Refusal> refusals = {
        {"snapshot_uuid", "", 18990520},         {"snapshot_uuid", R"("")", 18990520},
        {"snapshot_uuid", "5", 18990520},        {"is_for_trash", R"("true")", 18990528},
        {"is_for_trash", "0", 18990528},         {"is_for_unsync_size", R"("false")", 18990529},
        {"is_for_unsync_size", "null", 18990529}};
    ExpectRefusals(LoadSnapshot, "LoadSnapshot", true, R"({"snapshot_uuid":"nothing"})", refusals);
    ExpectRefusals(UnloadSnapshot, "UnloadSnapshot", true, R"({"snapshot_uuid":"nothing"})", refusals);
}

TEST_F(LUNSnapshotOperationsTest, LoadAndUnloadSnapshotCheckItsParametersInRequestOrder)
{
    for (auto handler : {LoadSnapshot, UnloadSnapshot})
        ExpectCheckOrder(handler, R"({"is_for_trash":1,"is_for_unsync_size":1})",
                         {{"snapshot_uuid", R"("s")", 18990520},
                          {"is_for_trash", "true", 18990528},
                          {"is_for_unsync_size", "true", 18990529}});
}

} // namespace
