// create and delete of the LUN API against the recording double: the LUN object built, the
// operation called, the reply, and the log lines.
#include "HandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <string>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;

const char NEW_UUID[] = "11111111-2222-3333-4444-555555555555";

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerLUN.cpp", function, KOVA::toString(ParseJson(params)));
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerLUN.cpp", function, code, KOVA::toString(ParseJson(params)));
}

class LUNCreateDeleteTest : public KOVATest::HandlerTest {
protected:
    // The constructor call of the LUN to be made, with the defaults of the optional values.
    static std::string Made(const std::string& name, int type, const std::string& location,
                            unsigned long long size, const std::string& rest = "8192,0,0,\"\",false")
    {
        return "ISCSILIBLUN::ISCSILIBLUN([\"" + name + "\"," + std::to_string(type) + ",\"" + location +
               "\"," + std::to_string(size) + "," + rest + "])\n";
    }
};

// create

TEST_F(LUNCreateDeleteTest, CreateBuildsTheLUNAndAnswersTheNewUuidAndLunId)
{
    Lib().Script("ISCSILIBLUN::createLUN", 0,
                 std::string(R"({"ISCSILIBLUN::uuid":")") + NEW_UUID + R"(","ISCSILIBLUN::lun_id":3})");
    auto r = Call(Create, R"({"name":"lun1","type":"THIN","location":"/volume1","size":1073741824})");
    EXPECT_EQ(Answer(r), std::string(R"(success {"lun_id":3,"uuid":")") + NEW_UUID + "\"}");
    EXPECT_EQ(LibCalls(), Made("lun1", 7, "/volume1", 1073741824) + "ISCSILIBLUN::createLUN([\"\",\"\"])\n");
}

TEST_F(LUNCreateDeleteTest, CreatePassesEveryOptionalParameterToTheLibrary)
{
    auto r = Call(Create, R"({"name":"lun1","type":"ADV","location":"/volume2","size":5,"extent_size":4096,
                              "src_lun_dir":"/volume2/src","src_lun_file":"disk.img","vpd_unit_sn":"SN-1",
                              "is_soft_feas_ignored":true,
                              "dev_attribs":[{"dev_attrib":"emulate_tpu","enable":true}]})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(), Made("lun1", 15, "/volume2", 5, "4096,1,1,\"SN-1\",true") +
                              "ISCSILIBLUN::createLUN([\"/volume2/src\",\"disk.img\"])\n");
}

TEST_F(LUNCreateDeleteTest, CreateOfABlockLUNKeepsALocationThatTheVolumeRuleWouldCutOrEmpty)
{
    for (const char* location : {"/dev/sdb", "/volume1/a/b", "/volume1/"}) {
        SetUp();
        auto r = Call(Create, std::string(R"({"name":"blk","type":"BLOCK","location":")") + location + "\"}");
        EXPECT_TRUE(r.HasSuccess()) << location;
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args[2].asString(), location);
    }
}

TEST_F(LUNCreateDeleteTest, CreateOfABlockLUNNeedsNeitherSizeNorSource)
{
    Lib().Script("ISCSILIBLUN::createLUN", 0, R"({"ISCSILIBLUN::uuid":"U-9","ISCSILIBLUN::lun_id":9})");
    auto r = Call(Create, R"({"name":"blk","type":1,"location":"/dev/sdb"})");
    EXPECT_EQ(Answer(r), R"(success {"lun_id":9,"uuid":"U-9"})");
    EXPECT_EQ(LibCalls(), Made("blk", 1, "/dev/sdb", 0) + "ISCSILIBLUN::createLUN([\"\",\"\"])\n");
}

TEST_F(LUNCreateDeleteTest, CreateOfAnotherTypeGoesOnWithTheVolumeRootOfItsLocation)
{
    const std::pair<const char*, const char*> cases[] = {{"/volume1", "/volume1"},
                                                         {"/volume1/", "/volume1"},
                                                         {"/volume007", "/volume7"},
                                                         {"/volume1x", "/volume1"}};
    for (const auto& c : cases) {
        SetUp();
        Call(Create, std::string(R"({"name":"l","type":"THIN","size":1,"location":")") + c.first + "\"}");
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args[2].asString(), c.second) << c.first;
    }
}

TEST_F(LUNCreateDeleteTest, CreateOfAnotherTypeWithALocationTheVolumeRuleRefusesGoesOnWithAnEmptyLocation)
{
    for (const char* location : {"/volume1/a/b", "/mnt/x", "volume1"}) {
        SetUp();
        auto r = Call(Create,
                      std::string(R"({"name":"l","type":"THIN","size":1,"location":")") + location + "\"}");
        EXPECT_TRUE(r.HasSuccess()) << location;
        EXPECT_EQ(LibCalls(), Made("l", 7, "", 1) + "ISCSILIBLUN::createLUN([\"\",\"\"])\n") << location;
    }
}

TEST_F(LUNCreateDeleteTest, CreateOfAnotherTypeWithNeitherSizeNorSourceAnswers18990502LikeABadSize)
{
    auto r = Call(Create, R"({"name":"l","type":"THIN","location":"/volume1"})");
    EXPECT_EQ(Answer(r), "error 18990502");
    EXPECT_EQ(LibCalls(), "");
    SetUp();
    EXPECT_EQ(Answer(Call(Create, R"({"name":"l","type":"THIN","location":"/volume1","size":0})")),
              "error 18990502");
}

TEST_F(LUNCreateDeleteTest, CreateOfAnotherTypeWithOnlyASourceDirectoryOrFileNeedsNoSize)
{
    for (const char* source : {R"("src_lun_dir":"")", R"("src_lun_file":"f.img")"}) {
        SetUp();
        auto r =
            Call(Create, std::string(R"({"name":"l","type":"THIN","location":"/volume1",)") + source + "}");
        EXPECT_TRUE(r.HasSuccess()) << source;
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args[3].asUInt64(), 0u);
    }
}

TEST_F(LUNCreateDeleteTest, CreateWithTypeNumber7AndWithTypeTextThinSelectTheSameType)
{
    Call(Create, R"({"name":"l","type":7,"location":"/volume1","size":1})");
    const std::string byNumber = LibCalls();
    SetUp();
    Call(Create, R"({"name":"l","type":"thin","location":"/volume1","size":1})");
    EXPECT_EQ(LibCalls(), byNumber);
    EXPECT_EQ(byNumber, Made("l", 7, "/volume1", 1) + "ISCSILIBLUN::createLUN([\"\",\"\"])\n");
}

