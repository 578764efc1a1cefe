// iscsictl against the real daemon, the shipped module and the real storage library on
// loopback. Each command is checked by what the API then answers (through the fixture's own
// logged-in client), --json output by equality with the API's data, errors by their message
// and exit status; sessions live in a private config directory of each test.
#include "CtlProcess.h"
#include "RealDaemonTest.h"

#include <iscsi/ISCSIErrors.h>
#include <kova/JsonText.h>

#include <kova/WebAPIErrors.h>

#include <gtest/gtest.h>
#include <oath.h>

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

using namespace KOVATest;

namespace {

namespace fs = std::filesystem;

constexpr unsigned long long kMiB = 1024ULL * 1024ULL;

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    if (!KOVA::fromString(value, text))
        ADD_FAILURE() << "not JSON: " << text;
    return value;
}

std::string TotpCode(const std::string& base32)
{
    oath_init();
    char* raw = nullptr;
    size_t length = 0;
    if (oath_base32_decode(base32.data(), base32.size(), &raw, &length) != OATH_OK)
        return "";
    char code[16] = {};
    const int rc = oath_totp_generate(raw, length, std::time(nullptr), 30, 0, 6, code);
    free(raw);
    oath_done();
    return rc == OATH_OK ? code : "";
}

class IscsictlTest : public RealDaemonTest {
protected:
    IscsictlTest() : RealDaemonTest("KOVA.Core.ISCSI.LUN") {}

    void SetUp() override
    {
        char pattern[] = "/tmp/iscsictl-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        home_ = pattern;
    }

    void TearDown() override
    {
        RealDaemonTest::TearDown();
        std::error_code ignored;
        fs::remove_all(home_, ignored);
    }

    // Starts the daemon (no data path: the target engine keeps configuration only).
    void Start(const std::vector<std::string>& args = {}, const std::vector<std::string>& env = {})
    {
        std::vector<std::string> all = {"KOVA_TGTD=off"};
        all.insert(all.end(), env.begin(), env.end());
        StartDaemon(args, all);
    }

    std::vector<std::string> Env() const
    {
        return {"XDG_CONFIG_HOME=" + home_, "ISCSICTL_URL=" + daemon_->BaseUrl()};
    }

    CtlResult Ctl(const std::vector<std::string>& args, const std::string& stdinText = "")
    {
        return RunCtl(args, Env(), stdinText);
    }

    // Logs iscsictl in as admin; fails the test when it cannot.
    void LogIn()
    {
        const CtlResult r = Ctl({"login", "--password-stdin"}, std::string(ADMIN_PASSWORD) + "\n");
        ASSERT_EQ(0, r.status) << r.err;
    }

    // Runs a command that must succeed; answers its stdout.
    std::string Ok(const std::vector<std::string>& args)
    {
        const CtlResult r = Ctl(args);
        EXPECT_EQ(0, r.status) << Join(args) << "\nstdout: " << r.out << "\nstderr: " << r.err;
        return r.out;
    }

    // A command with --json: its output parsed.
    Json::Value Json(std::vector<std::string> args)
    {
        args.insert(args.begin(), "--json");
        return ParseJson(Ok(args));
    }

    static std::string Join(const std::vector<std::string>& args)
    {
        std::string text;
        for (const std::string& arg : args)
            text += arg + " ";
        return text;
    }

    std::string CreateLun(const std::string& name, const std::string& size = "64M")
    {
        const std::string out = Ok({"-q", "lun", "create", name, "--size", size});
        return out.substr(0, out.find('\n'));
    }

    std::string SessionFile() const { return home_ + "/iscsictl/session"; }

    std::string home_;
};

