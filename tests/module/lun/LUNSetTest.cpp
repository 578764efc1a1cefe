// set of the LUN API against the recording double: the local and the remote-disk way, the
// device attribute words, and the silent end when the platform cannot tell where a LUN lies.
#include "HandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <regex>
#include <string>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;

std::string DebugLine(const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerLUN.cpp", "Set", KOVA::toString(ParseJson(params)));
}

std::string ErrorLine(int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerLUN.cpp", "Set", code, KOVA::toString(ParseJson(params)));
}

const char RESOLVED[] = "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                        "KOVAiSCSILunIsRemoteDisk([\"U-1\",false])\n";

class LUNSetTest : public KOVATest::HandlerTest {
protected:
    // The identifier "lun1" resolves to U-1, a LUN on a disk of this node.
    void SetUp() override
    {
        HandlerTest::SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    }
    // The LUN lies on a remote disk.
    void OnRemoteDisk() { Lib().Script("KOVAiSCSILunIsRemoteDisk", 0, R"({"is_remote":true})"); }

    std::string LocalUpdateArgs()
    {
        return KOVA::toString(Lib().CallsOf("ISCSILIBLUN::localUpdateLUN").at(0).args);
    }
};

// The local way

TEST_F(LUNSetTest, SetWithOnlyUuidOnALocalLUNStillCallsLocalUpdateLUNWithAllDefaults)
{
    auto r = Call(Set, R"({"uuid":"lun1"})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n"
                                                  "ISCSILIBLUN::localUpdateLUN([\"\",0,0,\"\",0,0,\"\"])\n");
}

TEST_F(LUNSetTest, SetOnALocalLUNCarriesEveryChangeInOneCall)
{
    auto r = Call(Set, R"({"uuid":"lun1","new_name":"lun2","new_size":4294967297,"new_type":"blun",
                           "new_location":"/volume2/","is_soft_feas_ignored":true,"vpd_unit_sn":"SN-9",
                           "dev_attribs":[{"dev_attrib":"emulate_3pc","enable":true},
                                          {"dev_attrib":"can_snapshot","enable":false}]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(),
              std::string(RESOLVED) +
                  "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",true,false,false])\n"
                  "ISCSILIBLUN::localUpdateLUN([\"lun2\",4294967297,263,\"/volume2\",24,8,\"SN-9\"])\n");
}

TEST_F(LUNSetTest, SetOnALocalLUNGivesTheVolumeRootOfTheNewLocation)
{
    const std::pair<const char*, const char*> cases[] = {{"/volume3", "/volume3"},
                                                         {"/volume3/", "/volume3"},
                                                         {"/volume03", "/volume3"},
                                                         {"/volume1x", "/volume1"}};
    for (const auto& c : cases) {
        SetUp();
        Call(Set, std::string(R"({"uuid":"lun1","new_location":")") + c.first + "\"}");
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::localUpdateLUN").at(0).args[3].asString(), c.second) << c.first;
    }
}

