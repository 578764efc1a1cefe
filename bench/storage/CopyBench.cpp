// The copies of the job runner against the plain tools, measured in the same run on the same
// file system (a temporary directory; its type is printed):
//   - clone of a fully written 64 MiB LUN, against `cp` of its file (and `cp` then `sync` of
//     the copy, since a clone is synced before it counts as done);
//   - export of a snapshot of that LUN (image copy, SHA-256 digest, metadata), against `cp`
//     of the snapshot's file;
//   - clone of a 10 GiB thin LUN that holds 100 MiB of data, against `cp` of a dense 100 MiB
//     file: a sparse-aware clone should cost about what its data costs, not its size.
// Each benchmark times both sides itself, every iteration, and reports the counters clone_ms
// (or export_ms), cp_ms and ratio = operation time / cp time; the ratio is what to compare
// between runs.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using ISCSI::LIB::LIBLUN::ISCSILIBLUN;
using ISCSI::Storage::LibraryContext;
using Clock = std::chrono::steady_clock;

constexpr unsigned long long kMiB = 1024ULL * 1024ULL;

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

bool Run(const std::string& command)
{
    return std::system(command.c_str()) == 0;
}

bool Fill(const std::string& path, off_t offset, std::size_t length, char byte)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    std::vector<char> data(length, byte);
    const bool ok = pwrite(fd, data.data(), length, offset) == static_cast<ssize_t>(length) && fsync(fd) == 0;
    close(fd);
    return ok;
}

// A data directory and volume of their own, for the duration of one benchmark.
class Scratch {
public:
    Scratch()
    {
        char pattern[] = "/tmp/kova-copybench-XXXXXX";
        if (!mkdtemp(pattern))
            return;
        root = pattern;
        volume = root + "/vol1";
        fs::create_directories(volume);
        setenv("KOVA_DATA_DIR", (root + "/data").c_str(), 1);
        setenv("KOVA_VOLUMES", ("/volume1=" + volume).c_str(), 1);
        LibraryContext::Reset();
    }
    ~Scratch()
    {
        LibraryContext::Reset();
        unsetenv("KOVA_DATA_DIR");
        unsetenv("KOVA_VOLUMES");
        std::error_code ec;
        if (!root.empty())
            fs::remove_all(root, ec);
    }
    std::string FileSystem() const
    {
        struct statfs st {};
        if (statfs(root.c_str(), &st) != 0)
            return "unknown";
        switch (static_cast<unsigned long>(st.f_type)) {
        case 0xEF53:
            return "ext4";
        case 0x9123683E:
            return "btrfs";
        case 0x01021994:
            return "tmpfs";
        case 0x58465342:
            return "xfs";
        default:
            return "other";
        }
    }
    std::string Image(const std::string& uuid) const { return volume + "/@iscsi/" + uuid + ".img"; }

    std::string root;
    std::string volume;
};

std::string CreateLun(const std::string& name, unsigned long long size)
{
    ISCSILIBLUN lun(name, ISCSI_LUN_TYPE_THIN, "/volume1", size, 8192, 0, 0, "", true);
    return lun.createLUN("", "") == 0 ? lun.uuid : std::string();
}

// Waits for the newest job of kind on object; answers its state.
std::string WaitFor(const std::string& kind, const std::string& object)
{
    ISCSI::Storage::JobRecord job;
    LibraryContext::With(
        [&](LibraryContext& ctx) -> int { return ISCSI::Storage::LatestJob(ctx.db(), kind, object, job); });
    ISCSI::Storage::WaitJob(job.uuid);
    LibraryContext::With(
        [&](LibraryContext& ctx) -> int { return ISCSI::Storage::FindJob(ctx.db(), job.uuid, job); });
    return job.state;
}

// One clone of source, timed from the call to the end of its job; the clone is deleted after.
bool TimedClone(const std::string& source, double& ms)
{
    std::string clone;
    const auto start = Clock::now();
    if (ISCSILIBLUN(source, false, false, false)
            .localClone("bench-clone", clone, ISCSI_LUN_TYPE_NONE, "", "", true, false, {}) != 0)
        return false;
    const bool done = WaitFor("clone", clone) == "done";
    ms += MillisecondsSince(start);
    return done && ISCSILIBLUN(clone, false, false, false).deleteLUN() == 0;
}

bool TimedCp(const std::string& from, const std::string& to, bool sync, double& ms)
{
    const auto start = Clock::now();
    const bool ok = Run("cp '" + from + "' '" + to + "'" + (sync ? " && sync '" + to + "'" : std::string()));
    ms += MillisecondsSince(start);
    std::remove(to.c_str());
    return ok;
}

