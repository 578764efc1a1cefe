// What an iSCSI initiator sees of what the web API made: the daemon with the shipped module and
// the real storage library starts tgtd on a loopback portal, and libiscsi (its API and its
// tools) logs in, reads and writes. The tests print SKIPPED without root, tgtd or libiscsi's
// tools.
#include "DaemonProcess.h"
#include "HttpClient.h"
#include "IscsiInitiator.h"
#include "Tools.h"

#include <iscsi/ISCSIErrors.h>
#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

using namespace KOVATest;

namespace {

constexpr unsigned long long kMiB = 1024ull * 1024ull;
const char kInitiatorA[] = "iqn.2026-11.invalid.kova:initiator-a";
const char kInitiatorB[] = "iqn.2026-11.invalid.kova:initiator-b";
const char kInitiatorC[] = "iqn.2026-11.invalid.kova:initiator-c";

std::string Body(const std::string& api, const std::string& method, const Json::Value& params)
{
    Json::Value body;
    body["api"] = "KOVA.Core.ISCSI." + api;
    body["version"] = 1;
    body["method"] = method;
    body["params"] = params;
    return KOVA::toString(body);
}

// A pattern of whole 512-byte blocks that names where it was written.
std::string Pattern(const std::string& tag, std::size_t blocks)
{
    std::string data;
    while (data.size() < blocks * 512)
        data += tag + ":" + std::to_string(data.size()) + ";";
    data.resize(blocks * 512);
    return data;
}

// The settings of a target with CHAP: one-way, or mutual when mutualUser is given.
Json::Value ChapSettings(const std::string& user, const std::string& password,
                         const std::string& mutualUser = "", const std::string& mutualPassword = "")
{
    Json::Value extra;
    extra["auth_type"] = mutualUser.empty() ? 1 : 2;
    extra["user"] = user;
    extra["password"] = password;
    if (!mutualUser.empty()) {
        extra["mutual_user"] = mutualUser;
        extra["mutual_password"] = mutualPassword;
    }
    return extra;
}

std::string ReadFileRange(const std::string& path, unsigned long long offset, std::size_t size)
{
    std::ifstream in(path, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(offset));
    std::string data(size, '\0');
    in.read(&data[0], static_cast<std::streamsize>(size));
    data.resize(static_cast<std::size_t>(in.gcount()));
    return data;
}

class InitiatorE2ETest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const std::string missing =
            MissingTgtdPrerequisite({"iscsi-ls", "iscsi-test-cu"}, " (install libiscsi-bin)");
        if (!missing.empty())
            GTEST_SKIP() << "SKIPPED: " << missing;
        char tmpl[] = "/tmp/kova-initiator-XXXXXX";
        ASSERT_NE(nullptr, ::mkdtemp(tmpl));
        root_ = tmpl;
        port_ = FreeTcpPort();
        ASSERT_NE(0, port_);
        portal_ = "127.0.0.1:" + std::to_string(port_);
        StartDaemon();
    }

    void TearDown() override
    {
        // The client first: an open keep-alive connection would hold up the daemon's stop.
        client_.reset();
        daemon_.reset();
        if (!root_.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(root_, ec);
        }
    }

    void StartDaemon()
    {
        DaemonProcess::Config config;
        config.loadDoubleModule = false;
        config.args = {"--module", KOVA_REAL_MODULE_PATH};
        config.dataDir = root_ + "/data";
        config.env = {"KOVA_ISCSI_PORTAL=" + portal_};
        client_.reset(new HttpClient());
        daemon_.reset(new DaemonProcess(config));
        ASSERT_TRUE(daemon_->Running()) << daemon_->Stderr();
        ASSERT_FALSE(daemon_->Login(*client_).empty());
    }

    // tgtd starts with the first enabled target: waits (bounded) until the portal answers.
    void WaitForPortal()
    {
        bool listens = false;
        for (int i = 0; i < 50 && !(listens = PortalListens()); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        ASSERT_TRUE(listens) << "tgtd does not answer on " << portal_ << "; daemon's output:\n"
                             << daemon_->Stderr();
    }

    void RestartDaemon()
    {
        ASSERT_EQ(0, daemon_->Stop());
        daemon_.reset();
        StartDaemon();
    }

    bool PortalListens()
    {
        const ToolResult r = RunTool({"iscsi-ls", "iscsi://" + portal_}, std::chrono::seconds(10));
        return r.exitCode == 0;
    }

    // Calls a method; answers the whole reply.
    Json::Value Call(const std::string& api, const std::string& method, const Json::Value& params)
    {
        const HttpResult result = client_->Post(daemon_->EntryUrl(), Body(api, method, params));
        EXPECT_TRUE(result.Ok());
        return result.Json();
    }

    // Calls a method that must succeed; answers its data.
    Json::Value Must(const std::string& api, const std::string& method, const Json::Value& params)
    {
        const Json::Value reply = Call(api, method, params);
        EXPECT_TRUE(reply["success"].asBool())
            << api << " " << method << " " << KOVA::toString(params) << " answered " << KOVA::toString(reply);
        return reply["data"];
    }

    std::string MakeLun(const std::string& name, unsigned long long size)
    {
        Json::Value params;
        params["name"] = name;
        params["type"] = "THIN";
        params["location"] = "/volume1";
        params["size"] = Json::UInt64(size);
        return Must("LUN", "create", params)["uuid"].asString();
    }

    std::string LunFile(const std::string& uuid) const
    {
        return root_ + "/data/volume1/@iscsi/" + uuid + ".img";
    }

    // Makes a target; answers its id as the text the other methods take.
    std::string MakeTarget(const std::string& name, const std::string& iqn, Json::Value extra = Json::Value())
    {
        Json::Value params = extra.isObject() ? extra : Json::Value(Json::objectValue);
        params["name"] = name;
        params["iqn"] = iqn;
        if (!params.isMember("auth_type"))
            params["auth_type"] = 0;
        return std::to_string(Must("Target", "create", params)["target_id"].asUInt());
    }

    Json::Value GetTarget(const std::string& tid, const char* additional)
    {
        Json::Value params;
        params["target_id"] = tid;
        params["additional"].append(additional);
        return Must("Target", "get", params);
    }

    // Maps a LUN to a target; answers the LUN number that initiators see.
    int MapLun(const std::string& tid, const std::string& uuid)
    {
        Json::Value params;
        params["target_id"] = tid;
        params["lun_uuids"].append(uuid);
        Must("Target", "map_lun", params);
        const Json::Value target = GetTarget(tid, "mapped_lun");
        for (const Json::Value& mapping : target["target"]["mapped_luns"])
            if (mapping["lun_uuid"].asString() == uuid)
                return mapping["lun_id"].asInt();
        ADD_FAILURE() << "no mapping of " << uuid << " in " << KOVA::toString(target);
        return -1;
    }

    struct TargetWithLun {
        std::string tid;
        std::string lunUuid;
        int lun = -1;
    };

    // A target with one 64 MiB LUN, once tgtd answers: the target's id, the LUN's uuid and the
    // LUN's number.
    TargetWithLun MakeTargetWithLun(const std::string& iqn, Json::Value extra = Json::Value())
    {
        TargetWithLun made;
        made.lunUuid = MakeLun("lun-" + std::to_string(++made_), 64 * kMiB);
        made.tid = MakeTarget("target-" + std::to_string(made_), iqn, extra);
        made.lun = MapLun(made.tid, made.lunUuid);
        WaitForPortal();
        return made;
    }

    InitiatorLogin Login(const std::string& iqn, int lun, const std::string& initiator = kInitiatorA) const
    {
        InitiatorLogin login;
        login.portal = portal_;
        login.targetIqn = iqn;
        login.lun = lun;
        login.initiatorIqn = initiator;
        return login;
    }

    std::string root_;
    int port_ = 0;
    std::string portal_;
    int made_ = 0;
    std::unique_ptr<HttpClient> client_;
    std::unique_ptr<DaemonProcess> daemon_;
};

