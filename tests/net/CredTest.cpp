// The credential library against small HTTP and HTTPS servers inside the test (cpp-httplib on
// 127.0.0.1, kernel-chosen ports) that answer as the daemon does: login, wrong password, wrong
// or missing one-time code, logout, discovery, requests with the session id, a silent server,
// a closed port, replies that are not JSON, keep-alive reuse, and HTTPS with a pinned, a changed
// and a first-seen certificate.
#include <kova/Cred.h>
#include <kova/JsonText.h>

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILogInfo.h>

#include "TlsCertificate.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include "CertFingerprint.h"
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr const char* kSid = "5e55105e55105e55105e55105e55105e55105e55105e55105e55105e55105e55";
constexpr const char* kApi = "KOVA.Core.ISCSI.Node";

struct CredDeleter {
    void operator()(KOVACred* cred) const { KOVACredFree(cred); }
    void operator()(KOVACredSess* sess) const { KOVACredSessFree(sess); }
};
using CredPtr = std::unique_ptr<KOVACred, CredDeleter>;
using SessPtr = std::unique_ptr<KOVACredSess, CredDeleter>;

void Reply(httplib::Response& res, int status, const std::string& json)
{
    res.status = status;
    res.set_content(json, "application/json");
}

// What the fake daemon saw.
struct Seen {
    std::mutex mutex;
    std::vector<Json::Value> bodies;
    std::vector<std::string> sids;
    std::vector<std::string> paths;
    std::vector<int> remotePorts;
    std::vector<std::string> apiParams; // "api" of the query string

    void add(const httplib::Request& req)
    {
        std::lock_guard<std::mutex> lock(mutex);
        Json::Value body;
        KOVA::fromString(body, req.body);
        bodies.push_back(body);
        sids.push_back(req.get_header_value("X-Kova-Sid"));
        paths.push_back(req.path);
        remotePorts.push_back(req.remote_port);
        apiParams.push_back(req.get_param_value("api"));
    }
};

// The daemon's /webapi/auth, /webapi/query and /webapi/entry as far as the credential library
// uses them: account "node" with password "secret" and, for account "otp", the code "123456".
void Serve(httplib::Server& server, Seen& seen, bool jsonReplies)
{
    server.Post("/webapi/auth", [&seen, jsonReplies](const httplib::Request& req, httplib::Response& res) {
        seen.add(req);
        if (!jsonReplies) {
            res.set_content("<html>gateway error</html>", "text/html");
            return;
        }
        Json::Value body;
        KOVA::fromString(body, req.body);
        const std::string method = body["method"].asString();
        if (method == "logout") {
            if (req.get_header_value("X-Kova-Sid") == kSid)
                return Reply(res, 200, R"({"success":true,"data":null})");
            return Reply(res, 401, R"({"success":false,"error":{"code":106}})");
        }
        if (method == "node_renew") {
            if (body["_sid"].asString() == "old-session" && body["rod_key"].asString() == "remote-rod-key")
                return Reply(res, 200, R"({"success":true,"data":{"sid":"renewed-session"}})");
            return Reply(res, 401, R"({"success":false,"error":{"code":106}})");
        }
        const std::string account = body["account"].asString();
        if ((account != "node" && account != "otp") || body["passwd"].asString() != "secret")
            return Reply(res, 401, R"({"success":false,"error":{"code":110}})");
        if (account == "otp" && !body.isMember("otp_code"))
            return Reply(res, 401, R"({"success":false,"error":{"code":111}})");
        if (account == "otp" && body["otp_code"].asString() != "123456")
            return Reply(res, 401, R"({"success":false,"error":{"code":112}})");
        Reply(res, 200, std::string(R"({"success":true,"data":{"sid":")") + kSid + "\"}}");
    });
    server.Get("/webapi/query", [&seen, jsonReplies](const httplib::Request& req, httplib::Response& res) {
        seen.add(req);
        if (!jsonReplies) {
            res.set_content("not json", "text/plain");
            return;
        }
        if (req.get_param_value("api") != kApi)
            return Reply(res, 404, R"({"success":false,"error":{"code":102}})");
        Reply(res, 200,
              std::string(R"({"success":true,"data":{")") + kApi +
                  R"(":{"maxVersion":1,"minVersion":1,"path":"entry"}}})");
    });
    server.Post("/webapi/entry", [&seen, jsonReplies](const httplib::Request& req, httplib::Response& res) {
        seen.add(req);
        if (!jsonReplies) {
            res.set_content("Internal Server Error", "text/plain");
            return;
        }
        if (req.get_header_value("X-Kova-Sid") != kSid)
            return Reply(res, 401, R"({"success":false,"error":{"code":106}})");
        Reply(res, 200, R"({"success":true,"data":{"nodes":[]}})");
    });
}

