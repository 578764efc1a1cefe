// create_task, delete_task, get_token and clean_token against the recording double: what
// reaches the storage library, what the caller gets back, and what the system log shows.
#include "HandlerTest.h"

#include "replication/WebAPIServerReplication.h"

#include <iscsi/ISCSILUNInfo.h>

#include <initializer_list>
#include <string>
#include <utility>

namespace {

using namespace ISCSI::WebAPI::APIReplication;
using KOVATest::Answer;

const char SRC_LUN_ID[] = "src-lun";
const char SRC_LUN[] = "1c0e0000-0000-4000-8000-0000000000aa";
const char DST_LUN_ID[] = "dst-lun";
const char DST_LUN[] = "d5700000-0000-4000-8000-0000000000dd";
const char SRC_TASK_ID[] = "source-task";
const char SRC_TASK[] = "7a5c0000-0000-4000-8000-000000000001";
const char NEW_TASK[] = "7a5c0000-0000-4000-8000-000000000002";
const char NODE_A[] = "aaaaaaaa-1111-2222-3333-444444444444";
const char NODE_B[] = "bbbbbbbb-1111-2222-3333-444444444444";
const char TASK_ID[] = "task-7";
const char TASK[] = "7a5c0000-0000-4000-8000-000000000007";

using KOVATest::Params;
using KOVATest::With;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerReplication.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerReplication.cpp", function, code, params);
}

// The JSON form of a LUN record that names only its uuid, as the double logs the record that
// loadFromConfig works on.
std::string LUNRecord(const std::string& uuid)
{
    Json::Value form;
    ISCSI::ISCSILUNInfo(uuid).toJsonFormat(form);
    return KOVA::toString(form);
}

// The zeroed configuration structure as the double logs it.
const char EMPTY_CONFIG[] = R"({"dev_attribs":0,"extent_size":0,"location":"","lun_id":0,"name":"","size":0,)"
                            R"("type":0,"uuid":"","vpd_unit_sn":""})";

// A source end on two nodes, without a source task.
const std::string SOURCE_END = Params({{"is_source", true},
                                       {"src_lun_uuid", SRC_LUN_ID},
                                       {"dst_lun_uuid", DST_LUN_ID},
                                       {"src_node_uuid", NODE_A},
                                       {"dst_node_uuid", NODE_B}});

// A destination end on two nodes, with its source task.
const std::string DESTINATION_END = With(SOURCE_END, {{"is_source", false}, {"src_task_uuid", SRC_TASK_ID}});

class ReplicationTaskTest : public KOVATest::HandlerTest {
protected:
    // Scripts the two LUNs' resolvers, the source task's resolver and the stored type of the
    // LUN that is loaded.
    void ScriptLUNsAndType(int lunType, bool withSourceTask = false)
    {
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", SRC_LUN}}));
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", DST_LUN}}));
        if (withSourceTask)
            Lib().Script("ISCSITaskInfo::GetTaskUuid", 0, Params({{"uuid", SRC_TASK}}));
        Json::Value out(Json::objectValue);
        out["lun"]["type"] = lunType;
        Lib().Script("ISCSILUNInfo::loadFromConfig", 0, out);
    }
    // The task type given to the task's constructor, or -1 when none was built.
    int TypeGiven()
    {
        const auto calls = Lib().CallsOf("ISCSILIBReplication::ISCSILIBReplication");
        return calls.size() == 1 ? calls[0].args[1].asInt() : -1;
    }
};

// create_task

TEST_F(ReplicationTaskTest, CreateTaskOfASourceEndWithoutSourceTaskGoesWithTheEmptyTextFirst)
{
    ScriptLUNsAndType(ISCSI_LUN_TYPE_BLUN);
    Lib().Script("ISCSILIBReplication::createTask", 0,
                 std::string(R"({"ISCSILIBReplication::task":{"uuid":")") + NEW_TASK + "\"}}");
    auto r = Call(CreateTask, SOURCE_END);
    EXPECT_EQ(Answer(r), std::string("success {\"uuid\":\"") + NEW_TASK + "\"}");
    EXPECT_EQ(LibCalls(), std::string("ISCSILUNInfo::GetLunUuid([\"src-lun\",\"\"])\n"
                                      "ISCSILUNInfo::GetLunUuid([\"dst-lun\",\"\"])\n"
                                      "ISCSITaskInfo::GetTaskUuid([\"\",\"\"])\n"
                                      "ISCSILUNInfo::loadFromConfig([") +
                              LUNRecord(SRC_LUN) + "," + EMPTY_CONFIG +
                              ",0])\n"
                              "ISCSILIBReplication::ISCSILIBReplication([\"\",9,\"" +
                              SRC_LUN + "\",\"" + DST_LUN + "\",\"" + NODE_A + "\",\"" + NODE_B +
                              "\"])\n"
                              "ISCSILIBReplication::createTask([])\n");
    EXPECT_EQ(Log(), DebugLine("CreateTask", SOURCE_END));
}

