// Target list and get against the recording double: the LUN filter, the load flags of
// `additional`, the records in the reply, and the absence of a debug line.
#include "HandlerTest.h"

#include "target/WebAPIServerTarget.h"

namespace {

using namespace ISCSI::WebAPI::APITarget;
using KOVATest::Answer;

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerTarget.cpp", function, code, params);
}

class TargetListGetTest : public KOVATest::HandlerTest {
protected:
    // The next ListTarget answers these two records.
    void ScriptTwoTargets()
    {
        Lib().Script("ISCSILIBTarget::ListTarget", 0,
                     R"({"targets":[{"target_id":3,"name":"t3","iqn":"iqn.2024-01.x:t3"},)"
                     R"({"target_id":1,"name":"t1","iqn":"iqn.2024-01.x:t1"}]})");
    }
};

// list

TEST_F(TargetListGetTest, ListWithNoParametersResolvesTheEmptyTextAndListsWithEmptyUuidAndFlags0)
{
    auto r = Call(List, "{}");
    EXPECT_EQ(Answer(r), R"(success {"targets":[]})");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"\",\"\"])\n"
                          "ISCSILIBTarget::ListTarget([[],\"\",0])\n");
}

TEST_F(TargetListGetTest, ListPassesTheResolvedLUNUuidNotTheRequestsText)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d"})");
    Call(List, R"({"lun_uuid":"lun-1"})");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun-1\",\"\"])\n"
                          "ISCSILIBTarget::ListTarget([[],\"0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d\",0])\n");
}

TEST_F(TargetListGetTest, ListWithLunUuidSentEmptyAnswers18990505UnlikeLeavingItOut)
{
    auto r = Call(List, R"({"lun_uuid":""})");
    EXPECT_EQ(Answer(r), "error 18990505");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetListGetTest, ListWithALunUuidThatIsNoStringAnswers18990505)
{
    for (const char* value : {"7", "true", "[\"a\"]", "{}"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(List, std::string(R"({"lun_uuid":)") + value + "}")), "error 18990505")
            << value;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(TargetListGetTest, ListWithAnUnknownLUNAnswersTheResolversCodeWithoutListing)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    auto r = Call(List, R"({"lun_uuid":"nope"})");
    EXPECT_EQ(Answer(r), "error 18990505");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"nope\",\"\"])\n");
}

TEST_F(TargetListGetTest, ListWithAclsAndAnUnknownWordPassesFlags4)
{
    Call(List, R"({"additional":["acls","colour"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ListTarget")[0].args[2].asInt(), 4);
}

TEST_F(TargetListGetTest, ListWithAclsInCapitalsPassesFlags0)
{
    Call(List, R"({"additional":["ACLS"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ListTarget")[0].args[2].asInt(), 0);
}

TEST_F(TargetListGetTest, EachAdditionalWordSetsItsOwnFlag)
{
    const std::pair<const char*, int> words[] = {
        {"mapped_lun", 2}, {"acls", 4}, {"connected_sessions", 8}, {"status", 16}};
    for (const auto& word : words) {
        SetUp();
        Call(List, std::string(R"({"additional":[")") + word.first + "\"]}");
        EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ListTarget")[0].args[2].asInt(), word.second) << word.first;
    }
    SetUp();
    Call(List, R"({"additional":["status","mapped_lun","connected_sessions","acls","acls"]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ListTarget")[0].args[2].asInt(), 30);
}

TEST_F(TargetListGetTest, ListWithNoTargetsAnswersAnEmptyArrayNotNull)
{
    auto r = Call(List, "{}");
    ASSERT_TRUE(r.HasSuccess());
    EXPECT_TRUE(r.GetData()["targets"].isArray());
    EXPECT_EQ(r.GetData()["targets"].size(), 0u);
}

TEST_F(TargetListGetTest, ListAnswersTheRecordsInTheOrderOfTheLibrary)
{
    ScriptTwoTargets();
    auto r = Call(List, "{}");
    ASSERT_TRUE(r.HasSuccess());
    const Json::Value& targets = r.GetData()["targets"];
    ASSERT_EQ(targets.size(), 2u);
    EXPECT_EQ(targets[0]["target_id"].asUInt(), 3u);
    EXPECT_EQ(targets[0]["name"].asString(), "t3");
    EXPECT_EQ(targets[1]["target_id"].asUInt(), 1u);
    EXPECT_EQ(targets[1]["iqn"].asString(), "iqn.2024-01.x:t1");
    EXPECT_EQ(r.GetData().getMemberNames(), std::vector<std::string>{"targets"});
}

TEST_F(TargetListGetTest, ListRecordsHoldTheGroupsThatAdditionalAskedFor)
{
    ScriptTwoTargets();
    auto r = Call(List, R"({"additional":["acls","status"]})");
    const Json::Value& first = r.GetData()["targets"][0];
    EXPECT_TRUE(first["acls"].isArray());
    EXPECT_EQ(first["status"].asString(), "unknown");
    EXPECT_FALSE(first.isMember("mapped_luns"));
    EXPECT_FALSE(first.isMember("connected_sessions"));
}