TEST_F(IscsictlTest, LoginKeepsTheSessionInAPrivateFileAndLogoutEndsIt)
{
    Start();
    LogIn();
    struct stat st {};
    ASSERT_EQ(0, ::stat(SessionFile().c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777);
    ASSERT_EQ(0, ::stat((home_ + "/iscsictl").c_str(), &st));
    EXPECT_EQ(0700u, st.st_mode & 0777);
    const Json::Value stored = ParseJson(ReadFile(SessionFile()));
    const std::string sid = stored["sessions"][daemon_->BaseUrl()]["sid"].asString();
    EXPECT_EQ(64u, sid.size());
    EXPECT_EQ(daemon_->BaseUrl(), stored["default_url"].asString());

    // The stored session works for the API itself.
    HttpClient other;
    other.SetSession(sid);
    EXPECT_TRUE(other.Post(daemon_->EntryUrl(), CallBody("KOVA.Core.ISCSI.LUN", "list", "{}"))
                    .Json()["success"]
                    .asBool());

    Ok({"lun", "list"});
    const CtlResult out = Ctl({"logout"});
    EXPECT_EQ(0, out.status) << out.err;
    EXPECT_EQ(106, other.Post(daemon_->EntryUrl(), CallBody("KOVA.Core.ISCSI.LUN", "list", "{}"))
                       .Json()["error"]["code"]
                       .asInt());

    const CtlResult after = Ctl({"lun", "list"});
    EXPECT_EQ(4, after.status);
    EXPECT_NE(std::string::npos, after.err.find("not logged in to " + daemon_->BaseUrl())) << after.err;
    EXPECT_NE(std::string::npos, after.err.find("iscsictl login")) << after.err;

    // A wrong password: authentication failure, with the runtime's code and text.
    const CtlResult wrong = Ctl({"login", "--password-stdin"}, "not the password\n");
    EXPECT_EQ(4, wrong.status);
    EXPECT_NE(std::string::npos, wrong.err.find(std::string("error 110: ") + KOVA::WebAPIErrorText(110))) << wrong.err;
}

TEST_F(IscsictlTest, AMissingOrExpiredSessionAsksToLogInAgain)
{
    Start({"--session-idle", "1"});
    const CtlResult none = Ctl({"target", "list"});
    EXPECT_EQ(4, none.status);
    EXPECT_NE(std::string::npos, none.err.find("log in with 'iscsictl login'")) << none.err;
    EXPECT_TRUE(none.out.empty());

    LogIn();
    Ok({"target", "list"});
    // The session ends after one idle second; the daemon answers 114 once.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    const CtlResult expired = Ctl({"target", "list"});
    EXPECT_EQ(4, expired.status);
    EXPECT_NE(std::string::npos, expired.err.find("error 114: The session has expired; log in again with "
                                                  "'iscsictl login'"))
        << expired.err;
    // The dead session is forgotten.
    const CtlResult later = Ctl({"target", "list"});
    EXPECT_EQ(4, later.status);
    EXPECT_NE(std::string::npos, later.err.find("not logged in")) << later.err;
}

TEST_F(IscsictlTest, LoginWithAOneTimeCodeAskedOnTheTerminal)
{
    Start();
    std::string out, err;
    ASSERT_EQ(
        0, RunProgram({"account", "otp-enable", "admin", "--data-dir", daemon_->DataDir()}, "", &out, &err))
        << err;
    const size_t at = out.find("secret: ");
    ASSERT_NE(std::string::npos, at);
    const std::string secret = out.substr(at + 8, out.find('\n', at) - at - 8);

    // Without a code from a script: the code is required.
    const CtlResult noCode = Ctl({"login", "--password-stdin"}, std::string(ADMIN_PASSWORD) + "\n");
    EXPECT_EQ(4, noCode.status);
    EXPECT_NE(std::string::npos, noCode.err.find("error 111")) << noCode.err;

    // On a terminal: password and code asked without echo.
    CtlTerminal terminal({"login", "--user", "admin"}, Env());
    ASSERT_TRUE(terminal.Started());
    ASSERT_TRUE(terminal.WaitFor("Password for admin at " + daemon_->BaseUrl() + ": ")) << terminal.Output();
    terminal.Type(std::string(ADMIN_PASSWORD) + "\n");
    ASSERT_TRUE(terminal.WaitFor("One-time code: ")) << terminal.Output();
    const std::string code = TotpCode(secret);
    ASSERT_EQ(6u, code.size());
    terminal.Type(code + "\n");
    EXPECT_EQ(0, terminal.Finish()) << terminal.Output();
    EXPECT_NE(std::string::npos, terminal.Output().find("logged in to"));
    EXPECT_EQ(std::string::npos, terminal.Output().find(ADMIN_PASSWORD)) << "the password was echoed";
    EXPECT_EQ(std::string::npos, terminal.Output().find(code)) << "the code was echoed";
    Ok({"lun", "list"});

    // The same code again is refused (used once).
    const CtlResult replay =
        Ctl({"login", "--password-stdin", "--otp-code", code}, std::string(ADMIN_PASSWORD) + "\n");
    EXPECT_EQ(4, replay.status);
    EXPECT_NE(std::string::npos, replay.err.find(std::string("error 112: ") + KOVA::WebAPIErrorText(112)))
        << replay.err;
}

TEST_F(IscsictlTest, LunCommandsDoWhatTheirMethodsDo)
{
    Start();
    LogIn();
    const std::string uuid = CreateLun("cli-lun", "64M");
    ASSERT_EQ(36u, uuid.size());
    Json::Value lun = Succeed("get", R"({"uuid":")" + uuid + R"("})")["lun"];
    EXPECT_EQ("cli-lun", lun["name"].asString());
    EXPECT_EQ(64 * kMiB, lun["size"].asUInt64());
    EXPECT_EQ("/volume1", lun["location"].asString());

    // The table names the LUN with its size in binary units.
    const std::string table = Ok({"lun", "list"});
    EXPECT_EQ(0u, table.find("NAME")) << table;
    EXPECT_NE(std::string::npos, table.find("cli-lun")) << table;
    EXPECT_NE(std::string::npos, table.find("64.0 MiB")) << table;
    EXPECT_EQ(uuid + "\n", Ok({"-q", "lun", "list"}));

    // --json is the API's data as it came.
    const std::string lunStatus = R"("additional":["status","allocated_size","is_mapped"])";
    EXPECT_EQ(Succeed("list", "{" + lunStatus + "}"), Json({"lun", "list"}));
    // Global options also after the command.
    EXPECT_EQ(Succeed("list", "{" + lunStatus + "}"), ParseJson(Ok({"lun", "list", "--json"})));
    EXPECT_EQ(Succeed("get", R"({"uuid":")" + uuid +
                                 R"(","additional":["status","allocated_size","is_mapped","extent_size",)"
                                 R"("whitelist","snapshot_count","is_action_locked"]})"),
              Json({"lun", "get", "cli-lun"}));
    const std::string record = Ok({"lun", "get", "cli-lun"});
    EXPECT_NE(std::string::npos, record.find("name:")) << record;

    Ok({"lun", "set", "cli-lun", "--size", "128M", "--name", "cli-lun2"});
    lun = Succeed("get", R"({"uuid":")" + uuid + R"("})")["lun"];
    EXPECT_EQ(128 * kMiB, lun["size"].asUInt64());
    EXPECT_EQ("cli-lun2", lun["name"].asString());

    // Further parameters as KEY=VALUE.
    Ok({"lun", "set", uuid, "vpd_unit_sn=SN-CLI-1"});
    EXPECT_EQ("SN-CLI-1", Succeed("get", R"({"uuid":")" + uuid + R"("})")["lun"]["vpd_unit_sn"].asString());

    const std::string dev = Ok({"lun", "loop-mount", uuid});
    if (dev.rfind("/dev/loop", 0) == 0) {
        Ok({"lun", "loop-unmount", uuid});
    } else {
        std::cout << "[  NOTE    ] loop-mount not checked: " << dev << "\n";
    }

    Ok({"lun", "delete", "cli-lun2"});
    EXPECT_EQ(18990505, Fail("get", R"({"uuid":")" + uuid + R"("})"));
}

