// Crash consistency: a client runs mixed LUN operations (create, set new_size, take_snapshot,
// delete) through the real daemon (the shipped module, the real storage library, tgtd off)
// while the test SIGKILLs the daemon at seeded random moments, restarts it on the same data
// directory and checks after each restart: every acknowledged change is present (names and
// sizes), every acknowledged delete is gone, the one call without an answer is either done
// or not, no LUN file lacks its row or row its file, no half-made file is left, and no job
// is still marked running. KOVA_CRASH_KILLS sets the number of kills (default 8),
// KOVA_CRASH_SEED the seed; both are printed.
#include "DaemonProcess.h"
#include "HttpClient.h"
#include "RealDaemonTest.h"
#include "config/ConfigDB.h"

#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <signal.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>

using namespace KOVATest;
namespace fs = std::filesystem;

namespace {

constexpr unsigned long long kMiB = 1024ULL * 1024ULL;
const char LUN_API[] = "KOVA.Core.ISCSI.LUN";

unsigned long EnvNumber(const char* name, unsigned long fallback)
{
    const char* text = std::getenv(name);
    return text && *text ? std::strtoul(text, nullptr, 10) : fallback;
}

// What the acknowledged replies say: the LUNs by name with uuid and size.
struct Model {
    std::map<std::string, std::pair<std::string, unsigned long long>> luns;
    int made = 0;
    int acknowledged = 0;
    // The call sent last that got no answer, for the check after the restart.
    std::string unanswered;
};

std::unique_ptr<DaemonProcess> Start(const std::string& dataDir)
{
    DaemonProcess::Config config;
    config.loadDoubleModule = false;
    config.args = {"--module", KOVA_REAL_MODULE_PATH};
    config.dataDir = dataDir;
    config.env = {"KOVA_TGTD=off"};
    return std::unique_ptr<DaemonProcess>(new DaemonProcess(config));
}

// Runs operations until the daemon stops answering or stop is set.
void Work(const DaemonProcess& daemon, unsigned seed, Model& model, const std::atomic<bool>& stop)
{
    HttpClient client;
    if (daemon.Login(client).empty())
        return;
    std::mt19937 random(seed);
    for (int i = 0; i < 100000 && !stop; ++i) {
        const int pick = static_cast<int>(random() % 10);
        std::string method;
        std::string params;
        std::string name;
        if (pick < 4 || model.luns.empty()) {
            method = "create";
            name = "k" + std::to_string(model.made++);
            params = R"({"name":")" + name + R"(","type":"THIN","location":"/volume1","size":1048576})";
        } else {
            auto it = std::next(model.luns.begin(), static_cast<long>(random() % model.luns.size()));
            name = it->first;
            if (pick < 6) {
                method = "set";
                params = R"({"uuid":")" + it->second.first + R"(","new_size":)" +
                         std::to_string(it->second.second + kMiB) + "}";
            } else if (pick < 8) {
                method = "take_snapshot";
                params = R"({"src_lun_uuid":")" + it->second.first +
                         R"(","is_locked":false,"is_app_consistent":false,"snapshot_name":"s)" +
                         std::to_string(i) + "\"}";
            } else {
                method = "delete";
                params = R"({"uuid":")" + it->second.first + R"("})";
            }
        }
        model.unanswered = method + " " + name;
        const HttpResult r = client.Post(daemon.EntryUrl(), CallBody(LUN_API, method, params));
        if (!r.Ok() || r.status >= 500)
            return; // the daemon died during this call: its outcome is open
        model.unanswered.clear();
        const Json::Value reply = r.Json();
        if (!reply["success"].asBool())
            continue;
        ++model.acknowledged;
        if (method == "create")
            model.luns[name] = {reply["data"]["uuid"].asString(), kMiB};
        else if (method == "set")
            model.luns[name].second += kMiB;
        else if (method == "delete")
            model.luns.erase(name);
    }
}

