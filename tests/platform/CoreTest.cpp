// The appliance core functions and the map of the system root and volumes, on temporary
// directories.
#include <kova/Core.h>
#include <kova/SystemRoot.h>

#include <gtest/gtest.h>

#include <linux/magic.h>
#include <sys/statfs.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

class CoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        savedRoot_ = KOVA::SystemRoot::Root();
        savedVolumes_ = KOVA::SystemRoot::Volumes();
        KOVA::SystemRoot::ClearVolumes();
        std::string pattern = (fs::temp_directory_path() / "kova-core-XXXXXX").string();
        ASSERT_NE(nullptr, mkdtemp(pattern.data()));
        dir_ = pattern;
        KOVA::SystemRoot::SetRoot(dir_);
    }

    void TearDown() override
    {
        KOVA::SystemRoot::SetRoot(savedRoot_);
        KOVA::SystemRoot::ClearVolumes();
        for (const auto& [volume, dir] : savedVolumes_) {
            KOVA::SystemRoot::SetVolume(volume, dir);
        }
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }

    // Writes text to the file at path under the temporary directory, making directories.
    std::string Write(const std::string& path, const std::string& text)
    {
        const fs::path full = fs::path(dir_) / fs::path(path).relative_path();
        fs::create_directories(full.parent_path());
        std::ofstream(full) << text;
        return full.string();
    }

    static std::string Read(const std::string& path)
    {
        std::ifstream in(path);
        std::string line;
        std::getline(in, line);
        return line;
    }

    // What the file system type of path is by statfs: 3 btrfs, 1 ext2/3/4, 2 another.
    static int ExpectedFsType(const std::string& path)
    {
        struct statfs info;
        if (statfs(path.c_str(), &info) != 0) {
            return -1;
        }
        const auto magic = static_cast<std::uint32_t>(info.f_type);
        if (magic == static_cast<std::uint32_t>(BTRFS_SUPER_MAGIC)) {
            return 3;
        }
        if (magic == static_cast<std::uint32_t>(EXT4_SUPER_MAGIC)) {
            return 1;
        }
        return 2;
    }

    static std::string Serial()
    {
        char buffer[64] = "unchanged";
        EXPECT_EQ(0, KLIBGetSerialNumber(buffer, sizeof buffer));
        return buffer;
    }

    std::string dir_;

private:
    std::string savedRoot_;
    std::map<std::string, std::string> savedVolumes_;
};

const char kInfo[] = "/etc.defaults/kovainfo.conf";

const char kInfoText[] = "# appliance settings\n"
                         "support_iscsi_btrfs_lun=\"yes\"\n"
                         "\n"
                         "   \n"
                         "#hidden=1\n"
                         "  # indented=2\n"
                         "serial=KV0001\n"
                         "  spaced  =  two words  \n"
                         "empty=\n"
                         "quoted_empty=\"\"\n"
                         "half_quoted=\"abc\n"
                         "dup=first\n"
                         "dup=second\n"
                         "no equal sign here\n"
                         "url=http://host/?a=b\n";

// --- KLIBCFileGetKeyValue -------------------------------------------------------------------

TEST_F(CoreTest, KeyValueFoundUnderTheRoot)
{
    Write(kInfo, kInfoText);
    char buffer[64];
    EXPECT_EQ(6, KLIBCFileGetKeyValue(kInfo, "serial", buffer, sizeof buffer, 0));
    EXPECT_STREQ("KV0001", buffer);
    EXPECT_EQ(9, KLIBCFileGetKeyValue(kInfo, "spaced", buffer, sizeof buffer, 0));
    EXPECT_STREQ("two words", buffer);
    // The first '=' splits key and value; later ones belong to the value.
    EXPECT_EQ(16, KLIBCFileGetKeyValue(kInfo, "url", buffer, sizeof buffer, 0));
    EXPECT_STREQ("http://host/?a=b", buffer);
    // The first of two lines with one key counts.
    EXPECT_EQ(5, KLIBCFileGetKeyValue(kInfo, "dup", buffer, sizeof buffer, 0));
    EXPECT_STREQ("first", buffer);
}