void Report(benchmark::State& state, const char* opName, double opMs, double cpMs, double cpSyncMs,
            int rounds, const std::string& fileSystem)
{
    state.counters[opName] = opMs / rounds;
    state.counters["cp_ms"] = cpMs / rounds;
    state.counters["ratio"] = cpMs > 0 ? opMs / cpMs : 0;
    if (cpSyncMs > 0) {
        state.counters["cp_sync_ms"] = cpSyncMs / rounds;
        state.counters["ratio_vs_cp_sync"] = opMs / cpSyncMs;
    }
    state.SetLabel(fileSystem);
}

void BM_CloneDense64MiBVsCp(benchmark::State& state)
{
    Scratch scratch;
    const std::string lun = CreateLun("dense", 64 * kMiB);
    if (lun.empty() || !Fill(scratch.Image(lun), 0, 64 * kMiB, 'd')) {
        state.SkipWithError("cannot make the LUN");
        return;
    }
    double cloneMs = 0, cpMs = 0, cpSyncMs = 0;
    int rounds = 0;
    for (auto _ : state) {
        if (!TimedCp(scratch.Image(lun), scratch.root + "/cp.img", false, cpMs) ||
            !TimedCp(scratch.Image(lun), scratch.root + "/cp.img", true, cpSyncMs) ||
            !TimedClone(lun, cloneMs)) {
            state.SkipWithError("a copy failed");
            return;
        }
        ++rounds;
    }
    Report(state, "clone_ms", cloneMs, cpMs, cpSyncMs, rounds, scratch.FileSystem());
}
BENCHMARK(BM_CloneDense64MiBVsCp)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_ExportDense64MiBVsCp(benchmark::State& state)
{
    Scratch scratch;
    const std::string lun = CreateLun("dense", 64 * kMiB);
    std::string snap;
    int id = 0;
    if (lun.empty() || !Fill(scratch.Image(lun), 0, 64 * kMiB, 'e') ||
        ISCSILIBLUN(lun, false, false, false)
                .takeSnapshot(false, false, "s", "", "b", 0, false, "", "", snap, id) != 0) {
        state.SkipWithError("cannot make the LUN and its snapshot");
        return;
    }
    const std::string snapImage = scratch.volume + "/@iscsi/snapshots/" + lun + "/" + snap + ".img";
    double exportMs = 0, cpMs = 0, cpSyncMs = 0;
    int rounds = 0;
    for (auto _ : state) {
        const std::string dir = "/volume1/export-" + std::to_string(rounds);
        if (!TimedCp(snapImage, scratch.root + "/cp.img", false, cpMs) ||
            !TimedCp(snapImage, scratch.root + "/cp.img", true, cpSyncMs)) {
            state.SkipWithError("cp failed");
            return;
        }
        const auto start = Clock::now();
        if (ISCSILIBLUN().exportLun(snap, dir) != 0 || WaitFor("export", snap) != "done") {
            state.SkipWithError("the export failed");
            return;
        }
        exportMs += MillisecondsSince(start);
        std::error_code ec;
        fs::remove_all(scratch.volume + "/export-" + std::to_string(rounds), ec);
        ++rounds;
    }
    Report(state, "export_ms", exportMs, cpMs, cpSyncMs, rounds, scratch.FileSystem());
}
BENCHMARK(BM_ExportDense64MiBVsCp)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_CloneThin10GiBWith100MiBVsCp100MiB(benchmark::State& state)
{
    Scratch scratch;
    const std::string lun = CreateLun("thin", 10240 * kMiB);
    bool ok = !lun.empty();
    // 100 extents of 1 MiB, spread over the 10 GiB.
    for (int i = 0; ok && i < 100; ++i)
        ok = Fill(scratch.Image(lun), static_cast<off_t>(i * 100 * kMiB + 4096), kMiB, 't');
    const std::string dense = scratch.root + "/dense100.img";
    ok = ok && Run("truncate -s 100M '" + dense + "'") && Fill(dense, 0, 100 * kMiB, 'x');
    if (!ok) {
        state.SkipWithError("cannot make the LUN or the dense file");
        return;
    }
    double cloneMs = 0, cpMs = 0, cpSyncMs = 0;
    int rounds = 0;
    for (auto _ : state) {
        if (!TimedCp(dense, scratch.root + "/cp.img", false, cpMs) ||
            !TimedCp(dense, scratch.root + "/cp.img", true, cpSyncMs) || !TimedClone(lun, cloneMs)) {
            state.SkipWithError("a copy failed");
            return;
        }
        ++rounds;
    }
    Report(state, "clone_ms", cloneMs, cpMs, cpSyncMs, rounds, scratch.FileSystem());
}
BENCHMARK(BM_CloneThin10GiBWith100MiBVsCp100MiB)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace
