// The data path of a LUN exported through the web API against the same file exported by hand
// with tgtadm, both served by tgtd on loopback and read and written by libiscsi:
//   - sequential read throughput with iscsi-perf (32 requests in flight, 4 KiB each), best of two;
//   - sequential write throughput with WRITE (16) of 256 KiB, one at a time, then SYNCHRONIZE
//     CACHE, best of two;
//   - the time to create, map and enable a target with one LUN: through the API (LUN create,
//     target create, map_lun, enable) against tgtadm (new target, new logical unit, bind).
// Each figure is printed with its ratio to the hand-made baseline measured in the same run.
// Without root, tgtd or iscsi-perf it prints SKIPPED and the reason.
#include "DaemonProcess.h"
#include "HttpClient.h"
#include "IscsiInitiator.h"
#include "Tools.h"
#include "target/TgtDaemon.h"

#include <kova/JsonText.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <string>

using namespace KOVATest;
using Clock = std::chrono::steady_clock;

namespace {

constexpr unsigned long long kMiB = 1024ull * 1024ull;

double Seconds(Clock::duration d)
{
    return std::chrono::duration<double>(d).count();
}

// The web API of a daemon with the shipped module, logged in.
class Api {
public:
    Api(const std::string& dataDir, const std::string& portal)
    {
        DaemonProcess::Config config;
        config.loadDoubleModule = false;
        config.args = {"--module", KOVA_REAL_MODULE_PATH};
        config.dataDir = dataDir;
        config.env = {"KOVA_ISCSI_PORTAL=" + portal};
        daemon_.reset(new DaemonProcess(config));
        if (daemon_->Running())
            daemon_->Login(client_);
    }
    bool Running() const { return daemon_->Running(); }

    // Calls a method; answers its data, or null with error set.
    Json::Value Call(const std::string& api, const std::string& method, const Json::Value& params,
                     std::string& error)
    {
        Json::Value body;
        body["api"] = "KOVA.Core.ISCSI." + api;
        body["version"] = 1;
        body["method"] = method;
        body["params"] = params;
        const Json::Value reply = client_.Post(daemon_->EntryUrl(), KOVA::toString(body)).Json();
        if (!reply["success"].asBool()) {
            error = api + " " + method + ": " + KOVA::toString(reply);
            return Json::Value();
        }
        return reply["data"];
    }

    // A target with one LUN of size bytes: LUN create, target create, map_lun, enable.
    // Answers the LUN's uuid and number, or false with error set.
    bool MakeExportedLun(const std::string& name, unsigned long long size, const std::string& iqn,
                         std::string& uuid, int& lun, std::string& error)
    {
        Json::Value params;
        params["name"] = name;
        params["type"] = "THIN";
        params["location"] = "/volume1";
        params["size"] = Json::UInt64(size);
        uuid = Call("LUN", "create", params, error)["uuid"].asString();
        if (uuid.empty())
            return false;
        Json::Value target;
        target["name"] = name;
        target["iqn"] = iqn;
        target["auth_type"] = 0;
        const Json::Value made = Call("Target", "create", target, error);
        if (!made.isMember("target_id"))
            return false;
        const std::string tid = std::to_string(made["target_id"].asUInt());
        Json::Value map;
        map["target_id"] = tid;
        map["lun_uuids"].append(uuid);
        if (!error.empty() || (Call("Target", "map_lun", map, error), !error.empty()))
            return false;
        Json::Value id;
        id["target_id"] = tid;
        if (Call("Target", "enable", id, error), !error.empty())
            return false;
        Json::Value get = id;
        get["additional"].append("mapped_lun");
        const Json::Value got = Call("Target", "get", get, error);
        for (const Json::Value& mapping : got["target"]["mapped_luns"])
            if (mapping["lun_uuid"].asString() == uuid)
                lun = mapping["lun_id"].asInt();
        if (error.empty() && lun < 0)
            error = "no mapping of " + uuid + " in target " + tid;
        return error.empty();
    }

private:
    HttpClient client_;
    std::unique_ptr<DaemonProcess> daemon_;
};

// tgtd started by hand on its own portal and configured with the tgtadm tool.
class HandTarget {
public:
    HandTarget(const std::string& dir, int port)
    {
        ISCSI::Storage::Target::TgtDaemonOptions options;
        socketDir_ = dir + "/tgtd-hand";
        options.socketDir = socketDir_;
        options.portal = "127.0.0.1:" + std::to_string(port);
        tgtd_.reset(new ISCSI::Storage::Target::TgtDaemon(options));
        started_ = tgtd_->Start(error_);
    }
    ~HandTarget()
    {
        std::string error;
        tgtd_->Stop(error);
    }
    bool Started() const { return started_; }
    const std::string& Error() const { return error_; }

    // tgtadm --lld iscsi <args> against this tgtd; false when it fails.
    bool Adm(std::vector<std::string> args)
    {
        std::vector<std::string> argv = {
            "env", "TGT_IPC_SOCKET=" + socketDir_ + "/socket", "tgtadm", "-C", "0", "--lld", "iscsi"};
        argv.insert(argv.end(), args.begin(), args.end());
        const ToolResult r = RunTool(argv, std::chrono::seconds(20));
        if (r.exitCode != 0)
            error_ = r.output + " (tgtd " + (tgtd_->Running() ? "runs" : "has exited") + ", socket " +
                     tgtd_->socketPath() + ")";
        return r.exitCode == 0;
    }
    // new target, new logical unit 1 on file, bind to every initiator.
    bool Export(int tid, const std::string& iqn, const std::string& file)
    {
        const std::string t = std::to_string(tid);
        return Adm({"--op", "new", "--mode", "target", "--tid", t, "-T", iqn}) &&
               Adm({"--op", "new", "--mode", "logicalunit", "--tid", t, "--lun", "1", "-b", file}) &&
               Adm({"--op", "bind", "--mode", "target", "--tid", t, "-I", "ALL"});
    }

private:
    std::string socketDir_;
    std::unique_ptr<ISCSI::Storage::Target::TgtDaemon> tgtd_;
    bool started_ = false;
    std::string error_;
};

// iscsi-perf's average MB/s over seconds of sequential reads; 0 on failure.
double ReadMBps(const std::string& url, int seconds)
{
    const ToolResult r =
        RunTool({"iscsi-perf", "-t", std::to_string(seconds), url}, std::chrono::seconds(seconds + 30));
    if (r.exitCode != 0)
        std::fprintf(stderr, "iscsi-perf %s: exit %d\n%s\n", url.c_str(), r.exitCode, r.output.c_str());
    const std::regex average(R"(iops average (\d+) \((\d+) MB/s\)\s*\n)");
    std::string last;
    for (auto it = std::sregex_iterator(r.output.begin(), r.output.end(), average);
         it != std::sregex_iterator(); ++it)
        last = (*it)[1].str();
    // MB/s from the iops of 4 KiB requests, finer than the tool's whole MB/s.
    return last.empty() ? 0.0 : std::stod(last) * 4096.0 / 1e6;
}

// MB/s of sequential WRITE (16) of 256 KiB, one at a time, over bytes; 0 on failure.
double WriteMBps(const std::string& portal, const std::string& iqn, int lun, unsigned long long bytes)
{
    Initiator initiator;
    InitiatorLogin login;
    login.portal = portal;
    login.targetIqn = iqn;
    login.lun = lun;
    std::string error;
    if (!initiator.Connect(login, error)) {
        std::fprintf(stderr, "login to %s failed: %s\n", iqn.c_str(), error.c_str());
        return 0;
    }
    std::string data(256 * 1024, '\0');
    std::mt19937_64 rng(7);
    for (char& c : data)
        c = static_cast<char>(rng());
    const auto start = Clock::now();
    for (unsigned long long done = 0; done < bytes; done += data.size())
        if (!initiator.Write(done / 512, data, 512, error)) {
            std::fprintf(stderr, "write to %s failed: %s\n", iqn.c_str(), error.c_str());
            return 0;
        }
    if (!initiator.Synchronize(error)) {
        std::fprintf(stderr, "cache flush of %s failed: %s\n", iqn.c_str(), error.c_str());
        return 0;
    }
    return static_cast<double>(bytes) / 1e6 / Seconds(Clock::now() - start);
}

bool FillFile(const std::string& path, unsigned long long bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::in | std::ios::out);
    std::string block(kMiB, '\0');
    std::mt19937_64 rng(42);
    for (unsigned long long done = 0; out && done < bytes; done += block.size()) {
        for (char& c : block)
            c = static_cast<char>(rng());
        out.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    out.flush();
    return static_cast<bool>(out);
}

struct Figures {
    double apiRead = 0, handRead = 0, apiWrite = 0, handWrite = 0, apiSetup = 0, handSetup = 0;
};

bool Measure(bool quick, Figures& f, std::string& error)
{
    char tmpl[] = "/tmp/kova-target-bench-XXXXXX";
    if (!::mkdtemp(tmpl)) {
        error = "cannot make a temporary directory";
        return false;
    }
    const std::string dir = tmpl;
    struct Cleanup {
        std::string dir;
        ~Cleanup()
        {
            std::error_code ec;
            std::filesystem::remove_all(dir, ec);
        }
    } cleanup{dir};

    const int apiPort = FreeTcpPort();
    const int handPort = FreeTcpPort();
    const std::string apiPortal = "127.0.0.1:" + std::to_string(apiPort);
    const std::string handPortal = "127.0.0.1:" + std::to_string(handPort);
    const unsigned long long size = (quick ? 64 : 256) * kMiB;
    const int seconds = quick ? 1 : 5;
    const int setups = quick ? 3 : 10;

    Api api(dir + "/data", apiPortal);
    if (!api.Running()) {
        error = "the daemon did not start";
        return false;
    }
    HandTarget hand(dir, handPort);
    if (!hand.Started()) {
        error = "the hand-made tgtd did not start: " + hand.Error();
        return false;
    }

    // Data path: one LUN through the API; the hand-made target exports the same file.
    std::string uuid;
    int lun = -1;
    const std::string apiIqn = "iqn.2026-11.invalid.kova:bench-api";
    const std::string handIqn = "iqn.2026-11.invalid.kova:bench-hand";
    if (!api.MakeExportedLun("bench", size, apiIqn, uuid, lun, error))
        return false;
    const std::string file = dir + "/data/volume1/@iscsi/" + uuid + ".img";
    if (!FillFile(file, size)) {
        error = "cannot fill " + file;
        return false;
    }
    if (!hand.Export(1, handIqn, file)) {
        error = "tgtadm: " + hand.Error();
        return false;
    }
    // Each path twice, in alternating order, keeping its best: the page cache and the other
    // load of the machine favour neither.
    const std::string apiUrl = "iscsi://" + apiPortal + "/" + apiIqn + "/" + std::to_string(lun);
    const std::string handUrl = "iscsi://" + handPortal + "/" + handIqn + "/1";
    for (int round = 0; round < 2; ++round) {
        const bool apiFirst = round == 0;
        for (int side = 0; side < 2; ++side) {
            if ((side == 0) == apiFirst) {
                f.apiRead = std::max(f.apiRead, ReadMBps(apiUrl, seconds));
                f.apiWrite = std::max(f.apiWrite, WriteMBps(apiPortal, apiIqn, lun, size / 2));
            } else {
                f.handRead = std::max(f.handRead, ReadMBps(handUrl, seconds));
                f.handWrite = std::max(f.handWrite, WriteMBps(handPortal, handIqn, 1, size / 2));
            }
        }
    }

    // Setting up a target with one LUN.
    const auto apiStart = Clock::now();
    for (int i = 0; i < setups; ++i) {
        std::string u;
        int l = -1;
        if (!api.MakeExportedLun("setup-" + std::to_string(i), 16 * kMiB,
                                 "iqn.2026-11.invalid.kova:setup-api-" + std::to_string(i), u, l, error))
            return false;
    }
    f.apiSetup = Seconds(Clock::now() - apiStart) / setups;
    const auto handStart = Clock::now();
    for (int i = 0; i < setups; ++i) {
        const std::string handFile = dir + "/hand-" + std::to_string(i) + ".img";
        if (::truncate(handFile.c_str(), 0) != 0) {
            const int fd = ::open(handFile.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
            if (fd >= 0)
                ::close(fd);
        }
        if (::truncate(handFile.c_str(), static_cast<off_t>(16 * kMiB)) != 0 ||
            !hand.Export(10 + i, "iqn.2026-11.invalid.kova:setup-hand-" + std::to_string(i), handFile)) {
            error = "hand-made setup failed: " + hand.Error();
            return false;
        }
    }
    f.handSetup = Seconds(Clock::now() - handStart) / setups;
    if (f.apiRead <= 0 || f.handRead <= 0 || f.apiWrite <= 0 || f.handWrite <= 0) {
        error = "a measurement failed: read " + std::to_string(f.apiRead) + " / " +
                std::to_string(f.handRead) + " MB/s, write " + std::to_string(f.apiWrite) + " / " +
                std::to_string(f.handWrite) + " MB/s";
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    bool quick = false;
    for (int i = 1; i < argc; ++i)
        if (std::string(argv[i]).rfind("--benchmark_min_time=", 0) == 0)
            quick = std::stod(std::string(argv[i]).substr(21)) < 1.0;
    benchmark::Initialize(&argc, argv);
    const std::string missing = MissingTgtdPrerequisite({"iscsi-perf", "tgtadm"});
    if (!missing.empty()) {
        std::printf("target data path: SKIPPED: %s\n", missing.c_str());
        return 0;
    }
    Figures f;
    std::string error;
    if (!Measure(quick, f, error)) {
        std::printf("target data path: FAILED: %s\n", error.c_str());
        std::fflush(stdout);
        return 1;
    }
    std::printf("sequential read (iscsi-perf): through the API %.1f MB/s, by hand %.1f MB/s, ratio %.2f\n",
                f.apiRead, f.handRead, f.apiRead / f.handRead);
    std::printf("sequential write (256 KiB, one at a time): through the API %.1f MB/s, by hand %.1f MB/s, "
                "ratio %.2f\n",
                f.apiWrite, f.handWrite, f.apiWrite / f.handWrite);
    std::printf("create, map and enable a target with one LUN: through the API %.1f ms, by hand with tgtadm "
                "%.1f ms, ratio %.2f\n",
                f.apiSetup * 1e3, f.handSetup * 1e3, f.apiSetup / f.handSetup);
    std::fflush(stdout);
    benchmark::Shutdown();
    return 0;
}
