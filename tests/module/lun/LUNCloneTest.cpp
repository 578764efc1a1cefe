// clone, test_cloneability, stop_clone and retry_stop of the LUN API against the recording
// double: the local and the remote way, the type of the new LUN, and the silent end when the
// source's stored settings cannot be read.
#include "HandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <iscsi/ISCSINodeInfo.h>

#include <string>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerLUN.cpp", function, KOVA::toString(ParseJson(params)));
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerLUN.cpp", function, code, KOVA::toString(ParseJson(params)));
}

const char RESOLVED[] = "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n";
const char OBJECT[] = "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n";
// The remote parameters that a clone to another node needs.
const char REMOTE[] =
    R"("dst_node_uuid":"node2","dst_location":"/volume2","dst_address":"10.0.0.2","dst_port":3261)";

class LUNCloneTest : public KOVATest::HandlerTest {
protected:
    // The identifier "lun1" resolves to U-1, and "node2" to N-2.
    void SetUp() override
    {
        HandlerTest::SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
        Lib().Script("ISCSINodeInfo::GetNodeUuid", 0, R"({"uuid":"N-2"})");
    }

    KOVA::APIResponse Clone(const std::string& more)
    {
        return Call(ISCSI::WebAPI::APILUN::Clone,
                    std::string(R"({"src_lun_uuid":"lun1","dst_lun_name":"copy")") +
                        (more.empty() ? "" : ",") + more + "}");
    }

    // The type given to the clone operation that was called.
    int ClonedType()
    {
        auto local = Lib().CallsOf("ISCSILIBLUN::localClone");
        if (!local.empty())
            return local[0].args[2].asInt();
        return Lib().CallsOf("ISCSILIBLUN::remoteClone").at(0).args[1].asInt();
    }

    static std::string NodeJson(const std::string& uuid)
    {
        Json::Value node;
        ISCSI::ISCSINodeInfo(uuid).toJsonFormat(node);
        return KOVA::toString(node);
    }
};

// The local way

TEST_F(LUNCloneTest, ALocalCloneWithOnlyTheRequiredParametersPassesDefaultsAndAnswersTheNewUuid)
{
    Lib().Script("ISCSILIBLUN::localClone", 0, R"({"dst_lun_uuid":"NEW-1"})");
    auto r = Clone("");
    EXPECT_EQ(Answer(r), R"(success {"dst_lun_uuid":"NEW-1"})");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + OBJECT +
                              "ISCSILIBLUN::localClone([\"copy\",\"\",0,\"\",\"\",false,false,[]])\n");
}

TEST_F(LUNCloneTest, ALocalClonePassesItsParametersAndTheTargetsInAscendingOrder)
{
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":7})");
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":2})");
    auto r = Clone(R"("clone_type":"BLUN","dst_location":"/volume2","vpd_unit_sn":"SN-1","is_data_clone":true,
                      "is_soft_feas_ignored":true,"is_delete_parent_lun":true,
                      "map_new_lun_to_target_ids":["iqn.b","iqn.a"])");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(),
              std::string(RESOLVED) +
                  "ISCSITargetInfo::GetTid([\"iqn.b\",-1])\n"
                  "ISCSITargetInfo::GetTid([\"iqn.a\",-1])\n"
                  "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",true,false,false])\n"
                  "ISCSILIBLUN::localClone([\"copy\",\"\",263,\"/volume2\",\"SN-1\",true,true,[2,7]])\n");
}

TEST_F(LUNCloneTest, ALocalCloneIgnoresTheRemoteParameters)
{
    auto r = Clone(R"("dst_address":"10.0.0.2","dst_port":3261,"is_data_encrypted":true)");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + OBJECT +
                              "ISCSILIBLUN::localClone([\"copy\",\"\",0,\"\",\"\",false,false,[]])\n");
}

TEST_F(LUNCloneTest, ACloneTypeThatNamesNoTypeGoesOnAsType0)
{
    Clone(R"("clone_type":"nonsense")");
    EXPECT_EQ(ClonedType(), 0);
}

TEST_F(LUNCloneTest, ACloneTypeIsTakenByNameInAnyCaseOrByNumberText)
{
    const std::pair<const char*, int> cases[] = {{"thin", 7}, {"VDISK_BLUN_C2", 1831}, {"391", 391}};
    for (const auto& c : cases) {
        SetUp();
        Clone(std::string(R"("clone_type":")") + c.first + "\"");
        EXPECT_EQ(ClonedType(), c.second) << c.first;
    }
}

// The type of a "CINDER" clone

TEST_F(LUNCloneTest, ALocalCinderCloneOnBtrfsWithTheSettingYesAsksForType391)
{
    Lib().Script("KOVAFSTypeGetFromDisk", 3);
    Lib().Script("KLIBCFileGetKeyValue", 3, R"({"buffer":"yes"})");
    Clone(R"("clone_type":"CINDER","dst_location":"/volume2")");
    EXPECT_EQ(
        LibCalls(),
        std::string(RESOLVED) +
            "KOVAFSTypeGetFromDisk([\"/volume2\"])\n"
            "KLIBCFileGetKeyValue([\"/etc.defaults/kovainfo.conf\",\"support_iscsi_btrfs_lun\",8,0])\n" +
            OBJECT + "ISCSILIBLUN::localClone([\"copy\",\"\",391,\"/volume2\",\"\",false,false,[]])\n");
}

TEST_F(LUNCloneTest, ALocalCinderCloneOnBtrfsWithTheSettingOtherOrMissingAsksForType143)
{
    const std::pair<int, const char*> cases[] = {{2, "no"}, {0, ""}, {-1, "yes"}, {3, "Yes"}};
    for (const auto& c : cases) {
        SetUp();
        Lib().Script("KOVAFSTypeGetFromDisk", 3);
        Lib().Script("KLIBCFileGetKeyValue", c.first, std::string(R"({"buffer":")") + c.second + "\"}");
        auto r = Clone(R"("clone_type":"CINDER","dst_location":"/volume2")");
        EXPECT_TRUE(r.HasSuccess()) << c.second;
        EXPECT_EQ(ClonedType(), 143) << c.second;
    }
}

TEST_F(LUNCloneTest, ALocalCinderCloneOnAnotherFileSystemAsksForType143WithoutReadingTheSetting)
{
    Clone(R"("clone_type":"CINDER","dst_location":"/volume2")");
    EXPECT_EQ(ClonedType(), 143);
    EXPECT_TRUE(Lib().CallsOf("KLIBCFileGetKeyValue").empty());
}

TEST_F(LUNCloneTest, ALocalCinderCloneWithoutDestinationLooksAtTheVolumeOfTheSource)
{
    Lib().Script("ISCSILUNInfo::loadFromConfig", 0, R"({"lun":{"uuid":"U-1","location":"/volume3"}})");
    Lib().Script("KOVAFSTypeGetFromDisk", 3);
    Lib().Script("KLIBCFileGetKeyValue", 3, R"({"buffer":"yes"})");
    Clone(R"("clone_type":"CINDER")");
    auto load = Lib().CallsOf("ISCSILUNInfo::loadFromConfig");
    ASSERT_EQ(load.size(), 1u);
    EXPECT_EQ(load[0].args[0]["uuid"].asString(), "U-1");
    EXPECT_EQ(KOVA::toString(load[0].args[1]), R"({"dev_attribs":0,"extent_size":0,"location":"","lun_id":0,)"
                                               R"("name":"","size":0,"type":0,"uuid":"","vpd_unit_sn":""})");
    EXPECT_EQ(load[0].args[2].asInt(), 0);
    EXPECT_EQ(Lib().CallsOf("KOVAFSTypeGetFromDisk").at(0).args[0].asString(), "/volume3");
    // The clone itself still goes where dst_location says: nowhere given, so empty.
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::localClone").at(0).args,
              ParseJson(R"(["copy","",391,"","",false,false,[]])"));
}

TEST_F(LUNCloneTest, ALocalCinderCloneWhoseSourceSettingsCannotBeReadEndsWithoutAnyAnswer)
{
    Lib().Script("ISCSILUNInfo::loadFromConfig", 18990510);
    const std::string params = R"({"src_lun_uuid":"lun1","dst_lun_name":"copy","clone_type":"CINDER"})";
    auto r = Call(ISCSI::WebAPI::APILUN::Clone, params);
    EXPECT_EQ(Answer(r), "none");
    EXPECT_TRUE(Lib().CallsOf("KOVAFSTypeGetFromDisk").empty());
    EXPECT_TRUE(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN").empty());
    EXPECT_TRUE(Lib().CallsOf("ISCSILIBLUN::localClone").empty());
    EXPECT_EQ(Log(),
              DebugLine("Clone", params) +
                  "<3> iSCSI:WebAPIServerLUN.cpp:L:Clone Failed to load lun info from config. UUID: U-1\n");
}

TEST_F(LUNCloneTest, ACinderCloneTypeInLowerCaseGoesByItsNameAndNeverAsksFor391)
{
    Lib().ScriptAlways("KOVAFSTypeGetFromDisk", 3);
    Lib().ScriptAlways("KLIBCFileGetKeyValue", 3, ParseJson(R"({"buffer":"yes"})"));
    Clone(R"("clone_type":"cinder","dst_location":"/volume2")");
    EXPECT_EQ(ClonedType(), 143);
    EXPECT_TRUE(Lib().CallsOf("KOVAFSTypeGetFromDisk").empty());
    EXPECT_TRUE(Lib().CallsOf("ISCSILUNInfo::loadFromConfig").empty());
}

TEST_F(LUNCloneTest, ACinderCloneToAnotherNodeLooksAtNoFileSystemAndAsksFor143)
{
    Lib().ScriptAlways("KOVAFSTypeGetFromDisk", 3);
    Lib().ScriptAlways("KLIBCFileGetKeyValue", 3, ParseJson(R"({"buffer":"yes"})"));
    Clone(std::string(R"("clone_type":"CINDER",)") + REMOTE);
    EXPECT_EQ(ClonedType(), 143);
    EXPECT_TRUE(Lib().CallsOf("KOVAFSTypeGetFromDisk").empty());
}

// The remote way

TEST_F(LUNCloneTest, ACloneToAnotherNodeResolvesTheNodeAndCallsRemoteClone)
{
    Lib().Script("ISCSILIBLUN::remoteClone", 0, R"({"dst_lun_uuid":"NEW-2"})");
    auto r =
        Clone(std::string(R"("clone_type":"THIN","vpd_unit_sn":"SN-2","is_data_encrypted":true,)") + REMOTE);
    EXPECT_EQ(Answer(r), R"(success {"dst_lun_uuid":"NEW-2"})");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + "ISCSINodeInfo::GetNodeUuid([\"node2\",\"\"])\n" + OBJECT +
                              "ISCSILIBLUN::remoteClone([\"copy\",7,\"/volume2\"," + NodeJson("N-2") +
                              ",\"10.0.0.2\",3261,\"\",\"SN-2\",true,true])\n");
}

TEST_F(LUNCloneTest, ACloneToAnotherNodeIgnoresTheLocalParametersButResolvesTheTargets)
{
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":4})");
    Clone(std::string(
              R"("is_data_clone":true,"is_delete_parent_lun":true,"map_new_lun_to_target_ids":["t4"],)") +
          REMOTE);
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + "ISCSINodeInfo::GetNodeUuid([\"node2\",\"\"])\n" +
                              "ISCSITargetInfo::GetTid([\"t4\",-1])\n" + OBJECT +
                              "ISCSILIBLUN::remoteClone([\"copy\",0,\"/volume2\"," + NodeJson("N-2") +
                              ",\"10.0.0.2\",3261,\"\",\"\",false,true])\n");
}

TEST_F(LUNCloneTest, ACloneToAnotherNodeWithoutPortAddressOrLocationAnswers18990201BeforeResolvingTheSource)
{
    for (const char* missing : {"dst_port", "dst_address", "dst_location"}) {
        SetUp();
        Json::Value params =
            ParseJson(std::string(R"({"src_lun_uuid":"lun1","dst_lun_name":"copy",)") + REMOTE + "}");
        params.removeMember(missing);
        EXPECT_EQ(Answer(Call(ISCSI::WebAPI::APILUN::Clone, KOVA::toString(params))), "error 18990201")
            << missing;
        EXPECT_EQ(LibCalls(), "") << missing;
    }
}

