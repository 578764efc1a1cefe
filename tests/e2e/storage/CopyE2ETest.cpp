// Clones, export and import through the real daemon, the shipped module and the real storage
// library: each call answers once its job has begun, and the test follows the job by polling
// the progress figures (get with "sync_progress" and "import_status", get_snapshot with
// "export_status") until it is done, a bounded number of times. A second daemon with slowed
// copies shows a clone and an export stopped mid-way.
#include "RealDaemonTest.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

using namespace KOVATest;

namespace {

namespace fs = std::filesystem;

constexpr unsigned long long kMiB = 1024ULL * 1024ULL;
// Polls of a job's figures: at most this many, 50 ms apart.
constexpr int kMaxPolls = 600;

unsigned long long Allocated(const std::string& path)
{
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? static_cast<unsigned long long>(st.st_blocks) * 512ULL : 0;
}

class CopyE2ETest : public RealDaemonTest {
protected:
    CopyE2ETest() : RealDaemonTest("KOVA.Core.ISCSI.LUN") {}

    void Start(const std::vector<std::string>& env = {}) { StartDaemon({}, env); }

    // Polls until done(reply) holds, at most kMaxPolls times; answers the last reply, and the
    // number of polls in *polls.
    Json::Value PollUntil(const std::function<Json::Value()>& poll,
                          const std::function<bool(const Json::Value&)>& done, int* polls = nullptr)
    {
        Json::Value reply;
        for (int i = 0; i < kMaxPolls; ++i) {
            reply = poll();
            if (polls)
                *polls = i + 1;
            if (done(reply))
                return reply;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        ADD_FAILURE() << "the job did not end: " << reply.toStyledString();
        return reply;
    }

    Json::Value GetLun(const std::string& uuid)
    {
        return Succeed("get", R"({"uuid":")" + uuid +
                                  R"(","additional":["status","sync_progress","import_status"]})");
    }

    Json::Value GetSnapshot(const std::string& uuid)
    {
        return Succeed("get_snapshot",
                       R"({"snapshot_uuid":")" + uuid + R"(","additional":["export_status"]})");
    }

    std::string CreateLun(const std::string& name, unsigned long long size)
    {
        const Json::Value created =
            Succeed("create", R"({"name":")" + name + R"(","type":"THIN","location":"/volume1","size":)" +
                                  std::to_string(size) + "}");
        return created["uuid"].asString();
    }

    std::string TakeSnapshot(const std::string& lun, const std::string& name)
    {
        return Succeed("take_snapshot", R"({"src_lun_uuid":")" + lun + R"(","is_locked":false,)" +
                                            R"("is_app_consistent":false,"snapshot_name":")" + name +
                                            R"(","taken_by":"e2e"})")["snapshot_uuid"]
            .asString();
    }
};

