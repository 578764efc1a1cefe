// LUN backup over loopback iSCSI against raw libiscsi writes to the same target, in one run:
//   - a LUN holding data (every byte written; KOVA_BENCH_LUNBKP_MIB, default 256) is backed up
//     to the LUN of another target of the library's own tgtd (smartddStart to the end of its
//     job), against one libiscsi session that writes the same number of bytes to that LUN in
//     WRITE (16) commands of 1 MiB and then SYNCHRONIZE CACHE (login included in both);
//     counters backup_ms, raw_ms, and ratio = raw_ms / backup_ms (the backup's throughput as a
//     share of the raw one; 1 is as fast as the raw writes);
//   - a backup stopped at about half and resumed: the resumed run's time against the full
//     backup's time scaled to the chunks that remained (resume_ratio; 1 is "costs what is left").
// The two sides of the first comparison take turns at going first. Without root or tgtd it
// prints SKIPPED and the reason.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSILIBLUNBKP.h>
#include <iscsi/ISCSILIBTarget.h>

#include "clone/CopyEngine.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"
#include "lunbkp/LunbkpStore.h"

extern "C" {
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>
}

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using ISCSI::LIB::LIBLUN::ISCSILIBLUN;
using ISCSI::LIB::LIBLUNBKP::ISCSILIBLUNBKP;
using ISCSI::LIB::LIBTarget::ISCSILIBTarget;
using ISCSI::Storage::LibraryContext;
using Clock = std::chrono::steady_clock;

constexpr unsigned long long kMiB = 1024ULL * 1024ULL;
const char kIqn[] = "iqn.2026-01.org.example:bench-backup";

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// A loopback port that nothing listens on now.
int FreePort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(addr);
    int port = 0;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) == 0)
        port = ntohs(addr.sin_port);
    if (fd >= 0)
        ::close(fd);
    return port;
}

unsigned long long LunBytes()
{
    const char* mib = std::getenv("KOVA_BENCH_LUNBKP_MIB");
    const unsigned long long value = mib ? std::strtoull(mib, nullptr, 10) : 0;
    return (value ? value : 256) * kMiB;
}

// The library on a data directory and volume of its own, with tgtd on a loopback portal.
class Scratch {
public:
    Scratch()
    {
        char pattern[] = "/tmp/kova-lunbkpbench-XXXXXX";
        if (!mkdtemp(pattern))
            return;
        root = pattern;
        fs::create_directories(root + "/vol1");
        portal = "127.0.0.1:" + std::to_string(FreePort());
        setenv("KOVA_DATA_DIR", (root + "/data").c_str(), 1);
        setenv("KOVA_VOLUMES", ("/volume1=" + root + "/vol1").c_str(), 1);
        setenv("KOVA_ISCSI_PORTAL", portal.c_str(), 1);
        unsetenv("KOVA_TGTD");
        LibraryContext::Reset();
    }
    ~Scratch()
    {
        ISCSI::Storage::SetCopyRateLimit(0);
        LibraryContext::Reset();
        unsetenv("KOVA_DATA_DIR");
        unsetenv("KOVA_VOLUMES");
        unsetenv("KOVA_ISCSI_PORTAL");
        std::error_code ec;
        if (!root.empty())
            fs::remove_all(root, ec);
    }
    std::string Image(const std::string& uuid) const { return root + "/vol1/@iscsi/" + uuid + ".img"; }

    std::string root;
    std::string portal;
};

std::string CreateLun(const std::string& name, unsigned long long size)
{
    ISCSILIBLUN lun(name, ISCSI_LUN_TYPE_THIN, "/volume1", size, 8192, 0, 0, "", true);
    return lun.createLUN("", "") == 0 ? lun.uuid : std::string();
}

bool FillWithData(const std::string& path, unsigned long long size)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    std::vector<char> block(kMiB);
    bool ok = true;
    for (unsigned long long at = 0; ok && at < size; at += kMiB) {
        for (std::size_t i = 0; i < block.size(); i += 512)
            block[i] = static_cast<char>(at / kMiB + i / 512 + 1);
        ok = pwrite(fd, block.data(), block.size(), static_cast<off_t>(at)) ==
             static_cast<ssize_t>(block.size());
    }
    ok = ok && fsync(fd) == 0;
    ::close(fd);
    return ok;
}

// One libiscsi session that writes bytes to LUN 1 of the target in 1 MiB WRITE (16) commands
// and synchronises the cache; false on any failure.
bool RawWrite(const std::string& portal, unsigned long long bytes, double& ms)
{
    std::vector<unsigned char> buffer(kMiB, 0x5a);
    const auto start = Clock::now();
    iscsi_context* iscsi = iscsi_create_context("iqn.2026-01.org.example:bench-raw");
    if (!iscsi)
        return false;
    iscsi_set_targetname(iscsi, kIqn);
    iscsi_set_session_type(iscsi, ISCSI_SESSION_NORMAL);
    bool ok = iscsi_full_connect_sync(iscsi, portal.c_str(), 1) == 0;
    for (unsigned long long at = 0; ok && at < bytes; at += kMiB) {
        scsi_task* task = iscsi_write16_sync(iscsi, 1, at / 512, buffer.data(), kMiB, 512, 0, 0, 0, 0, 0);
        // The first command of the session may report the unit's reset: sent again.
        if (task && task->status == SCSI_STATUS_CHECK_CONDITION &&
            task->sense.key == SCSI_SENSE_UNIT_ATTENTION) {
            scsi_free_scsi_task(task);
            task = iscsi_write16_sync(iscsi, 1, at / 512, buffer.data(), kMiB, 512, 0, 0, 0, 0, 0);
        }
        ok = task && task->status == SCSI_STATUS_GOOD;
        if (task)
            scsi_free_scsi_task(task);
    }
    scsi_task* sync = ok ? iscsi_synchronizecache16_sync(iscsi, 1, 0, 0, 0, 0) : nullptr;
    ok = ok && sync && sync->status == SCSI_STATUS_GOOD;
    if (sync)
        scsi_free_scsi_task(sync);
    iscsi_logout_sync(iscsi);
    iscsi_destroy_context(iscsi);
    ms += MillisecondsSince(start);
    return ok;
}