TEST_F(ReplicationTaskTest, CreateTaskOfADestinationEndOfFoldedType263OnTwoNodesYieldsType10WithItsSourceTask)
{
    ScriptLUNsAndType(ISCSI_LUN_TYPE_BLUN, true);
    EXPECT_EQ(Answer(Call(CreateTask, DESTINATION_END)), R"(success {"uuid":""})");
    const auto calls = Lib().CallsOf("ISCSILIBReplication::ISCSILIBReplication");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(KOVA::toString(calls[0].args), std::string("[\"") + SRC_TASK + "\",10,\"" + SRC_LUN + "\",\"" +
                                                 DST_LUN + "\",\"" + NODE_A + "\",\"" + NODE_B + "\"]");
}

TEST_F(ReplicationTaskTest, CreateTaskOfADestinationEndOfType263WithoutSourceTaskAnswers18990830)
{
    ScriptLUNsAndType(ISCSI_LUN_TYPE_BLUN);
    const std::string params = With(DESTINATION_END, {{"src_task_uuid", Json::Value()}});
    EXPECT_EQ(Answer(Call(CreateTask, params)), "error 18990830");
    EXPECT_EQ(TypeGiven(), -1);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::createTask").size(), 0u);
    EXPECT_EQ(Log(), DebugLine("CreateTask", params) + ErrorLine("CreateTask", 18990830, params));
}

TEST_F(ReplicationTaskTest,
       CreateTaskOfADestinationEndWithoutSourceTaskAndFoldedType15OnOneNodeAnswers18990825)
{
    ScriptLUNsAndType(ISCSI_LUN_TYPE_ADV);
    EXPECT_EQ(Answer(Call(CreateTask, With(DESTINATION_END,
                                           {{"src_task_uuid", Json::Value()}, {"dst_node_uuid", NODE_A}}))),
              "error 18990825");
}

TEST_F(ReplicationTaskTest, CreateTaskOfFoldedType15OnOneNodeAnswers18990825WhicheverEndIsAsked)
{
    for (const std::string& end : {SOURCE_END, DESTINATION_END}) {
        for (int type : {ISCSI_LUN_TYPE_ADV, ISCSI_LUN_TYPE_SINK}) {
            SetUp();
            ScriptLUNsAndType(type, true);
            EXPECT_EQ(Answer(Call(CreateTask, With(end, {{"dst_node_uuid", NODE_A}}))), "error 18990825")
                << end << " " << type;
            EXPECT_EQ(TypeGiven(), -1);
        }
    }
}

