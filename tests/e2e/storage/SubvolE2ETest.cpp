// The conversion of a volume's LUN files into subvolumes through the real daemon, the shipped
// module and the real storage library: subvol_convert of the Node API starts it, Node get with
// "subvol_conv_progress" follows it to its end (a bounded number of polls), the data of the
// LUNs is unchanged and a snapshot restores; a volume that is not btrfs is refused with the
// reason in "feasibility_hard". The btrfs volume is the storage tests' loop volume (as root;
// SKIPPED without it).
#include "RealDaemonTest.h"
#include "StorageTestSupport.h"

#include "clone/CopyEngine.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/statfs.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

using namespace KOVATest;

namespace {

namespace fs = std::filesystem;

constexpr unsigned long long kMiB = 1024ULL * 1024ULL;
// Polls of the conversion's progress: at most this many, 50 ms apart.
constexpr int kMaxPolls = 600;
constexpr const char* kLunApi = "KOVA.Core.ISCSI.LUN";

std::string Digest(const std::string& path)
{
    std::string digest;
    EXPECT_EQ(0, ISCSI::Storage::ContentDigest(path, digest)) << path;
    return digest;
}

class SubvolE2ETest : public RealDaemonTest {
protected:
    SubvolE2ETest() : RealDaemonTest("KOVA.Core.ISCSI.Node") {}

    void SetUp() override
    {
        btrfs_ = std::make_unique<KovaStorageTest::BtrfsVolume>("kova-subvol-e2e", true);
        if (btrfs_->dir.empty()) {
            std::printf("SKIPPED: %s\n", btrfs_->reason.c_str());
            GTEST_SKIP() << btrfs_->reason;
        }
        std::string pattern = btrfs_->dir + "/kova-subvol-e2e-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(&pattern[0]));
        volume2_ = pattern;
        StartDaemon({"--volume", "/volume2=" + volume2_});
    }

    void TearDown() override
    {
        RealDaemonTest::TearDown(); // the daemon lets go of the volume first
        std::error_code ec;
        if (!volume2_.empty())
            fs::remove_all(volume2_, ec);
        btrfs_.reset();
    }

    std::string CreateLun(const std::string& name, const std::string& location, unsigned long long size)
    {
        return Succeed("create",
                       R"({"name":")" + name + R"(","type":"THIN","location":")" + location + R"(","size":)" +
                           std::to_string(size) + "}",
                       kLunApi)["uuid"]
            .asString();
    }

    Json::Value Progress()
    {
        return Succeed("get", R"({"subvol_root_path":"/volume2","additional":["subvol_conv_progress",)"
                              R"("is_subvol_conv_normal"]})");
    }

