// list, get and top of the LUN API against the recording double: the load flags, the
// filters, the reply keys, and the absence of a debug line.
#include "HandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <iscsi/ISCSILUNInfo.h>

#include <string>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerLUN.cpp", function, code, KOVA::toString(ParseJson(params)));
}

// The JSON form a LUN record of this JSON text has once the facts of flags are loaded.
Json::Value RecordJson(const Json::Value& in, int flags = 0)
{
    ISCSI::ISCSILUNInfo record;
    EXPECT_EQ(record.loadFromJson(in), 0);
    record.additional |= flags;
    Json::Value out;
    record.toJsonFormat(out);
    return out;
}

// Four LUNs of different types and locations, in the library's order.
const char FOUR_LUNS[] = R"({"luns":[
    {"uuid":"u-thin","name":"thin","type":7,"location":"/volume1"},
    {"uuid":"u-blun","name":"blun","type":263,"location":"/volume2"},
    {"uuid":"u-block","name":"block","type":1,"location":"/dev/sdb"},
    {"uuid":"u-blun-thick","name":"thick","type":259,"location":"/volume1/"}]})";

class LUNListGetTopTest : public KOVATest::HandlerTest {
protected:
    void ScriptFourLuns() { Lib().Script("ISCSILIBLUN::ListLUN", 0, FOUR_LUNS); }
    // A fresh test whose LUN identifier resolves to U-1.
    void SetUpResolved()
    {
        SetUp();
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"U-1"})");
    }

    // The uuids of the LUNs of a list reply, in order.
    static std::string UuidsOf(const KOVA::APIResponse& r)
    {
        std::string uuids;
        for (const Json::Value& lun : r.GetData()["luns"])
            uuids += (uuids.empty() ? "" : ",") + lun["uuid"].asString();
        return uuids;
    }

    std::string ListedUuids(const std::string& params)
    {
        SetUp();
        ScriptFourLuns();
        auto r = Call(List, params);
        EXPECT_TRUE(r.HasSuccess()) << params << " " << Answer(r);
        return UuidsOf(r);
    }
};

// list

TEST_F(LUNListGetTopTest, ListWithoutParametersAnswersAllLUNsInTheLibrarysOrder)
{
    ScriptFourLuns();
    auto r = Call(List, "{}");
    Json::Value expected;
    expected["luns"] = Json::Value(Json::arrayValue);
    const Json::Value scripted = ParseJson(FOUR_LUNS);
    for (const Json::Value& lun : scripted["luns"])
        expected["luns"].append(RecordJson(lun));
    EXPECT_EQ(Answer(r), "success " + KOVA::toString(expected));
    EXPECT_EQ(LibCalls(), "ISCSILIBLUN::ListLUN([[],0])\n");
}

TEST_F(LUNListGetTopTest, ListOfNoLUNsAnswersAnEmptyArray)
{
    EXPECT_EQ(Answer(Call(List, "{}")), R"(success {"luns":[]})");
}

TEST_F(LUNListGetTopTest, ListWithTypeTextBlockInAnyCaseGivesOnlyBlockLUNs)
{
    for (const char* type : {"block", "Block", "BLOCK"})
        EXPECT_EQ(ListedUuids(std::string(R"({"type":")") + type + "\"}"), "u-block") << type;
}

TEST_F(LUNListGetTopTest, ListWithATypeNumberThatIsAnIdGivesOnlyThatType)
{
    EXPECT_EQ(ListedUuids(R"({"type":263})"), "u-blun");
    EXPECT_EQ(ListedUuids(R"({"type":"259"})"), "u-blun-thick");
}

TEST_F(LUNListGetTopTest, ListWithATypeTextThatNamesNoTypeAnswers18990500WithoutListing)
{
    for (const char* type : {R"("nonsense")", R"("")", "8", "true"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(List, std::string(R"({"type":)") + type + "}")), "error 18990500") << type;
        EXPECT_EQ(LibCalls(), "") << type;
    }
}

