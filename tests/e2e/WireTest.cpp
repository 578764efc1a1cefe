// The entry point's wire format, without a server: reading calls from JSON bodies and fields,
// the envelopes, the HTTP statuses and the --listen syntax.
#include "DaemonOptions.h"
#include "EntryWire.h"

#include <kova/JsonText.h>
#include <kova/WebAPIErrors.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

using namespace KOVA::Daemon;

namespace {

Json::Value Parse(const std::string& text)
{
    Json::Value v;
    EXPECT_TRUE(KOVA::fromString(v, text)) << text;
    return v;
}

} // namespace

TEST(WireDecodeForm, SplitsFieldsAndDecodesEscapesAndPlus)
{
    const FieldList fields =
        DecodeForm("a=1&name=lun+one&path=%2Fvolume1%2Fx&empty=&bare&&x=%7B%22k%22%3A1%7D");
    ASSERT_EQ(fields.size(), 6u);
    EXPECT_EQ(fields[0], (std::pair<std::string, std::string>("a", "1")));
    EXPECT_EQ(fields[1], (std::pair<std::string, std::string>("name", "lun one")));
    EXPECT_EQ(fields[2], (std::pair<std::string, std::string>("path", "/volume1/x")));
    EXPECT_EQ(fields[3], (std::pair<std::string, std::string>("empty", "")));
    EXPECT_EQ(fields[4], (std::pair<std::string, std::string>("bare", "")));
    EXPECT_EQ(fields[5], (std::pair<std::string, std::string>("x", "{\"k\":1}")));
}

TEST(WireDecodeForm, KeepsMalformedEscapesAsTheyAre)
{
    const FieldList fields = DecodeForm("a=%zz&b=100%&c=%4");
    ASSERT_EQ(fields.size(), 3u);
    EXPECT_EQ(fields[0].second, "%zz");
    EXPECT_EQ(fields[1].second, "100%");
    EXPECT_EQ(fields[2].second, "%4");
}

TEST(WireDecodeForm, OnlyTheFirstEqualsSignSeparates)
{
    const FieldList fields = DecodeForm("k=a=b");
    ASSERT_EQ(fields.size(), 1u);
    EXPECT_EQ(fields[0].first, "k");
    EXPECT_EQ(fields[0].second, "a=b");
}

TEST(WireDecodeForm, EmptyTextHasNoFields)
{
    EXPECT_TRUE(DecodeForm("").empty());
}

TEST(WireFieldValue, JsonWhenItParsesElseText)
{
    EXPECT_EQ(FieldValue("1073741824"), Json::Value(Json::Int64(1073741824)));
    EXPECT_EQ(FieldValue("18446744073709551615").asUInt64(), std::numeric_limits<Json::UInt64>::max());
    EXPECT_EQ(FieldValue("true"), Json::Value(true));
    EXPECT_TRUE(FieldValue("null").isNull());
    EXPECT_EQ(FieldValue("\"1\""), Json::Value("1"));
    EXPECT_EQ(FieldValue("[\"a\",\"b\"]"), Parse("[\"a\",\"b\"]"));
    EXPECT_EQ(FieldValue("lun1"), Json::Value("lun1"));
    EXPECT_EQ(FieldValue(""), Json::Value(""));
    // A uuid starts like a number but is not one.
    EXPECT_EQ(FieldValue("12345678-1234-1234-1234-123456789abc"),
              Json::Value("12345678-1234-1234-1234-123456789abc"));
    EXPECT_EQ(FieldValue("1.5"), Json::Value(1.5));
}

TEST(WireClassifyBody, JsonFormMultipartOrEmpty)
{
    EXPECT_EQ(ClassifyBody("application/json", "{\"api\":1}"), BodyKind::Json);
    EXPECT_EQ(ClassifyBody("application/x-www-form-urlencoded", " {\"api\":1}"), BodyKind::Json);
    EXPECT_EQ(ClassifyBody("", "{}"), BodyKind::Json);
    EXPECT_EQ(ClassifyBody("application/x-www-form-urlencoded", "api=x"), BodyKind::Form);
    EXPECT_EQ(ClassifyBody("Application/X-WWW-Form-Urlencoded; charset=utf-8", "api=x"), BodyKind::Form);
    EXPECT_EQ(ClassifyBody("multipart/form-data; boundary=x", "--x"), BodyKind::Multipart);
    EXPECT_EQ(ClassifyBody("application/json", "api=x"), BodyKind::Json);
    EXPECT_EQ(ClassifyBody("application/json", ""), BodyKind::Empty);
    EXPECT_EQ(ClassifyBody("application/x-www-form-urlencoded", " \r\n"), BodyKind::Empty);
}

