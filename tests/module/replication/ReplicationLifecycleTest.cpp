// create, delete, list, get and set of replications against the recording double: what reaches
// the storage library, what the caller gets back, and what the system log shows.
#include "HandlerTest.h"

#include "replication/WebAPIServerReplication.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace {

using namespace ISCSI::WebAPI::APIReplication;
using KOVATest::Answer;

const char TASK_ID[] = "task-7";
const char TASK[] = "7a5c0000-0000-4000-8000-000000000007";
const char LUN_ID[] = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";
const char LUN[] = "1c0e0000-0000-4000-8000-0000000000aa";
const char OTHER_LUN[] = "1c0e0000-0000-4000-8000-0000000000bb";
const char DST_LUN[] = "d5700000-0000-4000-8000-0000000000dd";
const char NODE_A[] = "aaaaaaaa-1111-2222-3333-444444444444";
const char NODE_B[] = "bbbbbbbb-1111-2222-3333-444444444444";

using KOVATest::Params;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerReplication.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerReplication.cpp", function, code, params);
}

// A task's JSON form as the double's ListTask or task scripts take it.
Json::Value TaskForm(const std::string& uuid, int type, const std::string& srcLun, const std::string& dstLun)
{
    Json::Value task(Json::objectValue);
    task["uuid"] = uuid;
    task["type"] = type;
    task["src_lun_uuid"] = srcLun;
    task["dst_lun_uuid"] = dstLun;
    task["src_node_uuid"] = NODE_A;
    task["dst_node_uuid"] = NODE_B;
    task["root_path"] = "/volume1/@iscsi_rep";
    task["parent_task_uuid"] = "";
    return task;
}

class ReplicationLifecycleTest : public KOVATest::HandlerTest {
protected:
    // Scripts the resolvers to turn the request's identifiers into canonical ones.
    void ResolveTask() { Lib().Script("ISCSITaskInfo::GetTaskUuid", 0, Params({{"uuid", TASK}})); }
    void ResolveLUN(const char* canonical = LUN)
    {
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", canonical}}));
    }
};

// create

std::string CreateParams(const std::string& srcLun, const std::string& srcNode, const std::string& dstNode,
                         const std::string& location, const std::string& name)
{
    return Params({{"src_lun_uuid", srcLun},
                   {"src_node_uuid", srcNode},
                   {"dst_node_uuid", dstNode},
                   {"dst_location", location},
                   {"dst_lun_name", name}});
}

TEST_F(ReplicationLifecycleTest, CreateResolvesTheSourceLUNAndAnswersTheNewTaskAndDestinationLUN)
{
    ResolveLUN();
    Json::Value made(Json::objectValue);
    made["ISCSILIBReplication::task"] = TaskForm(TASK, 9, LUN, DST_LUN);
    Lib().Script("ISCSILIBReplication::createReplication", 0, made);
    const std::string params = CreateParams("lun-by-name", NODE_A, NODE_B, "/volume2", "copy-1");
    auto r = Call(Create, params);
    EXPECT_EQ(Answer(r),
              std::string("success {\"dst_lun_uuid\":\"") + DST_LUN + "\",\"uuid\":\"" + TASK + "\"}");
    EXPECT_EQ(r.GetData().getMemberNames().size(), 2u);
    EXPECT_EQ(LibCalls(), std::string("ISCSILUNInfo::GetLunUuid([\"lun-by-name\",\"\"])\n"
                                      "ISCSILIBReplication::ISCSILIBReplication([\"") +
                              LUN + "\",\"" + NODE_A + "\",\"" + NODE_B +
                              "\",\"/volume2\",\"copy-1\"])\n"
                              "ISCSILIBReplication::createReplication([])\n");
    EXPECT_EQ(Log(), DebugLine("Create", params));
}

TEST_F(ReplicationLifecycleTest, CreateTakesTheLocationAsGivenWithItsTrailingSlash)
{
    Call(Create, CreateParams(LUN_ID, NODE_A, NODE_B, "/volume1/", "copy"));
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::ISCSILIBReplication")[0].args[3].asString(), "/volume1/");
}

