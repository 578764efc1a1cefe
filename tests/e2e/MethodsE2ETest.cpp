// Every method of the module's table through the real daemon over HTTP, with the module built
// over the recording double: each row answers in the envelope, and one sample call per API
// shows its parameters reaching the storage library and its reply reaching the caller.
#include "DaemonProcess.h"
#include "HttpClient.h"

#include <kova/APITable.h>
#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <memory>
#include <string>
#include <vector>

using namespace KOVATest;

namespace {

// Standing answers of the double for the sample calls.
const char SCRIPT[] = R"({
  "ISCSILUNInfo::GetLunUuid": {"code": 0, "out": {"uuid": "0a1b2c3d-4e5f-4a6b-9c7d-8e9fa0b1c2d3"}},
  "ISCSILIBLUN::createLUN": {"code": 0, "out": {"ISCSILIBLUN::uuid": "6f1c2d3e-4a5b-4c6d-8e7f-0123456789ab",
                                                "ISCSILIBLUN::lun_id": 3}},
  "ISCSILIBTarget::createTarget": {"code": 0, "out": {"ISCSILIBTarget::tid": 7}},
  "ISCSILIBLUNBKP::targetConnect": {"code": 0, "out": {"block_dev_path": "/dev/sdq"}},
  "ISCSILogInfo::ExportLog": {"code": 0, "out": {"body": "time,level,message\n1,info,LUN created\n"}}
})";

struct Row {
    std::string api;
    std::string method;
    int version;
};

// The rows of the module's table, read the way the daemon reads them.
std::vector<Row> TableRows()
{
    std::vector<Row> rows;
    void* module = dlopen(KOVA_DOUBLE_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!module)
        return rows;
    auto getTable = reinterpret_cast<GetAPITableFn>(dlsym(module, "GetAPITable"));
    for (const KOVA::APITableRow* row = getTable ? getTable() : nullptr; row && row->api; ++row)
        rows.push_back(Row{row->api, row->method, row->version});
    dlclose(module);
    return rows;
}

std::string Body(const std::string& api, const std::string& method, const std::string& paramsJson)
{
    return R"({"api":")" + api + R"(","version":1,"method":")" + method + R"(","params":)" + paramsJson + "}";
}

class MethodsTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        DaemonProcess::Config config;
        config.script = SCRIPT;
        daemon = new DaemonProcess(config);
        client = new HttpClient();
        if (daemon->Running())
            daemon->Login(*client);
    }
    static void TearDownTestSuite()
    {
        delete client;
        delete daemon;
        client = nullptr;
        daemon = nullptr;
    }
    void SetUp() override { ASSERT_TRUE(daemon && daemon->Running()) << "the daemon did not start"; }

    // Calls a method; answers the reply and sets calls to the library calls it made.
    HttpResult Call(const std::string& api, const std::string& method, const std::string& paramsJson,
                    std::string& calls)
    {
        const size_t mark = daemon->CallsMark();
        HttpResult result = client->Post(daemon->EntryUrl(), Body(api, method, paramsJson));
        calls = daemon->CallsSince(mark);
        return result;
    }

    static DaemonProcess* daemon;
    static HttpClient* client;
};

DaemonProcess* MethodsTest::daemon = nullptr;
HttpClient* MethodsTest::client = nullptr;

TEST_F(MethodsTest, TheTableHolds98MethodsInSixAPIs)
{
    const std::vector<Row> rows = TableRows();
    EXPECT_EQ(rows.size(), 98u);
    std::vector<std::string> apis;
    for (const Row& row : rows)
        if (apis.empty() || apis.back() != row.api)
            apis.push_back(row.api);
    EXPECT_EQ(apis, (std::vector<std::string>{"KOVA.Core.ISCSI.LUN", "KOVA.Core.ISCSI.Target",
                                              "KOVA.Core.ISCSI.Replication", "KOVA.Core.ISCSI.VLUN",
                                              "KOVA.Core.ISCSI.Node", "KOVA.Core.ISCSI.Lunbkp"}));
}

// With no parameters each method either refuses its first required parameter with its own
// code or (for methods that need none) does its work: never a runtime error, never no answer.
TEST_F(MethodsTest, EveryMethodAnswersThroughTheDaemonInTheEnvelope)
{
    for (const Row& row : TableRows()) {
        std::string calls;
        const HttpResult result = Call(row.api, row.method, "{}", calls);
        const std::string where = row.api + " " + row.method;
        ASSERT_TRUE(result.Ok()) << where;
        EXPECT_EQ(result.status, 200) << where << ": " << result.body;
        const Json::Value reply = result.Json();
        ASSERT_TRUE(reply.isObject() && reply.isMember("success")) << where << ": " << result.body;
        if (!reply["success"].asBool()) {
            const int code = reply["error"]["code"].asInt();
            EXPECT_GE(code, 18990000) << where << ": " << result.body;
            EXPECT_LT(code, 19000000) << where << ": " << result.body;
        }
    }
}