TEST_F(LUNCreateDeleteTest, CreateWithATypeTextThatIsANumberTakesTheNumber)
{
    Call(Create, R"({"name":"l","type":"263","location":"/volume1","size":1})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args[1].asInt(), 263);
}

TEST_F(LUNCreateDeleteTest, CreateWithATypeNumberThatIsNoIdAndNoUsableTextAnswers18990500)
{
    for (const char* type : {"8", "0", R"("nonsense")", R"("")", "true", "[7]"}) {
        SetUp();
        auto r =
            Call(Create, std::string(R"({"name":"l","location":"/volume1","size":1,"type":)") + type + "}");
        EXPECT_EQ(Answer(r), "error 18990500") << type;
        EXPECT_EQ(LibCalls(), "") << type;
    }
}

TEST_F(LUNCreateDeleteTest, CreateWithoutTypeAnswers18990500)
{
    EXPECT_EQ(Answer(Call(Create, R"({"name":"l","location":"/volume1","size":1})")), "error 18990500");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(LUNCreateDeleteTest, CreateWithAnUnknownTypeAndNoSizeAnswersTheTypesCode)
{
    EXPECT_EQ(Answer(Call(Create, R"({"name":"l","type":"X","location":"/volume1"})")), "error 18990500");
}

TEST_F(LUNCreateDeleteTest, CreateWithTypeTextCinderOnAVolumeThatIsNotBtrfsIsType143)
{
    auto r = Call(Create, R"({"name":"c","type":"CINDER","location":"/volume1","size":1})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(), "KOVAFSTypeGetFromDisk([\"/volume1\"])\n" + Made("c", 143, "/volume1", 1) +
                              "ISCSILIBLUN::createLUN([\"\",\"\"])\n");
}

TEST_F(LUNCreateDeleteTest, CreateWithTypeTextCinderOnBtrfsWithTheSettingYesIsType391)
{
    Lib().Script("KOVAFSTypeGetFromDisk", 3);
    Lib().Script("KLIBCFileGetKeyValue", 3, R"({"buffer":"yes"})");
    auto r = Call(Create, R"({"name":"c","type":"CINDER","location":"/volume1","size":1})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(),
              "KOVAFSTypeGetFromDisk([\"/volume1\"])\n"
              "KLIBCFileGetKeyValue([\"/etc.defaults/kovainfo.conf\",\"support_iscsi_btrfs_lun\",8,0])\n" +
                  Made("c", 391, "/volume1", 1) + "ISCSILIBLUN::createLUN([\"\",\"\"])\n");
}

TEST_F(LUNCreateDeleteTest, CreateWithTypeTextCinderOnBtrfsWithTheSettingMissingOrNotYesIsType143)
{
    struct {
        int read;
        const char* value;
    } cases[] = {{0, ""}, {-1, "yes"}, {2, "no"}, {4, "yes!"}, {3, "YES"}};
    for (const auto& c : cases) {
        SetUp();
        Lib().Script("KOVAFSTypeGetFromDisk", 3);
        Lib().Script("KLIBCFileGetKeyValue", c.read, std::string(R"({"buffer":")") + c.value + "\"}");
        Call(Create, R"({"name":"c","type":"CINDER","location":"/volume1","size":1})");
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args[1].asInt(), 143) << c.value;
    }
}

TEST_F(LUNCreateDeleteTest, CreateLooksAtTheFileSystemOfTheLocationAsGivenAndOnlyForTheExactTextCinder)
{
    Call(Create, R"({"name":"c","type":"CINDER","location":"/volume1/sub","size":1})");
    EXPECT_EQ(Lib().CallsOf("KOVAFSTypeGetFromDisk")[0].args[0].asString(), "/volume1/sub");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args[2].asString(), "");
    for (const char* type : {R"("cinder")", "143", R"("Cinder")"}) {
        SetUp();
        Lib().ScriptAlways("KOVAFSTypeGetFromDisk", 3);
        Call(Create, std::string(R"({"name":"c","location":"/volume1","size":1,"type":)") + type + "}");
        EXPECT_TRUE(Lib().CallsOf("KOVAFSTypeGetFromDisk").empty()) << type;
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args[1].asInt(), 143) << type;
    }
}

TEST_F(LUNCreateDeleteTest, CreateFoldsDeviceAttributesIntoAMaskAndValues)
{
    Call(Create, R"({"name":"l","type":"THIN","location":"/volume1","size":1,"dev_attribs":[
                     {"dev_attrib":"emulate_tpu","enable":true},{"dev_attrib":"emulate_caw","enable":false},
                     {"dev_attrib":"emulate_tpws","enable":true},{"dev_attrib":"emulate_3pc","enable":false},
                     {"dev_attrib":"can_snapshot","enable":true}]})");
    const Json::Value args = Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args;
    EXPECT_EQ(args[5].asUInt(), 31u);
    EXPECT_EQ(args[6].asUInt(), 21u);
}

TEST_F(LUNCreateDeleteTest, CreateWithAnAttributeDisabledNamesItInTheMaskOnly)
{
    Call(Create, R"({"name":"l","type":"THIN","location":"/volume1","size":1,
                     "dev_attribs":[{"dev_attrib":"emulate_caw","enable":false}]})");
    const Json::Value args = Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args;
    EXPECT_EQ(args[5].asUInt(), 2u);
    EXPECT_EQ(args[6].asUInt(), 0u);
}

TEST_F(LUNCreateDeleteTest, CreateWithAnUnknownDeviceAttributeChangesNothing)
{
    Call(Create, R"({"name":"l","type":"THIN","location":"/volume1","size":1,
                     "dev_attribs":[{"dev_attrib":"emulate_xyz","enable":true},{"dev_attrib":"EMULATE_TPU","enable":true}]})");
    const std::string withUnknown = LibCalls();
    SetUp();
    Call(Create, R"({"name":"l","type":"THIN","location":"/volume1","size":1,"dev_attribs":[]})");
    EXPECT_EQ(LibCalls(), withUnknown);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args[5].asUInt(), 0u);
}