TEST_F(ReplicationLifecycleTest, CreateWithAMalformedSourceOrDestinationNodeAnswersTheSameCode18991100)
{
    EXPECT_EQ(Answer(Call(Create, CreateParams(LUN_ID, "node-a", NODE_B, "/volume1", "copy"))),
              "error 18991100");
    EXPECT_EQ(Answer(Call(Create, CreateParams(LUN_ID, NODE_A, "node-b", "/volume1", "copy"))),
              "error 18991100");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationLifecycleTest, CreateChecksSourceLUNThenNodesThenLocationThenName)
{
    EXPECT_EQ(Answer(Call(Create, CreateParams("", "x", "x", "/mnt", "-x"))), "error 18990820");
    EXPECT_EQ(Answer(Call(Create, CreateParams(LUN_ID, "x", "x", "/mnt", "-x"))), "error 18991100");
    EXPECT_EQ(Answer(Call(Create, CreateParams(LUN_ID, NODE_A, "x", "/mnt", "-x"))), "error 18991100");
    EXPECT_EQ(Answer(Call(Create, CreateParams(LUN_ID, NODE_A, NODE_B, "/mnt", "-x"))), "error 18990501");
    EXPECT_EQ(Answer(Call(Create, CreateParams(LUN_ID, NODE_A, NODE_B, "/volume1/sub", "-x"))),
              "error 18990501");
    EXPECT_EQ(Answer(Call(Create, CreateParams(LUN_ID, NODE_A, NODE_B, "/volume1", "-x"))), "error 18990503");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationLifecycleTest, CreateRefusesEachParameterMissingOrOfTheWrongJsonTypeWithItsCode)
{
    const struct {
        const char* name;
        int code;
    } cases[] = {{"src_lun_uuid", 18990820},
                 {"src_node_uuid", 18991100},
                 {"dst_node_uuid", 18991100},
                 {"dst_location", 18990501},
                 {"dst_lun_name", 18990503}};
    for (const auto& c : cases) {
        Json::Value params = KOVATest::ParseJson(CreateParams(LUN_ID, NODE_A, NODE_B, "/volume1", "copy"));
        params[c.name] = 7;
        SetUp();
        EXPECT_EQ(Answer(Call(Create, KOVA::toString(params))), "error " + std::to_string(c.code)) << c.name;
        params.removeMember(c.name);
        SetUp();
        EXPECT_EQ(Answer(Call(Create, KOVA::toString(params))), "error " + std::to_string(c.code)) << c.name;
        EXPECT_EQ(LibCalls(), "") << c.name;
    }
}

TEST_F(ReplicationLifecycleTest, CreatePassesTheResolversFailureOnWithoutBuildingTheReplication)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    const std::string params = CreateParams("nope", NODE_A, NODE_B, "/volume1", "copy");
    EXPECT_EQ(Answer(Call(Create, params)), "error 18990505");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"nope\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("Create", params) + ErrorLine("Create", 18990505, params));
}

TEST_F(ReplicationLifecycleTest, CreatePassesALibraryFailureOnWithNullDataAndAnErrorLine)
{
    Lib().Script("ISCSILIBReplication::createReplication", 18990504);
    const std::string params = CreateParams(LUN_ID, NODE_A, NODE_B, "/volume1", "copy");
    auto r = Call(Create, params);
    EXPECT_EQ(Answer(r), "error 18990504");
    EXPECT_FALSE(r.HasSuccess());
    EXPECT_EQ(Log(), DebugLine("Create", params) + ErrorLine("Create", 18990504, params));
}

// delete

TEST_F(ReplicationLifecycleTest, DeleteResolvesTaskThenLUNAndDeletesWithTheFlagAndTheCanonicalLUN)
{
    ResolveTask();
    ResolveLUN();
    const std::string params = Params({{"uuid", TASK_ID}, {"lun_uuid", LUN_ID}, {"delete_lun", true}});
    auto r = Call(Delete, params);
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), std::string("ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                                      "ISCSILUNInfo::GetLunUuid([\"") +
                              LUN_ID + "\",\"\"])\nISCSILIBReplication::ISCSILIBReplication([\"" + TASK +
                              "\"])\nISCSILIBReplication::deleteReplication([true,\"" + LUN + "\"])\n");
    EXPECT_EQ(Log(), DebugLine("Delete", params));
}