TEST_F(LUNListGetTopTest, ListWithTypesHoldingANumberThatIsNoIdAnswers18990619)
{
    EXPECT_EQ(Answer(Call(List, R"({"types":[7,2]})")), "error 18990619");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(LUNListGetTopTest, ListWithTypesHoldingAnUnknownTextOrNeitherNumberNorTextAnswers18990619)
{
    for (const char* types : {R"(["BLUN","nope"])", "[true]", "[{}]", "[null]", "[263.5]", "[[263]]"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(List, std::string(R"({"types":)") + types + "}")), "error 18990619") << types;
        EXPECT_EQ(LibCalls(), "") << types;
    }
}

TEST_F(LUNListGetTopTest, ListWithTypesHoldingTextBlunAndNumber263GivesEachBlunOnce)
{
    EXPECT_EQ(ListedUuids(R"({"types":["BLUN",263]})"), "u-blun");
    EXPECT_EQ(ListedUuids(R"({"types":["blun_thick","7",263]})"), "u-thin,u-blun,u-blun-thick");
}

TEST_F(LUNListGetTopTest, ListWithAnEmptyTypesArrayFiltersNothing)
{
    EXPECT_EQ(ListedUuids(R"({"types":[]})"), "u-thin,u-blun,u-block,u-blun-thick");
}

TEST_F(LUNListGetTopTest, ListAppliesTheSingleTypeAndTheSetOfTypesTogether)
{
    EXPECT_EQ(ListedUuids(R"({"type":263,"types":[7]})"), "");
    EXPECT_EQ(ListedUuids(R"({"type":"BLUN","types":[7,263]})"), "u-blun");
}

TEST_F(LUNListGetTopTest, ListWithCategoryKeepsTypesThatHaveEveryBitOfIt)
{
    EXPECT_EQ(ListedUuids(R"({"category":256})"), "u-blun,u-blun-thick");
    EXPECT_EQ(ListedUuids(R"({"category":4})"), "u-thin,u-blun");
    EXPECT_EQ(ListedUuids(R"({"category":260})"), "u-blun");
    EXPECT_EQ(ListedUuids(R"({"category":1})"), "u-thin,u-blun,u-block,u-blun-thick");
}

TEST_F(LUNListGetTopTest, ListWithCategory0IsRefusedWith18990602)
{
    for (const char* category : {"0", "-4", R"("256")"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(List, std::string(R"({"category":)") + category + "}")), "error 18990602")
            << category;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(LUNListGetTopTest, ListWithALocationComparesWholeTexts)
{
    EXPECT_EQ(ListedUuids(R"({"location":"/volume1"})"), "u-thin");
    EXPECT_EQ(ListedUuids(R"({"location":"/volume1/"})"), "u-blun-thick");
    EXPECT_EQ(ListedUuids(R"({"location":"/volume"})"), "");
    EXPECT_EQ(ListedUuids(R"({"location":""})"), "u-thin,u-blun,u-block,u-blun-thick");
}

TEST_F(LUNListGetTopTest, ListCombinesAllFilters)
{
    EXPECT_EQ(ListedUuids(R"({"types":[7,263,259],"category":256,"location":"/volume2"})"), "u-blun");
}

TEST_F(LUNListGetTopTest, ListTurnsTheNamesItKnowsIntoTheLoadFlagWord)
{
    Call(List, R"({"additional":["is_action_locked","is_mapped","extent_size","allocated_size","status",
                   "allow_bkpobj","storage_manager","sync_progress","flashcache_status","family_config",
                   "sub_vol_info","snapshot_info"]})");
    EXPECT_EQ(LibCalls(), "ISCSILIBLUN::ListLUN([[]," + std::to_string(0x36B3E) + "])\n");
}

TEST_F(LUNListGetTopTest, ListIgnoresNamesOnlyGetKnowsAndUnknownNames)
{
    Call(List, R"({"additional":["is_vhost_mapped","is_bound","import_status","whitelist",
                   "remote_clone_progress","IS_MAPPED","nothing",5]})");
    EXPECT_EQ(LibCalls(), "ISCSILIBLUN::ListLUN([[],0])\n");
}

TEST_F(LUNListGetTopTest, ListShowsTheLoadedFactsOfEachLUN)
{
    Lib().Script("ISCSILIBLUN::ListLUN", 0, R"({"luns":[{"uuid":"u","type":7,"is_mapped":true}]})");
    auto r = Call(List, R"({"additional":["is_mapped"]})");
    EXPECT_EQ(r.GetData()["luns"][0]["is_mapped"], Json::Value(true));
    EXPECT_EQ(r.GetData()["luns"][0],
              RecordJson(ParseJson(R"({"uuid":"u","type":7,"is_mapped":true})"), 0x4));
}

