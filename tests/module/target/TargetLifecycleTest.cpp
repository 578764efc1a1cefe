// Target create, delete, set, enable and disable against the recording double: the starting
// values of a new target, the credentials each authentication type needs, the feasibility
// detail, the update mask, and the order of the checks.
#include "HandlerTest.h"

#include "target/WebAPIServerTarget.h"

#include <utility>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APITarget;
using KOVATest::Answer;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerTarget.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerTarget.cpp", function, code, params);
}

// The constructor call of a new target with the fixed starting values.
std::string NewTargetCall(const std::string& name, const std::string& iqn, unsigned int maxSessions,
                          int authType, const std::string& credentials, bool isSoftFeasIgnored)
{
    return "ISCSILIBTarget::ISCSILIBTarget([\"" + name + "\",\"" + iqn +
           "\",true,false,false,262144,262144," + std::to_string(maxSessions) + "," +
           std::to_string(authType) + "," + credentials + "," + (isSoftFeasIgnored ? "true" : "false") +
           "])\n";
}

const char NO_CREDENTIALS[] = R"("","","","")";

class TargetLifecycleTest : public KOVATest::HandlerTest {};

// create

TEST_F(TargetLifecycleTest, CreateBuildsTheTargetWithItsFixedStartingValuesAndAnswersTheNewId)
{
    Lib().Script("ISCSILIBTarget::createTarget", 0, R"({"ISCSILIBTarget::tid":12})");
    auto r = Call(Create, R"({"name":"t1","iqn":"iqn.2024-01.x:t1","auth_type":0})");
    EXPECT_EQ(Answer(r), R"(success {"target_id":12})");
    EXPECT_EQ(LibCalls(), NewTargetCall("t1", "iqn.2024-01.x:t1", 1, 0, NO_CREDENTIALS, false) +
                              "ISCSILIBTarget::createTarget([])\n");
}

TEST_F(TargetLifecycleTest, TheTargetIdInCreatesReplyIsAJsonNumber)
{
    Lib().Script("ISCSILIBTarget::createTarget", 0, R"({"ISCSILIBTarget::tid":1024})");
    auto r = Call(Create, R"({"name":"t","iqn":"q","auth_type":0})");
    ASSERT_TRUE(r.HasSuccess());
    EXPECT_TRUE(r.GetData()["target_id"].isUInt());
    EXPECT_FALSE(r.GetData()["target_id"].isString());
    EXPECT_EQ(r.GetData()["target_id"].asUInt(), 1024u);
}

TEST_F(TargetLifecycleTest, CreatePassesEveryCredentialAndTheSoftFeasibilityFlag)
{
    Call(Create, R"({"name":"t","iqn":"q","auth_type":2,"max_sessions":4,"user":"u","password":"p",)"
                 R"("mutual_user":"mu","mutual_password":"mp","is_soft_feas_ignored":true})");
    EXPECT_EQ(LibCalls(), NewTargetCall("t", "q", 4, 2, R"("u","p","mu","mp")", true) +
                              "ISCSILIBTarget::createTarget([])\n");
}

TEST_F(TargetLifecycleTest, CreateWithAuthType3Answers18990702)
{
    EXPECT_EQ(Answer(Call(Create, R"({"name":"t","iqn":"q","auth_type":3})")), "error 18990702");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetLifecycleTest, CreateWithAuthType0AndNoCredentialsGoesThrough)
{
    EXPECT_TRUE(Call(Create, R"({"name":"t","iqn":"q","auth_type":0})").HasSuccess());
}

TEST_F(TargetLifecycleTest, CreatePassesAUserSentWithAuthType0AllTheSame)
{
    Call(Create, R"({"name":"t","iqn":"q","auth_type":0,"user":"u"})");
    EXPECT_EQ(LibCalls(),
              NewTargetCall("t", "q", 1, 0, R"("u","","","")", false) + "ISCSILIBTarget::createTarget([])\n");
}