TEST_F(ReplicationTaskTest, CreateTaskPicksTheTaskTypeFromTheFoldedLUNTypeTheEndAndTheNodes)
{
    const struct {
        int lunType;
        int otherSource, otherDestination, sameSource, sameDestination; // 0: refused with 18990825
    } rows[] = {
        {ISCSI_LUN_TYPE_ADV, 5, 6, 0, 0},
        {ISCSI_LUN_TYPE_SINK, 5, 6, 0, 0},
        {ISCSI_LUN_TYPE_BLUN, 9, 10, 73, 74},
        {ISCSI_LUN_TYPE_BLUN_SINK, 9, 10, 73, 74},
        {ISCSI_LUN_TYPE_BLUN_THICK, 41, 42, 105, 106},
        {ISCSI_LUN_TYPE_BLUN_THICK_SINK, 41, 42, 105, 106},
        {ISCSI_LUN_TYPE_VDISK_BLUN, 25, 26, 89, 90},
        {ISCSI_LUN_TYPE_VDISK_BLUN_SINK, 25, 26, 89, 90},
        {ISCSI_LUN_TYPE_NONE, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_BLOCK, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_THIN, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_BKP_ADV, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_CINDER, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_CINDER_BLUN, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_BKP_BLUN, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_VDISK_ADV, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_VDISK_BLUN_THICK, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_VDISK_BLUN_COW, 0, 0, 0, 0},
        {ISCSI_LUN_TYPE_VDISK_BLUN_C2, 0, 0, 0, 0},
    };
    for (const auto& row : rows) {
        const struct {
            const std::string& end;
            const char* dstNode;
            int expected;
        } cases[] = {{SOURCE_END, NODE_B, row.otherSource},
                     {DESTINATION_END, NODE_B, row.otherDestination},
                     {SOURCE_END, NODE_A, row.sameSource},
                     {DESTINATION_END, NODE_A, row.sameDestination}};
        for (const auto& c : cases) {
            SetUp();
            ScriptLUNsAndType(row.lunType, true);
            auto r = Call(CreateTask, With(c.end, {{"dst_node_uuid", c.dstNode}}));
            if (c.expected == 0) {
                EXPECT_EQ(Answer(r), "error 18990825") << row.lunType;
                EXPECT_EQ(TypeGiven(), -1) << row.lunType;
            } else {
                EXPECT_TRUE(r.HasSuccess()) << row.lunType;
                EXPECT_EQ(TypeGiven(), c.expected) << row.lunType << " " << c.dstNode;
            }
        }
    }
}

TEST_F(ReplicationTaskTest, CreateTaskFoldsType279To263And311To295BeforeReadingTheTable)
{
    ScriptLUNsAndType(279);
    Call(CreateTask, SOURCE_END);
    EXPECT_EQ(TypeGiven(), 9);
    SetUp();
    ScriptLUNsAndType(311, true);
    Call(CreateTask, DESTINATION_END);
    EXPECT_EQ(TypeGiven(), 26);
}

TEST_F(ReplicationTaskTest, CreateTaskLoadsTheDestinationLUNAndNotTheSourceLUNForADestinationEnd)
{
    ScriptLUNsAndType(ISCSI_LUN_TYPE_BLUN, true);
    Call(CreateTask, DESTINATION_END);
    const auto loads = Lib().CallsOf("ISCSILUNInfo::loadFromConfig");
    ASSERT_EQ(loads.size(), 1u);
    EXPECT_EQ(loads[0].args[0]["uuid"].asString(), DST_LUN);
    EXPECT_EQ(loads[0].args[2].asInt(), 0);
}

TEST_F(ReplicationTaskTest, CreateTaskComparesTheNodesAsPlainTextsSoCaseFormsOfOneUuidAreTwoNodes)
{
    std::string upper = NODE_A;
    for (char& c : upper)
        c = static_cast<char>(toupper(c));
    ScriptLUNsAndType(ISCSI_LUN_TYPE_BLUN);
    Call(CreateTask, With(SOURCE_END, {{"dst_node_uuid", upper}}));
    EXPECT_EQ(TypeGiven(), 9);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::ISCSILIBReplication")[0].args[5].asString(), upper);
    SetUp();
    ScriptLUNsAndType(ISCSI_LUN_TYPE_BLUN);
    Call(CreateTask, With(SOURCE_END, {{"dst_node_uuid", NODE_A}}));
    EXPECT_EQ(TypeGiven(), 73);
}

TEST_F(ReplicationTaskTest, CreateTaskWhoseLUNDoesNotLoadLogsTheFaultWithItsUuidAndAnswersTheCode)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", SRC_LUN}}));
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", DST_LUN}}));
    Lib().Script("ISCSILUNInfo::loadFromConfig", 18990505);
    EXPECT_EQ(Answer(Call(CreateTask, DESTINATION_END)), "error 18990505");
    EXPECT_EQ(Log(),
              DebugLine("CreateTask", DESTINATION_END) +
                  "<3> iSCSI:WebAPIServerReplication.cpp:L:CreateTask Failed to load LUN's info. UUID: " +
                  DST_LUN + "\n" + ErrorLine("CreateTask", 18990505, DESTINATION_END));
    EXPECT_EQ(TypeGiven(), -1);
}

