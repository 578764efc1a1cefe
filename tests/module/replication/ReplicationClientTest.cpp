// The client classes of KOVA.Core.ISCSI.Replication: validity, keys sent, replies read, texts.
#include "ClientTest.h"

#include "etc/WebAPIVocabulary.h"

#include <webapi-iSCSI/replication/WebAPIClientReplicationCheckNode.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationCleanToken.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationComputeUnsyncSize.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationCreate.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationCreateTask.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationDelete.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationDeleteTask.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationDemote.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationGet.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationGetBaseVersion.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationGetToken.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationGetUnsyncSize.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationList.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationPromote.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationSendSnapshot.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationStopSending.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>
#include <vector>

using namespace KOVATest;
using namespace ISCSI::WebAPI::APIReplication;

namespace {

// The family's fields in their order (uuid, is_source, type, src_lun_uuid, dst_lun_uuid,
// src_node_uuid, dst_node_uuid, root_path, parent_task_uuid), as its text shows them; the ones
// not given are those of a fresh object: is_source true, type 0 ("UNKNOWN"), the rest empty.
struct FamilyFields {
    FamilyFields(std::initializer_list<std::string> given = {})
        : values{"", "true", "UNKNOWN", "", "", "", "", "", ""}
    {
        std::copy(given.begin(), given.end(), values.begin());
    }
    std::vector<std::string> values;
};

class ReplicationClient : public ClientTest {
protected:
    static std::string Root(const std::string& method)
    {
        return RootText("KOVA.Core.ISCSI.Replication", method, 1);
    }
    static std::string Family(const FamilyFields& f)
    {
        const std::vector<std::string>& v = f.values;
        return "Replication: [uuid: " + v[0] + " ,is_source: " + v[1] + " ,type: " + v[2] +
               " ,src_lun_uuid: " + v[3] + " ,dst_lun_uuid: " + v[4] + " ,src_node_uuid: " + v[5] +
               " ,dst_node_uuid: " + v[6] + " ,root_path: " + v[7] + " ,parent_task_uuid: " + v[8] + "]";
    }
    // The text of a leaf after send, with the family's fields and the leaf's own part.
    static std::string Sent(const std::string& method, const FamilyFields& f, const std::string& own = "")
    {
        return Root(method) + " ," + Family(f) + " ," + own + "[Response: ]";
    }
    // The text of a leaf before send: the root's request part is still empty.
    static std::string Unsent(const FamilyFields& f, const std::string& own = "")
    {
        return "Dst node: [" + NodeText() + "] [api:  ,method:  ,version: 0] ," + Family(f) + " ," + own +
               "[Response: ]";
    }
    static ISCSI::ISCSINodeInfo NoNode() { return ISCSI::ISCSINodeInfo(); }
    // A task of a reply with its eight keys.
    static Json::Value Task(const std::string& uuid, int type)
    {
        Json::Value task(Json::objectValue);
        task["uuid"] = uuid;
        task["type"] = type;
        task["src_lun_uuid"] = "lun-s";
        task["dst_lun_uuid"] = "lun-d";
        task["src_node_uuid"] = "node-s";
        task["dst_node_uuid"] = "node-d";
        task["root_path"] = "/volume1/rep";
        task["parent_task_uuid"] = "task-p";
        return task;
    }
    static std::string Reply(const Json::Value& data)
    {
        Json::Value reply(Json::objectValue);
        reply["success"] = true;
        reply["data"] = data;
        return KOVA::toString(reply);
    }
    static Json::Value Tasks(std::initializer_list<Json::Value> tasks)
    {
        Json::Value data(Json::objectValue);
        data["tasks"] = Json::Value(Json::arrayValue);
        for (const Json::Value& task : tasks)
            data["tasks"].append(task);
        return data;
    }
    static std::string TaskLog(const std::string& source)
    {
        return "<3> iSCSI:" + source + ":L:send Failed to get task info from response.\n";
    }
};

// The family

TEST_F(ReplicationClient, TheFamilyTextNamesTheTypeAndShowsIsSourceAsAWord)
{
    WebAPIClientReplicationCreateTask client(Node(), "t1", false, "lun-s", "lun-d", "node-s", "node-d");
    client.type = ISCSI_REP_TYPE_BLUN_DST;
    client.root_path = "/volume1/r";
    client.parent_task_uuid = "tp";
    EXPECT_EQ(client.toString(),
              Unsent({"t1", "false", "BLUN_DST", "lun-s", "lun-d", "node-s", "node-d", "/volume1/r", "tp"}));
}

// list

TEST_F(ReplicationClient, ListIsValidWithANodeAlone)
{
    EXPECT_FALSE(WebAPIClientReplicationList(Node(), "").isInvalid());
    WebAPIClientReplicationList noNode(NoNode(), "lun-1");
    ExpectRefused(noNode);
}

TEST_F(ReplicationClient, ListWithAnEmptyLunUuidSendsNoLunUuidKey)
{
    WebAPIClientReplicationList client(Node(), "");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Replication list 1 {}");
}

TEST_F(ReplicationClient, ListSendsALunUuidThatIsSet)
{
    WebAPIClientReplicationList client(Node(), "lun-1");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Replication list 1 {"lun_uuid":"lun-1"})");
}

