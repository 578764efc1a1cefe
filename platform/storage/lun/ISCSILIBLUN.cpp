// The LUN operations that this build of the storage library carries out: creation (empty, or
// from a source file or directory), deletion, listing, loading, local and remote-disk changes,
// and moves between volumes. A file LUN is one row of the table luns and one file
// "<volume dir>/@iscsi/<uuid>.img", sparse for thin types and fully allocated for thick ones;
// a BLOCK LUN is a row that names a block device of this host. Loop devices and
// defragmentation are in lun/ISCSILIBLUNDevices.cpp; the operations not offered yet are in
// pending/ISCSILIBLUN.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "clone/CloneJobs.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"
#include "log/ServiceLog.h"
#include "lun/LUNDevices.h"
#include "lun/LUNStore.h"
#include "node/SubvolConversion.h"
#include "snapshot/SnapshotStore.h"
#include "target/TargetEngine.h"
#include "util/Fd.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <limits>
#include <map>
#include <system_error>

using ISCSI::Storage::DefaultVpdUnitSn;
using ISCSI::Storage::kInvalidLocation;
using ISCSI::Storage::kInvalidName;
using ISCSI::Storage::kInvalidType;
using ISCSI::Storage::kNoSuchLUN;
using ISCSI::Storage::LibraryContext;
using ISCSI::Storage::LUNRow;

