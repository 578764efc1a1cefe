// The conversion of the LUN files of a volume into one btrfs subvolume each, so that a LUN's
// data can be snapshotted, sent and removed as a subvolume.
//
// A conversion is one row of subvol_conversions and one job of the job runner (kind
// "subvol_convert", object: the volume location). The job converts one LUN at a time, each
// under the library lock:
//
//   1. the conversion's row records the LUN as in flight (current_lun);
//   2. the subvolume "@iscsi/<uuid>.subvol" is created and the LUN file reflinked into it
//      (copied, holes kept, where a reflink is refused), synced, and the file system synced;
//   3. one transaction points the LUN's row at the new file, counts the LUN done and clears
//      current_lun;
//   4. the old file "@iscsi/<uuid>.img" is removed.
//
// So a LUN is wholly in its old place (the row names the old file, which is untouched) or
// wholly in its subvolume (the row names the new file), and the database says which. A
// process that dies in step 2 leaves a subvolume that no row names: start-up removes it (roll
// back). One that dies after step 3 leaves the old file: start-up removes it (finish). The job
// itself is then "interrupted"; a new conversion of the volume converts the LUNs that remain.
#include "node/SubvolConversion.h"

#include "clone/CopyEngine.h"
#include "config/Schema.h"
#include "context/StartupHooks.h"
#include "jobs/JobRunner.h"
#include "log/ServiceLog.h"
#include "lun/LUNDevices.h"
#include "lun/LUNStore.h"
#include "target/TargetEngine.h"
#include "target/TargetStore.h"
#include "util/Fd.h"

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBNode.h>

#include <fcntl.h>
#include <linux/btrfs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <utility>
#include <vector>