TEST_F(CoreTest, KeyValueQuotesAreStripped)
{
    Write(kInfo, kInfoText);
    char buffer[8];
    EXPECT_EQ(3, KLIBCFileGetKeyValue(kInfo, "support_iscsi_btrfs_lun", buffer, sizeof buffer, 0));
    EXPECT_STREQ("yes", buffer);
    EXPECT_EQ(0, KLIBCFileGetKeyValue(kInfo, "quoted_empty", buffer, sizeof buffer, 0));
    EXPECT_STREQ("", buffer);
    // A quote without its mate stays.
    EXPECT_EQ(4, KLIBCFileGetKeyValue(kInfo, "half_quoted", buffer, sizeof buffer, 0));
    EXPECT_STREQ("\"abc", buffer);
}

TEST_F(CoreTest, KeyValueIsTruncatedToTheBuffer)
{
    Write(kInfo, kInfoText);
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(3, KLIBCFileGetKeyValue(kInfo, "serial", buffer, sizeof buffer, 0));
    EXPECT_STREQ("KV0", buffer);
    char one[1] = {'x'};
    EXPECT_EQ(0, KLIBCFileGetKeyValue(kInfo, "serial", one, sizeof one, 0));
    EXPECT_EQ('\0', one[0]);
}

TEST_F(CoreTest, KeyValueMissingKeyAnswersZero)
{
    Write(kInfo, kInfoText);
    char buffer[16] = "stale";
    EXPECT_EQ(0, KLIBCFileGetKeyValue(kInfo, "no_such_key", buffer, sizeof buffer, 0));
    EXPECT_STREQ("", buffer);
    // Comment lines are not settings.
    EXPECT_EQ(0, KLIBCFileGetKeyValue(kInfo, "hidden", buffer, sizeof buffer, 0));
    EXPECT_EQ(0, KLIBCFileGetKeyValue(kInfo, "#hidden", buffer, sizeof buffer, 0));
    EXPECT_EQ(0, KLIBCFileGetKeyValue(kInfo, "indented", buffer, sizeof buffer, 0));
    // A key is matched whole.
    EXPECT_EQ(0, KLIBCFileGetKeyValue(kInfo, "seria", buffer, sizeof buffer, 0));
    // A key with an empty value is there, with no bytes.
    EXPECT_EQ(0, KLIBCFileGetKeyValue(kInfo, "empty", buffer, sizeof buffer, 0));
    EXPECT_STREQ("", buffer);
}

TEST_F(CoreTest, KeyValueMissingFileOrBadArgumentsAnswerMinusOne)
{
    char buffer[16];
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(kInfo, "serial", buffer, sizeof buffer, 0));
    Write(kInfo, kInfoText);
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(nullptr, "serial", buffer, sizeof buffer, 0));
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(kInfo, nullptr, buffer, sizeof buffer, 0));
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(kInfo, "", buffer, sizeof buffer, 0));
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(kInfo, "serial", nullptr, 16, 0));
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(kInfo, "serial", buffer, 0, 0));
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(kInfo, "serial", buffer, -5, 0));
}

TEST_F(CoreTest, KeyValueFileResolvesUnderTheRootOnly)
{
    // The same file under another root is not seen.
    Write(kInfo, kInfoText);
    KOVA::SystemRoot::SetRoot(dir_ + "/elsewhere");
    char buffer[16];
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(kInfo, "serial", buffer, sizeof buffer, 0));
    // ".." does not climb out of the root.
    KOVA::SystemRoot::SetRoot(dir_);
    EXPECT_EQ(6,
              KLIBCFileGetKeyValue("/../../etc.defaults/kovainfo.conf", "serial", buffer, sizeof buffer, 0));
}

