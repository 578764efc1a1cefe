// Whitelists and defragmentation of a LUN against the recording double: what reaches the
// storage library, what the caller gets back, and what the system log shows.
#include "LUNHandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;
using namespace KOVATest::LUNTests;

class LUNWhitelistDefragTest : public LUNHandlerTest {};

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