TEST_F(IscsictlTest, SnapshotCommandsDoWhatTheirMethodsDo)
{
    Start();
    LogIn();
    const std::string lun = CreateLun("snap-lun", "16M");
    WriteAt(Image(lun), 0, "first");
    const std::string out =
        Ok({"-q", "snapshot", "take", "snap-lun", "--name", "s1", "--description", "one"});
    const std::string snap = out.substr(0, out.find('\n'));
    ASSERT_EQ(36u, snap.size());
    Json::Value got = Succeed("get_snapshot", R"({"snapshot_uuid":")" + snap + R"("})")["snapshot"];
    EXPECT_EQ("s1", got["name"].asString());
    EXPECT_EQ("one", got["description"].asString());
    EXPECT_EQ("iscsictl", got["taken_by"].asString());

    EXPECT_EQ(Succeed("list_snapshot", R"({"src_lun_uuid":")" + lun + R"("})"),
              Json({"snapshot", "list", lun}));
    EXPECT_NE(std::string::npos, Ok({"snapshot", "list", "snap-lun"}).find("s1"));

    Ok({"snapshot", "set", snap, "--name", "s1b", "--locked", "yes"});
    got = Succeed("get_snapshot", R"({"snapshot_uuid":")" + snap + R"("})")["snapshot"];
    EXPECT_EQ("s1b", got["name"].asString());
    EXPECT_TRUE(got["is_user_locked"].asBool());
    Ok({"snapshot", "set", snap, "--locked", "no"});

    Ok({"snapshot", "lock", snap, "cli-app"});
    got = Succeed("get_snapshot", R"({"snapshot_uuid":")" + snap + R"(","additional":["locked_app_keys"]})");
    EXPECT_NE(std::string::npos, KOVA::toString(got["snapshot"]["locked_app_keys"]).find("cli-app")) << got;
    Ok({"snapshot", "unlock", snap, "cli-app"});

    WriteAt(Image(lun), 0, "later");
    Ok({"snapshot", "restore", lun, snap});
    EXPECT_EQ("first", ReadAt(Image(lun), 0, 5));

    const std::string cloned = Ok({"-q", "snapshot", "clone", lun, snap, "from-s1", "--wait"});
    const std::string clonedUuid = cloned.substr(0, cloned.find('\n'));
    ASSERT_EQ(36u, clonedUuid.size()) << cloned;
    EXPECT_EQ("normal",
              Succeed("get", R"({"uuid":")" + clonedUuid + R"(","additional":["status"]})")["lun"]["status"]
                  .asString());
    EXPECT_EQ("first", ReadAt(Image(clonedUuid), 0, 5));

    Ok({"snapshot", "delete", snap});
    EXPECT_EQ(0u, Succeed("list_snapshot", R"({"src_lun_uuid":")" + lun + R"("})")["snapshots"].size());
}