// --- KOVAFSTypeGetFromDisk ------------------------------------------------------------------

TEST_F(CoreTest, FsTypeOfADirectoryIsWhatStatfsSays)
{
    const int expected = ExpectedFsType(dir_);
    ASSERT_NE(-1, expected);
    EXPECT_EQ(expected, KOVAFSTypeGetFromDisk(dir_.c_str()));
}

TEST_F(CoreTest, FsTypeOfAVolumeResolvesThroughItsDirectory)
{
    const std::string volumeDir = dir_ + "/vol1";
    fs::create_directories(volumeDir + "/sub");
    ASSERT_TRUE(KOVA::SystemRoot::SetVolume("/volume1", volumeDir));
    const int expected = ExpectedFsType(volumeDir);
    EXPECT_EQ(expected, KOVAFSTypeGetFromDisk("/volume1"));
    EXPECT_EQ(expected, KOVAFSTypeGetFromDisk("/volume1/"));
    EXPECT_EQ(expected, KOVAFSTypeGetFromDisk("/volume1/sub"));
    // A path below the volume that does not exist fails.
    EXPECT_EQ(-1, KOVAFSTypeGetFromDisk("/volume1/missing"));
}

TEST_F(CoreTest, FsTypeFailures)
{
    EXPECT_EQ(-1, KOVAFSTypeGetFromDisk(nullptr));
    EXPECT_EQ(-1, KOVAFSTypeGetFromDisk(""));
    EXPECT_EQ(-1, KOVAFSTypeGetFromDisk((dir_ + "/does/not/exist").c_str()));
    // A volume that was once mapped and then removed is no longer resolved.
    ASSERT_TRUE(KOVA::SystemRoot::SetVolume("/volume424242", dir_));
    EXPECT_NE(-1, KOVAFSTypeGetFromDisk("/volume424242"));
    ASSERT_TRUE(KOVA::SystemRoot::SetVolume("/volume424242", ""));
    EXPECT_EQ(-1, KOVAFSTypeGetFromDisk("/volume424242"));
}

// --- KOVANetGetAddrType ---------------------------------------------------------------------

TEST_F(CoreTest, AddressTypes)
{
    EXPECT_EQ(2, KOVANetGetAddrType("1.2.3.4"));
    EXPECT_EQ(2, KOVANetGetAddrType("255.255.255.255"));
    EXPECT_EQ(10, KOVANetGetAddrType("::1"));
    EXPECT_EQ(10, KOVANetGetAddrType("fe80::1"));
    EXPECT_EQ(10, KOVANetGetAddrType("2001:db8::8a2e:370:7334"));
    EXPECT_EQ(10, KOVANetGetAddrType("::ffff:1.2.3.4"));
    EXPECT_EQ(-1, KOVANetGetAddrType(""));
    EXPECT_EQ(-1, KOVANetGetAddrType("1.2.3"));
    EXPECT_EQ(-1, KOVANetGetAddrType("1.2.3.256"));
    EXPECT_EQ(-1, KOVANetGetAddrType("abc"));
    EXPECT_EQ(-1, KOVANetGetAddrType("host.example"));
    EXPECT_EQ(-1, KOVANetGetAddrType(" 1.2.3.4"));
    EXPECT_EQ(-1, KOVANetGetAddrType("1.2.3.4/24"));
    EXPECT_EQ(-1, KOVANetGetAddrType(nullptr));
}

// --- KLIBGetSerialNumber --------------------------------------------------------------------

TEST_F(CoreTest, SerialOfTheInfoFileWins)
{
    Write(kInfo, "serial=\"1930PDN000042\"\n");
    Write("/etc/kova/serial", "STORED\n");
    EXPECT_EQ("1930PDN000042", Serial());
}

