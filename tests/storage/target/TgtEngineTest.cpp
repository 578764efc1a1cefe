// The target engine against a real tgtd on 127.0.0.1, seen through libiscsi's command line
// tools as an initiator sees it. Needs root, /usr/sbin/tgtd and iscsi-ls, iscsi-inq and
// iscsi-readcapacity16 (libiscsi-bin); prints "SKIPPED: <reason>" and skips without them.
#include "Tools.h"
#include "target/TgtAdmClient.h"
#include "target/TgtDaemon.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace ISCSI::Storage::Target;
using KOVATest::FindOnPath;
using KOVATest::FreeTcpPort;
using KOVATest::RunTool;
using KOVATest::ToolResult;
namespace fs = std::filesystem;

namespace {

const char* const kInitiator = "iqn.2026-01.org.example:kova-test-initiator";
constexpr unsigned long long kLunBytes = 64ull * 1024 * 1024;
// tgtd refuses control ports above this.
constexpr int kMaxControlPort = 32767;
// How long one of libiscsi's tools may run.
constexpr std::chrono::seconds kToolTimeout(30);

// Why the live tests cannot run here, or "".
std::string MissingPrerequisite()
{
    if (::geteuid() != 0)
        return "needs root";
    std::string why;
    if (!TgtDaemon::Installed("/usr/sbin/tgtd", why))
        return why;
    for (const char* tool : {"iscsi-ls", "iscsi-inq", "iscsi-readcapacity16"})
        if (FindOnPath(tool).empty())
            return std::string(tool) + " not found (install libiscsi-bin)";
    return {};
}

std::string Describe(const ToolResult& r)
{
    return "exit " + std::to_string(r.exitCode) + ", output:\n" + r.output;
}

// A private temporary directory, removed with everything in it.
struct TempDir {
    std::string path;
    TempDir()
    {
        char tmpl[] = "/tmp/kova-tgt-XXXXXX";
        if (::mkdtemp(tmpl))
            path = tmpl;
    }
    ~TempDir()
    {
        if (!path.empty()) {
            std::error_code ec;
            if (!std::getenv("KOVA_KEEP_TGT_DIRS"))
                fs::remove_all(path, ec);
        }
    }
};

// A sparse file of the given size.
bool MakeSparseFile(const std::string& path, unsigned long long bytes)
{
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    bool ok = ::ftruncate(fd, static_cast<off_t>(bytes)) == 0;
    ::close(fd);
    return ok;
}

bool ProcessGone(pid_t pid)
{
    return pid > 0 && ::kill(pid, 0) != 0 && errno == ESRCH;
}

class TgtEngineTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        skipReason_ = new std::string(MissingPrerequisite());
        startError_ = new std::string();
        if (!skipReason_->empty())
            return;
        dir_ = new TempDir();
        int control = FreeTcpPort("127.0.0.1", 0, kMaxControlPort);
        portalPort_ = FreeTcpPort("127.0.0.1", control);
        if (dir_->path.empty() || control == 0 || portalPort_ == 0) {
            *startError_ = "no temporary directory or free port";
            return;
        }
        TgtDaemonOptions options;
        options.socketDir = dir_->path + "/ipc";
        options.controlPort = control;
        options.portal = "127.0.0.1:" + std::to_string(portalPort_);
        options.logPath = dir_->path + "/tgtd.log";
        options.ioThreads = 2;
        daemon_ = new TgtDaemon(options);
        if (!daemon_->Start(*startError_))
            *startError_ = "tgtd did not start: " + *startError_;
    }

    static void TearDownTestSuite()
    {
        if (daemon_) {
            std::string error;
            daemon_->Stop(error);
            delete daemon_;
            daemon_ = nullptr;
        }
        delete dir_;
        dir_ = nullptr;
        delete skipReason_;
        delete startError_;
    }

    void SetUp() override
    {
        if (!skipReason_->empty()) {
            std::printf("SKIPPED: %s\n", skipReason_->c_str());
            GTEST_SKIP() << *skipReason_;
        }
        ASSERT_TRUE(startError_->empty()) << *startError_;
        ASSERT_TRUE(daemon_->Running());
    }

    static TgtAdmClient Client() { return daemon_->client(); }
    static std::string Portal() { return "127.0.0.1:" + std::to_string(portalPort_); }
    static std::string Url(const std::string& iqn, int lun, const std::string& credentials = "",
                           const std::string& portal = "")
    {
        return "iscsi://" + (credentials.empty() ? "" : credentials + "@") +
               (portal.empty() ? Portal() : portal) + "/" + iqn + "/" + std::to_string(lun);
    }

    // A target with one 64 MiB sparse-file LU (LUN 1); address rules are left to the test.
    static void MakeTarget(int tid, const std::string& iqn)
    {
        const std::string file = dir_->path + "/lun" + std::to_string(tid) + ".img";
        ASSERT_TRUE(MakeSparseFile(file, kLunBytes));
        TgtAdmClient client = Client();
        TgtStatus status = client.CreateTarget(tid, iqn);
        ASSERT_TRUE(status) << status.describe();
        status = client.CreateLu(tid, 1, file);
        ASSERT_TRUE(status) << status.describe();
    }

    static ToolResult Inquiry(const std::string& url)
    {
        return RunTool({"iscsi-inq", "-i", kInitiator, url}, kToolTimeout);
    }

    static std::string* skipReason_;
    static std::string* startError_;
    static TempDir* dir_;
    static TgtDaemon* daemon_;
    static int portalPort_;
};