TEST_F(IscsictlTest, TargetAclAndPortalCommandsDoWhatTheirMethodsDo)
{
    Start();
    LogIn();
    const std::string lun = CreateLun("t-lun", "16M");
    const std::string id = Ok({"-q", "target", "create", "cli-t", "iqn.2026-11.com.example:cli-t"});
    ASSERT_FALSE(id.empty());
    const std::string tid = id.substr(0, id.find('\n'));
    const std::string api = "KOVA.Core.ISCSI.Target";
    auto target = [&](const std::string& additional) {
        return Succeed("get", R"({"target_id":")" + tid + R"(","additional":)" + additional + "}",
                       api)["target"];
    };
    EXPECT_EQ("iqn.2026-11.com.example:cli-t", target("[]")["iqn"].asString());
    EXPECT_EQ(Succeed("list", R"({"additional":["status","mapped_lun"]})", api), Json({"target", "list"}));
    EXPECT_NE(std::string::npos, Ok({"target", "list"}).find("cli-t"));

    Ok({"target", "set", tid, "--max-sessions", "3"});
    EXPECT_EQ(3u, target("[]")["max_sessions"].asUInt());

    Ok({"target", "enable", tid});
    EXPECT_TRUE(target("[]")["is_enabled"].asBool());
    Ok({"target", "disable", tid});
    EXPECT_FALSE(target("[]")["is_enabled"].asBool());

    Ok({"target", "map", tid, "t-lun"});
    EXPECT_EQ(1u, target(R"(["mapped_lun"])")["mapped_luns"].size());
    Ok({"lun", "unmap", lun, tid});
    EXPECT_EQ(0u, target(R"(["mapped_lun"])")["mapped_luns"].size());
    Ok({"lun", "map", lun, tid});
    Ok({"target", "unmap", tid, lun});
    EXPECT_EQ(0u, target(R"(["mapped_lun"])")["mapped_luns"].size());

    Ok({"acl", "add", tid, "--rw", "iqn.2026-11.com.example:host1,iqn.2026-11.com.example:host2"});
    Json::Value acls = target(R"(["acls"])")["acls"];
    ASSERT_EQ(2u, acls.size()) << acls;
    EXPECT_EQ("rw", acls[0]["permission"].asString());
    const std::string aclTable = Ok({"acl", "list", tid});
    EXPECT_NE(std::string::npos, aclTable.find("iqn.2026-11.com.example:host2")) << aclTable;
    Ok({"acl", "remove", tid, "iqn.2026-11.com.example:host1"});
    acls = target(R"(["acls"])")["acls"];
    ASSERT_EQ(1u, acls.size());
    EXPECT_EQ("iqn.2026-11.com.example:host2", acls[0]["iqn"].asString());
    Ok({"acl", "set", tid, "--ro", "iqn.2026-11.com.example:host3"});
    acls = target(R"(["acls"])")["acls"];
    ASSERT_EQ(1u, acls.size()) << acls;
    EXPECT_EQ("iqn.2026-11.com.example:host3", acls[0]["iqn"].asString());
    EXPECT_EQ("r", acls[0]["permission"].asString());

    Ok({"portal", "add", tid, "-p", "127.0.0.1:3262"});
    Json::Value portals = target("[]")["network_portals"];
    ASSERT_EQ(1u, portals.size()) << portals;
    EXPECT_EQ("127.0.0.1", portals[0]["ip"].asString());
    EXPECT_EQ(3262u, portals[0]["port"].asUInt());
    Ok({"portal", "remove", tid, "-p", "127.0.0.1:3262"});
    EXPECT_EQ(0u, target("[]")["network_portals"].size());

    Ok({"target", "delete", tid});
    EXPECT_EQ(0u, Succeed("list", "{}", api)["targets"].size());
}

