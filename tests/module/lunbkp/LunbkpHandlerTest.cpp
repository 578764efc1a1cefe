// The LUN backup methods against the recording double: the checks before the LUN is resolved,
// the object built for the resolved LUN, the copy direction, the replies, and which methods
// write a debug line.
#include "HandlerTest.h"

#include "lunbkp/WebAPIServerLunbkp.h"

#include <utility>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APILUNBKP;
using KOVATest::Answer;

const char UUID_A[] = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerLunbkp.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerLunbkp.cpp", function, code, params);
}

// The calls that resolve "lun-1" and build the object for the resolved LUN.
std::string OpenCalls()
{
    return std::string("ISCSILUNInfo::GetLunUuid([\"lun-1\",\"\"])\n"
                       "ISCSILIBLUNBKP::ISCSILIBLUNBKP([\"") +
           UUID_A + "\"])\n";
}

// A method that works on a LUN: its handler, its name in the log, a good request, the library
// call that request makes (after resolving), and whether it writes a debug line.
struct LUNMethod {
    KOVA::APIHandler handler;
    const char* function;
    const char* params;
    const char* call;
    bool debugLine;
};
const LUNMethod LUNMethods[] = {
    {BackupLunMove, "BackupLunMove", R"({"dst_location":"/volume2","uuid":"lun-1"})",
     "ISCSILIBLUNBKP::backupLunMove([\"/volume2\"])\n", true},
    {LunBackupStart, "LunBackupStart", R"({"block_dev_path":"/dev/sdx","uuid":"lun-1"})",
     "ISCSILIBLUNBKP::smartddStart([\"/dev/sdx\",0])\n", true},
    {LunBackupStop, "LunBackupStop", R"({"uuid":"lun-1"})", "ISCSILIBLUNBKP::smartddStop([0])\n", true},
    {LunRestoreStart, "LunRestoreStart", R"({"block_dev_path":"/dev/sdx","uuid":"lun-1"})",
     "ISCSILIBLUNBKP::smartddStart([\"/dev/sdx\",1])\n", true},
    {LunRestoreStop, "LunRestoreStop", R"({"uuid":"lun-1"})", "ISCSILIBLUNBKP::smartddStop([1])\n", true},
    {LunBkpProgressGet, "LunBkpProgressGet", R"({"uuid":"lun-1"})",
     "ISCSILIBLUNBKP::smartddProgressGet([0,0,0])\n", false},
    {LunBkpBitmapReset, "LunBkpBitmapReset", R"({"uuid":"lun-1"})", "ISCSILIBLUNBKP::bitmapReset([])\n",
     true},
    {LunBkpSizeGet, "LunBkpSizeGet", R"({"uuid":"lun-1"})", "ISCSILIBLUNBKP::sizeGet([0])\n", false},
};

class LunbkpHandlerTest : public KOVATest::HandlerTest {
protected:
    void ResolveLUN()
    {
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, std::string("{\"uuid\":\"") + UUID_A + "\"}");
    }
};

// The methods on a LUN

TEST_F(LunbkpHandlerTest, EachLUNMethodResolvesTheLUNAndWorksOnTheResolvedUuid)
{
    for (const auto& m : LUNMethods) {
        SetUp();
        ResolveLUN();
        auto r = Call(m.handler, m.params);
        EXPECT_TRUE(r.HasSuccess()) << m.function;
        EXPECT_EQ(LibCalls(), OpenCalls() + m.call) << m.function;
        EXPECT_EQ(Log(), m.debugLine ? DebugLine(m.function, m.params) : "") << m.function;
    }
}

TEST_F(LunbkpHandlerTest, TheMethodsWithoutReplyDataAnswerNull)
{
    for (const auto& m : LUNMethods) {
        if (!m.debugLine)
            continue;
        SetUp();
        ResolveLUN();
        EXPECT_EQ(Answer(Call(m.handler, m.params)), "success null") << m.function;
    }
}

TEST_F(LunbkpHandlerTest, EachLUNMethodWithAnUnknownLUNAnswersTheResolversCodeAndBuildsNoObject)
{
    for (const auto& m : LUNMethods) {
        SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
        EXPECT_EQ(Answer(Call(m.handler, m.params)), "error 18990505") << m.function;
        EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun-1\",\"\"])\n") << m.function;
        EXPECT_EQ(Log(), (m.debugLine ? DebugLine(m.function, m.params) : std::string()) +
                             ErrorLine(m.function, 18990505, m.params))
            << m.function;
    }
}

TEST_F(LunbkpHandlerTest, EachLUNMethodPassesALibraryFailureOnWithoutData)
{
    for (const auto& m : LUNMethods) {
        SetUp();
        ResolveLUN();
        const std::string call = m.call;
        Lib().Script(call.substr(0, call.find('(')), 18991205,
                     R"({"progress":5,"offset_sector":1,"total_sector":2})");
        auto r = Call(m.handler, m.params);
        EXPECT_EQ(Answer(r), "error 18991205") << m.function;
        EXPECT_FALSE(r.HasSuccess());
    }
}