TEST_F(TargetLifecycleTest, CreateWithAuthType1AndUserButNoPasswordAnswers18990708)
{
    auto r = Call(Create, R"({"name":"t","iqn":"q","auth_type":1,"user":"u"})");
    EXPECT_EQ(Answer(r), "error 18990708");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetLifecycleTest, CreateTestsTheCredentialsOnlyAfterAllValidatorsPassed)
{
    EXPECT_EQ(Answer(Call(Create, R"({"name":"t","iqn":"q","auth_type":1,"is_soft_feas_ignored":"no"})")),
              "error 18990607");
    EXPECT_EQ(Answer(Call(Create, R"({"name":"t","iqn":"q","auth_type":2,"mutual_password":7})")),
              "error 18990707");
}

TEST_F(TargetLifecycleTest, CreateWithAuthType1NeedsUserAndPassword)
{
    EXPECT_EQ(Answer(Call(Create, R"({"name":"t","iqn":"q","auth_type":1})")), "error 18990708");
    EXPECT_EQ(Answer(Call(Create, R"({"name":"t","iqn":"q","auth_type":1,"password":"p"})")),
              "error 18990708");
    SetUp();
    auto r = Call(Create, R"({"name":"t","iqn":"q","auth_type":1,"user":"u","password":"p"})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ISCSILIBTarget")[0].args[8].asInt(), 1);
}

TEST_F(TargetLifecycleTest, CreateWithAuthType2NeedsAllFourCredentials)
{
    const char* missingOne[] = {
        R"("password":"p","mutual_user":"mu","mutual_password":"mp")",
        R"("user":"u","mutual_user":"mu","mutual_password":"mp")",
        R"("user":"u","password":"p","mutual_password":"mp")",
        R"("user":"u","password":"p","mutual_user":"mu")",
    };
    for (const char* credentials : missingOne) {
        SetUp();
        EXPECT_EQ(
            Answer(Call(Create, std::string(R"({"name":"t","iqn":"q","auth_type":2,)") + credentials + "}")),
            "error 18990708")
            << credentials;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(TargetLifecycleTest, CreateWithAuthType2AndAnEmptyMutualPasswordThatWasSentIsNotRefused)
{
    auto r = Call(Create, R"({"name":"t","iqn":"q","auth_type":2,"user":"u","password":"p",)"
                          R"("mutual_user":"mu","mutual_password":""})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(), NewTargetCall("t", "q", 1, 2, R"("u","p","mu","")", false) +
                              "ISCSILIBTarget::createTarget([])\n");
}

TEST_F(TargetLifecycleTest, CreateWithoutMaxSessionsPasses1AndWith0Passes0)
{
    Call(Create, R"({"name":"t","iqn":"q","auth_type":0})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ISCSILIBTarget")[0].args[7].asUInt(), 1u);
    SetUp();
    Call(Create, R"({"name":"t","iqn":"q","auth_type":0,"max_sessions":0})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ISCSILIBTarget")[0].args[7].asUInt(), 0u);
    SetUp();
    Call(Create, R"({"name":"t","iqn":"q","auth_type":0,"max_sessions":4294967295})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ISCSILIBTarget")[0].args[7].asUInt(), 4294967295u);
}

TEST_F(TargetLifecycleTest, ANewTargetAlwaysHasBothDigestsFalseAndBothSegmentSizes262144)
{
    // Digest and segment parameters are not create's: sent anyway, they change nothing.
    Call(Create, R"({"name":"t","iqn":"q","auth_type":0,"has_header_checksum":true,)"
                 R"("has_data_checksum":true,"max_recv_seg_bytes":8192,"max_send_seg_bytes":8192})");
    const Json::Value args = Lib().CallsOf("ISCSILIBTarget::ISCSILIBTarget")[0].args;
    EXPECT_TRUE(args[2].asBool());
    EXPECT_FALSE(args[3].asBool());
    EXPECT_FALSE(args[4].asBool());
    EXPECT_EQ(args[5].asUInt(), 262144u);
    EXPECT_EQ(args[6].asUInt(), 262144u);
}