std::string* TgtEngineTest::skipReason_ = nullptr;
std::string* TgtEngineTest::startError_ = nullptr;
TempDir* TgtEngineTest::dir_ = nullptr;
TgtDaemon* TgtEngineTest::daemon_ = nullptr;
int TgtEngineTest::portalPort_ = 0;

} // namespace

TEST_F(TgtEngineTest, DiscoveryShowsTheTargetOnlyAfterAnAddressRule)
{
    const std::string iqn = "iqn.2026-01.org.example:discovery";
    MakeTarget(1, iqn);
    ToolResult before = RunTool({"iscsi-ls", "-i", kInitiator, "iscsi://" + Portal()}, kToolTimeout);
    EXPECT_EQ(before.output.find(iqn), std::string::npos) << Describe(before);

    TgtStatus status = Client().BindInitiatorAddress(1, "127.0.0.1");
    ASSERT_TRUE(status) << status.describe();
    ToolResult after = RunTool({"iscsi-ls", "-i", kInitiator, "iscsi://" + Portal()}, kToolTimeout);
    EXPECT_EQ(after.exitCode, 0) << Describe(after);
    EXPECT_NE(after.output.find(iqn), std::string::npos) << Describe(after);

    // The rule is listed by show, and after unbinding the target is hidden again.
    std::string text;
    ASSERT_TRUE(Client().ShowTargets(text));
    EXPECT_NE(text.find("127.0.0.1"), std::string::npos) << text;
    ASSERT_TRUE(Client().UnbindInitiatorAddress(1, "127.0.0.1"));
    ToolResult unbound = RunTool({"iscsi-ls", "-i", kInitiator, "iscsi://" + Portal()}, kToolTimeout);
    EXPECT_EQ(unbound.output.find(iqn), std::string::npos) << Describe(unbound);
}

TEST_F(TgtEngineTest, ReadCapacityReportsTheBackingFileSize)
{
    const std::string iqn = "iqn.2026-01.org.example:capacity";
    MakeTarget(2, iqn);
    ASSERT_TRUE(Client().BindInitiatorAddress(2, "127.0.0.1"));
    ToolResult r = RunTool({"iscsi-readcapacity16", "-i", kInitiator, "-s", Url(iqn, 1)}, kToolTimeout);
    ASSERT_EQ(r.exitCode, 0) << Describe(r);
    EXPECT_EQ(std::strtoull(r.output.c_str(), nullptr, 10), kLunBytes) << Describe(r);

    // Statistics answer as text once a session has existed.
    std::string stats;
    TgtStatus status = Client().SystemStat(stats);
    EXPECT_TRUE(status) << status.describe();
    status = Client().TargetStat(2, stats);
    EXPECT_TRUE(status) << status.describe();
    status = Client().LuStat(2, 1, stats);
    EXPECT_TRUE(status) << status.describe();
}