TEST_F(LUNSetTest, SetWithAnEmptyNewTypeOnALocalLUNKeepsTheType)
{
    auto r = Call(Set, R"({"uuid":"lun1","new_type":""})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LocalUpdateArgs(), R"(["",0,0,"",0,0,""])");
}

TEST_F(LUNSetTest, SetTakesANewTypeByNameOrNumberText)
{
    Call(Set, R"({"uuid":"lun1","new_type":"THIN"})");
    EXPECT_EQ(LocalUpdateArgs(), R"(["",0,7,"",0,0,""])");
    SetUp();
    Call(Set, R"({"uuid":"lun1","new_type":"1831"})");
    EXPECT_EQ(LocalUpdateArgs(), R"(["",0,1831,"",0,0,""])");
}

TEST_F(LUNSetTest, SetWithANewTypeThatNamesNoTypeOnALocalLUNAnswers18990500)
{
    for (const char* type : {"nonsense", "8", "THINN"}) {
        SetUp();
        auto r = Call(Set, std::string(R"({"uuid":"lun1","new_type":")") + type + "\"}");
        EXPECT_EQ(Answer(r), "error 18990500") << type;
        EXPECT_EQ(LibCalls(), RESOLVED) << type;
    }
}

TEST_F(LUNSetTest, SetWithAnAttributeDisabledNamesItInTheMaskAndLeavesItOutOfTheValues)
{
    Call(Set, R"({"uuid":"lun1","dev_attribs":[{"dev_attrib":"emulate_caw","enable":false}]})");
    EXPECT_EQ(LocalUpdateArgs(), R"(["",0,0,"",2,0,""])");
}

TEST_F(LUNSetTest, SetFoldsAllFiveAttributesIntoTheirBits)
{
    Call(Set, R"({"uuid":"lun1","dev_attribs":[{"dev_attrib":"emulate_3pc","enable":true},
                  {"dev_attrib":"emulate_tpws","enable":false},{"dev_attrib":"emulate_caw","enable":true},
                  {"dev_attrib":"emulate_tpu","enable":false},{"dev_attrib":"can_snapshot","enable":true}]})");
    EXPECT_EQ(LocalUpdateArgs(), R"(["",0,0,"",31,26,""])");
}

TEST_F(LUNSetTest, SetWithAnAttributeNamedTwiceKeepsItEnabledOnceEnabled)
{
    Call(Set, R"({"uuid":"lun1","dev_attribs":[{"dev_attrib":"emulate_tpu","enable":true},
                  {"dev_attrib":"emulate_tpu","enable":false}]})");
    EXPECT_EQ(LocalUpdateArgs(), R"(["",0,0,"",1,1,""])");
}

TEST_F(LUNSetTest, SetWithAnUnknownAttributeNameHasNoEffect)
{
    Call(Set, R"({"uuid":"lun1","dev_attribs":[{"dev_attrib":"emulate_xcopy","enable":true},
                  {"dev_attrib":"Emulate_tpu","enable":true},{"enable":true}]})");
    EXPECT_EQ(LocalUpdateArgs(), R"(["",0,0,"",0,0,""])");
}

TEST_F(LUNSetTest, SetOnALocalLUNAnswersEitherFeasibilityFailureWithTheLibrarysDetail)
{
    for (int code : {18990335, 18990336}) {
        SetUp();
        Lib().Script("ISCSILIBLUN::localUpdateLUN", code,
                     R"({"ISCSILIBLUN::feasibility_detail":{"hard":[{"reason":"too small"}]}})");
        EXPECT_EQ(Answer(Call(Set, R"({"uuid":"lun1","new_size":1})")),
                  "error " + std::to_string(code) + R"( {"hard":[{"reason":"too small"}]})");
    }
}

TEST_F(LUNSetTest, SetOnALocalLUNAnswersAnyOtherLibraryFailureWithNullData)
{
    Lib().Script("ISCSILIBLUN::localUpdateLUN", 18990510,
                 R"({"ISCSILIBLUN::feasibility_detail":{"hard":[]}})");
    EXPECT_EQ(Answer(Call(Set, R"({"uuid":"lun1","new_size":1})")), "error 18990510");
}

// The remote-disk way

TEST_F(LUNSetTest, SetWithOnlyUuidOnARemoteDiskMakesNoChangeCallAndAnswersSuccess)
{
    OnRemoteDisk();
    auto r = Call(Set, R"({"uuid":"lun1"})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n");
}

TEST_F(LUNSetTest, SetWithNewSize0OnARemoteDiskResizesTo0SinceTheSizeWasSent)
{
    OnRemoteDisk();
    auto r = Call(Set, R"({"uuid":"lun1","new_size":0})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n"
                                                  "ISCSILIBLUN::remoteUpdateLUN([\"U-1\",0])\n");
}

