// map_target, unmap_target, load_lun and unload_lun of the LUN API against the recording
// double: identifiers resolved before any work, one call with the whole set of targets, and the
// two purpose flags passed through.
#include "HandlerTest.h"

#include "lun/WebAPIServerLUN.h"

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

struct Twin {
    KOVA::APIHandler handler;
    const char* name;      // the handler's name in the log lines
    const char* operation; // the library operation it ends in
};

const Twin MAPPING[] = {{MapTarget, "MapTarget", "ISCSILIBLUN::mapTarget"},
                        {UnmapTarget, "UnmapTarget", "ISCSILIBLUN::unmapTarget"}};
const Twin LOADING[] = {{LoadLUN, "LoadLUN", "ISCSILIBLUN::loadLUN"},
                        {UnloadLUN, "UnloadLUN", "ISCSILIBLUN::unloadLUN"}};

class LUNMappingTest : public KOVATest::HandlerTest {
protected:
    // The identifier "lun1" resolves to U-1.
    void SetUp() override
    {
        HandlerTest::SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    }
    // The next target identifiers resolve to these ids, in order.
    void ScriptTids(std::initializer_list<int> tids)
    {
        for (int tid : tids)
            Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":)" + std::to_string(tid) + "}");
    }
};

// map_target and unmap_target

TEST_F(LUNMappingTest, MappingResolvesEveryTargetThenCallsTheLibraryOnceWithTheSetInAscendingOrder)
{
    for (const Twin& twin : MAPPING) {
        SetUp();
        ScriptTids({12, 3, 7});
        auto r = Call(twin.handler, R"({"uuid":"lun1","target_ids":["iqn.c","iqn.a","iqn.b"]})");
        EXPECT_EQ(Answer(r), "success null") << twin.name;
        EXPECT_EQ(LibCalls(), std::string(RESOLVED) +
                                  "ISCSITargetInfo::GetTid([\"iqn.c\",-1])\n"
                                  "ISCSITargetInfo::GetTid([\"iqn.a\",-1])\n"
                                  "ISCSITargetInfo::GetTid([\"iqn.b\",-1])\n" +
                                  OBJECT + twin.operation + "([[3,7,12]])\n")
            << twin.name;
    }
}

TEST_F(LUNMappingTest, ATargetNamedTwiceIsMappedOnce)
{
    for (const Twin& twin : MAPPING) {
        SetUp();
        ScriptTids({5, 5});
        Call(twin.handler, R"({"uuid":"lun1","target_ids":["t5","5"]})");
        EXPECT_EQ(KOVA::toString(Lib().CallsOf(twin.operation).at(0).args), "[[5]]") << twin.name;
    }
}

TEST_F(LUNMappingTest, ANumberAmongTheTargetsReachesTheResolverAsItsText)
{
    ScriptTids({2});
    Call(MapTarget, R"({"uuid":"lun1","target_ids":[2]})");
    EXPECT_EQ(Lib().CallsOf("ISCSITargetInfo::GetTid").at(0).args, ParseJson(R"(["2",-1])"));
}

