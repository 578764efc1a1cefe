// Data code of the node, replication task and log line records: constructors, JSON forms and
// their reading back, texts for logs, and the node's validity rule.
#include <iscsi/ISCSILogInfo.h>
#include <iscsi/ISCSINodeInfo.h>
#include <iscsi/ISCSITaskInfo.h>
#include <kova/JsonText.h>

#include "RecordTestHelpers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using ISCSI::ISCSILogInfo;
using ISCSI::ISCSILUNInfo;
using ISCSI::ISCSINodeInfo;
using ISCSI::ISCSITaskInfo;
using RecordTest::Parse;

std::vector<std::string> Keys(const Json::Value& object)
{
    std::vector<std::string> keys = object.getMemberNames();
    return keys;
}

ISCSINodeInfo RemoteNode()
{
    return ISCSINodeInfo("6f1c2a9e-0b7d-4c1e-9a35-2d8e4f6a7b10", "sid-42", "nas2.example", 5001, "https",
                         "rk-1", "admin", false);
}

ISCSINodeInfo LoginNode()
{
    ISCSINodeInfo node;
    node.hostname = "10.0.0.2";
    node.port = 5000;
    node.protocol = "http";
    node.account = "admin";
    node.password = "secret";
    return node;
}

// Node record.

TEST(NodeRecord, DefaultConstructorLeavesEverythingEmpty)
{
    const ISCSINodeInfo node;
    EXPECT_EQ(node.uuid, "");
    EXPECT_EQ(node.session_id, "");
    EXPECT_EQ(node.hostname, "");
    EXPECT_EQ(node.port, 0);
    EXPECT_EQ(node.protocol, "");
    EXPECT_EQ(node.rod_key, "");
    EXPECT_EQ(node.account, "");
    EXPECT_FALSE(node.is_local_node);
    EXPECT_EQ(node.password, "");
    EXPECT_EQ(node.otp_code, "");
}

TEST(NodeRecord, EightArgumentConstructorTakesTheFieldsInOrder)
{
    const ISCSINodeInfo node("u", "s", "h", 443, "https", "k", "a", true);
    EXPECT_EQ(node.uuid, "u");
    EXPECT_EQ(node.session_id, "s");
    EXPECT_EQ(node.hostname, "h");
    EXPECT_EQ(node.port, 443);
    EXPECT_EQ(node.protocol, "https");
    EXPECT_EQ(node.rod_key, "k");
    EXPECT_EQ(node.account, "a");
    EXPECT_TRUE(node.is_local_node);
    EXPECT_EQ(node.password, "");
    EXPECT_EQ(node.otp_code, "");
}

TEST(NodeRecord, UuidConstructorNamesOnlyTheNode)
{
    const ISCSINodeInfo node(std::string("node-1"));
    EXPECT_EQ(node.uuid, "node-1");
    EXPECT_EQ(node.hostname, "");
    EXPECT_EQ(node.account, "");
    EXPECT_EQ(node.session_id, "");
    EXPECT_EQ(node.port, 0);
}

TEST(NodeRecord, SessionConstructorsTakeCallerAddressLoginNameAndSession)
{
    const ISCSINodeInfo opening("192.168.1.7", "alice");
    EXPECT_EQ(opening.hostname, "192.168.1.7");
    EXPECT_EQ(opening.account, "alice");
    EXPECT_EQ(opening.session_id, "");
    EXPECT_EQ(opening.uuid, "");

    const ISCSINodeInfo closing("192.168.1.7", "alice", "sess-9");
    EXPECT_EQ(closing.hostname, "192.168.1.7");
    EXPECT_EQ(closing.account, "alice");
    EXPECT_EQ(closing.session_id, "sess-9");
    EXPECT_EQ(closing.uuid, "");
}