TEST_F(LUNListGetTopTest, ListPassesALibraryFailureOnWithNullDataAndOnlyAnErrorLine)
{
    Lib().Script("ISCSILIBLUN::ListLUN", 18990510, FOUR_LUNS);
    auto r = Call(List, R"({"location":"/volume1"})");
    EXPECT_EQ(Answer(r), "error 18990510");
    EXPECT_FALSE(r.HasSuccess());
    EXPECT_EQ(Log(), ErrorLine("List", 18990510, R"({"location":"/volume1"})"));
}

TEST_F(LUNListGetTopTest, ListWritesNoLogLineOnSuccess)
{
    ScriptFourLuns();
    Call(List, R"({"type":"THIN"})");
    EXPECT_EQ(Log(), "");
}

TEST_F(LUNListGetTopTest, ListRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"additional":"status"})", 18990517}, {R"({"additional":{}})", 18990517},
        {R"({"types":"BLUN"})", 18990619},        {R"({"types":263})", 18990619},
        {R"({"category":"256"})", 18990602},      {R"({"category":1.5})", 18990602},
        {R"({"location":5})", 18990501},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(List, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(LUNListGetTopTest, ListTestsAdditionalTypesCategoryLocationInThatOrderAndTheTypeAfterThem)
{
    EXPECT_EQ(Answer(Call(List, R"({"location":1,"category":0,"types":1,"additional":1,"type":"x"})")),
              "error 18990517");
    EXPECT_EQ(Answer(Call(List, R"({"location":1,"category":0,"types":1,"type":"x"})")), "error 18990619");
    EXPECT_EQ(Answer(Call(List, R"({"location":1,"category":0,"type":"x"})")), "error 18990602");
    EXPECT_EQ(Answer(Call(List, R"({"location":1,"type":"x"})")), "error 18990501");
    EXPECT_EQ(Answer(Call(List, R"({"type":"x","types":[2]})")), "error 18990500");
    EXPECT_EQ(Answer(Call(List, R"({"type":"THIN","types":[2]})")), "error 18990619");
}

// get

TEST_F(LUNListGetTopTest, GetResolvesTheUuidLoadsTheLUNAndAnswersItsRecord)
{
    SetUpResolved();
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 0,
                 R"({"ISCSILIBLUN::name":"lun1","ISCSILIBLUN::type":7,"ISCSILIBLUN::location":"/volume1",
                     "ISCSILIBLUN::size":1073741824})");
    auto r = Call(Get, R"({"uuid":"lun1"})");
    ISCSI::ISCSILUNInfo record("U-1");
    record.name = "lun1";
    record.type = ISCSI_LUN_TYPE_THIN;
    record.location = "/volume1";
    record.size = 1073741824;
    Json::Value expected;
    record.toJsonFormat(expected["lun"]);
    EXPECT_EQ(Answer(r), "success " + KOVA::toString(expected));
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n"
                          "ISCSILIBLUN::ISCSILIBLUN([\"U-1\",false,false,false])\n"
                          "ISCSILIBLUN::loadLUNInfo([0])\n");
}

TEST_F(LUNListGetTopTest, GetTurnsTheNamesItKnowsIntoTheLoadFlagWord)
{
    SetUpResolved();
    Call(Get, R"({"uuid":"lun1","additional":["is_action_locked","is_mapped","extent_size","allocated_size",
                  "status","is_vhost_mapped","is_bound","import_status","sync_progress","whitelist",
                  "flashcache_status","family_config","remote_clone_progress","sub_vol_info"]})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::loadLUNInfo")[0].args),
              "[" + std::to_string(0x1FCFE) + "]");
}

TEST_F(LUNListGetTopTest, GetWithANameOnlyListKnowsIsTheSameAsWithoutIt)
{
    SetUpResolved();
    auto without = Call(Get, R"({"uuid":"lun1"})");
    const std::string calls = LibCalls();
    SetUpResolved();
    auto with =
        Call(Get, R"({"uuid":"lun1","additional":["snapshot_info","allow_bkpobj","storage_manager","x"]})");
    EXPECT_EQ(LibCalls(), calls);
    EXPECT_EQ(Answer(with), Answer(without));
}

