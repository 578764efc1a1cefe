// kova-webapid end to end: the real daemon binary, the iSCSI module built over the recording
// double of the storage library, and real HTTP on 127.0.0.1.
#include "DaemonProcess.h"
#include "HttpClient.h"

#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <map>
#include <thread>
#include <vector>

using namespace KOVATest;

namespace {

const char VLUN[] = "KOVA.Core.ISCSI.VLUN";
const char NEW_VLUN_UUID[] = "6f1c2d3e-4a5b-4c6d-8e7f-0123456789ab";
const char SRC_LUN_UUID[] = "0a1b2c3d-4e5f-4a6b-9c7d-8e9fa0b1c2d3";
const char VLUN_UUID[] = "11111111-2222-4333-8444-555555555555";
const char DST_LUN_UUID[] = "aaaaaaaa-bbbb-4ccc-9ddd-eeeeeeeeeeee";

// The double's standing answers: createVLUN makes NEW_VLUN_UUID, loadStatus reports sizes
// above 2^32.
const char SCRIPT[] = R"({
  "ISCSILIBVLUN::createVLUN": {"code": 0, "out": {"ISCSILIBVLUN::uuid": "6f1c2d3e-4a5b-4c6d-8e7f-0123456789ab"}},
  "ISCSILIBVLUN::loadStatus": {"code": 0, "out": {"status": 2, "sync_size": 4294967297,
                                                  "total_size": 18446744073709551615}}
})";

DaemonProcess::Config StandardConfig()
{
    DaemonProcess::Config config;
    config.script = SCRIPT;
    return config;
}

std::string Body(const std::string& method, const std::string& paramsJson = "{}",
                 const std::string& api = VLUN, const std::string& version = "1")
{
    return R"({"api":")" + api + R"(","version":)" + version + R"(,"method":")" + method + R"(","params":)" +
           paramsJson + "}";
}

std::string Ctor(const std::string& argsJson)
{
    return "ISCSILIBVLUN::ISCSILIBVLUN(" + argsJson + ")\n";
}

class DaemonTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
        sid = daemon.Login(client);
        ASSERT_FALSE(sid.empty()) << daemon.Stderr();
    }

    // Posts a JSON body and checks the HTTP side of a handler's answer.
    HttpResult PostJson(const std::string& body)
    {
        HttpResult r = client.Post(daemon.EntryUrl(), body);
        EXPECT_TRUE(r.Ok()) << curl_easy_strerror(r.curl);
        return r;
    }

    void ExpectRuntimeError(const HttpResult& r, long status, int code)
    {
        EXPECT_TRUE(r.Ok()) << curl_easy_strerror(r.curl);
        EXPECT_EQ(r.status, status) << r.body;
        EXPECT_EQ(r.contentType, "application/json");
        EXPECT_EQ(r.body, R"({"success":false,"error":{"code":)" + std::to_string(code) + "}}");
    }

    DaemonProcess daemon{StandardConfig()};
    HttpClient client;
    std::string sid;
};

} // namespace

// ---------------------------------------------------------------- the VLUN methods

TEST_F(DaemonTest, CreateAnswersTheNewVLUNsUuidAndCallsTheLibrary)
{
    const size_t mark = daemon.CallsMark();
    const HttpResult r =
        PostJson(Body("create", R"({"src_lun_uuid":")" + std::string(SRC_LUN_UUID) + R"(","type":1})"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.contentType, "application/json");
    EXPECT_EQ(r.body, R"({"success":true,"data":{"uuid":")" + std::string(NEW_VLUN_UUID) + R"("}})");
    EXPECT_EQ(daemon.CallsSince(mark),
              Ctor(R"([1,")" + std::string(SRC_LUN_UUID) + R"("])") + "ISCSILIBVLUN::createVLUN([])\n");
}

TEST_F(DaemonTest, GetAnswersSizesAbove4GiBExactly)
{
    const size_t mark = daemon.CallsMark();
    const HttpResult r = PostJson(Body("get", R"({"uuid":")" + std::string(VLUN_UUID) + R"("})"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":{"status":2,"sync_size":4294967297,)"
                      R"("total_size":18446744073709551615}})");
    const Json::Value reply = r.Json();
    EXPECT_EQ(reply["data"]["sync_size"].asUInt64(), 4294967297ull);
    EXPECT_EQ(reply["data"]["total_size"].asUInt64(), std::numeric_limits<Json::UInt64>::max());
    EXPECT_EQ(daemon.CallsSince(mark),
              Ctor(R"([")" + std::string(VLUN_UUID) + R"("])") + "ISCSILIBVLUN::loadStatus([0,0,0])\n");
}

TEST_F(DaemonTest, ListAnswersSuccessWithNullData)
{
    const size_t mark = daemon.CallsMark();
    const HttpResult r = PostJson(Body("list", R"({"nonsense":[1,2]})"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
    EXPECT_EQ(daemon.CallsSince(mark), "");
}

TEST_F(DaemonTest, SetAndUnbindAnswerSuccessWithoutCallingTheLibrary)
{
    const size_t mark = daemon.CallsMark();
    for (const char* method : {"set", "unbind"}) {
        const HttpResult r = PostJson(Body(method, R"({"uuid":"anything"})"));
        EXPECT_EQ(r.status, 200) << method;
        EXPECT_EQ(r.body, R"({"success":true,"data":null})") << method;
    }
    EXPECT_EQ(daemon.CallsSince(mark), "");
}

TEST_F(DaemonTest, BindHandsTheFirstPortalToTheLibrary)
{
    const size_t mark = daemon.CallsMark();
    const HttpResult r = PostJson(Body(
        "bind", R"({"uuid":")" + std::string(VLUN_UUID) + R"(","dst_node_uuid":"node-7","dst_lun_uuid":")" +
                    DST_LUN_UUID + R"(","portals":["10.0.0.9:3260","10.0.0.1:3260","10.0.0.5:3260"]})"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
    EXPECT_EQ(daemon.CallsSince(mark), Ctor(R"([")" + std::string(VLUN_UUID) + R"("])") +
                                           R"(ISCSILIBVLUN::bind([")" + DST_LUN_UUID +
                                           R"(","node-7","10.0.0.9:3260"]))" + "\n");
}