TEST_F(IscsictlTest, NodeAndLogCommandsDoWhatTheirMethodsDo)
{
    Start();
    LogIn();
    const std::string api = "KOVA.Core.ISCSI.Node";
    const std::string additional =
        R"({"additional":["isns_info","io_queue_length","iqn_hash_key",)"
        R"("ep_unmap_buf_mode","tp_hard_threshold_bytes","promote_storage_console"]})";
    EXPECT_EQ(Succeed("get", additional, api), Json({"node", "get"}));
    Ok({"node", "set", "--io-queue-length", "64", "--isns", "yes", "--isns-address", "127.0.0.9"});
    const Json::Value node = Succeed("get", R"({"additional":["io_queue_length","isns_info"]})", api);
    EXPECT_EQ(64, node["io_queue_length"].asInt());
    EXPECT_TRUE(node["isns_enabled"].asBool());
    EXPECT_EQ("127.0.0.9", node["isns_address"].asString());
    const std::string record = Ok({"node", "get"});
    const size_t line = record.find("io_queue_length:");
    ASSERT_NE(std::string::npos, line) << record;
    EXPECT_EQ(" 64", record.substr(record.find_first_not_of(' ', line + 16) - 1, 3)) << record;

    const CtlResult list = Ctl({"--json", "node", "list"});
    const Json::Value nodes = Call("list", "{}", api);
    if (nodes["success"].asBool()) {
        EXPECT_EQ(0, list.status) << list.err;
        EXPECT_EQ(nodes["data"], ParseJson(list.out));
    } else {
        EXPECT_EQ(1, list.status);
        EXPECT_NE(std::string::npos, list.err.find(std::to_string(nodes["error"]["code"].asInt())));
    }

    // The changes above are in the service log.
    CreateLun("log-lun", "8M");
    const Json::Value logs = Json({"log", "list", "--limit", "50"});
    EXPECT_EQ(Succeed("log_list", R"({"limit":50})", api), logs);
    EXPECT_GT(logs["logs"].size(), 0u);
    const std::string table = Ok({"log", "list"});
    EXPECT_EQ(0u, table.find("ID")) << table;
    const std::string csv = Ok({"log", "export"});
    EXPECT_FALSE(csv.empty());
    EXPECT_EQ(std::string::npos, csv.find("\"success\""));
    const std::string file = home_ + "/log.html";
    Ok({"log", "export", "--format", "html", "-o", file});
    EXPECT_NE(std::string::npos, ReadFile(file).find("<")) << ReadFile(file).substr(0, 200);

    Ok({"log", "clear"});
    EXPECT_LE(Succeed("log_list", "{}", api)["logs"].size(), 1u);
}

