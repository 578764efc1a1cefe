// Target ACL masks against the recording double: the numeric id of acl_masks_set, the
// permission words and the last-wins map of acl_masks_add, its silent end on an unknown
// permission, and the set of acl_masks_remove.
#include "HandlerTest.h"

#include "target/WebAPIServerTarget.h"

#include <utility>

namespace {

using namespace ISCSI::WebAPI::APITarget;
using KOVATest::Answer;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerTarget.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerTarget.cpp", function, code, params);
}

class TargetACLMasksTest : public KOVATest::HandlerTest {
protected:
    void ResolveTargetTo(int tid)
    {
        Lib().Script("ISCSITargetInfo::GetTid", 0, "{\"tid\":" + std::to_string(tid) + "}");
    }
};

// acl_masks_set

TEST_F(TargetACLMasksTest, SetMasksUsesTheNumericIdWithoutResolvingAndHandsTheMasksThroughUnread)
{
    const std::string params = R"({"acls":[{"iqn":"iqn.a","permission":"rw"},{"whatever":1}],"target_id":4})";
    auto r = Call(ACLMasksSet, params);
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(
        LibCalls(),
        "ISCSILIBTarget::ISCSILIBTarget([4])\n"
        "ISCSILIBTarget::aclMasksSet([[{\"iqn\":\"iqn.a\",\"permission\":\"rw\"},{\"whatever\":1}]])\n");
    EXPECT_EQ(Log(), DebugLine("ACLMasksSet", params));
}

TEST_F(TargetACLMasksTest, SetMasksAcceptsTargetId1And1024AndRefuses0And1025With18990710)
{
    for (const char* id : {"1", "1024"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(ACLMasksSet, std::string(R"({"target_id":)") + id + R"(,"acls":[]})")),
                  "success null")
            << id;
        EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::ISCSILIBTarget")[0].args[0].asString(), id);
    }
    for (const char* id : {"0", "1025", "-1"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(ACLMasksSet, std::string(R"({"target_id":)") + id + R"(,"acls":[]})")),
                  "error 18990710")
            << id;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(TargetACLMasksTest, SetMasksWithTargetIdSentAsAStringAnswers18990710)
{
    EXPECT_EQ(Answer(Call(ACLMasksSet, R"({"target_id":"4","acls":[]})")), "error 18990710");
    EXPECT_EQ(Answer(Call(ACLMasksSet, R"({"acls":[]})")), "error 18990710");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetACLMasksTest, SetMasksWithAnEmptyAclsArrayCallsTheLibrary)
{
    EXPECT_EQ(Answer(Call(ACLMasksSet, R"({"target_id":2,"acls":[]})")), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILIBTarget::ISCSILIBTarget([2])\n"
                          "ISCSILIBTarget::aclMasksSet([[]])\n");
}

