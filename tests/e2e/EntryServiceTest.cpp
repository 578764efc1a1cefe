// The entry point's dispatch without a server: routing by API, method and version, the
// handler's request object, and every way a handler's response becomes the reply.
#include "EntryService.h"
#include "ModuleTable.h"
#include "WebPage.h"

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>
#include <kova/JsonText.h>
#include <kova/WebAPIErrors.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

using namespace KOVA::Daemon;

namespace {

Json::Value Parse(const std::string& text)
{
    Json::Value v;
    EXPECT_TRUE(KOVA::fromString(v, text)) << text;
    return v;
}

void AnswerA(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    response->SetSuccess(Json::Value("A.get"));
}
void AnswerB(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    response->SetSuccess(Json::Value("B.get"));
}
void AnswerA2(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    response->SetSuccess(Json::Value("A.get v2"));
}

void Echo(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    Json::Value data;
    data["params"] = request->GetParam("", Json::Value());
    data["remote"] = request->GetRemoteIP();
    data["user"] = request->GetLoginUserName();
    data["session"] = request->GetSessionID();
    response->SetSuccess(data);
}

void Nothing(KOVA::APIRequest*, KOVA::APIResponse*) {}

void ErrorAfterSuccess(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    response->SetSuccess(Json::Value("data"));
    response->SetError(42, Json::Value());
}

void ErrorWithDetail(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    Json::Value detail;
    detail["need"] = Json::UInt64(5000000000ull);
    response->SetError(43, detail);
}

void Throws(KOVA::APIRequest*, KOVA::APIResponse*)
{
    throw std::runtime_error("broken");
}
void ThrowsInt(KOVA::APIRequest*, KOVA::APIResponse*)
{
    throw 5;
}

void RawOutput(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    response->SetEnableOutput(false);
    // Both ways a module writes its own body: the thread's request output and the response.
    KOVA::WriteRequestOutput("text/csv", "time,level\n");
    response->WriteOutput("text/plain", "1,info\n");
    response->SetSuccess(Json::Value());
}

void RawOutputFails(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    response->SetEnableOutput(false);
    response->SetError(18991131, Json::Value());
}

void WritesWithOutputOn(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    KOVA::WriteRequestOutput("text/plain", "ignored");
    response->SetSuccess(Json::Value(1));
}

const KOVA::APITableRow TABLE[] = {
    {"A", 1, "get", AnswerA},
    {"B", 1, "get", AnswerB},
    {"A", 2, "get", AnswerA2},
    {"T", 1, "echo", Echo},
    {"T", 1, "nothing", Nothing},
    {"T", 1, "error_after_success", ErrorAfterSuccess},
    {"T", 1, "error_with_detail", ErrorWithDetail},
    {"T", 1, "throws", Throws},
    {"T", 1, "throws_int", ThrowsInt},
    {"T", 1, "raw", RawOutput},
    {"T", 1, "raw_fails", RawOutputFails},
    {"T", 1, "writes_with_output_on", WritesWithOutputOn},
    {nullptr, 0, nullptr, nullptr},
};

class EntryServiceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::vector<std::string> duplicates;
        ASSERT_EQ(table.AddTable(TABLE, duplicates), 12u);
        ASSERT_TRUE(duplicates.empty());
        std::string error;
        ASSERT_TRUE(store.Open(":memory:", error)) << error;
        store.SetPasswordCost(PasswordCost::Minimum());
        ASSERT_EQ(store.AddAccount("alice", "pw"), AuthResult::Ok);
        ASSERT_EQ(store.CreateSession("alice", "127.0.0.9", sid), AuthResult::Ok);
    }

    EntryReply Call(const std::string& body)
    {
        EntryInput in;
        in.sidHeader = sid;
        in.sidHeader = sid;
        in.remoteAddr = "127.0.0.9";
        in.contentType = "application/json";
        in.body = body;
        EntryReply reply;
        service.Handle(in, reply);
        return reply;
    }

    EntryReply CallT(const std::string& method, const std::string& params = "{}")
    {
        return Call(R"({"api":"T","version":1,"method":")" + method + R"(","params":)" + params + "}");
    }

    ModuleTable table;
    AuthStore store;
    Authenticator auth{store, ThrottleOptions()};
    EntryService service{table, auth};
    std::string sid;
};

} // namespace

TEST_F(EntryServiceTest, RoutesByApiMethodAndVersionTogether)
{
    EXPECT_EQ(Call(R"({"api":"A","version":1,"method":"get"})").body, R"({"success":true,"data":"A.get"})");
    EXPECT_EQ(Call(R"({"api":"B","version":1,"method":"get"})").body, R"({"success":true,"data":"B.get"})");
    EXPECT_EQ(Call(R"({"api":"A","version":2,"method":"get"})").body,
              R"({"success":true,"data":"A.get v2"})");
}