namespace ISCSI {
namespace Storage {
namespace {

namespace fs = std::filesystem;

constexpr char kSubvolSuffix[] = ".subvol";
// The answer of a feasibility check that found hard reasons against the conversion.
constexpr int kFeasibilityHard = 18990335;
// The inode number of the root directory of every btrfs subvolume.
constexpr ino_t kSubvolRootInode = 256;
// The space counted for the metadata of each new subvolume and its file.
constexpr unsigned long long kSubvolReserve = 1024ULL * 1024ULL;

bool EndsWith(const std::string& text, const std::string& suffix)
{
    return text.size() > suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string SubvolName(const std::string& uuid)
{
    return uuid + kSubvolSuffix;
}

void SyncPath(const std::string& path)
{
    Fd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.valid())
        ::fsync(fd.get());
}

bool IsSubvolume(const std::string& path)
{
    struct stat st {};
    struct statfs sfs {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_ino == kSubvolRootInode &&
           ::statfs(path.c_str(), &sfs) == 0 && static_cast<unsigned long>(sfs.f_type) == BTRFS_SUPER_MAGIC;
}

bool CreateSubvolume(const std::string& parent, const std::string& name)
{
    Fd fd(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.valid())
        return false;
    struct btrfs_ioctl_vol_args args {};
    if (name.size() > BTRFS_PATH_NAME_MAX) {
        errno = ENAMETOOLONG;
        return false;
    }
    name.copy(args.name, BTRFS_PATH_NAME_MAX);
    return ::ioctl(fd.get(), BTRFS_IOC_SUBVOL_CREATE, &args) == 0;
}

// Removes parent/name with what it holds: a subvolume by the file system's destroy call (its
// content goes with it; that needs root), else (a plain directory, or without the right to
// destroy) its content and then the directory itself (an empty subvolume can be removed by
// rmdir).
bool DestroySubvolume(const std::string& parent, const std::string& name)
{
    const std::string path = parent + "/" + name;
    std::error_code ec;
    if (!fs::exists(fs::symlink_status(path, ec)))
        return true;
    if (IsSubvolume(path)) {
        Fd fd(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        struct btrfs_ioctl_vol_args args {};
        name.copy(args.name, BTRFS_PATH_NAME_MAX);
        if (fd.valid() && ::ioctl(fd.get(), BTRFS_IOC_SNAP_DESTROY, &args) == 0)
            return true;
    }
    fs::remove_all(path, ec);
    return !ec;
}

// The location of a volume given as its location ("/volume1") or as its directory; empty
// when rootPath names no configured volume.
std::string VolumeOfRoot(const LibraryContext& ctx, const std::string& rootPath)
{
    std::string root = rootPath;
    while (root.size() > 1 && root.back() == '/')
        root.pop_back();
    if (!ctx.volumeDir(root).empty())
        return root;
    std::error_code ec;
    const fs::path real = fs::weakly_canonical(root, ec);
    for (const auto& volume : ctx.volumes()) {
        std::error_code other;
        if (!ec && fs::weakly_canonical(volume.second, other) == real && !other)
            return volume.first;
    }
    return std::string();
}

std::string FileSystemName(unsigned long type)
{
    switch (type) {
    case EXT4_SUPER_MAGIC:
        return "ext2/ext3/ext4";
    case XFS_SUPER_MAGIC:
        return "xfs";
    case TMPFS_MAGIC:
        return "tmpfs";
    case OVERLAYFS_SUPER_MAGIC:
        return "overlayfs";
    case NFS_SUPER_MAGIC:
        return "nfs";
    default: {
        char hex[32];
        std::snprintf(hex, sizeof hex, "0x%lx", type);
        return std::string("a file system of type ") + hex;
    }
    }
}

std::string Describe(const LUNRow& row)
{
    return "the LUN " + row.name + " (" + row.uuid + ")";
}

// Why the LUN cannot be converted now: mapped to an enabled target, a job runs on it, or a
// loop device holds its file. Empty when nothing does.
int InUseReason(LibraryContext& ctx, const LUNRow& row, std::string& reason)
{
    std::vector<int> tids;
    int rc = ListLunTargets(ctx.db(), row.uuid, tids);
    if (rc != 0)
        return rc;
    for (int tid : tids) {
        TargetRow target;
        rc = FindTarget(ctx.db(), tid, target);
        if (rc != 0)
            return rc;
        if (target.is_enabled) {
            reason = Describe(row) + " is in use: it is mapped to the enabled target " + target.name + " (" +
                     target.iqn + ")";
            return 0;
        }
    }
    if (JobRunning(std::string(), row.uuid)) {
        reason = Describe(row) + " is in use: a job (clone, move, export, ...) runs on it";
        return 0;
    }
    std::string device;
    if (FindLoopDevice(LunDataPath(ctx, row), device)) {
        reason = Describe(row) + " is in use: it is attached to the loop device " + device;
        return 0;
    }
    return 0;
}

// The file LUNs of the volume that are not in subvolumes yet, by LUN id.
int LunsToConvert(LibraryContext& ctx, const std::string& location, std::vector<LUNRow>& rows)
{
    std::vector<LUNRow> all;
    const int rc = ListLUNRows(ctx.db(), all);
    if (rc != 0)
        return rc;
    for (const LUNRow& row : all) {
        if (IsFileType(row.type) && row.location == location && !LunInSubvolume(row))
            rows.push_back(row);
    }
    return 0;
}

int CheckFeasibility(LibraryContext& ctx, const std::string& rootPath, std::string& location,
                     std::vector<std::string>& reasons)
{
    location = VolumeOfRoot(ctx, rootPath);
    if (location.empty())
        return ISCSI_ERR_NOT_A_VOLUME;
    const std::string dir = ctx.volumeDir(location);
    struct statfs sfs {};
    if (::statfs(dir.c_str(), &sfs) != 0)
        return ISCSI_ERR_LUN_FILE;
    const unsigned long fsType = static_cast<unsigned long>(sfs.f_type);
    if (fsType != BTRFS_SUPER_MAGIC) {
        reasons.push_back(location + " is on " + FileSystemName(fsType) +
                          ", not btrfs: LUN files can be moved into subvolumes only on btrfs");
        return kFeasibilityHard;
    }
    if (JobRunning(kSubvolConvertJobKind, location))
        reasons.push_back("a conversion of " + location + " into subvolumes is running");

    std::vector<LUNRow> rows;
    int rc = LunsToConvert(ctx, location, rows);
    if (rc != 0)
        return rc;
    unsigned long long largest = 0;
    for (const LUNRow& row : rows) {
        std::string reason;
        rc = InUseReason(ctx, row, reason);
        if (rc != 0)
            return rc;
        if (!reason.empty())
            reasons.push_back(reason);
        unsigned long long allocated = 0;
        if (AllocatedBytes(LunDataPath(ctx, row), allocated))
            largest = std::max(largest, allocated);
    }
    // A reflink takes no room for data; where one is refused the LUN's data is copied, one
    // LUN at a time, so the largest LUN's data must fit besides the subvolumes' metadata.
    struct statvfs svfs {};
    if (::statvfs(dir.c_str(), &svfs) != 0)
        return ISCSI_ERR_LUN_FILE;
    const unsigned long long available =
        static_cast<unsigned long long>(svfs.f_bavail) * static_cast<unsigned long long>(svfs.f_frsize);
    const unsigned long long needed = rows.empty() ? 0 : largest + kSubvolReserve * rows.size();
    if (needed > available) {
        reasons.push_back("not enough space on " + location + ": " + std::to_string(needed) +
                          " bytes are needed (the data of the largest LUN, in case it must be copied, "
                          "and 1 MiB for each subvolume), " +
                          std::to_string(available) + " are free");
    }
    return reasons.empty() ? 0 : kFeasibilityHard;
}

int SetCurrentLun(ConfigDB& db, const std::string& conversion, const std::string& lunUuid)
{
    Statement update(db, "UPDATE subvol_conversions SET current_lun = ?2 WHERE uuid = ?1;");
    return update.bind(1, conversion).bind(2, lunUuid).run() ? 0 : ISCSI_ERR_DATABASE;
}

// The LUN to convert, as the conversion found it when it started.
struct PlannedLun {
    std::string uuid;
    unsigned long long size = 0;
};

// Converts one LUN, under the library lock (see the top of this file). A LUN that is gone,
// converted already or moved to another volume is skipped. 0 or a code.
int ConvertOne(LibraryContext& ctx, const std::string& conversion, const std::string& location,
               const PlannedLun& planned)
{
    LUNRow row;
    int rc = FindLUNByUuid(ctx.db(), planned.uuid, row);
    const bool skip = rc == kNoSuchLUN || (rc == 0 && (LunInSubvolume(row) || row.location != location));
    if (rc != 0 && !skip)
        return rc;
    if (!skip) {
        std::string reason;
        rc = InUseReason(ctx, row, reason);
        if (rc != 0)
            return rc;
        if (!reason.empty()) {
            syslog(LOG_ERR, "iSCSI storage: the conversion %s stops: %s", conversion.c_str(), reason.c_str());
            return ISCSI_ERR_SUBVOL_LUN_IN_USE;
        }
    }

    const std::string dir = ctx.volumeDir(location);
    const std::string lunDir = LibraryContext::LunDir(dir);
    const std::string name = SubvolName(planned.uuid);
    const std::string subvol = lunDir + "/" + name;
    const std::string oldImage = skip ? std::string() : dir + "/" + row.file_path;
    const std::string newImage = subvol + "/" + planned.uuid + ".img";
    if (!skip) {
        rc = SetCurrentLun(ctx.db(), conversion, planned.uuid);
        if (rc != 0)
            return rc;
        // A subvolume that no row names is what an earlier attempt left.
        if (!DestroySubvolume(lunDir, name) || !CreateSubvolume(lunDir, name)) {
            syslog(LOG_ERR, "iSCSI storage: cannot create the subvolume %s: %s", subvol.c_str(),
                   std::strerror(errno));
            SetCurrentLun(ctx.db(), conversion, std::string());
            return ISCSI_ERR_SUBVOL;
        }
        CopyWay way = CopyWay::Reflink;
        rc = CopyLunImage(oldImage, newImage, true, nullptr, &way);
        // A copy (no reflink) of a thick LUN gets its blocks allocated again.
        if (rc == 0 && way == CopyWay::ExtentCopy && !IsThinType(row.type) &&
            AllocateLunFile(newImage, row.size) != 0)
            rc = ISCSI_ERR_NO_SPACE;
        Fd fd(::open(subvol.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (rc == 0 && (!fd.valid() || ::syncfs(fd.get()) != 0))
            rc = ISCSI_ERR_SUBVOL;
        if (rc != 0) {
            syslog(LOG_ERR, "iSCSI storage: cannot move the LUN file %s into the subvolume %s (%d)",
                   oldImage.c_str(), subvol.c_str(), rc);
            DestroySubvolume(lunDir, name);
            SetCurrentLun(ctx.db(), conversion, std::string());
            return rc;
        }
    }

    Transaction tx(ctx.db());
    rc = tx.begun() ? 0 : ISCSI_ERR_DATABASE;
    if (rc == 0 && !skip) {
        row.file_path = SubvolLunFilePath(row.uuid);
        rc = UpdateLUNRow(ctx.db(), row);
    }
    if (rc == 0) {
        Statement update(ctx.db(),
                         "UPDATE subvol_conversions SET current_lun = '', done_size = done_size + ?2, "
                         "done_number = done_number + 1 WHERE uuid = ?1;");
        rc = update.bind(1, conversion).bind(2, static_cast<std::int64_t>(planned.size)).run()
                 ? 0
                 : ISCSI_ERR_DATABASE;
    }
    if (rc == 0 && !tx.commit())
        rc = ISCSI_ERR_DATABASE;
    if (skip)
        return rc;
    if (rc != 0) {
        DestroySubvolume(lunDir, name);
        SetCurrentLun(ctx.db(), conversion, std::string());
        return rc;
    }
    if (std::remove(oldImage.c_str()) != 0 && errno != ENOENT)
        syslog(LOG_WARNING, "iSCSI storage: cannot remove the old LUN file %s: %s", oldImage.c_str(),
               std::strerror(errno));
    SyncPath(lunDir);
    // A disabled target that has the LUN mapped opens the new file when it is enabled; a
    // running engine is told at once.
    ReopenLunInTargetEngine(ctx, row.uuid);
    return 0;
}

struct ConversionRow {
    std::string uuid;
    std::string rootPath;
    std::string jobUuid;
    unsigned long long totalSize = 0;
    unsigned long long doneSize = 0;
    int totalNumber = 0;
    int doneNumber = 0;
};

#define KOVA_SUBVOL_CONV_COLUMNS                                                                             \
    "uuid, root_path, job_uuid, total_size, done_size, total_number, done_number FROM subvol_conversions "

void ReadConversion(const Statement& query, ConversionRow& row)
{
    row.uuid = query.text(0);
    row.rootPath = query.text(1);
    row.jobUuid = query.text(2);
    row.totalSize = static_cast<unsigned long long>(query.integer(3));
    row.doneSize = static_cast<unsigned long long>(query.integer(4));
    row.totalNumber = static_cast<int>(query.integer(5));
    row.doneNumber = static_cast<int>(query.integer(6));
}

// The newest conversion of a volume (every volume when location is empty), or of each
// volume: 0, ISCSI_ERR_NO_RUNNING_JOB when there is none, or ISCSI_ERR_DATABASE.
int LatestConversion(ConfigDB& db, const std::string& location, ConversionRow& row)
{
    Statement query(db, "SELECT " KOVA_SUBVOL_CONV_COLUMNS
                        "WHERE ?1 = '' OR root_path = ?1 ORDER BY started_at DESC, rowid DESC LIMIT 1;");
    query.bind(1, location);
    const int rc = query.step();
    if (rc == SQLITE_DONE)
        return ISCSI_ERR_NO_RUNNING_JOB;
    if (rc != SQLITE_ROW)
        return ISCSI_ERR_DATABASE;
    ReadConversion(query, row);
    return 0;
}

// The status text of a conversion whose job is in state.
const char* StatusOfJobState(const std::string& state)
{
    if (state == "running")
        return "converting";
    if (state == "done")
        return "done";
    if (state == "cancelled")
        return "cancelled";
    if (state == "interrupted")
        return "interrupted";
    return "failed";
}

void CopyText(const std::string& text, char* buffer, std::size_t size)
{
    const std::size_t n = std::min(text.size(), size - 1);
    text.copy(buffer, n);
    buffer[n] = '\0';
}

// Start-up: the LUN that a dead process was converting.
void SettleLunInFlight(LibraryContext& ctx, const std::string& conversion, const std::string& lunUuid)
{
    LUNRow row;
    const int rc = FindLUNByUuid(ctx.db(), lunUuid, row);
    if (rc != 0 && rc != kNoSuchLUN)
        return;
    if (rc == 0 && LunInSubvolume(row)) {
        // Committed: the old file goes.
        const std::string dir = ctx.volumeDir(row.location);
        if (!dir.empty())
            std::remove((LibraryContext::LunDir(dir) + "/" + lunUuid + ".img").c_str());
        syslog(LOG_WARNING,
               "iSCSI storage: the conversion %s of the LUN %s into a subvolume was finished at start",
               conversion.c_str(), lunUuid.c_str());
    } else {
        // Not committed: the LUN stays in its file; the subvolume goes (with the scan below).
        syslog(LOG_WARNING,
               "iSCSI storage: the conversion %s of the LUN %s into a subvolume was rolled back at start",
               conversion.c_str(), lunUuid.c_str());
    }
    SetCurrentLun(ctx.db(), conversion, std::string());
}

// Start-up: the subvolume snapshots of one LUN's snapshot directory. One without its row (a
// taking or a deletion cut off) is removed; in one with its row, an image set aside by a
// deletion cut off before its commit is put back.
void ReconcileSnapshotSubvolumes(LibraryContext& ctx, const std::string& lunUuid,
                                 const std::string& snapshotDir)
{
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(snapshotDir, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (EndsWith(name, kSubvolSuffix))
            names.push_back(name);
    }
    for (const std::string& name : names) {
        const std::string snapshotUuid = name.substr(0, name.size() - std::strlen(kSubvolSuffix));
        Statement query(ctx.db(), "SELECT file_path FROM snapshots WHERE uuid = ?1 AND lun_uuid = ?2;");
        const int rc = query.bind(1, snapshotUuid).bind(2, lunUuid).step();
        if (rc != SQLITE_ROW && rc != SQLITE_DONE)
            continue;
        if (rc == SQLITE_DONE || !SnapshotInSubvolume(lunUuid, snapshotUuid, query.text(0))) {
            DestroySubvolume(snapshotDir, name);
            continue;
        }
        const std::string image = snapshotDir + "/" + name + "/" + lunUuid + ".img";
        std::error_code exists;
        if (!fs::exists(image, exists))
            std::rename((image + ".deleting").c_str(), image.c_str());
    }
}

// Start-up: the subvolumes of LUNs in one volume directory.
void ReconcileVolume(LibraryContext& ctx, const std::string& location, const std::string& volumeDir)
{
    const std::string lunDir = LibraryContext::LunDir(volumeDir);
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(lunDir, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (EndsWith(name, kSubvolSuffix))
            names.push_back(name);
    }
    for (const std::string& name : names) {
        const std::string uuid = name.substr(0, name.size() - std::strlen(kSubvolSuffix));
        LUNRow row;
        const int rc = FindLUNByUuid(ctx.db(), uuid, row);
        if (rc != 0 && rc != kNoSuchLUN)
            continue;
        const std::string subvol = lunDir + "/" + name;
        if (rc == kNoSuchLUN || row.location != location || !LunInSubvolume(row)) {
            if (!DestroySubvolume(lunDir, name))
                syslog(LOG_WARNING, "iSCSI storage: cannot remove the subvolume %s", subvol.c_str());
            continue;
        }
        const std::string image = subvol + "/" + uuid + ".img";
        const std::string deleting = image + ".deleting";
        std::error_code exists;
        if (fs::exists(deleting, exists)) {
            if (!fs::exists(image, exists))
                std::rename(deleting.c_str(), image.c_str());
            else
                std::remove(deleting.c_str());
        }
        std::remove((image + ".restoring").c_str());
        // The old file of a conversion whose commit was the last thing its process did.
        std::remove((lunDir + "/" + uuid + ".img").c_str());
    }
    const std::string snapshots = lunDir + "/snapshots";
    for (fs::directory_iterator it(snapshots, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        std::error_code isDir;
        if (name.size() == 36 && it->is_directory(isDir))
            ReconcileSnapshotSubvolumes(ctx, name, it->path().string());
    }
}

} // namespace

bool LunInSubvolume(const LUNRow& row)
{
    return IsFileType(row.type) && row.file_path == SubvolLunFilePath(row.uuid);
}

std::string SubvolLunFilePath(const std::string& uuid)
{
    return "@iscsi/" + SubvolName(uuid) + "/" + uuid + ".img";
}

bool RemoveLunSubvolume(const std::string& volumeDir, const std::string& uuid)
{
    return DestroySubvolume(LibraryContext::LunDir(volumeDir), SubvolName(uuid));
}

std::string SubvolSnapshotFilePath(const std::string& lunUuid, const std::string& snapshotUuid)
{
    return "@iscsi/snapshots/" + lunUuid + "/" + SubvolName(snapshotUuid) + "/" + lunUuid + ".img";
}

bool SnapshotInSubvolume(const std::string& lunUuid, const std::string& snapshotUuid,
                         const std::string& filePath)
{
    return filePath == SubvolSnapshotFilePath(lunUuid, snapshotUuid);
}

bool SnapshotLunSubvolume(const std::string& volumeDir, const std::string& lunUuid,
                          const std::string& snapshotDir, const std::string& snapshotUuid)
{
    const std::string source = LibraryContext::LunDir(volumeDir) + "/" + SubvolName(lunUuid);
    const std::string name = SubvolName(snapshotUuid);
    Fd sourceFd(::open(source.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Fd parentFd(::open(snapshotDir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!sourceFd.valid() || !parentFd.valid())
        return false;
    struct btrfs_ioctl_vol_args_v2 args {};
    args.fd = sourceFd.get();
    name.copy(args.name, BTRFS_SUBVOL_NAME_MAX);
    if (::ioctl(parentFd.get(), BTRFS_IOC_SNAP_CREATE_V2, &args) != 0)
        return false;
    if (::syncfs(parentFd.get()) != 0) {
        const int error = errno;
        DestroySubvolume(snapshotDir, name);
        errno = error;
        return false;
    }
    return true;
}

bool RemoveSnapshotSubvolume(const std::string& snapshotDir, const std::string& snapshotUuid)
{
    return DestroySubvolume(snapshotDir, SubvolName(snapshotUuid));
}

// Start-up: finishes or rolls back the LUN that a conversion cut off by the death of its
// process was converting, removes subvolumes that no LUN's row names (a rolled-back
// conversion, a deletion cut off after its commit), and puts back the files of LUNs in
// subvolumes that a deletion cut off before its commit had set aside.
void ReconcileSubvolConversions(LibraryContext& context)
{
    std::vector<std::pair<std::string, std::string>> inFlight;
    {
        Statement query(context.db(),
                        "SELECT uuid, current_lun FROM subvol_conversions WHERE current_lun <> '';");
        while (query.step() == SQLITE_ROW)
            inFlight.emplace_back(query.text(0), query.text(1));
    }
    for (const auto& conversion : inFlight)
        SettleLunInFlight(context, conversion.first, conversion.second);
    for (const auto& volume : context.volumes())
        ReconcileVolume(context, volume.first, volume.second);
}

const char* SubvolSchemaSql()
{
    return "CREATE TABLE IF NOT EXISTS subvol_conversions ("
           " uuid TEXT PRIMARY KEY,"
           " root_path TEXT NOT NULL,"
           " job_uuid TEXT NOT NULL,"
           " total_size INTEGER NOT NULL DEFAULT 0,"
           " done_size INTEGER NOT NULL DEFAULT 0,"
           " total_number INTEGER NOT NULL DEFAULT 0,"
           " done_number INTEGER NOT NULL DEFAULT 0,"
           " current_lun TEXT NOT NULL DEFAULT '',"
           " started_at INTEGER NOT NULL"
           ");"
           "CREATE INDEX IF NOT EXISTS subvol_conversions_by_root ON subvol_conversions (root_path, "
           "started_at);";
}

} // namespace Storage

namespace LIB {
namespace LIBNode {

using Storage::LibraryContext;

int ISCSILIBNode::subvolConvFeasibilityCheck(const std::string& rootPath,
                                             std::vector<std::string>& feasibilityHard)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        std::string location;
        return Storage::CheckFeasibility(ctx, rootPath, location, feasibilityHard);
    });
}

int ISCSILIBNode::subvolConvert(const std::string& rootPath)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        std::string location;
        std::vector<std::string> reasons;
        int rc = Storage::CheckFeasibility(ctx, rootPath, location, reasons);
        if (rc != 0)
            return rc;
        std::vector<Storage::LUNRow> rows;
        rc = Storage::LunsToConvert(ctx, location, rows);
        if (rc != 0)
            return rc;
        std::vector<Storage::PlannedLun> luns;
        unsigned long long totalSize = 0;
        for (const Storage::LUNRow& row : rows) {
            luns.push_back({row.uuid, row.size});
            totalSize += row.size;
        }
        const std::string conversion = Storage::NewUuid();

        Storage::JobPlan plan;
        plan.kind = Storage::kSubvolConvertJobKind;
        plan.objectUuid = location;
        plan.relatedUuid = conversion;
        plan.work = [conversion, location, luns, totalSize](Storage::JobControl& job) -> int {
            job.setTotal(totalSize);
            unsigned long long done = 0;
            for (const Storage::PlannedLun& lun : luns) {
                if (job.cancelled())
                    return ISCSI_ERR_JOB_CANCELLED;
                const int rc = LibraryContext::With([&](LibraryContext& context) {
                    return Storage::ConvertOne(context, conversion, location, lun);
                });
                if (rc != 0)
                    return rc;
                done += lun.size;
                job.progress(done);
            }
            return 0;
        };

        Storage::Transaction tx(ctx.db());
        if (!tx.begun())
            return ISCSI_ERR_DATABASE;
        std::string jobUuid;
        rc = Storage::StartJobLocked(ctx, plan, jobUuid);
        if (rc != 0)
            return rc;
        Storage::Statement insert(ctx.db(),
                                  "INSERT INTO subvol_conversions (uuid, root_path, job_uuid, total_size, "
                                  "total_number, started_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6);");
        insert.bind(1, conversion)
            .bind(2, location)
            .bind(3, jobUuid)
            .bind(4, static_cast<std::int64_t>(totalSize))
            .bind(5, static_cast<std::int64_t>(luns.size()))
            .bind(6, static_cast<std::int64_t>(std::time(nullptr)));
        if (!insert.run() || !tx.commit())
            return ISCSI_ERR_DATABASE;
        Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM",
                                 "The conversion of " + std::to_string(luns.size()) + " LUN(s) of " +
                                     location + " into subvolumes started.");
        return 0;
    });
}

int ISCSILIBNode::getSubvolConvProgress(const std::string& subvolRootPath,
                                        _tag_iscsi_conv_to_subvol_progress_* progress)
{
    if (!progress)
        return ISCSI_ERR_DATABASE;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        std::string location;
        if (!subvolRootPath.empty()) {
            location = Storage::VolumeOfRoot(ctx, subvolRootPath);
            if (location.empty())
                return static_cast<int>(ISCSI_ERR_NOT_A_VOLUME);
        }
        *progress = _tag_iscsi_conv_to_subvol_progress_{};
        Storage::ConversionRow row;
        int rc = Storage::LatestConversion(ctx.db(), location, row);
        if (rc == ISCSI_ERR_NO_RUNNING_JOB) {
            Storage::CopyText("none", progress->status, sizeof progress->status);
            return 0;
        }
        if (rc != 0)
            return rc;
        Storage::JobRecord job;
        rc = Storage::FindJob(ctx.db(), row.jobUuid, job);
        if (rc != 0)
            return rc == ISCSI_ERR_NO_RUNNING_JOB ? static_cast<int>(ISCSI_ERR_DATABASE) : rc;
        progress->total_size = row.totalSize;
        progress->done_size = row.doneSize;
        progress->total_number = row.totalNumber;
        progress->done_number = row.doneNumber;
        progress->err_no = job.errorCode;
        Storage::CopyText(Storage::StatusOfJobState(job.state), progress->status, sizeof progress->status);
        Storage::CopyText(row.uuid, progress->uuid, sizeof progress->uuid);
        return 0;
    });
}

// Normal: the newest conversion of every volume runs or has ended well.
int ISCSILIBNode::checkAllSubvolConvStatusNormal(bool& isSubvolConvNormal)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        isSubvolConvNormal = true;
        for (const auto& volume : ctx.volumes()) {
            Storage::ConversionRow row;
            int rc = Storage::LatestConversion(ctx.db(), volume.first, row);
            if (rc == ISCSI_ERR_NO_RUNNING_JOB)
                continue;
            Storage::JobRecord job;
            if (rc == 0)
                rc = Storage::FindJob(ctx.db(), row.jobUuid, job);
            if (rc != 0)
                return rc == ISCSI_ERR_NO_RUNNING_JOB ? static_cast<int>(ISCSI_ERR_DATABASE) : rc;
            if (!(job.state == "running" || (job.state == "done" && job.errorCode == 0)))
                isSubvolConvNormal = false;
        }
        return 0;
    });
}

} // namespace LIBNode
} // namespace LIB
} // namespace ISCSI
