// kova-webapid end to end: accounts, login, sessions, one-time codes, throttling, API
// discovery and HTTPS, over real HTTP(S) on 127.0.0.1.
#include "DaemonProcess.h"
#include "HttpClient.h"

#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <oath.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <thread>

using namespace KOVATest;

namespace {

const char VLUN[] = "KOVA.Core.ISCSI.VLUN";
const char VLUN_UUID[] = "11111111-2222-4333-8444-555555555555";
const char SRC_LUN_UUID[] = "0a1b2c3d-4e5f-4a6b-9c7d-8e9fa0b1c2d3";

std::string Call(const std::string& method, const std::string& params = "{}")
{
    return R"({"api":")" + std::string(VLUN) + R"(","version":1,"method":")" + method + R"(","params":)" +
           params + "}";
}

std::string Error(int code)
{
    return R"({"success":false,"error":{"code":)" + std::to_string(code) + "}}";
}

int CodeOf(const HttpResult& r)
{
    return r.Json()["error"]["code"].asInt();
}

std::string TempDir()
{
    char pattern[] = "/tmp/kova-e2e-auth-XXXXXX";
    return mkdtemp(pattern) ? std::string(pattern) : std::string();
}

// A directory removed at the end of the test.
struct ScopedDir {
    std::string path = TempDir();
    ~ScopedDir()
    {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
};

std::string TotpCode(const std::string& base32, std::int64_t when)
{
    oath_init();
    char* raw = nullptr;
    size_t length = 0;
    if (oath_base32_decode(base32.data(), base32.size(), &raw, &length) != OATH_OK)
        return std::string();
    char code[7] = {0};
    const int rc = oath_totp_generate(raw, length, static_cast<time_t>(when), 30, 0, 6, code);
    std::free(raw);
    return rc == OATH_OK ? std::string(code) : std::string();
}

std::int64_t Now()
{
    return static_cast<std::int64_t>(::time(nullptr));
}

// Runs "kova-webapid account ARGS --data-dir DIR".
int Account(std::vector<std::string> args, const std::string& dataDir, const std::string& stdinText = "",
            std::string* out = nullptr, std::string* err = nullptr)
{
    args.insert(args.begin(), "account");
    args.push_back("--data-dir");
    args.push_back(dataDir);
    return RunProgram(args, stdinText, out, err);
}

std::string SecretOf(const std::string& otpEnableOutput)
{
    const size_t at = otpEnableOutput.find("secret: ");
    if (at == std::string::npos)
        return std::string();
    return otpEnableOutput.substr(at + 8, otpEnableOutput.find('\n', at) - at - 8);
}

DaemonProcess::Config WithArgs(std::vector<std::string> args)
{
    DaemonProcess::Config config;
    config.args = std::move(args);
    return config;
}

} // namespace

// ---------------------------------------------------------------- login

TEST(AuthPageCookie, ACookieLoginGivesAnHttpOnlyCookieAndATokenThatCookieCallsNeed)
{
    DaemonProcess daemon;
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    client.SetHeaders({"X-Kova-Cookie: 1"});
    const HttpResult login = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD));
    ASSERT_EQ(login.status, 200) << login.body;
    const std::string token = login.Json()["data"]["token"].asString();
    EXPECT_EQ(token.size(), 64u) << login.body;
    EXPECT_FALSE(login.Json()["data"].isMember("sid")) << "the page's code never sees the session id";
    const std::string cookie = login.Header("Set-Cookie");
    ASSERT_EQ(cookie.rfind("sid=", 0), 0u) << cookie;
    const std::string sid = cookie.substr(4, 64);
    EXPECT_EQ(cookie, "sid=" + sid + "; Path=/webapi; HttpOnly; SameSite=Strict");

    // The cookie without the token, or with a wrong one: refused before any handler runs.
    const size_t mark = daemon.CallsMark();
    for (const std::string& wrong : {std::string(), std::string(64, '0'), token.substr(1)}) {
        client.SetHeaders({"Cookie: sid=" + sid, "X-Kova-Token: " + wrong});
        const HttpResult r = client.Post(daemon.EntryUrl(), Call("list"));
        EXPECT_EQ(r.status, 403);
        EXPECT_EQ(r.body, Error(115));
        const HttpResult form =
            client.Post(daemon.EntryUrl(), "api=KOVA.Core.ISCSI.VLUN&version=1&method=list",
                        "application/x-www-form-urlencoded");
        EXPECT_EQ(form.body, Error(115));
    }
    EXPECT_EQ(daemon.CallsSince(mark), "");
    // With the token the call goes through; header and field need none.
    client.SetHeaders({"Cookie: sid=" + sid, "X-Kova-Token: " + token});
    EXPECT_EQ(client.Post(daemon.EntryUrl(), Call("list")).body, R"({"success":true,"data":null})");
    client.SetHeaders({"X-Kova-Sid: " + sid});
    EXPECT_EQ(client.Post(daemon.EntryUrl(), Call("list")).body, R"({"success":true,"data":null})");

    // A logout by the cookie alone needs the token too, and then clears the cookie.
    client.SetHeaders({"Cookie: sid=" + sid, "X-Kova-Cookie: 1"});
    EXPECT_EQ(client.Post(daemon.AuthUrl(), R"({"method":"logout"})").body, Error(115));
    client.SetHeaders({"Cookie: sid=" + sid, "X-Kova-Cookie: 1", "X-Kova-Token: " + token});
    const HttpResult logout = client.Post(daemon.AuthUrl(), R"({"method":"logout"})");
    EXPECT_EQ(logout.body, R"({"success":true,"data":null})");
    EXPECT_EQ(logout.Header("Set-Cookie"), "sid=; Path=/webapi; HttpOnly; SameSite=Strict; Max-Age=0");
    client.SetHeaders({"Cookie: sid=" + sid, "X-Kova-Token: " + token});
    EXPECT_EQ(client.Post(daemon.EntryUrl(), Call("list")).body, Error(106));
}