TEST_F(InitiatorE2ETest, ALunMadeThroughTheApiHasTheSizeTheApiSays)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:size";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);

    Initiator initiator;
    std::string error;
    ASSERT_TRUE(initiator.Connect(Login(iqn, lun), error)) << error;
    std::uint64_t blocks = 0;
    std::uint32_t blockSize = 0;
    ASSERT_TRUE(initiator.ReadCapacity(blocks, blockSize, error)) << error;
    EXPECT_EQ(64 * kMiB, blocks * blockSize);

    Json::Value params;
    params["uuid"] = uuid;
    const Json::Value got = Must("LUN", "get", params);
    EXPECT_EQ(64 * kMiB, got["lun"]["size"].asUInt64()) << KOVA::toString(got);
}

TEST_F(InitiatorE2ETest, DataWrittenByTheInitiatorLandsInTheLunFileAndSurvivesADaemonRestart)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:data";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    const std::string data = Pattern("kova-data", 8);
    {
        Initiator initiator;
        std::string error;
        ASSERT_TRUE(initiator.Connect(Login(iqn, lun), error)) << error;
        ASSERT_TRUE(initiator.Write(2048, data, 512, error)) << error;
    }
    EXPECT_EQ(data, ReadFileRange(LunFile(uuid), 2048ull * 512, data.size()));

    RestartDaemon();
    WaitForPortal();
    Initiator initiator;
    std::string error;
    ASSERT_TRUE(initiator.Connect(Login(iqn, lun), error)) << error;
    std::string read;
    ASSERT_TRUE(initiator.Read(2048, 8, 512, read, error)) << error;
    EXPECT_EQ(data, read);
}