TEST_F(TargetLifecycleTest, CreateFailingWithEitherFeasibilityCodeCarriesTheLibrarysDetail)
{
    for (int code : {18990335, 18990336}) {
        SetUp();
        Lib().Script(
            "ISCSILIBTarget::createTarget", code,
            R"({"ISCSILIBTarget::feasibility_detail":{"hard":[{"reason":"too many targets"}],"soft":[]}})");
        auto r = Call(Create, R"({"name":"t","iqn":"q","auth_type":0})");
        EXPECT_EQ(Answer(r),
                  "error " + std::to_string(code) + R"( {"hard":[{"reason":"too many targets"}],"soft":[]})");
        EXPECT_FALSE(r.HasSuccess());
    }
}

TEST_F(TargetLifecycleTest, CreateFailingWithAnyOtherCodeCarriesNoData)
{
    Lib().Script("ISCSILIBTarget::createTarget", 18990701,
                 R"({"ISCSILIBTarget::feasibility_detail":{"hard":[{"reason":"x"}]}})");
    auto r = Call(Create, R"({"name":"t","iqn":"q","auth_type":0})");
    EXPECT_EQ(Answer(r), "error 18990701");
    EXPECT_TRUE(r.GetErrorData().isNull());
}

TEST_F(TargetLifecycleTest, CreateWithAParameterOfTheWrongJsonTypeAnswersItsCode)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"name":1,"iqn":"q","auth_type":0})", 18990700},
        {R"({"name":"t","iqn":true,"auth_type":0})", 18990701},
        {R"({"name":"t","iqn":"q","auth_type":"0"})", 18990702},
        {R"({"name":"t","iqn":"q","auth_type":-1})", 18990702},
        {R"({"name":"t","iqn":"q","auth_type":0,"max_sessions":"1"})", 18990703},
        {R"({"name":"t","iqn":"q","auth_type":0,"max_sessions":-1})", 18990703},
        {R"({"name":"t","iqn":"q","auth_type":0,"user":1})", 18990704},
        {R"({"name":"t","iqn":"q","auth_type":0,"password":[]})", 18990705},
        {R"({"name":"t","iqn":"q","auth_type":0,"mutual_user":false})", 18990706},
        {R"({"name":"t","iqn":"q","auth_type":0,"mutual_password":{}})", 18990707},
        {R"({"name":"t","iqn":"q","auth_type":0,"is_soft_feas_ignored":1})", 18990607},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(Create, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(TargetLifecycleTest, CreateWithRequiredParametersMissingOrEmptyAnswersTheirCodes)
{
    EXPECT_EQ(Answer(Call(Create, R"({"iqn":"q","auth_type":0})")), "error 18990700");
    EXPECT_EQ(Answer(Call(Create, R"({"name":"","iqn":"q","auth_type":0})")), "error 18990700");
    EXPECT_EQ(Answer(Call(Create, R"({"name":"t","auth_type":0})")), "error 18990701");
    EXPECT_EQ(Answer(Call(Create, R"({"name":"t","iqn":"","auth_type":0})")), "error 18990701");
    EXPECT_EQ(Answer(Call(Create, R"({"name":"t","iqn":"q"})")), "error 18990702");
}

TEST_F(TargetLifecycleTest, CreateChecksInReadOrderThenTheCredentials)
{
    std::string params = R"({"name":"","iqn":"","auth_type":9,"max_sessions":-1,"user":1,"password":1,)"
                         R"("mutual_user":1,"mutual_password":1,"is_soft_feas_ignored":1})";
    const std::pair<const char*, const char*> fixes[] = {
        {R"("name":"")", R"("name":"t")"},
        {R"("iqn":"")", R"("iqn":"q")"},
        {R"("auth_type":9)", R"("auth_type":2)"},
        {R"("max_sessions":-1)", R"("max_sessions":1)"},
        {R"("user":1)", R"("user":"u")"},
        {R"("password":1)", R"("password":"p")"},
        {R"("mutual_user":1)", R"("mutual_user":"mu")"},
        {R"("mutual_password":1)", R"("xx":1)"},
        {R"("is_soft_feas_ignored":1)", R"("is_soft_feas_ignored":false)"},
    };
    const int codes[] = {18990700, 18990701, 18990702, 18990703, 18990704,
                         18990705, 18990706, 18990707, 18990607, 18990708};
    for (size_t i = 0; i < 10; ++i) {
        SetUp();
        EXPECT_EQ(Answer(Call(Create, params)), "error " + std::to_string(codes[i])) << params;
        if (i < 9)
            params.replace(params.find(fixes[i].first), std::string(fixes[i].first).size(), fixes[i].second);
    }
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetLifecycleTest, CreateLogsThePasswordsAsSentWithoutMasking)
{
    const std::string params = R"({"auth_type":2,"iqn":"q","mutual_password":"secret2","mutual_user":"mu",)"
                               R"("name":"t","password":"secret1","user":"u"})";
    Call(Create, params);
    EXPECT_EQ(Log(), DebugLine("Create", params));
}

TEST_F(TargetLifecycleTest, ARefusedCreateWritesTheDebugLineThenTheErrorLine)
{
    const std::string params = R"({"auth_type":1,"iqn":"q","name":"t"})";
    Call(Create, params);
    EXPECT_EQ(Log(), DebugLine("Create", params) + ErrorLine("Create", 18990708, params));
}

// delete, enable, disable

struct TargetOperationCase {
    KOVA::APIHandler handler;
    const char* function;
    const char* operation;
};
const TargetOperationCase TargetOperations[] = {
    {Delete, "Delete", "deleteTarget"},
    {Enable, "Enable", "enableTarget"},
    {Disable, "Disable", "disableTarget"},
};

TEST_F(TargetLifecycleTest, DeleteEnableAndDisableResolveTheTargetAndCallTheirOperation)
{
    for (const auto& c : TargetOperations) {
        SetUp();
        Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":5})");
        auto r = Call(c.handler, R"({"target_id":"5"})");
        EXPECT_EQ(Answer(r), "success null") << c.function;
        EXPECT_EQ(LibCalls(), std::string("ISCSITargetInfo::GetTid([\"5\",0])\n"
                                          "ISCSILIBTarget::ISCSILIBTarget([5])\n"
                                          "ISCSILIBTarget::") +
                                  c.operation + "([])\n");
        EXPECT_EQ(Log(), DebugLine(c.function, R"({"target_id":"5"})"));
    }
}