TEST_F(EntryServiceTest, UnknownApiMethodOrVersion)
{
    EntryReply r = Call(R"({"api":"C","version":1,"method":"get"})");
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":102}})");
    EXPECT_EQ(r.apiMethod, "C.get");
    r = Call(R"({"api":"B","version":1,"method":"echo"})");
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":103}})");
    r = Call(R"({"api":"B","version":2,"method":"get"})");
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":104}})");
}

TEST_F(EntryServiceTest, TheHandlerGetsParamsRemoteAddressAccountAndSession)
{
    const EntryReply r = CallT("echo", R"({"uuid":"u","size":18446744073709551615})");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.contentType, "application/json");
    const Json::Value reply = Parse(r.body);
    EXPECT_EQ(reply["data"]["params"], Parse(R"({"uuid":"u","size":18446744073709551615})"));
    EXPECT_EQ(reply["data"]["remote"], "127.0.0.9");
    EXPECT_EQ(reply["data"]["user"], "alice");
    EXPECT_EQ(reply["data"]["session"], sid);
}

TEST_F(EntryServiceTest, FieldsOfQueryAndFormAreMergedFormLast)
{
    EntryInput in;
    in.sidHeader = sid;
    in.contentType = "application/x-www-form-urlencoded";
    in.query = {{"api", "T"}, {"version", "1"}, {"method", "echo"}, {"a", "query"}, {"b", "1"}};
    in.body = "a=form&c=%22x%22";
    EntryReply r;
    service.Handle(in, r);
    EXPECT_EQ(Parse(r.body)["data"]["params"], Parse(R"({"a":"form","b":1,"c":"x"})"));
}

TEST_F(EntryServiceTest, AJsonBodyIgnoresTheQueryString)
{
    EntryInput in;
    in.sidHeader = sid;
    in.query = {{"x", "1"}};
    in.body = R"({"api":"T","version":1,"method":"echo","params":{"y":2}})";
    EntryReply r;
    service.Handle(in, r);
    EXPECT_EQ(Parse(r.body)["data"]["params"], Parse(R"({"y":2})"));
}

TEST_F(EntryServiceTest, MultipartPartsAreFields)
{
    EntryInput in;
    in.sidHeader = sid;
    in.multipart = true;
    in.contentType = "multipart/form-data; boundary=b";
    in.parts = {{"api", "T"}, {"version", "1"}, {"method", "echo"}, {"n", "7"}};
    EntryReply r;
    service.Handle(in, r);
    EXPECT_EQ(Parse(r.body)["data"]["params"], Parse(R"({"n":7})"));
}

TEST_F(EntryServiceTest, AnEmptyBodyTakesTheQueryString)
{
    EntryInput in;
    in.sidHeader = sid;
    in.query = {{"api", "T"}, {"version", "1"}, {"method", "echo"}};
    EntryReply r;
    service.Handle(in, r);
    EXPECT_EQ(r.body, R"({"success":true,"data":{"params":{},"remote":"","session":")" + sid +
                          R"(","user":"alice"}})");
}

TEST_F(EntryServiceTest, BodyErrorsOfTheHttpLayerComeFirst)
{
    EntryInput in;
    in.sidHeader = sid;
    in.body = R"({"api":"T","version":1,"method":"echo"})";
    in.bodyError = KOVA::WEBAPI_ERR_TOO_LARGE;
    EntryReply r;
    service.Handle(in, r);
    EXPECT_EQ(r.status, 413);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":105}})");
}

TEST_F(EntryServiceTest, AHandlerThatAnswersNothingGets107)
{
    const EntryReply r = CallT("nothing");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":107}})");
}

TEST_F(EntryServiceTest, AnErrorWinsOverSuccess)
{
    const EntryReply r = CallT("error_after_success");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":42}})");
}

TEST_F(EntryServiceTest, ErrorDataGoesOutAsDetail)
{
    EXPECT_EQ(CallT("error_with_detail").body,
              R"({"success":false,"error":{"code":43,"detail":{"need":5000000000}}})");
}

TEST_F(EntryServiceTest, AnExceptionFromAHandlerIs100AndTheServiceGoesOn)
{
    EntryReply r = CallT("throws");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":100}})");
    r = CallT("throws_int");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.body, R"({"success":false,"error":{"code":100}})");
    EXPECT_EQ(CallT("echo").status, 200);
}

TEST_F(EntryServiceTest, OutputOffMakesWhatTheHandlerWroteTheBody)
{
    const EntryReply r = CallT("raw");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.contentType, "text/csv");
    EXPECT_EQ(r.body, "time,level\n1,info\n");
    EXPECT_EQ(r.rawOutputError, 0);
    // The scope of the request is closed once the handler returned.
    EXPECT_FALSE(KOVA::WriteRequestOutput("text/plain", "late"));
}