TEST_F(ReplicationClient, ListBuildsEachTaskFromItsEightKeys)
{
    WebAPIClientReplicationList client(Node(), "");
    ReplyByNode(Reply(Tasks({Task("t1", 9), Task("t2", 106)})));
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.tasks.size(), 2u);
    const ISCSI::ISCSITaskInfo& task = client.tasks[0];
    EXPECT_EQ(task.uuid, "t1");
    EXPECT_EQ(task.type, ISCSI_REP_TYPE_BLUN_SRC);
    EXPECT_EQ(task.src_lun.uuid, "lun-s");
    EXPECT_EQ(task.dst_lun.uuid, "lun-d");
    EXPECT_EQ(task.src_node.uuid, "node-s");
    EXPECT_EQ(task.dst_node.uuid, "node-d");
    EXPECT_EQ(task.root_path, "/volume1/rep");
    EXPECT_EQ(task.parent_task_uuid, "task-p");
    EXPECT_EQ(client.tasks[1].uuid, "t2");
    EXPECT_EQ(client.tasks[1].type, ISCSI_REP_TYPE_LOCAL_BLUN_THICK_DST);
    EXPECT_EQ(Log(), "");
}

TEST_F(ReplicationClient, AListedTaskOfType7BecomesType0WhichIsNamedUnknown)
{
    WebAPIClientReplicationList client(Node(), "");
    ReplyByNode(Reply(Tasks({Task("t1", 7), Task("t2", 1000)})));
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.tasks.size(), 2u);
    EXPECT_EQ(client.tasks[0].type, ISCSI_REP_TYPE_NONE);
    EXPECT_EQ(client.tasks[1].type, ISCSI_REP_TYPE_NONE);
    EXPECT_STREQ(ISCSI::WebAPI::RepTypeToString(client.tasks[0].type), "UNKNOWN");
    EXPECT_NE(client.toString().find("[0: uuid: t1, type: 0,"), std::string::npos);
}

TEST_F(ReplicationClient, AListReplyWithOneBadTaskLeavesTheTasksEmptyAndAnswers18990204)
{
    WebAPIClientReplicationList client(Node(), "");
    Json::Value bad = Task("t2", 9);
    bad.removeMember("root_path");
    ReplyByNode(Reply(Tasks({Task("t1", 9), bad, Task("t3", 9)})));
    EXPECT_EQ(client.send(), 18990204);
    EXPECT_TRUE(client.tasks.empty());
    EXPECT_EQ(Log(), TaskLog("WebAPIClientReplicationList.cpp"));
}

TEST_F(ReplicationClient, ListTreatsATaskKeyOfAnUnreadableTypeOrATaskThatIsNoObjectAsMissing)
{
    for (const char* key : {"uuid", "type", "src_lun_uuid", "dst_lun_uuid", "src_node_uuid", "dst_node_uuid",
                            "root_path", "parent_task_uuid"}) {
        Lib().Reset();
        SyslogCapture::Clear();
        WebAPIClientReplicationList client(Node(), "");
        Json::Value task = Task("t1", 9);
        task[key] = Json::Value(Json::arrayValue);
        ReplyByNode(Reply(Tasks({task})));
        EXPECT_EQ(client.send(), 18990204) << key;
        EXPECT_EQ(Log(), TaskLog("WebAPIClientReplicationList.cpp")) << key;
    }
    WebAPIClientReplicationList client(Node(), "");
    ReplyByNode(Reply(Tasks({Json::Value("t1")})));
    EXPECT_EQ(client.send(), 18990204);
}

TEST_F(ReplicationClient, AFailedListKeepsTheTasksOfTheLastGoodOne)
{
    WebAPIClientReplicationList client(Node(), "");
    ReplyByNode(Reply(Tasks({Task("t1", 9)})));
    EXPECT_EQ(client.send(), 0);
    Json::Value bad = Task("t2", 9);
    bad.removeMember("uuid");
    ReplyByNode(Reply(Tasks({bad})));
    EXPECT_EQ(client.send(), 18990204);
    ASSERT_EQ(client.tasks.size(), 1u);
    EXPECT_EQ(client.tasks[0].uuid, "t1");
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
    EXPECT_EQ(client.tasks.size(), 1u);
}

TEST_F(ReplicationClient, ListReadsNoTasksFromAReplyWithoutDataOrWithTasksThatAreNoArray)
{
    WebAPIClientReplicationList client(Node(), "");
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_TRUE(client.tasks.empty());
    ReplyByNode(R"({"success":true,"data":{"tasks":{"uuid":"t1"}}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_TRUE(client.tasks.empty());
    ReplyByNode(Reply(Tasks({})));
    EXPECT_EQ(client.send(), 0);
    EXPECT_TRUE(client.tasks.empty());
}

TEST_F(ReplicationClient, ListReadsNothingWhenTheRemoteAnswersAnError)
{
    WebAPIClientReplicationList client(Node(), "");
    Json::Value reply = ParseJson(Reply(Tasks({Task("t1", 9)})));
    reply["error"]["code"] = 18990505;
    ReplyByNode(KOVA::toString(reply));
    EXPECT_EQ(client.send(), 18990505);
    EXPECT_TRUE(client.tasks.empty());
}

TEST_F(ReplicationClient, ListTextNumbersTheTasks)
{
    WebAPIClientReplicationList client(Node(), "lun-1");
    EXPECT_EQ(client.toString(), Unsent({}, "lun_uuid: lun-1 ,tasks: "));
    ReplyByNode(Reply(Tasks({Task("t1", 9), Task("t2", 10)})));
    client.send();
    EXPECT_EQ(client.toString(), Sent("list", {},
                                      "lun_uuid: lun-1 ,tasks:  [0: " + client.tasks[0].toString() +
                                          "] [1: " + client.tasks[1].toString() + "]"));
    EXPECT_EQ(client.tasks[1].toString(),
              "uuid: t2, type: 10, src_lun_uuid: lun-s, dst_lun_uuid: lun-d, "
              "src_node_uuid: node-s, dst_node_uuid: node-d, root_path: /volume1/rep, "
              "parent_task_uuid: task-p");
}

// create

TEST_F(ReplicationClient, CreateNeedsTheNodeAndAllFourFields)
{
    EXPECT_FALSE(WebAPIClientReplicationCreate(Node(), "lun-1", "node-c", "/volume1", "copy").isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationCreate(NoNode(), "lun-1", "node-c", "/volume1", "copy").isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationCreate(Node(), "", "node-c", "/volume1", "copy").isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationCreate(Node(), "lun-1", "", "/volume1", "copy").isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationCreate(Node(), "lun-1", "node-c", "", "copy").isInvalid());
    WebAPIClientReplicationCreate noName(Node(), "lun-1", "node-c", "/volume1", "");
    ExpectRefused(noName);
}

TEST_F(ReplicationClient, CreateSendsTheTargetNodesOwnUuidAsSrcNodeUuid)
{
    WebAPIClientReplicationCreate client(Node(), "lun-1", "node-c", "/volume2", "copy");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Replication create 1 "
                            R"({"dst_location":"/volume2","dst_lun_name":"copy","dst_node_uuid":"node-c",)"
                            R"("src_lun_uuid":"lun-1","src_node_uuid":"node-b-uuid"})");
}

TEST_F(ReplicationClient, CreateReadsTheTaskAndDestinationLunUuids)
{
    WebAPIClientReplicationCreate client(Node(), "lun-1", "node-c", "/volume2", "copy");
    EXPECT_EQ(client.toString(), Unsent({"", "true", "UNKNOWN", "lun-1", "", "", "node-c"},
                                        "[dst_location: /volume2 ,dst_lun_name: copy] ,"));
    ReplyByNode(R"({"success":true,"data":{"uuid":"task-1","dst_lun_uuid":"lun-9"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "task-1");
    EXPECT_EQ(client.dst_lun_uuid, "lun-9");
    EXPECT_EQ(client.toString(), Sent("create", {"task-1", "true", "UNKNOWN", "lun-1", "lun-9", "", "node-c"},
                                      "[dst_location: /volume2 ,dst_lun_name: copy] ,"));
}

TEST_F(ReplicationClient, CreateLeavesFieldsOfMissingOrWrongTypedKeysAndReadsNothingOnFailure)
{
    WebAPIClientReplicationCreate client(Node(), "lun-1", "node-c", "/volume2", "copy");
    ReplyByNode(R"({"success":true,"data":{"uuid":["x"]}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "");
    EXPECT_EQ(client.dst_lun_uuid, "");
    ReplyByNode(R"({"success":false,"error":{"code":18990503},"data":{"uuid":"task-1"}})");
    EXPECT_EQ(client.send(), 18990503);
    EXPECT_EQ(client.uuid, "");
}

// delete

TEST_F(ReplicationClient, DeleteNeedsNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientReplicationDelete(Node(), "t1", false).isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationDelete(NoNode(), "t1", true).isInvalid());
    WebAPIClientReplicationDelete empty(Node(), "", true);
    ExpectRefused(empty);
}

TEST_F(ReplicationClient, DeleteSendsDeleteLunAsABool)
{
    WebAPIClientReplicationDelete client(Node(), "t1", true);
    EXPECT_EQ(client.toString(), Unsent({"t1"}, "[delete_lun: true] ,"));
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(),
              R"(node-b-uuid KOVA.Core.ISCSI.Replication delete 1 {"delete_lun":true,"uuid":"t1"})");
    EXPECT_TRUE(SentJson()["delete_lun"].isBool());
    EXPECT_EQ(client.toString(), Sent("delete", {"t1"}, "[delete_lun: true] ,"));
    WebAPIClientReplicationDelete keep(Node(), "t1", false);
    keep.send();
    EXPECT_EQ(SentParams(), R"({"delete_lun":false,"uuid":"t1"})");
    EXPECT_EQ(keep.toString(), Sent("delete", {"t1"}, "[delete_lun: false] ,"));
}