// A server on 127.0.0.1 with its own thread, stopped and joined at the end.
class TestServer {
public:
    explicit TestServer(std::unique_ptr<httplib::Server> server, bool jsonReplies = true)
        : server_(std::move(server))
    {
        Serve(*server_, seen, jsonReplies);
        server_->set_keep_alive_max_count(1000);
        // Short, so that stopping the server does not wait long for the clients' idle connections.
        server_->set_keep_alive_timeout(1);
        port = server_->bind_to_any_port("127.0.0.1");
        if (port > 0) {
            thread_ = std::thread([this] { server_->listen_after_bind(); });
            for (int i = 0; i < 200 && !server_->is_running(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    ~TestServer()
    {
        server_->stop();
        if (thread_.joinable())
            thread_.join();
    }

    int port = -1;
    Seen seen;

private:
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
};

// A temporary directory, removed at the end.
class TempDir {
public:
    TempDir()
    {
        char pattern[] = "/tmp/kova-net-test-XXXXXX";
        const char* made = mkdtemp(pattern);
        path = made ? made : "";
    }
    ~TempDir()
    {
        std::error_code ec;
        if (!path.empty())
            fs::remove_all(path, ec);
    }
    std::string path;
};

using KOVATest::CertSha256;

CredPtr MakeCred(const std::string& protocol, int port, const char* account = "node",
                 const char* passwd = "secret")
{
    CredPtr cred(KOVACredAlloc());
    EXPECT_TRUE(cred);
    EXPECT_EQ(0, KOVACredItemSetHost(cred.get(), "127.0.0.1"));
    EXPECT_EQ(0, KOVACredItemSetPort(cred.get(), port));
    EXPECT_EQ(0, KOVACredItemSetProtocol(cred.get(), protocol.c_str()));
    EXPECT_EQ(0, KOVACredItemSetRemoteAccount(cred.get(), account));
    EXPECT_EQ(0, KOVACredItemSetRemotePasswd(cred.get(), passwd));
    return cred;
}

// Sends a list request with the session kSid; answers Process's result and the error.
bool SendList(KOVACred* cred, int& error, std::string& response, int timeout = 0)
{
    SessPtr sess(KOVACredSessAlloc());
    KOVACredSessItemSetAccessToken(sess.get(), kSid);
    std::unique_ptr<KOVA::CredRequest> request(KOVA::CredRequest::CreateWebAPIRequest(
        cred, sess.get(), kApi, 1, "list", Json::Value(Json::objectValue)));
    if (!request) {
        error = -1;
        return false;
    }
    const bool ok = request->Process(true, timeout);
    error = request->GetError();
    response = request->GetResponse();
    return ok;
}

// A port on 127.0.0.1 where nothing listens.
int ClosedPort()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    close(fd);
    return ntohs(addr.sin_port);
}

// A TLS server with a self-signed certificate made in dir (cert.pem, key.pem).
struct TlsServer {
    explicit TlsServer(const std::string& dir)
    {
        certPath = dir + "/cert.pem";
        keyPath = dir + "/key.pem";
        std::string error;
        made = KOVA::Daemon::EnsureSelfSignedCertificate(certPath, keyPath, "127.0.0.1", error);
        if (made)
            server = std::make_unique<TestServer>(
                std::make_unique<httplib::SSLServer>(certPath.c_str(), keyPath.c_str()));
    }
    bool made = false;
    std::string certPath, keyPath;
    std::unique_ptr<TestServer> server;
};

class CredTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        // The service log of the credential library's failures goes to a data directory of the test.
        setenv("KOVA_DATA_DIR", (dir.path + "/data").c_str(), 1);
        setenv("KOVA_TGTD", "off", 1);
    }
    TempDir dir;
};

TEST_F(CredTest, SettersRefuseBadValues)
{
    CredPtr cred(KOVACredAlloc());
    ASSERT_TRUE(cred);
    EXPECT_LT(KOVACredItemSetHost(cred.get(), ""), 0);
    EXPECT_LT(KOVACredItemSetHost(cred.get(), "a/b"), 0);
    EXPECT_LT(KOVACredItemSetHost(nullptr, "a"), 0);
    EXPECT_EQ(0, KOVACredItemSetHost(cred.get(), "[::1]"));
    EXPECT_LT(KOVACredItemSetPort(cred.get(), 0), 0);
    EXPECT_LT(KOVACredItemSetPort(cred.get(), 65536), 0);
    EXPECT_LT(KOVACredItemSetProtocol(cred.get(), "ftp"), 0);
    EXPECT_LT(KOVACredItemSetRemoteAccount(cred.get(), nullptr), 0);
    EXPECT_LT(KOVACredItemSetPinnedCertSha256(cred.get(), "abc"), 0);
    EXPECT_LT(KOVACredItemSetTimeouts(cred.get(), 0, 5), 0);
    EXPECT_LT(KOVACredSessItemSetAccessToken(nullptr, "x"), 0);
    // A pin given with colons and in upper case is kept in the one form.
    std::string colons;
    for (int i = 0; i < 32; ++i)
        colons += std::string(i ? ":" : "") + "AB";
    EXPECT_EQ(0, KOVACredItemSetPinnedCertSha256(cred.get(), colons.c_str()));
    // Without a port and protocol nothing is sent.
    SessPtr sess(KOVACredSessAlloc());
    EXPECT_EQ(nullptr, KOVA::CredRequest::CreateWebAPIRequest(cred.get(), sess.get(), kApi, 1, "list",
                                                              Json::Value(Json::objectValue)));
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), nullptr));
    EXPECT_EQ(KOVA_CRED_ERR_INVALID, KOVACredGetLastError(cred.get()));
}