TEST_F(DaemonTest, DeleteCallsDeleteVLUN)
{
    const size_t mark = daemon.CallsMark();
    const HttpResult r = PostJson(Body("delete", R"({"uuid":")" + std::string(VLUN_UUID) + R"("})"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
    EXPECT_EQ(daemon.CallsSince(mark),
              Ctor(R"([")" + std::string(VLUN_UUID) + R"("])") + "ISCSILIBVLUN::deleteVLUN([])\n");
}

TEST_F(DaemonTest, AnInvalidUuidIs18991001WithHttp200AndNoLibraryCall)
{
    const size_t mark = daemon.CallsMark();
    for (const char* method : {"get", "delete"}) {
        const HttpResult r = PostJson(Body(method, R"({"uuid":"not-a-uuid"})"));
        EXPECT_EQ(r.status, 200) << method;
        EXPECT_EQ(r.body, R"({"success":false,"error":{"code":18991001}})") << method;
    }
    const HttpResult missing = PostJson(Body("get"));
    EXPECT_EQ(missing.body, R"({"success":false,"error":{"code":18991001}})");
    EXPECT_EQ(daemon.CallsSince(mark), "");
}

TEST(DaemonLibraryError, ALibraryErrorCodeGoesOutUnchanged)
{
    DaemonProcess::Config config;
    config.script = R"({"ISCSILIBVLUN::deleteVLUN": {"code": 18990999},
                        "ISCSILIBVLUN::loadStatus": {"code": 18991002, "out": {"status": 5}}})";
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    ASSERT_FALSE(daemon.Login(client).empty()) << daemon.Stderr();
    HttpResult r =
        client.Post(daemon.EntryUrl(), Body("delete", R"({"uuid":")" + std::string(VLUN_UUID) + R"("})"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":18990999}})");
    r = client.Post(daemon.EntryUrl(), Body("get", R"({"uuid":")" + std::string(VLUN_UUID) + R"("})"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":18991002}})");
}

// ---------------------------------------------------------------- fields instead of JSON

TEST_F(DaemonTest, FormFieldsAreJsonWhenTheyParseAndTextOtherwise)
{
    const size_t mark = daemon.CallsMark();
    // type=1 arrives as the number 1, the uuid as text.
    HttpResult r = client.Post(daemon.EntryUrl(),
                               HttpClient::Encode({{"api", VLUN},
                                                   {"version", "1"},
                                                   {"method", "create"},
                                                   {"src_lun_uuid", SRC_LUN_UUID},
                                                   {"type", "3"}}),
                               "application/x-www-form-urlencoded");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":{"uuid":")" + std::string(NEW_VLUN_UUID) + R"("}})");
    EXPECT_EQ(daemon.CallsSince(mark),
              Ctor(R"([3,")" + std::string(SRC_LUN_UUID) + R"("])") + "ISCSILIBVLUN::createVLUN([])\n");

    // A JSON array in a field, and plain text for the node.
    const size_t mark2 = daemon.CallsMark();
    r = client.Post(daemon.EntryUrl(),
                    HttpClient::Encode({{"api", VLUN},
                                        {"version", "1"},
                                        {"method", "bind"},
                                        {"uuid", VLUN_UUID},
                                        {"dst_node_uuid", "node 1"},
                                        {"dst_lun_uuid", DST_LUN_UUID},
                                        {"portals", R"(["192.168.1.2:3260","192.168.1.1:3260"])"}}),
                    "application/x-www-form-urlencoded");
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
    EXPECT_EQ(daemon.CallsSince(mark2), Ctor(R"([")" + std::string(VLUN_UUID) + R"("])") +
                                            R"(ISCSILIBVLUN::bind([")" + DST_LUN_UUID +
                                            R"(","node 1","192.168.1.2:3260"]))" + "\n");
}