TEST_F(TgtEngineTest, InquiryShowsTheSerialSetWithLuParams)
{
    const std::string iqn = "iqn.2026-01.org.example:serial";
    MakeTarget(3, iqn);
    ASSERT_TRUE(Client().BindInitiatorAddress(3, "127.0.0.1"));
    LuParams params;
    params.scsiSerial = "KOVASN0003";
    params.vendorId = "KOVA";
    params.productId = "iSCSI Storage";
    params.thinProvisioning = true;
    TgtStatus status = Client().UpdateLu(3, 1, params);
    ASSERT_TRUE(status) << status.describe();

    ToolResult serial =
        RunTool({"iscsi-inq", "-i", kInitiator, "-e", "1", "-c", "128", Url(iqn, 1)}, kToolTimeout);
    ASSERT_EQ(serial.exitCode, 0) << Describe(serial);
    EXPECT_NE(serial.output.find("KOVASN0003"), std::string::npos) << Describe(serial);
    ToolResult standard = Inquiry(Url(iqn, 1));
    ASSERT_EQ(standard.exitCode, 0) << Describe(standard);
    EXPECT_NE(standard.output.find("KOVA"), std::string::npos) << Describe(standard);
    EXPECT_NE(standard.output.find("iSCSI Storage"), std::string::npos) << Describe(standard);

    // A comma would let one value smuggle in another parameter: refused before tgtd.
    LuParams bad;
    bad.scsiSerial = "X,online=0";
    EXPECT_EQ(Client().UpdateLu(3, 1, bad).kind, TgtStatus::Kind::Refused);
}

TEST_F(TgtEngineTest, ChapAccountLetsInTheRightSecretOnly)
{
    const std::string iqn = "iqn.2026-01.org.example:chap";
    MakeTarget(4, iqn);
    TgtAdmClient client = Client();
    ASSERT_TRUE(client.BindInitiatorAddress(4, "127.0.0.1"));
    TgtStatus status = client.CreateAccount("kovauser", "KovaSecret0123");
    ASSERT_TRUE(status) << status.describe();
    status = client.BindAccount(4, "kovauser", AccountDirection::Incoming);
    ASSERT_TRUE(status) << status.describe();

    ToolResult right = Inquiry(Url(iqn, 1, "kovauser%KovaSecret0123"));
    EXPECT_EQ(right.exitCode, 0) << Describe(right);
    ToolResult wrong = Inquiry(Url(iqn, 1, "kovauser%WrongSecret0123"));
    EXPECT_NE(wrong.exitCode, 0) << Describe(wrong);
    EXPECT_NE(wrong.output.find("Authentication failure"), std::string::npos) << Describe(wrong);
    ToolResult none = Inquiry(Url(iqn, 1));
    EXPECT_NE(none.exitCode, 0) << Describe(none);

    // An account bound to a target cannot be bound twice; unbinding opens the target again.
    EXPECT_FALSE(client.BindAccount(4, "kovauser", AccountDirection::Incoming));
    ASSERT_TRUE(client.UnbindAccount(4, "kovauser", AccountDirection::Incoming));
    ToolResult open = Inquiry(Url(iqn, 1));
    EXPECT_EQ(open.exitCode, 0) << Describe(open);
    status = client.DeleteAccount("kovauser");
    EXPECT_TRUE(status) << status.describe();
}