// get

TEST_F(ReplicationClient, GetNeedsNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientReplicationGet(Node(), "t1", false).isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationGet(NoNode(), "t1", false).isInvalid());
    WebAPIClientReplicationGet empty(Node(), "", true);
    ExpectRefused(empty);
}

TEST_F(ReplicationClient, GetSendsUuidAndSendingStatus)
{
    WebAPIClientReplicationGet client(Node(), "t1", true);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(),
              R"(node-b-uuid KOVA.Core.ISCSI.Replication get 1 {"sending_status":true,"uuid":"t1"})");
}

TEST_F(ReplicationClient, GetReadsStatusProgressAndTheTaskIntoTheFamilyFields)
{
    WebAPIClientReplicationGet client(Node(), "t1", true);
    Json::Value data(Json::objectValue);
    data["is_locked"] = true;
    data["base_version"] = "v7";
    data["sending_data_total"] = Json::UInt64(18446744073709551615ull);
    data["sending_data_done"] = 1024;
    data["sending_data_sent"] = 512;
    data["status_code"] = 1;
    data["sending_errno"] = -5;
    data["task"] = Task("t1-canonical", 9);
    ReplyByNode(Reply(data));
    EXPECT_EQ(client.send(), 0);
    EXPECT_TRUE(client.is_locked);
    EXPECT_EQ(client.base_version, "v7");
    EXPECT_EQ(client.sending_data_total, 18446744073709551615ull);
    EXPECT_EQ(client.sending_data_done, 1024u);
    EXPECT_EQ(client.sending_data_sent, 512u);
    EXPECT_EQ(client.status_code, 1);
    EXPECT_EQ(client.sending_errno, -5);
    const FamilyFields task{"t1-canonical", "true",   "BLUN_SRC",     "lun-s", "lun-d",
                            "node-s",       "node-d", "/volume1/rep", "task-p"};
    EXPECT_EQ(client.toString(), Sent("get", task));
}

TEST_F(ReplicationClient, AGetTaskOfType7IsNamedUnknown)
{
    WebAPIClientReplicationGet client(Node(), "t1", false);
    client.type = ISCSI_REP_TYPE_ADV_SRC;
    Json::Value data(Json::objectValue);
    data["task"] = Task("t1", 7);
    ReplyByNode(Reply(data));
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.type, ISCSI_REP_TYPE_NONE);
    EXPECT_NE(client.toString().find(" ,type: UNKNOWN ,"), std::string::npos);
}

TEST_F(ReplicationClient, AGetTaskWithoutOneOfItsKeysAnswers18990204AfterTheOtherKeysAreRead)
{
    WebAPIClientReplicationGet client(Node(), "t1", false);
    Json::Value data(Json::objectValue);
    data["is_locked"] = true;
    data["task"] = Task("t9", 9);
    data["task"].removeMember("parent_task_uuid");
    ReplyByNode(Reply(data));
    EXPECT_EQ(client.send(), 18990204);
    EXPECT_TRUE(client.is_locked);
    EXPECT_EQ(client.uuid, "t1");
    EXPECT_EQ(client.src_lun_uuid, "");
    EXPECT_EQ(Log(), TaskLog("WebAPIClientReplicationGet.cpp"));
    data["task"] = "t9";
    ReplyByNode(Reply(data));
    EXPECT_EQ(client.send(), 18990204);
}