TEST_F(DaemonTest, AQuotedFormFieldStaysTextAndTheReaderRefusesIt)
{
    const size_t mark = daemon.CallsMark();
    const HttpResult r = client.Post(daemon.EntryUrl(),
                                     HttpClient::Encode({{"api", VLUN},
                                                         {"version", "1"},
                                                         {"method", "create"},
                                                         {"src_lun_uuid", SRC_LUN_UUID},
                                                         {"type", "\"1\""}}),
                                     "application/x-www-form-urlencoded");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":18991000}})");
    EXPECT_EQ(daemon.CallsSince(mark), "");
}

TEST_F(DaemonTest, JsonSentAsAFormIsReadAsJson)
{
    // What "curl -d '{...}'" sends: a JSON text with the form content type.
    const HttpResult r = client.Post(daemon.EntryUrl(), Body("list"), "application/x-www-form-urlencoded");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
}

TEST_F(DaemonTest, QueryFieldsOnGet)
{
    const size_t mark = daemon.CallsMark();
    const HttpResult r = client.Get(
        daemon.EntryUrl() + "?" +
        HttpClient::Encode({{"api", VLUN}, {"version", "1"}, {"method", "get"}, {"uuid", VLUN_UUID}}));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.Json()["data"]["total_size"].asUInt64(), std::numeric_limits<Json::UInt64>::max());
    EXPECT_EQ(daemon.CallsSince(mark),
              Ctor(R"([")" + std::string(VLUN_UUID) + R"("])") + "ISCSILIBVLUN::loadStatus([0,0,0])\n");
}

TEST_F(DaemonTest, QueryFieldsOnPostWithoutBody)
{
    const HttpResult r = client.Post(
        daemon.EntryUrl() + "?" + HttpClient::Encode({{"api", VLUN}, {"version", "1"}, {"method", "list"}}),
        "");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
}

TEST_F(DaemonTest, FormFieldsWinOverQueryFields)
{
    const HttpResult r = client.Post(
        daemon.EntryUrl() + "?" + HttpClient::Encode({{"api", VLUN}, {"version", "1"}, {"uuid", "bad"}}),
        HttpClient::Encode({{"method", "get"}, {"uuid", VLUN_UUID}}), "application/x-www-form-urlencoded");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.Json()["data"]["status"], 2);
}

TEST_F(DaemonTest, MultipartFormFields)
{
    const HttpResult r = client.PostMultipart(
        daemon.EntryUrl(), {{"api", VLUN}, {"version", "1"}, {"method", "get"}, {"uuid", VLUN_UUID}});
    EXPECT_TRUE(r.Ok());
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.Json()["data"]["sync_size"].asUInt64(), 4294967297ull);
}

// ---------------------------------------------------------------- malformed requests

TEST_F(DaemonTest, MalformedJsonIs101)
{
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), R"({"api":"KOVA.Core.ISCSI.VLUN","version":1,)"), 400,
                       101);
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), "[1,2]"), 400, 101);
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), "not json at all"), 400, 101);
}

TEST_F(DaemonTest, MissingApiOrMethodIs101)
{
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), R"({"version":1,"method":"list"})"), 400, 101);
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), R"({"api":"KOVA.Core.ISCSI.VLUN","version":1})"), 400,
                       101);
    ExpectRuntimeError(client.Get(daemon.EntryUrl() + "?version=1&method=list"), 400, 101);
}

TEST_F(DaemonTest, AVersionThatIsNoIntegerIs101)
{
    for (const char* version : {"\"1\"", "1.5", "1.0", "null", "true"})
        ExpectRuntimeError(client.Post(daemon.EntryUrl(), Body("list", "{}", VLUN, version)), 400, 101);
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), R"({"api":"KOVA.Core.ISCSI.VLUN","method":"list"})"),
                       400, 101);
    ExpectRuntimeError(client.Get(daemon.EntryUrl() + "?api=KOVA.Core.ISCSI.VLUN&version=one&method=list"),
                       400, 101);
}

TEST_F(DaemonTest, ParamsThatAreNoObjectAre108)
{
    for (const char* params : {"[]", "\"uuid\"", "5", "null"})
        ExpectRuntimeError(client.Post(daemon.EntryUrl(), Body("list", params)), 400, 108);
}