TEST_F(InitiatorE2ETest, OneWayChapLetsInTheRightSecretOnly)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:chap";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn, ChapSettings("kova-user", "kova-secret-1234"));

    std::string error;
    InitiatorLogin login = Login(iqn, lun);
    Initiator none;
    EXPECT_FALSE(none.Connect(login, error)) << "a login without CHAP got in";
    login.chapUser = "kova-user";
    login.chapPassword = "wrong-secret-999";
    Initiator wrong;
    EXPECT_FALSE(wrong.Connect(login, error)) << "a wrong secret got in";
    login.chapPassword = "kova-secret-1234";
    Initiator right;
    EXPECT_TRUE(right.Connect(login, error)) << error;
}

TEST_F(InitiatorE2ETest, MutualChapMakesTheTargetShowItsSecret)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:mutual";
    const auto [tid, uuid, lun] = MakeTargetWithLun(
        iqn, ChapSettings("kova-user", "kova-secret-1234", "kova-target", "kova-target-5678"));

    std::string error;
    InitiatorLogin login = Login(iqn, lun);
    login.chapUser = "kova-user";
    login.chapPassword = "kova-secret-1234";
    login.mutualUser = "kova-target";
    login.mutualPassword = "not-the-target-secret";
    Initiator wrong;
    EXPECT_FALSE(wrong.Connect(login, error)) << "the initiator accepted a target with the wrong secret";
    login.mutualPassword = "kova-target-5678";
    Initiator right;
    EXPECT_TRUE(right.Connect(login, error)) << error;
}

// Sets the ACL masks of a target: (initiator IQN, "rw" | "r" | "-") in order.
Json::Value AclParams(const std::string& tid, const std::vector<std::pair<std::string, std::string>>& masks)
{
    Json::Value params;
    params["target_id"] = tid;
    params["acls"] = Json::Value(Json::arrayValue);
    for (const auto& mask : masks) {
        Json::Value acl;
        acl["iqn"] = mask.first;
        acl["permission"] = mask.second;
        params["acls"].append(acl);
    }
    return params;
}

TEST_F(InitiatorE2ETest, AclMasksLetInReadWriteInitiatorsOnly)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:acl-rw";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    Must("Target", "acl_masks_add", AclParams(tid, {{kInitiatorA, "rw"}, {kInitiatorC, "-"}}));

    const std::string data = Pattern("acl", 1);
    std::string error;
    Initiator writer;
    ASSERT_TRUE(writer.Connect(Login(iqn, lun, kInitiatorA), error)) << error;
    EXPECT_TRUE(writer.Write(10, data, 512, error)) << error;
    EXPECT_EQ(data, ReadFileRange(LunFile(uuid), 10ull * 512, data.size()));

    Initiator none;
    EXPECT_FALSE(none.Connect(Login(iqn, lun, kInitiatorC), error)) << "an initiator with \"-\" got in";
    Initiator unlisted;
    EXPECT_FALSE(unlisted.Connect(Login(iqn, lun, kInitiatorB), error)) << "an unlisted initiator got in";
}

TEST_F(InitiatorE2ETest, AReadOnlyInitiatorReadsButCannotWrite)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:acl-r";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    const std::string data = Pattern("before-read-only", 1);
    std::string error;
    {
        Initiator writer;
        ASSERT_TRUE(writer.Connect(Login(iqn, lun, kInitiatorB), error)) << error;
        ASSERT_TRUE(writer.Write(20, data, 512, error)) << error;
    }
    Must("Target", "acl_masks_add", AclParams(tid, {{kInitiatorB, "r"}}));

    Initiator reader;
    ASSERT_TRUE(reader.Connect(Login(iqn, lun, kInitiatorB), error)) << error;
    std::string read;
    EXPECT_TRUE(reader.Read(20, 1, 512, read, error)) << error;
    EXPECT_EQ(data, read);
    EXPECT_FALSE(reader.Write(21, Pattern("refused", 1), 512, error)) << "a read-only initiator could write";
    EXPECT_EQ(std::string(512, '\0'), ReadFileRange(LunFile(uuid), 21ull * 512, 512));
}