TEST_F(ReplicationClient, GetLeavesEverythingOnAReplyWithoutDataOrWithWrongTypes)
{
    WebAPIClientReplicationGet client(Node(), "t1", false);
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_FALSE(client.is_locked);
    EXPECT_EQ(client.toString(), Sent("get", {"t1"}));
    ReplyByNode(R"({"success":true,"data":{"is_locked":"yes","sending_data_total":-1,"status_code":"x"}})");
    client.status_code = 4;
    EXPECT_EQ(client.send(), 0);
    EXPECT_FALSE(client.is_locked);
    EXPECT_EQ(client.sending_data_total, 0u);
    EXPECT_EQ(client.status_code, 4);
}

// send_snapshot

TEST_F(ReplicationClient, SendSnapshotNeedsNodeUuidSnapshotAndDestinationAddress)
{
    const auto make = [](const ISCSI::ISCSINodeInfo& node, const char* uuid, const char* snap,
                         const char* dst) {
        return WebAPIClientReplicationSendSnapshot(node, uuid, snap, "", dst, "", 0, 0, true, false);
    };
    EXPECT_FALSE(make(Node(), "t1", "s1", "127.0.0.4").isInvalid());
    EXPECT_TRUE(make(NoNode(), "t1", "s1", "127.0.0.4").isInvalid());
    EXPECT_TRUE(make(Node(), "", "s1", "127.0.0.4").isInvalid());
    EXPECT_TRUE(make(Node(), "t1", "", "127.0.0.4").isInvalid());
    WebAPIClientReplicationSendSnapshot noAddress = make(Node(), "t1", "s1", "");
    ExpectRefused(noAddress);
}

TEST_F(ReplicationClient, SendSnapshotWithDstPort0SendsNoDstPortNorTheOtherUnsetOptions)
{
    WebAPIClientReplicationSendSnapshot client(Node(), "t1", "s1", "", "127.0.0.4", "", 0, 0, true, false);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(),
              "node-b-uuid KOVA.Core.ISCSI.Replication send_snapshot 1 "
              R"({"dst_address":"127.0.0.4","is_data_encrypted":false,"is_full_sync_allowed":true,)"
              R"("snapshot_uuid":"s1","uuid":"t1"})");
}

TEST_F(ReplicationClient, SendSnapshotSendsTheOptionsThatAreSetWithPortsAsUnsignedNumbers)
{
    WebAPIClientReplicationSendSnapshot client(Node(), "t1", "s1", "127.0.0.3", "127.0.0.4", "snap-copy",
                                               3262, 3263, false, true);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"dst_address":"127.0.0.4","dst_port":3263,"dst_snap_name":"snap-copy",)"
                            R"("is_data_encrypted":true,"is_full_sync_allowed":false,"snapshot_uuid":"s1",)"
                            R"("src_address":"127.0.0.3","src_port":3262,"uuid":"t1"})");
    const Json::Value sent = Lib().CallsOf("NodeSender::process").at(0).args[4];
    EXPECT_EQ(sent["src_port"].type(), Json::uintValue);
    EXPECT_EQ(sent["dst_port"].type(), Json::uintValue);
    EXPECT_EQ(client.toString(), Sent("send_snapshot", {"t1"},
                                      "[snapshot_uuid: s1 ,src_address: 127.0.0.3 ,dst_address: 127.0.0.4 "
                                      ",dst_snap_name: snap-copy ,src_port: 3262 ,dst_port: 3263 "
                                      ",is_full_sync_allowed: false ,is_data_encrypted: true] ,"));
}

// stop_sending, promote, demote, delete_task: the task uuid alone

TEST_F(ReplicationClient, TheUuidOnlyMethodsNeedNodeAndUuidAndSendTheUuid)
{
    struct Case {
        const char* method;
        std::function<std::unique_ptr<WebAPIClientReplication>(const ISCSI::ISCSINodeInfo&,
                                                               const std::string&)>
            make;
    };
    const Case cases[] = {
        {"stop_sending",
         [](auto& n, auto& u) { return std::make_unique<WebAPIClientReplicationStopSending>(n, u); }},
        {"promote", [](auto& n, auto& u) { return std::make_unique<WebAPIClientReplicationPromote>(n, u); }},
        {"demote", [](auto& n, auto& u) { return std::make_unique<WebAPIClientReplicationDemote>(n, u); }},
        {"delete_task",
         [](auto& n, auto& u) { return std::make_unique<WebAPIClientReplicationDeleteTask>(n, u); }},
    };
    for (const Case& c : cases) {
        Lib().Reset();
        EXPECT_TRUE(c.make(NoNode(), "t1")->isInvalid()) << c.method;
        auto empty = c.make(Node(), "");
        ExpectRefused(*empty);
        auto client = c.make(Node(), "t1");
        EXPECT_FALSE(client->isInvalid()) << c.method;
        ReplyByNode(R"({"success":true,"data":{"uuid":"other"}})");
        EXPECT_EQ(client->send(), 0) << c.method;
        EXPECT_EQ(SentByNode(),
                  std::string("node-b-uuid KOVA.Core.ISCSI.Replication ") + c.method + R"( 1 {"uuid":"t1"})");
        EXPECT_EQ(client->uuid, "t1") << c.method;
        ReplyByNode(R"({"success":false,"error":{"code":18990831}})");
        EXPECT_EQ(client->send(), 18990831) << c.method;
    }
}

