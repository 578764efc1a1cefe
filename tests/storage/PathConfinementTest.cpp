// Confining caller paths to the volumes: location and host forms, and the ways out that are
// refused (lexical "..", symbolic links to /etc or to another volume, paths outside every
// volume, empty and relative paths).
#include <iscsi/ISCSIErrors.h>

#include "StorageTestSupport.h"
#include "volume/Volumes.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;
using ISCSI::Storage::ParseVolumeList;
using ISCSI::Storage::ResolveInsideVolume;
using KovaStorageTest::TempDirTest;

class PathConfinementTest : public TempDirTest {
protected:
    PathConfinementTest() : TempDirTest("paths") {}

    void SetUp() override
    {
        TempDirTest::SetUp();
        if (HasFatalFailure())
            return;
        vol1_ = root_ + "/vol1";
        vol2_ = root_ + "/vol2";
        fs::create_directories(vol1_ + "/exports/a");
        fs::create_directories(vol2_ + "/other");
        std::ofstream(vol1_ + "/exports/a/disk.img") << "data";
        volumes_ = {{"/volume1", vol1_}, {"/volume2", vol2_}};
    }

    int Resolve(const std::string& path, std::string& out) const
    {
        return ResolveInsideVolume(volumes_, path, out);
    }
    int Resolve(const std::string& path) const
    {
        std::string out = "untouched";
        const int rc = ResolveInsideVolume(volumes_, path, out);
        if (rc != 0) {
            EXPECT_EQ("untouched", out) << path;
        }
        return rc;
    }

    std::string vol1_, vol2_;
    std::map<std::string, std::string> volumes_;
};

TEST_F(PathConfinementTest, LocationFormResolvesIntoTheVolume)
{
    std::string out;
    ASSERT_EQ(0, Resolve("/volume1/exports/a/disk.img", out));
    EXPECT_EQ(vol1_ + "/exports/a/disk.img", out);
    ASSERT_EQ(0, Resolve("/volume1", out));
    EXPECT_EQ(vol1_, out);
    ASSERT_EQ(0, Resolve("/volume2/other/", out));
    EXPECT_EQ(vol2_ + "/other", out);
    // "." and doubled slashes fold away.
    ASSERT_EQ(0, Resolve("/volume1//./exports/./a", out));
    EXPECT_EQ(vol1_ + "/exports/a", out);
}

TEST_F(PathConfinementTest, HostFormResolvesIntoTheVolume)
{
    std::string out;
    ASSERT_EQ(0, Resolve(vol1_ + "/exports/a/disk.img", out));
    EXPECT_EQ(vol1_ + "/exports/a/disk.img", out);
    ASSERT_EQ(0, Resolve(vol2_, out));
    EXPECT_EQ(vol2_, out);
}

TEST_F(PathConfinementTest, PartsThatDoNotExistYetAreKept)
{
    std::string out;
    ASSERT_EQ(0, Resolve("/volume1/exports/new/deeper", out));
    EXPECT_EQ(vol1_ + "/exports/new/deeper", out);
}

TEST_F(PathConfinementTest, EmptyAndRelativePathsAreRefused)
{
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_NOT_ABSOLUTE, Resolve(""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_NOT_ABSOLUTE, Resolve("volume1/exports"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_NOT_ABSOLUTE, Resolve("./x"));
}

TEST_F(PathConfinementTest, DotDotIsRefusedEvenWhenItWouldStayInside)
{
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_DOT_DOT, Resolve("/volume1/../etc/passwd"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_DOT_DOT, Resolve("/volume1/exports/../exports/a"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_DOT_DOT, Resolve(vol1_ + "/../vol2/other"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_DOT_DOT, Resolve("/volume1/exports/a/.."));
}

TEST_F(PathConfinementTest, PathsOutsideEveryVolumeAreRefused)
{
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES, Resolve("/etc/passwd"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES, Resolve("/volume9/x"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES, Resolve("/"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES, Resolve(root_));
    // A directory whose name only begins like a volume's is not in it.
    fs::create_directories(vol1_ + "x");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES, Resolve(vol1_ + "x"));
}

TEST_F(PathConfinementTest, SymbolicLinkToEtcIsRefused)
{
    fs::create_symlink("/etc", vol1_ + "/etc-link");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, Resolve("/volume1/etc-link/passwd"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, Resolve("/volume1/etc-link"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, Resolve(vol1_ + "/etc-link/new-file"));
    fs::create_symlink("/etc/passwd", vol1_ + "/passwd-link");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, Resolve("/volume1/passwd-link"));
}

TEST_F(PathConfinementTest, SymbolicLinkToAnotherVolumeIsRefused)
{
    fs::create_symlink(vol2_ + "/other", vol1_ + "/to-vol2");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, Resolve("/volume1/to-vol2"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, Resolve("/volume1/to-vol2/x"));
    // A relative link that climbs out.
    fs::create_symlink("../vol2", vol1_ + "/exports/up");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, Resolve("/volume1/exports/up"));
}

TEST_F(PathConfinementTest, DanglingSymbolicLinkIsRefused)
{
    fs::create_symlink("/nonexistent-kova-target/file", vol1_ + "/dangling");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, Resolve("/volume1/dangling"));
}

TEST_F(PathConfinementTest, SymbolicLinkInsideTheSameVolumeIsFollowed)
{
    fs::create_symlink("exports/a", vol1_ + "/shortcut");
    std::string out;
    ASSERT_EQ(0, Resolve("/volume1/shortcut/disk.img", out));
    EXPECT_EQ(vol1_ + "/exports/a/disk.img", out);
}

TEST_F(PathConfinementTest, VolumeDirectoryBehindALinkStillConfines)
{
    // The volume's directory itself is reached through a link: the real paths are compared.
    fs::create_symlink(vol1_, root_ + "/vol1-link");
    const std::map<std::string, std::string> linked = {{"/volume1", root_ + "/vol1-link"}};
    std::string out;
    ASSERT_EQ(0, ResolveInsideVolume(linked, "/volume1/exports/a", out));
    EXPECT_EQ(vol1_ + "/exports/a", out);
    ASSERT_EQ(0, ResolveInsideVolume(linked, root_ + "/vol1-link/exports", out));
    EXPECT_EQ(vol1_ + "/exports", out);
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES, ResolveInsideVolume(linked, vol2_ + "/other", out));
}

TEST(VolumeListTest, RemoteDiskOptionAndErrors)
{
    std::map<std::string, std::string> volumes;
    std::set<std::string> remote;
    std::string error;
    ASSERT_TRUE(ParseVolumeList("/volume1=/a;/volume2=/b/,remote-disk;", volumes, remote, error)) << error;
    EXPECT_EQ((std::map<std::string, std::string>{{"/volume1", "/a"}, {"/volume2", "/b"}}), volumes);
    EXPECT_EQ(std::set<std::string>{"/volume2"}, remote);
    EXPECT_FALSE(ParseVolumeList("/volume1=/a,fast", volumes, remote, error));
    EXPECT_NE(std::string::npos, error.find("fast"));
    EXPECT_FALSE(ParseVolumeList("/volume1=/a;/volume1=/b", volumes, remote, error));
    EXPECT_FALSE(ParseVolumeList("/volume1=relative", volumes, remote, error));
    // A failed parse leaves the outputs as they were.
    EXPECT_EQ(std::set<std::string>{"/volume2"}, remote);
    EXPECT_EQ(2u, volumes.size());
}

} // namespace