TEST_F(InitiatorE2ETest, ReadOnlyAndReadWriteInitiatorsOnOneTargetAreRefusedWithAClearCode)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:acl-mixed";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    const Json::Value reply =
        Call("Target", "acl_masks_add", AclParams(tid, {{kInitiatorA, "rw"}, {kInitiatorB, "r"}}));
    EXPECT_FALSE(reply["success"].asBool()) << KOVA::toString(reply);
    EXPECT_EQ(ISCSI::ISCSI_ERR_ACL_MIXED_ACCESS, reply["error"]["code"].asInt()) << KOVA::toString(reply);

    // Nothing changed: every initiator still gets in.
    std::string error;
    Initiator initiator;
    EXPECT_TRUE(initiator.Connect(Login(iqn, lun, kInitiatorB), error)) << error;
}

TEST_F(InitiatorE2ETest, ADisabledTargetRefusesLoginsUntilEnabled)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:disabled";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    Json::Value params;
    params["target_id"] = tid;
    Must("Target", "disable", params);

    std::string error;
    Initiator refused;
    EXPECT_FALSE(refused.Connect(Login(iqn, lun), error)) << "a disabled target let an initiator in";

    Must("Target", "enable", params);
    Initiator admitted;
    EXPECT_TRUE(admitted.Connect(Login(iqn, lun), error)) << error;
}

TEST_F(InitiatorE2ETest, AnUnmappedLunIsGoneForTheInitiator)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:unmap";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    std::string error;
    {
        Initiator initiator;
        ASSERT_TRUE(initiator.Connect(Login(iqn, 0), error)) << error;
        std::vector<int> luns;
        ASSERT_TRUE(initiator.ReportLuns(luns, error)) << error;
        EXPECT_NE(luns.end(), std::find(luns.begin(), luns.end(), lun));
    }
    Json::Value params;
    params["target_id"] = tid;
    params["lun_uuids"].append(uuid);
    Must("Target", "unmap_lun", params);

    Initiator initiator;
    ASSERT_TRUE(initiator.Connect(Login(iqn, 0), error)) << error;
    std::vector<int> luns;
    ASSERT_TRUE(initiator.ReportLuns(luns, error)) << error;
    EXPECT_EQ(luns.end(), std::find(luns.begin(), luns.end(), lun));
    Initiator direct;
    EXPECT_FALSE(direct.Connect(Login(iqn, lun), error)) << "the unmapped LUN still answers";
}

TEST_F(InitiatorE2ETest, PortalsAddedAndRemovedAreWhereTheInitiatorCanConnect)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:portal";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    const int other = FreeTcpPort("127.0.0.2");
    ASSERT_NE(0, other);
    Json::Value params;
    params["target_id"] = tid;
    Json::Value portal;
    portal["ip"] = "127.0.0.2";
    portal["port"] = other;
    params["network_portals"].append(portal);
    Must("Target", "network_portals_add", params);

    InitiatorLogin login = Login(iqn, lun);
    login.portal = "127.0.0.2:" + std::to_string(other);
    std::string error;
    {
        Initiator initiator;
        EXPECT_TRUE(initiator.Connect(login, error)) << error;
    }
    Must("Target", "network_portals_remove", params);
    Initiator initiator;
    EXPECT_FALSE(initiator.Connect(login, error)) << "the removed portal still lets an initiator in";
}

TEST_F(InitiatorE2ETest, ConnectedSessionsShowTheInitiator)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:sessions";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    Initiator initiator;
    std::string error;
    ASSERT_TRUE(initiator.Connect(Login(iqn, lun), error)) << error;

    const Json::Value target = GetTarget(tid, "connected_sessions");
    const std::string text = KOVA::toString(target);
    EXPECT_NE(std::string::npos, text.find(kInitiatorA)) << text;
}