TEST_F(EntryServiceTest, OutputOffWithAnErrorSendsNoJson)
{
    const EntryReply r = CallT("raw_fails");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "");
    EXPECT_EQ(r.contentType, "application/octet-stream");
    EXPECT_EQ(r.rawOutputError, 18991131);
}

TEST_F(EntryServiceTest, WithOutputOnTheRuntimeWritesJsonOnly)
{
    EXPECT_EQ(CallT("writes_with_output_on").body, R"({"success":true,"data":1})");
}

TEST_F(EntryServiceTest, MakeAPIRequestBuildsTheRequestOrAnswersTheCode)
{
    EntryInput in;
    in.remoteAddr = "::1";
    in.sidHeader = sid;
    in.body = R"({"api":"T","version":1,"method":"m","params":{"k":"v"}})";
    EntryCall call;
    std::unique_ptr<KOVA::APIRequest> request;
    ASSERT_EQ(MakeAPIRequest(in, auth, call, request), 0);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->GetParam("k", Json::Value()), "v");
    EXPECT_EQ(request->GetRemoteIP(), "::1");
    EXPECT_EQ(request->GetLoginUserName(), "alice");
    EXPECT_EQ(request->GetSessionID(), sid);

    in.body = "{";
    request.reset();
    EXPECT_EQ(MakeAPIRequest(in, auth, call, request), KOVA::WEBAPI_ERR_BAD_REQUEST);
    EXPECT_FALSE(request);
}

TEST_F(EntryServiceTest, WithoutAValidSessionNoRequestIsMadeAndNoHandlerRuns)
{
    for (const std::string& session : {std::string(), std::string("0123"), std::string(64, 'a')}) {
        EntryInput in;
        in.sidHeader = session;
        in.body = R"({"api":"T","version":1,"method":"throws"})";
        EntryCall call;
        std::unique_ptr<KOVA::APIRequest> request;
        EXPECT_EQ(MakeAPIRequest(in, auth, call, request), KOVA::WEBAPI_ERR_NOT_LOGGED_IN) << session;
        EXPECT_FALSE(request);
        EntryReply r;
        service.Handle(in, r);
        // "throws" would answer 100 had it run.
        EXPECT_EQ(r.status, 401);
        EXPECT_EQ(r.body, R"({"success":false,"error":{"code":106}})");
    }
}

TEST_F(EntryServiceTest, TheSessionComesFromSidFieldHeaderOrCookieInThatOrder)
{
    std::string other;
    ASSERT_EQ(store.AddAccount("bob", "pw"), AuthResult::Ok);
    ASSERT_EQ(store.CreateSession("bob", "", other), AuthResult::Ok);
    auto userOf = [this](const EntryInput& in) {
        EntryReply r;
        service.Handle(in, r);
        return Parse(r.body)["data"]["user"].asString();
    };
    EntryInput in;
    in.body = R"({"api":"T","version":1,"method":"echo","_sid":")" + other + R"("})";
    in.sidHeader = sid;
    EXPECT_EQ(userOf(in), "bob");
    in.body = R"({"api":"T","version":1,"method":"echo"})";
    in.sidCookie = other;
    EXPECT_EQ(userOf(in), "alice");
    in.sidHeader.clear();
    // The cookie alone needs the page's token of its session.
    EntryReply refused;
    service.Handle(in, refused);
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.body, R"({"success":false,"error":{"code":115}})");
    in.pageToken = PageToken(sid);
    service.Handle(in, refused);
    EXPECT_EQ(refused.body, R"({"success":false,"error":{"code":115}})");
    in.pageToken = PageToken(other);
    EXPECT_EQ(userOf(in), "bob");
    // A field "_sid" names the session and is no parameter.
    EntryInput fields;
    fields.query = {{"api", "T"}, {"version", "1"}, {"method", "echo"}, {"_sid", sid}, {"x", "1"}};
    EntryReply r;
    service.Handle(fields, r);
    EXPECT_EQ(Parse(r.body)["data"]["user"], "alice");
    EXPECT_EQ(Parse(r.body)["data"]["params"], Parse(R"({"x":1})"));
}

TEST_F(EntryServiceTest, QueryAnswersPathAndVersionsOfOneOrAllApis)
{
    EntryReply r;
    service.HandleQuery({{"api", "A"}}, r);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":{"A":{"maxVersion":2,"minVersion":1,"path":"entry"}}})");
    service.HandleQuery({{"api", "all"}}, r);
    const Json::Value all = Parse(r.body)["data"];
    EXPECT_EQ(all.getMemberNames(), (std::vector<std::string>{"A", "B", "T"}));
    EXPECT_EQ(all["T"]["maxVersion"], 1);
    service.HandleQuery({{"api", "Nope"}}, r);
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(Parse(r.body)["error"]["code"], 102);
    service.HandleQuery({}, r);
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(Parse(r.body)["error"]["code"], 101);
}