TEST_F(TgtEngineTest, MutualChapChecksTheTargetSecret)
{
    const std::string iqn = "iqn.2026-01.org.example:mutual";
    MakeTarget(9, iqn);
    TgtAdmClient client = Client();
    ASSERT_TRUE(client.BindInitiatorAddress(9, "127.0.0.1"));
    ASSERT_TRUE(client.CreateAccount("kovain", "KovaInSecret01"));
    ASSERT_TRUE(client.CreateAccount("kovaout", "KovaOutSecret01"));
    ASSERT_TRUE(client.BindAccount(9, "kovain", AccountDirection::Incoming));
    TgtStatus status = client.BindAccount(9, "kovaout", AccountDirection::Outgoing);
    ASSERT_TRUE(status) << status.describe();
    // One outgoing account per target.
    ASSERT_TRUE(client.CreateAccount("kovaout2", "KovaOutSecret02"));
    TgtStatus second = client.BindAccount(9, "kovaout2", AccountDirection::Outgoing);
    EXPECT_EQ(second.code, TgtOutgoingAccountExists) << second.describe();

    const std::string url = Url(iqn, 1, "kovain%KovaInSecret01");
    ToolResult right = Inquiry(url + "?target_user=kovaout&target_password=KovaOutSecret01");
    EXPECT_EQ(right.exitCode, 0) << Describe(right);
    ToolResult wrong = Inquiry(url + "?target_user=kovaout&target_password=WrongSecret0001");
    EXPECT_NE(wrong.exitCode, 0) << Describe(wrong);
    // The initiator, not tgtd, notices the target's wrong answer.
    EXPECT_NE(wrong.output.find("CHAP_R"), std::string::npos) << Describe(wrong);
}

TEST_F(TgtEngineTest, InitiatorNameRuleLetsInThatNameOnly)
{
    const std::string iqn = "iqn.2026-01.org.example:byname";
    MakeTarget(10, iqn);
    TgtStatus status = Client().BindInitiatorName(10, kInitiator);
    ASSERT_TRUE(status) << status.describe();
    ToolResult named = RunTool({"iscsi-inq", "-i", kInitiator, Url(iqn, 1)}, kToolTimeout);
    EXPECT_EQ(named.exitCode, 0) << Describe(named);
    ToolResult other =
        RunTool({"iscsi-inq", "-i", "iqn.2026-01.org.example:someone-else", Url(iqn, 1)}, kToolTimeout);
    EXPECT_NE(other.exitCode, 0) << Describe(other);
    ASSERT_TRUE(Client().UnbindInitiatorName(10, kInitiator));
    ToolResult none = RunTool({"iscsi-inq", "-i", kInitiator, Url(iqn, 1)}, kToolTimeout);
    EXPECT_NE(none.exitCode, 0) << Describe(none);
}

TEST_F(TgtEngineTest, DiscoveryAccountGuardsDiscovery)
{
    const std::string iqn = "iqn.2026-01.org.example:discchap";
    MakeTarget(11, iqn);
    TgtAdmClient client = Client();
    ASSERT_TRUE(client.BindInitiatorAddress(11, "127.0.0.1"));
    ASSERT_TRUE(client.CreateAccount("kovadisc", "KovaDiscSecret1"));
    TgtStatus status = client.BindAccount(kTgtGlobalTid, "kovadisc", AccountDirection::Incoming);
    ASSERT_TRUE(status) << status.describe();

    ToolResult without = RunTool({"iscsi-ls", "-i", kInitiator, "iscsi://" + Portal()}, kToolTimeout);
    EXPECT_EQ(without.output.find(iqn), std::string::npos) << Describe(without);
    ToolResult with =
        RunTool({"iscsi-ls", "-i", kInitiator, "iscsi://kovadisc%KovaDiscSecret1@" + Portal()}, kToolTimeout);
    EXPECT_EQ(with.exitCode, 0) << Describe(with);
    EXPECT_NE(with.output.find(iqn), std::string::npos) << Describe(with);

    status = client.UnbindAccount(kTgtGlobalTid, "kovadisc", AccountDirection::Incoming);
    EXPECT_TRUE(status) << status.describe();
    ToolResult open = RunTool({"iscsi-ls", "-i", kInitiator, "iscsi://" + Portal()}, kToolTimeout);
    EXPECT_NE(open.output.find(iqn), std::string::npos) << Describe(open);
}