TEST_F(ReplicationClient, TheUuidOnlyMethodsHaveTheStandardText)
{
    WebAPIClientReplicationStopSending stop(Node(), "t1");
    EXPECT_EQ(stop.toString(), Unsent({"t1"}));
    stop.send();
    EXPECT_EQ(stop.toString(), Sent("stop_sending", {"t1"}));
    WebAPIClientReplicationPromote promote(Node(), "t1");
    promote.send();
    EXPECT_EQ(promote.toString(), Sent("promote", {"t1"}));
    WebAPIClientReplicationDemote demote(Node(), "t1");
    demote.send();
    EXPECT_EQ(demote.toString(), Sent("demote", {"t1"}));
    WebAPIClientReplicationDeleteTask deleteTask(Node(), "t1");
    deleteTask.send();
    EXPECT_EQ(deleteTask.toString(), Sent("delete_task", {"t1"}));
}

// compute_unsync_size

TEST_F(ReplicationClient, ComputeUnsyncSizeNeedsNodeAndUuidOnlyAndSendsBothSnapshotsEvenEmpty)
{
    EXPECT_TRUE(WebAPIClientReplicationComputeUnsyncSize(NoNode(), "t1", "s0", "s1").isInvalid());
    WebAPIClientReplicationComputeUnsyncSize empty(Node(), "", "s0", "s1");
    ExpectRefused(empty);
    WebAPIClientReplicationComputeUnsyncSize client(Node(), "t1", "", "");
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Replication compute_unsync_size 1 "
                            R"({"base_snapshot_uuid":"","sending_snapshot_uuid":"","uuid":"t1"})");
    WebAPIClientReplicationComputeUnsyncSize both(Node(), "t1", "s0", "s1");
    both.send();
    EXPECT_EQ(SentParams(), R"({"base_snapshot_uuid":"s0","sending_snapshot_uuid":"s1","uuid":"t1"})");
    EXPECT_EQ(both.toString(), Sent("compute_unsync_size", {"t1"}));
}

// get_unsync_size

TEST_F(ReplicationClient, GetUnsyncSizeNeedsNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientReplicationGetUnsyncSize(Node(), "t1", "").isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationGetUnsyncSize(NoNode(), "t1", "s1").isInvalid());
    WebAPIClientReplicationGetUnsyncSize empty(Node(), "", "s1");
    ExpectRefused(empty);
}

TEST_F(ReplicationClient, GetUnsyncSizeReadsErrnoAndTheThreeSizes)
{
    WebAPIClientReplicationGetUnsyncSize client(Node(), "t1", "s1");
    ReplyByNode(R"({"success":true,"data":{"errno":28,"total_size":4096,"scanned_size":2048,)"
                R"("unsync_size":18446744073709551615}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Replication get_unsync_size 1 "
                            R"({"sending_snapshot_uuid":"s1","uuid":"t1"})");
    EXPECT_EQ(client.err_no, 28);
    EXPECT_EQ(client.total_size, 4096u);
    EXPECT_EQ(client.scanned_size, 2048u);
    EXPECT_EQ(client.unsync_size, 18446744073709551615ull);
    EXPECT_EQ(client.toString(), Sent("get_unsync_size", {"t1"}));
}