TEST(WireReadJsonCall, ReadsApiVersionMethodAndParams)
{
    EntryCall call;
    ASSERT_EQ(ReadJsonCall(R"({"api":"A.B","version":3,"method":"get","params":{"uuid":"u","n":5}})", call),
              0);
    EXPECT_EQ(call.api, "A.B");
    EXPECT_EQ(call.version, 3);
    EXPECT_EQ(call.method, "get");
    EXPECT_EQ(call.params, Parse(R"({"uuid":"u","n":5})"));
}

TEST(WireReadJsonCall, MissingParamsIsAnEmptyObject)
{
    EntryCall call;
    ASSERT_EQ(ReadJsonCall(R"({"api":"A","version":1,"method":"list","other":1})", call), 0);
    EXPECT_TRUE(call.params.isObject());
    EXPECT_EQ(call.params.size(), 0u);
}

TEST(WireReadJsonCall, RefusesWhatIsNotACall)
{
    const char* bad[] = {
        "",
        "{",
        "[]",
        "\"text\"",
        R"({"api":"A","version":1,"method":"m"} trailing)",
        R"({"version":1,"method":"m"})",
        R"({"api":"","version":1,"method":"m"})",
        R"({"api":5,"version":1,"method":"m"})",
        R"({"api":"A","version":1})",
        R"({"api":"A","version":1,"method":null})",
        R"({"api":"A","method":"m"})",
        R"({"api":"A","version":"1","method":"m"})",
        R"({"api":"A","version":1.5,"method":"m"})",
        R"({"api":"A","version":1.0,"method":"m"})",
        R"({"api":"A","version":null,"method":"m"})",
        R"({"api":"A","version":2147483648,"method":"m"})",
        R"({"api":"A","version":-2147483649,"method":"m"})",
    };
    for (const char* body : bad) {
        EntryCall call;
        EXPECT_EQ(ReadJsonCall(body, call), KOVA::WEBAPI_ERR_BAD_REQUEST) << body;
    }
}

TEST(WireReadJsonCall, ParamsThatAreNotAnObjectAre108)
{
    const char* bad[] = {
        R"({"api":"A","version":1,"method":"m","params":[]})",
        R"({"api":"A","version":1,"method":"m","params":"x"})",
        R"({"api":"A","version":1,"method":"m","params":5})",
        R"({"api":"A","version":1,"method":"m","params":null})",
    };
    for (const char* body : bad) {
        EntryCall call;
        EXPECT_EQ(ReadJsonCall(body, call), KOVA::WEBAPI_ERR_BAD_PARAMS) << body;
    }
}

TEST(WireReadFieldCall, EveryOtherFieldIsAParameter)
{
    EntryCall call;
    const FieldList fields = {{"api", "KOVA.Core.ISCSI.VLUN"},
                              {"version", "1"},
                              {"method", "create"},
                              {"name", "lun1"},
                              {"size", "1073741824"},
                              {"portals", "[\"a\",\"b\"]"}};
    ASSERT_EQ(ReadFieldCall(fields, call), 0);
    EXPECT_EQ(call.api, "KOVA.Core.ISCSI.VLUN");
    EXPECT_EQ(call.version, 1);
    EXPECT_EQ(call.method, "create");
    EXPECT_EQ(call.params, Parse(R"({"name":"lun1","size":1073741824,"portals":["a","b"]})"));
}

TEST(WireReadFieldCall, TheLastFieldOfANameCounts)
{
    EntryCall call;
    ASSERT_EQ(
        ReadFieldCall(
            {{"api", "A"}, {"version", "1"}, {"method", "m"}, {"x", "1"}, {"x", "2"}, {"method", "n"}}, call),
        0);
    EXPECT_EQ(call.method, "n");
    EXPECT_EQ(call.params["x"], Json::Value(2));
}

TEST(WireReadFieldCall, ApiAndMethodAreTakenAsText)
{
    EntryCall call;
    ASSERT_EQ(ReadFieldCall({{"api", "true"}, {"version", "1"}, {"method", "123"}}, call), 0);
    EXPECT_EQ(call.api, "true");
    EXPECT_EQ(call.method, "123");
}

