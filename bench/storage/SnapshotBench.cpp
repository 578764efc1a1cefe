// takeSnapshot of a 1 GiB and a 10 GiB thick LUN on btrfs, where the image is a reflink: the
// time should not grow with the LUN's size. The btrfs volume is a loop-mounted image made for
// the run (root and btrfs-progs needed; else the benchmark reports that it is skipped), or the
// directory in KOVA_BENCH_BTRFS_DIR when it is on btrfs. Each snapshot is deleted again outside
// the timing. The 10 GiB case prints "ratio": its time against the 1 GiB case of the same run.
#include <iscsi/ISCSILIBLUN.h>

#include "context/LibraryContext.h"

#include <benchmark/benchmark.h>

#include <sys/statfs.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

namespace fs = std::filesystem;
using ISCSI::LIB::LIBLUN::ISCSILIBLUN;
using ISCSI::Storage::LibraryContext;

constexpr unsigned long kBtrfsMagic = 0x9123683EUL;
constexpr unsigned long long kGiB = 1ULL << 30;

bool OnBtrfs(const std::string& path)
{
    struct statfs fs {};
    return ::statfs(path.c_str(), &fs) == 0 &&
           (static_cast<unsigned long>(fs.f_type) & 0xFFFFFFFFUL) == kBtrfsMagic;
}

// The btrfs volume of the run with the two LUNs, made on first use and removed at exit.
class BtrfsLuns {
public:
    BtrfsLuns()
    {
        const char* env = std::getenv("KOVA_BENCH_BTRFS_DIR");
        std::string base;
        if (env && *env && OnBtrfs(env)) {
            base = env;
        } else if (geteuid() != 0) {
            reason = "skipped: no btrfs volume (root is needed to make a loop volume, or set "
                     "KOVA_BENCH_BTRFS_DIR)";
            return;
        }
        char pattern[] = "/tmp/kova-snapbench-XXXXXX";
        if (!mkdtemp(pattern)) {
            reason = "skipped: no temporary directory";
            return;
        }
        root_ = pattern;
        if (base.empty()) {
            // A sparse 24 GiB image: the thick LUNs' extents are reserved, not written.
            const std::string image = root_ + "/volume.img";
            mount_ = root_ + "/mnt";
            const std::string make = "truncate -s 24G '" + image + "' && mkfs.btrfs -q -f '" + image +
                                     "' >/dev/null 2>&1 && mkdir -p '" + mount_ + "' && mount -o loop '" +
                                     image + "' '" + mount_ + "' 2>/dev/null";
            if (std::system(make.c_str()) != 0 || !OnBtrfs(mount_)) {
                reason = "skipped: cannot make a btrfs loop volume";
                return;
            }
            base = mount_;
        }
        volume_ = base + "/kova-snapbench-" + std::to_string(::getpid());
        fs::create_directories(volume_);
        setenv("KOVA_DATA_DIR", (root_ + "/data").c_str(), 1);
        setenv("KOVA_VOLUMES", ("/volume1=" + volume_).c_str(), 1);
        LibraryContext::Reset();
        for (unsigned long long size : {kGiB, 10 * kGiB}) {
            ISCSILIBLUN lun("snap-" + std::to_string(size / kGiB), ISCSI_LUN_TYPE_FILE, "/volume1", size,
                            8192, 0, 0, "", true);
            if (lun.createLUN("", "") != 0) {
                reason = "skipped: cannot create the LUNs on the btrfs volume";
                return;
            }
            (size == kGiB ? small : large) = lun.uuid;
        }
    }
    ~BtrfsLuns()
    {
        LibraryContext::Reset();
        unsetenv("KOVA_DATA_DIR");
        unsetenv("KOVA_VOLUMES");
        std::error_code ec;
        if (!volume_.empty())
            fs::remove_all(volume_, ec);
        if (!mount_.empty() &&
            std::system(("umount '" + mount_ + "' 2>/dev/null || umount -l '" + mount_ + "'").c_str()) != 0)
            std::fprintf(stderr, "cannot unmount %s\n", mount_.c_str());
        if (!root_.empty())
            fs::remove_all(root_, ec);
    }
    BtrfsLuns(const BtrfsLuns&) = delete;
    BtrfsLuns& operator=(const BtrfsLuns&) = delete;

    std::string reason; // empty when the LUNs are there
    std::string small, large;

private:
    std::string root_, mount_, volume_;
};

BtrfsLuns& Luns()
{
    // Made once for the run; destroyed (unmounted) at exit.
    static BtrfsLuns luns;
    return luns;
}

double gSmallSeconds = 0;

void BM_TakeSnapshotOnBtrfs(benchmark::State& state)
{
    BtrfsLuns& luns = Luns();
    if (!luns.reason.empty()) {
        std::printf("SKIPPED: %s\n", luns.reason.c_str());
        state.SkipWithError(luns.reason.c_str());
        return;
    }
    const bool large = state.range(0) == 10;
    ISCSILIBLUN lun(large ? luns.large : luns.small, false, false, false);
    double seconds = 0;
    long runs = 0;
    for (auto _ : state) {
        std::string snapshotUuid;
        int snapshotId = 0;
        const auto start = std::chrono::steady_clock::now();
        const int rc =
            lun.takeSnapshot(false, false, "", "", "bench", 0, false, "", "", snapshotUuid, snapshotId);
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ++runs;
        state.PauseTiming();
        if (rc != 0 || lun.deleteSnapshot(snapshotUuid, "bench") != 0) {
            state.ResumeTiming();
            state.SkipWithError("takeSnapshot or deleteSnapshot failed");
            return;
        }
        state.ResumeTiming();
    }
    const double each = runs > 0 ? seconds / static_cast<double>(runs) : 0;
    state.counters["snapshot_ms"] = each * 1e3;
    if (!large)
        gSmallSeconds = each;
    else if (gSmallSeconds > 0)
        state.counters["ratio"] = each / gSmallSeconds;
}
// Argument: the LUN's size in GiB.
BENCHMARK(BM_TakeSnapshotOnBtrfs)->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);

} // namespace