TEST_F(TargetLifecycleTest, DeleteEnableAndDisableOfAnUnknownTargetAnswerTheResolversCodeAndBuildNoObject)
{
    for (const auto& c : TargetOperations) {
        SetUp();
        Lib().Script("ISCSITargetInfo::GetTid", 18990710);
        auto r = Call(c.handler, R"({"target_id":"77"})");
        EXPECT_EQ(Answer(r), "error 18990710") << c.function;
        EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"77\",0])\n");
        EXPECT_EQ(Log(), DebugLine(c.function, R"({"target_id":"77"})") +
                             ErrorLine(c.function, 18990710, R"({"target_id":"77"})"));
    }
}

TEST_F(TargetLifecycleTest, DeleteEnableAndDisablePassALibraryFailureOn)
{
    for (const auto& c : TargetOperations) {
        SetUp();
        Lib().Script(std::string("ISCSILIBTarget::") + c.operation, 18990204);
        EXPECT_EQ(Answer(Call(c.handler, R"({"target_id":"5"})")), "error 18990204") << c.function;
    }
}

TEST_F(TargetLifecycleTest, DeleteEnableAndDisableWithTargetIdMissingEmptyOrNoStringAnswer18990710)
{
    for (const auto& c : TargetOperations) {
        for (const char* params : {"{}", R"({"target_id":""})", R"({"target_id":5})"}) {
            SetUp();
            EXPECT_EQ(Answer(Call(c.handler, params)), "error 18990710") << c.function << params;
            EXPECT_EQ(LibCalls(), "");
        }
    }
}

// set

