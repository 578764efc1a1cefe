// LUNs through the real daemon, the shipped module and the real storage library, on a data
// directory with a second volume given by --volume: create, list, get, set, snapshot, data
// written into the LUN file and brought back by a restore, a move to the second volume, a LUN
// made from a source file, confinement of source paths, and delete.
#include "RealDaemonTest.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

using namespace KOVATest;

namespace {

namespace fs = std::filesystem;

class LUNE2ETest : public RealDaemonTest {
protected:
    LUNE2ETest() : RealDaemonTest("KOVA.Core.ISCSI.LUN") {}

    void SetUp() override
    {
        char pattern[] = "/tmp/kova-lune2e-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        volume2_ = fs::canonical(pattern).string();
        StartDaemon({"--volume", "/volume2=" + volume2_});
    }

    void TearDown() override
    {
        RealDaemonTest::TearDown();
        std::error_code ec;
        fs::remove_all(volume2_, ec);
    }

    Json::Value Get(const std::string& uuid)
    {
        return Succeed("get",
                       R"({"uuid":")" + uuid + R"(","additional":["status","allocated_size"]})")["lun"];
    }

    std::string volume2_;
};

TEST_F(LUNE2ETest, LifeOfALUNThroughTheDaemon)
{
    constexpr unsigned long long kMiB = 1024ULL * 1024ULL;
    // Create.
    const Json::Value created = Succeed("create", R"({"name":"e2e-lun","type":"THIN","location":"/volume1",)"
                                                  R"("size":8388608})");
    const std::string uuid = created["uuid"].asString();
    ASSERT_EQ(36u, uuid.size());
    EXPECT_GE(created["lun_id"].asInt(), 1);
    const std::string image = Image(uuid);
    ASSERT_TRUE(fs::exists(image));
    EXPECT_EQ(8 * kMiB, fs::file_size(image));

    // List and get.
    Json::Value list = Succeed("list", R"({"location":"/volume1"})");
    ASSERT_EQ(1u, list["luns"].size());
    EXPECT_EQ(uuid, list["luns"][0]["uuid"].asString());
    Json::Value lun = Get(uuid);
    EXPECT_EQ("e2e-lun", lun["name"].asString());
    EXPECT_EQ("/volume1", lun["location"].asString());
    EXPECT_EQ(8 * kMiB, lun["size"].asUInt64());
    EXPECT_EQ("normal", lun["status"].asString());

    // Set: name and size.
    Succeed("set", R"({"uuid":")" + uuid + R"(","new_name":"e2e-renamed","new_size":16777216})");
    lun = Get(uuid);
    EXPECT_EQ("e2e-renamed", lun["name"].asString());
    EXPECT_EQ(16 * kMiB, lun["size"].asUInt64());
    EXPECT_EQ(16 * kMiB, fs::file_size(image));

    // Data, a snapshot of it, new data, and a restore that brings the first data back.
    WriteAt(image, 0, "FIRST-DATA");
    WriteAt(image, static_cast<off_t>(12 * kMiB), "DEEP-FIRST");
    const Json::Value snapshot =
        Succeed("take_snapshot", R"({"src_lun_uuid":")" + uuid +
                                     R"(","is_locked":false,"is_app_consistent":false,)"
                                     R"("snapshot_name":"before"})");
    const std::string snapshotUuid = snapshot["snapshot_uuid"].asString();
    ASSERT_EQ(36u, snapshotUuid.size());
    WriteAt(image, 0, "OTHER-DATA");
    WriteAt(image, static_cast<off_t>(12 * kMiB), "DEEP-OTHER");
    ASSERT_EQ("OTHER-DATA", ReadAt(image, 0, 10));
    Succeed("restore_snapshot",
            R"({"src_lun_uuid":")" + uuid + R"(","snapshot_uuid":")" + snapshotUuid + R"("})");
    EXPECT_EQ("FIRST-DATA", ReadAt(image, 0, 10));
    EXPECT_EQ("DEEP-FIRST", ReadAt(image, static_cast<off_t>(12 * kMiB), 10));

    // The snapshot goes, then the LUN.
    Succeed("delete_snapshot", R"({"snapshot_uuid":")" + snapshotUuid + R"("})");
    Succeed("delete", R"({"uuid":")" + uuid + R"("})");
    EXPECT_FALSE(fs::exists(image));
    list = Succeed("list", "{}");
    EXPECT_EQ(0u, list["luns"].size());
    EXPECT_EQ(18990505, Fail("get", R"({"uuid":")" + uuid + R"("})"));
}