TEST_F(CopyE2ETest, CloneExportImportWithProgress)
{
    Start();
    const std::string src = CreateLun("copy-src", 64 * kMiB);
    ASSERT_EQ(36u, src.size());
    WriteAt(Image(src), 0, "clone me");
    WriteAt(Image(src), static_cast<off_t>(40 * kMiB), std::string(kMiB, 'd'));

    // Clone, and follow it through the new LUN's sync figures.
    const Json::Value cloned =
        Succeed("clone", R"({"src_lun_uuid":")" + src + R"(","dst_lun_name":"copy-dst"})");
    const std::string dst = cloned["dst_lun_uuid"].asString();
    ASSERT_EQ(36u, dst.size());
    const Json::Value got = PollUntil([&] { return GetLun(dst); },
                                      [](const Json::Value& r) {
                                          return r["lun"]["status"].asString() == "normal" &&
                                                 r["sync_total"].asUInt64() > 0 &&
                                                 r["sync_done"].asUInt64() == r["sync_total"].asUInt64();
                                      });
    EXPECT_EQ(0, got["sync_errno"].asInt());
    EXPECT_EQ("copy-dst", got["lun"]["name"].asString());
    EXPECT_EQ("clone me", ReadAt(Image(dst), 0, 8));
    EXPECT_EQ(std::string(kMiB, 'd'), ReadAt(Image(dst), static_cast<off_t>(40 * kMiB), kMiB));
    EXPECT_LT(Allocated(Image(dst)), 8 * kMiB);

    // The cloneability test and the stop of a clone that has ended.
    EXPECT_TRUE(Call("test_cloneability",
                     R"({"dst_location":"/volume1","src_lun_file":")" + Image(src) + R"("})")["success"]
                    .asBool());
    EXPECT_EQ(18999147, Fail("test_cloneability",
                             R"({"dst_location":"/volume1/sub","src_lun_file":")" + Image(src) + R"("})"));
    EXPECT_EQ(18999142, Fail("stop_clone", R"({"uuid":")" + dst + R"("})"));
    Succeed("retry_stop", R"({"uuid":")" + dst + R"("})");

    // Clone of a snapshot.
    const std::string snap = TakeSnapshot(src, "copy-snap");
    WriteAt(Image(src), 0, "changed!");
    const std::string fromSnap =
        Succeed("clone_snapshot", R"({"src_lun_uuid":")" + src + R"(","snapshot_uuid":")" + snap +
                                      R"(","cloned_lun_name":"from-snap",)" +
                                      R"("clone_type":"THIN"})")["cloned_lun_uuid"]
            .asString();
    ASSERT_EQ(36u, fromSnap.size());
    PollUntil([&] { return GetLun(fromSnap); },
              [](const Json::Value& r) { return r["lun"]["status"].asString() == "normal"; });
    EXPECT_EQ("clone me", ReadAt(Image(fromSnap), 0, 8));

    // Export of the snapshot, followed through get_snapshot.
    Succeed("export", R"({"snapshot_uuid":")" + snap + R"(","exported_dir_path":"/volume1/exports/e2e"})");
    const Json::Value exported =
        PollUntil([&] { return GetSnapshot(snap); },
                  [](const Json::Value& r) {
                      return r["export_total"].asUInt64() > 0 &&
                             r["export_done"].asUInt64() == r["export_total"].asUInt64() &&
                             r["snapshot"]["status"].asString() == "normal";
                  });
    EXPECT_EQ(0, exported["export_errno"].asInt());
    EXPECT_TRUE(fs::exists(volume1_ + "/exports/e2e/lun.img"));
    EXPECT_TRUE(fs::exists(volume1_ + "/exports/e2e/export.json"));
    EXPECT_EQ(18999148, Fail("export", R"({"snapshot_uuid":")" + snap +
                                           R"(","exported_dir_path":"/volume1/exports/e2e"})"));

    // Import into a new LUN, followed through its import figures.
    const std::string target = CreateLun("copy-target", 64 * kMiB);
    Succeed("import", R"({"src_lun_uuid":")" + target + R"(","exported_dir_path":"/volume1/exports/e2e",)" +
                          R"("snapshot_name":"imported","taken_by":"e2e"})");
    const Json::Value imported =
        PollUntil([&] { return GetLun(target); },
                  [](const Json::Value& r) {
                      return r["import_total"].asUInt64() > 0 &&
                             r["import_done"].asUInt64() == r["import_total"].asUInt64();
                  });
    EXPECT_EQ(0, imported["import_errno"].asInt());
    Json::Value snaps;
    for (int i = 0; i < kMaxPolls; ++i) { // the row comes with the end of the job
        snaps = Succeed("list_snapshot", R"({"src_lun_uuid":")" + target + R"("})")["snapshots"];
        if (snaps.size() == 1u)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ASSERT_EQ(1u, snaps.size());
    EXPECT_EQ("imported", snaps[0]["name"].asString());
    Succeed("restore_snapshot", R"({"src_lun_uuid":")" + target + R"(","snapshot_uuid":")" +
                                    snaps[0]["uuid"].asString() + R"("})");
    EXPECT_EQ("clone me", ReadAt(Image(target), 0, 8));
    EXPECT_EQ(std::string(kMiB, 'd'), ReadAt(Image(target), static_cast<off_t>(40 * kMiB), kMiB));

    // Refusals of the library pass through unchanged.
    EXPECT_EQ(18999149,
              Fail("import", R"({"src_lun_uuid":")" + target + R"(","exported_dir_path":"/volume1"})"));
    EXPECT_EQ(18999142, Fail("export_cancel", R"({"snapshot_uuid":")" + snap + R"("})"));
    EXPECT_EQ(18999142, Fail("import_cancel", R"({"src_lun_uuid":")" + target + R"("})"));
}

TEST_F(CopyE2ETest, SlowCloneAndExportAreStopped)
{
    // Copies at 2 MiB/s: 16 MiB of data take several seconds.
    Start({"KOVA_COPY_MAX_BYTES_PER_SEC=2097152"});
    const std::string src = CreateLun("slow-src", 32 * kMiB);
    WriteAt(Image(src), 0, std::string(16 * kMiB, 's'));

    const std::string dst =
        Succeed("clone", R"({"src_lun_uuid":")" + src + R"(","dst_lun_name":"slow-dst"})")["dst_lun_uuid"]
            .asString();
    ASSERT_EQ(36u, dst.size());
    // Seen mid-way at least once: cloning, some bytes done, not all.
    const Json::Value midway = PollUntil([&] { return GetLun(dst); },
                                         [](const Json::Value& r) { return r["sync_done"].asUInt64() > 0; });
    EXPECT_EQ("cloning", midway["lun"]["status"].asString());
    EXPECT_LT(midway["sync_done"].asUInt64(), midway["sync_total"].asUInt64());
    Succeed("stop_clone", R"({"uuid":")" + dst + R"("})");
    // The unfinished LUN is gone.
    EXPECT_EQ(18990505, Fail("get", R"({"uuid":")" + dst + R"("})"));
    EXPECT_FALSE(fs::exists(Image(dst)));
    EXPECT_FALSE(fs::exists(Image(dst) + ".cloning"));

    const std::string snap = TakeSnapshot(src, "slow-snap");
    Succeed("export", R"({"snapshot_uuid":")" + snap + R"(","exported_dir_path":"/volume1/slow-export"})");
    const Json::Value exporting =
        PollUntil([&] { return GetSnapshot(snap); },
                  [](const Json::Value& r) { return r["export_done"].asUInt64() > 0; });
    EXPECT_EQ("exporting", exporting["snapshot"]["status"].asString());
    Succeed("export_cancel", R"({"snapshot_uuid":")" + snap + R"("})");
    const Json::Value cancelled = GetSnapshot(snap);
    EXPECT_EQ(18999140, cancelled["export_errno"].asInt());
    EXPECT_FALSE(fs::exists(volume1_ + "/slow-export"));
}

} // namespace