TEST_F(LUNCloneTest, ACloneWithDstPort0Answers18990847EvenOnTheLocalWay)
{
    EXPECT_EQ(Answer(Clone(R"("dst_port":0)")), "error 18990847");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(LUNCloneTest, AnUnknownTargetAnswersTheResolversCodeAndNoCloneBegins)
{
    for (const char* way : {"", REMOTE}) {
        SetUp();
        Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":1})");
        Lib().Script("ISCSITargetInfo::GetTid", 18990703);
        auto r =
            Clone(std::string(R"("map_new_lun_to_target_ids":["t1","nope","t3"])") + (*way ? "," : "") + way);
        EXPECT_EQ(Answer(r), "error 18990703") << way;
        EXPECT_EQ(Lib().CallsOf("ISCSITargetInfo::GetTid").size(), 2u) << way;
        EXPECT_TRUE(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN").empty()) << way;
        EXPECT_TRUE(Lib().CallsOf("ISCSILIBLUN::localClone").empty()) << way;
        EXPECT_TRUE(Lib().CallsOf("ISCSILIBLUN::remoteClone").empty()) << way;
    }
}

TEST_F(LUNCloneTest, ASourceThatDoesNotResolveAnswersTheResolversCode)
{
    HandlerTest::SetUp();
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    EXPECT_EQ(Answer(Clone(REMOTE)), "error 18990505");
    EXPECT_EQ(LibCalls(), RESOLVED);
}

TEST_F(LUNCloneTest, ANodeThatDoesNotResolveAnswersTheResolversCode)
{
    HandlerTest::SetUp();
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    Lib().Script("ISCSINodeInfo::GetNodeUuid", 18990801);
    EXPECT_EQ(Answer(Clone(std::string(R"("map_new_lun_to_target_ids":["t"],)") + REMOTE)), "error 18990801");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + "ISCSINodeInfo::GetNodeUuid([\"node2\",\"\"])\n");
}

// Answers

TEST_F(LUNCloneTest, AFeasibilityFailureOfEitherWayAnswersTheLibrarysDetail)
{
    Lib().Script("ISCSILIBLUN::localClone", 18990335,
                 R"({"ISCSILIBLUN::feasibility_detail":{"hard":[{"reason":"r"}]}})");
    EXPECT_EQ(Answer(Clone("")), R"(error 18990335 {"hard":[{"reason":"r"}]})");
    SetUp();
    Lib().Script("ISCSILIBLUN::remoteClone", 18990336,
                 R"({"ISCSILIBLUN::feasibility_detail":{"soft":[{"reason":"s"}]}})");
    EXPECT_EQ(Answer(Clone(REMOTE)), R"(error 18990336 {"soft":[{"reason":"s"}]})");
}

TEST_F(LUNCloneTest, AnyOtherCloneFailureAnswersNullData)
{
    Lib().Script("ISCSILIBLUN::localClone", 18990510, R"({"ISCSILIBLUN::feasibility_detail":{"hard":[]}})");
    auto r = Clone("");
    EXPECT_EQ(Answer(r), "error 18990510");
    EXPECT_FALSE(r.HasSuccess());
}

TEST_F(LUNCloneTest, IsSamePoolGivenAsABooleanChangesNothing)
{
    Clone("");
    const std::string without = LibCalls();
    for (const char* value : {"true", "false"}) {
        SetUp();
        EXPECT_TRUE(Clone(std::string(R"("is_same_pool":)") + value).HasSuccess());
        EXPECT_EQ(LibCalls(), without) << value;
    }
}

// Parameters

TEST_F(LUNCloneTest, CloneRefusesEachParameterOfTheWrongJsonTypeOrValueWithItsCode)
{
    const struct {
        const char* key;
        const char* value;
        int code;
    } cases[] = {
        {"src_lun_uuid", R"("")", 18990505},
        {"src_lun_uuid", "1", 18990505},
        {"dst_lun_name", R"("-copy")", 18990503},
        {"dst_lun_name", "1", 18990503},
        {"clone_type", "7", 18990500},
        {"dst_location", R"("/volume1/sub")", 18990904},
        {"dst_location", R"("")", 18990904},
        {"dst_location", "1", 18990904},
        {"vpd_unit_sn", R"("")", 18990620},
        {"dst_node_uuid", R"("")", 18990823},
        {"dst_node_uuid", "2", 18990823},
        {"dst_address", R"("")", 18990845},
        {"dst_port", "0", 18990847},
        {"dst_port", "-1", 18990847},
        {"dst_port", R"("3261")", 18990847},
        {"is_data_encrypted", R"("true")", 18990849},
        {"is_data_clone", "1", 18990618},
        {"is_soft_feas_ignored", "null", 18990607},
        {"is_delete_parent_lun", "[]", 18990631},
        {"map_new_lun_to_target_ids", R"("t1")", 18990710},
        {"map_new_lun_to_target_ids", "{}", 18990710},
        {"is_same_pool", R"("true")", 18990506},
    };
    for (const auto& c : cases) {
        SetUp();
        Json::Value params = ParseJson(R"({"src_lun_uuid":"lun1","dst_lun_name":"copy"})");
        params[c.key] = ParseJson(c.value);
        EXPECT_EQ(Answer(Call(ISCSI::WebAPI::APILUN::Clone, KOVA::toString(params))),
                  "error " + std::to_string(c.code))
            << c.key << " " << c.value;
        EXPECT_EQ(LibCalls(), "") << c.key << " " << c.value;
    }
    SetUp();
    EXPECT_EQ(Answer(Call(ISCSI::WebAPI::APILUN::Clone, R"({"dst_lun_name":"copy"})")), "error 18990505");
    EXPECT_EQ(Answer(Call(ISCSI::WebAPI::APILUN::Clone, R"({"src_lun_uuid":"lun1"})")), "error 18990503");
}

TEST_F(LUNCloneTest, CloneTestsItsFourteenParametersInOrderAndThenTheRemoteRule)
{
    const struct {
        const char* key;
        const char* good;
        const char* bad;
        int code;
    } order[] = {
        {"src_lun_uuid", R"("lun1")", R"("")", 18990505},
        {"dst_lun_name", R"("copy")", R"("!")", 18990503},
        {"clone_type", R"("THIN")", "1", 18990500},
        {"dst_location", R"("/volume1")", R"("/x")", 18990904},
        {"vpd_unit_sn", R"("SN")", R"("")", 18990620},
        {"dst_node_uuid", R"("node2")", R"("")", 18990823},
        {"dst_address", R"("10.0.0.2")", R"("")", 18990845},
        {"dst_port", "3261", "0", 18990847},
        {"is_data_encrypted", "false", "1", 18990849},
        {"is_data_clone", "false", "1", 18990618},
        {"is_soft_feas_ignored", "false", "1", 18990607},
        {"is_delete_parent_lun", "false", "1", 18990631},
        {"map_new_lun_to_target_ids", "[]", "1", 18990710},
        {"is_same_pool", "false", "1", 18990506},
    };
    const size_t count = sizeof(order) / sizeof(order[0]);
    for (size_t first = 0; first < count; ++first) {
        SetUp();
        Json::Value params(Json::objectValue);
        for (size_t i = 0; i < count; ++i)
            params[order[i].key] = ParseJson(i < first ? order[i].good : order[i].bad);
        EXPECT_EQ(Answer(Call(ISCSI::WebAPI::APILUN::Clone, KOVA::toString(params))),
                  "error " + std::to_string(order[first].code))
            << first;
        EXPECT_EQ(LibCalls(), "") << first;
    }
    SetUp();
    EXPECT_EQ(Answer(Clone(R"("dst_node_uuid":"node2","is_same_pool":"x")")), "error 18990506");
}

TEST_F(LUNCloneTest, CloneWritesTheDebugLineThenTheErrorLineOfAFailure)
{
    const std::string params = R"({"src_lun_uuid":"lun1","dst_lun_name":"copy","dst_node_uuid":"node2"})";
    Call(ISCSI::WebAPI::APILUN::Clone, params);
    EXPECT_EQ(Log(), DebugLine("Clone", params) + ErrorLine("Clone", 18990201, params));
    SetUp();
    Clone("");
    EXPECT_EQ(Log(), DebugLine("Clone", R"({"src_lun_uuid":"lun1","dst_lun_name":"copy"})"));
}

// test_cloneability

TEST_F(LUNCloneTest, TestCloneabilityAsksTheLibraryWithTheVolumeRootOfTheDestination)
{
    auto r =
        Call(TestCloneability, R"({"dst_location":"/volume007/","src_lun_file":"/volume1/@iSCSI/lun.img"})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILIBLUN::TestCloneability([\"/volume1/@iSCSI/lun.img\",\"/volume7\"])\n");
}

TEST_F(LUNCloneTest, TestCloneabilityWithADestinationBelowAVolumeRootAsksWithAnEmptyLocation)
{
    for (const char* location : {"/volume1/sub", "/data"}) {
        SetUp();
        Call(TestCloneability, std::string(R"({"src_lun_file":"f","dst_location":")") + location + "\"}");
        EXPECT_EQ(LibCalls(), "ISCSILIBLUN::TestCloneability([\"f\",\"\"])\n") << location;
    }
}