TEST(NodeRecord, JsonFormHasTheEightKeysAndNoCredentials)
{
    ISCSINodeInfo node = RemoteNode();
    node.password = "secret";
    node.otp_code = "123456";
    Json::Value j("stale");
    ASSERT_EQ(node.toJsonFormat(j), 0);
    EXPECT_EQ(KOVA::toString(j),
              "{\"account\":\"admin\",\"hostname\":\"nas2.example\",\"is_local_node\":false,"
              "\"port\":5001,\"protocol\":\"https\",\"rod_key\":\"rk-1\","
              "\"session_id\":\"sid-42\",\"uuid\":\"6f1c2a9e-0b7d-4c1e-9a35-2d8e4f6a7b10\"}");
    EXPECT_TRUE(j["port"].isIntegral());
    EXPECT_TRUE(j["is_local_node"].isBool());
}

TEST(NodeRecord, JsonRoundTripKeepsEveryField)
{
    const ISCSINodeInfo node("u", "s", "h", 65535, "https", "k", "a", true);
    Json::Value j;
    ASSERT_EQ(node.toJsonFormat(j), 0);
    ISCSINodeInfo back;
    ASSERT_EQ(back.loadFromJson(j), 0);
    EXPECT_EQ(back.uuid, "u");
    EXPECT_EQ(back.session_id, "s");
    EXPECT_EQ(back.hostname, "h");
    EXPECT_EQ(back.port, 65535);
    EXPECT_EQ(back.protocol, "https");
    EXPECT_EQ(back.rod_key, "k");
    EXPECT_EQ(back.account, "a");
    EXPECT_TRUE(back.is_local_node);
}

TEST(NodeRecord, LoadFromJsonLeavesAbsentKeysAndNeverReadsCredentials)
{
    ISCSINodeInfo node = RemoteNode();
    node.password = "secret";
    ASSERT_EQ(node.loadFromJson(Parse(R"({"hostname":"nas3","password":"x","otp_code":"1"})")), 0);
    EXPECT_EQ(node.hostname, "nas3");
    EXPECT_EQ(node.uuid, "6f1c2a9e-0b7d-4c1e-9a35-2d8e4f6a7b10");
    EXPECT_EQ(node.port, 5001);
    EXPECT_EQ(node.password, "secret");
    EXPECT_EQ(node.otp_code, "");
}

TEST(NodeRecord, LoadFromJsonRefusesMalformedFormsAndChangesNothing)
{
    const char* bad[] = {
        "null",
        "[]",
        R"("node")",
        R"({"uuid":"new","port":"5000"})",
        R"({"uuid":"new","port":65536})",
        R"({"uuid":"new","port":-1})",
        R"({"uuid":"new","port":80.5})",
        R"({"uuid":"new","port":80.0})",
        R"({"uuid":5})",
        R"({"uuid":"new","hostname":null})",
        R"({"uuid":"new","is_local_node":1})",
        R"({"uuid":"new","rod_key":["k"]})",
    };
    for (const char* text : bad) {
        ISCSINodeInfo node = RemoteNode();
        EXPECT_EQ(node.loadFromJson(Parse(text)), ISCSI::ISCSI_ERR_NODE_RECORD_INVALID) << text;
        EXPECT_EQ(node.uuid, "6f1c2a9e-0b7d-4c1e-9a35-2d8e4f6a7b10") << text;
        EXPECT_EQ(node.port, 5001) << text;
    }
    EXPECT_EQ(ISCSI::ISCSI_ERR_NODE_RECORD_INVALID, 18990204);
}

TEST(NodeRecord, TextNamesEveryJsonFieldButNoCredentials)
{
    ISCSINodeInfo node = RemoteNode();
    node.password = "secret";
    node.otp_code = "123456";
    EXPECT_EQ(node.toString(),
              "uuid: 6f1c2a9e-0b7d-4c1e-9a35-2d8e4f6a7b10, session_id: sid-42, hostname: nas2.example, "
              "port: 5001, protocol: https, rod_key: rk-1, account: admin, is_local_node: false");
    EXPECT_EQ(
        ISCSINodeInfo().toString(),
        "uuid: , session_id: , hostname: , port: 0, protocol: , rod_key: , account: , is_local_node: false");
}