namespace ISCSI {
namespace LIB {
namespace LIBLUN {
namespace {

constexpr int kInvalidSize = 18990502;
constexpr int kInvalidNewSize = 18990523;

constexpr unsigned long long kMaxSize =
    static_cast<unsigned long long>(std::numeric_limits<std::int64_t>::max());

std::string ImagePath(const std::string& volumeDir, const LUNRow& row)
{
    return volumeDir + "/" + row.file_path;
}

Json::Value Finding(const std::string& reason, const std::string& location, unsigned long long needed,
                    unsigned long long available)
{
    Json::Value finding(Json::objectValue);
    finding["reason"] = reason;
    finding["location"] = location;
    finding["needed"] = Json::UInt64(needed);
    finding["available"] = Json::UInt64(available);
    return finding;
}

// The space test of a LUN of type in location that is to hold newSize bytes, oldSize of which
// it holds already (0 for a new LUN). A thick LUN allocates what it grows by at once, so more
// than the free space is refused (hard). Thin LUNs allocate as they are written: when the sizes
// of all thin LUNs of the volume together pass the free space, the volume may fill up later,
// which is a warning (soft) that the caller may ignore. 0, a feasibility code with detail
// filled, or an error code.
int TestSpace(LibraryContext& ctx, const std::string& uuid, int type, const std::string& location,
              unsigned long long oldSize, unsigned long long newSize, bool softIgnored, Json::Value& detail)
{
    unsigned long long freeBytes = 0;
    if (!Storage::VolumeFreeBytes(ctx.volumeDir(location), freeBytes))
        return ISCSI_ERR_LUN_FILE;
    if (!Storage::IsThinType(type)) {
        const unsigned long long growth = newSize - oldSize;
        if (growth <= freeBytes)
            return 0;
        detail = Json::Value(Json::objectValue);
        detail["hard"] = Json::Value(Json::arrayValue);
        detail["soft"] = Json::Value(Json::arrayValue);
        detail["hard"].append(Finding("The volume " + location + " has " + std::to_string(freeBytes) +
                                          " bytes free; the thick LUN needs " + std::to_string(growth) +
                                          " more bytes",
                                      location, growth, freeBytes));
        return ISCSI_ERR_FEASIBILITY_HARD;
    }
    unsigned long long others = 0;
    const int rc = Storage::SumThinSizes(ctx.db(), location, uuid, others);
    if (rc != 0)
        return rc;
    const unsigned long long total = others + newSize;
    if (total <= freeBytes || softIgnored)
        return 0;
    detail = Json::Value(Json::objectValue);
    detail["hard"] = Json::Value(Json::arrayValue);
    detail["soft"] = Json::Value(Json::arrayValue);
    detail["soft"].append(Finding("The thin LUNs of the volume " + location + " would total " +
                                      std::to_string(total) + " bytes, more than its " +
                                      std::to_string(freeBytes) + " bytes free",
                                  location, total, freeBytes));
    return ISCSI_ERR_FEASIBILITY_SOFT;
}

// Fills the facts of flags into record. The library has no targets, jobs, vhost mappings or
// whitelists yet, so those facts are the ones of a LUN that has none. 0 or ISCSI_ERR_DATABASE
// (the count of snapshots).
int LoadFacts(LibraryContext& ctx, const LUNRow& row, ISCSILUNInfo& record, int flags,
              const int* knownSnapshots = nullptr)
{
    int snapshots = 0;
    if (knownSnapshots)
        snapshots = *knownSnapshots;
    else if (Storage::CountSnapshots(ctx.db(), row.uuid, snapshots) != 0)
        return ISCSI_ERR_DATABASE;
    flags &= ISCSI_LUN_LOAD_ALL;
    // The file is looked at only for the facts that need it.
    const int fileFacts = ISCSI_LUN_LOAD_ALLOCATED_SIZE | ISCSI_LUN_LOAD_STATUS | ISCSI_LUN_LOAD_SUB_VOL_INFO;
    const std::string data = Storage::LunDataPath(ctx, row);
    unsigned long long allocated = 0;
    bool haveFile = false;
    if ((flags & fileFacts) != 0 && !data.empty()) {
        if (Storage::IsFileType(row.type)) {
            haveFile = Storage::AllocatedBytes(data, allocated);
        } else {
            // A block device has all of its size.
            struct stat st {};
            haveFile = ::stat(data.c_str(), &st) == 0 && S_ISBLK(st.st_mode);
            allocated = row.size;
        }
    }

    record.is_action_locked = false;
    record.is_mapped = false;
    record.extent_size = row.extent_size;
    record.allocated_size = haveFile ? allocated : 0;
    // A row whose file is gone is shown as such rather than as a normal LUN.
    record.status = (flags & ISCSI_LUN_LOAD_STATUS) != 0 && !haveFile ? std::string("missing") : row.status;
    record.is_vhost_mapped = false;
    record.is_bound = false;
    record.allow_bkpobj = false;
    record.storage_manager.clear();
    record.import_total = record.import_done = 0;
    record.import_errno = 0;
    record.sync_total = record.sync_done = 0;
    record.sync_errno = 0;
    record.whitelist.clear();
    record.flashcache_status = "disabled";
    record.family_config = ISCSIFamilyConfigInfo();
    record.family_config.family_uuid = row.uuid;
    record.rmt_clone_total = record.rmt_clone_done = record.rmt_clone_sent = 0;
    record.rmt_clone_errno = 0;
    record.rmt_clone_status = 0;
    record.tree_size = record.allocated_size;
    record.tree_level = 0;
    record.snapshot_count = snapshots;
    // The queries below cost one statement each per LUN, so they run only for the facts that
    // show them (a listing of many LUNs without these flags needs none of them).
    // Clone and import figures, and the "cloning" status, from the job runner's rows (clone/CloneJobs.cpp).
    if ((flags & (ISCSI_LUN_LOAD_STATUS | ISCSI_LUN_LOAD_SYNC_PROGRESS | ISCSI_LUN_LOAD_IMPORT_STATUS)) != 0)
        Storage::LoadLunJobFigures(ctx.db(), record, flags);
    // Mapped to a target, and the whitelist: the target engine's rows (T).
    if ((flags & (ISCSI_LUN_LOAD_IS_MAPPED | ISCSI_LUN_LOAD_WHITELIST)) != 0 &&
        Storage::LoadTargetFactsOfLun(ctx.db(), row.uuid, record.is_mapped, record.whitelist) != 0)
        return ISCSI_ERR_DATABASE;
    record.additional = flags;
    return 0;
}

// A LUN as the service log names it: "name (uuid)".
std::string Describe(const LUNRow& row)
{
    return row.name + " (" + row.uuid + ")";
}

// Deletes one LUN with its snapshots: their rows go in one transaction in which the LUN file
// is renamed to "<uuid>.img.deleting" and the snapshot directory to "<uuid>.deleting"; both are
// removed once the transaction is committed. A failure before the commit puts them back, and
// the library's start-up finishes or undoes a change that a dead process left (see
// LibraryContext). A LUN with a locked snapshot is refused (ISCSI_ERR_SNAPSHOT_LOCKED).
// Whether a job keeps the LUN from being deleted: one that reads the LUN or one of its
// snapshots (an export names the LUN as its related object, a clone its source LUN), writes
// into it (an import) or moves it. Each answers its own code, and the service's log names the
// job. A clone that makes this LUN does not keep it: deleting the LUN ends that clone.
int CheckNoJobOnLun(const std::string& uuid)
{
    std::string kind;
    std::string job;
    bool asObject = false;
    if (!Storage::FindWorkingJob(uuid, kind, job, asObject))
        return 0;
    int rc = ISCSI_ERR_JOB_BUSY;
    if (kind == Storage::kExportJobKind)
        rc = ISCSI_ERR_LUN_IN_EXPORT;
    else if (kind == Storage::kImportJobKind)
        rc = ISCSI_ERR_LUN_IN_IMPORT;
    else if (kind == Storage::kCloneJobKind)
        rc = asObject ? 0 : ISCSI_ERR_LUN_IN_CLONE;
    if (rc != 0)
        syslog(LOG_ERR, "iSCSI storage: the LUN %s is not deleted: the %s job %s works on it", uuid.c_str(),
               kind.c_str(), job.c_str());
    return rc;
}

// What every deletion of a LUN checks first: it exists, no snapshot of it is locked, and no
// job works on it.
int CheckLunDeletable(LibraryContext& ctx, const std::string& uuid, LUNRow& row)
{
    int rc = Storage::FindLUNByUuid(ctx.db(), uuid, row);
    if (rc == 0)
        rc = Storage::CheckLunSnapshotsDeletable(ctx.db(), uuid);
    if (rc == 0)
        rc = CheckNoJobOnLun(uuid);
    return rc;
}

int DeleteOne(LibraryContext& ctx, const std::string& uuid, bool precheckOnly)
{
    LUNRow row;
    int rc = CheckLunDeletable(ctx, uuid, row);
    if (rc != 0 || precheckOnly)
        return rc;
    // A BLOCK LUN's device is the host's: only the row goes.
    const std::string dir = Storage::IsFileType(row.type) ? ctx.volumeDir(row.location) : std::string();
    const std::string image = dir.empty() ? std::string() : ImagePath(dir, row);
    if (!image.empty()) {
        // What else holds the file lets go of it first.
        Storage::StopDefragProcess(row.uuid, true);
        Storage::DetachLoopDevicesOf(image);
    }
    // The file of a LUN in a subvolume is set aside in its subvolume (no rename leaves one).
    const bool inSubvolume = Storage::LunInSubvolume(row);
    const std::string doomed = dir.empty()   ? std::string()
                               : inSubvolume ? image + ".deleting"
                                             : LibraryContext::LunDir(dir) + "/" + row.uuid + ".img.deleting";

    Storage::Transaction tx(ctx.db());
    if (!tx.begun())
        return ISCSI_ERR_DATABASE;
    rc = Storage::DeleteLunSnapshotRows(ctx.db(), row.uuid);
    if (rc == 0)
        rc = Storage::DeleteLUNRow(ctx.db(), row.uuid);
    if (rc == 0)
        rc = Storage::SyncTargetEngine(ctx); // target engine (T): its logical units leave tgtd
    if (rc != 0)
        return rc;
    bool renamed = false;
    if (!image.empty()) {
        if (std::rename(image.c_str(), doomed.c_str()) == 0) {
            renamed = true;
        } else if (errno != ENOENT) {
            syslog(LOG_ERR, "iSCSI storage: cannot remove the LUN file %s: %s", image.c_str(),
                   std::strerror(errno));
            return ISCSI_ERR_LUN_FILE;
        }
    }
    std::string snapshotsAside;
    if (!dir.empty() && !Storage::MoveSnapshotDirAside(dir, row.uuid, snapshotsAside)) {
        syslog(LOG_ERR, "iSCSI storage: cannot remove the snapshots of the LUN %s: %s", row.uuid.c_str(),
               std::strerror(errno));
        if (renamed)
            std::rename(doomed.c_str(), image.c_str());
        return ISCSI_ERR_SNAPSHOT_FILE;
    }
    Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM", "LUN " + Describe(row) + " was deleted.");
    if (!tx.commit()) {
        if (renamed)
            std::rename(doomed.c_str(), image.c_str());
        Storage::PutSnapshotDirBack(dir, row.uuid, snapshotsAside);
        return ISCSI_ERR_DATABASE;
    }
    if (renamed)
        std::remove(doomed.c_str());
    if (inSubvolume && !Storage::RemoveLunSubvolume(dir, row.uuid))
        syslog(LOG_WARNING, "iSCSI storage: cannot remove the subvolume of the LUN %s: %s", row.uuid.c_str(),
               std::strerror(errno));
    Storage::RemoveSnapshotDirAside(snapshotsAside);
    return 0;
}

// The row of a new LUN of this object's fields, without its location and file.
LUNRow NewRow(const ISCSILIBLUN& lun, const std::string& newUuid, unsigned long long newSize)
{
    LUNRow row;
    row.uuid = newUuid;
    row.name = lun.name;
    row.type = lun.type;
    row.size = newSize;
    row.extent_size = lun.extent_size;
    row.dev_attribs_mask = lun.dev_attrib_mask;
    row.dev_attribs = lun.dev_attribs & lun.dev_attrib_mask;
    row.vpd_unit_sn = lun.vpd_unit_sn.empty() ? DefaultVpdUnitSn(newUuid) : lun.vpd_unit_sn;
    row.description = lun.description;
    row.status = "normal";
    row.created_at = static_cast<long long>(std::time(nullptr));
    return row;
}

// Inserts a new LUN's row with the lowest free LUN id, in one transaction. 0 or a code.
int InsertNewRow(LibraryContext& ctx, LUNRow& row)
{
    Storage::Transaction tx(ctx.db());
    int rc = tx.begun() ? 0 : ISCSI_ERR_DATABASE;
    if (rc == 0)
        rc = Storage::NextLunId(ctx.db(), row.lun_id);
    if (rc == 0)
        rc = Storage::InsertLUNRow(ctx.db(), row);
    if (rc == 0)
        Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM", "LUN " + Describe(row) + " was created.");
    if (rc == 0 && !tx.commit())
        rc = ISCSI_ERR_DATABASE;
    return rc;
}

bool EndsWith(const std::string& text, const std::string& suffix)
{
    return text.size() > suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// The source image of a LUN made from a file or a directory, confined to the volumes:
//   - srcLunFile absolute: that file;
//   - srcLunFile relative and srcLunDir given: the file of that name in the directory;
//   - srcLunDir alone: the one regular file "*.img" in the directory (a LUN's directory
//     copied from elsewhere, a folder with a disk image).
// The image must be a regular file of at least one byte with a single name; it is opened
// without following links out of its volume, and the copy reads that open file. 0 with its
// real path, the open file and its size, a path code (18999160-18999163),
// ISCSI_ERR_PATH_NOT_PLAIN_FILE or ISCSI_ERR_LUN_SOURCE.
int FindSource(const LibraryContext& ctx, const std::string& srcLunDir, const std::string& srcLunFile,
               std::string& path, Storage::Fd& file, unsigned long long& size)
{
    std::string resolved;
    int rc = 0;
    if (!srcLunFile.empty()) {
        const std::string given =
            srcLunFile[0] != '/' && !srcLunDir.empty() ? srcLunDir + "/" + srcLunFile : srcLunFile;
        rc = ctx.resolveInsideVolume(given, resolved);
        if (rc != 0)
            return rc;
    } else {
        std::string dir;
        rc = ctx.resolveInsideVolume(srcLunDir, dir);
        if (rc != 0)
            return rc;
        DIR* handle = ::opendir(dir.c_str());
        if (!handle)
            return ISCSI_ERR_LUN_SOURCE;
        int images = 0;
        while (struct dirent* entry = ::readdir(handle)) {
            const std::string entryName = entry->d_name;
            struct stat st {};
            // lstat: a link in the directory is not followed (it could lead out of the volume).
            if (EndsWith(entryName, ".img") && ::lstat((dir + "/" + entryName).c_str(), &st) == 0 &&
                S_ISREG(st.st_mode)) {
                resolved = dir + "/" + entryName;
                ++images;
            }
        }
        ::closedir(handle);
        if (images != 1)
            return ISCSI_ERR_LUN_SOURCE;
    }
    int fd = -1;
    rc = Storage::OpenFileInsideVolume(ctx.volumes(), resolved, fd);
    if (rc != 0)
        return rc == Storage::kOpenFailed ? ISCSI_ERR_LUN_SOURCE : rc;
    file.reset(fd);
    struct stat st {};
    if (::fstat(fd, &st) != 0 || st.st_size <= 0)
        return ISCSI_ERR_LUN_SOURCE;
    path = resolved;
    size = static_cast<unsigned long long>(st.st_size);
    return 0;
}

// A BLOCK LUN: location is the path of a block device of this host that nothing holds (no
// mounted file system, no other LUN). Its size is the device's; a size given may not pass it.
int CreateBlockLUN(ISCSILIBLUN& lun)
{
    const std::string& location = lun.location;
    if (location.empty() || location[0] != '/')
        return kInvalidLocation;
    if (lun.size > kMaxSize)
        return kInvalidSize;
    return LibraryContext::With([&lun, &location](LibraryContext& ctx) -> int {
        char* real = ::realpath(location.c_str(), nullptr);
        if (!real)
            return ISCSI_ERR_LUN_SOURCE;
        const std::string device(real);
        std::free(real);
        struct stat st {};
        if (::stat(device.c_str(), &st) != 0 || !S_ISBLK(st.st_mode))
            return ISCSI_ERR_LUN_SOURCE;
        int rc = Storage::CheckNameFree(ctx.db(), lun.name, std::string());
        if (rc != 0)
            return rc;
        LUNRow other;
        rc = Storage::FindLUNByDevice(ctx.db(), device, other);
        if (rc == 0)
            return ISCSI_ERR_LUN_SOURCE;
        if (rc != kNoSuchLUN)
            return rc;
        // O_EXCL on a block device fails with EBUSY while a file system or another holder
        // has it.
        const int fd = ::open(device.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
        if (fd < 0)
            return ISCSI_ERR_LUN_SOURCE;
        std::uint64_t deviceSize = 0;
        const bool sized = ::ioctl(fd, BLKGETSIZE64, &deviceSize) == 0;
        ::close(fd);
        if (!sized || deviceSize == 0)
            return ISCSI_ERR_LUN_SOURCE;
        if (lun.size > deviceSize)
            return kInvalidSize;

        const std::string newUuid = Storage::NewUuid();
        LUNRow row = NewRow(lun, newUuid, deviceSize);
        row.location = device;
        row.file_path = device;
        rc = InsertNewRow(ctx, row);
        if (rc != 0)
            return rc;
        Storage::RowToRecord(row, lun);
        lun.dev_attrib_mask = row.dev_attribs_mask;
        return 0;
    });
}

// The changes asked of a LUN; an empty text, a size of 0, a type of 0 and a mask bit of 0 leave
// that property as it is.
struct LunChanges {
    std::string name;
    unsigned long long size = 0;
    int type = ISCSI_LUN_TYPE_NONE;
    std::string location;
    unsigned int mask = 0;
    unsigned int values = 0;
    std::string vpdUnitSn;
};

int CheckOnRemoteDisk(LibraryContext& ctx, const std::string& uuid)
{
    LUNRow row;
    const int rc = Storage::FindLUNByUuid(ctx.db(), uuid, row);
    if (rc != 0)
        return rc;
    return ctx.isRemoteDisk(row.location) ? 0 : ISCSI_ERR_NOT_REMOTE_DISK;
}

// Starts the job that moves a file LUN to the volume newLocation: the file is copied (a
// sparse-aware copy; a reflink where both volumes share a file system that allows it) to
// "<new dir>/@iscsi/<uuid>.img.creating" outside the library lock. The job's end, under the
// lock and in the transaction that records it, checks that the LUN is still as it was, points
// its row at the new volume and gives the copy its final name; after the commit the old file
// is removed. A process that dies on the way leaves names that start-up sorts out by the row's
// location (see LibraryContext::reconcile).
int StartMove(LibraryContext& ctx, const LUNRow& row, const std::string& newLocation)
{
    const std::string oldImage = ctx.volumeDir(row.location) + "/" + row.file_path;
    const std::string newDir = LibraryContext::LunDir(ctx.volumeDir(newLocation));
    const std::string newImage = newDir + "/" + row.uuid + ".img";
    const std::string newCreating = newImage + ".creating";
    const std::string uuid = row.uuid;
    const std::string oldLocation = row.location;
    const unsigned long long size = row.size;
    const bool thick = !Storage::IsThinType(row.type);
    const bool oldInSubvolume = Storage::LunInSubvolume(row);

    Storage::JobPlan moveJob;
    moveJob.kind = "move";
    moveJob.objectUuid = uuid;
    moveJob.partialFiles = {newCreating};
    moveJob.work = [=](Storage::JobControl& job) -> int {
        std::error_code ec;
        std::filesystem::create_directories(newDir, ec);
        if (ec)
            return ISCSI_ERR_LUN_FILE;
        std::remove(newCreating.c_str());
        unsigned long long total = 0;
        if (!Storage::AllocatedBytes(oldImage, total))
            return ISCSI_ERR_COPY_FAILED;
        job.setTotal(total);
        if (job.cancelled())
            return ISCSI_ERR_JOB_CANCELLED;
        if (!Storage::CopyImage(oldImage, newCreating)) {
            const int error = errno;
            syslog(LOG_ERR, "iSCSI storage: cannot copy %s to %s: %s", oldImage.c_str(), newCreating.c_str(),
                   std::strerror(error));
            return error == ENOSPC ? ISCSI_ERR_NO_SPACE : ISCSI_ERR_COPY_FAILED;
        }
        if (thick && Storage::AllocateLunFile(newCreating, size) != 0) {
            std::remove(newCreating.c_str());
            return ISCSI_ERR_NO_SPACE;
        }
        job.progress(total);
        if (job.cancelled()) {
            std::remove(newCreating.c_str());
            return ISCSI_ERR_JOB_CANCELLED;
        }
        return 0;
    };
    moveJob.finish = [=](LibraryContext& context, int rc) -> int {
        if (rc != 0) {
            std::remove(newCreating.c_str());
            return rc;
        }
        LUNRow now;
        int snapshots = 0;
        rc = Storage::FindLUNByUuid(context.db(), uuid, now);
        if (rc == 0)
            rc = Storage::CountSnapshots(context.db(), uuid, snapshots);
        // The LUN changed while its data was copied (deleted, grown, given a snapshot): the
        // copy is no longer the LUN.
        if (rc == 0 && (now.location != oldLocation || now.size != size || snapshots != 0))
            rc = ISCSI_ERR_COPY_FAILED;
        if (rc == 0) {
            now.location = newLocation;
            now.file_path = "@iscsi/" + uuid + ".img"; // a LUN in a subvolume leaves it
            rc = Storage::UpdateLUNRow(context.db(), now);
        }
        if (rc == 0 && std::rename(newCreating.c_str(), newImage.c_str()) != 0)
            rc = ISCSI_ERR_LUN_FILE;
        if (rc != 0)
            std::remove(newCreating.c_str());
        return rc;
    };
    moveJob.after = [=](int rc) -> int {
        return LibraryContext::With([&](LibraryContext& context) -> int {
            LUNRow now;
            const bool moved =
                Storage::FindLUNByUuid(context.db(), uuid, now) == 0 && now.location == newLocation;
            if (rc == 0 && moved) {
                // A target that serves the LUN opens the file on its new volume.
                Storage::ReopenLunInTargetEngine(context, uuid);
                std::remove(oldImage.c_str());
                if (oldInSubvolume)
                    Storage::RemoveLunSubvolume(context.volumeDir(oldLocation), uuid);
            } else if (!moved) {
                // The end could not be recorded: the LUN stays where it was.
                std::remove(newImage.c_str());
                std::remove(newCreating.c_str());
            }
            return 0;
        });
    };
    std::string jobUuid;
    return Storage::StartJobLocked(ctx, moveJob, jobUuid);
}

// Applies changes to the LUN uuid, inside the library lock. A rename, growth, device
// attributes, VPD serial and a change between file types (thin and thick; a LUN that becomes
// thick gets every block allocated) are made at once, in one transaction. A new location
// starts a move job (StartMove) after that transaction; the LUN's row names the new volume
// once the job is done. BLOCK LUNs take no change of size, type or location.
int UpdateLUN(LibraryContext& ctx, ISCSILIBLUN& lun, const std::string& uuid, const LunChanges& changes)
{
    LUNRow row;
    int rc = Storage::FindLUNByUuid(ctx.db(), uuid, row);
    if (rc != 0)
        return rc;
    if (Storage::JobRunning("move", uuid))
        return ISCSI_ERR_JOB_BUSY;
    const bool fileLun = Storage::IsFileType(row.type);

    LUNRow next = row;
    if (changes.type != ISCSI_LUN_TYPE_NONE && changes.type != row.type) {
        if (std::strcmp(ISCSILUNTypeText(static_cast<_tag_iscsi_lun_type>(changes.type)), "UNKNOWN") == 0)
            return kInvalidType;
        // A device is no file and a file no device: neither becomes the other.
        if (!fileLun || !Storage::IsFileType(changes.type))
            return ISCSI_ERR_LUN_CHANGE_NOT_OFFERED;
        next.type = changes.type;
    }
    const bool moving = !changes.location.empty() && changes.location != row.location;
    if (moving) {
        if (!fileLun)
            return ISCSI_ERR_LUN_CHANGE_NOT_OFFERED;
        if (ctx.volumeDir(changes.location).empty())
            return kInvalidLocation;
        // The snapshots' images lie on the LUN's volume and do not move with it; a LUN that a
        // loop device holds is in use.
        int snapshots = 0;
        if (Storage::CountSnapshots(ctx.db(), uuid, snapshots) != 0)
            return ISCSI_ERR_DATABASE;
        std::string device;
        if (snapshots != 0 || Storage::FindLoopDevice(ImagePath(ctx.volumeDir(row.location), row), device))
            return ISCSI_ERR_LUN_CHANGE_NOT_OFFERED;
    }
    if (!changes.name.empty() && changes.name != row.name) {
        rc = Storage::CheckNameFree(ctx.db(), changes.name, row.uuid);
        if (rc != 0)
            return rc;
        next.name = changes.name;
    }
    if (changes.size != 0) {
        if (changes.size > kMaxSize)
            return kInvalidNewSize;
        if (changes.size < row.size)
            return ISCSI_ERR_LUN_SHRINK;
        next.size = changes.size;
    }
    const bool grows = next.size > row.size;
    const std::string dir = fileLun ? ctx.volumeDir(row.location) : std::string();
    const std::string image = dir.empty() ? std::string() : ImagePath(dir, row);
    const bool becomesThick = Storage::IsThinType(row.type) && !Storage::IsThinType(next.type);
    if ((grows || becomesThick) && image.empty())
        return fileLun ? kInvalidLocation : ISCSI_ERR_LUN_CHANGE_NOT_OFFERED;
    if (moving) {
        // The new volume must take the whole LUN (its thick size, or its thin size among the
        // thin LUNs there).
        rc = TestSpace(ctx, row.uuid, next.type, changes.location, 0, next.size, lun.is_soft_feas_ignored,
                       lun.feasibility_detail);
        if (rc != 0)
            return rc;
    }
    if (grows || becomesThick) {
        // A thick result allocates what it lacks: the growth, and the holes of a thin file.
        unsigned long long have = row.size;
        if (becomesThick && !Storage::AllocatedBytes(image, have))
            return ISCSI_ERR_LUN_FILE;
        rc = TestSpace(ctx, row.uuid, next.type, row.location, std::min(have, next.size), next.size,
                       lun.is_soft_feas_ignored, lun.feasibility_detail);
        if (rc != 0)
            return rc;
    }
    next.dev_attribs_mask |= changes.mask;
    next.dev_attribs = (row.dev_attribs & ~changes.mask) | (changes.values & changes.mask);
    if (!changes.vpdUnitSn.empty())
        next.vpd_unit_sn = changes.vpdUnitSn;
    if (lun.is_feasibility_precheck)
        return 0;

    {
        Storage::Transaction tx(ctx.db());
        if (!tx.begun())
            return ISCSI_ERR_DATABASE;
        rc = Storage::UpdateLUNRow(ctx.db(), next);
        if (rc != 0)
            return rc;
        if (grows) {
            rc = Storage::GrowLunFile(image, next.size, Storage::IsThinType(next.type));
            if (rc != 0) {
                Storage::TruncateLunFile(image, row.size);
                return rc;
            }
        }
        if (becomesThick) {
            // Filling holes changes no data, so it needs no undo when the commit fails.
            rc = Storage::AllocateLunFile(image, next.size);
            if (rc != 0) {
                if (grows)
                    Storage::TruncateLunFile(image, row.size);
                return rc;
            }
        }
        Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM", "LUN " + Describe(next) + " was changed.");
        if (!tx.commit()) {
            if (grows)
                Storage::TruncateLunFile(image, row.size);
            return ISCSI_ERR_DATABASE;
        }
    }
    // Target engine (T): tgtd reads the new size, serial and thin provisioning. A new serial
    // that tgtd did not take is not reported as set: the stored one goes back to the old.
    const int applied =
        grows ? Storage::ReopenLunInTargetEngine(ctx, next.uuid) : Storage::SyncTargetEngine(ctx);
    if (applied != 0 && next.vpd_unit_sn != row.vpd_unit_sn) {
        LUNRow undone = next;
        undone.vpd_unit_sn = row.vpd_unit_sn;
        Storage::UpdateLUNRow(ctx.db(), undone);
        Storage::SyncTargetEngine(ctx);
        return applied;
    }
    if (moving) {
        rc = StartMove(ctx, next, changes.location);
        if (rc != 0)
            return rc;
    }
    Storage::RowToRecord(next, lun);
    lun.dev_attrib_mask = next.dev_attribs_mask;
    return 0;
}

} // namespace

ISCSILIBLUN::ISCSILIBLUN()
    : is_soft_feas_ignored(false), load_info(false), is_feasibility_precheck(false), dev_attrib_mask(0)
{}

ISCSILIBLUN::ISCSILIBLUN(const std::string& name, _tag_iscsi_lun_type type, const std::string& location,
                         unsigned long long size, unsigned int extentSize, unsigned int devAttribMask,
                         unsigned int devAttribValues, const std::string& vpdUnitSn, bool isSoftFeasIgnored)
    : is_soft_feas_ignored(isSoftFeasIgnored), load_info(false), is_feasibility_precheck(false),
      dev_attrib_mask(devAttribMask)
{
    this->name = name;
    this->type = type;
    this->location = location;
    this->size = size;
    extent_size = extentSize;
    dev_attribs = devAttribValues;
    vpd_unit_sn = vpdUnitSn;
}

ISCSILIBLUN::ISCSILIBLUN(const std::string& uuid, bool isSoftFeasIgnored, bool loadInfo,
                         bool isFeasibilityPrecheck)
    : ISCSILUNInfo(uuid), is_soft_feas_ignored(isSoftFeasIgnored), load_info(loadInfo),
      is_feasibility_precheck(isFeasibilityPrecheck), dev_attrib_mask(0)
{
    if (loadInfo && !uuid.empty()) {
        // A constructor cannot answer a code: a LUN that cannot be loaded leaves only its uuid
        // known, and the next operation reports the failure.
        LibraryContext::With([this](LibraryContext& ctx) -> int {
            LUNRow row;
            const int rc = Storage::FindLUNByUuid(ctx.db(), this->uuid, row);
            if (rc == 0) {
                Storage::RowToRecord(row, *this);
                dev_attrib_mask = row.dev_attribs_mask;
            }
            return rc;
        });
    }
}

ISCSILIBLUN::~ISCSILIBLUN() = default;

int ISCSILIBLUN::createLUN(const std::string& srcLunDir, const std::string& srcLunFile)
{
    feasibility_detail = Json::Value();
    if (name.empty())
        return kInvalidName;
    if (std::strcmp(ISCSILUNTypeText(type), "UNKNOWN") == 0)
        return kInvalidType;
    if (const int bad = Storage::CheckVpdUnitSn(vpd_unit_sn))
        return bad;
    const bool fromSource = !srcLunDir.empty() || !srcLunFile.empty();
    if (!Storage::IsFileType(type)) {
        // A BLOCK LUN is its device: there is nothing to copy into it.
        if (fromSource)
            return ISCSI_ERR_LUN_CHANGE_NOT_OFFERED;
        return CreateBlockLUN(*this);
    }
    if ((!fromSource && size == 0) || size > kMaxSize)
        return kInvalidSize;

    return LibraryContext::With([this, fromSource, &srcLunDir, &srcLunFile](LibraryContext& ctx) -> int {
        const std::string dir = ctx.volumeDir(location);
        if (dir.empty())
            return kInvalidLocation;
        int rc = Storage::CheckNameFree(ctx.db(), name, std::string());
        if (rc != 0)
            return rc;
        std::string source;
        Storage::Fd sourceFile;
        unsigned long long sourceSize = 0;
        unsigned long long newSize = size;
        if (fromSource) {
            rc = FindSource(ctx, srcLunDir, srcLunFile, source, sourceFile, sourceSize);
            if (rc != 0)
                return rc;
            // Without a size the LUN takes the source's; a size may only add to it.
            if (newSize == 0)
                newSize = sourceSize;
            if (newSize < sourceSize)
                return kInvalidSize;
        }
        const std::string newUuid = Storage::NewUuid();
        rc = TestSpace(ctx, newUuid, type, location, 0, newSize, is_soft_feas_ignored, feasibility_detail);
        if (rc != 0)
            return rc;

        std::error_code ec;
        const std::string lunDir = LibraryContext::LunDir(dir);
        std::filesystem::create_directories(lunDir, ec);
        if (ec)
            return ISCSI_ERR_LUN_FILE;
        // The file is made under a temporary name and takes its final one after the commit
        // of its row, so that a crash leaves nothing that start-up cannot sort out.
        const std::string image = lunDir + "/" + newUuid + ".img";
        const std::string creating = image + ".creating";
        const bool thin = Storage::IsThinType(type);
        if (fromSource) {
            // A reflink where the file system shares extents, else a copy of the data extents
            // only: the holes of a sparse source stay holes.
            rc = Storage::CopyImage(sourceFile.get(), creating) ? 0 : ISCSI_ERR_LUN_FILE;
            if (rc == 0 && !thin)
                rc = Storage::AllocateLunFile(creating, newSize);
            if (rc == 0 && newSize > sourceSize)
                rc = Storage::GrowLunFile(creating, newSize, thin);
            if (rc != 0) {
                syslog(LOG_ERR, "iSCSI storage: cannot make the LUN file %s from %s: %s", creating.c_str(),
                       source.c_str(), std::strerror(errno));
                std::remove(creating.c_str());
                return rc;
            }
        } else {
            rc = Storage::CreateLunFile(creating, newSize, thin);
            if (rc != 0) {
                syslog(LOG_ERR, "iSCSI storage: cannot create the LUN file %s of %llu bytes",
                       creating.c_str(), newSize);
                return rc;
            }
        }

        LUNRow row = NewRow(*this, newUuid, newSize);
        row.location = location;
        row.file_path = "@iscsi/" + newUuid + ".img";
        rc = InsertNewRow(ctx, row);
        if (rc != 0) {
            std::remove(creating.c_str());
            return rc;
        }
        if (std::rename(creating.c_str(), image.c_str()) != 0) {
            // The row is committed: start-up renames the file when this fails.
            syslog(LOG_ERR, "iSCSI storage: cannot rename %s: %s", creating.c_str(), std::strerror(errno));
        }
        Storage::RowToRecord(row, *this);
        dev_attrib_mask = row.dev_attribs_mask;
        return 0;
    });
}

int ISCSILIBLUN::deleteLUN()
{
    feasibility_detail = Json::Value();
    return LibraryContext::With(
        [this](LibraryContext& ctx) -> int { return DeleteOne(ctx, uuid, is_feasibility_precheck); });
}

// The deletions run at once, in the caller's thread: the library has no job runner yet. Every
// uuid is checked before the first deletion, so an unknown one deletes nothing.
int ISCSILIBLUN::deleteLunNonBlocking(const std::vector<std::string>& lunUuids)
{
    feasibility_detail = Json::Value();
    return LibraryContext::With([this, &lunUuids](LibraryContext& ctx) -> int {
        for (const std::string& one : lunUuids) {
            LUNRow row;
            const int rc = CheckLunDeletable(ctx, one, row);
            if (rc != 0)
                return rc;
        }
        if (is_feasibility_precheck)
            return 0;
        for (const std::string& one : lunUuids) {
            const int rc = DeleteOne(ctx, one, false);
            if (rc != 0)
                return rc;
        }
        return 0;
    });
}

int ISCSILIBLUN::ListLUN(std::vector<ISCSI::ISCSILUNInfo>& luns, int flags)
{
    return LibraryContext::With([&luns, flags](LibraryContext& ctx) -> int {
        std::vector<LUNRow> rows;
        const int rc = Storage::ListLUNRows(ctx.db(), rows);
        if (rc != 0)
            return rc;
        // The snapshot counts of every LUN in one query rather than one per LUN.
        std::map<std::string, int> counts;
        {
            Storage::Statement query(ctx.db(), "SELECT lun_uuid, COUNT(*) FROM snapshots GROUP BY lun_uuid;");
            int step;
            while ((step = query.step()) == SQLITE_ROW)
                counts[query.text(0)] = static_cast<int>(query.integer(1));
            if (step != SQLITE_DONE)
                return ISCSI_ERR_DATABASE;
        }
        std::vector<ISCSI::ISCSILUNInfo> out;
        out.reserve(rows.size());
        for (const LUNRow& row : rows) {
            ISCSI::ISCSILUNInfo record;
            Storage::RowToRecord(row, record);
            const auto count = counts.find(row.uuid);
            const int snapshots = count == counts.end() ? 0 : count->second;
            if (LoadFacts(ctx, row, record, flags, &snapshots) != 0)
                return ISCSI_ERR_DATABASE;
            out.push_back(std::move(record));
        }
        luns = std::move(out);
        return 0;
    });
}

int ISCSILIBLUN::loadLUNInfo(int flags)
{
    return LibraryContext::With([this, flags](LibraryContext& ctx) -> int {
        LUNRow row;
        const int rc = Storage::FindLUNByUuid(ctx.db(), uuid, row);
        if (rc != 0)
            return rc;
        Storage::RowToRecord(row, *this);
        dev_attrib_mask = row.dev_attribs_mask;
        return LoadFacts(ctx, row, *this, flags);
    });
}

int ISCSILIBLUN::localUpdateLUN(const std::string& newName, unsigned long long newSize,
                                _tag_iscsi_lun_type type, const std::string& location,
                                unsigned int devAttribMask, unsigned int devAttribValues,
                                const std::string& vpdUnitSn)
{
    feasibility_detail = Json::Value();
    LunChanges changes;
    changes.name = newName;
    changes.size = newSize;
    changes.type = type;
    changes.location = location;
    changes.mask = devAttribMask;
    changes.values = devAttribValues;
    changes.vpdUnitSn = vpdUnitSn;
    if (const int bad = Storage::CheckVpdUnitSn(vpdUnitSn))
        return bad;
    return LibraryContext::With(
        [&](LibraryContext& ctx) -> int { return UpdateLUN(ctx, *this, uuid, changes); });
}

int ISCSILIBLUN::remoteUpdateLUN(const std::string& lunUuid, unsigned long long newSize)
{
    feasibility_detail = Json::Value();
    LunChanges changes;
    changes.size = newSize;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        const int rc = CheckOnRemoteDisk(ctx, lunUuid);
        return rc != 0 ? rc : UpdateLUN(ctx, *this, lunUuid, changes);
    });
}

int ISCSILIBLUN::remoteUpdateLUN(const std::string& lunUuid, unsigned int devAttribMask,
                                 unsigned int devAttribValues)
{
    feasibility_detail = Json::Value();
    LunChanges changes;
    changes.mask = devAttribMask;
    changes.values = devAttribValues;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        const int rc = CheckOnRemoteDisk(ctx, lunUuid);
        return rc != 0 ? rc : UpdateLUN(ctx, *this, lunUuid, changes);
    });
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI

// A LUN lies on a remote disk when its volume was configured with the option "remote-disk".
extern "C" int KOVAiSCSILunIsRemoteDisk(const char* lunUuid, bool* isRemote)
{
    if (!lunUuid || !isRemote)
        return 18990505;
    const std::string uuid(lunUuid);
    return LibraryContext::With([&uuid, isRemote](LibraryContext& ctx) -> int {
        LUNRow row;
        const int rc = ISCSI::Storage::FindLUNByUuid(ctx.db(), uuid, row);
        if (rc == 0)
            *isRemote = ctx.isRemoteDisk(row.location);
        return rc;
    });
}