TEST_F(LUNE2ETest, MoveToTheSecondVolumeAndCreateFromASourceFile)
{
    // A source image on volume 2, with data at both ends.
    const std::string source = volume2_ + "/images/disk.img";
    fs::create_directories(volume2_ + "/images");
    std::ofstream(source).close();
    fs::resize_file(source, 4 * 1024 * 1024);
    WriteAt(source, 0, "SOURCE-HEAD");
    WriteAt(source, 4 * 1024 * 1024 - 11, "SOURCE-TAIL");

    const Json::Value created = Succeed(
        "create",
        R"({"name":"from-file","type":"THIN","location":"/volume1","src_lun_file":"/volume2/images/disk.img"})");
    const std::string uuid = created["uuid"].asString();
    Json::Value lun = Get(uuid);
    EXPECT_EQ(4u * 1024 * 1024, lun["size"].asUInt64());
    const std::string image = Image(uuid);
    EXPECT_EQ("SOURCE-HEAD", ReadAt(image, 0, 11));
    EXPECT_EQ("SOURCE-TAIL", ReadAt(image, 4 * 1024 * 1024 - 11, 11));

    // Sources outside the volumes are refused with their own codes.
    EXPECT_EQ(18999162,
              Fail("create",
                   R"({"name":"evil","type":"THIN","location":"/volume1","src_lun_file":"/etc/passwd"})"));
    EXPECT_EQ(18999161, Fail("create", R"({"name":"evil","type":"THIN","location":"/volume1",)"
                                       R"("src_lun_file":"/volume2/../../etc/passwd"})"));
    fs::create_symlink("/etc/passwd", volume2_ + "/images/passwd.img");
    EXPECT_EQ(18999163, Fail("create", R"({"name":"evil","type":"THIN","location":"/volume1",)"
                                       R"("src_lun_file":"/volume2/images/passwd.img"})"));

    // Move to volume 2: a job; the LUN names volume 2 once it is done (bounded wait).
    Succeed("set", R"({"uuid":")" + uuid + R"(","new_location":"/volume2"})");
    std::string location;
    for (int i = 0; i < 200 && location != "/volume2"; ++i) {
        location = Get(uuid)["location"].asString();
        if (location != "/volume2")
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    ASSERT_EQ("/volume2", location);
    const std::string moved = volume2_ + "/@iscsi/" + uuid + ".img";
    EXPECT_EQ("SOURCE-HEAD", ReadAt(moved, 0, 11));
    EXPECT_FALSE(fs::exists(image));
    EXPECT_EQ("normal", Get(uuid)["status"].asString());
    Json::Value list = Succeed("list", R"({"location":"/volume2"})");
    EXPECT_EQ(1u, list["luns"].size());

    // A type change that the LUN can take, and one that it cannot.
    Succeed("set", R"({"uuid":")" + uuid + R"(","new_type":"FILE"})");
    EXPECT_EQ("FILE", Get(uuid)["type_str"].asString());
    EXPECT_EQ(18999165, Fail("set", R"({"uuid":")" + uuid + R"(","new_type":"BLOCK"})"));

    Succeed("delete", R"({"uuid":")" + uuid + R"("})");
    EXPECT_FALSE(fs::exists(moved));
}

// A serial that tgtd could not present whole is refused with the code of a bad serial and
// never stored: too long (up to 1,000,000 bytes), or with characters the unit serial number
// page or tgtd's parameter text cannot carry.
TEST_F(LUNE2ETest, SerialsTheDataPathCannotPresentAreRefused)
{
    EXPECT_EQ(18990620, Fail("create", R"({"name":"sn","type":"THIN","location":"/volume1","size":1048576,)"
                                       R"("vpd_unit_sn":")" +
                                           std::string(1000000, 'S') + R"("})"));
    const std::string uuid =
        Succeed("create", R"({"name":"sn","type":"THIN","location":"/volume1","size":1048576})")["uuid"]
            .asString();
    ASSERT_FALSE(uuid.empty());
    for (const char* bad :
         {"SN,1", "SN 1", "SN\\n1", "SN\\u001b[2J", "0123456789012345678901234567890123456"})
        EXPECT_EQ(18990620, Fail("set", R"({"uuid":")" + uuid + R"(","vpd_unit_sn":")" + bad + R"("})"))
            << bad;
    Succeed("set", R"({"uuid":")" + uuid + R"(","vpd_unit_sn":"012345678901234567890123456789ABCDEF"})");
    EXPECT_EQ("012345678901234567890123456789ABCDEF", Get(uuid)["vpd_unit_sn"].asString());
}