TEST_F(TargetLifecycleTest, SetWithOnlyTargetIdUpdatesWithMask0AndTheDefaults)
{
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":3})");
    auto r = Call(Set, R"({"target_id":"3"})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(),
              "ISCSITargetInfo::GetTid([\"3\",0])\n"
              "ISCSILIBTarget::ISCSILIBTarget([3])\n"
              "ISCSILIBTarget::updateTarget([0,\"\",\"\",false,false,0,0,0,0,\"\",\"\",\"\",\"\"])\n");
}

TEST_F(TargetLifecycleTest, SetWithEverySettingPassesTheFullMaskAndTheValues)
{
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":3})");
    Call(Set,
         R"({"target_id":"3","name":"n","iqn":"q","auth_type":2,"max_sessions":8,)"
         R"("has_header_checksum":true,"has_data_checksum":true,"max_recv_seg_bytes":8192,)"
         R"("max_send_seg_bytes":4096,"user":"u","password":"p","mutual_user":"mu","mutual_password":"mp"})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBTarget::updateTarget")[0].args),
              R"([4095,"n","q",true,true,8192,4096,8,2,"u","p","mu","mp"])");
}

TEST_F(TargetLifecycleTest, EachSettingOfSetSetsItsOwnBitOfTheMask)
{
    const std::pair<const char*, int> settings[] = {
        {R"("name":"n")", 1},
        {R"("iqn":"q")", 2},
        {R"("max_sessions":0)", 4},
        {R"("has_header_checksum":false)", 8},
        {R"("has_data_checksum":false)", 16},
        {R"("auth_type":0)", 32},
        {R"("user":"")", 64},
        {R"("password":"")", 128},
        {R"("mutual_user":"")", 256},
        {R"("mutual_password":"")", 512},
        {R"("max_recv_seg_bytes":4096)", 1024},
        {R"("max_send_seg_bytes":4096)", 2048},
    };
    for (const auto& s : settings) {
        SetUp();
        auto r = Call(Set, std::string(R"({"target_id":"3",)") + s.first + "}");
        ASSERT_TRUE(r.HasSuccess()) << s.first;
        EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::updateTarget")[0].args[0].asInt(), s.second) << s.first;
    }
}

TEST_F(TargetLifecycleTest, SetMayChangeAuthTypeTo2WithoutAnyCredentials)
{
    auto r = Call(Set, R"({"target_id":"3","auth_type":2})");
    EXPECT_EQ(Answer(r), "success null");
    const Json::Value args = Lib().CallsOf("ISCSILIBTarget::updateTarget")[0].args;
    EXPECT_EQ(args[0].asInt(), 32);
    EXPECT_EQ(args[8].asInt(), 2);
}

TEST_F(TargetLifecycleTest, SetWithNameSentEmptyAnswers18990700)
{
    EXPECT_EQ(Answer(Call(Set, R"({"target_id":"3","name":""})")), "error 18990700");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetLifecycleTest, SetAcceptsSegmentSizesThatAreWholeMultiplesOf4096)
{
    for (const char* key : {"max_recv_seg_bytes", "max_send_seg_bytes"}) {
        const std::string code = std::string(key) == "max_recv_seg_bytes" ? "18990738" : "18990739";
        for (const char* bytes : {"4096", "8192", "262144"}) {
            SetUp();
            EXPECT_TRUE(
                Call(Set, std::string(R"({"target_id":"3",")") + key + "\":" + bytes + "}").HasSuccess())
                << key << bytes;
        }
        for (const char* bytes : {"4095", "0", "6144", "4097"}) {
            SetUp();
            EXPECT_EQ(Answer(Call(Set, std::string(R"({"target_id":"3",")") + key + "\":" + bytes + "}")),
                      "error " + code)
                << key << bytes;
            EXPECT_EQ(LibCalls(), "");
        }
    }
}

TEST_F(TargetLifecycleTest, SetWithABadUserAndABadDigestFlagAnswersTheUsersCodeFirst)
{
    EXPECT_EQ(Answer(Call(Set, R"({"target_id":"3","has_header_checksum":"yes","user":5})")),
              "error 18990704");
}