TEST_F(CredTest, LoginKeepsTheSessionAndLogoutEndsIt)
{
    TestServer server(std::make_unique<httplib::Server>());
    ASSERT_GT(server.port, 0);
    CredPtr cred = MakeCred("http", server.port);
    SessPtr sess(KOVACredSessAlloc());
    Json::Value reply;
    ASSERT_EQ(1, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), &reply));
    EXPECT_EQ(kSid, std::string(KOVACredSessGetAccessToken(sess.get())));
    EXPECT_EQ(kSid, reply["data"]["sid"].asString());
    EXPECT_EQ(0, KOVACredGetLastError(cred.get()));
    {
        std::lock_guard<std::mutex> lock(server.seen.mutex);
        ASSERT_EQ(1u, server.seen.bodies.size());
        const Json::Value& login = server.seen.bodies[0];
        EXPECT_EQ("login", login["method"].asString());
        EXPECT_EQ("node", login["account"].asString());
        EXPECT_EQ("secret", login["passwd"].asString());
        // No code given: none is sent.
        EXPECT_FALSE(login.isMember("otp_code"));
    }
    EXPECT_EQ(1, KOVA::CredRequestUtil::Logout(cred.get(), sess.get()));
    EXPECT_EQ("", std::string(KOVACredSessGetAccessToken(sess.get())));
    std::lock_guard<std::mutex> lock(server.seen.mutex);
    ASSERT_EQ(2u, server.seen.bodies.size());
    EXPECT_EQ("logout", server.seen.bodies[1]["method"].asString());
    EXPECT_EQ(kSid, server.seen.sids[1]);
}

TEST_F(CredTest, WrongPasswordFails)
{
    TestServer server(std::make_unique<httplib::Server>());
    ASSERT_GT(server.port, 0);
    CredPtr cred = MakeCred("http", server.port, "node", "wrong");
    SessPtr sess(KOVACredSessAlloc());
    Json::Value reply;
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), &reply));
    EXPECT_EQ(KOVA_CRED_ERR_LOGIN, KOVACredGetLastError(cred.get()));
    EXPECT_EQ(110, reply["error"]["code"].asInt());
    EXPECT_EQ("", std::string(KOVACredSessGetAccessToken(sess.get())));
    // Logging out without a session sends nothing.
    EXPECT_EQ(0, KOVA::CredRequestUtil::Logout(cred.get(), sess.get()));
    std::lock_guard<std::mutex> lock(server.seen.mutex);
    EXPECT_EQ(1u, server.seen.bodies.size());
}