TEST_F(InitiatorE2ETest, ScsiConformanceFamiliesPassAgainstAnApiMadeLun)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:conformance";
    const auto [tid, uuid, lun] = MakeTargetWithLun(iqn);
    const std::string url = "iscsi://" + portal_ + "/" + iqn + "/" + std::to_string(lun);
    for (const char* family :
         {"SCSI.TestUnitReady", "SCSI.Inquiry.Standard", "SCSI.ReadCapacity10", "SCSI.ReadCapacity16",
          "SCSI.Read10", "SCSI.Read16", "SCSI.Write10", "SCSI.Write16", "SCSI.Verify16", "SCSI.Prefetch10"}) {
        const ToolResult r = RunTool({"iscsi-test-cu", "--dataloss", "--silent", "--test", family, url},
                                     std::chrono::seconds(120));
        EXPECT_EQ(0, r.exitCode) << family << ":\n" << r.output;
        // "tests  <total> <ran> <passed> <failed> <inactive>" of the run summary.
        std::smatch counts;
        ASSERT_TRUE(std::regex_search(r.output, counts,
                                      std::regex(R"(tests\s+(\d+)\s+(\d+)\s+(\d+)\s+(\d+)\s+(\d+))")))
            << family << ":\n"
            << r.output;
        EXPECT_GT(std::stoi(counts[2]), 0) << family << " ran no test:\n" << r.output;
        EXPECT_EQ("0", counts[4].str()) << family << ":\n" << r.output;
    }
}

// LUN backup through the API: a LUN backed up to the LUN of another target of the same tgtd,
// which an initiator then reads, and restored from there into a fresh LUN.
TEST_F(InitiatorE2ETest, LunBackupCopiesToAnotherTargetAndRestoresFromIt)
{
    const std::string iqn = "iqn.2026-11.invalid.kova:backup";
    const auto [tid, backupUuid, lun] = MakeTargetWithLun(iqn);
    const std::string source = MakeLun("source", 64 * kMiB);
    const std::string data = Pattern("backup", 2048);
    {
        std::fstream out(LunFile(source), std::ios::in | std::ios::out | std::ios::binary);
        out.seekp(static_cast<std::streamoff>(7 * kMiB));
        out.write(data.data(), static_cast<std::streamsize>(data.size()));
    }

    Json::Value connect;
    connect["target_ip"] = portal_;
    connect["target_iqn"] = iqn;
    const std::string path = Must("Lunbkp", "target_connect", connect)["block_dev_path"].asString();
    EXPECT_EQ("iscsi://" + portal_ + "/" + iqn + "/" + std::to_string(lun), path);

    // Follows the copy of uuid until it is done (bounded), its offset never going back.
    auto follow = [&](const std::string& uuid) {
        Json::Value params;
        params["uuid"] = uuid;
        Json::Value reply;
        unsigned long long last = 0;
        for (int i = 0; i < 600; ++i) {
            reply = Must("Lunbkp", "lunbkp_progress_get", params);
            EXPECT_GE(reply["lunbkp_offset_sector"].asUInt64(), last);
            last = reply["lunbkp_offset_sector"].asUInt64();
            if (reply["lunbkp_progress"].asInt() == 100 || reply["lunbkp_progress"].asInt() < 0)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        EXPECT_EQ(100, reply["lunbkp_progress"].asInt()) << KOVA::toString(reply);
        EXPECT_EQ(64 * kMiB / 512, reply["lunbkp_offset_sector"].asUInt64());
        EXPECT_EQ(64 * kMiB / 512, reply["lunbkp_total_sector"].asUInt64());
    };

    Json::Value start;
    start["uuid"] = source;
    start["block_dev_path"] = path;
    Must("Lunbkp", "lunbackup_start", start);
    follow(source);
    Initiator initiator;
    std::string error, read;
    ASSERT_TRUE(initiator.Connect(Login(iqn, lun), error)) << error;
    ASSERT_TRUE(initiator.Read(7 * kMiB / 512, 2048, 512, read, error)) << error;
    EXPECT_TRUE(read == data) << "the initiator does not read the backed-up data";
    initiator.Disconnect();

    const std::string restored = MakeLun("restored", 64 * kMiB);
    start["uuid"] = restored;
    Must("Lunbkp", "lunrestore_start", start);
    follow(restored);
    EXPECT_TRUE(ReadFileRange(LunFile(restored), 7 * kMiB, data.size()) == data);

    Json::Value size;
    size["uuid"] = restored;
    EXPECT_EQ(64 * kMiB / 512, Must("Lunbkp", "lunbkp_size_get", size)["lunbkp_total_sector"].asUInt64());
    // A LUN that an enabled target serves is not restored into.
    start["uuid"] = backupUuid;
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUNBKP_LUN_IN_USE,
              Call("Lunbkp", "lunrestore_start", start)["error"]["code"].asInt());
    Must("Lunbkp", "target_disconnect", connect);
    connect["target_iqn"] = "iqn.2026-11.invalid.kova:absent";
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUNBKP_TARGET_LOGIN,
              Call("Lunbkp", "target_connect", connect)["error"]["code"].asInt());
}

} // namespace