TEST_F(TargetLifecycleTest, SetChecksTheCredentialsBeforeTheDigestFlagsAndTheSegmentSizes)
{
    std::string params =
        R"({"target_id":"","name":"","iqn":"","auth_type":3,"max_sessions":-1,)"
        R"("has_header_checksum":1,"has_data_checksum":1,"max_recv_seg_bytes":1,)"
        R"("max_send_seg_bytes":1,"user":1,"password":1,"mutual_user":1,"mutual_password":1})";
    const std::pair<const char*, const char*> fixes[] = {
        {R"("target_id":"")", R"("target_id":"3")"},
        {R"("name":"")", R"("name":"n")"},
        {R"("iqn":"")", R"("iqn":"q")"},
        {R"("auth_type":3)", R"("auth_type":1)"},
        {R"("max_sessions":-1)", R"("max_sessions":1)"},
        {R"("user":1)", R"("user":"u")"},
        {R"("password":1)", R"("password":"p")"},
        {R"("mutual_user":1)", R"("mutual_user":"mu")"},
        {R"("mutual_password":1)", R"("mutual_password":"mp")"},
        {R"("has_header_checksum":1)", R"("has_header_checksum":true)"},
        {R"("has_data_checksum":1)", R"("has_data_checksum":true)"},
        {R"("max_recv_seg_bytes":1)", R"("max_recv_seg_bytes":4096)"},
        {R"("max_send_seg_bytes":1)", R"("max_send_seg_bytes":4096)"},
    };
    const int codes[] = {18990710, 18990700, 18990701, 18990702, 18990703, 18990704, 18990705,
                         18990706, 18990707, 18990736, 18990737, 18990738, 18990739};
    for (size_t i = 0; i < 13; ++i) {
        SetUp();
        EXPECT_EQ(Answer(Call(Set, params)), "error " + std::to_string(codes[i])) << params;
        EXPECT_EQ(LibCalls(), "");
        params.replace(params.find(fixes[i].first), std::string(fixes[i].first).size(), fixes[i].second);
    }
    SetUp();
    EXPECT_EQ(Answer(Call(Set, params)), "success null");
}

TEST_F(TargetLifecycleTest, SetWithAParameterOfTheWrongJsonTypeAnswersItsCode)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"target_id":3})", 18990710},
        {R"({"target_id":"3","name":7})", 18990700},
        {R"({"target_id":"3","iqn":[]})", 18990701},
        {R"({"target_id":"3","auth_type":"1"})", 18990702},
        {R"({"target_id":"3","max_sessions":1.5})", 18990703},
        {R"({"target_id":"3","has_header_checksum":"true"})", 18990736},
        {R"({"target_id":"3","has_data_checksum":0})", 18990737},
        {R"({"target_id":"3","max_recv_seg_bytes":"4096"})", 18990738},
        {R"({"target_id":"3","max_send_seg_bytes":-4096})", 18990739},
        {R"({"target_id":"3","user":true})", 18990704},
        {R"({"target_id":"3","password":1})", 18990705},
        {R"({"target_id":"3","mutual_user":{}})", 18990706},
        {R"({"target_id":"3","mutual_password":null})", 18990707},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(Set, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(TargetLifecycleTest, SetOfAnUnknownTargetAnswersTheResolversCodeAndUpdatesNothing)
{
    Lib().Script("ISCSITargetInfo::GetTid", 18990710);
    EXPECT_EQ(Answer(Call(Set, R"({"target_id":"x","name":"n"})")), "error 18990710");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"x\",0])\n");
}

TEST_F(TargetLifecycleTest, SetPassesAnUpdateFailureOnWithTheErrorLine)
{
    Lib().Script("ISCSILIBTarget::updateTarget", 18990701);
    const std::string params = R"({"iqn":"q","password":"s3cret","target_id":"3"})";
    EXPECT_EQ(Answer(Call(Set, params)), "error 18990701");
    EXPECT_EQ(Log(), DebugLine("Set", params) + ErrorLine("Set", 18990701, params));
}

} // namespace