TEST_F(IscsictlTest, AnyMethodIsReachableThroughCall)
{
    Start();
    LogIn();
    const std::string uuid = CreateLun("call-lun", "8M");
    EXPECT_EQ(Succeed("list", "{}"), ParseJson(Ok({"call", "LUN", "list"})));
    EXPECT_EQ(
        Succeed("get", R"({"uuid":")" + uuid + R"(","additional":["status"]})"),
        ParseJson(Ok({"call", "KOVA.Core.ISCSI.LUN", "get", "uuid=" + uuid, R"(additional=["status"])"})));
    // Without --url or ISCSICTL_URL, the URL of the last login is used.
    const CtlResult last = RunCtl({"-q", "lun", "list"}, {"XDG_CONFIG_HOME=" + home_});
    EXPECT_EQ(0, last.status) << last.err;
    EXPECT_EQ(uuid + "\n", last.out);
    // top reads the LUNs' I/O figures once when not on a terminal.
    EXPECT_EQ(Succeed("top", "{}"), Json({"top"}));
    EXPECT_NE(std::string::npos, Ok({"top", "--count", "1"}).find("call-lun"));
    EXPECT_EQ(2, Ctl({"top", "--count", "many"}).status);

    // Values read as JSON: a number stays a number.
    Ok({"call", "LUN", "set", "uuid=" + uuid, "new_size=16777216"});
    EXPECT_EQ(16 * kMiB, Succeed("get", R"({"uuid":")" + uuid + R"("})")["lun"]["size"].asUInt64());
}

TEST_F(IscsictlTest, ErrorsGiveTheirCodeTextAndExitStatus)
{
    Start();
    LogIn();
    // Refused by the API: status 1, the code and its text from the library's table.
    CtlResult r = Ctl({"lun", "get", "no-such-lun"});
    EXPECT_EQ(1, r.status);
    EXPECT_EQ("iscsictl: get: error 18990505: " + std::string(KOVAiSCSIStrError(18990505)) + "\n", r.err);
    EXPECT_TRUE(r.out.empty());
    r = Ctl({"call", "VLUN", "get", "uuid=nope"});
    EXPECT_EQ(1, r.status);
    EXPECT_EQ("iscsictl: get: error 18991001: " + std::string(KOVAiSCSIStrError(18991001)) + "\n", r.err);
    r = Ctl({"call", "LUN", "no_such_method"});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.err.find(std::string("error 103: ") + KOVA::WebAPIErrorText(103))) << r.err;
    r = Ctl({"replication", "list"});
    if (r.status != 0) {
        EXPECT_EQ(1, r.status);
        EXPECT_NE(std::string::npos,
                  r.err.find("error 18999001: " + std::string(KOVAiSCSIStrError(18999001))))
            << r.err;
    }

    // Usage: status 2.
    EXPECT_EQ(2, Ctl({"lun", "create"}).status);
    EXPECT_EQ(2, Ctl({"lun", "frobnicate"}).status);
    r = Ctl({"lun", "create", "x", "--size", "10Q"});
    EXPECT_EQ(2, r.status);
    EXPECT_NE(std::string::npos, r.err.find("not a size: '10Q'")) << r.err;
    EXPECT_EQ(2, Ctl({"call", "LUN", "list", "no-equals-sign"}).status);

    // Connection: status 3 (nothing listens on port 1 of loopback).
    r = RunCtl({"--url", "http://127.0.0.1:1", "lun", "list"}, {"XDG_CONFIG_HOME=" + home_});
    EXPECT_EQ(4, r.status) << "no session for that URL: " << r.err;
    r = RunCtl({"--url", "http://127.0.0.1:1", "login", "--password-stdin"}, {"XDG_CONFIG_HOME=" + home_},
               "pw\n");
    EXPECT_EQ(3, r.status);
    EXPECT_NE(std::string::npos, r.err.find("cannot reach http://127.0.0.1:1")) << r.err;

    // Sizes in binary units reach the API as bytes.
    Ok({"lun", "create", "size-lun", "--size", "1.5G"});
    EXPECT_EQ(1536 * kMiB, Succeed("get", R"({"uuid":"size-lun"})")["lun"]["size"].asUInt64());

    // Help with examples.
    const CtlResult help = Ctl({"lun", "clone", "--help"});
    EXPECT_EQ(0, help.status);
    EXPECT_NE(std::string::npos, help.out.find("Examples:")) << help.out;
    EXPECT_NE(std::string::npos, help.out.find("--wait")) << help.out;
}