TEST(AuthPageCookie, AStaleCookieDoesNotStandInTheWayOfALogin)
{
    DaemonProcess daemon;
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    client.SetHeaders({"Cookie: sid=" + std::string(64, '0'), "X-Kova-Cookie: 1"});
    EXPECT_EQ(client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD)).status, 200);
}

TEST(AuthLogin, TheRightPasswordGivesASessionThatCallsWork)
{
    DaemonProcess daemon;
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    const HttpResult r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.contentType, "application/json");
    const std::string sid = r.Json()["data"]["sid"].asString();
    EXPECT_EQ(sid.size(), 64u) << r.body;
    EXPECT_EQ(r.body, R"({"success":true,"data":{"sid":")" + sid + R"("}})");

    // The session in each of its places: header, cookie, JSON member, form field, query field.
    client.SetHeaders({"X-Kova-Sid: " + sid});
    EXPECT_EQ(client.Post(daemon.EntryUrl(), Call("list")).body, R"({"success":true,"data":null})");
    // The cookie alone is the management page's way and needs its token (AuthPageCookie).
    client.SetHeaders({"Cookie: theme=dark; sid=" + sid, "X-Kova-Sid: " + sid});
    EXPECT_EQ(client.Post(daemon.EntryUrl(), Call("list")).body, R"({"success":true,"data":null})");
    client.SetHeaders({});
    EXPECT_EQ(
        client
            .Post(daemon.EntryUrl(),
                  R"({"api":"KOVA.Core.ISCSI.VLUN","version":1,"method":"list","_sid":")" + sid + R"("})")
            .status,
        200);
    EXPECT_EQ(
        client
            .Post(daemon.EntryUrl(),
                  HttpClient::Encode({{"api", VLUN}, {"version", "1"}, {"method", "list"}, {"_sid", sid}}),
                  "application/x-www-form-urlencoded")
            .status,
        200);
    EXPECT_EQ(
        client
            .Get(daemon.EntryUrl() + "?" +
                 HttpClient::Encode({{"api", VLUN}, {"version", "1"}, {"method", "list"}, {"_sid", sid}}))
            .status,
        200);
}

TEST(AuthLogin, AFormLoginWorksAndADigitPasswordStaysText)
{
    ScopedDir dir;
    ASSERT_EQ(Account({"add", "digits"}, dir.path + "/data", "123456\n"), 0);
    DaemonProcess::Config config;
    config.dataDir = dir.path + "/data";
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    const HttpResult r =
        client.Post(daemon.AuthUrl(),
                    HttpClient::Encode({{"method", "login"}, {"account", "digits"}, {"passwd", "123456"}}),
                    "application/x-www-form-urlencoded");
    EXPECT_EQ(r.status, 200) << r.body;
    EXPECT_EQ(r.Json()["data"]["sid"].asString().size(), 64u);
}

TEST(AuthLogin, AWrongPasswordOrUnknownAccountIs110WithHttp401)
{
    DaemonProcess daemon;
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    HttpResult r = client.Post(daemon.AuthUrl(), LoginBody("admin", "not the password"));
    EXPECT_EQ(r.status, 401);
    EXPECT_EQ(r.body, Error(110));
    r = client.Post(daemon.AuthUrl(), LoginBody("nobody", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 401);
    EXPECT_EQ(r.body, Error(110));
}

TEST(AuthLogin, LogoutEndsTheSession)
{
    DaemonProcess daemon;
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    const std::string sid = daemon.Login(client);
    ASSERT_FALSE(sid.empty());
    HttpResult r = client.Post(daemon.AuthUrl(), R"({"method":"logout"})");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"success":true,"data":null})");
    r = client.Post(daemon.EntryUrl(), Call("list"));
    EXPECT_EQ(r.status, 401);
    EXPECT_EQ(r.body, Error(106));
    r = client.Post(daemon.AuthUrl(), R"({"method":"logout"})");
    EXPECT_EQ(r.body, Error(106));
}

TEST(AuthLogin, ConcurrentLoginsAllGetTheirOwnSession)
{
    DaemonProcess daemon;
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    constexpr int THREADS = 4;
    constexpr int LOGINS = 3;
    std::vector<std::vector<std::string>> sids(THREADS);
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([&daemon, &sids, t] {
            HttpClient client;
            for (int i = 0; i < LOGINS; ++i) {
                const std::string sid = daemon.Login(client);
                const HttpResult r = client.Post(daemon.EntryUrl(), Call("list"));
                sids[t].push_back(r.status == 200 ? sid : std::string());
            }
        });
    }
    for (auto& th : threads)
        th.join();
    std::set<std::string> distinct;
    for (const auto& list : sids)
        for (const auto& sid : list) {
            EXPECT_EQ(sid.size(), 64u);
            distinct.insert(sid);
        }
    EXPECT_EQ(distinct.size(), static_cast<size_t>(THREADS * LOGINS));
}

// ---------------------------------------------------------------- the session check

TEST(AuthSession, ARequestWithoutAValidSessionNeverReachesAHandler)
{
    DaemonProcess::Config config;
    config.script = R"({"ISCSILIBVLUN::createVLUN": {"code": 0, "out": {"ISCSILIBVLUN::uuid": "x"}}})";
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    const std::string create =
        Call("create", R"({"src_lun_uuid":")" + std::string(SRC_LUN_UUID) + R"(","type":1})");
    const std::string get = Call("get", R"({"uuid":")" + std::string(VLUN_UUID) + R"("})");
    const size_t mark = daemon.CallsMark();
    for (const std::vector<std::string>& headers : {std::vector<std::string>{},
                                                    {"X-Kova-Sid: " + std::string(64, 'f')},
                                                    {"X-Kova-Sid: short"},
                                                    {"Cookie: sid=" + std::string(64, '0')}}) {
        client.SetHeaders(headers);
        for (const std::string& body : {create, get}) {
            const HttpResult r = client.Post(daemon.EntryUrl(), body);
            EXPECT_EQ(r.status, 401);
            EXPECT_EQ(r.body, Error(106));
        }
        EXPECT_EQ(
            client.Get(daemon.EntryUrl() + "?api=KOVA.Core.ISCSI.VLUN&version=1&method=get&uuid=" + VLUN_UUID)
                .status,
            401);
    }
    EXPECT_EQ(daemon.CallsSince(mark), "");

    // With a session the same call reaches the library.
    ASSERT_FALSE(daemon.Login(client).empty());
    EXPECT_EQ(client.Post(daemon.EntryUrl(), get).status, 200);
    EXPECT_NE(daemon.CallsSince(mark), "");
}

TEST(AuthSession, AnIdleSessionExpiresWith114)
{
    DaemonProcess daemon(WithArgs({"--session-idle", "1"}));
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    ASSERT_FALSE(daemon.Login(client).empty());
    EXPECT_EQ(client.Post(daemon.EntryUrl(), Call("list")).status, 200);
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    HttpResult r = client.Post(daemon.EntryUrl(), Call("list"));
    EXPECT_EQ(r.status, 401);
    EXPECT_EQ(r.body, Error(114));
    // Once reported, the session is gone.
    r = client.Post(daemon.EntryUrl(), Call("list"));
    EXPECT_EQ(r.body, Error(106));
}

TEST(AuthSession, ASessionInUseStillEndsAtItsAbsoluteLimit)
{
    DaemonProcess daemon(WithArgs({"--session-max", "1"}));
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    ASSERT_FALSE(daemon.Login(client).empty());
    HttpResult r;
    for (int i = 0; i < 30; ++i) {
        r = client.Post(daemon.EntryUrl(), Call("list"));
        if (r.status != 200)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_EQ(r.status, 401);
    EXPECT_EQ(r.body, Error(114));
}

TEST(AuthSession, SessionsAndAccountsSurviveARestart)
{
    ScopedDir dir;
    std::string sid;
    {
        DaemonProcess::Config config;
        config.dataDir = dir.path + "/data";
        DaemonProcess daemon(config);
        ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
        HttpClient client;
        sid = daemon.Login(client);
        ASSERT_FALSE(sid.empty());
        ASSERT_EQ(daemon.Stop(), 0);
    }
    DaemonProcess::Config config;
    config.dataDir = dir.path + "/data";
    // The admin exists already: another KOVA_ADMIN_PASSWORD changes nothing.
    config.adminPassword = "another password";
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    client.SetSession(sid);
    EXPECT_EQ(client.Post(daemon.EntryUrl(), Call("list")).body, R"({"success":true,"data":null})");
    EXPECT_EQ(client.Post(daemon.AuthUrl(), LoginBody("admin", "another password")).status, 401);
    EXPECT_FALSE(daemon.Login(client).empty());
}

// ---------------------------------------------------------------- one-time codes

TEST(AuthOtp, AnAccountWithASecretNeedsAFreshCurrentCode)
{
    DaemonProcess daemon(WithArgs({"--login-max-failures", "100"}));
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    std::string out;
    std::string err;
    ASSERT_EQ(Account({"otp-enable", "admin"}, daemon.DataDir(), "", &out, &err), 0) << err;
    const std::string secret = SecretOf(out);
    ASSERT_EQ(secret.size(), 32u) << out;
    EXPECT_NE(out.find("otpauth://totp/kova-webapid:admin?secret=" + secret), std::string::npos) << out;

    HttpClient client;
    HttpResult r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 401);
    EXPECT_EQ(r.body, Error(111));
    // A wrong password with a right code is still a wrong password.
    r = client.Post(daemon.AuthUrl(), LoginBody("admin", "wrong", TotpCode(secret, Now())));
    EXPECT_EQ(r.body, Error(110));

    // A code that none of the steps around now gives.
    std::set<std::string> valid;
    for (int skew = -2; skew <= 2; ++skew)
        valid.insert(TotpCode(secret, Now() + skew * 30));
    std::string wrong = "000000";
    for (int i = 1; valid.count(wrong); ++i)
        wrong = std::to_string(100000 + i * 7);
    r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD, wrong));
    EXPECT_EQ(r.status, 401);
    EXPECT_EQ(r.body, Error(112));
    // Three steps back is too old.
    r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD, TotpCode(secret, Now() - 90)));
    EXPECT_EQ(r.body, Error(112));

    const std::string code = TotpCode(secret, Now());
    r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD, code));
    EXPECT_EQ(r.status, 200) << r.body;
    EXPECT_EQ(r.Json()["data"]["sid"].asString().size(), 64u);
    // The same code again: refused, even within its step.
    r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD, code));
    EXPECT_EQ(r.status, 401);
    EXPECT_EQ(r.body, Error(112));

    ASSERT_EQ(Account({"otp-disable", "admin"}, daemon.DataDir()), 0);
    r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 200) << r.body;
}

