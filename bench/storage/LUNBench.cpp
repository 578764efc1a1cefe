// ListLUN over 1,000 and 10,000 thin LUNs, with the facts that look at each LUN's file
// (allocated size, status) and without. The LUNs' rows are inserted in one transaction and
// their sparse files made directly, which is what creating thin LUNs leaves, without the
// per-LUN fsync and commit of createLUN. Each run of the 10,000 case prints "ratio": its time
// against the 1,000 case of the same run with the same flags (10 is linear growth).
#include <iscsi/ISCSILIBLUN.h>

#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "lun/LUNStore.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <malloc.h>
#include <map>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// The allocator set as kova-webapid sets it (large buffers stay in the heap), so that the
// figures are those of the daemon and do not depend on which benchmark ran before: with
// glibc's adaptive defaults a list of 1,000 LUNs took 0.8 or 3.2 ms depending on that.
const bool kAllocatorAsInTheDaemon = [] {
    mallopt(M_MMAP_THRESHOLD, 64 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 128 * 1024 * 1024);
    return true;
}();
using ISCSI::LIB::LIBLUN::ISCSILIBLUN;
using ISCSI::Storage::LibraryContext;

// A data directory and volume holding count thin LUNs of 1 GiB, for one benchmark.
class LunSet {
public:
    explicit LunSet(int count)
    {
        char pattern[] = "/tmp/kova-lunbench-XXXXXX";
        if (!mkdtemp(pattern))
            return;
        root_ = pattern;
        const std::string volume = root_ + "/vol1";
        fs::create_directories(volume + "/@iscsi");
        setenv("KOVA_DATA_DIR", (root_ + "/data").c_str(), 1);
        setenv("KOVA_VOLUMES", ("/volume1=" + volume).c_str(), 1);
        LibraryContext::Reset();
        ok_ = LibraryContext::With([&](LibraryContext& ctx) -> int {
                  ISCSI::Storage::Transaction tx(ctx.db());
                  if (!tx.begun())
                      return 1;
                  for (int i = 0; i < count; ++i) {
                      ISCSI::Storage::LUNRow row;
                      row.uuid = ISCSI::Storage::NewUuid();
                      row.lun_id = i + 1;
                      row.name = "bench-" + std::to_string(i);
                      row.type = ISCSI_LUN_TYPE_THIN;
                      row.location = "/volume1";
                      row.size = 1ULL << 30;
                      row.extent_size = 8192;
                      row.vpd_unit_sn = row.uuid;
                      row.status = "normal";
                      row.created_at = static_cast<long long>(std::time(nullptr));
                      row.file_path = "@iscsi/" + row.uuid + ".img";
                      if (ISCSI::Storage::InsertLUNRow(ctx.db(), row) != 0)
                          return 1;
                      const std::string file = volume + "/" + row.file_path;
                      const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
                      if (fd < 0 || ::ftruncate(fd, static_cast<off_t>(row.size)) != 0)
                          return 1;
                      ::close(fd);
                  }
                  return tx.commit() ? 0 : 1;
              }) == 0;
    }
    ~LunSet()
    {
        LibraryContext::Reset();
        unsetenv("KOVA_DATA_DIR");
        unsetenv("KOVA_VOLUMES");
        std::error_code ec;
        if (!root_.empty())
            fs::remove_all(root_, ec);
    }
    LunSet(const LunSet&) = delete;
    LunSet& operator=(const LunSet&) = delete;
    bool ok() const { return ok_; }

private:
    std::string root_;
    bool ok_ = false;
};

// Seconds per ListLUN of the 1,000 case, by flags, for the ratio of the 10,000 case.
std::map<int, double>& BaseTimes()
{
    static std::map<int, double> times;
    return times;
}

void BM_ListLUN(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    const int flags = static_cast<int>(state.range(1));
    LunSet set(count);
    if (!set.ok()) {
        state.SkipWithError("cannot make the LUNs");
        return;
    }
    double seconds = 0;
    long runs = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        std::vector<ISCSI::ISCSILUNInfo> luns;
        const int rc = ISCSILIBLUN::ListLUN(luns, flags);
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ++runs;
        if (rc != 0 || luns.size() != static_cast<std::size_t>(count)) {
            state.SkipWithError("ListLUN failed");
            return;
        }
        benchmark::DoNotOptimize(luns);
    }
    const double each = runs > 0 ? seconds / static_cast<double>(runs) : 0;
    state.counters["per_lun_us"] = each * 1e6 / count;
    if (count == 1000) {
        BaseTimes()[flags] = each;
    } else if (BaseTimes().count(flags) != 0 && BaseTimes()[flags] > 0) {
        state.counters["ratio"] = each / BaseTimes()[flags];
    }
}
// Flags 0: rows only; 0x30: allocated size and status (a stat of each file).
BENCHMARK(BM_ListLUN)
    ->Args({1000, 0})
    ->Args({10000, 0})
    ->Args({1000, ISCSI::ISCSI_LUN_LOAD_ALLOCATED_SIZE | ISCSI::ISCSI_LUN_LOAD_STATUS})
    ->Args({10000, ISCSI::ISCSI_LUN_LOAD_ALLOCATED_SIZE | ISCSI::ISCSI_LUN_LOAD_STATUS})
    ->Unit(benchmark::kMillisecond);

} // namespace