TEST_F(TargetACLMasksTest, SetMasksWithAclsMissingOrNoArrayAnswers18990711)
{
    for (const char* params :
         {R"({"target_id":2})", R"({"target_id":2,"acls":{}})", R"({"target_id":2,"acls":"rw"})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(ACLMasksSet, params)), "error 18990711") << params;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(TargetACLMasksTest, SetMasksChecksTargetIdBeforeAcls)
{
    EXPECT_EQ(Answer(Call(ACLMasksSet, R"({"target_id":0,"acls":"x"})")), "error 18990710");
}

TEST_F(TargetACLMasksTest, SetMasksPassesALibraryFailureOnWithTheErrorLine)
{
    Lib().Script("ISCSILIBTarget::aclMasksSet", 18990711);
    const std::string params = R"({"acls":[1],"target_id":2})";
    EXPECT_EQ(Answer(Call(ACLMasksSet, params)), "error 18990711");
    EXPECT_EQ(Log(), DebugLine("ACLMasksSet", params) + ErrorLine("ACLMasksSet", 18990711, params));
}

// acl_masks_add

TEST_F(TargetACLMasksTest, AddMasksResolvesTheTargetAndPassesEachPermissionAsItsAuthority)
{
    ResolveTargetTo(6);
    auto r = Call(ACLMasksAdd, R"({"target_id":"6","acls":[{"iqn":"iqn.c","permission":"-"},)"
                               R"({"iqn":"iqn.a","permission":"rw"},{"iqn":"iqn.b","permission":"r"}]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"6\",0])\n"
                          "ISCSILIBTarget::ISCSILIBTarget([6])\n"
                          "ISCSILIBTarget::aclMasksAdd([{\"iqn.a\":3,\"iqn.b\":1,\"iqn.c\":0}])\n");
}

TEST_F(TargetACLMasksTest, AddMasksWithTargetIdSentAsANumberAnswers18990710)
{
    EXPECT_EQ(Answer(Call(ACLMasksAdd, R"({"target_id":6,"acls":[]})")), "error 18990710");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetACLMasksTest, AddMasksWithAnEmptyAclsArrayCallsTheLibraryWithAnEmptyMap)
{
    ResolveTargetTo(6);
    EXPECT_EQ(Answer(Call(ACLMasksAdd, R"({"target_id":"6","acls":[]})")), "success null");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"6\",0])\n"
                          "ISCSILIBTarget::ISCSILIBTarget([6])\n"
                          "ISCSILIBTarget::aclMasksAdd([{}])\n");
}

TEST_F(TargetACLMasksTest, AddMasksWithTwoMasksForOneInitiatorKeepsTheLast)
{
    ResolveTargetTo(6);
    Call(ACLMasksAdd, R"({"target_id":"6","acls":[{"iqn":"iqn.a","permission":"r"},)"
                      R"({"iqn":"iqn.a","permission":"rw"}]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::aclMasksAdd")[0].args, KOVATest::ParseJson(R"([{"iqn.a":3}])"));
}

TEST_F(TargetACLMasksTest, AddMasksWithAnUnknownPermissionBehindAGoodMaskEndsWithNeitherSuccessNorError)
{
    ResolveTargetTo(6);
    const std::string params =
        R"({"acls":[{"iqn":"iqn.a","permission":"rw"},{"iqn":"iqn.b","permission":"x"}],)"
        R"("target_id":"6"})";
    auto r = Call(ACLMasksAdd, params);
    EXPECT_EQ(Answer(r), "none");
    EXPECT_FALSE(r.HasSuccess());
    EXPECT_EQ(r.GetError(), 0);
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"6\",0])\n");
    EXPECT_EQ(Log(), DebugLine("ACLMasksAdd", params));
}

TEST_F(TargetACLMasksTest, AddMasksComparesPermissionsCaseSensitively)
{
    for (const char* permission : {"RW", "R", "rw ", "read"}) {
        SetUp();
        auto r = Call(ACLMasksAdd, std::string(R"({"target_id":"6","acls":[{"iqn":"iqn.a","permission":")") +
                                       permission + "\"}]}");
        EXPECT_EQ(Answer(r), "none") << permission;
        EXPECT_TRUE(Lib().CallsOf("ISCSILIBTarget::aclMasksAdd").empty());
    }
}

TEST_F(TargetACLMasksTest, AddMasksWithAMaskWithoutPermissionTakesItAsUnknown)
{
    auto r = Call(ACLMasksAdd, R"({"target_id":"6","acls":[{"iqn":"iqn.a"}]})");
    EXPECT_EQ(Answer(r), "none");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"6\",0])\n");
}

TEST_F(TargetACLMasksTest, AddMasksWithAMaskWithoutIqnPassesTheEmptyInitiator)
{
    Call(ACLMasksAdd, R"({"target_id":"6","acls":[{"permission":"r"}]})");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::aclMasksAdd")[0].args, KOVATest::ParseJson(R"([{"":1}])"));
}