TEST_F(CoreTest, SerialIsMadeOnceAndStored)
{
    const std::string first = Serial();
    EXPECT_EQ(16u, first.size());
    EXPECT_EQ(0u, first.rfind("KOVA", 0));
    EXPECT_EQ(first, Read(dir_ + "/etc/kova/serial"));
    EXPECT_EQ(first, Serial());
    // An info file without the key leaves the stored serial in force.
    Write(kInfo, "other=1\n");
    EXPECT_EQ(first, Serial());
}

TEST_F(CoreTest, StoredSerialIsUsed)
{
    Write("/etc/kova/serial", "KOVA0123456789AB\n");
    EXPECT_EQ("KOVA0123456789AB", Serial());
}

TEST_F(CoreTest, SerialOfTheMachineIdIsTheSameWhenMadeAgain)
{
    Write("/etc/machine-id", "0123456789abcdef0123456789abcdef\n");
    const std::string first = Serial();
    fs::remove(dir_ + "/etc/kova/serial");
    EXPECT_EQ(first, Serial());
    // Another machine gets another serial.
    fs::remove(dir_ + "/etc/kova/serial");
    Write("/etc/machine-id", "fedcba9876543210fedcba9876543210\n");
    EXPECT_NE(first, Serial());
}

TEST_F(CoreTest, SerialsOfTwoRootsWithoutMachineIdDiffer)
{
    const std::string first = Serial();
    const std::string other = dir_ + "/other-root";
    fs::create_directories(other);
    KOVA::SystemRoot::SetRoot(other);
    const std::string second = Serial();
    EXPECT_NE(first, second);
    EXPECT_EQ(second, Read(other + "/etc/kova/serial"));
}

TEST_F(CoreTest, SerialFailures)
{
    char small[8];
    EXPECT_EQ(-1, KLIBGetSerialNumber(nullptr, 64));
    EXPECT_EQ(-1, KLIBGetSerialNumber(small, 0));
    // Too small for the 16 characters and the end mark.
    EXPECT_EQ(-1, KLIBGetSerialNumber(small, sizeof small));
    char exact[17];
    EXPECT_EQ(0, KLIBGetSerialNumber(exact, sizeof exact));
    EXPECT_EQ(16u, std::string(exact).size());
}

TEST_F(CoreTest, SerialFailsWhenItCannotBeStored)
{
    // A file where the directory of the serial should be.
    Write("/etc/kova", "not a directory\n");
    char buffer[64];
    EXPECT_EQ(-1, KLIBGetSerialNumber(buffer, sizeof buffer));
    EXPECT_STREQ("", buffer);
}