TEST_F(TgtEngineTest, OfflineTargetRefusesNewLogins)
{
    const std::string iqn = "iqn.2026-01.org.example:offline";
    MakeTarget(5, iqn);
    ASSERT_TRUE(Client().BindInitiatorAddress(5, "127.0.0.1"));
    ToolResult ready = Inquiry(Url(iqn, 1));
    ASSERT_EQ(ready.exitCode, 0) << Describe(ready);

    TgtStatus status = Client().SetTargetState(5, "offline");
    ASSERT_TRUE(status) << status.describe();
    ToolResult offline = Inquiry(Url(iqn, 1));
    EXPECT_NE(offline.exitCode, 0) << Describe(offline);
    EXPECT_NE(offline.output.find("Login Failed"), std::string::npos) << Describe(offline);

    status = Client().SetTargetState(5, "ready");
    ASSERT_TRUE(status) << status.describe();
    ToolResult again = Inquiry(Url(iqn, 1));
    EXPECT_EQ(again.exitCode, 0) << Describe(again);
}

TEST_F(TgtEngineTest, PortalAddedIsReachableAndDeletedIsNot)
{
    const std::string iqn = "iqn.2026-01.org.example:portal";
    MakeTarget(6, iqn);
    ASSERT_TRUE(Client().BindInitiatorAddress(6, "127.0.0.1"));
    int port = FreeTcpPort("127.0.0.1", portalPort_);
    ASSERT_NE(port, 0);
    const std::string second = "127.0.0.1:" + std::to_string(port);

    TgtStatus status = Client().CreatePortal(second);
    ASSERT_TRUE(status) << status.describe();
    std::string portals;
    ASSERT_TRUE(Client().ShowPortals(portals));
    EXPECT_NE(portals.find("Portal: " + second + ","), std::string::npos) << portals;
    ToolResult through = Inquiry(Url(iqn, 1, "", second));
    EXPECT_EQ(through.exitCode, 0) << Describe(through);

    status = Client().DeletePortal(second);
    ASSERT_TRUE(status) << status.describe();
    ASSERT_TRUE(Client().ShowPortals(portals));
    EXPECT_EQ(portals.find("Portal: " + second + ","), std::string::npos) << portals;
    ToolResult gone = Inquiry(Url(iqn, 1, "", second));
    EXPECT_NE(gone.exitCode, 0) << Describe(gone);
    // The first portal still serves.
    ToolResult first = Inquiry(Url(iqn, 1));
    EXPECT_EQ(first.exitCode, 0) << Describe(first);
}

TEST_F(TgtEngineTest, InvalidValuesAreRefusedBeforeReachingTgtd)
{
    TgtAdmClient client = Client();
    EXPECT_EQ(client.CreateTarget(7, "iqn.2026-01.org.example:bad,name").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.CreateTarget(7, "").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.CreateTarget(7, "iqn.2026-01.org.example:bad name").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.BindInitiatorName(7, "iqn.x,y").kind, TgtStatus::Kind::Refused);
    std::string text;
    ASSERT_TRUE(client.ShowTargets(text));
    EXPECT_EQ(text.find("Target 7:"), std::string::npos) << text;
    EXPECT_EQ(text.find("bad"), std::string::npos) << text;
    // tgtd still answers after the refusals.
    EXPECT_TRUE(daemon_->Running());
    EXPECT_TRUE(client.ShowSystem(text));
}

TEST_F(TgtEngineTest, TgtdErrorsComeBackTyped)
{
    TgtAdmClient client = Client();
    TgtStatus missing = client.DeleteTarget(99);
    EXPECT_EQ(missing.kind, TgtStatus::Kind::Tgtd);
    EXPECT_EQ(missing.code, TgtNoTarget) << missing.describe();
    EXPECT_EQ(missing.message.rfind("can't find the target", 0), 0u) << missing.describe();

    MakeTarget(8, "iqn.2026-01.org.example:errors");
    TgtStatus twice = client.CreateTarget(8, "iqn.2026-01.org.example:errors2");
    EXPECT_EQ(twice.kind, TgtStatus::Kind::Tgtd);
    EXPECT_EQ(twice.code, TgtTargetExists) << twice.describe();
    TgtStatus noLun = client.DeleteLu(8, 5);
    EXPECT_EQ(noLun.kind, TgtStatus::Kind::Tgtd) << noLun.describe();
    EXPECT_NE(noLun.code, 0);
    TgtStatus deleted = client.DeleteLu(8, 1);
    EXPECT_TRUE(deleted) << deleted.describe();
    deleted = client.DeleteTarget(8);
    EXPECT_TRUE(deleted) << deleted.describe();
}