TEST_F(LUNSetTest, SetOnARemoteDiskWithAnEmptyAttributeArrayMakesOneCallWithMask0AndValues0)
{
    OnRemoteDisk();
    Call(Set, R"({"uuid":"lun1","dev_attribs":[]})");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n"
                                                  "ISCSILIBLUN::remoteUpdateLUN([\"U-1\",0,0])\n");
}

TEST_F(LUNSetTest, SetOnARemoteDiskResizesFirstThenChangesTheAttributes)
{
    OnRemoteDisk();
    auto r = Call(Set, R"({"uuid":"lun1","new_size":8589934592,
                           "dev_attribs":[{"dev_attrib":"emulate_tpws","enable":true}]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), std::string(RESOLVED) + "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n"
                                                  "ISCSILIBLUN::remoteUpdateLUN([\"U-1\",8589934592])\n"
                                                  "ISCSILIBLUN::remoteUpdateLUN([\"U-1\",4,4])\n");
}

TEST_F(LUNSetTest, SetOnARemoteDiskStopsAfterAFailedResize)
{
    OnRemoteDisk();
    Lib().Script("ISCSILIBLUN::remoteUpdateLUN", 18990510);
    auto r = Call(Set, R"({"uuid":"lun1","new_size":1,"dev_attribs":[]})");
    EXPECT_EQ(Answer(r), "error 18990510");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::remoteUpdateLUN").size(), 1u);
}

TEST_F(LUNSetTest, SetOnARemoteDiskKeepsTheNewSizeWhenTheAttributesFail)
{
    OnRemoteDisk();
    Lib().Script("ISCSILIBLUN::remoteUpdateLUN", 0);
    Lib().Script("ISCSILIBLUN::remoteUpdateLUN", 18990336,
                 R"({"ISCSILIBLUN::feasibility_detail":{"soft":[{"reason":"x"}]}})");
    auto r = Call(Set, R"({"uuid":"lun1","new_size":1,"dev_attribs":[]})");
    EXPECT_EQ(Answer(r), "error 18990336");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::remoteUpdateLUN").size(), 2u);
}

TEST_F(LUNSetTest, SetOnARemoteDiskRefusesEveryOtherChangeWith18990213WhateverItsValue)
{
    for (const char* change :
         {R"("new_name":"lun2")", R"("new_type":"THIN")", R"("new_type":"")", R"("new_location":"/volume1")",
          R"("vpd_unit_sn":"SN")", R"("is_soft_feas_ignored":false)", R"("is_soft_feas_ignored":true)"}) {
        SetUp();
        OnRemoteDisk();
        auto r = Call(Set, std::string(R"({"uuid":"lun1","new_size":1,)") + change + "}");
        EXPECT_EQ(Answer(r), "error 18990213") << change;
        EXPECT_EQ(LibCalls(), RESOLVED) << change;
    }
}

TEST_F(LUNSetTest, SetWithANewTypeThatNamesNoTypeOnARemoteDiskAnswers18990213)
{
    OnRemoteDisk();
    EXPECT_EQ(Answer(Call(Set, R"({"uuid":"lun1","new_type":"nonsense"})")), "error 18990213");
}

// Where the LUN lies

TEST_F(LUNSetTest, SetEndsWithoutAnyAnswerWhenItCannotTellWhereTheLUNLies)
{
    Lib().Script("KOVAiSCSILunIsRemoteDisk", 18990510);
    const std::string params = R"({"uuid":"lun1","new_size":1})";
    auto r = Call(Set, params);
    EXPECT_EQ(Answer(r), "none");
    EXPECT_EQ(LibCalls(), RESOLVED);
    // The address of the flag varies from run to run.
    const std::string log =
        std::regex_replace(Log(), std::regex(", (0x)?[0-9a-fA-F]+\\) failed"), ", P) failed");
    EXPECT_EQ(log,
              DebugLine(params) +
                  "<3> iSCSI:WebAPIServerLUN.cpp:L:Set KOVAiSCSILunIsRemoteDisk(\"U-1\", P) failed, err=" +
                  KOVAiSCSIStrError(18990510) + "\n");
}