TEST_F(CoreTest, SerialIsOneAcrossThreads)
{
    std::vector<std::string> serials(8);
    std::vector<std::thread> threads;
    for (auto& serial : serials) {
        threads.emplace_back([&serial] {
            char buffer[64];
            if (KLIBGetSerialNumber(buffer, sizeof buffer) == 0) {
                serial = buffer;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto& serial : serials) {
        EXPECT_EQ(serials[0], serial);
    }
    EXPECT_EQ(serials[0], Read(dir_ + "/etc/kova/serial"));
}

// --- KOVA::SystemRoot -----------------------------------------------------------------------

TEST_F(CoreTest, RootDefaultsAndNormalForm)
{
    KOVA::SystemRoot::SetRoot("");
    EXPECT_EQ("/", KOVA::SystemRoot::Root());
    EXPECT_EQ("/etc.defaults/kovainfo.conf", KOVA::SystemRoot::ResolveFile(kInfo));
    KOVA::SystemRoot::SetRoot("/srv/appliance//");
    EXPECT_EQ("/srv/appliance", KOVA::SystemRoot::Root());
    EXPECT_EQ("/srv/appliance/etc.defaults/kovainfo.conf", KOVA::SystemRoot::ResolveFile(kInfo));
    EXPECT_EQ("/srv/appliance/etc/x", KOVA::SystemRoot::ResolveFile("//etc/./y/../x"));
    EXPECT_EQ("/srv/appliance/etc", KOVA::SystemRoot::ResolveFile("/../../etc"));
    EXPECT_EQ("relative/file", KOVA::SystemRoot::ResolveFile("relative/file"));
}

TEST_F(CoreTest, VolumePathsMapToTheirDirectories)
{
    ASSERT_TRUE(KOVA::SystemRoot::SetVolume("/volume1", "/data/v1/"));
    ASSERT_TRUE(KOVA::SystemRoot::SetVolume("/volume2/", "/data/v2"));
    EXPECT_EQ("/data/v1", KOVA::SystemRoot::ResolveVolumePath("/volume1"));
    EXPECT_EQ("/data/v1", KOVA::SystemRoot::ResolveVolumePath("/volume1/"));
    EXPECT_EQ("/data/v1/a/b", KOVA::SystemRoot::ResolveVolumePath("/volume1/a//b"));
    EXPECT_EQ("/data/v2/lun", KOVA::SystemRoot::ResolveVolumePath("/volume2/lun"));
    // ".." stays inside the volume's directory.
    EXPECT_EQ("/data/v1", KOVA::SystemRoot::ResolveVolumePath("/volume1/a/../.."));
    EXPECT_EQ("/data/v1/etc", KOVA::SystemRoot::ResolveVolumePath("/volume1/../etc"));
    EXPECT_EQ("/data/v1/x", KOVA::SystemRoot::ResolveVolumePath("/./volume1/./x"));
    // A path that only passes through a volume's name is not on that volume.
    EXPECT_EQ("/x/../volume1", KOVA::SystemRoot::ResolveVolumePath("/x/../volume1"));
    // A component is matched whole; unmapped paths are answered unchanged.
    EXPECT_EQ("/volume10/x", KOVA::SystemRoot::ResolveVolumePath("/volume10/x"));
    EXPECT_EQ("/volume3", KOVA::SystemRoot::ResolveVolumePath("/volume3"));
    EXPECT_EQ("volume1", KOVA::SystemRoot::ResolveVolumePath("volume1"));
    EXPECT_EQ("", KOVA::SystemRoot::ResolveVolumePath(""));
    // Appliance files on a volume are the volume's, not the root's.
    EXPECT_EQ("/data/v2/@iscsi/conf", KOVA::SystemRoot::ResolveFile("/volume2/@iscsi/conf"));
    EXPECT_EQ(2u, KOVA::SystemRoot::Volumes().size());
}

TEST_F(CoreTest, BadVolumeNamesAreRefused)
{
    EXPECT_FALSE(KOVA::SystemRoot::SetVolume("", "/data"));
    EXPECT_FALSE(KOVA::SystemRoot::SetVolume("volume1", "/data"));
    EXPECT_FALSE(KOVA::SystemRoot::SetVolume("/", "/data"));
    EXPECT_FALSE(KOVA::SystemRoot::SetVolume("/volume1/sub", "/data"));
    EXPECT_FALSE(KOVA::SystemRoot::SetVolume("/x/../volume1", "/data"));
    EXPECT_TRUE(KOVA::SystemRoot::Volumes().empty());
}

TEST_F(CoreTest, MapIsSafeAcrossThreads)
{
    std::atomic<bool> wrong{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &wrong] {
            const std::string volume = "/volume" + std::to_string(t + 1);
            const std::string dir = "/data/v" + std::to_string(t + 1);
            for (int i = 0; i < 500; ++i) {
                KOVA::SystemRoot::SetVolume(volume, dir);
                if (KOVA::SystemRoot::ResolveVolumePath(volume + "/f") != dir + "/f") {
                    wrong = true;
                }
                KOVA::SystemRoot::SetVolume(volume, "");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(wrong);
    EXPECT_TRUE(KOVA::SystemRoot::Volumes().empty());
}

} // namespace