TEST_F(LunbkpHandlerTest, EachLUNMethodWithUuidMissingEmptyOrNoStringAnswers18990505)
{
    for (const auto& m : LUNMethods) {
        for (const char* uuid : {"", "\"\"", "5", "[\"lun-1\"]"}) {
            SetUp();
            Json::Value params = KOVATest::ParseJson(m.params);
            params.removeMember("uuid");
            if (*uuid)
                params["uuid"] = KOVATest::ParseJson(uuid);
            EXPECT_EQ(Answer(Call(m.handler, KOVA::toString(params))), "error 18990505")
                << m.function << uuid;
            EXPECT_EQ(LibCalls(), "");
        }
    }
}

TEST_F(LunbkpHandlerTest, LunBackupStartWithAnEmptyBlockDevPathAnswers18991205BeforeResolving)
{
    for (auto handler : {LunBackupStart, LunRestoreStart}) {
        SetUp();
        ResolveLUN();
        EXPECT_EQ(Answer(Call(handler, R"({"uuid":"lun-1","block_dev_path":""})")), "error 18991205");
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(LunbkpHandlerTest, StartWithBlockDevPathMissingOrNoStringAnswers18991205)
{
    for (auto handler : {LunBackupStart, LunRestoreStart}) {
        for (const char* params : {R"({"uuid":"lun-1"})", R"({"uuid":"lun-1","block_dev_path":7})"}) {
            SetUp();
            EXPECT_EQ(Answer(Call(handler, params)), "error 18991205") << params;
        }
    }
}

TEST_F(LunbkpHandlerTest, StartChecksUuidBeforeBlockDevPath)
{
    EXPECT_EQ(Answer(Call(LunBackupStart, R"({"uuid":"","block_dev_path":""})")), "error 18990505");
    EXPECT_EQ(Answer(Call(LunRestoreStart, R"({"uuid":1,"block_dev_path":1})")), "error 18990505");
}

TEST_F(LunbkpHandlerTest, BackupAndRestorePassTypes0And1AndDifferInNothingElse)
{
    ResolveLUN();
    Call(LunBackupStop, R"({"uuid":"lun-1"})");
    const std::string backup = LibCalls();
    SetUp();
    ResolveLUN();
    Call(LunRestoreStop, R"({"uuid":"lun-1"})");
    const std::string restore = LibCalls();
    EXPECT_EQ(backup, OpenCalls() + "ISCSILIBLUNBKP::smartddStop([0])\n");
    EXPECT_EQ(restore, OpenCalls() + "ISCSILIBLUNBKP::smartddStop([1])\n");
}

TEST_F(LunbkpHandlerTest, BackupLunMoveWithDstLocationMissingEmptyOrNoStringAnswers18990501)
{
    for (const char* params : {R"({"uuid":"lun-1"})", R"({"uuid":"lun-1","dst_location":""})",
                               R"({"uuid":"lun-1","dst_location":1})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(BackupLunMove, params)), "error 18990501") << params;
        EXPECT_EQ(LibCalls(), "");
    }
    EXPECT_EQ(Answer(Call(BackupLunMove, R"({"uuid":"","dst_location":""})")), "error 18990505");
}

TEST_F(LunbkpHandlerTest, BackupLunMoveTakesAnyNonEmptyLocationText)
{
    ResolveLUN();
    EXPECT_EQ(Answer(Call(BackupLunMove, R"({"uuid":"lun-1","dst_location":"/volume1/deep/path"})")),
              "success null");
    EXPECT_EQ(LibCalls(), OpenCalls() + "ISCSILIBLUNBKP::backupLunMove([\"/volume1/deep/path\"])\n");
}

TEST_F(LunbkpHandlerTest, ProgressGetAnswersProgressOffsetAndTotal)
{
    ResolveLUN();
    Lib().Script("ISCSILIBLUNBKP::smartddProgressGet", 0,
                 R"({"progress":42,"offset_sector":100,"total_sector":200})");
    auto r = Call(LunBkpProgressGet, R"({"uuid":"lun-1"})");
    EXPECT_EQ(Answer(r),
              R"(success {"lunbkp_offset_sector":100,"lunbkp_progress":42,"lunbkp_total_sector":200})");
}

TEST_F(LunbkpHandlerTest, ProgressGetReportsSectorCountsAbove2To32Exactly)
{
    ResolveLUN();
    Lib().Script("ISCSILIBLUNBKP::smartddProgressGet", 0,
                 R"({"progress":-1,"offset_sector":4294967297,"total_sector":18446744073709551615})");
    auto r = Call(LunBkpProgressGet, R"({"uuid":"lun-1"})");
    EXPECT_EQ(r.GetData()["lunbkp_progress"].asInt(), -1);
    EXPECT_EQ(r.GetData()["lunbkp_offset_sector"].asUInt64(), 4294967297ull);
    EXPECT_EQ(r.GetData()["lunbkp_total_sector"].asUInt64(), 18446744073709551615ull);
}

TEST_F(LunbkpHandlerTest, SizeGetAnswersTheTotalExactly)
{
    ResolveLUN();
    Lib().Script("ISCSILIBLUNBKP::sizeGet", 0, R"({"total_sector":8589934592})");
    auto r = Call(LunBkpSizeGet, R"({"uuid":"lun-1"})");
    EXPECT_EQ(Answer(r), R"(success {"lunbkp_total_sector":8589934592})");
    EXPECT_EQ(r.GetData()["lunbkp_total_sector"].asUInt64(), 8589934592ull);
}

TEST_F(LunbkpHandlerTest, ProgressGetAndSizeGetWriteNoDebugLineButTheErrorLineOnFailure)
{
    for (auto handler : {LunBkpProgressGet, LunBkpSizeGet}) {
        SetUp();
        ResolveLUN();
        Call(handler, R"({"uuid":"lun-1"})");
        EXPECT_EQ(Log(), "");
    }
    SetUp();
    Call(LunBkpProgressGet, R"({"uuid":""})");
    EXPECT_EQ(Log(), ErrorLine("LunBkpProgressGet", 18990505, R"({"uuid":""})"));
    SetUp();
    ResolveLUN();
    Lib().Script("ISCSILIBLUNBKP::sizeGet", 18990506);
    Call(LunBkpSizeGet, R"({"uuid":"lun-1"})");
    EXPECT_EQ(Log(), ErrorLine("LunBkpSizeGet", 18990506, R"({"uuid":"lun-1"})"));
}

// target_connect and target_disconnect

TEST_F(LunbkpHandlerTest, TargetConnectAnswersTheBlockDevicePathOfTheLibrary)
{
    Lib().Script("ISCSILIBLUNBKP::targetConnect", 0, R"({"block_dev_path":"/dev/sdk"})");
    const std::string params = R"({"target_ip":"10.0.0.7","target_iqn":"iqn.2024-01.x:bkp"})";
    auto r = Call(TargetConnect, params);
    EXPECT_EQ(Answer(r), R"(success {"block_dev_path":"/dev/sdk"})");
    EXPECT_EQ(LibCalls(), "ISCSILIBLUNBKP::targetConnect([\"10.0.0.7\",\"iqn.2024-01.x:bkp\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("TargetConnect", params));
}

TEST_F(LunbkpHandlerTest, TargetConnectTakesAnyNonEmptyTextAsAddressAndIqn)
{
    EXPECT_TRUE(Call(TargetConnect, R"({"target_ip":"not an ip","target_iqn":"no iqn form"})").HasSuccess());
    EXPECT_EQ(LibCalls(), "ISCSILIBLUNBKP::targetConnect([\"not an ip\",\"no iqn form\",\"\"])\n");
}

TEST_F(LunbkpHandlerTest, TargetConnectPassesALibraryFailureOnWithoutThePath)
{
    Lib().Script("ISCSILIBLUNBKP::targetConnect", 18990203, R"({"block_dev_path":"/dev/sdk"})");
    const std::string params = R"({"target_ip":"10.0.0.7","target_iqn":"q"})";
    auto r = Call(TargetConnect, params);
    EXPECT_EQ(Answer(r), "error 18990203");
    EXPECT_EQ(Log(), DebugLine("TargetConnect", params) + ErrorLine("TargetConnect", 18990203, params));
}

TEST_F(LunbkpHandlerTest, TargetDisconnectDetachesTheTargetAndAnswersNull)
{
    const std::string params = R"({"target_ip":"10.0.0.7","target_iqn":"q"})";
    EXPECT_EQ(Answer(Call(TargetDisconnect, params)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILIBLUNBKP::targetDisconnect([\"10.0.0.7\",\"q\"])\n");
    EXPECT_EQ(Log(), DebugLine("TargetDisconnect", params));
    SetUp();
    Lib().Script("ISCSILIBLUNBKP::targetDisconnect", 18990701);
    EXPECT_EQ(Answer(Call(TargetDisconnect, params)), "error 18990701");
}

TEST_F(LunbkpHandlerTest, ConnectAndDisconnectWithParametersMissingEmptyOrNoStringAnswerTheirCodes)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"target_iqn":"q"})", 18990203},
        {R"({"target_ip":"","target_iqn":"q"})", 18990203},
        {R"({"target_ip":7,"target_iqn":"q"})", 18990203},
        {R"({"target_ip":"a"})", 18990701},
        {R"({"target_ip":"a","target_iqn":""})", 18990701},
        {R"({"target_ip":"a","target_iqn":["q"]})", 18990701},
        {R"({"target_ip":"","target_iqn":""})", 18990203},
    };
    for (auto handler : {TargetConnect, TargetDisconnect}) {
        for (const auto& c : cases) {
            SetUp();
            EXPECT_EQ(Answer(Call(handler, c.first)), "error " + std::to_string(c.second)) << c.first;
            EXPECT_EQ(LibCalls(), "") << c.first;
        }
    }
}

} // namespace
