// What the storage library's tests share: a fixture over a temporary directory, one that runs
// the library on temporary volumes and a data directory inside it, the LUN, image and job
// helpers they all use, file helpers for data and holes, and the root, loop device and btrfs
// checks of the tests that need them.
#pragma once

#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSISnapshotInfo.h>

#include "context/LibraryContext.h"

#include "jobs/JobRunner.h"

#include <gtest/gtest.h>

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace KovaStorageTest {

namespace fs = std::filesystem;
using ISCSI::ISCSILUNInfo;
using ISCSI::ISCSISnapshotInfo;
using ISCSI::LIB::LIBLUN::ISCSILIBLUN;
using ISCSI::Storage::LibraryContext;

// Codes of the library that the tests expect.
constexpr int kInvalidType = 18990500;
constexpr int kInvalidLocation = 18990501;
constexpr int kInvalidSize = 18990502;
constexpr int kNoSuchLUN = 18990505;
constexpr int kNoSuchSnapshot = 18990520;

constexpr unsigned long long kMiB = 1024ULL * 1024ULL;
constexpr long kExt4Magic = 0xEF53;
constexpr long kBtrfsMagic = 0x9123683E;

// The file system type (statfs magic) of the file system that holds path; 0 when unknown.
long FileSystemType(const std::string& path);

// Writes data at offset of path (which must exist) and syncs it; fails the test when it cannot.
void WriteAt(const std::string& path, off_t offset, const std::string& data);

// The whole content of path; empty when it cannot be read.
std::string ReadAll(const std::string& path);

// Up to length bytes of path from offset; empty when it cannot be read.
std::string ReadAt(const std::string& path, off_t offset, std::size_t length);

// The bytes the file system allocated for path, and its length; 0 when it does not exist.
unsigned long long Allocated(const std::string& path);
unsigned long long Length(const std::string& path);

// Whether loop devices can be attached: root and /dev/loop-control.
bool CanUseLoopDevices();

// A btrfs file system: the directory in KOVA_TEST_BTRFS_DIR, else (with acceptTmp) /tmp when it
// is on btrfs, else (as root, with btrfs-progs) a 256 MiB loop volume made under
// /tmp/<loopPrefix>-XXXXXX and unmounted and removed with this object.
class BtrfsVolume {
public:
    BtrfsVolume(const std::string& loopPrefix, bool acceptTmp);
    ~BtrfsVolume();
    BtrfsVolume(const BtrfsVolume&) = delete;
    BtrfsVolume& operator=(const BtrfsVolume&) = delete;

    std::string dir;    // empty when there is none
    std::string reason; // why there is none

private:
    std::string loopRoot_;
    std::string mounted_;
};

// A fixture with a new directory /tmp/kova-<name>-XXXXXX (its real path) in root_, removed
// with everything in it after the test.
class TempDirTest : public ::testing::Test {
protected:
    explicit TempDirTest(std::string name);
    void SetUp() override;
    void TearDown() override;

    std::string root_;

private:
    std::string name_;
};

// A fixture that runs the storage library over the data directory root_/data and the volumes
// /volume1, /volume2, ... at root_/<volumes[0]>, root_/<volumes[1]>, ... (as UseVolumes takes
// them), and resets it after the test.
class StorageLibraryTest : public TempDirTest {
protected:
    explicit StorageLibraryTest(std::string name, std::vector<std::string> volumes = {"vol1"});
    void SetUp() override;
    void TearDown() override;

    // Restarts the library over the data directory root_/<dataName> and the volumes /volume1,
    // /volume2, ... at dirs (made when missing); an entry may end in ",<options>" of the
    // volume list. vol1_, vol2_ and vol3_ are the first three directories.
    void UseVolumes(const std::vector<std::string>& dirs, const std::string& dataName = "data");

    // Creates a LUN on /volume1 (expecting success) and answers its uuid.
    std::string CreateLUN(const std::string& name, _tag_iscsi_lun_type type, unsigned long long size,
                          bool softIgnored = true);
    std::string CreateLUN(const std::string& name, unsigned long long size);

    // The image file of a LUN on /volume1, or in the volume directory volumeDir.
    std::string Image(const std::string& uuid) const;
    static std::string Image(const std::string& volumeDir, const std::string& uuid);

    // The newest job of kind on object; rc gets the code of the look-up.
    static ISCSI::Storage::JobRecord Latest(const std::string& kind, const std::string& object,
                                            int* rc = nullptr);
    // Waits for the newest job of kind on object to end and answers its final row.
    static ISCSI::Storage::JobRecord WaitFor(const std::string& kind, const std::string& object);

    std::string dataDir_;
    std::string vol1_;
    std::string vol2_;
    std::string vol3_;

private:
    std::vector<std::string> volumes_;
};

// StorageLibraryTest with the target engine off (KOVA_TGTD=off): targets are kept as stored
// configuration and no tgtd is started.
class StorageLibraryWithoutTgtdTest : public StorageLibraryTest {
protected:
    using StorageLibraryTest::StorageLibraryTest;
    void SetUp() override;
    void TearDown() override;
};

} // namespace KovaStorageTest