TEST(NodeRecord, ByUuidAValidNodeNeedsOnlyItsUuid)
{
    EXPECT_FALSE(ISCSINodeInfo(std::string("node-1")).isInvalid(false));
    EXPECT_TRUE(ISCSINodeInfo().isInvalid(false));
    // Connection data does not stand in for the uuid.
    EXPECT_TRUE(LoginNode().isInvalid(false));
}

TEST(NodeRecord, WithItsOwnSessionFieldsALoginNeedsHostPortProtocolAccountAndPassword)
{
    EXPECT_FALSE(LoginNode().isInvalid(true));

    ISCSINodeInfo node = LoginNode();
    node.hostname.clear();
    EXPECT_TRUE(node.isInvalid(true));
    node = LoginNode();
    node.port = 0;
    EXPECT_TRUE(node.isInvalid(true));
    node = LoginNode();
    node.protocol.clear();
    EXPECT_TRUE(node.isInvalid(true));
    node = LoginNode();
    node.account.clear();
    EXPECT_TRUE(node.isInvalid(true));
    node = LoginNode();
    node.password.clear();
    EXPECT_TRUE(node.isInvalid(true));
}

TEST(NodeRecord, WithItsOwnSessionFieldsTheUuidAndOneTimeCodeAreNotNeeded)
{
    ISCSINodeInfo node = LoginNode();
    ASSERT_EQ(node.uuid, "");
    ASSERT_EQ(node.otp_code, "");
    EXPECT_FALSE(node.isInvalid(true));
    // A uuid alone is no login.
    EXPECT_TRUE(ISCSINodeInfo(std::string("node-1")).isInvalid(true));
}

// Replication task record.

ISCSITaskInfo SourceTask()
{
    return ISCSITaskInfo("task-1", ISCSI_REP_TYPE_BLUN_SRC, ISCSILUNInfo("lun-src"), ISCSILUNInfo("lun-dst"),
                         ISCSINodeInfo(std::string("node-a")), ISCSINodeInfo(std::string("node-b")),
                         "/volume1/rep", "task-0");
}

TEST(TaskRecord, DefaultConstructorLeavesEverythingEmpty)
{
    const ISCSITaskInfo task;
    EXPECT_EQ(task.uuid, "");
    EXPECT_EQ(task.type, ISCSI_REP_TYPE_NONE);
    EXPECT_EQ(task.src_lun.uuid, "");
    EXPECT_EQ(task.dst_lun.uuid, "");
    EXPECT_EQ(task.src_node.uuid, "");
    EXPECT_EQ(task.dst_node.uuid, "");
    EXPECT_EQ(task.root_path, "");
    EXPECT_EQ(task.parent_task_uuid, "");
}

TEST(TaskRecord, ConstructorTakesTheFieldsInOrder)
{
    ISCSINodeInfo dstNode = RemoteNode();
    const ISCSITaskInfo task("t", ISCSI_REP_TYPE_LOCAL_VDISK_BLUN_DST, ISCSILUNInfo("a"), ISCSILUNInfo("b"),
                             ISCSINodeInfo(std::string("n")), dstNode, "/volume2", "p");
    EXPECT_EQ(task.uuid, "t");
    EXPECT_EQ(task.type, ISCSI_REP_TYPE_LOCAL_VDISK_BLUN_DST);
    EXPECT_EQ(task.src_lun.uuid, "a");
    EXPECT_EQ(task.dst_lun.uuid, "b");
    EXPECT_EQ(task.src_node.uuid, "n");
    EXPECT_EQ(task.dst_node.uuid, dstNode.uuid);
    EXPECT_EQ(task.dst_node.hostname, "nas2.example");
    EXPECT_EQ(task.root_path, "/volume2");
    EXPECT_EQ(task.parent_task_uuid, "p");
}

TEST(TaskRecord, JsonFormHasTheEightKeys)
{
    Json::Value j;
    ASSERT_EQ(SourceTask().toJsonFormat(j), 0);
    EXPECT_EQ(KOVA::toString(j),
              "{\"dst_lun_uuid\":\"lun-dst\",\"dst_node_uuid\":\"node-b\",\"parent_task_uuid\":\"task-0\","
              "\"root_path\":\"/volume1/rep\",\"src_lun_uuid\":\"lun-src\",\"src_node_uuid\":\"node-a\","
              "\"type\":9,\"uuid\":\"task-1\"}");
    EXPECT_EQ(Keys(j).size(), 8u);
    EXPECT_TRUE(j["type"].isInt());
}

