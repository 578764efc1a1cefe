// The VLUN methods against the recording double: what reaches the storage library, what the
// caller gets back, and what the system log shows.
#include "HandlerTest.h"

#include "vlun/WebAPIServerVLUN.h"

namespace {

using namespace ISCSI::WebAPI::APIVLUN;
using KOVATest::Answer;

const char UUID_A[] = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";
const char UUID_B[] = "ffffffff-0000-1111-2222-333333333333";

class VLUNHandlerTest : public KOVATest::HandlerTest {};

// create

TEST_F(VLUNHandlerTest, CreateBuildsTheVLUNFromTypeAndSourceAndAnswersTheNewUuid)
{
    Lib().Script("ISCSILIBVLUN::createVLUN", 0,
                 R"({"ISCSILIBVLUN::uuid":"11111111-2222-3333-4444-555555555555"})");
    auto r = Call(Create, std::string(R"({"src_lun_uuid":")") + UUID_A + R"(","type":2})");
    EXPECT_EQ(Answer(r), R"(success {"uuid":"11111111-2222-3333-4444-555555555555"})");
    EXPECT_EQ(LibCalls(), std::string("ISCSILIBVLUN::ISCSILIBVLUN([2,\"") + UUID_A +
                              "\"])\n"
                              "ISCSILIBVLUN::createVLUN([])\n");
}

TEST_F(VLUNHandlerTest, TheUuidInCreatesReplyIsTheNewVLUNsNotTheSourceLUNs)
{
    Lib().Script("ISCSILIBVLUN::createVLUN", 0, std::string(R"({"ISCSILIBVLUN::uuid":")") + UUID_B + "\"}");
    auto r = Call(Create, std::string(R"({"src_lun_uuid":")") + UUID_A + R"(","type":1})");
    EXPECT_EQ(r.GetData()["uuid"].asString(), UUID_B);
}

TEST_F(VLUNHandlerTest, CreateWithABadSourceAndABadTypeAnswersTheSourcesCodeWithoutCallingTheLibrary)
{
    auto r = Call(Create, R"({"src_lun_uuid":"nope","type":9})");
    EXPECT_EQ(Answer(r), "error 18990505");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(VLUNHandlerTest, CreateWithType0Or4OrMinus1Answers18991000)
{
    for (const char* type : {"0", "4", "-1"}) {
        SetUp();
        auto r = Call(Create, std::string(R"({"src_lun_uuid":")") + UUID_A + R"(","type":)" + type + "}");
        EXPECT_EQ(Answer(r), "error 18991000") << type;
        EXPECT_EQ(LibCalls(), "") << type;
    }
}

TEST_F(VLUNHandlerTest, CreateWithType3IsValid)
{
    auto r = Call(Create, std::string(R"({"src_lun_uuid":")") + UUID_A + R"(","type":3})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(Lib().CallsOf("ISCSILIBVLUN::ISCSILIBVLUN")[0].args[0].asInt(), 3);
}

TEST_F(VLUNHandlerTest, CreateWithATypeOfTheWrongJsonTypeAnswers18991000)
{
    auto r = Call(Create, std::string(R"({"src_lun_uuid":")") + UUID_A + R"(","type":"2"})");
    EXPECT_EQ(Answer(r), "error 18991000");
}

TEST_F(VLUNHandlerTest, CreatePassesALibraryFailureOnWithItsCodeAndAnErrorLine)
{
    Lib().Script("ISCSILIBVLUN::createVLUN", 18990506);
    auto r = Call(Create, std::string(R"({"src_lun_uuid":")") + UUID_A + R"(","type":1})");
    EXPECT_EQ(Answer(r), "error 18990506");
    EXPECT_FALSE(r.HasSuccess());
    EXPECT_EQ(LogLines().size(), 2u);
    EXPECT_EQ(LogLines()[1].priority, 3);
}

TEST_F(VLUNHandlerTest, CreateWritesTheDebugLineWithAllParametersThenNoErrorLineOnSuccess)
{
    Call(Create, std::string(R"({"src_lun_uuid":")") + UUID_A + R"(","type":1,"extra":"x"})");
    EXPECT_EQ(Log(),
              std::string(
                  "<7> [D] iSCSIWebAPI:WebAPIServerVLUN.cpp:L:Create {\"extra\":\"x\",\"src_lun_uuid\":\"") +
                  UUID_A + "\",\"type\":1}\n");
}

TEST_F(VLUNHandlerTest, ARefusedCreateLeavesTheDebugLineThenTheErrorLineWithItsParameters)
{
    Call(Create, R"({"type":1})");
    EXPECT_EQ(Log(), "<7> [D] iSCSIWebAPI:WebAPIServerVLUN.cpp:L:Create {\"type\":1}\n"
                     "<3> [E] iSCSIWebAPI:WebAPIServerVLUN.cpp:L:Create error code: 18990505 (" +
                         std::string(KOVAiSCSIStrError(18990505)) + ") [{\"type\":1}]\n");
}

// delete

TEST_F(VLUNHandlerTest, DeleteCallsDeleteVLUNOnTheVLUNAndAnswersNullData)
{
    auto r = Call(Delete, std::string(R"({"uuid":")") + UUID_A + "\"}");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), std::string("ISCSILIBVLUN::ISCSILIBVLUN([\"") + UUID_A +
                              "\"])\n"
                              "ISCSILIBVLUN::deleteVLUN([])\n");
}

TEST_F(VLUNHandlerTest, DeleteWithABadUuidAnswers18991001)
{
    auto r = Call(Delete, R"({"uuid":"0a1b2c3d4e5f6a7b8c9d0e1f2a3b4c5d"})");
    EXPECT_EQ(Answer(r), "error 18991001");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(VLUNHandlerTest, DeletePassesALibraryFailureOn)
{
    Lib().Script("ISCSILIBVLUN::deleteVLUN", 18991001);
    EXPECT_EQ(Answer(Call(Delete, std::string(R"({"uuid":")") + UUID_A + "\"}")), "error 18991001");
}

// list

TEST_F(VLUNHandlerTest, ListAnswersSuccessWithNullDataForAnyParametersAndLogsNothing)
{
    for (const char* params : {"{}", R"({"uuid":"nonsense","limit":-5,"x":[1,2]})"}) {
        SetUp();
        auto r = Call(List, params);
        EXPECT_EQ(Answer(r), "success null") << params;
        EXPECT_EQ(Log(), "") << params;
        EXPECT_EQ(LibCalls(), "") << params;
    }
}

// get

TEST_F(VLUNHandlerTest, GetAnswersStatusAndSizesInThatOrder)
{
    Lib().Script("ISCSILIBVLUN::loadStatus", 0, R"({"status":2,"sync_size":1024,"total_size":4096})");
    auto r = Call(Get, std::string(R"({"uuid":")") + UUID_A + "\"}");
    EXPECT_EQ(Answer(r), R"(success {"status":2,"sync_size":1024,"total_size":4096})");
    EXPECT_EQ(LibCalls(), std::string("ISCSILIBVLUN::ISCSILIBVLUN([\"") + UUID_A +
                              "\"])\n"
                              "ISCSILIBVLUN::loadStatus([0,0,0])\n");
}

TEST_F(VLUNHandlerTest, GetReportsSizesAbove2To32ExactlyAsUnsigned64BitNumbers)
{
    Lib().Script("ISCSILIBVLUN::loadStatus", 0,
                 R"({"status":1,"sync_size":4294967297,"total_size":18446744073709551615})");
    auto r = Call(Get, std::string(R"({"uuid":")") + UUID_A + "\"}");
    EXPECT_EQ(r.GetData()["sync_size"].asUInt64(), 4294967297ull);
    EXPECT_EQ(r.GetData()["total_size"].asUInt64(), 18446744073709551615ull);
}

TEST_F(VLUNHandlerTest, GetWithABadUuidAnswers18991001WithAnErrorLineAndNoDebugLineBeforeIt)
{
    auto r = Call(Get, R"({"uuid":"x"})");
    EXPECT_EQ(Answer(r), "error 18991001");
    EXPECT_EQ(Log(), "<3> [E] iSCSIWebAPI:WebAPIServerVLUN.cpp:L:Get error code: 18991001 (" +
                         std::string(KOVAiSCSIStrError(18991001)) + ") [{\"uuid\":\"x\"}]\n");
}

TEST_F(VLUNHandlerTest, GetWritesNoDebugLineOnSuccess)
{
    Call(Get, std::string(R"({"uuid":")") + UUID_A + "\"}");
    EXPECT_EQ(Log(), "");
}

TEST_F(VLUNHandlerTest, GetPassesALibraryFailureOnWithoutData)
{
    Lib().Script("ISCSILIBVLUN::loadStatus", 18990506, R"({"status":7})");
    auto r = Call(Get, std::string(R"({"uuid":")") + UUID_A + "\"}");
    EXPECT_EQ(Answer(r), "error 18990506");
    EXPECT_FALSE(r.HasSuccess());
}

// set and unbind

TEST_F(VLUNHandlerTest, SetAndUnbindAnswerSuccessWithNullDataForAnyParametersAndWriteOneDebugLine)
{
    for (auto handler : {Set, Unbind}) {
        for (const char* params : {"{}", R"({"uuid":"bad","portals":7})"}) {
            SetUp();
            auto r = Call(handler, params);
            EXPECT_EQ(Answer(r), "success null");
            EXPECT_EQ(LibCalls(), "");
            ASSERT_EQ(LogLines().size(), 1u);
            EXPECT_EQ(LogLines()[0].priority, 7);
        }
    }
    SetUp();
    Call(Set, R"({"a":1})");
    EXPECT_EQ(Log(), "<7> [D] iSCSIWebAPI:WebAPIServerVLUN.cpp:L:Set {\"a\":1}\n");
    SetUp();
    Call(Unbind, R"({"a":1})");
    EXPECT_EQ(Log(), "<7> [D] iSCSIWebAPI:WebAPIServerVLUN.cpp:L:Unbind {\"a\":1}\n");
}

// bind

std::string BindParams(const std::string& uuid, const std::string& node, const std::string& lun,
                       const std::string& portals)
{
    return R"({"uuid":")" + uuid + R"(","dst_node_uuid":")" + node + R"(","dst_lun_uuid":")" + lun +
           R"(","portals":)" + portals + "}";
}

TEST_F(VLUNHandlerTest, BindCallsTheLibraryOnceWithTheFirstOfThreePortals)
{
    auto r = Call(
        Bind, BindParams(UUID_A, "node-7", UUID_B, R"(["10.0.0.9:3260","10.0.0.1:3260","10.0.0.5:3260"])"));
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), std::string("ISCSILIBVLUN::ISCSILIBVLUN([\"") + UUID_A + "\"])\n" +
                              "ISCSILIBVLUN::bind([\"" + UUID_B + "\",\"node-7\",\"10.0.0.9:3260\"])\n");
}

TEST_F(VLUNHandlerTest, BindTakesAnyNonEmptyTextAsNodeButTheSameTextAsLUNAnswers18990505)
{
    EXPECT_TRUE(Call(Bind, BindParams(UUID_A, "node-7", UUID_B, R"(["p"])")).HasSuccess());
    SetUp();
    EXPECT_EQ(Answer(Call(Bind, BindParams(UUID_A, "node-7", "node-7", R"(["p"])"))), "error 18990505");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(VLUNHandlerTest, BindWithAnEmptyNodeAnswers18991100)
{
    EXPECT_EQ(Answer(Call(Bind, BindParams(UUID_A, "", UUID_B, R"(["p"])"))), "error 18991100");
}

TEST_F(VLUNHandlerTest, BindWithPortalsEmptyOrNotAnArrayAnswers18990402)
{
    for (const char* portals : {"[]", R"("10.0.0.1")", "{}", R"({"a":"b"})", "null"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(Bind, BindParams(UUID_A, "n", UUID_B, portals))), "error 18990402") << portals;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(VLUNHandlerTest, BindWithAllFourParametersBadAnswers18991001)
{
    EXPECT_EQ(Answer(Call(Bind, BindParams("bad", "", "bad", "[]"))), "error 18991001");
}

TEST_F(VLUNHandlerTest, BindChecksInOrderUuidNodeLUNPortals)
{
    EXPECT_EQ(Answer(Call(Bind, BindParams(UUID_A, "", "bad", "[]"))), "error 18991100");
    EXPECT_EQ(Answer(Call(Bind, BindParams(UUID_A, "n", "bad", "[]"))), "error 18990505");
    EXPECT_EQ(Answer(Call(Bind, BindParams(UUID_A, "n", UUID_B, "[]"))), "error 18990402");
}

TEST_F(VLUNHandlerTest, BindPassesALibraryFailureOnWithAnErrorLine)
{
    Lib().Script("ISCSILIBVLUN::bind", 18991100);
    auto r = Call(Bind, BindParams(UUID_A, "n", UUID_B, R"(["p"])"));
    EXPECT_EQ(Answer(r), "error 18991100");
    ASSERT_EQ(LogLines().size(), 2u);
    EXPECT_EQ(LogLines()[0].priority, 7);
    EXPECT_EQ(LogLines()[1].priority, 3);
}

// Missing required parameters

TEST_F(VLUNHandlerTest, ARequestWithoutARequiredParameterGetsItsCodeAndTheErrorLineShowsWhatCame)
{
    auto r = Call(Bind, std::string(R"({"uuid":")") + UUID_A + R"(","portals":["p"]})");
    EXPECT_EQ(Answer(r), "error 18991100");
    EXPECT_NE(Log().find(std::string("[{\"portals\":[\"p\"],\"uuid\":\"") + UUID_A + "\"}]"),
              std::string::npos);
}

} // namespace