TEST_F(CredTest, OneTimeCodeRightWrongAndMissing)
{
    TestServer server(std::make_unique<httplib::Server>());
    ASSERT_GT(server.port, 0);
    CredPtr cred = MakeCred("http", server.port, "otp");
    SessPtr sess(KOVACredSessAlloc());
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "654321", sess.get(), nullptr));
    EXPECT_EQ(KOVA_CRED_ERR_OTP, KOVACredGetLastError(cred.get()));
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), nullptr));
    EXPECT_EQ(KOVA_CRED_ERR_OTP, KOVACredGetLastError(cred.get()));
    EXPECT_EQ(1, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "123456", sess.get(), nullptr));
    EXPECT_EQ(kSid, std::string(KOVACredSessGetAccessToken(sess.get())));
    std::lock_guard<std::mutex> lock(server.seen.mutex);
    ASSERT_EQ(3u, server.seen.bodies.size());
    EXPECT_EQ("654321", server.seen.bodies[0]["otp_code"].asString());
    EXPECT_EQ("123456", server.seen.bodies[2]["otp_code"].asString());
}

TEST_F(CredTest, DiscoveryAndRequestCarryTheSession)
{
    TestServer server(std::make_unique<httplib::Server>());
    ASSERT_GT(server.port, 0);
    CredPtr cred = MakeCred("http", server.port);
    EXPECT_EQ("entry", KOVA::CredRequestUtil::GetWebAPIPath(cred.get(), kApi));
    EXPECT_EQ("", KOVA::CredRequestUtil::GetWebAPIPath(cred.get(), "KOVA.Core.Nothing"));
    EXPECT_EQ(KOVA_CRED_ERR_REPLY, KOVACredGetLastError(cred.get()));

    Json::Value params(Json::objectValue);
    params["uuids"].append("u1");
    SessPtr sess(KOVACredSessAlloc());
    KOVACredSessItemSetAccessToken(sess.get(), kSid);
    std::unique_ptr<KOVA::CredRequest> request(
        KOVA::CredRequest::CreateWebAPIRequest(cred.get(), sess.get(), kApi, 1, "delete_node", params));
    ASSERT_TRUE(request);
    ASSERT_TRUE(request->Process(true, 0));
    EXPECT_EQ(0, request->GetError());
    Json::Value reply;
    ASSERT_TRUE(KOVA::fromString(reply, request->GetResponse()));
    EXPECT_TRUE(reply["success"].asBool());

    // A session the remote does not know: the request is carried out, the reply tells.
    KOVACredSessItemSetAccessToken(sess.get(), "unknown");
    std::unique_ptr<KOVA::CredRequest> refused(
        KOVA::CredRequest::CreateWebAPIRequest(cred.get(), sess.get(), kApi, 1, "list", Json::Value()));
    ASSERT_TRUE(refused);
    ASSERT_TRUE(refused->Process(true, 0));
    ASSERT_TRUE(KOVA::fromString(reply, refused->GetResponse()));
    EXPECT_EQ(106, reply["error"]["code"].asInt());

    std::lock_guard<std::mutex> lock(server.seen.mutex);
    ASSERT_EQ(4u, server.seen.bodies.size());
    EXPECT_EQ("/webapi/query", server.seen.paths[0]);
    EXPECT_EQ(kApi, server.seen.apiParams[0]);

    EXPECT_EQ("/webapi/entry", server.seen.paths[2]);
    const Json::Value& call = server.seen.bodies[2];
    EXPECT_EQ(kApi, call["api"].asString());
    EXPECT_EQ(1, call["version"].asInt());
    EXPECT_EQ("delete_node", call["method"].asString());
    EXPECT_EQ(params, call["params"]);
    EXPECT_EQ(kSid, server.seen.sids[2]);
    // Null parameters go out as an empty object.
    EXPECT_TRUE(server.seen.bodies[3]["params"].isObject());
}