TEST_F(LUNListGetTopTest, GetWithImportStatusAddsTheImportProgressBesideTheLUN)
{
    SetUpResolved();
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 0,
                 R"({"ISCSILIBLUN::import_total":8589934592,"ISCSILIBLUN::import_done":4294967297,
                     "ISCSILIBLUN::import_errno":-5})");
    auto r = Call(Get, R"({"uuid":"lun1","additional":["import_status"]})");
    const Json::Value data = r.GetData();
    EXPECT_EQ(data.getMemberNames(),
              (std::vector<std::string>{"import_done", "import_errno", "import_total", "lun"}));
    EXPECT_EQ(data["import_total"].asUInt64(), 8589934592ull);
    EXPECT_EQ(data["import_done"].asUInt64(), 4294967297ull);
    EXPECT_EQ(data["import_errno"], Json::Value(-5));
    EXPECT_EQ(data["lun"]["import_total"].asUInt64(), 8589934592ull);
}

TEST_F(LUNListGetTopTest, GetWithSyncProgressAddsTheSyncProgress)
{
    SetUpResolved();
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 0,
                 R"({"ISCSILIBLUN::sync_total":100,"ISCSILIBLUN::sync_done":18446744073709551615,
                     "ISCSILIBLUN::sync_errno":3})");
    auto r = Call(Get, R"({"uuid":"lun1","additional":["sync_progress"]})");
    const Json::Value data = r.GetData();
    EXPECT_EQ(data.getMemberNames(),
              (std::vector<std::string>{"lun", "sync_done", "sync_errno", "sync_total"}));
    EXPECT_EQ(data["sync_total"].asUInt64(), 100u);
    EXPECT_EQ(data["sync_done"].asUInt64(), 18446744073709551615ull);
    EXPECT_EQ(data["sync_errno"], Json::Value(3));
}

TEST_F(LUNListGetTopTest, GetWithRemoteCloneProgressAddsItsFiveValues)
{
    SetUpResolved();
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 0,
                 R"({"ISCSILIBLUN::rmt_clone_total":10,"ISCSILIBLUN::rmt_clone_done":6,
                     "ISCSILIBLUN::rmt_clone_sent":7,"ISCSILIBLUN::rmt_clone_errno":0,
                     "ISCSILIBLUN::rmt_clone_status":2})");
    auto r = Call(Get, R"({"uuid":"lun1","additional":["remote_clone_progress"]})");
    Json::Value data = r.GetData();
    data.removeMember("lun");
    EXPECT_EQ(KOVA::toString(data), R"({"rmt_clone_done":6,"rmt_clone_errno":0,"rmt_clone_sent":7,)"
                                    R"("rmt_clone_status":2,"rmt_clone_total":10})");
}

TEST_F(LUNListGetTopTest, GetWithSubVolInfoAddsTreeSizeAndLevel)
{
    SetUpResolved();
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 0,
                 R"({"ISCSILIBLUN::tree_size":5368709120,"ISCSILIBLUN::tree_level":4})");
    auto r = Call(Get, R"({"uuid":"lun1","additional":["sub_vol_info"]})");
    Json::Value data = r.GetData();
    data.removeMember("lun");
    EXPECT_EQ(KOVA::toString(data), R"({"tree_level":4,"tree_size":5368709120})");
}

TEST_F(LUNListGetTopTest, GetWithWhitelistAddsTheWhitelistInOrder)
{
    SetUpResolved();
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 0,
                 R"({"ISCSILIBLUN::whitelist":["10.0.0.2","fe80::1","10.0.0.1"]})");
    auto r = Call(Get, R"({"uuid":"lun1","additional":["whitelist"]})");
    EXPECT_EQ(KOVA::toString(r.GetData()["whitelist"]), R"(["10.0.0.2","fe80::1","10.0.0.1"])");
}

TEST_F(LUNListGetTopTest, GetWithWhitelistAndAnEmptyWhitelistAnswersAnEmptyArray)
{
    SetUpResolved();
    auto r = Call(Get, R"({"uuid":"lun1","additional":["whitelist"]})");
    EXPECT_TRUE(r.GetData()["whitelist"].isArray());
    EXPECT_EQ(KOVA::toString(r.GetData()["whitelist"]), "[]");
}