TEST_F(LUNCreateDeleteTest, CreateAnswersEitherFeasibilityFailureWithTheLibrarysDetail)
{
    for (int code : {18990335, 18990336}) {
        SetUp();
        Lib().Script("ISCSILIBLUN::createLUN", code,
                     R"({"ISCSILIBLUN::feasibility_detail":{"hard":[{"reason":"no space"}],"soft":[]}})");
        auto r = Call(Create, R"({"name":"l","type":"THIN","location":"/volume1","size":1})");
        EXPECT_EQ(Answer(r),
                  "error " + std::to_string(code) + R"( {"hard":[{"reason":"no space"}],"soft":[]})");
        EXPECT_FALSE(r.HasSuccess());
    }
}

TEST_F(LUNCreateDeleteTest, CreateAnswersAnyOtherLibraryFailureWithNullData)
{
    Lib().Script("ISCSILIBLUN::createLUN", 18990510, R"({"ISCSILIBLUN::feasibility_detail":{"hard":[]}})");
    auto r = Call(Create, R"({"name":"l","type":"THIN","location":"/volume1","size":1})");
    EXPECT_EQ(Answer(r), "error 18990510");
}

TEST_F(LUNCreateDeleteTest, CreateRefusesEachParameterOfTheWrongJsonTypeOrValueWithItsCode)
{
    const std::string base = R"({"name":"l","type":"THIN","location":"/volume1","size":1})";
    const struct {
        const char* key;
        const char* value;
        int code;
    } cases[] = {
        {"name", "5", 18990503},
        {"name", R"("-lun")", 18990503},
        {"name", R"("lun_1")", 18990503},
        {"location", "1", 18990501},
        {"location", R"("")", 18990501},
        {"size", R"("1")", 18990502},
        {"size", "0", 18990502},
        {"size", "-1", 18990502},
        {"extent_size", "-1", 18990507},
        {"extent_size", R"("8192")", 18990507},
        {"src_lun_dir", "1", 18990615},
        {"src_lun_file", "true", 18990616},
        {"vpd_unit_sn", R"("")", 18990620},
        {"vpd_unit_sn", "1", 18990620},
        {"is_soft_feas_ignored", R"("true")", 18990607},
        {"dev_attribs", "{}", 18990622},
        {"dev_attribs", R"("emulate_tpu")", 18990622},
    };
    for (const auto& c : cases) {
        SetUp();
        Json::Value params = ParseJson(base);
        params[c.key] = ParseJson(c.value);
        auto r = Call(Create, KOVA::toString(params));
        EXPECT_EQ(Answer(r), "error " + std::to_string(c.code)) << c.key << " " << c.value;
        EXPECT_EQ(LibCalls(), "") << c.key << " " << c.value;
    }
}

TEST_F(LUNCreateDeleteTest, CreateWithoutNameOrLocationAnswersTheirCodes)
{
    EXPECT_EQ(Answer(Call(Create, R"({"type":"THIN","location":"/volume1","size":1})")), "error 18990503");
    EXPECT_EQ(Answer(Call(Create, R"({"name":"l","type":"THIN","size":1})")), "error 18990501");
}