TEST_F(LUNCloneTest, TestCloneabilityPassesTheLibrarysAnswerOn)
{
    Lib().Script("ISCSILIBLUN::TestCloneability", 18990335,
                 R"({"ISCSILIBLUN::feasibility_detail":{"hard":[]}})");
    EXPECT_EQ(Answer(Call(TestCloneability, R"({"src_lun_file":"f","dst_location":"/volume1"})")),
              "error 18990335");
}

TEST_F(LUNCloneTest, TestCloneabilityRefusesAMissingOrEmptyParameterWithItsCodeDestinationFirst)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"src_lun_file":"f"})", 18990904},
        {R"({"dst_location":"","src_lun_file":"f"})", 18990904},
        {R"({"dst_location":1,"src_lun_file":"f"})", 18990904},
        {R"({"dst_location":"/volume1"})", 18990616},
        {R"({"dst_location":"/volume1","src_lun_file":""})", 18990616},
        {R"({"dst_location":"/volume1","src_lun_file":[]})", 18990616},
        {R"({})", 18990904},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(TestCloneability, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(LUNCloneTest, TestCloneabilityWritesTheDebugLineThenTheErrorLineOfAFailure)
{
    const std::string params = R"({"dst_location":"/volume1"})";
    Call(TestCloneability, params);
    EXPECT_EQ(Log(), DebugLine("TestCloneability", params) + ErrorLine("TestCloneability", 18990616, params));
}

// stop_clone and retry_stop

TEST_F(LUNCloneTest, StopCloneStopsTheCloneOfTheResolvedLUN)
{
    EXPECT_EQ(Answer(Call(StopClone, R"({"uuid":"lun1"})")), "success null");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + OBJECT + "ISCSILIBLUN::stopClone([])\n");
}

TEST_F(LUNCloneTest, RetryStopGivesTheLibraryTheResolvedUuidOnceMore)
{
    EXPECT_EQ(Answer(Call(RetryStop, R"({"uuid":"lun1"})")), "success null");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + OBJECT + "ISCSILIBLUN::retryStop([\"U-1\"])\n");
}

TEST_F(LUNCloneTest, StopCloneAndRetryStopPassAFailureToResolveOnWithoutMakingTheLUNObject)
{
    for (auto handler : {StopClone, RetryStop}) {
        HandlerTest::SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
        EXPECT_EQ(Answer(Call(handler, R"({"uuid":"lun1"})")), "error 18990505");
        EXPECT_EQ(LibCalls(), RESOLVED);
    }
}

TEST_F(LUNCloneTest, StopCloneAndRetryStopPassALibraryFailureOn)
{
    Lib().Script("ISCSILIBLUN::stopClone", 18990510);
    EXPECT_EQ(Answer(Call(StopClone, R"({"uuid":"lun1"})")), "error 18990510");
    SetUp();
    Lib().Script("ISCSILIBLUN::retryStop", 18990511);
    EXPECT_EQ(Answer(Call(RetryStop, R"({"uuid":"lun1"})")), "error 18990511");
}

TEST_F(LUNCloneTest, StopCloneAndRetryStopRefuseAMissingEmptyOrNonTextUuidWith18990505)
{
    for (auto handler : {StopClone, RetryStop}) {
        for (const char* params : {"{}", R"({"uuid":""})", R"({"uuid":7})"}) {
            SetUp();
            EXPECT_EQ(Answer(Call(handler, params)), "error 18990505") << params;
            EXPECT_EQ(LibCalls(), "") << params;
        }
    }
}

TEST_F(LUNCloneTest, StopCloneAndRetryStopWriteTheirDebugLineThenTheErrorLineOfAFailure)
{
    Call(StopClone, R"({"uuid":""})");
    EXPECT_EQ(Log(),
              DebugLine("StopClone", R"({"uuid":""})") + ErrorLine("StopClone", 18990505, R"({"uuid":""})"));
    SetUp();
    Call(RetryStop, R"({"uuid":"lun1"})");
    EXPECT_EQ(Log(), DebugLine("RetryStop", R"({"uuid":"lun1"})"));
}

} // namespace