TEST_F(ReplicationClient, GetUnsyncSizeLeavesFieldsOnMissingKeysOrAFailedSend)
{
    WebAPIClientReplicationGetUnsyncSize client(Node(), "t1", "s1");
    client.total_size = 9;
    ReplyByNode(R"({"success":true,"data":{"errno":"EIO","scanned_size":1.5}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.err_no, 0);
    EXPECT_EQ(client.total_size, 9u);
    EXPECT_EQ(client.scanned_size, 1u);
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
    EXPECT_EQ(client.total_size, 9u);
}

// check_node

TEST_F(ReplicationClient, CheckNodeNeedsNodeDestinationUuidAndAddress)
{
    EXPECT_FALSE(WebAPIClientReplicationCheckNode(Node(), "node-c", "127.0.0.4", 0, false).isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationCheckNode(NoNode(), "node-c", "127.0.0.4", 0, false).isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationCheckNode(Node(), "", "127.0.0.4", 0, false).isInvalid());
    WebAPIClientReplicationCheckNode noAddress(Node(), "node-c", "", 3261, true);
    ExpectRefused(noAddress);
}

TEST_F(ReplicationClient, CheckNodeSendsThePortOnlyWhenSet)
{
    WebAPIClientReplicationCheckNode client(Node(), "node-c", "127.0.0.4", 0, true);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Replication check_node 1 "
                            R"({"chk_blun_conn":true,"dst_address":"127.0.0.4","dst_node_uuid":"node-c"})");
    WebAPIClientReplicationCheckNode port(Node(), "node-c", "127.0.0.4", 3262, false);
    EXPECT_EQ(
        port.toString(),
        Unsent({"", "true", "UNKNOWN", "", "", "", "node-c"},
               "[dst_node_uuid: node-c ,dst_address: 127.0.0.4 ,dst_port: 3262 ,chk_blun_conn: false] ,"));
    port.send();
    EXPECT_EQ(
        SentParams(),
        R"({"chk_blun_conn":false,"dst_address":"127.0.0.4","dst_node_uuid":"node-c","dst_port":3262})");
    EXPECT_EQ(
        port.toString(),
        Sent("check_node", {"", "true", "UNKNOWN", "", "", "", "node-c"},
             "[dst_node_uuid: node-c ,dst_address: 127.0.0.4 ,dst_port: 3262 ,chk_blun_conn: false] ,"));
}

// create_task

TEST_F(ReplicationClient, CreateTaskNeedsNodeBothLunsAndBothNodesButNoUuid)
{
    using C = WebAPIClientReplicationCreateTask;
    EXPECT_FALSE(C(Node(), "", true, "ls", "ld", "ns", "nd").isInvalid());
    EXPECT_TRUE(C(NoNode(), "t0", true, "ls", "ld", "ns", "nd").isInvalid());
    EXPECT_TRUE(C(Node(), "t0", true, "", "ld", "ns", "nd").isInvalid());
    EXPECT_TRUE(C(Node(), "t0", true, "ls", "", "ns", "nd").isInvalid());
    EXPECT_TRUE(C(Node(), "t0", true, "ls", "ld", "", "nd").isInvalid());
    C noDst(Node(), "t0", false, "ls", "ld", "ns", "");
    ExpectRefused(noDst);
}

TEST_F(ReplicationClient, CreateTaskWithAnEmptyUuidSendsNoSrcTaskUuid)
{
    WebAPIClientReplicationCreateTask client(Node(), "", true, "ls", "ld", "ns", "nd");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(),
              "node-b-uuid KOVA.Core.ISCSI.Replication create_task 1 "
              R"({"dst_lun_uuid":"ld","dst_node_uuid":"nd","is_source":true,"src_lun_uuid":"ls",)"
              R"("src_node_uuid":"ns"})");
}

TEST_F(ReplicationClient, CreateTaskSendsTheUuidAsSrcTaskUuidAndReadsTheNewTaskUuid)
{
    WebAPIClientReplicationCreateTask client(Node(), "t-src", false, "ls", "ld", "ns", "nd");
    ReplyByNode(R"({"success":true,"data":{"uuid":"t-dst"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(),
              R"({"dst_lun_uuid":"ld","dst_node_uuid":"nd","is_source":false,"src_lun_uuid":"ls",)"
              R"("src_node_uuid":"ns","src_task_uuid":"t-src"})");
    EXPECT_TRUE(SentJson()["is_source"].isBool());
    EXPECT_EQ(client.uuid, "t-dst");
    EXPECT_EQ(client.toString(), Sent("create_task", {"t-dst", "false", "UNKNOWN", "ls", "ld", "ns", "nd"}));
}

// get_base_version

TEST_F(ReplicationClient, GetBaseVersionNeedsNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientReplicationGetBaseVersion(Node(), "t1", "", {}).isInvalid());
    EXPECT_TRUE(WebAPIClientReplicationGetBaseVersion(NoNode(), "t1", "v1", {}).isInvalid());
    WebAPIClientReplicationGetBaseVersion empty(Node(), "", "ls", "ld", "v1", {});
    ExpectRefused(empty);
}

TEST_F(ReplicationClient, GetBaseVersionSendsTheDstLunUuidUnderLunUuid)
{
    WebAPIClientReplicationGetBaseVersion client(Node(), "t1", "lun-s", "lun-d", "v3", {});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Replication get_base_version 1 "
                            R"({"lun_uuid":"lun-d","source_snapshots":[],"sync_version":"v3","uuid":"t1"})");
}

TEST_F(ReplicationClient, GetBaseVersionWithoutLunsSendsNoLunUuidButAlwaysTheSyncVersion)
{
    WebAPIClientReplicationGetBaseVersion client(Node(), "t1", "", {});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"source_snapshots":[],"sync_version":"","uuid":"t1"})");
    EXPECT_TRUE(SentJson()["source_snapshots"].isArray());
}