TEST_F(ReplicationLifecycleTest, DeleteWithoutLUNAndFlagKeepsTheLUNAndResolvesTheEmptyText)
{
    ResolveTask();
    EXPECT_EQ(Answer(Call(Delete, Params({{"uuid", TASK_ID}}))), "success null");
    EXPECT_EQ(LibCalls(), std::string("ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                                      "ISCSILUNInfo::GetLunUuid([\"\",\"\"])\n"
                                      "ISCSILIBReplication::ISCSILIBReplication([\"") +
                              TASK + "\"])\nISCSILIBReplication::deleteReplication([false,\"\"])\n");
}

TEST_F(ReplicationLifecycleTest, DeleteWithBothLUNAndFlagInvalidAnswersTheFlagsCode18990840)
{
    EXPECT_EQ(Answer(Call(Delete, Params({{"uuid", TASK_ID}, {"lun_uuid", "bad"}, {"delete_lun", "yes"}}))),
              "error 18990840");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationLifecycleTest, DeleteChecksTheTaskFirstThenTheFlagThenTheLUN)
{
    EXPECT_EQ(Answer(Call(Delete, Params({{"uuid", ""}, {"lun_uuid", "bad"}, {"delete_lun", "yes"}}))),
              "error 18990831");
    EXPECT_EQ(Answer(Call(Delete, Params({{"lun_uuid", "bad"}, {"delete_lun", 1}}))), "error 18990831");
    EXPECT_EQ(Answer(Call(Delete, Params({{"uuid", TASK_ID}, {"lun_uuid", "bad"}}))), "error 18990505");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationLifecycleTest, DeleteRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    EXPECT_EQ(Answer(Call(Delete, Params({{"uuid", 5}}))), "error 18990831");
    EXPECT_EQ(Answer(Call(Delete, Params({{"uuid", TASK_ID}, {"lun_uuid", 5}}))), "error 18990505");
    EXPECT_EQ(Answer(Call(Delete, Params({{"uuid", TASK_ID}, {"delete_lun", "true"}}))), "error 18990840");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationLifecycleTest, DeleteStopsAtATaskThatDoesNotResolve)
{
    Lib().Script("ISCSITaskInfo::GetTaskUuid", 18990831);
    const std::string params = Params({{"uuid", TASK_ID}, {"lun_uuid", LUN_ID}});
    EXPECT_EQ(Answer(Call(Delete, params)), "error 18990831");
    EXPECT_EQ(LibCalls(), "ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("Delete", params) + ErrorLine("Delete", 18990831, params));
}

TEST_F(ReplicationLifecycleTest, DeletePassesALibraryFailureOn)
{
    Lib().Script("ISCSILIBReplication::deleteReplication", 18990835);
    EXPECT_EQ(Answer(Call(Delete, Params({{"uuid", TASK_ID}}))), "error 18990835");
}

// list

class ReplicationListTest : public ReplicationLifecycleTest {
protected:
    // The tasks ListTask gives, and its result.
    void ScriptTasks(std::initializer_list<Json::Value> forms) { ScriptTasks(0, forms); }
    void ScriptTasks(int code, std::initializer_list<Json::Value> forms)
    {
        Json::Value out(Json::objectValue);
        out["tasks"] = Json::Value(Json::arrayValue);
        for (const Json::Value& form : forms)
            out["tasks"].append(form);
        Lib().Script("ISCSILIBReplication::ListTask", code, out);
    }
};

TEST_F(ReplicationListTest, ListWithNoTasksAnswersTasksAsAnEmptyArray)
{
    auto r = Call(List, "{}");
    EXPECT_EQ(Answer(r), R"(success {"tasks":[]})");
    EXPECT_TRUE(r.GetData()["tasks"].isArray());
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"\",\"\"])\n"
                          "ISCSILIBReplication::ListTask([[]])\n");
}

TEST_F(ReplicationListTest, ListWithoutLUNAnswersEveryTaskInTheLibrarysOrder)
{
    ScriptTasks({TaskForm("t-2", 10, OTHER_LUN, DST_LUN), TaskForm("t-1", 9, LUN, DST_LUN)});
    auto r = Call(List, "{}");
    ASSERT_EQ(r.GetData()["tasks"].size(), 2u);
    EXPECT_EQ(r.GetData()["tasks"][0], TaskForm("t-2", 10, OTHER_LUN, DST_LUN));
    EXPECT_EQ(r.GetData()["tasks"][1], TaskForm("t-1", 9, LUN, DST_LUN));
}

TEST_F(ReplicationListTest, ListWithALUNThatResolvesToTheEmptyUuidAnswersEveryTask)
{
    ScriptTasks({TaskForm("t-1", 9, LUN, DST_LUN), TaskForm("t-2", 9, OTHER_LUN, DST_LUN)});
    ResolveLUN("");
    auto r = Call(List, Params({{"lun_uuid", LUN_ID}}));
    EXPECT_EQ(r.GetData()["tasks"].size(), 2u);
}

TEST_F(ReplicationListTest, ListWithAnEmptyLUNTextIsRefusedByTheUuidRule)
{
    EXPECT_EQ(Answer(Call(List, Params({{"lun_uuid", ""}}))), "error 18990505");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationListTest, ListWithALUNTakesTasksWhoseSourceOrDestinationLUNItIs)
{
    ScriptTasks({TaskForm("by-source", 9, LUN, DST_LUN), TaskForm("neither", 9, OTHER_LUN, DST_LUN),
                 TaskForm("by-destination", 10, OTHER_LUN, LUN)});
    ResolveLUN();
    auto r = Call(List, Params({{"lun_uuid", LUN_ID}}));
    ASSERT_EQ(r.GetData()["tasks"].size(), 2u);
    EXPECT_EQ(r.GetData()["tasks"][0]["uuid"].asString(), "by-source");
    EXPECT_EQ(r.GetData()["tasks"][1]["uuid"].asString(), "by-destination");
    EXPECT_EQ(LibCalls(), std::string("ISCSILUNInfo::GetLunUuid([\"") + LUN_ID +
                              "\",\"\"])\nISCSILIBReplication::ListTask([[]])\n");
}

TEST_F(ReplicationListTest, ListMatchesTheCanonicalLUNByteForByteNotTheRequestsText)
{
    std::string upper = LUN;
    for (char& c : upper)
        c = static_cast<char>(toupper(c));
    ScriptTasks({TaskForm("upper", 9, upper, DST_LUN), TaskForm("as-given", 9, LUN_ID, DST_LUN),
                 TaskForm("prefix", 9, std::string(LUN) + "0", DST_LUN)});
    ResolveLUN();
    auto r = Call(List, Params({{"lun_uuid", LUN_ID}}));
    EXPECT_EQ(Answer(r), R"(success {"tasks":[]})");
}

TEST_F(ReplicationListTest, ListWritesNoDebugLineOnSuccess)
{
    Call(List, "{}");
    EXPECT_EQ(Log(), "");
}

TEST_F(ReplicationListTest, ListWithAMalformedOrWronglyTypedLUNAnswers18990505WithOnlyTheErrorLine)
{
    const std::string params = Params({{"lun_uuid", "lun-1"}});
    EXPECT_EQ(Answer(Call(List, params)), "error 18990505");
    EXPECT_EQ(Log(), ErrorLine("List", 18990505, params));
    EXPECT_EQ(Answer(Call(List, Params({{"lun_uuid", 3}}))), "error 18990505");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationListTest, ListPassesAFailureOfListTaskOnWithoutData)
{
    ScriptTasks(18990801, {TaskForm("t-1", 9, LUN, DST_LUN)});
    auto r = Call(List, "{}");
    EXPECT_EQ(Answer(r), "error 18990801");
    EXPECT_EQ(Log(), ErrorLine("List", 18990801, "{}"));
}

TEST_F(ReplicationListTest, ListPassesAFailureOfTheLUNResolverOnWithoutListing)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990505);
    EXPECT_EQ(Answer(Call(List, Params({{"lun_uuid", LUN_ID}}))), "error 18990505");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::ListTask").size(), 0u);
}

