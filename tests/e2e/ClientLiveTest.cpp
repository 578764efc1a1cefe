// Client classes sent through a node channel that carries their requests over HTTP to a real
// daemon on loopback, loaded with the module over the recording double: the keys each client
// sends are the ones the handler reads (the daemon's storage-library calls show them), and
// what the handler answers is what the client reads back. One or more leaves of each family.
#include "DaemonProcess.h"
#include "HttpClient.h"
#include "LibDouble.h"
#include "net/NodeChannel.h"

#include <kova/JsonText.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNLoopMount.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNTop.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpTargetConnect.h>
#include <webapi-iSCSI/node/WebAPIClientNodeLogList.h>
#include <webapi-iSCSI/replication/WebAPIClientReplicationList.h>
#include <webapi-iSCSI/target/WebAPIClientTargetCreate.h>
#include <webapi-iSCSI/vlun/WebAPIClientVLUNCreate.h>
#include <webapi-iSCSI/vlun/WebAPIClientVLUNGet.h>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>

using namespace KOVATest;

namespace {

const char LUN_UUID[] = "0a1b2c3d-4e5f-4a6b-9c7d-8e9fa0b1c2d3";
const char VLUN_UUID[] = "6f1c2d3e-4a5b-4c6d-8e7f-0123456789ab";

// Standing answers of the daemon's storage library.
const char SCRIPT[] = R"({
  "ISCSILUNInfo::GetLunUuid": {"code": 0, "out": {"uuid": "0a1b2c3d-4e5f-4a6b-9c7d-8e9fa0b1c2d3"}},
  "ISCSILIBVLUN::createVLUN": {"code": 0, "out": {"ISCSILIBVLUN::uuid": "6f1c2d3e-4a5b-4c6d-8e7f-0123456789ab"}},
  "ISCSILIBVLUN::loadStatus": {"code": 0, "out": {"status": 2, "sync_size": 4096, "total_size": 1073741824}},
  "ISCSILIBLUN::loopMount": {"code": 0, "out": {"loop_dev_path": "/dev/loop9"}},
  "ISCSILUNInfo::ListIOStat": {"code": 0, "out": {"iostats": {"lun1": {"read_iops": 12}}}},
  "ISCSILIBTarget::createTarget": {"code": 0, "out": {"ISCSILIBTarget::tid": 7}},
  "ISCSILIBLUNBKP::targetConnect": {"code": 0, "out": {"block_dev_path": "iscsi://127.0.0.3:3260/iqn.2026-11.com.example:t1/1"}},
  "ISCSILIBReplication::ListTask": {"code": 0, "out": {"tasks": [{"uuid": "task-1", "type": 1,
      "src_lun_uuid": "0a1b2c3d-4e5f-4a6b-9c7d-8e9fa0b1c2d3", "dst_lun_uuid": "lun-b", "src_node_uuid": "node-a", "dst_node_uuid": "node-b",
      "root_path": "/volume1", "parent_task_uuid": ""}]}},
  "ISCSILogInfo::ListLog": {"code": 0, "out": {"logs": [{"id": 4, "time": 1795000000, "level": "warning",
      "user": "admin", "message": "LUN lun1 deleted", "is_unread": true}], "level_counts": {"warning": 1}}}
})";

class ClientLive : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        DaemonProcess::Config config;
        config.script = SCRIPT;
        daemon = new DaemonProcess(config);
        http = new HttpClient();
        if (daemon->Running())
            daemon->Login(*http);
        // The node channel of this process: the request as the daemon's wire takes it.
        SetNodeChannelForwarder([](const std::string&, const std::string& api, const std::string& method,
                                   int version, const Json::Value& params, Json::Value& reply) {
            Json::Value body;
            body["api"] = api;
            body["version"] = version;
            body["method"] = method;
            body["params"] = params;
            const HttpResult result = http->Post(daemon->EntryUrl(), KOVA::toString(body));
            reply = result.Json();
            return result.Ok() && result.status == 200 && reply.isObject();
        });
    }
    static void TearDownTestSuite()
    {
        SetNodeChannelForwarder(nullptr);
        delete http;
        delete daemon;
        http = nullptr;
        daemon = nullptr;
    }
    void SetUp() override
    {
        ASSERT_TRUE(daemon && daemon->Running()) << "the daemon did not start";
        LibDouble::Get().Reset();
        mark = daemon->CallsMark();
    }

    // The daemon's storage-library calls since the test began.
    std::string DaemonCalls() const { return daemon->CallsSince(mark); }

    static ISCSI::ISCSINodeInfo Node()
    {
        return ISCSI::ISCSINodeInfo("node-b-uuid", "", "127.0.0.1", 0, "http", "", "admin", false);
    }

    static DaemonProcess* daemon;
    static HttpClient* http;
    size_t mark = 0;
};

DaemonProcess* ClientLive::daemon = nullptr;
HttpClient* ClientLive::http = nullptr;

} // namespace