TEST(TgtDaemonLife, StopLeavesNoProcess)
{
    std::string skip = MissingPrerequisite();
    if (!skip.empty()) {
        std::printf("SKIPPED: %s\n", skip.c_str());
        GTEST_SKIP() << skip;
    }
    TempDir dir;
    ASSERT_FALSE(dir.path.empty());
    int control = FreeTcpPort("127.0.0.1", 0, kMaxControlPort);
    int portal = FreeTcpPort("127.0.0.1", control);
    ASSERT_NE(control, 0);
    ASSERT_NE(portal, 0);
    TgtDaemonOptions options;
    options.socketDir = dir.path + "/ipc";
    options.controlPort = control;
    options.portal = "127.0.0.1:" + std::to_string(portal);
    options.logPath = dir.path + "/tgtd.log";
    options.ioThreads = 2;
    TgtDaemon daemon(options);
    std::string error;
    ASSERT_TRUE(daemon.Start(error)) << error;
    pid_t pid = daemon.pid();
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(daemon.Running());

    // A target with an LU and an open rule: stop has to delete it first.
    const std::string file = dir.path + "/lun.img";
    ASSERT_TRUE(MakeSparseFile(file, kLunBytes));
    TgtAdmClient client = daemon.client();
    ASSERT_TRUE(client.CreateTarget(1, "iqn.2026-01.org.example:stop"));
    ASSERT_TRUE(client.CreateLu(1, 1, file));
    ASSERT_TRUE(client.BindInitiatorAddress(1, "ALL"));

    // A second daemon on the same socket refuses to start and leaves nothing behind.
    TgtDaemonOptions clash = options;
    clash.portal = "127.0.0.1:" + std::to_string(FreeTcpPort("127.0.0.1", portal));
    TgtDaemon second(clash);
    std::string clashError;
    EXPECT_FALSE(second.Start(clashError));
    EXPECT_NE(clashError.find("another tgtd"), std::string::npos) << clashError;
    EXPECT_FALSE(second.Running());
    EXPECT_TRUE(daemon.Running());

    bool graceful = false;
    error.clear();
    EXPECT_TRUE(daemon.Stop(error, &graceful));
    EXPECT_TRUE(graceful) << error;
    EXPECT_FALSE(daemon.Running());
    EXPECT_TRUE(ProcessGone(pid));
    std::string text;
    EXPECT_EQ(client.ShowSystem(text).kind, TgtStatus::Kind::Transport);
    // Stopping again is harmless.
    EXPECT_TRUE(daemon.Stop(error));
}

TEST(TgtDaemonLife, MissingTgtdIsAClearError)
{
    std::string why;
    EXPECT_FALSE(TgtDaemon::Installed("/nonexistent/tgtd", why));
    EXPECT_NE(why.find("not installed"), std::string::npos) << why;

    TgtDaemonOptions options;
    options.tgtdPath = "/nonexistent/tgtd";
    options.socketDir = "/tmp/kova-tgt-never-created";
    options.controlPort = 20001;
    options.portal = "127.0.0.1:20002";
    TgtDaemon daemon(options);
    std::string error;
    EXPECT_FALSE(daemon.Start(error));
    EXPECT_NE(error.find("not installed"), std::string::npos) << error;
    EXPECT_FALSE(daemon.Running());
    EXPECT_EQ(daemon.pid(), -1);
    EXPECT_FALSE(fs::exists(options.socketDir));
}