// get

TEST_F(ReplicationLifecycleTest, GetAnswersLockBaseVersionAndTaskWithoutProgressByDefault)
{
    ResolveTask();
    Json::Value loaded(Json::objectValue);
    loaded["ISCSILIBReplication::task"] = TaskForm(TASK, 9, LUN, DST_LUN);
    Lib().Script("ISCSILIBReplication::ISCSILIBReplication", 0, loaded);
    Lib().Script("ISCSILIBReplication::getStatus", 0, R"({"is_locked":true,"base_version":"v-12"})");
    auto r = Call(Get, Params({{"uuid", TASK_ID}}));
    Json::Value expected(Json::objectValue);
    expected["is_locked"] = true;
    expected["base_version"] = "v-12";
    expected["task"] = TaskForm(TASK, 9, LUN, DST_LUN);
    EXPECT_EQ(Answer(r), "success " + KOVA::toString(expected));
    EXPECT_EQ(LibCalls(), std::string("ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                                      "ISCSILIBReplication::ISCSILIBReplication([\"") +
                              TASK + "\"])\nISCSILIBReplication::getStatus([false,\"\"])\n");
    EXPECT_EQ(Log(), "");
}

TEST_F(ReplicationLifecycleTest, GetWithSendingStatusFalseHasNoneOfTheProgressKeys)
{
    auto r = Call(Get, Params({{"uuid", TASK_ID}, {"sending_status", false}}));
    ASSERT_TRUE(r.HasSuccess());
    EXPECT_EQ(r.GetData().getMemberNames(), (std::vector<std::string>{"base_version", "is_locked", "task"}));
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::getSendingStatus").size(), 0u);
}

TEST_F(ReplicationLifecycleTest, GetWithSendingStatusTrueAddsTheFiveProgressKeys)
{
    Lib().Script("ISCSILIBReplication::getSendingStatus", 0,
                 R"({"progress":{"total":8589934592,"done":4096,"sent":2048,"err_no":5,"status_code":1}})");
    auto r = Call(Get, Params({{"uuid", TASK_ID}, {"sending_status", true}}));
    const Json::Value& data = r.GetData();
    EXPECT_EQ(data["sending_data_total"].asUInt64(), 8589934592ull);
    EXPECT_EQ(data["sending_data_done"].asUInt64(), 4096u);
    EXPECT_EQ(data["sending_data_sent"].asUInt64(), 2048u);
    EXPECT_EQ(data["status_code"].asInt(), 1);
    EXPECT_EQ(data["sending_errno"].asInt(), 5);
    EXPECT_EQ(data.getMemberNames().size(), 8u);
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{
                               "ISCSITaskInfo::GetTaskUuid", "ISCSILIBReplication::ISCSILIBReplication",
                               "ISCSILIBReplication::getStatus", "ISCSILIBReplication::getSendingStatus"}));
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBReplication::getSendingStatus")[0].args),
              R"([{"done":0,"err_no":0,"sent":0,"status_code":0,"total":0}])");
}

