// The service log's methods against the recording double: log_list with its flags and level
// summary, log_clear, and log_export, which writes its file itself with the runtime's output
// turned off.
#include "HandlerTest.h"

#include "node/WebAPIServerNode.h"

#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APINode;
using KOVATest::Answer;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerNode.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerNode.cpp", function, code, params);
}

// log_list

class NodeLogListTest : public KOVATest::HandlerTest {};

TEST_F(NodeLogListTest, LogListWithoutParametersAsksForEverythingWithTheDefaults)
{
    auto r = Call(LogList, "{}");
    EXPECT_EQ(LibCalls(), "ISCSILogInfo::ListLog([0,-1,0,-1,-1,[],\"\",[],{}])\n");
    EXPECT_EQ(Answer(r), R"(success {"logs":[],"summary":{"total":0}})");
}

TEST_F(NodeLogListTest, LogListWritesNoDebugLine)
{
    Call(LogList, R"({"limit":5})");
    EXPECT_EQ(Log(), "");
}

TEST_F(NodeLogListTest, UnreadAndUpdateUnreadTogetherHandFlags3)
{
    Call(LogList, R"({"additional":["update_unread","unread"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILogInfo::ListLog")[0].args[0].asInt(), 3);
}

TEST_F(NodeLogListTest, EachWordSetsItsOwnBitAndOtherWordsAreIgnored)
{
    Call(LogList, R"({"additional":["unread","UPDATE_UNREAD","all"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILogInfo::ListLog")[0].args[0].asInt(), 1);
    SetUp();
    Call(LogList, R"({"additional":["update_unread"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILogInfo::ListLog")[0].args[0].asInt(), 2);
}

TEST_F(NodeLogListTest, ScalarElementsOfAdditionalAreReadAsTextAndNameNoWord)
{
    Call(LogList, R"({"additional":[1,null,false,"update_unread"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILogInfo::ListLog")[0].args[0].asInt(), 2);
}

TEST_F(NodeLogListTest, AnObjectElementOfAdditionalThrowsBeforeTheLibrary)
{
    EXPECT_THROW(Call(LogList, R"({"additional":[{"unread":true},"update_unread"]})"), Json::LogicError);
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(NodeLogListTest, TheFiltersReachTheLibraryWithLevelsInRequestOrder)
{
    Call(LogList, R"({"limit":20,"offset":40,"date_from":1700000000,"date_to":1800000000,"keyword":"lun-7",)"
                  R"("log_level":["warning","err","info"]})");
    EXPECT_EQ(LibCalls(), "ISCSILogInfo::ListLog([0,20,40,1700000000,1800000000,[\"warning\",\"err\","
                          "\"info\"],\"lun-7\",[],{}])\n");
}

TEST_F(NodeLogListTest, OffsetMinus1Answers18991127AndLimitMinus1Passes)
{
    auto r = Call(LogList, R"({"offset":-1})");
    EXPECT_EQ(Answer(r), "error 18991127");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), ErrorLine("LogList", 18991127, R"({"offset":-1})"));
    SetUp();
    EXPECT_TRUE(Call(LogList, R"({"limit":-1})").HasSuccess());
    EXPECT_EQ(Lib().CallsOf("ISCSILogInfo::ListLog")[0].args[1].asInt(), -1);
}

TEST_F(NodeLogListTest, LinesAreAnsweredInTheLibrarysOrderWithTheCountsOfTheKnownLevels)
{
    Lib().Script(
        "ISCSILogInfo::ListLog", 0,
        R"({"logs":[{"id":9,"time":1700000100,"level":"err","user":"admin","message":"m9","is_unread":true},)"
        R"({"id":3,"time":1700000000,"level":"info","user":"","message":"m3","is_unread":false}],)"
        R"("level_counts":{"err":1,"info":5,"warning":2}})");
    auto r = Call(LogList, "{}");
    EXPECT_EQ(Answer(r),
              R"(success {"logs":[{"id":9,"is_unread":true,"level":"err","message":"m9","time":1700000100,)"
              R"("user":"admin"},{"id":3,"is_unread":false,"level":"info","message":"m3","time":1700000000,)"
              R"("user":""}],"summary":{"error_count":1,"info_count":5,"total":8,"warn_count":2}})");
}

TEST_F(NodeLogListTest, ALevelOtherThanWarningErrAndInfoIsLeftOutOfTheSummaryAndTotal)
{
    Lib().Script("ISCSILogInfo::ListLog", 0, R"({"level_counts":{"crit":100,"debug":7,"warning":3}})");
    auto r = Call(LogList, "{}");
    EXPECT_EQ(Answer(r), R"(success {"logs":[],"summary":{"total":3,"warn_count":3}})");
}

TEST_F(NodeLogListTest, ALevelCountedZeroHasItsKeyAndAMissingLevelHasNone)
{
    Lib().Script("ISCSILogInfo::ListLog", 0, R"({"level_counts":{"info":0}})");
    EXPECT_EQ(Answer(Call(LogList, "{}")), R"(success {"logs":[],"summary":{"info_count":0,"total":0}})");
}

TEST_F(NodeLogListTest, CountsAbove32BitsAddUpExactly)
{
    Lib().Script("ISCSILogInfo::ListLog", 0, R"({"level_counts":{"err":4294967296,"info":4294967296}})");
    auto r = Call(LogList, "{}");
    EXPECT_EQ(r.GetData()["summary"]["total"].asUInt64(), 8589934592ull);
}

TEST_F(NodeLogListTest, AListLogFailureAnswersItsCodeWithNoPartialAnswer)
{
    Lib().Script("ISCSILogInfo::ListLog", 18990204, R"({"level_counts":{"err":1}})");
    auto r = Call(LogList, "{}");
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_FALSE(r.HasSuccess());
    EXPECT_EQ(Log(), ErrorLine("LogList", 18990204, "{}"));
}

TEST_F(NodeLogListTest, EachParameterOfTheWrongTypeAnswersItsCode)
{
    const std::vector<std::pair<std::string, int>> cases = {
        {R"({"limit":"10"})", 18991126},          {R"({"limit":1.5})", 18991126},
        {R"({"offset":"0"})", 18991127},          {R"({"date_from":-1})", 18991128},
        {R"({"date_from":"1"})", 18991128},       {R"({"date_to":-1})", 18991129},
        {R"({"date_to":true})", 18991129},        {R"({"keyword":5})", 18991134},
        {R"({"log_level":"err"})", 18991130},     {R"({"log_level":{"err":1}})", 18991130},
        {R"({"additional":"unread"})", 18990517},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(LogList, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(NodeLogListTest, ChecksRunLimitOffsetDatesKeywordLogLevelAdditional)
{
    EXPECT_EQ(Answer(Call(LogList, R"({"additional":1,"log_level":1,"keyword":1,"date_to":-1,"date_from":-1,)"
                                   R"("offset":-1,"limit":"x"})")),
              "error 18991126");
    EXPECT_EQ(Answer(Call(LogList, R"({"additional":1,"log_level":1,"keyword":1,"date_to":-1,"date_from":-1,)"
                                   R"("offset":-1})")),
              "error 18991127");
    EXPECT_EQ(
        Answer(Call(LogList, R"({"additional":1,"log_level":1,"keyword":1,"date_to":-1,"date_from":-1})")),
        "error 18991128");
    EXPECT_EQ(Answer(Call(LogList, R"({"additional":1,"log_level":1,"keyword":1,"date_to":-1})")),
              "error 18991129");
    EXPECT_EQ(Answer(Call(LogList, R"({"additional":1,"log_level":1})")), "error 18991130");
}

TEST_F(NodeLogListTest, KeywordAndLogLevelBothInvalidAnswersTheKeywordsCode)
{
    EXPECT_EQ(Answer(Call(LogList, R"({"log_level":"err","keyword":7})")), "error 18991134");
}

// log_clear

class NodeLogClearTest : public KOVATest::HandlerTest {};

TEST_F(NodeLogClearTest, LogClearClearsTheLogAndAnswersNullData)
{
    auto r = Call(LogClear, R"({"x":1})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILogInfo::ClearLog([])\n");
    EXPECT_EQ(Log(), DebugLine("LogClear", R"({"x":1})"));
}

TEST_F(NodeLogClearTest, AClearLogFailureAnswersItsCodeWithTheErrorLine)
{
    Lib().Script("ISCSILogInfo::ClearLog", 18990204);
    EXPECT_EQ(Answer(Call(LogClear, "{}")), "error 18990204");
    EXPECT_EQ(Log(), DebugLine("LogClear", "{}") + ErrorLine("LogClear", 18990204, "{}"));
}

// log_export

class NodeLogExportTest : public KOVATest::HandlerTest {
protected:
    // Runs LogExport as the runtime does: with an output sink for the request, collecting what
    // is written to it.
    KOVA::APIResponse CallWithOutput(const std::string& paramsText, std::string& written)
    {
        KOVA::APIRequest request(KOVATest::ParseJson(paramsText), "127.0.0.1", "admin", "sid");
        KOVA::APIResponse response;
        response.SetOutputSink([&written](const std::string& contentType, const std::string& body) {
            written += contentType + ":" + body;
        });
        KOVA::APIOutputScope scope(&response);
        LogExport(&request, &response);
        return response;
    }
};

TEST_F(NodeLogExportTest, LogExportTurnsOutputOffAndTheLibraryWritesTheFile)
{
    Lib().Script("ISCSILogInfo::ExportLog", 0, R"({"body":"id,time,level\n"})");
    std::string written;
    auto r = CallWithOutput(R"({"export_format":"csv"})", written);
    EXPECT_FALSE(r.IsOutputEnabled());
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(written, "text/csv:id,time,level\n");
    EXPECT_EQ(LibCalls(), "ISCSILogInfo::ExportLog([\"csv\",-1,-1,[],\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("LogExport", R"({"export_format":"csv"})"));
}

TEST_F(NodeLogExportTest, TheFiltersReachTheLibraryWithLevelsInRequestOrder)
{
    std::string written;
    CallWithOutput(R"({"export_format":"html","date_from":10,"date_to":20,"keyword":"k",)"
                   R"("log_level":["info","err"]})",
                   written);
    EXPECT_EQ(LibCalls(), "ISCSILogInfo::ExportLog([\"html\",10,20,[\"info\",\"err\"],\"k\"])\n");
}

TEST_F(NodeLogExportTest, AFormatOtherThanExactlyCsvOrHtmlAnswers18991131InJson)
{
    for (const char* params :
         {R"({"export_format":"CSV"})", R"({"export_format":"pdf"})", "{}", R"({"export_format":1})"}) {
        SetUp();
        std::string written;
        auto r = CallWithOutput(params, written);
        EXPECT_EQ(Answer(r), "error 18991131") << params;
        EXPECT_TRUE(r.IsOutputEnabled()) << params;
        EXPECT_EQ(LibCalls(), "") << params;
        EXPECT_EQ(Log(), DebugLine("LogExport", params) + ErrorLine("LogExport", 18991131, params));
    }
}

TEST_F(NodeLogExportTest, AFailedExportSendsNoJsonBodyAndWritesTheErrorLine)
{
    Lib().Script("ISCSILogInfo::ExportLog", 18990204);
    std::string written;
    auto r = CallWithOutput(R"({"export_format":"html"})", written);
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_FALSE(r.IsOutputEnabled());
    EXPECT_EQ(written, "");
    EXPECT_EQ(Log(), DebugLine("LogExport", R"({"export_format":"html"})") +
                         ErrorLine("LogExport", 18990204, R"({"export_format":"html"})"));
}

TEST_F(NodeLogExportTest, EachParameterOfTheWrongTypeAnswersItsCodeWithOutputStillOn)
{
    const std::vector<std::pair<std::string, int>> cases = {
        {R"({"export_format":"csv","date_from":-1})", 18991128},
        {R"({"export_format":"csv","date_from":"1"})", 18991128},
        {R"({"export_format":"csv","date_to":-5})", 18991129},
        {R"({"export_format":"csv","keyword":["k"]})", 18991134},
        {R"({"export_format":"csv","log_level":"err"})", 18991130},
    };
    for (const auto& c : cases) {
        SetUp();
        std::string written;
        auto r = CallWithOutput(c.first, written);
        EXPECT_EQ(Answer(r), "error " + std::to_string(c.second)) << c.first;
        EXPECT_TRUE(r.IsOutputEnabled()) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(NodeLogExportTest, ChecksRunFormatDatesThenLogLevelBeforeKeyword)
{
    std::string written;
    EXPECT_EQ(Answer(CallWithOutput(R"({"export_format":"x","date_from":-1})", written)), "error 18991131");
    EXPECT_EQ(Answer(CallWithOutput(R"({"export_format":"csv","date_from":-1,"date_to":-1})", written)),
              "error 18991128");
    EXPECT_EQ(Answer(CallWithOutput(R"({"export_format":"csv","date_to":-1,"log_level":1})", written)),
              "error 18991129");
    EXPECT_EQ(Answer(CallWithOutput(R"({"export_format":"csv","log_level":"err","keyword":7})", written)),
              "error 18991130");
}

} // namespace