TEST(TaskRecord, JsonRoundTripKeepsEveryField)
{
    Json::Value j;
    ASSERT_EQ(SourceTask().toJsonFormat(j), 0);
    ISCSITaskInfo back;
    ASSERT_EQ(back.loadFromJson(j), 0);
    EXPECT_EQ(back.uuid, "task-1");
    EXPECT_EQ(back.type, ISCSI_REP_TYPE_BLUN_SRC);
    EXPECT_EQ(back.src_lun.uuid, "lun-src");
    EXPECT_EQ(back.dst_lun.uuid, "lun-dst");
    EXPECT_EQ(back.src_node.uuid, "node-a");
    EXPECT_EQ(back.dst_node.uuid, "node-b");
    EXPECT_EQ(back.root_path, "/volume1/rep");
    EXPECT_EQ(back.parent_task_uuid, "task-0");
    Json::Value again;
    ASSERT_EQ(back.toJsonFormat(again), 0);
    EXPECT_EQ(again, j);
}

TEST(TaskRecord, LoadFromJsonLeavesAbsentKeys)
{
    ISCSITaskInfo task = SourceTask();
    ASSERT_EQ(task.loadFromJson(Parse(R"({"uuid":"task-2","dst_lun_uuid":"lun-new"})")), 0);
    EXPECT_EQ(task.uuid, "task-2");
    EXPECT_EQ(task.dst_lun.uuid, "lun-new");
    EXPECT_EQ(task.type, ISCSI_REP_TYPE_BLUN_SRC);
    EXPECT_EQ(task.src_lun.uuid, "lun-src");
    EXPECT_EQ(task.parent_task_uuid, "task-0");
}

TEST(TaskRecord, LoadFromJsonKeepsATypeOutsideTheKnownValues)
{
    ISCSITaskInfo task;
    ASSERT_EQ(task.loadFromJson(Parse(R"({"type":7})")), 0);
    EXPECT_EQ(static_cast<int>(task.type), 7);
}

TEST(TaskRecord, LoadFromJsonRefusesMalformedFormsAndChangesNothing)
{
    const char* bad[] = {
        "null",
        "[]",
        R"({"uuid":"x","type":"9"})",
        R"({"uuid":"x","type":9.5})",
        R"({"uuid":"x","type":4294967296})",
        R"({"uuid":"x","type":true})",
        R"({"uuid":"x","src_lun_uuid":1})",
        R"({"uuid":"x","dst_node_uuid":null})",
        R"({"uuid":"x","root_path":{}})",
        R"({"uuid":"x","parent_task_uuid":false})",
    };
    for (const char* text : bad) {
        ISCSITaskInfo task = SourceTask();
        EXPECT_EQ(task.loadFromJson(Parse(text)), ISCSI::ISCSI_ERR_TASK_RECORD_INVALID) << text;
        EXPECT_EQ(task.uuid, "task-1") << text;
        EXPECT_EQ(task.type, ISCSI_REP_TYPE_BLUN_SRC) << text;
    }
}

TEST(TaskRecord, TextNamesEveryJsonField)
{
    EXPECT_EQ(SourceTask().toString(),
              "uuid: task-1, type: 9, src_lun_uuid: lun-src, dst_lun_uuid: lun-dst, src_node_uuid: node-a, "
              "dst_node_uuid: node-b, root_path: /volume1/rep, parent_task_uuid: task-0");
}

TEST(TaskRecord, ProgressRecordIsPlainAndZeroedByValueInitialisation)
{
    const _tag_iscsi_task_progress_ progress{};
    EXPECT_EQ(progress.total, 0u);
    EXPECT_EQ(progress.done, 0u);
    EXPECT_EQ(progress.sent, 0u);
    EXPECT_EQ(progress.err_no, 0);
    EXPECT_EQ(progress.status_code, 0);
}

// Log line record.