TEST_F(ReplicationTaskTest, CreateTaskChecksInTheOrderOfItsParameters)
{
    const std::string allBad = Params({{"src_lun_uuid", ""},
                                       {"dst_lun_uuid", ""},
                                       {"src_node_uuid", "a"},
                                       {"dst_node_uuid", "b"},
                                       {"src_task_uuid", ""}});
    const struct {
        const char* fix;
        Json::Value good;
        int code;
    } steps[] = {{"is_source", false, 18990824},         {"src_lun_uuid", SRC_LUN_ID, 18990820},
                 {"dst_lun_uuid", DST_LUN_ID, 18990821}, {"src_node_uuid", NODE_A, 18990822},
                 {"dst_node_uuid", NODE_B, 18990823},    {"src_task_uuid", SRC_TASK_ID, 18990830}};
    std::string params = allBad;
    for (const auto& step : steps) {
        EXPECT_EQ(Answer(Call(CreateTask, params)), "error " + std::to_string(step.code)) << step.fix;
        params = With(params, {{step.fix, step.good}});
    }
    EXPECT_EQ(LibCalls(), "");
    ScriptLUNsAndType(ISCSI_LUN_TYPE_BLUN);
    EXPECT_TRUE(Call(CreateTask, params).HasSuccess());
}

TEST_F(ReplicationTaskTest, CreateTaskRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    const struct {
        const char* name;
        Json::Value wrong;
        int code;
    } cases[] = {{"is_source", "true", 18990824},   {"src_lun_uuid", 1, 18990820},
                 {"dst_lun_uuid", 1, 18990821},     {"src_node_uuid", 1, 18990822},
                 {"dst_node_uuid", true, 18990823}, {"src_task_uuid", 1, 18990830}};
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(CreateTask, With(DESTINATION_END, {{c.name, c.wrong}}))),
                  "error " + std::to_string(c.code))
            << c.name;
        EXPECT_EQ(LibCalls(), "") << c.name;
    }
}

TEST_F(ReplicationTaskTest, CreateTaskWithoutIsSourceAnswers18990824)
{
    EXPECT_EQ(Answer(Call(CreateTask, With(SOURCE_END, {{"is_source", Json::Value()}}))), "error 18990824");
}

TEST_F(ReplicationTaskTest, CreateTaskResolvesBothLUNsThenTheSourceTaskAndStopsAtTheFirstFailure)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", SRC_LUN}}));
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990821);
    EXPECT_EQ(Answer(Call(CreateTask, DESTINATION_END)), "error 18990821");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"src-lun\",\"\"])\n"
                          "ISCSILUNInfo::GetLunUuid([\"dst-lun\",\"\"])\n");
    SetUp();
    Lib().Script("ISCSITaskInfo::GetTaskUuid", 18990830);
    EXPECT_EQ(Answer(Call(CreateTask, DESTINATION_END)), "error 18990830");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid", "ISCSILUNInfo::GetLunUuid",
                                                     "ISCSITaskInfo::GetTaskUuid"}));
}

TEST_F(ReplicationTaskTest, CreateTaskPassesAFailureOfCreateTaskOnWithoutData)
{
    ScriptLUNsAndType(ISCSI_LUN_TYPE_BLUN);
    Lib().Script("ISCSILIBReplication::createTask", 18990826,
                 std::string(R"({"ISCSILIBReplication::task":{"uuid":")") + NEW_TASK + "\"}}");
    EXPECT_EQ(Answer(Call(CreateTask, SOURCE_END)), "error 18990826");
    EXPECT_EQ(Log(), DebugLine("CreateTask", SOURCE_END) + ErrorLine("CreateTask", 18990826, SOURCE_END));
}

// delete_task