TEST_F(LUNE2ETest, LoopMountAndDefragThroughTheDaemon)
{
    const Json::Value created =
        Succeed("create", R"({"name":"devices","type":"FILE","location":"/volume1","size":4194304})");
    const std::string uuid = created["uuid"].asString();
    const std::string image = Image(uuid);
    WriteAt(image, 0, "LOOP-E2E");

    // Defragmentation with the file system's tool, in the foreground and in the background.
    const Json::Value fg = Call("defrag", R"({"uuid":")" + uuid + R"(","background":false})");
    if (fg["success"].asBool()) {
        Succeed("defrag", R"({"uuid":")" + uuid + R"("})");
        Succeed("stop_defrag", R"({"uuid":")" + uuid + R"("})");
    } else {
        // A file system without a tool answers its own code.
        EXPECT_EQ(18999168, fg["error"]["code"].asInt());
    }

    if (geteuid() != 0 || ::access("/dev/loop-control", W_OK) != 0) {
        EXPECT_EQ(18999166, Fail("loop_mount", R"({"uuid":")" + uuid + R"("})"));
        std::printf("SKIPPED: loop devices need root\n");
        GTEST_SKIP();
    }
    const Json::Value reply = Call("loop_mount", R"({"uuid":")" + uuid + R"("})");
    if (!reply["success"].asBool() && reply["error"]["code"].asInt() == 18999166) {
        std::printf("SKIPPED: no free loop device\n");
        Succeed("delete", R"({"uuid":")" + uuid + R"("})");
        GTEST_SKIP();
    }
    ASSERT_TRUE(reply["success"].asBool()) << reply.toStyledString();
    const std::string device = reply["data"]["loop_dev_path"].asString();
    ASSERT_EQ(0u, device.rfind("/dev/loop", 0)) << device;
    EXPECT_EQ("LOOP-E2E", ReadAt(device, 0, 8));
    // A mounted LUN does not move.
    EXPECT_EQ(18999165, Fail("set", R"({"uuid":")" + uuid + R"(","new_location":"/volume2"})"));
    Succeed("loop_unmount", R"({"uuid":")" + uuid + R"("})");
    EXPECT_EQ(18999167, Fail("loop_unmount", R"({"uuid":")" + uuid + R"("})"));
    Succeed("delete", R"({"uuid":")" + uuid + R"("})");
}

} // namespace

namespace {

TEST(LUNVolumeOptionE2ETest, BadVolumeOptionsEndTheDaemon)
{
    std::string err;
    EXPECT_EQ(1, RunDaemonToEnd({"--volume", "/volume2=/nonexistent-kova-volume"}, &err));
    EXPECT_NE(std::string::npos, err.find("no existing directory")) << err;
    EXPECT_EQ(1, RunDaemonToEnd({"--volume", "volume2=/tmp"}, &err));
    EXPECT_EQ(1, RunDaemonToEnd({"--volume", "/volume2=/tmp,fast"}, &err));
    EXPECT_NE(std::string::npos, err.find("fast")) << err;
    EXPECT_EQ(1, RunDaemonToEnd({"--volume", "/volume2=/tmp", "--volume", "/volume2=/var"}, &err));
}

TEST(LUNVolumeOptionE2ETest, RemoteDiskVolumeTakesOnlySizeAndAttributes)
{
    char pattern[] = "/tmp/kova-remote-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    const std::string remoteDir = fs::canonical(pattern).string();
    {
        DaemonProcess::Config config;
        config.loadDoubleModule = false;
        fs::create_directories(remoteDir + "/local");
        config.args = {"--module", KOVA_REAL_MODULE_PATH,
                       "--volume", "/volume2=" + remoteDir + "/far,remote-disk",
                       "--volume", "/volume3=" + remoteDir + "/local"};
        fs::create_directories(remoteDir + "/far");
        DaemonProcess daemon(config);
        ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
        HttpClient client;
        ASSERT_FALSE(daemon.Login(client).empty());
        auto call = [&](const std::string& method, const std::string& params) {
            return client.Post(daemon.EntryUrl(), CallBody("KOVA.Core.ISCSI.LUN", method, params)).Json();
        };
        Json::Value reply =
            call("create", R"({"name":"far","type":"THIN","location":"/volume2","size":1048576})");
        ASSERT_TRUE(reply["success"].asBool()) << reply.toStyledString();
        const std::string uuid = reply["data"]["uuid"].asString();
        // The handler goes the remote way: a name change is refused there, a size is taken.
        reply = call("set", R"({"uuid":")" + uuid + R"(","new_name":"other"})");
        EXPECT_EQ(18990213, reply["error"]["code"].asInt()) << reply.toStyledString();
        reply = call("set", R"({"uuid":")" + uuid +
                                R"(","new_size":2097152,)"
                                R"("dev_attribs":[{"dev_attrib":"emulate_caw","enable":true}]})");
        EXPECT_TRUE(reply["success"].asBool()) << reply.toStyledString();
        reply = call("get", R"({"uuid":")" + uuid + R"("})");
        EXPECT_EQ(2097152u, reply["data"]["lun"]["size"].asUInt64());
        EXPECT_EQ(2097152u, fs::file_size(remoteDir + "/far/@iscsi/" + uuid + ".img"));
        // The other volume given with it is an ordinary one, and /volume1 is still there.
        for (const std::string location : {"/volume3", "/volume1"}) {
            reply = call("create", R"({"name":"near)" + location.substr(1) +
                                       R"(","type":"THIN","location":")" + location + R"(","size":1048576})");
            ASSERT_TRUE(reply["success"].asBool()) << location << reply.toStyledString();
            reply = call("set", R"({"uuid":")" + reply["data"]["uuid"].asString() +
                                    R"(","new_name":"renamed-)" + location.substr(1) + R"("})");
            EXPECT_TRUE(reply["success"].asBool()) << location << reply.toStyledString();
        }
        EXPECT_TRUE(fs::exists(remoteDir + "/local/@iscsi"));
        reply = call("delete", R"({"uuid":")" + uuid + R"("})");
        EXPECT_TRUE(reply["success"].asBool());
    }
    std::error_code ec;
    fs::remove_all(remoteDir, ec);
}

} // namespace
