// Target map_lun and unmap_lun against the recording double: every LUN resolved before the
// library is called once with the sorted set of resolved uuids.
#include "HandlerTest.h"

#include "target/WebAPIServerTarget.h"

#include <utility>

namespace {

using namespace ISCSI::WebAPI::APITarget;
using KOVATest::Answer;

const char UUID_A[] = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";
const char UUID_B[] = "ffffffff-0000-1111-2222-333333333333";

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerTarget.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerTarget.cpp", function, code, params);
}

struct MappingMethod {
    KOVA::APIHandler handler;
    const char* function;
    const char* operation;
};
const MappingMethod MappingMethods[] = {
    {MapLUN, "MapLUN", "ISCSILIBTarget::mapLUN"},
    {UnmapLUN, "UnmapLUN", "ISCSILIBTarget::unmapLUN"},
};

class TargetLUNMappingTest : public KOVATest::HandlerTest {
protected:
    void ResolveTargetTo(int tid)
    {
        Lib().Script("ISCSITargetInfo::GetTid", 0, "{\"tid\":" + std::to_string(tid) + "}");
    }
    void ResolveNextLUNTo(const std::string& uuid)
    {
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, "{\"uuid\":\"" + uuid + "\"}");
    }
};

TEST_F(TargetLUNMappingTest, BothMethodsResolveEachLUNAndPassTheResolvedUuidsOnce)
{
    for (const auto& m : MappingMethods) {
        SetUp();
        ResolveTargetTo(3);
        ResolveNextLUNTo(UUID_A);
        ResolveNextLUNTo(UUID_B);
        const std::string params = R"({"lun_uuids":["lun-a","lun-b"],"target_id":"3"})";
        auto r = Call(m.handler, params);
        EXPECT_EQ(Answer(r), "success null") << m.function;
        EXPECT_EQ(LibCalls(), std::string("ISCSITargetInfo::GetTid([\"3\",0])\n"
                                          "ISCSILUNInfo::GetLunUuid([\"lun-a\",\"\"])\n"
                                          "ISCSILUNInfo::GetLunUuid([\"lun-b\",\"\"])\n"
                                          "ISCSILIBTarget::ISCSILIBTarget([3])\n") +
                                  m.operation + "([[\"" + UUID_A + "\",\"" + UUID_B + "\"]])\n");
        EXPECT_EQ(Log(), DebugLine(m.function, params));
    }
}

TEST_F(TargetLUNMappingTest, AnEmptyLUNListPassesTheCheckAndCallsTheLibraryOnceWithAnEmptySet)
{
    for (const auto& m : MappingMethods) {
        SetUp();
        ResolveTargetTo(3);
        EXPECT_EQ(Answer(Call(m.handler, R"({"target_id":"3","lun_uuids":[]})")), "success null");
        EXPECT_EQ(LibCalls(), std::string("ISCSITargetInfo::GetTid([\"3\",0])\n"
                                          "ISCSILIBTarget::ISCSILIBTarget([3])\n") +
                                  m.operation + "([[]])\n");
    }
}

TEST_F(TargetLUNMappingTest, TwoIdentifiersOfTheSameLUNReachTheLibraryOnce)
{
    ResolveNextLUNTo(UUID_A);
    ResolveNextLUNTo(UUID_A);
    Call(MapLUN, std::string(R"({"target_id":"3","lun_uuids":["lun-a",")") + UUID_A + "\"]}");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::mapLUN")[0].args[0],
              KOVATest::ParseJson(std::string("[\"") + UUID_A + "\"]"));
}

TEST_F(TargetLUNMappingTest, TheLibrarySeesTheUuidsInSortedOrder)
{
    ResolveNextLUNTo(UUID_B);
    ResolveNextLUNTo("11111111-2222-3333-4444-555555555555");
    ResolveNextLUNTo(UUID_A);
    Call(UnmapLUN, R"({"target_id":"3","lun_uuids":["z","y","x"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::unmapLUN")[0].args[0],
              KOVATest::ParseJson(std::string("[\"") + UUID_A +
                                  "\",\"11111111-2222-3333-4444-555555555555\",\"" + UUID_B + "\"]"));
}

TEST_F(TargetLUNMappingTest, WithAnUnknownTargetAndAnUnknownLUNTheAnswerIsTheTargetResolversCode)
{
    Lib().Script("ISCSITargetInfo::GetTid", 18990710);
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    EXPECT_EQ(Answer(Call(MapLUN, R"({"target_id":"9","lun_uuids":["nope"]})")), "error 18990710");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"9\",0])\n");
}

TEST_F(TargetLUNMappingTest, WithAGoodFirstLUNAndAnUnknownSecondTheLibraryIsNotCalled)
{
    for (const auto& m : MappingMethods) {
        SetUp();
        ResolveTargetTo(3);
        ResolveNextLUNTo(UUID_A);
        Lib().Script("ISCSILUNInfo::GetLunUuid", 18990520);
        const std::string params = R"({"lun_uuids":["lun-a","nope","lun-c"],"target_id":"3"})";
        EXPECT_EQ(Answer(Call(m.handler, params)), "error 18990520") << m.function;
        EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"3\",0])\n"
                              "ISCSILUNInfo::GetLunUuid([\"lun-a\",\"\"])\n"
                              "ISCSILUNInfo::GetLunUuid([\"nope\",\"\"])\n");
        EXPECT_EQ(Log(), DebugLine(m.function, params) + ErrorLine(m.function, 18990520, params));
    }
}

TEST_F(TargetLUNMappingTest, ParametersMissingEmptyOrOfTheWrongTypeAnswerTheirCodes)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"lun_uuids":["a"]})", 18990710},
        {R"({"target_id":"","lun_uuids":["a"]})", 18990710},
        {R"({"target_id":3,"lun_uuids":["a"]})", 18990710},
        {R"({"target_id":"3"})", 18990505},
        {R"({"target_id":"3","lun_uuids":"a"})", 18990505},
        {R"({"target_id":"3","lun_uuids":{"a":1}})", 18990505},
        {R"({"target_id":"3","lun_uuids":null})", 18990505},
        {R"({"target_id":"","lun_uuids":"a"})", 18990710},
    };
    for (const auto& m : MappingMethods) {
        for (const auto& c : cases) {
            SetUp();
            EXPECT_EQ(Answer(Call(m.handler, c.first)), "error " + std::to_string(c.second)) << c.first;
            EXPECT_EQ(LibCalls(), "") << c.first;
        }
    }
}

TEST_F(TargetLUNMappingTest, BothMethodsPassALibraryFailureOn)
{
    for (const auto& m : MappingMethods) {
        SetUp();
        Lib().Script(m.operation, 18990204);
        EXPECT_EQ(Answer(Call(m.handler, R"({"target_id":"3","lun_uuids":["a"]})")), "error 18990204")
            << m.function;
    }
}

} // namespace