TEST_F(LUNCreateDeleteTest, CreateTestsItsParametersInOrderAndTheTypeAfterThem)
{
    const struct {
        const char* key;
        const char* good;
        const char* bad;
        int code;
    } order[] = {
        {"name", R"("l")", "1", 18990503},
        {"location", R"("/volume1")", "2", 18990501},
        {"size", "1", "0", 18990502},
        {"extent_size", "4096", "-1", 18990507},
        {"src_lun_dir", R"("d")", "3", 18990615},
        {"src_lun_file", R"("f")", "4", 18990616},
        {"vpd_unit_sn", R"("SN")", R"("")", 18990620},
        {"is_soft_feas_ignored", "true", "5", 18990607},
        {"dev_attribs", "[]", "6", 18990622},
    };
    const size_t count = sizeof(order) / sizeof(order[0]);
    for (size_t first = 0; first <= count; ++first) {
        SetUp();
        // Every parameter before the first one is good, every one from it on is bad, and the
        // type names no type.
        Json::Value params = ParseJson(R"({"type":"nonsense"})");
        for (size_t i = 0; i < count; ++i)
            params[order[i].key] = ParseJson(i < first ? order[i].good : order[i].bad);
        const int expected = first < count ? order[first].code : 18990500;
        EXPECT_EQ(Answer(Call(Create, KOVA::toString(params))), "error " + std::to_string(expected)) << first;
        EXPECT_EQ(LibCalls(), "") << first;
    }
}

TEST_F(LUNCreateDeleteTest, CreateWritesTheDebugLineAndOnSuccessNoErrorLine)
{
    const std::string params = R"({"name":"l","type":"THIN","location":"/volume1","size":1})";
    Call(Create, params);
    EXPECT_EQ(Log(), DebugLine("Create", params));
}

TEST_F(LUNCreateDeleteTest, ARefusedCreateWritesTheDebugLineThenTheErrorLine)
{
    const std::string params = R"({"name":"l","type":"THIN","location":"/volume1"})";
    Call(Create, params);
    EXPECT_EQ(Log(), DebugLine("Create", params) + ErrorLine("Create", 18990502, params));
}

TEST_F(LUNCreateDeleteTest, AFeasibilityFailureOfCreateWritesTheErrorLineWithItsCode)
{
    Lib().Script("ISCSILIBLUN::createLUN", 18990336, R"({"ISCSILIBLUN::feasibility_detail":{"soft":[]}})");
    const std::string params = R"({"name":"l","type":"THIN","location":"/volume1","size":1})";
    Call(Create, params);
    EXPECT_EQ(Log(), DebugLine("Create", params) + ErrorLine("Create", 18990336, params));
}

// delete

TEST_F(LUNCreateDeleteTest, DeleteResolvesUuidAndDeletesThatLUN)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    auto r = Call(Delete, R"({"uuid":"lun1"})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n"
                          "ISCSILIBLUN::deleteLUN([])\n");
}

TEST_F(LUNCreateDeleteTest, DeleteWithUuidsOfOneElementDeletesInTheBackground)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-2"})");
    auto r = Call(Delete, R"({"uuid":"lun1","uuids":["lun2"]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSILUNInfo::GetLunUuid([\"lun2\",\"\"])\n"
                          "ISCSILIBLUN::ISCSILIBLUN([\"\",false,false,false])\n"
                          "ISCSILIBLUN::deleteLunNonBlocking([[\"U-2\"]])\n");
}

TEST_F(LUNCreateDeleteTest, DeleteWithSeveralUuidsHandsTheResolvedListOverInOrder)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-0"})");
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-3"})");
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-2"})");
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-3"})");
    Call(Delete, R"({"uuid":"x","uuids":["c","b","c"]})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::deleteLunNonBlocking")[0].args),
              R"([["U-3","U-2","U-3"]])");
    EXPECT_TRUE(Lib().CallsOf("ISCSILIBLUN::deleteLUN").empty());
}

TEST_F(LUNCreateDeleteTest, DeleteWithAnEmptyUuidsArrayDeletesUuid)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    Call(Delete, R"({"uuid":"lun1","uuids":[]})");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n"
                          "ISCSILIBLUN::deleteLUN([])\n");
}

TEST_F(LUNCreateDeleteTest, DeleteTakesUuidsOfTheWrongJsonTypeAsNone)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    auto r = Call(Delete, R"({"uuid":"lun1","uuids":"lun2"})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(Lib().CallsOf("ISCSILUNInfo::GetLunUuid").size(), 1u);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::deleteLUN").size(), 1u);
}

TEST_F(LUNCreateDeleteTest, DeleteNeedsUuidToResolveEvenWhenUuidsIsGiven)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    auto r = Call(Delete, R"({"uuid":"gone","uuids":["lun2"]})");
    EXPECT_EQ(Answer(r), "error 18990505");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"gone\",\"\"])\n");
}