TEST_F(LUNListGetTopTest, GetWithoutTheNamesAddsNoKeysBesideTheLUN)
{
    SetUpResolved();
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 0,
                 R"({"ISCSILIBLUN::sync_total":100,"ISCSILIBLUN::whitelist":["a"]})");
    auto r = Call(Get, R"({"uuid":"lun1","additional":["status","is_mapped"]})");
    EXPECT_EQ(r.GetData().getMemberNames(), std::vector<std::string>{"lun"});
}

TEST_F(LUNListGetTopTest, GetPassesAFailureToResolveTheUuidOnWithoutLoading)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    EXPECT_EQ(Answer(Call(Get, R"({"uuid":"gone"})")), "error 18990505");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"gone\",\"\"])\n");
}

TEST_F(LUNListGetTopTest, GetPassesALoadFailureOnWithNullData)
{
    SetUpResolved();
    Lib().Script("ISCSILIBLUN::loadLUNInfo", 18990510, R"({"ISCSILIBLUN::sync_total":1})");
    auto r = Call(Get, R"({"uuid":"lun1","additional":["sync_progress"]})");
    EXPECT_EQ(Answer(r), "error 18990510");
    EXPECT_FALSE(r.HasSuccess());
}

TEST_F(LUNListGetTopTest, GetRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    SetUpResolved();
    const std::pair<const char*, int> cases[] = {
        {R"({})", 18990505},
        {R"({"uuid":""})", 18990505},
        {R"({"uuid":5})", 18990505},
        {R"({"uuid":"l","additional":"whitelist"})", 18990517},
        {R"({"uuid":"l","additional":{"whitelist":true}})", 18990517},
    };
    for (const auto& c : cases) {
        SetUpResolved();
        EXPECT_EQ(Answer(Call(Get, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(LUNListGetTopTest, GetTestsUuidBeforeAdditional)
{
    SetUpResolved();
    EXPECT_EQ(Answer(Call(Get, R"({"uuid":"","additional":1})")), "error 18990505");
}

TEST_F(LUNListGetTopTest, GetWritesOnlyTheErrorLineOfAFailureAndNothingOnSuccess)
{
    SetUpResolved();
    Call(Get, R"({"uuid":"lun1"})");
    EXPECT_EQ(Log(), "");
    SetUpResolved();
    Call(Get, R"({"uuid":"lun1","additional":"x"})");
    EXPECT_EQ(Log(), ErrorLine("Get", 18990517, R"({"uuid":"lun1","additional":"x"})"));
}

// top

TEST_F(LUNListGetTopTest, TopFillsIostatsFromTheLibraryWithTheDefaults)
{
    Lib().Script("ISCSILUNInfo::ListIOStat", 0, R"({"iostats":{"read_iops":5,"write_iops":7}})");
    auto r = Call(Top, "{}");
    EXPECT_EQ(Answer(r), R"(success {"iostats":{"read_iops":5,"write_iops":7}})");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::ListIOStat([null,false,null,null])\n");
}

TEST_F(LUNListGetTopTest, TopPassesObjectFilterAndUuidsAsGiven)
{
    Call(Top, R"({"object":true,"filter":{"attr":"name","value":"lun1"},"uuids":["u-1","u-2"]})");
    EXPECT_EQ(
        LibCalls(),
        "ISCSILUNInfo::ListIOStat([null,true,{\"attr\":\"name\",\"value\":\"lun1\"},[\"u-1\",\"u-2\"]])\n");
}

TEST_F(LUNListGetTopTest, TopWithParametersOfTheWrongJsonTypeDoesNotFailAndPassesDefaults)
{
    auto r = Call(Top, R"({"object":"yes","filter":["name"],"uuids":{"a":1}})");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::ListIOStat([null,false,null,null])\n");
    EXPECT_EQ(Log(), "");
}

TEST_F(LUNListGetTopTest, TopPassesALibraryFailureOnWithNullDataAndOnlyAnErrorLine)
{
    Lib().Script("ISCSILUNInfo::ListIOStat", 18990510, R"({"iostats":{"a":1}})");
    auto r = Call(Top, R"({"object":false})");
    EXPECT_EQ(Answer(r), "error 18990510");
    EXPECT_EQ(Log(), ErrorLine("Top", 18990510, R"({"object":false})"));
}

} // namespace