// ---------------------------------------------------------------- throttling

TEST(AuthThrottle, TooManyFailuresLockTheAccountAtThatAddressForAWhile)
{
    DaemonProcess daemon(
        WithArgs({"--login-max-failures", "3", "--login-window", "60", "--login-lockout", "2"}));
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(CodeOf(client.Post(daemon.AuthUrl(), LoginBody("admin", "wrong"))), 110) << i;
    HttpResult r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 429);
    EXPECT_EQ(r.body, Error(113));
    // Calls with an existing session are not affected; the lock ends after --login-lockout.
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 200) << r.body;
}

TEST(AuthThrottle, FailuresOverManyAccountsLockTheAddress)
{
    DaemonProcess daemon(WithArgs({"--login-max-failures", "3", "--login-lockout", "60"}));
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    for (const char* account : {"a", "b", "c"})
        EXPECT_EQ(CodeOf(client.Post(daemon.AuthUrl(), LoginBody(account, "x"))), 110);
    EXPECT_EQ(CodeOf(client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD))), 113);
}

// An attacker guessing admin's password from one address slows only themselves: the owner
// logs in from their own address all along, and the attacker stays refused even with the
// right password.
TEST(AuthThrottle, TheOwnerLogsInFromAnotherAddressDuringAnAttack)
{
    DaemonProcess daemon(WithArgs({"--login-max-failures", "3", "--login-lockout", "60"}));
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient attacker;
    attacker.SetLocalAddress("127.0.0.2");
    HttpClient owner;
    owner.SetLocalAddress("127.0.0.1");
    int refused = 0;
    for (int i = 0; i < 10; ++i) {
        const int code =
            CodeOf(attacker.Post(daemon.AuthUrl(), LoginBody("admin", "guess" + std::to_string(i))));
        EXPECT_TRUE(code == 110 || code == 113) << code;
        refused += code == 113 ? 1 : 0;
    }
    EXPECT_EQ(refused, 7); // after 3 failures every try is refused unchecked
    const HttpResult r = owner.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 200) << r.body;
    EXPECT_EQ(CodeOf(attacker.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD))), 113);
    // The owner's own mistakes count for the owner's address only.
    EXPECT_EQ(CodeOf(owner.Post(daemon.AuthUrl(), LoginBody("admin", "typo"))), 110);
    EXPECT_EQ(owner.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD)).status, 200);
}

