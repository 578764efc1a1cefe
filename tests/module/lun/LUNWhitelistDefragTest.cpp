// Whitelists and defragmentation of a LUN against the recording double: what reaches the
// storage library, what the caller gets back, and what the system log shows.
#include "HandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;

// The source of the handlers, as their log lines name it.
const std::string SOURCE = "WebAPIServerLUN.cpp";

const std::string LUN_UUID = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";

// The compact text of a parameter object, as the log lines show it.
std::string Text(const std::string& json)
{
    return KOVA::toString(ParseJson(json));
}

std::string DebugLine(const std::string& function, const std::string& params)
{
    return "<7> [D] iSCSIWebAPI:" + SOURCE + ":L:" + function + " " + Text(params) + "\n";
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return "<3> [E] iSCSIWebAPI:" + SOURCE + ":L:" + function + " error code: " + std::to_string(code) +
           " (" + KOVAiSCSIStrError(code) + ") [" + Text(params) + "]\n";
}

// params with key set to the JSON value text, or without key when value is empty.
std::string With(const std::string& params, const std::string& key, const std::string& value)
{
    Json::Value j = ParseJson(params);
    if (value.empty())
        j.removeMember(key);
    else
        j[key] = ParseJson("{\"v\":" + value + "}")["v"];
    return KOVA::toString(j);
}

Json::Value Out(const std::string& name, const Json::Value& value)
{
    Json::Value out(Json::objectValue);
    out[name] = value;
    return out;
}

// A parameter given with a bad value and the code the method answers for it.
struct Refusal {
    const char* key;
    const char* value; // JSON text; empty: the key is left out
    int code;
};

class LUNWhitelistDefragTest : public KOVATest::HandlerTest {
protected:
    void ResolveLun(const std::string& uuid = LUN_UUID)
    {
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Out("uuid", uuid));
    }
    // Each refusal answers its code before any library call, with the method's log lines.
    void ExpectRefusals(KOVA::APIHandler handler, const std::string& function, bool hasDebugLine,
                        const std::string& valid, const std::vector<Refusal>& refusals)
    {
        for (const Refusal& refusal : refusals) {
            SetUp();
            const std::string params = With(valid, refusal.key, refusal.value);
            auto r = Call(handler, params);
            EXPECT_EQ(Answer(r), "error " + std::to_string(refusal.code)) << params;
            EXPECT_EQ(LibCalls(), "") << params;
            EXPECT_EQ(Log(), (hasDebugLine ? DebugLine(function, params) : std::string()) +
                                 ErrorLine(function, refusal.code, params))
                << params;
        }
    }

    // Starting from params, each step mends one parameter; the answer is then the code of the
    // next parameter that is still bad.
    void ExpectCheckOrder(KOVA::APIHandler handler, std::string params, const std::vector<Refusal>& steps)
    {
        for (const Refusal& step : steps) {
            SetUp();
            EXPECT_EQ(Answer(Call(handler, params)), "error " + std::to_string(step.code)) << params;
            EXPECT_EQ(LibCalls(), "") << params;
            params = With(params, step.key, step.value);
        }
    }
};

std::string LunObject(const std::string& uuid = LUN_UUID)
{
    return "ISCSILIBLUN::ISCSILIBLUN([\"" + uuid + "\",false,false,false])\n";
}

std::string AddrType(const std::string& address)
{
    return "KOVANetGetAddrType([\"" + address + "\"])\n";
}

const std::string RESOLVE = "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n";

// set_whitelist