TEST_F(ReplicationClient, GetBaseVersionSendsACopyOfTheSnapshotsInTheirJsonForm)
{
    std::vector<ISCSI::ISCSISnapshotInfo> snapshots(2);
    snapshots[0].uuid = "snap-1";
    snapshots[0].version = "v1";
    snapshots[1].uuid = "snap-2";
    snapshots[1].version = "v2";
    WebAPIClientReplicationGetBaseVersion client(Node(), "t1", "v1", snapshots);
    snapshots.clear();
    EXPECT_EQ(client.send(), 0);
    const Json::Value sent = SentJson()["source_snapshots"];
    ASSERT_EQ(sent.size(), 2u);
    Json::Value first;
    client.snapshots[0].toJsonFormat(first);
    EXPECT_EQ(KOVA::toString(sent[0]), KOVA::toString(first));
    EXPECT_EQ(sent[1]["uuid"].asString(), "snap-2");
    EXPECT_EQ(sent[1]["version"].asString(), "v2");
}

TEST_F(ReplicationClient, GetBaseVersionReadsItsFiveKeys)
{
    WebAPIClientReplicationGetBaseVersion client(Node(), "t1", "lun-s", "lun-d", "v3", {});
    const FamilyFields fields{"t1", "true", "UNKNOWN", "lun-s", "lun-d"};
    EXPECT_EQ(client.toString(),
              Unsent(fields, "[base_version:  ,need_full_sync: false ,do_restore: false ,btrfs_token: ] ,"));
    ReplyByNode(R"({"success":true,"data":{"base_version":"v2","need_full_sync":true,"do_restore":true,)"
                R"("btrfs_token":"tok-1","snap_recv_dir":"/volume1/@recv"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.base_version, "v2");
    EXPECT_TRUE(client.need_full_sync);
    EXPECT_TRUE(client.do_restore);
    EXPECT_EQ(client.btrfs_token, "tok-1");
    EXPECT_EQ(client.snap_recv_dir, "/volume1/@recv");
    EXPECT_EQ(client.toString(),
              Sent("get_base_version", fields,
                   "[base_version: v2 ,need_full_sync: true ,do_restore: true ,btrfs_token: "
                   "tok-1] ,"));
}

TEST_F(ReplicationClient, GetBaseVersionLeavesFieldsOnAReplyWithoutDataOrAnError)
{
    WebAPIClientReplicationGetBaseVersion client(Node(), "t1", "v3", {});
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.base_version, "");
    ReplyByNode(R"({"error":{"code":18990852},"data":{"base_version":"v2"}})");
    EXPECT_EQ(client.send(), 18990852);
    EXPECT_EQ(client.base_version, "");
}

// get_token, clean_token

TEST_F(ReplicationClient, GetTokenNeedsNodeAndDirectoryAndReadsTheToken)
{
    EXPECT_TRUE(WebAPIClientReplicationGetToken(NoNode(), "/volume1/recv").isInvalid());
    WebAPIClientReplicationGetToken empty(Node(), "");
    ExpectRefused(empty);
    WebAPIClientReplicationGetToken client(Node(), "/volume1/recv");
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.toString(), Unsent({}, "[dst_dir_path: /volume1/recv ,btrfs_token: ] ,"));
    ReplyByNode(R"({"success":true,"data":{"btrfs_token":"tok-9"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(),
              R"(node-b-uuid KOVA.Core.ISCSI.Replication get_token 1 {"dst_dir_path":"/volume1/recv"})");
    EXPECT_EQ(client.btrfs_token, "tok-9");
    EXPECT_EQ(client.toString(),
              Sent("get_token", {}, "[dst_dir_path: /volume1/recv ,btrfs_token: tok-9] ,"));
    ReplyByNode(R"({"success":true,"data":{"btrfs_token":{}}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.btrfs_token, "tok-9");
}

TEST_F(ReplicationClient, CleanTokenNeedsNodeAndTokenAndSendsIt)
{
    EXPECT_TRUE(WebAPIClientReplicationCleanToken(NoNode(), "tok-9").isInvalid());
    WebAPIClientReplicationCleanToken empty(Node(), "");
    ExpectRefused(empty);
    WebAPIClientReplicationCleanToken client(Node(), "tok-9");
    EXPECT_EQ(client.toString(), Unsent({}, "[btrfs_token: tok-9] ,"));
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(),
              R"(node-b-uuid KOVA.Core.ISCSI.Replication clean_token 1 {"btrfs_token":"tok-9"})");
    EXPECT_EQ(client.toString(), Sent("clean_token", {}, "[btrfs_token: tok-9] ,"));
}

} // namespace