ISCSILogInfo WarningLine()
{
    return ISCSILogInfo(18446744073709551615ull, 1700000000, "warning", "admin", "LUN lun1 is almost full",
                        true);
}

TEST(LogRecord, DefaultConstructorLeavesEverythingEmpty)
{
    const ISCSILogInfo line;
    EXPECT_EQ(line.id, 0u);
    EXPECT_EQ(line.time, 0);
    EXPECT_EQ(line.level, "");
    EXPECT_EQ(line.user, "");
    EXPECT_EQ(line.message, "");
    EXPECT_FALSE(line.is_unread);
}

TEST(LogRecord, JsonFormHasTheSixKeys)
{
    Json::Value j;
    ASSERT_EQ(WarningLine().toJsonFormat(j), 0);
    EXPECT_EQ(KOVA::toString(j),
              "{\"id\":18446744073709551615,\"is_unread\":true,\"level\":\"warning\","
              "\"message\":\"LUN lun1 is almost full\",\"time\":1700000000,\"user\":\"admin\"}");
}

TEST(LogRecord, JsonRoundTripKeepsEveryField)
{
    const ISCSILogInfo line(3, -5, "err", "system", "tgtd died", false);
    Json::Value j;
    ASSERT_EQ(line.toJsonFormat(j), 0);
    ISCSILogInfo back = WarningLine();
    ASSERT_EQ(back.loadFromJson(j), 0);
    EXPECT_EQ(back.id, 3u);
    EXPECT_EQ(back.time, -5);
    EXPECT_EQ(back.level, "err");
    EXPECT_EQ(back.user, "system");
    EXPECT_EQ(back.message, "tgtd died");
    EXPECT_FALSE(back.is_unread);
}

TEST(LogRecord, LoadFromJsonLeavesAbsentKeys)
{
    ISCSILogInfo line = WarningLine();
    ASSERT_EQ(line.loadFromJson(Parse(R"({"is_unread":false})")), 0);
    EXPECT_FALSE(line.is_unread);
    EXPECT_EQ(line.level, "warning");
    EXPECT_EQ(line.time, 1700000000);
}

TEST(LogRecord, LoadFromJsonRefusesMalformedFormsAndChangesNothing)
{
    const char* bad[] = {
        "null",
        "[]",
        R"({"level":"info","id":-1})",
        R"({"level":"info","id":"1"})",
        R"({"level":"info","time":1.5})",
        R"({"level":"info","time":"now"})",
        R"({"level":1})",
        R"({"level":"info","user":null})",
        R"({"level":"info","message":[]})",
        R"({"level":"info","is_unread":"yes"})",
    };
    for (const char* text : bad) {
        ISCSILogInfo line = WarningLine();
        EXPECT_EQ(line.loadFromJson(Parse(text)), ISCSI::ISCSI_ERR_LOG_RECORD_INVALID) << text;
        EXPECT_EQ(line.level, "warning") << text;
        EXPECT_TRUE(line.is_unread) << text;
    }
}

TEST(LogRecord, TextNamesEveryField)
{
    EXPECT_EQ(WarningLine().toString(),
              "id: 18446744073709551615, time: 1700000000, level: warning, user: admin, "
              "message: LUN lun1 is almost full, is_unread: true");
}

TEST(LogRecord, ListFlagsAreTheTwoBits)
{
    EXPECT_EQ(ISCSI::ISCSI_LOG_LIST_UNREAD, 1);
    EXPECT_EQ(ISCSI::ISCSI_LOG_LIST_UPDATE_UNREAD, 2);
}

TEST(TaskRecord, ATypeNumberNoReplicationTypeCanHoldIsRefused)
{
    ISCSITaskInfo task;
    EXPECT_NE(task.loadFromJson(Parse(R"({"uuid":"t","type":128})")), 0);
    EXPECT_NE(task.loadFromJson(Parse(R"({"uuid":"t","type":-5})")), 0);
    EXPECT_EQ(task.loadFromJson(Parse(R"({"uuid":"t","type":9})")), 0);
    EXPECT_EQ(static_cast<int>(task.type), 9);
}

} // namespace
