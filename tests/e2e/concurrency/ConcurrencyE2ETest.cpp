// Concurrent clients against one real daemon (the shipped module, the real storage library)
// on loopback: 16 clients run mixed LUN operations at once (create, set, get, list, delete),
// each on its own LUNs, and then all create one name at the same moment. No reply may be a
// 5xx, every reply must be JSON, the final state must equal what the successful replies imply
// (no lost update), and exactly one of the same-name creates must succeed. The number of
// operations per client is KOVA_CONCURRENCY_OPS (default 100); the seed is printed and can be
// given with KOVA_CONCURRENCY_SEED.
#include "RealDaemonTest.h"

#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace KOVATest;

namespace {

constexpr int kClients = 16;
constexpr unsigned long long kMiB = 1024ULL * 1024ULL;
const char LUN_API[] = "KOVA.Core.ISCSI.LUN";

unsigned long EnvNumber(const char* name, unsigned long fallback)
{
    const char* text = std::getenv(name);
    return text && *text ? std::strtoul(text, nullptr, 10) : fallback;
}

// What one client saw: its LUNs by name with the size its last successful set gave, and the
// failures that must not happen.
struct ClientLog {
    std::map<std::string, std::pair<std::string, unsigned long long>> luns; // name: uuid, size
    std::vector<std::string> problems;
    int operations = 0;
    bool raceWon = false;
};

class ConcurrencyE2ETest : public RealDaemonTest {
protected:
    ConcurrencyE2ETest() : RealDaemonTest(LUN_API) {}
    // Each open keep-alive connection holds a worker thread: more threads than clients.
    void SetUp() override { StartDaemon({"--threads", "32"}); }
};

// Posts one call and checks the HTTP side: no 5xx, a JSON reply.
Json::Value Send(HttpClient& client, const std::string& url, const std::string& method,
                 const std::string& params, ClientLog& log)
{
    ++log.operations;
    const HttpResult r = client.Post(url, CallBody(LUN_API, method, params));
    if (!r.Ok()) {
        log.problems.push_back(method + ": transport error " + std::to_string(r.curl));
        return Json::Value();
    }
    if (r.status >= 500)
        log.problems.push_back(method + ": HTTP " + std::to_string(r.status) + " " + r.body);
    Json::Value reply;
    if (!KOVA::fromString(reply, r.body))
        log.problems.push_back(method + ": reply is not JSON: " + r.body);
    return reply;
}

void RunClient(const DaemonProcess& daemon, int id, unsigned seed, unsigned long operations, ClientLog& log,
               std::mutex& mutex, std::condition_variable& ready, int& waiting)
{
    HttpClient client;
    if (daemon.Login(client).empty()) {
        log.problems.push_back("login failed");
        return;
    }
    const std::string url = daemon.EntryUrl();
    std::mt19937 random(seed + static_cast<unsigned>(id));
    int made = 0;
    for (unsigned long i = 0; i < operations; ++i) {
        const int pick = static_cast<int>(random() % 10);
        if (pick < 3 || log.luns.empty()) {
            const std::string name = "c" + std::to_string(id) + "-" + std::to_string(made++);
            const Json::Value reply =
                Send(client, url, "create",
                     R"({"name":")" + name + R"(","type":"THIN","location":"/volume1","size":1048576})", log);
            if (reply["success"].asBool())
                log.luns[name] = {reply["data"]["uuid"].asString(), kMiB};
            else
                log.problems.push_back("create " + name + " failed: " + KOVA::toString(reply));
        } else if (pick < 6) {
            auto it = std::next(log.luns.begin(), static_cast<long>(random() % log.luns.size()));
            const unsigned long long size = it->second.second + kMiB;
            const Json::Value reply = Send(
                client, url, "set",
                R"({"uuid":")" + it->second.first + R"(","new_size":)" + std::to_string(size) + "}", log);
            if (reply["success"].asBool())
                it->second.second = size;
        } else if (pick < 8) {
            Send(client, url, (pick == 6 ? "list" : "get"),
                 pick == 6 ? "{}" : R"({"uuid":")" + log.luns.begin()->second.first + R"("})", log);
        } else {
            auto it = std::next(log.luns.begin(), static_cast<long>(random() % log.luns.size()));
            const Json::Value reply =
                Send(client, url, "delete", R"({"uuid":")" + it->second.first + R"("})", log);
            if (reply["success"].asBool())
                log.luns.erase(it);
            else
                log.problems.push_back("delete failed: " + KOVA::toString(reply));
        }
    }
    // All clients create the same name at once.
    {
        std::unique_lock<std::mutex> lock(mutex);
        if (++waiting == kClients)
            ready.notify_all();
        else
            ready.wait(lock, [&] { return waiting == kClients; });
    }
    const Json::Value reply = Send(
        client, url, "create", R"({"name":"race","type":"THIN","location":"/volume1","size":1048576})", log);
    log.raceWon = reply["success"].asBool();
}

TEST_F(ConcurrencyE2ETest, SixteenClientsMixedOperationsLoseNothingAndOneSameNameCreateWins)
{
    const unsigned seed = static_cast<unsigned>(EnvNumber("KOVA_CONCURRENCY_SEED", std::random_device()()));
    const unsigned long operations = EnvNumber("KOVA_CONCURRENCY_OPS", 100);
    std::printf("concurrency: %d clients x %lu operations, seed %u\n", kClients, operations, seed);

    std::vector<ClientLog> logs(kClients);
    std::mutex mutex;
    std::condition_variable ready;
    int waiting = 0;
    std::vector<std::thread> threads;
    for (int id = 0; id < kClients; ++id)
        threads.emplace_back(RunClient, std::cref(*daemon_), id, seed, operations, std::ref(logs[id]),
                             std::ref(mutex), std::ref(ready), std::ref(waiting));
    for (std::thread& t : threads)
        t.join();

    int total = 0;
    int winners = 0;
    std::map<std::string, unsigned long long> expected;
    for (const ClientLog& log : logs) {
        for (const std::string& problem : log.problems)
            ADD_FAILURE() << problem;
        total += log.operations;
        winners += log.raceWon ? 1 : 0;
        for (const auto& lun : log.luns)
            expected[lun.first] = lun.second.second;
    }
    std::printf("concurrency: %d operations run\n", total);
    EXPECT_EQ(1, winners);
    expected["race"] = kMiB;

    const Json::Value list = Succeed("list", "{}");
    std::map<std::string, unsigned long long> found;
    for (const Json::Value& lun : list["luns"])
        found[lun["name"].asString()] = lun["size"].asUInt64();
    EXPECT_EQ(expected, found);
}

} // namespace