TEST_F(ReplicationLifecycleTest, GetWhoseSendingStatusFailsAnswersItsErrorAndNoneOfTheDataSetBefore)
{
    Lib().Script("ISCSILIBReplication::getStatus", 0, R"({"is_locked":true,"base_version":"v-1"})");
    Lib().Script("ISCSILIBReplication::getSendingStatus", 18990810);
    const std::string params = Params({{"uuid", TASK_ID}, {"sending_status", true}});
    auto r = Call(Get, params);
    EXPECT_EQ(Answer(r), "error 18990810");
    EXPECT_FALSE(r.HasSuccess());
    EXPECT_EQ(Log(), ErrorLine("Get", 18990810, params));
}

TEST_F(ReplicationLifecycleTest, GetWithASendingStatusOfTheWrongJsonTypeIsNotRefusedAndReadsFalse)
{
    auto r = Call(Get, Params({{"uuid", TASK_ID}, {"sending_status", "yes"}}));
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_FALSE(r.GetData().isMember("sending_data_total"));
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::getSendingStatus").size(), 0u);
}

TEST_F(ReplicationLifecycleTest, GetWithAnEmptyMissingOrWronglyTypedUuidAnswers18990831WithoutADebugLine)
{
    for (const std::string& params : {Params({{"uuid", ""}}), std::string("{}"), Params({{"uuid", 1}})}) {
        SetUp();
        EXPECT_EQ(Answer(Call(Get, params)), "error 18990831") << params;
        EXPECT_EQ(Log(), ErrorLine("Get", 18990831, params));
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(ReplicationLifecycleTest, GetPassesAFailureOfGetStatusOnWithoutAskingForProgress)
{
    Lib().Script("ISCSILIBReplication::getStatus", 18990831);
    auto r = Call(Get, Params({{"uuid", TASK_ID}, {"sending_status", true}}));
    EXPECT_EQ(Answer(r), "error 18990831");
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::getSendingStatus").size(), 0u);
}

TEST_F(ReplicationLifecycleTest, GetStopsAtATaskThatDoesNotResolve)
{
    Lib().Script("ISCSITaskInfo::GetTaskUuid", 18990831);
    EXPECT_EQ(Answer(Call(Get, Params({{"uuid", TASK_ID}}))), "error 18990831");
    EXPECT_EQ(LibCalls(), "ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n");
}

// set

TEST_F(ReplicationLifecycleTest, SetAnswersSuccessWithNullDataForAnyParametersAndWritesOneDebugLine)
{
    for (const std::string& params :
         {std::string("{}"), Params({{"uuid", ""}, {"is_locked", "x"}, {"n", -1}})}) {
        SetUp();
        auto r = Call(Set, params);
        EXPECT_EQ(Answer(r), "success null") << params;
        EXPECT_EQ(LibCalls(), "") << params;
        EXPECT_EQ(Log(), DebugLine("Set", params)) << params;
    }
}

} // namespace