// The newest backup job of the LUN, waited for; its state.
std::string WaitForBackup(const std::string& lun)
{
    ISCSI::Storage::JobRecord job;
    LibraryContext::With([&](LibraryContext& ctx) -> int {
        return ISCSI::Storage::LatestJob(ctx.db(), ISCSI::Storage::kLunBackupJobKind, lun, job);
    });
    ISCSI::Storage::WaitJob(job.uuid);
    LibraryContext::With(
        [&](LibraryContext& ctx) -> int { return ISCSI::Storage::FindJob(ctx.db(), job.uuid, job); });
    return job.state;
}

// A backup from the LUN's bitmap as it is, timed from the start to the end of its job.
bool TimedRun(const std::string& lun, const std::string& path, double& ms)
{
    const auto start = Clock::now();
    if (ISCSILIBLUNBKP(lun).smartddStart(path, LUNBKP_TYPE_BACKUP) != 0)
        return false;
    const bool done = WaitForBackup(lun) == "done";
    ms += MillisecondsSince(start);
    return done;
}

// A whole backup from an empty bitmap.
bool TimedBackup(const std::string& lun, const std::string& path, double& ms)
{
    return ISCSILIBLUNBKP(lun).bitmapReset() == 0 && TimedRun(lun, path, ms);
}

// A backup stopped at about half (slowed down to be caught there), then resumed and timed;
// remaining gets the share of the chunks that the resumed run had to copy.
bool TimedResume(const std::string& lun, const std::string& path, unsigned long long size, double& ms,
                 double& remaining)
{
    if (ISCSILIBLUNBKP(lun).bitmapReset() != 0)
        return false;
    ISCSI::Storage::SetCopyRateLimit(size / 2);
    if (ISCSILIBLUNBKP(lun).smartddStart(path, LUNBKP_TYPE_BACKUP) != 0)
        return false;
    int progress = 0;
    unsigned long long offset = 0, total = 0;
    for (int i = 0; i < 1000 && progress < 50; ++i) {
        ISCSILIBLUNBKP(lun).smartddProgressGet(progress, offset, total);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ISCSILIBLUNBKP(lun).smartddStop(LUNBKP_TYPE_BACKUP);
    ISCSI::Storage::SetCopyRateLimit(0);
    ISCSI::Storage::CopyState stopped;
    LibraryContext::With(
        [&](LibraryContext& ctx) { return ISCSI::Storage::LoadCopyState(ctx.db(), lun, stopped); });
    remaining += 1.0 - static_cast<double>(stopped.chunksDone) / static_cast<double>(stopped.chunkCount());
    return TimedRun(lun, path, ms);
}

void BM_LunBackupVsRawIscsiWrites(benchmark::State& state)
{
    if (::geteuid() != 0 || ::access("/usr/sbin/tgtd", X_OK) != 0) {
        std::printf("SKIPPED: needs root and /usr/sbin/tgtd\n");
        state.SkipWithError("SKIPPED: needs root and /usr/sbin/tgtd");
        return;
    }
    const unsigned long long size = LunBytes();
    Scratch scratch;
    const std::string source = CreateLun("source", size);
    const std::string backup = CreateLun("backup", size);
    ISCSILIBTarget target("bench", kIqn, true, false, false, 262144, 262144, 1, ISCSI_AUTH_TYPE_NONE, "", "",
                          "", "", false);
    std::string path;
    if (source.empty() || backup.empty() || !FillWithData(scratch.Image(source), size) ||
        target.createTarget() != 0 || ISCSILIBTarget(target.tid).mapLUN({backup}) != 0 ||
        ISCSILIBLUNBKP().targetConnect(scratch.portal, kIqn, path) != 0) {
        state.SkipWithError("cannot make the LUNs and the target");
        return;
    }
    double backupMs = 0, rawMs = 0, resumeMs = 0, remaining = 0;
    int rounds = 0;
    for (auto _ : state) {
        // The two sides take turns at going first, so that neither always meets a cold target.
        const bool rawFirst = rounds % 2 == 0;
        if ((rawFirst && !RawWrite(scratch.portal, size, rawMs)) || !TimedBackup(source, path, backupMs) ||
            (!rawFirst && !RawWrite(scratch.portal, size, rawMs)) ||
            !TimedResume(source, path, size, resumeMs, remaining)) {
            state.SkipWithError("a copy failed");
            return;
        }
        ++rounds;
    }
    state.counters["lun_MiB"] = static_cast<double>(size / kMiB);
    state.counters["backup_ms"] = backupMs / rounds;
    state.counters["raw_ms"] = rawMs / rounds;
    state.counters["ratio"] = backupMs > 0 ? rawMs / backupMs : 0;
    state.counters["resumed_share"] = remaining / rounds;
    state.counters["resume_ms"] = resumeMs / rounds;
    // The resumed run against the full backup scaled to what remained.
    state.counters["resume_ratio"] = remaining > 0 ? resumeMs / (backupMs * remaining / rounds) : 0;
}
BENCHMARK(BM_LunBackupVsRawIscsiWrites)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace
