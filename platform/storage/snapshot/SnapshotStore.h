// The snapshot rows of the configuration database, their application-key locks, and the image
// files that hold the data of snapshots.
//
// A snapshot of a LUN is one row of the table snapshots and one file
// "<volume dir>/@iscsi/snapshots/<lun uuid>/<snapshot uuid>.img": the image of the LUN file at
// the moment it was taken, a reflink where the file system shares extents (FICLONE), else a
// sparse-aware copy of the data extents.
#pragma once

#include "context/LibraryContext.h"

#include <iscsi/ISCSISnapshotInfo.h>

#include <map>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

// The code of a snapshot identifier that names no snapshot.
constexpr int kNoSuchSnapshot = 18990520;

// One row of the table snapshots.
struct SnapshotRow {
    std::string uuid;
    std::string lun_uuid;
    int snapshot_id = 0; // 1 and up, within its LUN
    std::string version;
    std::string name; // unique within its LUN
    std::string description;
    std::string taken_by;
    long long snapshot_time = 0; // seconds since the epoch
    int type = ISCSI_SNAPSHOT_TYPE_NONE;
    std::string location; // the volume of the LUN, "/volume1"
    unsigned long long size = 0;
    bool is_user_locked = false;
    bool is_app_consistent = false;
    bool is_scheduled = false;
    std::string status;
    long long created_at = 0;
    std::string file_path; // relative to the volume directory
};

// Row lookups: 0, 18990520 when there is no such snapshot, or ISCSI_ERR_DATABASE.
int FindSnapshotByUuid(ConfigDB& db, const std::string& uuid, SnapshotRow& row);
// The snapshots of every LUN that have the name. 0 or ISCSI_ERR_DATABASE.
int FindSnapshotsByName(ConfigDB& db, const std::string& name, std::vector<SnapshotRow>& rows);
// The snapshots of lunUuid by snapshot id, or of every LUN (by LUN, then id) when lunUuid is
// empty. 0 or ISCSI_ERR_DATABASE.
int ListSnapshotRows(ConfigDB& db, const std::string& lunUuid, std::vector<SnapshotRow>& rows);
// The number of snapshots of a LUN. 0 or ISCSI_ERR_DATABASE.
int CountSnapshots(ConfigDB& db, const std::string& lunUuid, int& count);
// Whether a snapshot of lunUuid other than exceptUuid has the name: 0 (none),
// ISCSI_ERR_SNAPSHOT_NAME_EXISTS or ISCSI_ERR_DATABASE.
int CheckSnapshotNameFree(ConfigDB& db, const std::string& lunUuid, const std::string& name,
                          const std::string& exceptUuid);
// The next snapshot id of a LUN: one more than its highest. 0 or ISCSI_ERR_DATABASE.
int NextSnapshotId(ConfigDB& db, const std::string& lunUuid, int& id);
// Row changes, inside the caller's transaction; 0 or ISCSI_ERR_DATABASE.
int InsertSnapshotRow(ConfigDB& db, const SnapshotRow& row);
int UpdateSnapshotRow(ConfigDB& db, const SnapshotRow& row);
int DeleteSnapshotRow(ConfigDB& db, const std::string& uuid);

// The application keys that lock a snapshot, sorted. 0 or ISCSI_ERR_DATABASE.
int ListAppKeys(ConfigDB& db, const std::string& snapshotUuid, std::vector<std::string>& keys);
// Adds (removes) the lock of one key; a key that is already there (not there) is no error.
// 0 or ISCSI_ERR_DATABASE.
int AddAppKey(ConfigDB& db, const std::string& snapshotUuid, const std::string& appKey);
int RemoveAppKey(ConfigDB& db, const std::string& snapshotUuid, const std::string& appKey);
// 0 when the snapshot may be deleted, ISCSI_ERR_SNAPSHOT_LOCKED when it is user-locked or
// holds an application key, or ISCSI_ERR_DATABASE.
int CheckSnapshotDeletable(ConfigDB& db, const SnapshotRow& row);
// The same for every snapshot of a LUN.
int CheckLunSnapshotsDeletable(ConfigDB& db, const std::string& lunUuid);
// Deletes the rows of every snapshot of a LUN (and their locks), inside the caller's
// transaction. 0 or ISCSI_ERR_DATABASE.
int DeleteLunSnapshotRows(ConfigDB& db, const std::string& lunUuid);

// The record fields of a row (the facts of the load flags are left as they are).
void SnapshotRowToRecord(const SnapshotRow& row, ISCSISnapshotInfo& record);

// The directory of the snapshot images of a LUN: "<volume dir>/@iscsi/snapshots/<lun uuid>".
std::string SnapshotDir(const std::string& volumeDir, const std::string& lunUuid);
// The path of the image of a row in the volume directory.
std::string SnapshotImagePath(const std::string& volumeDir, const SnapshotRow& row);

// How CopyImage made its copy.
enum class CopyMethod { Reflink, SparseCopy };

// Makes dst (which must not exist) hold the data of src: a reflink (ioctl FICLONE) where the
// file system allows it, else a copy of src's data extents (SEEK_DATA/SEEK_HOLE, then
// copy_file_range per extent, or read and write where that is refused) and ftruncate to src's
// length, so that the holes of src stay holes. dst is synced before the answer. True on
// success; on failure nothing is left at dst and errno tells why.
bool CopyImage(const std::string& src, const std::string& dst, CopyMethod* method = nullptr);
// The same from a source the caller opened.
bool CopyImage(int src, const std::string& dst, CopyMethod* method = nullptr);

// Renames the snapshot directory of a LUN to "<lun uuid>.deleting", for a LUN deletion that is
// about to be committed; aside receives the new name, or stays empty when the LUN had no
// directory. False when the rename failed.
bool MoveSnapshotDirAside(const std::string& volumeDir, const std::string& lunUuid, std::string& aside);
// Undoes MoveSnapshotDirAside after a deletion that could not be committed.
void PutSnapshotDirBack(const std::string& volumeDir, const std::string& lunUuid, const std::string& aside);
// Removes a directory that MoveSnapshotDirAside put aside, once the deletion is committed.
void RemoveSnapshotDirAside(const std::string& aside);

// Start-up: finishes or undoes the changes of snapshot files that a dead process left, in
// every volume (see docs/storage.md).
void ReconcileSnapshotFiles(ConfigDB& db, const std::map<std::string, std::string>& volumes);

} // namespace Storage
} // namespace ISCSI