// A password or one-time code in the query string of a login is refused (116, HTTP 400)
// before anything is checked, whether or not the body carries them too.
TEST(AuthInput, CredentialsInTheQueryStringAreRefused)
{
    DaemonProcess daemon;
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    const std::string query =
        "?" + HttpClient::Encode({{"method", "login"}, {"account", "admin"}, {"passwd", ADMIN_PASSWORD}});
    HttpResult r = client.Post(daemon.AuthUrl() + query, "", "application/x-www-form-urlencoded");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(CodeOf(r), 116) << r.body;
    EXPECT_TRUE(r.Json()["data"].isNull());
    r = client.Post(daemon.AuthUrl() + "?" + HttpClient::Encode({{"passwd", ADMIN_PASSWORD}}),
                    LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(CodeOf(r), 116) << r.body;
    r = client.Post(daemon.AuthUrl() + "?otp_code=123456", LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(CodeOf(r), 116) << r.body;
    // The same login in the body works; a query string without secrets does not matter.
    r = client.Post(daemon.AuthUrl() + "?account=admin", LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 200) << r.body;
}

// ---------------------------------------------------------------- bad input to /webapi/auth

TEST(AuthInput, BadLoginInputGetsAClearError)
{
    DaemonProcess daemon(WithArgs({"--max-body", "4096"}));
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    struct Case {
        std::string body;
        long status;
        int code;
        const char* mentions;
    };
    const Case cases[] = {
        {R"({"method":"login","passwd":"x"})", 400, 101, "account"},
        {R"({"method":"login","account":"admin"})", 400, 101, "passwd"},
        {R"({"method":"login","account":5,"passwd":"x"})", 400, 101, "account"},
        {R"({"method":"login","account":"admin","passwd":["x"]})", 400, 101, "passwd"},
        {R"({"method":"login","account":"admin","passwd":"x","otp_code":true})", 400, 101, "otp_code"},
        {R"({"account":"admin","passwd":"x"})", 400, 101, "method"},
        {R"({"method":7})", 400, 101, "method"},
        {R"({"method":"dance"})", 404, 103, "method"},
        {R"({"method":"login",)", 400, 101, "JSON"},
        {R"([1,2])", 400, 101, "JSON"},
        {R"({"method":"login","account":")" + std::string(200, 'a') + R"(","passwd":"x"})", 400, 101,
         "account"},
    };
    for (const auto& c : cases) {
        const HttpResult r = client.Post(daemon.AuthUrl(), c.body);
        EXPECT_EQ(r.status, c.status) << c.body;
        EXPECT_EQ(CodeOf(r), c.code) << c.body;
        EXPECT_NE(r.Json()["error"]["detail"].asString().find(c.mentions), std::string::npos) << r.body;
    }
    // A huge body: 105 with HTTP 413, and the connection goes on.
    HttpResult r = client.Post(daemon.AuthUrl(), LoginBody("admin", std::string(10000, 'p')));
    EXPECT_EQ(r.status, 413);
    EXPECT_EQ(r.body, Error(105));
    r = client.PostChunked(daemon.AuthUrl(), LoginBody("admin", std::string(100000, 'p')));
    EXPECT_EQ(r.status, 413);
    // Only POST.
    r = client.Get(daemon.AuthUrl() + "?method=login&account=admin&passwd=x");
    EXPECT_EQ(r.status, 405);
    r = client.Post(daemon.AuthUrl(), LoginBody("admin", ADMIN_PASSWORD));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.newConnections, 0);
}

// ---------------------------------------------------------------- discovery

TEST(AuthQuery, DiscoveryAnswersWithoutASession)
{
    DaemonProcess daemon;
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    HttpResult r = client.Get(daemon.QueryUrl() + "?api=" + VLUN);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(
        r.body,
        R"({"success":true,"data":{"KOVA.Core.ISCSI.VLUN":{"maxVersion":1,"minVersion":1,"path":"entry"}}})");
    r = client.Get(daemon.QueryUrl() + "?api=all");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.Json()["data"][VLUN]["path"], "entry");
    r = client.Get(daemon.QueryUrl() + "?api=KOVA.No.Such");
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(CodeOf(r), 102);
    r = client.Get(daemon.QueryUrl());
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(CodeOf(r), 101);
    r = client.Post(daemon.QueryUrl(), "api=KOVA.Core.ISCSI.VLUN", "application/x-www-form-urlencoded");
    EXPECT_EQ(r.Json()["data"][VLUN]["maxVersion"], 1);
}

// ---------------------------------------------------------------- first start