TEST_F(DaemonTest, TextThatIsNotUtf8OrHoldsNulIs109BeforeAnyHandler)
{
    const size_t mark = daemon.CallsMark();
    const std::string create = "create";
    for (const std::string& params : {std::string("{\"src_lun_uuid\":\"lun\xFF\",\"type\":1}"),
                                      std::string(R"({"src_lun_uuid":"a\u0000b","type":1})"),
                                      std::string(R"({"src_lun_uuid":"\udc00","type":1})"),
                                      std::string("{\"src\xC0\xAF\":\"x\",\"type\":1}")})
        ExpectRuntimeError(client.Post(daemon.EntryUrl(), Body(create, params)), 400, 109);
    const std::string form = "api=KOVA.Core.ISCSI.VLUN&version=1&method=create&type=1&src_lun_uuid=";
    for (const char* value : {"lun%00", "%FF", "%ED%A0%80"}) {
        ExpectRuntimeError(client.Post(daemon.EntryUrl(), form + value, "application/x-www-form-urlencoded"),
                           400, 109);
        ExpectRuntimeError(client.Get(daemon.EntryUrl() + "?" + form + value), 400, 109);
    }
    ExpectRuntimeError(client.PostMultipart(daemon.EntryUrl(), {{"api", VLUN},
                                                                {"version", "1"},
                                                                {"method", "create"},
                                                                {"type", "1"},
                                                                {"src_lun_uuid", "lun\xFE"}}),
                       400, 109);
    EXPECT_EQ(daemon.CallsSince(mark), "");

    // Discovery and login check their text too.
    ExpectRuntimeError(client.Get(daemon.QueryUrl() + "?api=%FF"), 400, 109);
    const HttpResult login = client.Post(daemon.AuthUrl(), R"({"method":"login","account":"admin\u0000"})");
    EXPECT_EQ(login.status, 400) << login.body;
    EXPECT_EQ(login.Json()["error"]["code"].asInt(), 109) << login.body;

    // The same call with clean text, escaped or not, reaches the handler.
    const HttpResult clean = client.Post(
        daemon.EntryUrl(), Body(create, R"({"src_lun_uuid":")" + std::string(SRC_LUN_UUID) +
                                            "\",\"type\":1,\"note\":\"\\u00e9\xC3\xA9\"}"));
    EXPECT_EQ(clean.status, 200) << clean.body;
    EXPECT_NE(daemon.CallsSince(mark), "");
}

TEST_F(DaemonTest, AnArrayElementThatCannotBeReadAsTextIs100AndTheDaemonServesOn)
{
    const size_t mark = daemon.CallsMark();
    for (const char* api : {"KOVA.Core.ISCSI.Node", "KOVA.Core.ISCSI.Target"})
        ExpectRuntimeError(
            client.Post(daemon.EntryUrl(), Body("get", R"({"target_id":"1","additional":[["acls"]]})", api)),
            500, 100);
    EXPECT_EQ(daemon.CallsSince(mark).find("ISCSILIBNode::"), std::string::npos);
    const HttpResult after = PostJson(Body("list"));
    EXPECT_EQ(after.status, 200) << after.body;
}

TEST_F(DaemonTest, UnknownApiMethodOrVersion)
{
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), Body("get", "{}", "KOVA.Core.ISCSI.NoSuchApi")), 404,
                       102);
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), Body("no_such_method")), 404, 103);
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), Body("get", "{}", VLUN, "2")), 404, 104);
}

TEST_F(DaemonTest, AnEmptyBodyIs101)
{
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), ""), 400, 101);
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), "", "application/x-www-form-urlencoded"), 400, 101);
    ExpectRuntimeError(client.Get(daemon.EntryUrl()), 400, 101);
}

TEST_F(DaemonTest, ABodyOverTheLimitIs105WithHttp413AndTheConnectionGoesOn)
{
    // Default limit: 1 MiB. A valid call padded to exactly the limit passes.
    std::string body = Body("list");
    body.append((1u << 20) - body.size(), ' ');
    HttpResult r = client.Post(daemon.EntryUrl(), body);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");

    body.push_back(' ');
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), body), 413, 105);

    r = client.Post(daemon.EntryUrl(), Body("list"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
    EXPECT_EQ(r.newConnections, 0);
}

TEST_F(DaemonTest, AChunkedBodyOverTheLimitIs105AndTheConnectionGoesOn)
{
    std::string body = Body("list");
    body.append((1u << 20) - body.size(), ' ');
    HttpResult r = client.PostChunked(daemon.EntryUrl(), body);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");

    body.append(3u << 20, ' ');
    ExpectRuntimeError(client.PostChunked(daemon.EntryUrl(), body), 413, 105);

    r = client.Post(daemon.EntryUrl(), Body("list"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
    EXPECT_EQ(r.newConnections, 0);
}

TEST(DaemonMaxBody, TheOptionSetsTheLimit)
{
    DaemonProcess::Config config = StandardConfig();
    config.args = {"--max-body", "300"};
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    ASSERT_FALSE(daemon.Login(client).empty()) << daemon.Stderr();
    std::string body = Body("list");
    body.append(300 - body.size(), ' ');
    EXPECT_EQ(client.Post(daemon.EntryUrl(), body).status, 200);
    body.push_back(' ');
    const HttpResult r = client.Post(daemon.EntryUrl(), body);
    EXPECT_EQ(r.status, 413);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":105}})");
    // Form bodies count the same way.
    const HttpResult form =
        client.Post(daemon.EntryUrl(), "api=x&version=1&method=m&pad=" + std::string(300, 'x'),
                    "application/x-www-form-urlencoded");
    EXPECT_EQ(form.status, 413);
    EXPECT_EQ(form.body, R"({"success":false,"error":{"code":105}})");
}

TEST_F(DaemonTest, AFormLargerThanAnUrlIsRead)
{
    // Forms are read by the entry point itself, so they are not held to the URL length limit.
    const HttpResult r = client.Post(
        daemon.EntryUrl(),
        HttpClient::Encode(
            {{"api", VLUN}, {"version", "1"}, {"method", "set"}, {"note", std::string(20000, 'n')}}),
        "application/x-www-form-urlencoded");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
}

TEST_F(DaemonTest, OtherPathsAndHttpMethodsGetJsonErrors)
{
    ExpectRuntimeError(client.Get(daemon.BaseUrl() + "/webapi/other"), 404, 101);
    ExpectRuntimeError(client.Get(daemon.BaseUrl() + "/no-such-file.js"), 404, 101);
    ExpectRuntimeError(client.Post(daemon.BaseUrl() + "/", Body("list")), 404, 101);
    ExpectRuntimeError(client.Post(daemon.BaseUrl() + "/webapi/other", Body("list")), 404, 101);
    ExpectRuntimeError(client.Request("PUT", daemon.EntryUrl()), 405, 101);
    ExpectRuntimeError(client.Request("DELETE", daemon.EntryUrl()), 405, 101);
    ExpectRuntimeError(client.Request("DELETE", daemon.BaseUrl() + "/webapi/other"), 404, 101);
    ExpectRuntimeError(client.Request("POST", daemon.BaseUrl() + "/webapi/other"), 404, 101);
    const HttpResult r = client.Post(daemon.BaseUrl() + "/webapi/other", std::string(5000, 'x'));
    EXPECT_EQ(r.status, 404);
    // Refused bodies are read to their end: the connection carries the next request.
    const HttpResult next = client.Post(daemon.EntryUrl(), Body("list"));
    EXPECT_EQ(next.status, 200);
    EXPECT_EQ(next.newConnections, 0);
}

TEST_F(DaemonTest, TheManagementPageIsServedWithItsPolicyAndNotWithNoUi)
{
    const HttpResult index = client.Get(daemon.BaseUrl() + "/");
    EXPECT_EQ(index.status, 200);
    EXPECT_EQ(index.contentType, "text/html; charset=utf-8");
    EXPECT_EQ(index.Header("Content-Security-Policy").rfind("default-src 'none'; script-src 'self';", 0), 0u);
    EXPECT_EQ(index.Header("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(index.Header("Cache-Control"), "no-cache");
    const std::string etag = index.Header("ETag");
    ASSERT_FALSE(etag.empty());
    client.SetHeaders({"If-None-Match: " + etag});
    EXPECT_EQ(client.Get(daemon.BaseUrl() + "/").status, 304);
    client.SetHeaders({});
    EXPECT_EQ(client.Get(daemon.BaseUrl() + "/app.js").contentType, "text/javascript; charset=utf-8");
    const HttpResult texts = client.Get(daemon.BaseUrl() + "/error-texts.json");
    EXPECT_EQ(texts.contentType, "application/json");
    EXPECT_EQ(texts.Json()["115"].asString().rfind("Refused", 0), 0u) << texts.body;
    for (const char* bad : {"/.hidden.js", "/%2e%2e/CMakeLists.txt", "/a//b.js", "/index.cmake"})
        ExpectRuntimeError(client.Get(daemon.BaseUrl() + bad), 404, 101);

    DaemonProcess::Config config;
    config.args = {"--no-ui"};
    DaemonProcess bare(config);
    ASSERT_TRUE(bare.Running()) << bare.Stderr();
    ExpectRuntimeError(client.Get(bare.BaseUrl() + "/"), 404, 101);
}

// ---------------------------------------------------------------- connections

TEST_F(DaemonTest, KeepAliveServesManyRequestsOnOneConnection)
{
    long port = 0;
    for (int i = 0; i < 30; ++i) {
        const HttpResult r = client.Post(
            daemon.EntryUrl(),
            i % 2 ? Body("list") : Body("get", R"({"uuid":")" + std::string(VLUN_UUID) + R"("})"));
        ASSERT_TRUE(r.Ok()) << i;
        EXPECT_EQ(r.status, 200) << i;
        // The login opened the connection already.
        EXPECT_EQ(r.newConnections, 0) << i;
        if (i == 0)
            port = r.localPort;
        EXPECT_EQ(r.localPort, port) << i;
    }
    // A refused request does not cost the connection either.
    const HttpResult bad = client.Post(daemon.EntryUrl(), "{");
    EXPECT_EQ(bad.status, 400);
    EXPECT_EQ(bad.newConnections, 0);
    EXPECT_EQ(client.Post(daemon.EntryUrl(), Body("list")).newConnections, 0);
}

TEST_F(DaemonTest, ConcurrentClientsAreAllAnsweredRight)
{
    constexpr int THREADS = 4;
    constexpr int REQUESTS = 50;
    std::vector<std::vector<std::string>> failures(THREADS);
    std::vector<long> connections(THREADS, 0);
    std::vector<std::thread> threads;
    const std::string url = daemon.EntryUrl();
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([this, t, &url, &failures, &connections] {
            HttpClient own;
            own.SetSession(sid);
            for (int i = 0; i < REQUESTS; ++i) {
                char uuid[40];
                std::snprintf(uuid, sizeof uuid, "%08x-0000-4000-8000-%012x", t, i);
                const HttpResult r = own.Post(url, Body("get", std::string(R"({"uuid":")") + uuid + R"("})"));
                connections[t] += r.newConnections;
                if (!r.Ok() || r.status != 200 || r.Json()["data"]["sync_size"].asUInt64() != 4294967297ull)
                    failures[t].push_back(std::string(uuid) + ": " + std::to_string(r.status) + " " + r.body);
            }
        });
    }
    for (auto& th : threads)
        th.join();
    for (int t = 0; t < THREADS; ++t) {
        EXPECT_TRUE(failures[t].empty()) << failures[t].front();
        EXPECT_EQ(connections[t], 1) << "thread " << t;
    }

    // Each request made its own two library calls, none lost or merged.
    std::map<std::string, int> constructed;
    int loads = 0;
    const std::string calls = daemon.Calls();
    size_t pos = 0;
    while (pos < calls.size()) {
        const size_t end = calls.find('\n', pos);
        const std::string line = calls.substr(pos, end - pos);
        pos = end == std::string::npos ? calls.size() : end + 1;
        if (line == "ISCSILIBVLUN::loadStatus([0,0,0])")
            ++loads;
        else if (line.rfind("ISCSILIBVLUN::ISCSILIBVLUN([\"", 0) == 0)
            ++constructed[line];
        else
            ADD_FAILURE() << "unexpected call: " << line;
    }
    EXPECT_EQ(loads, THREADS * REQUESTS);
    EXPECT_EQ(constructed.size(), static_cast<size_t>(THREADS * REQUESTS));
    for (const auto& c : constructed)
        EXPECT_EQ(c.second, 1) << c.first;
}

// ---------------------------------------------------------------- process life

namespace {

int ConnectLoopback(int port)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return -1;
    timeval timeout{10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool SendAll(int fd, const std::string& text)
{
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t n = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        sent += static_cast<size_t>(n);
    }
    return true;
}

// Reads one response: the status line and headers, then Content-Length bytes of body (none
// for a 1xx response). Empty when the connection ends or times out first.
std::string ReadResponse(int fd, std::string& pending)
{
    char buffer[4096];
    for (int reads = 0; reads < 10000; ++reads) {
        const size_t headEnd = pending.find("\r\n\r\n");
        if (headEnd != std::string::npos) {
            size_t length = 0;
            const std::string head = pending.substr(0, headEnd);
            const size_t cl = head.find("Content-Length: ");
            if (cl != std::string::npos && head.compare(0, 10, "HTTP/1.1 1") != 0)
                length = std::stoul(head.substr(cl + 16));
            if (pending.size() >= headEnd + 4 + length) {
                std::string response = pending.substr(0, headEnd + 4 + length);
                pending.erase(0, headEnd + 4 + length);
                return response;
            }
        }
        const ssize_t n = recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0)
            return std::string();
        pending.append(buffer, static_cast<size_t>(n));
    }
    return std::string();
}

} // namespace

TEST_F(DaemonTest, SigtermFinishesTheRequestInFlightStopsListeningAndExitsZero)
{
    const int fd = ConnectLoopback(daemon.Port());
    ASSERT_GE(fd, 0);
    std::string pending;
    // A first request makes sure a worker serves this connection.
    std::string list = Body("list");
    ASSERT_TRUE(
        SendAll(fd, "POST /webapi/entry HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                    "X-Kova-Sid: " +
                        sid +
                        "\r\n"
                        "Content-Length: " +
                        std::to_string(list.size()) + "\r\n\r\n" + list));
    const std::string first = ReadResponse(fd, pending);
    ASSERT_EQ(first.rfind("HTTP/1.1 200", 0), 0u) << first;

    // The second request is in flight: its head is read (the server says 100 Continue), its
    // body not yet sent.
    const std::string get = Body("get", R"({"uuid":")" + std::string(VLUN_UUID) + R"("})");
    ASSERT_TRUE(
        SendAll(fd, "POST /webapi/entry HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                    "X-Kova-Sid: " +
                        sid +
                        "\r\n"
                        "Expect: 100-continue\r\nContent-Length: " +
                        std::to_string(get.size()) + "\r\n\r\n"));
    const std::string cont = ReadResponse(fd, pending);
    ASSERT_EQ(cont.rfind("HTTP/1.1 100", 0), 0u) << cont;

    daemon.Signal(SIGTERM);
    ASSERT_TRUE(daemon.WaitForStderr("stopping", 10000)) << daemon.Stderr();
    // The listening socket goes away: new connections are refused.
    bool refused = false;
    for (int i = 0; i < 1000 && !refused; ++i) {
        const int other = ConnectLoopback(daemon.Port());
        refused = other < 0;
        if (other >= 0) {
            close(other);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    EXPECT_TRUE(refused);

    // The request in flight is still answered in full.
    ASSERT_TRUE(SendAll(fd, get));
    const std::string second = ReadResponse(fd, pending);
    EXPECT_EQ(second.rfind("HTTP/1.1 200", 0), 0u) << second;
    const size_t bodyStart = second.find("\r\n\r\n");
    ASSERT_NE(bodyStart, std::string::npos);
    EXPECT_EQ(second.substr(bodyStart + 4), R"({"success":true,"data":{"status":2,"sync_size":4294967297,)"
                                            R"("total_size":18446744073709551615}})");
    close(fd);

    EXPECT_EQ(daemon.Wait(20000), 0) << daemon.Stderr();
    EXPECT_FALSE(std::filesystem::exists(daemon.Dir() + "/port"));
}

TEST_F(DaemonTest, SigintStopsItToo)
{
    {
        HttpClient own;
        own.SetSession(sid);
        EXPECT_EQ(own.Post(daemon.EntryUrl(), Body("list")).status, 200);
    }
    daemon.Signal(SIGINT);
    EXPECT_EQ(daemon.Wait(20000), 0) << daemon.Stderr();
}

TEST_F(DaemonTest, TheServerLivesOnAfterEveryKindOfRefusal)
{
    client.Post(daemon.EntryUrl(), "{");
    client.Post(daemon.EntryUrl(), std::string(2u << 20, 'x'));
    client.Get(daemon.BaseUrl() + "/nowhere");
    client.Post(daemon.EntryUrl(), Body("list", "[]"));
    const HttpResult r = client.Post(daemon.EntryUrl(), Body("list"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(daemon.Stop(), 0);
}

TEST_F(DaemonTest, TheDataDirectoryIsCreated)
{
    EXPECT_TRUE(std::filesystem::is_directory(daemon.Dir() + "/data"));
}

TEST_F(DaemonTest, AnAccessLogLinePerRequestOnStderr)
{
    client.Post(daemon.EntryUrl(), Body("list"));
    client.Post(daemon.EntryUrl(), Body("get", "{}", VLUN, "7"));
    client.Post(daemon.EntryUrl(), "{");
    client.Get(daemon.EntryUrl() + "?api=KOVA.Core.ISCSI.VLUN&version=1&method=list");
    ASSERT_EQ(daemon.Stop(), 0);
    const std::string log = daemon.Stderr();
    EXPECT_NE(log.find("127.0.0.1 POST /webapi/entry KOVA.Core.ISCSI.VLUN.list 200 "), std::string::npos)
        << log;
    EXPECT_NE(log.find("127.0.0.1 POST /webapi/entry KOVA.Core.ISCSI.VLUN.get 404 "), std::string::npos)
        << log;
    EXPECT_NE(log.find("127.0.0.1 POST /webapi/entry - 400 "), std::string::npos) << log;
    EXPECT_NE(log.find("127.0.0.1 GET /webapi/entry KOVA.Core.ISCSI.VLUN.list 200 "), std::string::npos)
        << log;
}

TEST_F(DaemonTest, RequestTextInTheAccessLogIsEscapedAndBounded)
{
    // A method name with a line break and a terminal escape, and an API name of 512 KiB.
    const std::string forged = "list\nFORGED 10.0.0.1 POST /webapi/entry X.Y 200 1us\x1b[2J";
    Json::Value call;
    call["api"] = VLUN;
    call["version"] = 1;
    call["method"] = forged;
    call["params"] = Json::Value(Json::objectValue);
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), KOVA::toString(call)), 404, 103);
    call["api"] = std::string(512 * 1024, 'A');
    call["method"] = "list";
    ExpectRuntimeError(client.Post(daemon.EntryUrl(), KOVA::toString(call)), 404, 102);
    ASSERT_EQ(daemon.Stop(), 0);
    const std::string log = daemon.Stderr();
    EXPECT_EQ(log.find("\nFORGED"), std::string::npos) << log;
    EXPECT_EQ(log.find('\x1b'), std::string::npos);
    EXPECT_NE(log.find("KOVA.Core.ISCSI.VLUN.list\\x0aFORGED\\x2010.0.0.1"), std::string::npos) << log;
    EXPECT_NE(log.find("\\x1b[2J 404 "), std::string::npos) << log;
    size_t longest = 0;
    for (size_t at = 0; at < log.size();) {
        const size_t end = log.find('\n', at);
        const size_t length = (end == std::string::npos ? log.size() : end) - at;
        longest = std::max(longest, length);
        at = end == std::string::npos ? log.size() : end + 1;
    }
    EXPECT_LT(longest, 2048u);
}

TEST_F(DaemonTest, DeeplyNestedJsonIs101WithHttp400)
{
    for (int depth : {KOVA::JSON_MAX_NESTING + 1, 1000, 100000}) {
        const std::string deep =
            std::string(static_cast<size_t>(depth), '[') + std::string(static_cast<size_t>(depth), ']');
        ExpectRuntimeError(client.Post(daemon.EntryUrl(), deep), 400, 101);
        ExpectRuntimeError(
            client.Post(daemon.EntryUrl(),
                        R"({"api":"KOVA.Core.ISCSI.VLUN","version":1,"method":"list","params":{"a":)" + deep +
                            "}}"),
            400, 101);
        const HttpResult auth = client.Post(daemon.AuthUrl(), R"({"method":"login","account":)" + deep + "}");
        EXPECT_EQ(auth.status, 400) << depth;
        EXPECT_EQ(auth.Json()["error"]["code"].asInt(), 101) << depth << " " << auth.body;
    }
    // The daemon serves on.
    EXPECT_EQ(PostJson(Body("list")).status, 200);
}

TEST_F(DaemonTest, PipelinedRequestsAreAllAnsweredInOrder)
{
    const int fd = ConnectLoopback(daemon.Port());
    ASSERT_GE(fd, 0);
    std::string requests;
    const std::string methods[] = {"list", "get", "list"};
    for (const std::string& method : methods) {
        const std::string body = Body(
            method, method == "get" ? R"({"uuid":")" + std::string(VLUN_UUID) + R"("})" : std::string("{}"));
        requests += "POST /webapi/entry HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                    "X-Kova-Sid: " +
                    sid + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    // A GET without a body last: its head alone ends the request.
    requests += "GET /webapi/query?api=KOVA.Core.ISCSI.VLUN HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    ASSERT_TRUE(SendAll(fd, requests)); // one write: the server reads them together
    std::string pending;
    std::vector<std::string> answers;
    for (int i = 0; i < 4; ++i)
        answers.push_back(ReadResponse(fd, pending));
    close(fd);
    for (const std::string& answer : answers)
        EXPECT_EQ(answer.rfind("HTTP/1.1 200", 0), 0u) << answer;
    // In order: the discovery's answer comes last.
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(answers[static_cast<size_t>(i)].find("minVersion"), std::string::npos) << i;
    EXPECT_NE(answers[3].find("minVersion"), std::string::npos) << answers[3];
}

TEST(DaemonQuiet, QuietWritesNoAccessLog)
{
    DaemonProcess::Config config = StandardConfig();
    config.args = {"--quiet"};
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    {
        HttpClient client;
        ASSERT_FALSE(daemon.Login(client).empty()) << daemon.Stderr();
        EXPECT_EQ(client.Post(daemon.EntryUrl(), Body("list")).status, 200);
    }
    ASSERT_EQ(daemon.Stop(), 0);
    EXPECT_EQ(daemon.Stderr().find("/webapi/entry"), std::string::npos) << daemon.Stderr();
}

TEST(DaemonModules, AModuleDirectoryIsLoaded)
{
    char pattern[] = "/tmp/kova-e2e-modules-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string dir = pattern;
    std::filesystem::create_symlink(KOVA_DOUBLE_MODULE_PATH, dir + "/libwebapi-iSCSI-double.so");
    std::FILE* junk = std::fopen((dir + "/junk.so").c_str(), "w");
    ASSERT_NE(junk, nullptr);
    std::fputs("not a shared object", junk);
    std::fclose(junk);
    {
        DaemonProcess::Config config = StandardConfig();
        config.loadDoubleModule = false;
        config.args = {"--module-dir", dir};
        DaemonProcess daemon(config);
        ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
        HttpClient client;
        ASSERT_FALSE(daemon.Login(client).empty()) << daemon.Stderr();
        const HttpResult r =
            client.Post(daemon.EntryUrl(), Body("get", R"({"uuid":")" + std::string(VLUN_UUID) + R"("})"));
        EXPECT_EQ(r.status, 200);
        EXPECT_EQ(r.Json()["data"]["status"], 2);
    }
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
}

TEST(DaemonModules, WithoutModulesEveryApiIsUnknown)
{
    DaemonProcess::Config config;
    config.loadDoubleModule = false;
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    ASSERT_FALSE(daemon.Login(client).empty()) << daemon.Stderr();
    const HttpResult r = client.Post(daemon.EntryUrl(), Body("list"));
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":102}})");
}

TEST(DaemonStartup, AModuleThatCannotBeLoadedEndsTheDaemon)
{
    std::string err;
    EXPECT_EQ(RunDaemonToEnd({"--listen", "127.0.0.1:0", "--module", "/nonexistent/libnothing.so"}, &err), 1);
    EXPECT_NE(err.find("cannot load module"), std::string::npos) << err;
    EXPECT_EQ(RunDaemonToEnd({"--listen", "127.0.0.1:0", "--module", KOVA_WEBAPI_LIBRARY_PATH}, &err), 1);
    EXPECT_NE(err.find("exports no GetAPITable"), std::string::npos) << err;
}

TEST(DaemonStartup, UsageErrorsEndTheDaemon)
{
    EXPECT_NE(RunDaemonToEnd({"--listen", "127.0.0.1"}), 0);
    EXPECT_NE(RunDaemonToEnd({"--listen", "127.0.0.1:99999"}), 0);
    EXPECT_NE(RunDaemonToEnd({"--threads", "0"}), 0);
    EXPECT_NE(RunDaemonToEnd({"--max-body", "-5"}), 0);
    EXPECT_NE(RunDaemonToEnd({"--no-such-option"}), 0);
    EXPECT_EQ(RunDaemonToEnd({"--help"}), 0);
}

TEST(DaemonStartup, APortInUseEndsTheDaemon)
{
    DaemonProcess first;
    ASSERT_TRUE(first.Running()) << first.Stderr();
    std::string err;
    EXPECT_EQ(RunDaemonToEnd({"--listen", "127.0.0.1:" + std::to_string(first.Port())}, &err), 1);
    EXPECT_NE(err.find("cannot listen"), std::string::npos) << err;
}