TEST_F(MethodsTest, LUNCreateReachesTheLibraryAndAnswersTheNewLUN)
{
    std::string calls;
    const HttpResult result =
        Call("KOVA.Core.ISCSI.LUN", "create",
             R"({"name":"lun1","type":"thin","location":"/volume1","size":1073741824})", calls);
    EXPECT_EQ(result.Json()["data"]["uuid"].asString(), "6f1c2d3e-4a5b-4c6d-8e7f-0123456789ab")
        << result.body;
    EXPECT_EQ(result.Json()["data"]["lun_id"].asInt(), 3);
    EXPECT_EQ(calls, "ISCSILIBLUN::ISCSILIBLUN([\"lun1\",7,\"/volume1\",1073741824,8192,0,0,\"\",false])\n"
                     "ISCSILIBLUN::createLUN([\"\",\"\"])\n");
}

TEST_F(MethodsTest, LUNCreateRefusesABadNameWithItsCode)
{
    std::string calls;
    const HttpResult result = Call("KOVA.Core.ISCSI.LUN", "create",
                                   R"({"name":"-lun","type":7,"location":"/volume1","size":1})", calls);
    EXPECT_EQ(KOVA::toString(result.Json()), R"({"error":{"code":18990503},"success":false})");
    EXPECT_EQ(calls, "");
}

TEST_F(MethodsTest, TargetCreateReachesTheLibraryAndAnswersTheTargetId)
{
    std::string calls;
    const HttpResult result =
        Call("KOVA.Core.ISCSI.Target", "create",
             R"({"name":"t1","iqn":"iqn.2026-11.org.example:t1","auth_type":0})", calls);
    EXPECT_EQ(result.Json()["data"]["target_id"].asInt(), 7) << result.body;
    EXPECT_NE(calls.find("ISCSILIBTarget::createTarget([])"), std::string::npos) << calls;
}

TEST_F(MethodsTest, ReplicationListAnswersTheTasksOfTheLibrary)
{
    std::string calls;
    const HttpResult result = Call("KOVA.Core.ISCSI.Replication", "list", "{}", calls);
    EXPECT_TRUE(result.Json()["success"].asBool()) << result.body;
    EXPECT_NE(calls.find("ISCSILIBReplication::ListTask("), std::string::npos) << calls;
}

TEST_F(MethodsTest, NodeLogExportAnswersTheExportItselfNotJson)
{
    std::string calls;
    const HttpResult result = Call("KOVA.Core.ISCSI.Node", "log_export", R"({"export_format":"csv"})", calls);
    EXPECT_EQ(result.status, 200);
    EXPECT_EQ(result.body, "time,level,message\n1,info,LUN created\n");
    EXPECT_NE(result.contentType.find("text/csv"), std::string::npos) << result.contentType;
    EXPECT_NE(calls.find("ISCSILogInfo::ExportLog([\"csv\""), std::string::npos) << calls;
}

TEST_F(MethodsTest, NodeLogExportWithABadFormatAnswersJsonWithItsCode)
{
    std::string calls;
    const HttpResult result = Call("KOVA.Core.ISCSI.Node", "log_export", R"({"export_format":"CSV"})", calls);
    const Json::Value reply = result.Json();
    ASSERT_TRUE(reply.isObject()) << result.body;
    EXPECT_FALSE(reply["success"].asBool());
    EXPECT_EQ(calls, "");
}

TEST_F(MethodsTest, LunbkpTargetConnectAnswersTheBlockDevicePath)
{
    std::string calls;
    const HttpResult result =
        Call("KOVA.Core.ISCSI.Lunbkp", "target_connect",
             R"({"uuid":"lun1","target_ip":"127.0.0.1","target_iqn":"iqn.2026-11.org.example:t1"})", calls);
    EXPECT_EQ(result.Json()["data"]["block_dev_path"].asString(), "/dev/sdq") << result.body;
    EXPECT_NE(
        calls.find("ISCSILIBLUNBKP::targetConnect([\"127.0.0.1\",\"iqn.2026-11.org.example:t1\",\"\"])"),
        std::string::npos)
        << calls;
}

} // namespace
