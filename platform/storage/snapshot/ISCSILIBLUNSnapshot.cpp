// The snapshot operations of ISCSILIBLUN that this build carries out: taking (synchronously),
// stopping (nothing to stop), listing, deleting, changing and restoring snapshots of file LUNs.
// Clones of snapshots are in clone/, export and import in export/.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "clone/CloneJobs.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"
#include "lun/LUNStore.h"
#include "node/SubvolConversion.h"
#include "snapshot/SnapshotStore.h"
#include "target/TargetEngine.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <system_error>

using ISCSI::Storage::LibraryContext;
using ISCSI::Storage::LUNRow;
using ISCSI::Storage::SnapshotRow;

namespace ISCSI {
namespace LIB {
namespace LIBLUN {
namespace {

constexpr int kInvalidUserLock = 18990596;

// The name of a snapshot taken without one: "Snapshot-YYYYMMDD-HHMMSS" of its time (UTC).
std::string DefaultName(long long when)
{
    const std::time_t t = static_cast<std::time_t>(when);
    std::tm parts{};
    gmtime_r(&t, &parts);
    char text[40];
    std::strftime(text, sizeof(text), "Snapshot-%Y%m%d-%H%M%S", &parts);
    return text;
}

// Syncs a directory, so that a rename in it is on disk.
void SyncDir(const std::string& dir)
{
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

// Brings a restored file to at least size bytes (a LUN may have grown since its snapshot) and,
// for a thick LUN, allocates every block of it (the copy left the snapshot's holes). Synced.
bool FitRestoredFile(const std::string& path, unsigned long long size, bool thick)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st {};
    bool ok = fstat(fd, &st) == 0;
    off_t length = ok ? st.st_size : 0;
    if (ok && static_cast<unsigned long long>(length) < size) {
        length = static_cast<off_t>(size);
        ok = ftruncate(fd, length) == 0;
    }
    if (ok && thick && length > 0 && fallocate(fd, 0, 0, length) != 0)
        ok = (errno == EOPNOTSUPP || errno == ENOSYS) && posix_fallocate(fd, 0, length) == 0;
    if (ok && fsync(fd) != 0)
        ok = false;
    const int saved = errno;
    close(fd);
    errno = saved;
    return ok;
}

// The snapshot row of uuid, which must belong to the LUN lunUuid: 0, 18990520,
// ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN or ISCSI_ERR_DATABASE.
int FindSnapshotOfLun(LibraryContext& ctx, const std::string& lunUuid, const std::string& uuid,
                      SnapshotRow& row)
{
    const int rc = Storage::FindSnapshotByUuid(ctx.db(), uuid, row);
    if (rc != 0)
        return rc;
    return row.lun_uuid == lunUuid ? 0 : ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN;
}

} // namespace

// The image is made under "<uuid>.img.creating", its row is committed, and the file then takes
// its final name; start-up finishes or undoes what a dead process left between.
int ISCSILIBLUN::takeSnapshot(bool isAppConsistent, bool isLocked, const std::string& snapshotName,
                              const std::string& description, const std::string& takenBy, long snapshotTime,
                              bool isScheduled, const std::string& srcSnapDir, const std::string& snapVersion,
                              std::string& snapshotUuid, int& snapshotId)
{
    // A snapshot made from the content of a directory comes with import.
    if (!srcSnapDir.empty())
        return ISCSI_ERR_NOT_AVAILABLE;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow lun;
        int rc = Storage::FindLUNByUuid(ctx.db(), uuid, lun);
        if (rc != 0)
            return rc;
        const std::string dir = ctx.volumeDir(lun.location);
        if (dir.empty() || !Storage::IsFileType(lun.type))
            return ISCSI_ERR_NOT_AVAILABLE;

        SnapshotRow row;
        row.uuid = Storage::NewUuid();
        row.lun_uuid = lun.uuid;
        row.version = snapVersion.empty() ? Storage::NewUuid() : snapVersion;
        row.snapshot_time = snapshotTime != 0 ? snapshotTime : static_cast<long long>(std::time(nullptr));
        row.description = description;
        row.taken_by = takenBy;
        row.type = ISCSI_SNAPSHOT_TYPE_ADV;
        row.location = lun.location;
        row.size = lun.size;
        row.is_user_locked = isLocked;
        row.is_app_consistent = isAppConsistent;
        row.is_scheduled = isScheduled;
        row.status = "normal";
        row.created_at = static_cast<long long>(std::time(nullptr));
        row.file_path = "@iscsi/snapshots/" + lun.uuid + "/" + row.uuid + ".img";
        if (!snapshotName.empty()) {
            rc = Storage::CheckSnapshotNameFree(ctx.db(), lun.uuid, snapshotName, std::string());
            if (rc != 0)
                return rc;
            row.name = snapshotName;
        } else {
            // Two snapshots taken within one second get "-2", "-3", ... after the time.
            const std::string base = DefaultName(row.snapshot_time);
            row.name = base;
            for (int n = 2;
                 (rc = Storage::CheckSnapshotNameFree(ctx.db(), lun.uuid, row.name, std::string())) ==
                 ISCSI_ERR_SNAPSHOT_NAME_EXISTS;
                 ++n)
                row.name = base + "-" + std::to_string(n);
            if (rc != 0)
                return rc;
        }

        std::error_code ec;
        const std::string snapDir = Storage::SnapshotDir(dir, lun.uuid);
        std::filesystem::create_directories(snapDir, ec);
        if (ec)
            return ISCSI_ERR_SNAPSHOT_FILE;
        // A LUN in a subvolume is snapshotted as a subvolume, whose copy of the LUN file is the
        // image; it has its final name at once (start-up removes one without a row).
        const bool asSubvolume = Storage::LunInSubvolume(lun);
        if (asSubvolume)
            row.file_path = Storage::SubvolSnapshotFilePath(lun.uuid, row.uuid);
        const std::string image = Storage::SnapshotImagePath(dir, row);
        const std::string creating = image + ".creating";
        const std::string lunImage = dir + "/" + lun.file_path;
        if (asSubvolume ? !Storage::SnapshotLunSubvolume(dir, lun.uuid, snapDir, row.uuid)
                        : !Storage::CopyImage(lunImage, creating)) {
            syslog(LOG_ERR, "iSCSI storage: cannot copy the LUN file %s into %s: %s", lunImage.c_str(),
                   asSubvolume ? image.c_str() : creating.c_str(), std::strerror(errno));
            return ISCSI_ERR_SNAPSHOT_FILE;
        }
        {
            Storage::Transaction tx(ctx.db());
            rc = tx.begun() ? 0 : ISCSI_ERR_DATABASE;
            if (rc == 0)
                rc = Storage::NextSnapshotId(ctx.db(), lun.uuid, row.snapshot_id);
            if (rc == 0)
                rc = Storage::InsertSnapshotRow(ctx.db(), row);
            if (rc == 0 && !tx.commit())
                rc = ISCSI_ERR_DATABASE;
        }
        if (rc != 0) {
            if (asSubvolume)
                Storage::RemoveSnapshotSubvolume(snapDir, row.uuid);
            else
                std::remove(creating.c_str());
            return rc;
        }
        if (!asSubvolume && std::rename(creating.c_str(), image.c_str()) != 0) {
            // The row is committed: start-up renames the file when this fails.
            syslog(LOG_ERR, "iSCSI storage: cannot rename %s: %s", creating.c_str(), std::strerror(errno));
        }
        SyncDir(snapDir);
        snapshotUuid = row.uuid;
        snapshotId = row.snapshot_id;
        return 0;
    });
}

// Taking is synchronous: by the time a snapshot is known, there is nothing left to stop.
int ISCSILIBLUN::stopSnapshot(const std::string& snapshotUuid)
{
    return Storage::WithLunRow(uuid, [&](LibraryContext& ctx, LUNRow& lun) -> int {
        SnapshotRow row;
        return FindSnapshotOfLun(ctx, lun.uuid, snapshotUuid, row);
    });
}

// An object without a LUN uuid lists the snapshots of every LUN.
int ISCSILIBLUN::listSnapshot(std::vector<ISCSI::ISCSISnapshotInfo>& snapshots, int flags)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        if (!uuid.empty()) {
            LUNRow lun;
            const int rc = Storage::FindLUNByUuid(ctx.db(), uuid, lun);
            if (rc != 0)
                return rc;
        }
        std::vector<SnapshotRow> rows;
        int rc = Storage::ListSnapshotRows(ctx.db(), uuid, rows);
        if (rc != 0)
            return rc;
        std::vector<ISCSI::ISCSISnapshotInfo> out;
        out.reserve(rows.size());
        for (const SnapshotRow& row : rows) {
            ISCSI::ISCSISnapshotInfo record;
            Storage::SnapshotRowToRecord(row, record);
            record.additional = flags & ISCSI_SNAPSHOT_LOAD_ALL;
            record.is_action_locked = false;
            if (flags & ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS) {
                rc = Storage::ListAppKeys(ctx.db(), row.uuid, record.locked_app_keys);
                if (rc != 0)
                    return rc;
            }
            out.push_back(std::move(record));
        }
        snapshots = std::move(out);
        return 0;
    });
}

// The row goes in one transaction in which the image is renamed to "<uuid>.img.deleting"; the
// file is unlinked after the commit. Who deleted it goes to the log. A snapshot being exported
// is kept until its export ends or is cancelled.
int ISCSILIBLUN::deleteSnapshot(const std::string& snapshotUuid, const std::string& deletedBy)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        SnapshotRow row;
        int rc = Storage::FindSnapshotByUuid(ctx.db(), snapshotUuid, row);
        if (rc != 0)
            return rc;
        rc = Storage::CheckSnapshotDeletable(ctx.db(), row);
        if (rc != 0)
            return rc;
        if (Storage::JobRunning(Storage::kExportJobKind, row.uuid))
            return ISCSI_ERR_JOB_BUSY;
        const std::string dir = ctx.volumeDir(row.location);
        const std::string image = dir.empty() ? std::string() : Storage::SnapshotImagePath(dir, row);
        const std::string doomed = image.empty() ? std::string() : image + ".deleting";

        Storage::Transaction tx(ctx.db());
        if (!tx.begun())
            return ISCSI_ERR_DATABASE;
        rc = Storage::DeleteSnapshotRow(ctx.db(), row.uuid);
        if (rc == 0)
            rc = Storage::SyncTargetEngine(ctx); // target engine (T): a loaded snapshot leaves tgtd
        if (rc != 0)
            return rc;
        bool renamed = false;
        if (!image.empty()) {
            if (std::rename(image.c_str(), doomed.c_str()) == 0) {
                renamed = true;
            } else if (errno != ENOENT) {
                syslog(LOG_ERR, "iSCSI storage: cannot remove the snapshot file %s: %s", image.c_str(),
                       std::strerror(errno));
                return ISCSI_ERR_SNAPSHOT_FILE;
            }
        }
        if (!tx.commit()) {
            if (renamed)
                std::rename(doomed.c_str(), image.c_str());
            return ISCSI_ERR_DATABASE;
        }
        if (renamed)
            std::remove(doomed.c_str());
        if (!dir.empty() && Storage::SnapshotInSubvolume(row.lun_uuid, row.uuid, row.file_path))
            Storage::RemoveSnapshotSubvolume(Storage::SnapshotDir(dir, row.lun_uuid), row.uuid);
        syslog(LOG_INFO, "iSCSI storage: snapshot %s (%s) of the LUN %s deleted by %s", row.uuid.c_str(),
               row.name.c_str(), row.lun_uuid.c_str(), deletedBy.empty() ? "(unnamed)" : deletedBy.c_str());
        return 0;
    });
}