TEST_F(ClientLive, VLUNCreateReachesTheHandlerAndReadsTheNewUuid)
{
    ISCSI::WebAPI::APIVLUN::WebAPIClientVLUNCreate client(Node(), LUN_UUID, ISCSI::ISCSI_VLUN_TYPE_1);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, VLUN_UUID);
    EXPECT_NE(DaemonCalls().find(std::string("ISCSILIBVLUN::ISCSILIBVLUN([1,\"") + LUN_UUID + "\"])"),
              std::string::npos)
        << DaemonCalls();
}

TEST_F(ClientLive, VLUNGetReadsStatusAndSizes)
{
    ISCSI::WebAPI::APIVLUN::WebAPIClientVLUNGet client(Node(), VLUN_UUID);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.status, 2);
    EXPECT_EQ(client.sync_size, 4096u);
    EXPECT_EQ(client.total_size, 1073741824u);
    EXPECT_NE(DaemonCalls().find(std::string("ISCSILIBVLUN::ISCSILIBVLUN([\"") + VLUN_UUID + "\"])"),
              std::string::npos)
        << DaemonCalls();
}

TEST_F(ClientLive, ARefusedRequestAnswersTheHandlersCode)
{
    ISCSI::WebAPI::APIVLUN::WebAPIClientVLUNGet client(Node(), "not-a-uuid");
    EXPECT_EQ(client.send(), 18991001);
    EXPECT_EQ(client.status, 0);
}

TEST_F(ClientLive, LUNLoopMountReadsTheLoopDevice)
{
    ISCSI::WebAPI::APILUN::WebAPIClientLUNLoopMount client(Node(), LUN_UUID);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.loop_dev_path, "/dev/loop9");
    EXPECT_NE(DaemonCalls().find("ISCSILIBLUN::loopMount"), std::string::npos) << DaemonCalls();
}

TEST_F(ClientLive, LUNTopSendsItsFilterAndKeepsTheStatsAsText)
{
    ISCSI::WebAPI::APILUN::WebAPIClientLUNTop client(Node(), true, "location", "/volume1", {});
    EXPECT_EQ(client.send(), 0);
    Json::Value stats;
    ASSERT_TRUE(KOVA::fromString(stats, client.iostats)) << client.iostats;
    EXPECT_EQ(stats["lun1"]["read_iops"].asInt(), 12);
    EXPECT_NE(DaemonCalls().find(R"({"attr":"location","value":"/volume1"})"), std::string::npos)
        << DaemonCalls();
}

TEST_F(ClientLive, TargetCreateReachesTheHandlerAndReadsTheTargetId)
{
    ISCSI::WebAPI::APITarget::WebAPIClientTargetCreate client(Node(), "t1", "iqn.2026-11.com.example:t1",
                                                              static_cast<ISCSI_AUTH_TYPE>(0), "", "", "", "",
                                                              4, false);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target_id, "7");
    EXPECT_NE(DaemonCalls().find("iqn.2026-11.com.example:t1"), std::string::npos) << DaemonCalls();
    EXPECT_NE(DaemonCalls().find("ISCSILIBTarget::createTarget"), std::string::npos) << DaemonCalls();
}

TEST_F(ClientLive, LunbkpTargetConnectReadsTheBlockDevicePath)
{
    ISCSI::WebAPI::APILUNBKP::WebAPIClientLunbkpTargetConnect client(Node(), "127.0.0.3",
                                                                     "iqn.2026-11.com.example:t1");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.block_dev_path, "iscsi://127.0.0.3:3260/iqn.2026-11.com.example:t1/1");
    EXPECT_NE(
        DaemonCalls().find(R"(ISCSILIBLUNBKP::targetConnect(["127.0.0.3","iqn.2026-11.com.example:t1")"),
        std::string::npos)
        << DaemonCalls();
}

TEST_F(ClientLive, ReplicationListReadsTheTasksTheHandlerAnswers)
{
    ISCSI::WebAPI::APIReplication::WebAPIClientReplicationList client(Node(), LUN_UUID);
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.tasks.size(), 1u);
    EXPECT_EQ(client.tasks[0].uuid, "task-1");
    EXPECT_EQ(client.tasks[0].dst_node.uuid, "node-b");
    EXPECT_NE(DaemonCalls().find("ISCSILIBReplication::ListTask"), std::string::npos) << DaemonCalls();
}

TEST_F(ClientLive, NodeLogListSendsItsFiltersAndReadsTheLines)
{
    ISCSI::WebAPI::APINode::WebAPIClientNodeLogList client(Node(), 0, 10, -1, -1, "deleted", {"warning"}, {});
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.logs.size(), 1u);
    EXPECT_EQ(client.logs[0].message, "LUN lun1 deleted");
    EXPECT_EQ(client.summary["warn_count"], 1u);
    EXPECT_NE(DaemonCalls().find(R"(["warning"],"deleted")"), std::string::npos) << DaemonCalls();
}