class CrashE2ETest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/kova-crash-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        root_ = pattern;
    }
    void TearDown() override
    {
        std::error_code ec;
        fs::remove_all(root_, ec);
    }

    // Checks the restarted daemon against the model; the unanswered call may have happened.
    void Check(DaemonProcess& daemon, Model& model, int kill)
    {
        HttpClient client;
        ASSERT_FALSE(daemon.Login(client).empty()) << daemon.Stderr();
        const HttpResult r = client.Post(daemon.EntryUrl(), CallBody(LUN_API, "list", "{}"));
        const Json::Value list = r.Json();
        ASSERT_TRUE(list["success"].asBool()) << r.body;
        std::map<std::string, std::pair<std::string, unsigned long long>> found;
        for (const Json::Value& lun : list["data"]["luns"])
            found[lun["name"].asString()] = {lun["uuid"].asString(), lun["size"].asUInt64()};

        // The call without an answer: take whatever state it left.
        const std::string open = model.unanswered;
        const std::string openName = open.substr(open.find(' ') + 1);
        if (!open.empty()) {
            auto seen = found.find(openName);
            if (seen == found.end())
                model.luns.erase(openName);
            else
                model.luns[openName] = seen->second;
        }
        EXPECT_EQ(model.luns, found) << "after kill " << kill << " (open call: " << open << ")";

        // Files and rows agree; nothing half-made is left.
        const std::string lunDir = root_ + "/data/volume1/@iscsi";
        std::map<std::string, bool> uuids;
        for (const auto& lun : found)
            uuids[lun.second.first] = false;
        std::error_code ec;
        for (fs::recursive_directory_iterator it(lunDir, ec), end; !ec && it != end; it.increment(ec)) {
            const std::string name = it->path().filename().string();
            for (const char* suffix : {".creating", ".deleting", ".partial"})
                EXPECT_EQ(std::string::npos, name.find(suffix)) << it->path() << " after kill " << kill;
            if (it->path().parent_path() == lunDir && name.size() > 4 &&
                name.compare(name.size() - 4, 4, ".img") == 0) {
                const std::string uuid = name.substr(0, name.size() - 4);
                EXPECT_TRUE(uuids.count(uuid)) << "orphan file " << name << " after kill " << kill;
                uuids[uuid] = true;
            }
        }
        for (const auto& uuid : uuids)
            EXPECT_TRUE(uuid.second) << "LUN " << uuid.first << " has no file after kill " << kill;

        ISCSI::Storage::ConfigDB db;
        std::string error;
        ASSERT_TRUE(db.open(root_ + "/data/iscsi.db", error)) << error;
        ISCSI::Storage::Statement running(db, "SELECT COUNT(*) FROM jobs WHERE state = 'running';");
        ASSERT_EQ(SQLITE_ROW, running.step());
        EXPECT_EQ(0, running.integer(0)) << "jobs left running after kill " << kill;
    }

    std::string root_;
};

TEST_F(CrashE2ETest, KilledDuringMixedOperationsTheDaemonRestartsConsistent)
{
    const unsigned seed = static_cast<unsigned>(EnvNumber("KOVA_CRASH_SEED", std::random_device()()));
    const unsigned long kills = EnvNumber("KOVA_CRASH_KILLS", 8);
    std::printf("crash: %lu kills, seed %u\n", kills, seed);
    std::mt19937 random(seed);
    Model model;
    const std::string dataDir = root_ + "/data";
    for (unsigned long kill = 1; kill <= kills; ++kill) {
        std::unique_ptr<DaemonProcess> daemon = Start(dataDir);
        ASSERT_TRUE(daemon->Running()) << daemon->Stderr();
        if (kill > 1)
            Check(*daemon, model, static_cast<int>(kill - 1));
        std::atomic<bool> stop{false};
        std::thread worker(Work, std::cref(*daemon), static_cast<unsigned>(random()), std::ref(model),
                           std::cref(stop));
        std::this_thread::sleep_for(std::chrono::milliseconds(100 + random() % 900));
        ::kill(daemon->Pid(), SIGKILL);
        stop = true;
        worker.join();
        daemon.reset();
    }
    std::unique_ptr<DaemonProcess> daemon = Start(dataDir);
    ASSERT_TRUE(daemon->Running()) << daemon->Stderr();
    Check(*daemon, model, static_cast<int>(kills));
    std::printf("crash: %lu kills survived, %d changes acknowledged, %zu LUNs at the end\n", kills,
                model.acknowledged, model.luns.size());
}

} // namespace