TEST_F(IscsictlTest, HttpsChecksTheCertificateUnlessInsecure)
{
    const std::string tlsPortFile = home_ + "/tls-port";
    Start({"--listen-tls", "127.0.0.1:0", "--tls-self-signed", "--tls-port-file", tlsPortFile});
    std::string port;
    for (int i = 0; i < 200 && port.empty(); ++i) {
        port = ReadFile(tlsPortFile);
        if (port.empty())
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_FALSE(port.empty());
    const std::string url = "https://127.0.0.1:" + std::to_string(std::atoi(port.c_str()));
    const std::vector<std::string> env = {"XDG_CONFIG_HOME=" + home_, "ISCSICTL_URL=" + url};
    const std::string password = std::string(ADMIN_PASSWORD) + "\n";

    CtlResult r = RunCtl({"login", "--password-stdin"}, env, password);
    EXPECT_EQ(3, r.status);
    EXPECT_NE(std::string::npos, r.err.find("--cacert")) << r.err;

    r = RunCtl({"--cacert", daemon_->DataDir() + "/tls-cert.pem", "login", "--password-stdin"}, env,
               password);
    EXPECT_EQ(0, r.status) << r.err;
    // The login's certificate is kept with its session.
    r = RunCtl({"-q", "lun", "list"}, env);
    EXPECT_EQ(0, r.status) << r.err;

    r = RunCtl({"--insecure", "login", "--password-stdin"}, env, password);
    EXPECT_EQ(0, r.status) << r.err;
}

// The fixture of the long work: copies slowed (KOVA_COPY_MAX_BYTES_PER_SEC) so that a job is seen running.
class IscsictlWaitTest : public IscsictlTest {
protected:
    void StartSlow(const std::string& bytesPerSecond)
    {
        Start({}, {"KOVA_COPY_MAX_BYTES_PER_SEC=" + bytesPerSecond});
        LogIn();
    }

    std::string DataLun(const std::string& name)
    {
        const std::string uuid = CreateLun(name, "32M");
        WriteAt(Image(uuid), 0, std::string(16 * kMiB, 'w'));
        return uuid;
    }
};

TEST_F(IscsictlWaitTest, CloneWithWaitDrawsAProgressBarOnATerminal)
{
    StartSlow("8388608");
    const std::string src = DataLun("bar-src");
    CtlTerminal terminal({"lun", "clone", "bar-src", "bar-dst", "--wait"}, Env());
    ASSERT_TRUE(terminal.Started());
    EXPECT_EQ(0, terminal.Finish(120000)) << terminal.Output();
    const std::string& out = terminal.Output();
    // Redrawn in place, ending full at 100% with bytes, rate and time left.
    EXPECT_NE(std::string::npos, out.find('\r')) << out;
    EXPECT_NE(std::string::npos, out.find("100%")) << out;
    EXPECT_NE(std::string::npos, out.find("/s")) << out;
    EXPECT_NE(std::string::npos, out.find("ETA")) << out;
    EXPECT_NE(std::string::npos, out.find("[####")) << out;
    // The last drawing ('\r' then the bar; the terminal writes a newline as "\r\n").
    const size_t last = out.rfind("\r[");
    ASSERT_NE(std::string::npos, last) << out;
    EXPECT_NE(std::string::npos, out.find("100%", last))
        << "the last drawing is not at 100%: " << out.substr(last);
    EXPECT_NE(std::string::npos, out.find("cloned into LUN")) << out;

    const Json::Value luns = Succeed("list", R"({"additional":["status"]})")["luns"];
    bool found = false;
    for (const Json::Value& lun : luns)
        if (lun["name"].asString() == "bar-dst") {
            found = true;
            EXPECT_EQ("normal", lun["status"].asString());
            EXPECT_EQ(std::string(16 * kMiB, 'w'), ReadAt(Image(lun["uuid"].asString()), 0, 16 * kMiB));
        }
    EXPECT_TRUE(found);
}

TEST_F(IscsictlWaitTest, ExportAndImportWithWaitWithoutATerminalPrintPlainLines)
{
    StartSlow("16777216");
    const std::string lun = DataLun("plain-src");
    const std::string snapOut = Ok({"-q", "snapshot", "take", lun, "--name", "ps"});
    const std::string snap = snapOut.substr(0, snapOut.find('\n'));
    CtlResult r = Ctl({"lun", "export", snap, "/volume1/exports/plain", "--wait"});
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("export of snapshot " + snap + ": 100% (")) << r.err;
    EXPECT_EQ(std::string::npos, r.err.find('\r'));
    EXPECT_EQ("exported\n", r.out);
    EXPECT_TRUE(fs::exists(volume1_ + "/exports/plain/export.json"));

    const std::string into = CreateLun("plain-into", "32M");
    r = Ctl({"lun", "import", into, "/volume1/exports/plain", "--name", "imported", "--wait"});
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("100%")) << r.err;
    const Json::Value snaps = Succeed("list_snapshot", R"({"src_lun_uuid":")" + into + R"("})")["snapshots"];
    ASSERT_EQ(1u, snaps.size());
    EXPECT_EQ("imported", snaps[0]["name"].asString());
}