TEST_F(TargetACLMasksTest, AddMasksOfAnUnknownTargetAnswersTheResolversCodeBeforeLookingAtPermissions)
{
    Lib().Script("ISCSITargetInfo::GetTid", 18990710);
    const std::string params = R"({"acls":[{"iqn":"iqn.a","permission":"x"}],"target_id":"9"})";
    EXPECT_EQ(Answer(Call(ACLMasksAdd, params)), "error 18990710");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"9\",0])\n");
    EXPECT_EQ(Log(), DebugLine("ACLMasksAdd", params) + ErrorLine("ACLMasksAdd", 18990710, params));
}

TEST_F(TargetACLMasksTest, AddMasksWithParametersMissingEmptyOrOfTheWrongTypeAnswersTheirCodes)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"acls":[]})", 18990710},
        {R"({"target_id":"","acls":[]})", 18990710},
        {R"({"target_id":["6"],"acls":[]})", 18990710},
        {R"({"target_id":"6"})", 18990711},
        {R"({"target_id":"6","acls":{"iqn":"a","permission":"r"}})", 18990711},
        {R"({"target_id":"6","acls":"r"})", 18990711},
        {R"({"target_id":"","acls":7})", 18990710},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(ACLMasksAdd, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(TargetACLMasksTest, AddMasksPassesALibraryFailureOn)
{
    Lib().Script("ISCSILIBTarget::aclMasksAdd", 18990711);
    EXPECT_EQ(Answer(Call(ACLMasksAdd, R"({"target_id":"6","acls":[{"iqn":"a","permission":"r"}]})")),
              "error 18990711");
}

// acl_masks_remove

TEST_F(TargetACLMasksTest, RemoveMasksPassesTheInitiatorsOnceEachInSortedOrder)
{
    ResolveTargetTo(8);
    auto r = Call(ACLMasksRemove, R"({"target_id":"8","initiator_iqns":["iqn.b","iqn.a","iqn.b"]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"8\",0])\n"
                          "ISCSILIBTarget::ISCSILIBTarget([8])\n"
                          "ISCSILIBTarget::aclMasksRemove([[\"iqn.a\",\"iqn.b\"]])\n");
}

TEST_F(TargetACLMasksTest, RemoveMasksWithAnEmptyInitiatorListAnswers18990740)
{
    EXPECT_EQ(Answer(Call(ACLMasksRemove, R"({"target_id":"8","initiator_iqns":[]})")), "error 18990740");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetACLMasksTest, RemoveMasksWithParametersMissingEmptyOrOfTheWrongTypeAnswersTheirCodes)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"initiator_iqns":["a"]})", 18990710},
        {R"({"target_id":"","initiator_iqns":["a"]})", 18990710},
        {R"({"target_id":8,"initiator_iqns":["a"]})", 18990710},
        {R"({"target_id":"8"})", 18990740},
        {R"({"target_id":"8","initiator_iqns":"a"})", 18990740},
        {R"({"target_id":"8","initiator_iqns":{"a":1}})", 18990740},
        {R"({"target_id":"","initiator_iqns":[]})", 18990710},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(ACLMasksRemove, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(TargetACLMasksTest, RemoveMasksOfAnUnknownTargetAnswersTheResolversCode)
{
    Lib().Script("ISCSITargetInfo::GetTid", 18990710);
    EXPECT_EQ(Answer(Call(ACLMasksRemove, R"({"target_id":"9","initiator_iqns":["a"]})")), "error 18990710");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"9\",0])\n");
}

TEST_F(TargetACLMasksTest, RemoveMasksPassesALibraryFailureOnWithTheErrorLine)
{
    Lib().Script("ISCSILIBTarget::aclMasksRemove", 18990740);
    const std::string params = R"({"initiator_iqns":["a"],"target_id":"8"})";
    EXPECT_EQ(Answer(Call(ACLMasksRemove, params)), "error 18990740");
    EXPECT_EQ(Log(), DebugLine("ACLMasksRemove", params) + ErrorLine("ACLMasksRemove", 18990740, params));
}

} // namespace