int ISCSILIBLUN::setSnapshot(const std::string& snapshotUuid, const std::string& name, int isUserLocked,
                             const std::string& description)
{
    if (isUserLocked < -1 || isUserLocked > 1)
        return kInvalidUserLock;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        SnapshotRow row;
        int rc = Storage::FindSnapshotByUuid(ctx.db(), snapshotUuid, row);
        if (rc != 0)
            return rc;
        SnapshotRow next = row;
        if (!name.empty() && name != row.name) {
            rc = Storage::CheckSnapshotNameFree(ctx.db(), row.lun_uuid, name, row.uuid);
            if (rc != 0)
                return rc;
            next.name = name;
        }
        if (isUserLocked != -1)
            next.is_user_locked = isUserLocked == 1;
        if (!description.empty())
            next.description = description;
        Storage::Transaction tx(ctx.db());
        if (!tx.begun())
            return ISCSI_ERR_DATABASE;
        rc = Storage::UpdateSnapshotRow(ctx.db(), next);
        if (rc != 0)
            return rc;
        return tx.commit() ? 0 : ISCSI_ERR_DATABASE;
    });
}

// The snapshot's image is copied (reflinked where the file system allows) into
// "@iscsi/<lun uuid>.img.restoring", brought to the LUN's size (allocated for a thick LUN),
// synced, and renamed over the LUN file. The LUN keeps its row and its current size: a LUN
// grown since the snapshot gets zeros past the snapshot's end. A crash before the rename
// leaves the LUN as it was (start-up removes the temporary file).
int ISCSILIBLUN::restoreSnapshot(const std::string& snapshotUuid)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow lun;
        int rc = Storage::FindLUNByUuid(ctx.db(), uuid, lun);
        if (rc != 0)
            return rc;
        SnapshotRow row;
        rc = FindSnapshotOfLun(ctx, lun.uuid, snapshotUuid, row);
        if (rc != 0)
            return rc;
        const std::string dir = ctx.volumeDir(lun.location);
        if (dir.empty() || !Storage::IsFileType(lun.type))
            return ISCSI_ERR_NOT_AVAILABLE;
        const std::string image = Storage::SnapshotImagePath(dir, row);
        const std::string lunImage = dir + "/" + lun.file_path;
        // Next to the LUN file: a LUN in a subvolume gets it in its subvolume.
        const std::string restoring = lunImage + ".restoring";
        std::remove(restoring.c_str());
        if (!Storage::CopyImage(image, restoring)) {
            syslog(LOG_ERR, "iSCSI storage: cannot copy the snapshot file %s into %s: %s", image.c_str(),
                   restoring.c_str(), std::strerror(errno));
            return ISCSI_ERR_SNAPSHOT_FILE;
        }
        const bool ok = FitRestoredFile(restoring, lun.size, !Storage::IsThinType(lun.type));
        if (!ok || std::rename(restoring.c_str(), lunImage.c_str()) != 0) {
            syslog(LOG_ERR, "iSCSI storage: cannot put the restored file %s in place of %s: %s",
                   restoring.c_str(), lunImage.c_str(), std::strerror(errno));
            std::remove(restoring.c_str());
            return ISCSI_ERR_SNAPSHOT_FILE;
        }
        SyncDir(std::filesystem::path(lunImage).parent_path().string());
        Storage::ReopenLunInTargetEngine(ctx, lun.uuid); // target engine (T): tgtd opens the new file
        syslog(LOG_INFO, "iSCSI storage: LUN %s restored from its snapshot %s (%s)", lun.uuid.c_str(),
               row.uuid.c_str(), row.name.c_str());
        return 0;
    });
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