TEST_F(CredTest, RequestsReuseTheConnection)
{
    TestServer server(std::make_unique<httplib::Server>());
    ASSERT_GT(server.port, 0);
    for (int i = 0; i < 5; ++i) {
        // A new description each time, as the client classes make one per request.
        CredPtr cred = MakeCred("http", server.port);
        int error = 0;
        std::string response;
        ASSERT_TRUE(SendList(cred.get(), error, response));
    }
    std::lock_guard<std::mutex> lock(server.seen.mutex);
    ASSERT_EQ(5u, server.seen.remotePorts.size());
    for (int port : server.seen.remotePorts)
        EXPECT_EQ(server.seen.remotePorts[0], port) << "a new connection was opened";
}

TEST_F(CredTest, RenewNodeSession)
{
    TestServer server(std::make_unique<httplib::Server>());
    ASSERT_GT(server.port, 0);
    CredPtr cred = MakeCred("http", server.port);
    SessPtr sess(KOVACredSessAlloc());
    KOVACredSessItemSetAccessToken(sess.get(), "old-session");
    EXPECT_EQ(0, KOVA::CredRequestUtil::RenewNodeSession(cred.get(), "wrong-key", sess.get()));
    EXPECT_EQ(KOVA_CRED_ERR_SESSION, KOVACredGetLastError(cred.get()));
    EXPECT_EQ("old-session", std::string(KOVACredSessGetAccessToken(sess.get())));
    EXPECT_EQ(1, KOVA::CredRequestUtil::RenewNodeSession(cred.get(), "remote-rod-key", sess.get()));
    EXPECT_EQ("renewed-session", std::string(KOVACredSessGetAccessToken(sess.get())));
}

TEST_F(CredTest, SilentServerTimesOut)
{
    // A socket that listens but never accepts: the kernel completes the connection, and no
    // reply ever comes.
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
    ASSERT_EQ(0, listen(fd, 8));
    socklen_t len = sizeof addr;
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    const int port = ntohs(addr.sin_port);

    CredPtr cred = MakeCred("http", port);
    ASSERT_EQ(0, KOVACredItemSetTimeouts(cred.get(), 1, 1));
    SessPtr sess(KOVACredSessAlloc());
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), nullptr));
    EXPECT_EQ(KOVA_CRED_ERR_TIMEOUT, KOVACredGetLastError(cred.get()));
    EXPECT_EQ("", KOVA::CredRequestUtil::GetWebAPIPath(cred.get(), kApi));
    EXPECT_EQ(KOVA_CRED_ERR_TIMEOUT, KOVACredGetLastError(cred.get()));
    int error = 0;
    std::string response;
    EXPECT_FALSE(SendList(cred.get(), error, response));
    EXPECT_EQ(KOVA_CRED_ERR_TIMEOUT, error);
    // The time-out of Process itself.
    ASSERT_EQ(0, KOVACredItemSetTimeouts(cred.get(), 1, 60));
    EXPECT_FALSE(SendList(cred.get(), error, response, 1));
    EXPECT_EQ(KOVA_CRED_ERR_TIMEOUT, error);
    close(fd);
}

TEST_F(CredTest, ClosedPortFailsToConnect)
{
    CredPtr cred = MakeCred("http", ClosedPort());
    SessPtr sess(KOVACredSessAlloc());
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), nullptr));
    EXPECT_EQ(KOVA_CRED_ERR_CONNECT, KOVACredGetLastError(cred.get()));
    int error = 0;
    std::string response;
    EXPECT_FALSE(SendList(cred.get(), error, response));
    EXPECT_EQ(KOVA_CRED_ERR_CONNECT, error);
}

TEST_F(CredTest, ReplyThatIsNotJson)
{
    TestServer server(std::make_unique<httplib::Server>(), false);
    ASSERT_GT(server.port, 0);
    CredPtr cred = MakeCred("http", server.port);
    SessPtr sess(KOVACredSessAlloc());
    Json::Value reply;
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), &reply));
    EXPECT_EQ(KOVA_CRED_ERR_REPLY, KOVACredGetLastError(cred.get()));
    EXPECT_EQ("", KOVA::CredRequestUtil::GetWebAPIPath(cred.get(), kApi));
    EXPECT_EQ(KOVA_CRED_ERR_REPLY, KOVACredGetLastError(cred.get()));
    // A request carries the text back as it came: its reader decides what it makes of it.
    int error = 0;
    std::string response;
    EXPECT_TRUE(SendList(cred.get(), error, response));
    EXPECT_EQ(0, error);
    EXPECT_EQ("Internal Server Error", response);
}