TEST_F(ReplicationTaskTest, DeleteTaskResolvesTheTaskAndDeletesIt)
{
    Lib().Script("ISCSITaskInfo::GetTaskUuid", 0, Params({{"uuid", TASK}}));
    const std::string params = Params({{"uuid", TASK_ID}});
    EXPECT_EQ(Answer(Call(DeleteTask, params)), "success null");
    EXPECT_EQ(LibCalls(), std::string("ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                                      "ISCSILIBReplication::ISCSILIBReplication([\"") +
                              TASK + "\"])\nISCSILIBReplication::deleteTask([])\n");
    EXPECT_EQ(Log(), DebugLine("DeleteTask", params));
}

TEST_F(ReplicationTaskTest, DeleteTaskWithAnEmptyMissingOrWronglyTypedUuidAnswers18990831)
{
    for (const std::string& params : {Params({{"uuid", ""}}), std::string("{}"), Params({{"uuid", 7}})}) {
        SetUp();
        EXPECT_EQ(Answer(Call(DeleteTask, params)), "error 18990831") << params;
        EXPECT_EQ(LibCalls(), "");
        EXPECT_EQ(Log(), DebugLine("DeleteTask", params) + ErrorLine("DeleteTask", 18990831, params));
    }
}

TEST_F(ReplicationTaskTest, DeleteTaskStopsAtATaskThatDoesNotResolve)
{
    Lib().Script("ISCSITaskInfo::GetTaskUuid", 18990831);
    EXPECT_EQ(Answer(Call(DeleteTask, Params({{"uuid", TASK_ID}}))), "error 18990831");
    EXPECT_EQ(LibCalls(), "ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n");
}

TEST_F(ReplicationTaskTest, DeleteTaskPassesALibraryFailureOn)
{
    Lib().Script("ISCSILIBReplication::deleteTask", 18990832);
    EXPECT_EQ(Answer(Call(DeleteTask, Params({{"uuid", TASK_ID}}))), "error 18990832");
}

// get_token and clean_token

TEST_F(ReplicationTaskTest, GetTokenAsksAFreshObjectForTheDirectorysTokenAndAnswersIt)
{
    Lib().Script("ISCSILIBReplication::getToken", 0, R"({"token":"tok-1"})");
    const std::string params = Params({{"dst_dir_path", "/volume1/@recv/t1"}});
    EXPECT_EQ(Answer(Call(GetToken, params)), R"(success {"btrfs_token":"tok-1"})");
    EXPECT_EQ(LibCalls(), "ISCSILIBReplication::getToken([\"/volume1/@recv/t1\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("GetToken", params));
}

TEST_F(ReplicationTaskTest, GetTokenWithAnEmptyDirectoryAnswers18990905BeforeAnyLibraryCall)
{
    for (const std::string& params :
         {Params({{"dst_dir_path", ""}}), std::string("{}"), Params({{"dst_dir_path", 1}})}) {
        SetUp();
        EXPECT_EQ(Answer(Call(GetToken, params)), "error 18990905") << params;
        EXPECT_EQ(LibCalls(), "");
        EXPECT_EQ(Log(), DebugLine("GetToken", params) + ErrorLine("GetToken", 18990905, params));
    }
}

TEST_F(ReplicationTaskTest, GetTokenPassesALibraryFailureOnWithoutData)
{
    Lib().Script("ISCSILIBReplication::getToken", 18990907, R"({"token":"tok-1"})");
    EXPECT_EQ(Answer(Call(GetToken, Params({{"dst_dir_path", "/volume1/x"}}))), "error 18990907");
}

TEST_F(ReplicationTaskTest, CleanTokenGivesTheTokenBackThroughAFreshObject)
{
    const std::string params = Params({{"btrfs_token", "tok-1"}});
    EXPECT_EQ(Answer(Call(CleanToken, params)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILIBReplication::cleanToken([\"tok-1\"])\n");
    EXPECT_EQ(Log(), DebugLine("CleanToken", params));
}

TEST_F(ReplicationTaskTest, CleanTokenWithAnEmptyMissingOrWronglyTypedTokenAnswers18990906)
{
    for (const std::string& params :
         {Params({{"btrfs_token", ""}}), std::string("{}"), Params({{"btrfs_token", false}})}) {
        SetUp();
        EXPECT_EQ(Answer(Call(CleanToken, params)), "error 18990906") << params;
        EXPECT_EQ(LibCalls(), "");
        EXPECT_EQ(Log(), DebugLine("CleanToken", params) + ErrorLine("CleanToken", 18990906, params));
    }
}

TEST_F(ReplicationTaskTest, CleanTokenPassesALibraryFailureOn)
{
    Lib().Script("ISCSILIBReplication::cleanToken", 18990906);
    EXPECT_EQ(Answer(Call(CleanToken, Params({{"btrfs_token", "tok-1"}}))), "error 18990906");
}

} // namespace