    std::unique_ptr<KovaStorageTest::BtrfsVolume> btrfs_;
    std::string volume2_;
};

TEST_F(SubvolE2ETest, ConvertAVolumeAndFollowItThroughNodeGet)
{
    const std::string a = CreateLun("conv-a", "/volume2", 16 * kMiB);
    const std::string b = CreateLun("conv-b", "/volume2", 8 * kMiB);
    const std::string oldA = volume2_ + "/@iscsi/" + a + ".img";
    const std::string oldB = volume2_ + "/@iscsi/" + b + ".img";
    WriteAt(oldA, 0, "A-FIRST");
    WriteAt(oldA, static_cast<off_t>(12 * kMiB), "A-DEEP");
    WriteAt(oldB, static_cast<off_t>(kMiB), "B-DATA");
    const std::string snapshot =
        Succeed("take_snapshot",
                R"({"src_lun_uuid":")" + a +
                    R"(","is_locked":false,"is_app_consistent":false,"snapshot_name":"s1"})",
                kLunApi)["snapshot_uuid"]
            .asString();
    WriteAt(oldA, 0, "A-LATER");
    const std::string digestA = Digest(oldA);
    const std::string digestB = Digest(oldB);

    // Before any conversion.
    Json::Value progress = Progress();
    EXPECT_EQ("none", progress["subvol_conv_status"].asString());
    EXPECT_TRUE(progress["is_subvol_conv_normal"].asBool());

    EXPECT_TRUE(Succeed("subvol_convert", R"({"root_path":"/volume2"})").isNull());
    int polls = 0;
    for (; polls < kMaxPolls; ++polls) {
        progress = Progress();
        if (progress["subvol_conv_status"].asString() != "converting")
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ASSERT_EQ("done", progress["subvol_conv_status"].asString()) << progress.toStyledString();
    EXPECT_FALSE(progress.isMember("rod_key"));
    EXPECT_FALSE(progress.isMember("status"));
    EXPECT_EQ(36u, progress["subvol_conv_uuid"].asString().size());
    EXPECT_EQ(0, progress["subvol_conv_errno"].asInt());
    EXPECT_EQ(2, progress["total_number"].asInt());
    EXPECT_EQ(2, progress["done_number"].asInt());
    EXPECT_EQ(24 * kMiB, progress["total_size"].asUInt64());
    EXPECT_EQ(24 * kMiB, progress["done_size"].asUInt64());
    EXPECT_TRUE(progress["is_subvol_conv_normal"].asBool());

    // Each LUN is in a subvolume of its own, with the same data.
    const std::string newA = volume2_ + "/@iscsi/" + a + ".subvol/" + a + ".img";
    const std::string newB = volume2_ + "/@iscsi/" + b + ".subvol/" + b + ".img";
    struct stat st {};
    ASSERT_EQ(0, ::stat((volume2_ + "/@iscsi/" + a + ".subvol").c_str(), &st));
    EXPECT_EQ(256u, st.st_ino); // the root of a btrfs subvolume
    EXPECT_FALSE(fs::exists(oldA));
    EXPECT_FALSE(fs::exists(oldB));
    EXPECT_EQ(digestA, Digest(newA));
    EXPECT_EQ(digestB, Digest(newB));

    // The snapshot taken before restores into the subvolume; the LUN reads normal.
    Succeed("restore_snapshot", R"({"src_lun_uuid":")" + a + R"(","snapshot_uuid":")" + snapshot + R"("})",
            kLunApi);
    EXPECT_EQ("A-FIRST", ReadAt(newA, 0, 7));
    EXPECT_EQ("A-DEEP", ReadAt(newA, static_cast<off_t>(12 * kMiB), 6));
    const Json::Value lun =
        Succeed("get", R"({"uuid":")" + b + R"(","additional":["status"]})", kLunApi)["lun"];
    EXPECT_EQ("normal", lun["status"].asString()) << lun.toStyledString();

    // Progress with no root path: the newest conversion.
    const Json::Value newest = Succeed("get", R"({"additional":["subvol_conv_progress"]})");
    EXPECT_EQ(progress["subvol_conv_uuid"], newest["subvol_conv_uuid"]);
}

TEST_F(SubvolE2ETest, AVolumeThatIsNotBtrfsIsRefusedWithItsReason)
{
    struct statfs sfs {};
    ASSERT_EQ(0, ::statfs(volume1_.c_str(), &sfs));
    if (static_cast<long>(sfs.f_type) == KovaStorageTest::kBtrfsMagic)
        GTEST_SKIP() << "the daemon's data directory is on btrfs";
    CreateLun("plain", "/volume1", 4 * kMiB);
    const Json::Value reply = Call("subvol_convert", R"({"root_path":"/volume1"})");
    EXPECT_FALSE(reply["success"].asBool());
    EXPECT_EQ(18990335, reply["error"]["code"].asInt());
    const Json::Value& hard = reply["error"]["detail"]["feasibility_hard"];
    ASSERT_TRUE(hard.isArray()) << reply.toStyledString();
    ASSERT_EQ(1u, hard.size());
    EXPECT_NE(std::string::npos, hard[0].asString().find("/volume1 is on")) << hard[0].asString();
    EXPECT_NE(std::string::npos, hard[0].asString().find("not btrfs")) << hard[0].asString();
    EXPECT_EQ(
        "none",
        Succeed(
            "get",
            R"({"subvol_root_path":"/volume1","additional":["subvol_conv_progress"]})")["subvol_conv_status"]
            .asString());
    EXPECT_EQ(18999175, Fail("subvol_convert", R"({"root_path":"/volume7"})"));
}

} // namespace