TEST_F(LUNMappingTest, TenTargetsWhoseLastIsUnknownAnswerTheResolversCodeAndMapNothing)
{
    for (const Twin& twin : MAPPING) {
        SetUp();
        ScriptTids({1, 2, 3, 4, 5, 6, 7, 8, 9});
        Lib().Script("ISCSITargetInfo::GetTid", 18990703);
        auto r =
            Call(twin.handler,
                 R"({"uuid":"lun1","target_ids":["t1","t2","t3","t4","t5","t6","t7","t8","t9","nope"]})");
        EXPECT_EQ(Answer(r), "error 18990703") << twin.name;
        EXPECT_EQ(Lib().CallsOf("ISCSITargetInfo::GetTid").size(), 10u) << twin.name;
        EXPECT_TRUE(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN").empty()) << twin.name;
        EXPECT_TRUE(Lib().CallsOf(twin.operation).empty()) << twin.name;
    }
}

TEST_F(LUNMappingTest, AnUnknownLUNAndABadTargetAnswerTheLUNResolversCodeWithoutLookingAtTargets)
{
    for (const Twin& twin : MAPPING) {
        HandlerTest::SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
        Lib().Script("ISCSITargetInfo::GetTid", 18990703);
        EXPECT_EQ(Answer(Call(twin.handler, R"({"uuid":"lun1","target_ids":["nope"]})")), "error 18990505")
            << twin.name;
        EXPECT_EQ(LibCalls(), RESOLVED) << twin.name;
    }
}

TEST_F(LUNMappingTest, MappingPassesALibraryFailureOnWithNullData)
{
    for (const Twin& twin : MAPPING) {
        SetUp();
        ScriptTids({1});
        Lib().Script(twin.operation, 18990712);
        auto r = Call(twin.handler, R"({"uuid":"lun1","target_ids":["t1"]})");
        EXPECT_EQ(Answer(r), "error 18990712") << twin.name;
        EXPECT_FALSE(r.HasSuccess()) << twin.name;
    }
}

TEST_F(LUNMappingTest, EmptyTargetIdsAnswer18990710ThoughTheArrayIsWellFormed)
{
    for (const Twin& twin : MAPPING) {
        for (const char* targets : {"[]", "{}", R"("t1")", "1", "null"}) {
            SetUp();
            EXPECT_EQ(
                Answer(Call(twin.handler, std::string(R"({"uuid":"lun1","target_ids":)") + targets + "}")),
                "error 18990710")
                << twin.name << " " << targets;
            EXPECT_EQ(LibCalls(), "") << twin.name << " " << targets;
        }
        SetUp();
        EXPECT_EQ(Answer(Call(twin.handler, R"({"uuid":"lun1"})")), "error 18990710") << twin.name;
    }
}

TEST_F(LUNMappingTest, AMissingUuidAndMissingTargetsAnswer18990505SinceUuidIsTestedFirst)
{
    for (const Twin& twin : MAPPING) {
        for (const char* params :
             {"{}", R"({"uuid":"","target_ids":[]})", R"({"uuid":3,"target_ids":["t"]})"}) {
            SetUp();
            EXPECT_EQ(Answer(Call(twin.handler, params)), "error 18990505") << twin.name << " " << params;
            EXPECT_EQ(LibCalls(), "") << twin.name << " " << params;
        }
    }
}

TEST_F(LUNMappingTest, MappingWritesItsOwnNameInTheDebugAndErrorLines)
{
    for (const Twin& twin : MAPPING) {
        SetUp();
        const std::string params = R"({"uuid":"lun1","target_ids":[]})";
        Call(twin.handler, params);
        EXPECT_EQ(Log(), DebugLine(twin.name, params) + ErrorLine(twin.name, 18990710, params)) << twin.name;
        SetUp();
        Call(twin.handler, R"({"uuid":"lun1","target_ids":["t"]})");
        EXPECT_EQ(Log(), DebugLine(twin.name, R"({"uuid":"lun1","target_ids":["t"]})")) << twin.name;
    }
}

// load_lun and unload_lun

TEST_F(LUNMappingTest, LoadingWithoutTheFlagsPassesFalseAndFalse)
{
    for (const Twin& twin : LOADING) {
        SetUp();
        auto r = Call(twin.handler, R"({"uuid":"lun1"})");
        EXPECT_EQ(Answer(r), "success null") << twin.name;
        EXPECT_EQ(LibCalls(), std::string(RESOLVED) + OBJECT + twin.operation + "([false,false])\n")
            << twin.name;
    }
}

TEST_F(LUNMappingTest, LoadingPassesTheTrashFlagFirstAndTheUnsyncSizeFlagSecond)
{
    for (const Twin& twin : LOADING) {
        SetUp();
        Call(twin.handler, R"({"uuid":"lun1","is_for_trash":true,"is_for_unsync_size":false})");
        EXPECT_EQ(KOVA::toString(Lib().CallsOf(twin.operation).at(0).args), "[true,false]") << twin.name;
        SetUp();
        Call(twin.handler, R"({"uuid":"lun1","is_for_unsync_size":true})");
        EXPECT_EQ(KOVA::toString(Lib().CallsOf(twin.operation).at(0).args), "[false,true]") << twin.name;
    }
}

TEST_F(LUNMappingTest, LoadingPassesAFailureToResolveOnWithoutMakingTheLUNObject)
{
    for (const Twin& twin : LOADING) {
        HandlerTest::SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
        EXPECT_EQ(Answer(Call(twin.handler, R"({"uuid":"lun1"})")), "error 18990505") << twin.name;
        EXPECT_EQ(LibCalls(), RESOLVED) << twin.name;
    }
}

TEST_F(LUNMappingTest, LoadingPassesALibraryFailureOnWithNullData)
{
    for (const Twin& twin : LOADING) {
        SetUp();
        Lib().Script(twin.operation, 18990530);
        auto r = Call(twin.handler, R"({"uuid":"lun1"})");
        EXPECT_EQ(Answer(r), "error 18990530") << twin.name;
        EXPECT_FALSE(r.HasSuccess()) << twin.name;
    }
}

TEST_F(LUNMappingTest, ATrashFlagGivenAsTextAnswers18990528EvenForAnUnknownLUN)
{
    for (const Twin& twin : LOADING) {
        HandlerTest::SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
        EXPECT_EQ(Answer(Call(twin.handler, R"({"uuid":"gone","is_for_trash":"true"})")), "error 18990528")
            << twin.name;
        EXPECT_EQ(LibCalls(), "") << twin.name;
    }
}

TEST_F(LUNMappingTest, LoadingRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    const std::pair<const char*, int> cases[] = {
        {R"({})", 18990505},
        {R"({"uuid":""})", 18990505},
        {R"({"uuid":["lun1"]})", 18990505},
        {R"({"uuid":"lun1","is_for_trash":1})", 18990528},
        {R"({"uuid":"lun1","is_for_unsync_size":"false"})", 18990529},
        {R"({"uuid":"lun1","is_for_unsync_size":null})", 18990529},
    };
    for (const Twin& twin : LOADING) {
        for (const auto& c : cases) {
            SetUp();
            EXPECT_EQ(Answer(Call(twin.handler, c.first)), "error " + std::to_string(c.second))
                << twin.name << " " << c.first;
            EXPECT_EQ(LibCalls(), "") << twin.name << " " << c.first;
        }
    }
}

TEST_F(LUNMappingTest, LoadingTestsUuidThenTrashThenUnsyncSize)
{
    for (const Twin& twin : LOADING) {
        EXPECT_EQ(Answer(Call(twin.handler, R"({"uuid":"","is_for_trash":1,"is_for_unsync_size":1})")),
                  "error 18990505");
        EXPECT_EQ(Answer(Call(twin.handler, R"({"uuid":"l","is_for_trash":1,"is_for_unsync_size":1})")),
                  "error 18990528");
    }
}

TEST_F(LUNMappingTest, LoadingWritesItsOwnNameInTheDebugAndErrorLines)
{
    for (const Twin& twin : LOADING) {
        SetUp();
        const std::string params = R"({"uuid":"lun1","is_for_unsync_size":0})";
        Call(twin.handler, params);
        EXPECT_EQ(Log(), DebugLine(twin.name, params) + ErrorLine(twin.name, 18990529, params)) << twin.name;
        SetUp();
        Call(twin.handler, R"({"uuid":"lun1"})");
        EXPECT_EQ(Log(), DebugLine(twin.name, R"({"uuid":"lun1"})")) << twin.name;
    }
}

} // namespace