TEST(WireReadFieldCall, RefusesMissingOrMalformedFields)
{
    const FieldList bad[] = {
        {},
        {{"version", "1"}, {"method", "m"}},
        {{"api", "A"}, {"version", "1"}},
        {{"api", ""}, {"version", "1"}, {"method", "m"}},
        {{"api", "A"}, {"version", "1"}, {"method", ""}},
        {{"api", "A"}, {"method", "m"}},
        {{"api", "A"}, {"version", "one"}, {"method", "m"}},
        {{"api", "A"}, {"version", "1.5"}, {"method", "m"}},
        {{"api", "A"}, {"version", "\"1\""}, {"method", "m"}},
        {{"api", "A"}, {"version", ""}, {"method", "m"}},
    };
    for (const auto& fields : bad) {
        EntryCall call;
        EXPECT_EQ(ReadFieldCall(fields, call), KOVA::WEBAPI_ERR_BAD_REQUEST);
    }
}

TEST(WireEnvelope, SuccessAndErrorTexts)
{
    EXPECT_EQ(SuccessEnvelope(Json::Value()), R"({"success":true,"data":null})");
    EXPECT_EQ(SuccessEnvelope(Parse(R"({"uuid":"u"})")), R"({"success":true,"data":{"uuid":"u"}})");
    Json::Value big;
    big["total_size"] = Json::UInt64(18446744073709551615ull);
    EXPECT_EQ(SuccessEnvelope(big), R"({"success":true,"data":{"total_size":18446744073709551615}})");
    EXPECT_EQ(ErrorEnvelope(18991001), R"({"success":false,"error":{"code":18991001}})");
    EXPECT_EQ(ErrorEnvelope(18990335, Parse(R"({"need":5})")),
              R"({"success":false,"error":{"code":18990335,"detail":{"need":5}}})");
    EXPECT_EQ(ErrorEnvelope(5, Json::Value(Json::objectValue)),
              R"({"success":false,"error":{"code":5,"detail":{}}})");
}

TEST(WireHttpStatus, OfEveryRuntimeCode)
{
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_UNKNOWN), 500);
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_BAD_REQUEST), 400);
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_NO_SUCH_API), 404);
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_NO_SUCH_METHOD), 404);
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_NO_SUCH_VERSION), 404);
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_TOO_LARGE), 413);
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_NOT_LOGGED_IN), 401);
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_NO_ANSWER), 200);
    EXPECT_EQ(HttpStatusOf(KOVA::WEBAPI_ERR_BAD_PARAMS), 400);
}

TEST(WireListen, AddressAndPort)
{
    std::string host;
    int port = -1;
    ASSERT_TRUE(ParseListen("127.0.0.1:5080", host, port));
    EXPECT_EQ(host, "127.0.0.1");
    EXPECT_EQ(port, 5080);
    ASSERT_TRUE(ParseListen("0.0.0.0:0", host, port));
    EXPECT_EQ(host, "0.0.0.0");
    EXPECT_EQ(port, 0);
    ASSERT_TRUE(ParseListen("[::1]:8080", host, port));
    EXPECT_EQ(host, "::1");
    EXPECT_EQ(port, 8080);
    ASSERT_TRUE(ParseListen("localhost:65535", host, port));
    EXPECT_EQ(port, 65535);
    for (const char* bad : {"", "127.0.0.1", ":80", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1",
                            "127.0.0.1:8o", "::1:80", "[]:80", "[::1:80", "h:123456"})
        EXPECT_FALSE(ParseListen(bad, host, port)) << bad;
}

TEST(DaemonCommandLine, ModuleAndModuleDirCanBeGivenSeveralTimes)
{
    std::vector<std::string> args = {"kova-webapid", "--module",   "/a/one.so",    "--module",  "/b/two.so",
                                     "--module-dir", "/modules/x", "--module-dir", "/modules/y"};
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(&arg[0]);
    DaemonOptions options;
    ASSERT_EQ(-1, ParseOptions(static_cast<int>(argv.size()), argv.data(), options));
    EXPECT_EQ((std::vector<std::string>{"/a/one.so", "/b/two.so"}), options.modules);
    EXPECT_EQ((std::vector<std::string>{"/modules/x", "/modules/y"}), options.moduleDirs);
}