TEST_F(CredTest, TlsWithThePinnedCertificate)
{
    TlsServer tls(dir.path);
    ASSERT_TRUE(tls.made);
    ASSERT_GT(tls.server->port, 0);
    const std::string pin = CertSha256(tls.certPath);
    ASSERT_EQ(64u, pin.size());
    CredPtr cred = MakeCred("https", tls.server->port);
    ASSERT_EQ(0, KOVACredItemSetPinnedCertSha256(cred.get(), pin.c_str()));
    SessPtr sess(KOVACredSessAlloc());
    ASSERT_EQ(1, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), nullptr));
    EXPECT_EQ(pin, std::string(KOVACredGetPeerCertSha256(cred.get())));
    int error = 0;
    std::string response;
    EXPECT_TRUE(SendList(cred.get(), error, response)) << error;
}

TEST_F(CredTest, TlsWithAChangedCertificateIsRefused)
{
    TlsServer tls(dir.path);
    ASSERT_TRUE(tls.made);
    ASSERT_GT(tls.server->port, 0);
    // The pin of another certificate, as if the node's certificate had been replaced.
    TempDir other;
    std::string error;
    ASSERT_TRUE(KOVA::Daemon::EnsureSelfSignedCertificate(other.path + "/cert.pem", other.path + "/key.pem",
                                                          "127.0.0.1", error));
    const std::string oldPin = CertSha256(other.path + "/cert.pem");
    CredPtr cred = MakeCred("https", tls.server->port);
    ASSERT_EQ(0, KOVACredItemSetPinnedCertSha256(cred.get(), oldPin.c_str()));
    SessPtr sess(KOVACredSessAlloc());
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), nullptr));
    EXPECT_EQ(KOVA_CRED_ERR_CERT_CHANGED, KOVACredGetLastError(cred.get()));
    int code = 0;
    std::string response;
    EXPECT_FALSE(SendList(cred.get(), code, response));
    EXPECT_EQ(KOVA_CRED_ERR_CERT_CHANGED, code);
    {
        // Nothing reached the server.
        std::lock_guard<std::mutex> lock(tls.server->seen.mutex);
        EXPECT_TRUE(tls.server->seen.bodies.empty());
    }
    // The service log tells.
    std::vector<ISCSI::ISCSILogInfo> logs;
    std::map<std::string, unsigned long long> counts;
    ASSERT_EQ(0, ISCSI::ISCSILogInfo::ListLog(0, -1, 0, -1, -1, {}, "certificate", logs, counts));
    ASSERT_FALSE(logs.empty());
    EXPECT_EQ("err", logs[0].level);
    EXPECT_NE(std::string::npos, logs[0].message.find(oldPin));
}

TEST_F(CredTest, TlsTrustOnFirstUseKeepsTheFingerprint)
{
    TlsServer tls(dir.path);
    ASSERT_TRUE(tls.made);
    ASSERT_GT(tls.server->port, 0);
    CredPtr cred = MakeCred("https", tls.server->port);
    ASSERT_EQ(0, KOVACredItemSetTrustOnFirstUse(cred.get(), 1));
    SessPtr sess(KOVACredSessAlloc());
    ASSERT_EQ(1, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), nullptr));
    EXPECT_EQ(CertSha256(tls.certPath), std::string(KOVACredGetPeerCertSha256(cred.get())));
}

TEST_F(CredTest, TlsWithoutPinVerifiesTheAuthority)
{
    TlsServer tls(dir.path);
    ASSERT_TRUE(tls.made);
    ASSERT_GT(tls.server->port, 0);
    // A self-signed certificate no authority vouches for is refused...
    CredPtr cred = MakeCred("https", tls.server->port);
    SessPtr sess(KOVACredSessAlloc());
    EXPECT_EQ(0, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", sess.get(), nullptr));
    EXPECT_EQ(KOVA_CRED_ERR_TLS, KOVACredGetLastError(cred.get()));
    // ... and accepted with the certificate as the authority (its names hold 127.0.0.1).
    CredPtr trusted = MakeCred("https", tls.server->port);
    ASSERT_EQ(0, KOVACredItemSetCAFile(trusted.get(), tls.certPath.c_str()));
    EXPECT_EQ(1, KOVA::CredRequestUtil::LoginWithOTP(trusted.get(), "", sess.get(), nullptr));
}

} // namespace