TEST(AuthAdmin, WithoutAPasswordGivenOneIsGeneratedPrintedOnceAndKeptInAPrivateFile)
{
    DaemonProcess::Config config;
    config.adminPassword = "";
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    const std::string file = daemon.DataDir() + "/admin-password";
    std::string password = ReadFile(file);
    ASSERT_FALSE(password.empty());
    password.pop_back();
    EXPECT_GE(password.size(), 16u);
    struct stat st;
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_NE(daemon.Stderr().find(password), std::string::npos);
    HttpClient client;
    EXPECT_FALSE(daemon.Login(client, "admin", password).empty());
}

TEST(AuthAdmin, ThePasswordFileOptionWinsOverTheEnvironment)
{
    ScopedDir dir;
    {
        std::FILE* f = std::fopen((dir.path + "/pw").c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs("from the file\n", f);
        std::fclose(f);
    }
    DaemonProcess daemon(WithArgs({"--admin-password-file", dir.path + "/pw"}));
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    EXPECT_FALSE(daemon.Login(client, "admin", "from the file").empty());
    EXPECT_FALSE(std::filesystem::exists(daemon.DataDir() + "/admin-password"));
}

// ---------------------------------------------------------------- the account tool

TEST(AuthAccounts, TheSubcommandsManageAccountsOffline)
{
    ScopedDir dir;
    const std::string data = dir.path + "/data";
    std::string out, err;
    EXPECT_EQ(Account({"add", "bob"}, data, "bob password\n"), 0);
    EXPECT_EQ(Account({"add", "bob"}, data, "other\n", nullptr, &err), 1);
    EXPECT_NE(err.find("exists"), std::string::npos) << err;
    EXPECT_EQ(Account({"add", "carol"}, data, ""), 2); // no password
    EXPECT_EQ(Account({"add", "bad name!"}, data, "pw\n"), 2);
    {
        std::FILE* f = std::fopen((dir.path + "/pw").c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs("carol password\n", f);
        std::fclose(f);
    }
    EXPECT_EQ(Account({"add", "carol", "--password-file", dir.path + "/pw"}, data), 0);
    EXPECT_EQ(Account({"otp-enable", "carol"}, data, "", &out), 0);
    EXPECT_EQ(SecretOf(out).size(), 32u);
    EXPECT_EQ(Account({"list"}, data, "", &out), 0);
    EXPECT_EQ(out, "bob\t-\ncarol\totp\n");
    EXPECT_EQ(Account({"otp-disable", "carol"}, data), 0);
    EXPECT_EQ(Account({"passwd", "bob"}, data, "bob new password\n"), 0);
    EXPECT_EQ(Account({"passwd", "nobody"}, data, "x\n"), 1);
    EXPECT_EQ(Account({"delete", "carol"}, data), 0);
    EXPECT_EQ(Account({"delete", "carol"}, data), 1);
    EXPECT_EQ(Account({"list"}, data, "", &out), 0);
    EXPECT_EQ(out, "bob\t-\n");
    EXPECT_NE(RunProgram({"account"}, "", nullptr, nullptr), 0);
    EXPECT_NE(RunProgram({"account", "frobnicate"}, "", nullptr, nullptr), 0);

    // A daemon on that directory: accounts exist, so no admin is made; bob logs in.
    DaemonProcess::Config config;
    config.dataDir = data;
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    HttpClient client;
    EXPECT_TRUE(daemon.Login(client).empty());
    EXPECT_TRUE(daemon.Login(client, "bob", "bob password").empty());
    EXPECT_FALSE(daemon.Login(client, "bob", "bob new password").empty());
}

// ---------------------------------------------------------------- HTTPS

TEST(AuthTls, ASelfSignedCertificateIsMadeKeptAndVerifiable)
{
    ScopedDir dir;
    const std::string data = dir.path + "/data";
    const std::string portFile = dir.path + "/tls-port";
    std::string firstCert;
    for (int round = 0; round < 2; ++round) {
        DaemonProcess::Config config;
        config.dataDir = data;
        config.args = {"--listen-tls", "127.0.0.1:0", "--tls-self-signed", "--tls-port-file", portFile};
        DaemonProcess daemon(config);
        ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
        const std::string cert = ReadFile(data + "/tls-cert.pem");
        ASSERT_NE(cert.find("BEGIN CERTIFICATE"), std::string::npos);
        struct stat st;
        ASSERT_EQ(stat((data + "/tls-key.pem").c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u);
        if (round == 0)
            firstCert = cert;
        else
            EXPECT_EQ(cert, firstCert); // kept, not made again
        const std::string base = "https://127.0.0.1:" + std::to_string(std::atoi(ReadFile(portFile).c_str()));

        HttpClient client;
        client.SetCaFile(data + "/tls-cert.pem");
        const HttpResult login = client.Post(base + "/webapi/auth", LoginBody("admin", ADMIN_PASSWORD));
        ASSERT_TRUE(login.Ok()) << curl_easy_strerror(login.curl);
        EXPECT_EQ(login.status, 200);
        client.SetSession(login.Json()["data"]["sid"].asString());
        const HttpResult r = client.Post(base + "/webapi/entry", Call("list"));
        EXPECT_EQ(r.body, R"({"success":true,"data":null})");
        // By name too: localhost is in the certificate.
        const HttpResult byName =
            client.Get("https://localhost:" + std::to_string(std::atoi(ReadFile(portFile).c_str())) +
                       "/webapi/query?api=all");
        EXPECT_TRUE(byName.Ok()) << curl_easy_strerror(byName.curl);

        // Without trusting the certificate, curl refuses the connection.
        HttpClient stranger;
        stranger.SetCaFile(dir.path + "/nothing.pem");
        EXPECT_FALSE(stranger.Get(base + "/webapi/query?api=all").Ok());
        // Plain HTTP goes on beside it.
        HttpClient plain;
        EXPECT_EQ(plain.Get(daemon.QueryUrl() + "?api=all").status, 200);
    }
}

TEST(AuthTls, AGivenCertificateAndNoPlainHttp)
{
    ScopedDir dir;
    // A certificate made by a first daemon serves as the given one.
    {
        DaemonProcess::Config config;
        config.dataDir = dir.path + "/first";
        config.args = {"--listen-tls", "127.0.0.1:0", "--tls-self-signed"};
        DaemonProcess first(config);
        ASSERT_TRUE(first.Running()) << first.Stderr();
    }
    const std::string cert = dir.path + "/first/tls-cert.pem";
    DaemonProcess::Config config;
    config.args = {"--listen-tls", "127.0.0.1:0", "--tls-cert",
                   cert,           "--tls-key",   dir.path + "/first/tls-key.pem",
                   "--no-http"};
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    // The port file names the HTTPS port when there is no HTTP.
    HttpClient client;
    client.SetCaFile(cert);
    const std::string base = "https://127.0.0.1:" + std::to_string(daemon.Port());
    const HttpResult r = client.Post(base + "/webapi/auth", LoginBody("admin", ADMIN_PASSWORD));
    ASSERT_TRUE(r.Ok()) << curl_easy_strerror(r.curl);
    EXPECT_EQ(r.status, 200);
    HttpClient plain;
    EXPECT_FALSE(plain.Get(daemon.BaseUrl() + "/webapi/query?api=all").status == 200);
}

TEST(AuthTls, TlsUsageErrorsEndTheDaemon)
{
    EXPECT_NE(RunDaemonToEnd({"--no-http"}), 0);
    EXPECT_NE(RunDaemonToEnd({"--listen-tls", "127.0.0.1:0"}), 0);
    EXPECT_NE(RunDaemonToEnd({"--tls-self-signed"}), 0);
    EXPECT_NE(RunDaemonToEnd({"--listen-tls", "127.0.0.1:0", "--tls-cert", "/nonexistent.pem"}), 0);
    std::string err;
    EXPECT_EQ(RunDaemonToEnd({"--listen", "127.0.0.1:0", "--listen-tls", "127.0.0.1:0", "--tls-cert",
                              "/nonexistent.pem", "--tls-key", "/nonexistent.key"},
                             &err),
              1);
    EXPECT_NE(err.find("cannot load the certificate"), std::string::npos) << err;
}
