#include "StorageTestSupport.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace KovaStorageTest {

using ISCSI::Storage::JobRecord;

long FileSystemType(const std::string& path)
{
    struct statfs st {};
    return statfs(path.c_str(), &st) == 0 ? static_cast<long>(st.f_type) : 0;
}

void WriteAt(const std::string& path, off_t offset, const std::string& data)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0) << path;
    ASSERT_EQ(static_cast<ssize_t>(data.size()), pwrite(fd, data.data(), data.size(), offset));
    ASSERT_EQ(0, fsync(fd));
    close(fd);
}

std::string ReadAll(const std::string& path)
{
    std::string data;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat st {};
    if (fd < 0 || fstat(fd, &st) != 0) {
        if (fd >= 0)
            close(fd);
        return data;
    }
    data.resize(static_cast<std::size_t>(st.st_size));
    std::size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = pread(fd, &data[done], data.size() - done, static_cast<off_t>(done));
        if (n <= 0)
            break;
        done += static_cast<std::size_t>(n);
    }
    data.resize(done);
    close(fd);
    return data;
}

std::string ReadAt(const std::string& path, off_t offset, std::size_t length)
{
    std::string data(length, '\0');
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::string();
    const ssize_t n = pread(fd, &data[0], length, offset);
    close(fd);
    data.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    return data;
}

unsigned long long Allocated(const std::string& path)
{
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? static_cast<unsigned long long>(st.st_blocks) * 512ULL : 0;
}

unsigned long long Length(const std::string& path)
{
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? static_cast<unsigned long long>(st.st_size) : 0;
}

bool CanUseLoopDevices()
{
    return geteuid() == 0 && ::access("/dev/loop-control", R_OK | W_OK) == 0;
}

namespace {

void Run(const std::string& command)
{
    if (std::system(command.c_str()) != 0)
        std::fprintf(stderr, "failed: %s\n", command.c_str());
}

} // namespace

BtrfsVolume::BtrfsVolume(const std::string& loopPrefix, bool acceptTmp)
{
    const char* env = std::getenv("KOVA_TEST_BTRFS_DIR");
    if (env && *env && FileSystemType(env) == kBtrfsMagic) {
        dir = env;
        return;
    }
    if (acceptTmp && FileSystemType("/tmp") == kBtrfsMagic) {
        dir = "/tmp";
        return;
    }
    if (geteuid() != 0) {
        reason = "no btrfs file system and no root to make a loop volume (or set KOVA_TEST_BTRFS_DIR)";
        return;
    }
    std::string pattern = "/tmp/" + loopPrefix + "-XXXXXX";
    if (!mkdtemp(&pattern[0])) {
        reason = "cannot make a temporary directory";
        return;
    }
    loopRoot_ = pattern;
    const std::string image = loopRoot_ + "/volume.img";
    const std::string mountPoint = loopRoot_ + "/mnt";
    const std::string make = "truncate -s 256M '" + image + "' && mkfs.btrfs -q -f '" + image +
                             "' >/dev/null 2>&1 && mkdir -p '" + mountPoint + "' && mount -o loop '" + image +
                             "' '" + mountPoint + "' 2>/dev/null";
    if (std::system(make.c_str()) != 0 || FileSystemType(mountPoint) != kBtrfsMagic) {
        reason = "cannot make a btrfs loop volume (btrfs-progs, loop devices and mount are needed)";
        return;
    }
    mounted_ = mountPoint;
    dir = mountPoint;
}

BtrfsVolume::~BtrfsVolume()
{
    if (!mounted_.empty())
        Run("umount '" + mounted_ + "' || umount -l '" + mounted_ + "'");
    if (!loopRoot_.empty())
        Run("rm -rf '" + loopRoot_ + "'");
}

TempDirTest::TempDirTest(std::string name) : name_(std::move(name)) {}

void TempDirTest::SetUp()
{
    std::string pattern = "/tmp/kova-" + name_ + "-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(&pattern[0]));
    // The real path: /tmp may itself be a link on some hosts.
    root_ = fs::canonical(pattern).string();
}

void TempDirTest::TearDown()
{
    std::error_code ec;
    if (!root_.empty())
        fs::remove_all(root_, ec);
}

StorageLibraryTest::StorageLibraryTest(std::string name, std::vector<std::string> volumes)
    : TempDirTest(std::move(name)), volumes_(std::move(volumes))
{}

void StorageLibraryTest::SetUp()
{
    TempDirTest::SetUp();
    if (HasFatalFailure())
        return;
    std::vector<std::string> dirs;
    for (const std::string& volume : volumes_)
        dirs.push_back(root_ + "/" + volume);
    UseVolumes(dirs);
}

void StorageLibraryTest::TearDown()
{
    LibraryContext::Reset();
    unsetenv("KOVA_DATA_DIR");
    unsetenv("KOVA_VOLUMES");
    TempDirTest::TearDown();
}

void StorageLibraryTest::UseVolumes(const std::vector<std::string>& dirs, const std::string& dataName)
{
    dataDir_ = root_ + "/" + dataName;
    std::string list;
    std::vector<std::string> plain;
    for (std::size_t i = 0; i < dirs.size(); ++i) {
        const std::string dir = dirs[i].substr(0, dirs[i].find(','));
        fs::create_directories(dir);
        plain.push_back(dir);
        list += (i ? ";/volume" : "/volume") + std::to_string(i + 1) + "=" + dirs[i];
    }
    plain.resize(3);
    vol1_ = plain[0];
    vol2_ = plain[1];
    vol3_ = plain[2];
    setenv("KOVA_DATA_DIR", dataDir_.c_str(), 1);
    setenv("KOVA_VOLUMES", list.c_str(), 1);
    LibraryContext::Reset();
}

void StorageLibraryWithoutTgtdTest::SetUp()
{
    setenv("KOVA_TGTD", "off", 1);
    StorageLibraryTest::SetUp();
}

void StorageLibraryWithoutTgtdTest::TearDown()
{
    StorageLibraryTest::TearDown();
    unsetenv("KOVA_TGTD");
}

std::string StorageLibraryTest::CreateLUN(const std::string& name, _tag_iscsi_lun_type type,
                                          unsigned long long size, bool softIgnored)
{
    ISCSILIBLUN lun(name, type, "/volume1", size, 8192, 0, 0, "", softIgnored);
    EXPECT_EQ(0, lun.createLUN("", ""));
    return lun.uuid;
}

std::string StorageLibraryTest::CreateLUN(const std::string& name, unsigned long long size)
{
    return CreateLUN(name, ISCSI_LUN_TYPE_THIN, size);
}

std::string StorageLibraryTest::Image(const std::string& uuid) const
{
    return Image(vol1_, uuid);
}

std::string StorageLibraryTest::Image(const std::string& volumeDir, const std::string& uuid)
{
    return volumeDir + "/@iscsi/" + uuid + ".img";
}

JobRecord StorageLibraryTest::Latest(const std::string& kind, const std::string& object, int* rc)
{
    JobRecord job;
    const int result = LibraryContext::With(
        [&](LibraryContext& ctx) -> int { return ISCSI::Storage::LatestJob(ctx.db(), kind, object, job); });
    if (rc)
        *rc = result;
    return job;
}

JobRecord StorageLibraryTest::WaitFor(const std::string& kind, const std::string& object)
{
    JobRecord job = Latest(kind, object);
    ISCSI::Storage::WaitJob(job.uuid);
    LibraryContext::With(
        [&](LibraryContext& ctx) -> int { return ISCSI::Storage::FindJob(ctx.db(), job.uuid, job); });
    return job;
}

} // namespace KovaStorageTest