TEST_F(TargetListGetTest, ListWithAdditionalThatIsNoArrayAnswers18990517)
{
    for (const char* value : {R"("acls")", "4", "{}", R"({"acls":true})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(List, std::string(R"({"additional":)") + value + "}")), "error 18990517")
            << value;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(TargetListGetTest, ListChecksLunUuidBeforeAdditional)
{
    EXPECT_EQ(Answer(Call(List, R"({"lun_uuid":"","additional":"x"})")), "error 18990505");
}

TEST_F(TargetListGetTest, ListPassesAListingFailureOnWithoutTheRecordsItGot)
{
    Lib().Script("ISCSILIBTarget::ListTarget", 18990710, R"({"targets":[{"target_id":3}]})");
    auto r = Call(List, "{}");
    EXPECT_EQ(Answer(r), "error 18990710");
    EXPECT_FALSE(r.HasSuccess());
}

TEST_F(TargetListGetTest, ListWritesNoDebugLineOnSuccess)
{
    ScriptTwoTargets();
    Call(List, R"({"additional":["acls"]})");
    EXPECT_EQ(Log(), "");
}

TEST_F(TargetListGetTest, AFailedListWritesOnlyTheErrorLine)
{
    Call(List, R"({"lun_uuid":""})");
    EXPECT_EQ(Log(), ErrorLine("List", 18990505, R"({"lun_uuid":""})"));
}

// get

TEST_F(TargetListGetTest, GetResolvesTheTargetLoadsItWithTheFlagsAndAnswersItsRecord)
{
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":7})");
    Lib().Script(
        "ISCSILIBTarget::loadTargetInfo", 0,
        R"({"ISCSILIBTarget::tid":7,"ISCSILIBTarget::name":"seven","ISCSILIBTarget::iqn":"iqn.x:7"})");
    auto r = Call(Get, R"({"target_id":"7","additional":["mapped_lun","status"]})");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"7\",0])\n"
                          "ISCSILIBTarget::ISCSILIBTarget([7])\n"
                          "ISCSILIBTarget::loadTargetInfo([18])\n");
    ASSERT_TRUE(r.HasSuccess());
    EXPECT_EQ(r.GetData().getMemberNames(), std::vector<std::string>{"target"});
    const Json::Value& target = r.GetData()["target"];
    EXPECT_EQ(target["target_id"].asUInt(), 7u);
    EXPECT_EQ(target["name"].asString(), "seven");
    EXPECT_EQ(target["iqn"].asString(), "iqn.x:7");
    EXPECT_TRUE(target["mapped_luns"].isArray());
    EXPECT_TRUE(target.isMember("status"));
    EXPECT_FALSE(target.isMember("acls"));
}

TEST_F(TargetListGetTest, GetWithoutAdditionalLoadsWithFlags0)
{
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":2})");
    Call(Get, R"({"target_id":"2"})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::loadTargetInfo")[0].args[0].asInt(), 0);
}

TEST_F(TargetListGetTest, GetWithAnUnknownTargetAnswersTheResolversCodeAndBuildsNoObject)
{
    Lib().Script("ISCSITargetInfo::GetTid", 18990710);
    auto r = Call(Get, R"({"target_id":"99"})");
    EXPECT_EQ(Answer(r), "error 18990710");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"99\",0])\n");
}

TEST_F(TargetListGetTest, GetPassesALoadFailureOnWithoutData)
{
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":2})");
    Lib().Script("ISCSILIBTarget::loadTargetInfo", 18990204);
    auto r = Call(Get, R"({"target_id":"2"})");
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_FALSE(r.HasSuccess());
}

TEST_F(TargetListGetTest, GetWithTargetIdMissingEmptyOrNoStringAnswers18990710)
{
    for (const char* params : {"{}", R"({"target_id":""})", R"({"target_id":7})", R"({"target_id":["7"]})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(Get, params)), "error 18990710") << params;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(TargetListGetTest, GetWithAdditionalThatIsNoArrayAnswers18990517)
{
    for (const char* value : {R"("acls")", "4", "{}"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(Get, std::string(R"({"target_id":"1","additional":)") + value + "}")),
                  "error 18990517")
            << value;
    }
}

TEST_F(TargetListGetTest, GetWithABadAdditionalAndAnUnknownTargetAnswers18990517BeforeResolving)
{
    Lib().Script("ISCSITargetInfo::GetTid", 18990710);
    EXPECT_EQ(Answer(Call(Get, R"({"target_id":"99","additional":"acls"})")), "error 18990517");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetListGetTest, GetChecksTargetIdBeforeAdditional)
{
    EXPECT_EQ(Answer(Call(Get, R"({"target_id":"","additional":5})")), "error 18990710");
}

TEST_F(TargetListGetTest, GetWritesNoDebugLineOnSuccessAndOnlyTheErrorLineOnFailure)
{
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":2})");
    Call(Get, R"({"target_id":"2"})");
    EXPECT_EQ(Log(), "");
    SetUp();
    Lib().Script("ISCSITargetInfo::GetTid", 18990710);
    Call(Get, R"({"target_id":"x"})");
    EXPECT_EQ(Log(), ErrorLine("Get", 18990710, R"({"target_id":"x"})"));
}

} // namespace