TEST_F(LUNWhitelistDefragTest, SetWhitelistChecksEachAddressThenReplacesTheLUNsListInRequestOrder)
{
    ResolveLun();
    const std::string params = R"({"uuid":"lun1","whitelist":["192.168.1.20","fe80::1","10.0.0.1"]})";
    EXPECT_EQ(Answer(Call(SetWhitelist, params)), "success null");
    EXPECT_EQ(LibCalls(), AddrType("192.168.1.20") + AddrType("fe80::1") + AddrType("fe80::1") +
                              AddrType("10.0.0.1") + RESOLVE + LunObject() +
                              "ISCSILIBLUN::setWhitelist([[\"192.168.1.20\",\"fe80::1\",\"10.0.0.1\"]])\n");
    EXPECT_EQ(Log(), DebugLine("SetWhitelist", params));
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistAsksTheAddressTypeASecondTimeForTheIPv6Comparison)
{
    ResolveLun();
    Lib().Script("KOVANetGetAddrType", 3);
    Lib().Script("KOVANetGetAddrType", 10);
    EXPECT_EQ(Answer(Call(SetWhitelist, R"({"uuid":"lun1","whitelist":["odd"]})")), "success null");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::setWhitelist")[0].args), R"([["odd"]])");
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistWithOneGoodAndOneBadAddressAnswers18990203AndKeepsTheOldList)
{
    const std::string params = R"({"uuid":"lun1","whitelist":["10.0.0.1","10.0.0.300"]})";
    EXPECT_EQ(Answer(Call(SetWhitelist, params)), "error 18990203");
    EXPECT_EQ(LibCalls(), AddrType("10.0.0.1") + AddrType("10.0.0.300") + AddrType("10.0.0.300"));
    EXPECT_EQ(Log(), DebugLine("SetWhitelist", params) + ErrorLine("SetWhitelist", 18990203, params));
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistWithAHostNameAnswers18990203)
{
    EXPECT_EQ(Answer(Call(SetWhitelist, R"({"uuid":"lun1","whitelist":["nas.example.com"]})")),
              "error 18990203");
    EXPECT_TRUE(Lib().CallsOf("ISCSILIBLUN::setWhitelist").empty());
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistWithAnEmptyEntryAnswers18990203WithoutAskingItsType)
{
    EXPECT_EQ(Answer(Call(SetWhitelist, R"({"uuid":"lun1","whitelist":["10.0.0.1","","::1"]})")),
              "error 18990203");
    EXPECT_EQ(LibCalls(), AddrType("10.0.0.1"));
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistWithoutTheKeyClearsTheList)
{
    ResolveLun();
    EXPECT_EQ(Answer(Call(SetWhitelist, R"({"uuid":"lun1"})")), "success null");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::setWhitelist([[]])\n");
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistKeepsDuplicatesAndTheTextsAsGiven)
{
    ResolveLun();
    Call(SetWhitelist, R"({"uuid":"lun1","whitelist":["::1","10.0.0.1","::1"]})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::setWhitelist")[0].args),
              R"([["::1","10.0.0.1","::1"]])");
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistLooksAtTheAddressesBeforeTheLUNSoABadAddressWinsOverAnUnknownLUN)
{
    Lib().ScriptAlways("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(SetWhitelist, R"({"uuid":"nothing","whitelist":["bad"]})")), "error 18990203");
    EXPECT_TRUE(Lib().CallsOf("ISCSILUNInfo::GetLunUuid").empty());
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistOfAnUnknownLUNWithGoodAddressesAnswersTheResolversCode)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(SetWhitelist, R"({"uuid":"lun1","whitelist":["10.0.0.1"]})")), "error 18990501");
    EXPECT_EQ(LibCalls(), AddrType("10.0.0.1") + RESOLVE);
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistPassesALibraryFailureOn)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::setWhitelist", 18990206);
    EXPECT_EQ(Answer(Call(SetWhitelist, R"({"uuid":"lun1","whitelist":["10.0.0.1"]})")), "error 18990206");
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistRefusesABadUuidAndAWhitelistThatIsNoArrayOrEmpty)
{
    ExpectRefusals(SetWhitelist, "SetWhitelist", true, R"({"uuid":"lun1","whitelist":["10.0.0.1"]})",
                   {{"uuid", "", 18990505},
                    {"uuid", R"("")", 18990505},
                    {"uuid", "5", 18990505},
                    {"whitelist", "[]", 18990402},
                    {"whitelist", R"("10.0.0.1")", 18990402},
                    {"whitelist", R"({"ip":"10.0.0.1"})", 18990402}});
}

TEST_F(LUNWhitelistDefragTest, SetWhitelistChecksTheUuidBeforeTheWhitelist)
{
    ExpectCheckOrder(SetWhitelist, R"({"whitelist":[]})",
                     {{"uuid", R"("lun1")", 18990505}, {"whitelist", R"(["10.0.0.1"])", 18990402}});
}

// defrag

TEST_F(LUNWhitelistDefragTest, DefragWithoutBackgroundStartsInTheBackground)
{
    ResolveLun();
    const std::string params = R"({"uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(Defrag, params)), "success null");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::startDefrag([true])\n");
    EXPECT_EQ(Log(), DebugLine("Defrag", params));
}

TEST_F(LUNWhitelistDefragTest, DefragWithBackgroundFalseRunsInTheForeground)
{
    ResolveLun();
    EXPECT_EQ(Answer(Call(Defrag, R"({"uuid":"lun1","background":false})")), "success null");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::startDefrag([false])\n");
}

TEST_F(LUNWhitelistDefragTest, DefragWithBackgroundOfAWrongTypeIsNoErrorAndStartsInTheBackground)
{
    for (const char* background : {R"("no")", "0", "null", "[]"}) {
        SetUp();
        ResolveLun();
        auto r = Call(Defrag, With(R"({"uuid":"lun1"})", "background", background));
        EXPECT_EQ(Answer(r), "success null") << background;
        EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::startDefrag([true])\n") << background;
    }
}

TEST_F(LUNWhitelistDefragTest, DefragOfAnUnknownLUNOrAFailedStartAnswersTheCode)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    const std::string params = R"({"uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(Defrag, params)), "error 18990501");
    EXPECT_EQ(LibCalls(), RESOLVE);
    EXPECT_EQ(Log(), DebugLine("Defrag", params) + ErrorLine("Defrag", 18990501, params));
    SetUp();
    ResolveLun();
    Lib().Script("ISCSILIBLUN::startDefrag", 18990540);
    EXPECT_EQ(Answer(Call(Defrag, params)), "error 18990540");
}

TEST_F(LUNWhitelistDefragTest, DefragRefusesAMissingEmptyOrWronglyTypedUuid)
{
    ExpectRefusals(Defrag, "Defrag", true, R"({"uuid":"lun1","background":"x"})",
                   {{"uuid", "", 18990505}, {"uuid", R"("")", 18990505}, {"uuid", "5", 18990505}});
}

// stop_defrag

TEST_F(LUNWhitelistDefragTest, StopDefragStopsWithoutWaiting)
{
    ResolveLun();
    const std::string params = R"({"uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(StopDefrag, params)), "success null");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::stopDefrag([false])\n");
    EXPECT_EQ(Log(), DebugLine("StopDefrag", params));
}

TEST_F(LUNWhitelistDefragTest, StopDefragOfAnUnknownLUNOrAFailedStopAnswersTheCode)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(StopDefrag, R"({"uuid":"lun1"})")), "error 18990501");
    EXPECT_EQ(LibCalls(), RESOLVE);
    SetUp();
    ResolveLun();
    Lib().Script("ISCSILIBLUN::stopDefrag", 18990541);
    EXPECT_EQ(Answer(Call(StopDefrag, R"({"uuid":"lun1"})")), "error 18990541");
}

TEST_F(LUNWhitelistDefragTest, StopDefragRefusesAMissingEmptyOrWronglyTypedUuid)
{
    ExpectRefusals(StopDefrag, "StopDefrag", true, R"({"uuid":"lun1"})",
                   {{"uuid", "", 18990505}, {"uuid", R"("")", 18990505}, {"uuid", "false", 18990505}});
}

} // namespace