TEST_F(LUNSetTest, SetPassesAFailureToResolveTheUuidOnWithoutAskingWhereTheLUNLies)
{
    HandlerTest::SetUp();
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    EXPECT_EQ(Answer(Call(Set, R"({"uuid":"gone","new_type":"nonsense"})")), "error 18990505");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"gone\",\"\"])\n");
}

// Parameters

TEST_F(LUNSetTest, SetRefusesEachParameterOfTheWrongJsonTypeOrValueWithItsCode)
{
    const struct {
        const char* key;
        const char* value;
        int code;
    } cases[] = {
        {"uuid", "5", 18990505},
        {"uuid", R"("")", 18990505},
        {"new_name", R"("-lun")", 18990522},
        {"new_name", "5", 18990522},
        {"new_size", R"("1")", 18990523},
        {"new_size", "-1", 18990523},
        {"new_size", "1.5", 18990523},
        {"new_type", "7", 18990610},
        {"new_location", R"("/volume1/sub")", 18990611},
        {"new_location", R"("")", 18990611},
        {"new_location", "1", 18990611},
        {"is_soft_feas_ignored", "0", 18990607},
        {"vpd_unit_sn", R"("")", 18990620},
        {"vpd_unit_sn", "[]", 18990620},
        {"dev_attribs", "{}", 18990622},
        {"dev_attribs", "true", 18990622},
    };
    for (const auto& c : cases) {
        SetUp();
        Json::Value params = ParseJson(R"({"uuid":"lun1"})");
        params[c.key] = ParseJson(c.value);
        EXPECT_EQ(Answer(Call(Set, KOVA::toString(params))), "error " + std::to_string(c.code))
            << c.key << " " << c.value;
        EXPECT_EQ(LibCalls(), "") << c.key << " " << c.value;
    }
    SetUp();
    EXPECT_EQ(Answer(Call(Set, "{}")), "error 18990505");
}

TEST_F(LUNSetTest, SetTestsItsParametersInOrderBeforeResolvingTheUuid)
{
    const struct {
        const char* key;
        const char* good;
        const char* bad;
        int code;
    } order[] = {
        {"uuid", R"("lun1")", R"("")", 18990505},
        {"new_name", R"("n")", R"("-n")", 18990522},
        {"new_size", "1", "-1", 18990523},
        {"new_type", R"("THIN")", "1", 18990610},
        {"new_location", R"("/volume1")", R"("/x")", 18990611},
        {"is_soft_feas_ignored", "false", "1", 18990607},
        {"vpd_unit_sn", R"("SN")", R"("")", 18990620},
        {"dev_attribs", "[]", "1", 18990622},
    };
    const size_t count = sizeof(order) / sizeof(order[0]);
    for (size_t first = 0; first < count; ++first) {
        SetUp();
        Json::Value params(Json::objectValue);
        for (size_t i = 0; i < count; ++i)
            params[order[i].key] = ParseJson(i < first ? order[i].good : order[i].bad);
        EXPECT_EQ(Answer(Call(Set, KOVA::toString(params))), "error " + std::to_string(order[first].code))
            << first;
        EXPECT_EQ(LibCalls(), "") << first;
    }
}

// Log lines

TEST_F(LUNSetTest, SetWritesTheDebugLineAndOnSuccessNoErrorLine)
{
    Call(Set, R"({"uuid":"lun1","new_name":"n"})");
    EXPECT_EQ(Log(), DebugLine(R"({"uuid":"lun1","new_name":"n"})"));
}

TEST_F(LUNSetTest, ARefusedSetWritesTheDebugLineThenTheErrorLine)
{
    OnRemoteDisk();
    const std::string params = R"({"uuid":"lun1","new_name":"n"})";
    Call(Set, params);
    EXPECT_EQ(Log(), DebugLine(params) + ErrorLine(18990213, params));
}

} // namespace