TEST_F(LUNCreateDeleteTest, DeleteStopsAtTheFirstElementOfUuidsThatDoesNotResolve)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-2"})");
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990700);
    auto r = Call(Delete, R"({"uuid":"lun1","uuids":["lun2","bad","lun4"]})");
    EXPECT_EQ(Answer(r), "error 18990700");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSILUNInfo::GetLunUuid([\"lun2\",\"\"])\n"
                          "ISCSILUNInfo::GetLunUuid([\"bad\",\"\"])\n");
}

TEST_F(LUNCreateDeleteTest, DeleteGivesBothFlagsToTheLUNObjectOnEitherWay)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    Call(Delete, R"({"uuid":"lun1","is_soft_feas_ignored":true,"feasibility_precheck":true})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args, ParseJson(R"(["U-1",true,false,true])"));
    SetUp();
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    Call(Delete, R"({"uuid":"lun1","uuids":["x"],"is_soft_feas_ignored":false,"feasibility_precheck":true})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::ISCSILIBLUN")[0].args, ParseJson(R"(["",false,false,true])"));
}

TEST_F(LUNCreateDeleteTest, DeleteAcceptsAnEmptyUuidAndLetsTheLibraryJudgeIt)
{
    auto r = Call(Delete, R"({"uuid":""})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(Lib().CallsOf("ISCSILUNInfo::GetLunUuid")[0].args[0].asString(), "");
}

TEST_F(LUNCreateDeleteTest, DeleteAnswersEitherFeasibilityFailureWithTheLibrarysDetailOnEitherWay)
{
    Lib().Script("ISCSILIBLUN::deleteLUN", 18990336,
                 R"({"ISCSILIBLUN::feasibility_detail":{"soft":[{"reason":"m"}]}})");
    EXPECT_EQ(Answer(Call(Delete, R"({"uuid":"lun1"})")), R"(error 18990336 {"soft":[{"reason":"m"}]})");
    SetUp();
    Lib().Script("ISCSILIBLUN::deleteLunNonBlocking", 18990335,
                 R"({"ISCSILIBLUN::feasibility_detail":{"hard":[{"reason":"h"}]}})");
    EXPECT_EQ(Answer(Call(Delete, R"({"uuid":"lun1","uuids":["a"]})")),
              R"(error 18990335 {"hard":[{"reason":"h"}]})");
}

TEST_F(LUNCreateDeleteTest, DeleteAnswersAnyOtherLibraryFailureWithNullData)
{
    Lib().Script("ISCSILIBLUN::deleteLUN", 18990509, R"({"ISCSILIBLUN::feasibility_detail":{"soft":[]}})");
    EXPECT_EQ(Answer(Call(Delete, R"({"uuid":"lun1"})")), "error 18990509");
}

TEST_F(LUNCreateDeleteTest, DeleteRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    const std::pair<const char*, int> cases[] = {
        {R"({})", 18990505},
        {R"({"uuid":5})", 18990505},
        {R"({"uuid":"l","is_soft_feas_ignored":"yes"})", 18990607},
        {R"({"uuid":"l","feasibility_precheck":1})", 18990621},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(Delete, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(LUNCreateDeleteTest, DeleteTestsUuidThenSoftFeasibilityThenPrecheck)
{
    EXPECT_EQ(Answer(Call(Delete, R"({"uuid":1,"is_soft_feas_ignored":1,"feasibility_precheck":1})")),
              "error 18990505");
    EXPECT_EQ(Answer(Call(Delete, R"({"uuid":"l","is_soft_feas_ignored":1,"feasibility_precheck":1})")),
              "error 18990607");
}

TEST_F(LUNCreateDeleteTest, DeleteWritesTheDebugLineThenTheErrorLineOfAFailure)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    const std::string params = R"({"uuid":"gone"})";
    Call(Delete, params);
    EXPECT_EQ(Log(), DebugLine("Delete", params) + ErrorLine("Delete", 18990505, params));
    SetUp();
    Call(Delete, params);
    EXPECT_EQ(Log(), DebugLine("Delete", params));
}

} // namespace