TEST_F(IscsictlWaitTest, CtrlCWhileWaitingCancelsTheCloneWhenConfirmed)
{
    StartSlow("1048576"); // 16 s for the data: the clone is still running when declined
    DataLun("cancel-src");
    CtlTerminal terminal({"lun", "clone", "cancel-src", "cancel-dst", "--wait"}, Env());
    ASSERT_TRUE(terminal.Started());
    ASSERT_TRUE(terminal.WaitFor("MiB /")) << terminal.Output();

    // Declined first: the clone goes on.
    terminal.Type("\x03");
    ASSERT_TRUE(terminal.WaitFor("Cancel the clone cancel-dst? [y/N] ")) << terminal.Output();
    terminal.Type("n\n");
    ASSERT_TRUE(terminal.WaitFor("waiting on")) << terminal.Output();
    Json::Value luns = Succeed("list", R"({"additional":["status"]})")["luns"];
    std::string dst;
    for (const Json::Value& lun : luns)
        if (lun["name"].asString() == "cancel-dst")
            dst = lun["uuid"].asString();
    ASSERT_EQ(36u, dst.size());
    EXPECT_EQ(
        "cloning",
        Succeed("get", R"({"uuid":")" + dst + R"(","additional":["status"]})")["lun"]["status"].asString());

    // Asked again, and confirmed.
    const size_t before = terminal.Output().size();
    terminal.Type("\x03");
    ASSERT_TRUE(terminal.WaitFor("Cancel the clone cancel-dst? [y/N] ", 60000, before)) << terminal.Output();
    terminal.Type("y\n");
    EXPECT_EQ(130, terminal.Finish()) << terminal.Output();
    EXPECT_NE(std::string::npos, terminal.Output().find("clone cancel-dst cancelled")) << terminal.Output();
    // The unfinished LUN is gone.
    EXPECT_EQ(18990505, Fail("get", R"({"uuid":")" + dst + R"("})"));
}

TEST_F(IscsictlWaitTest, CtrlCWhileWaitingCancelsTheExportWhenConfirmed)
{
    StartSlow("2097152");
    const std::string lun = DataLun("xc-src");
    const std::string snapOut = Ok({"-q", "snapshot", "take", lun, "--name", "xs"});
    const std::string snap = snapOut.substr(0, snapOut.find('\n'));
    CtlTerminal terminal({"lun", "export", snap, "/volume1/exports/xc", "--wait"}, Env());
    ASSERT_TRUE(terminal.WaitFor("MiB /")) << terminal.Output();
    terminal.Type("\x03");
    ASSERT_TRUE(terminal.WaitFor("[y/N] ")) << terminal.Output();
    terminal.Type("y\n");
    EXPECT_EQ(130, terminal.Finish()) << terminal.Output();
    const Json::Value got =
        Succeed("get_snapshot", R"({"snapshot_uuid":")" + snap + R"(","additional":["export_status"]})");
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_CANCELLED, got["export_errno"].asInt());
    EXPECT_FALSE(fs::exists(volume1_ + "/exports/xc"));
}

TEST(IscsictlCompletionTest, CompletesCommandsSubcommandsAndOptions)
{
    if (::access("/bin/bash", X_OK) != 0) {
        std::cout << "[  SKIPPED ] no /bin/bash\n";
        return;
    }
    auto complete = [](const std::string& words, int current) {
        const std::string script = std::string("source ") + ISCSICTL_COMPLETION + "; COMP_WORDS=(" + words +
                                   "); COMP_CWORD=" + std::to_string(current) +
                                   "; _iscsictl; echo \"${COMPREPLY[*]}\"";
        const CtlResult r = RunTool("/bin/bash", {"-c", script}, {});
        EXPECT_EQ(0, r.status) << r.err;
        return r.out;
    };
    EXPECT_EQ("snapshot\n", complete("iscsictl snap", 1));
    EXPECT_EQ("clone\n", complete("iscsictl lun cl", 2));
    EXPECT_EQ("--wait\n", complete("iscsictl --json lun clone a b --wa", 6));
    EXPECT_EQ("csv html\n", complete("iscsictl log export --format ''", 4));
}

} // namespace
