// Snapshot rows, application-key locks and snapshot image files.
#include "snapshot/SnapshotStore.h"

#include "clone/CopyEngine.h"
#include "util/Fd.h"

#include <iscsi/ISCSIErrors.h>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <vector>

namespace ISCSI {
namespace Storage {
namespace {

namespace fs = std::filesystem;

const char kSelectColumns[] =
    "SELECT uuid, lun_uuid, snapshot_id, version, name, description, taken_by, snapshot_time, type, "
    "location, size, is_user_locked, is_app_consistent, is_scheduled, status, created_at, file_path "
    "FROM snapshots ";

void ReadRow(const Statement& st, SnapshotRow& row)
{
    row.uuid = st.text(0);
    row.lun_uuid = st.text(1);
    row.snapshot_id = static_cast<int>(st.integer(2));
    row.version = st.text(3);
    row.name = st.text(4);
    row.description = st.text(5);
    row.taken_by = st.text(6);
    row.snapshot_time = st.integer(7);
    row.type = static_cast<int>(st.integer(8));
    row.location = st.text(9);
    row.size = static_cast<unsigned long long>(st.integer(10));
    row.is_user_locked = st.integer(11) != 0;
    row.is_app_consistent = st.integer(12) != 0;
    row.is_scheduled = st.integer(13) != 0;
    row.status = st.text(14);
    row.created_at = st.integer(15);
    row.file_path = st.text(16);
}

// Binds the columns of a row in the order of kSelectColumns.
void BindRow(Statement& st, const SnapshotRow& row)
{
    st.bind(1, row.uuid)
        .bind(2, row.lun_uuid)
        .bind(3, static_cast<std::int64_t>(row.snapshot_id))
        .bind(4, row.version)
        .bind(5, row.name)
        .bind(6, row.description)
        .bind(7, row.taken_by)
        .bind(8, static_cast<std::int64_t>(row.snapshot_time))
        .bind(9, static_cast<std::int64_t>(row.type))
        .bind(10, row.location)
        .bind(11, static_cast<std::int64_t>(row.size))
        .bind(12, static_cast<std::int64_t>(row.is_user_locked ? 1 : 0))
        .bind(13, static_cast<std::int64_t>(row.is_app_consistent ? 1 : 0))
        .bind(14, static_cast<std::int64_t>(row.is_scheduled ? 1 : 0))
        .bind(15, row.status)
        .bind(16, static_cast<std::int64_t>(row.created_at))
        .bind(17, row.file_path);
}

int ReadRows(Statement& st, std::vector<SnapshotRow>& rows)
{
    std::vector<SnapshotRow> found;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) {
        SnapshotRow row;
        ReadRow(st, row);
        found.push_back(std::move(row));
    }
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    rows = std::move(found);
    return 0;
}

bool EndsWith(const std::string& text, const std::string& suffix)
{
    return text.size() > suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool RowExists(ConfigDB& db, const char* sql, const std::string& key, bool& exists)
{
    return Statement(db, sql).bind(1, key).exists(exists);
}

// The pending image files of one LUN's snapshot directory: "<uuid>.img.creating" and
// "<uuid>.img.deleting" are renamed back to "<uuid>.img" when the snapshot's row exists and
// removed when it does not.
void ReconcileLunSnapshotDir(ConfigDB& db, const fs::path& dir)
{
    std::error_code ec;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        std::string uuid;
        for (const char* suffix : {".img.creating", ".img.deleting"}) {
            if (EndsWith(name, suffix))
                uuid = name.substr(0, name.size() - std::string(suffix).size());
        }
        if (uuid.empty())
            continue;
        bool exists = false;
        if (!RowExists(db, "SELECT 1 FROM snapshots WHERE uuid = ?1;", uuid, exists))
            continue;
        const fs::path image = dir / (uuid + ".img");
        std::error_code present;
        if (exists && !fs::exists(image, present))
            std::rename(it->path().c_str(), image.c_str());
        else
            std::remove(it->path().c_str());
    }
}

} // namespace

int FindSnapshotByUuid(ConfigDB& db, const std::string& uuid, SnapshotRow& row)
{
    Statement st(db, (std::string(kSelectColumns) + "WHERE uuid = ?1;").c_str());
    const int rc = st.bind(1, uuid).step();
    if (rc == SQLITE_ROW) {
        ReadRow(st, row);
        return 0;
    }
    return rc == SQLITE_DONE ? kNoSuchSnapshot : ISCSI_ERR_DATABASE;
}

int FindSnapshotsByName(ConfigDB& db, const std::string& name, std::vector<SnapshotRow>& rows)
{
    Statement st(db, (std::string(kSelectColumns) + "WHERE name = ?1 ORDER BY lun_uuid;").c_str());
    st.bind(1, name);
    return ReadRows(st, rows);
}

int ListSnapshotRows(ConfigDB& db, const std::string& lunUuid, std::vector<SnapshotRow>& rows)
{
    if (lunUuid.empty()) {
        Statement st(db, (std::string(kSelectColumns) + "ORDER BY lun_uuid, snapshot_id;").c_str());
        return ReadRows(st, rows);
    }
    Statement st(db, (std::string(kSelectColumns) + "WHERE lun_uuid = ?1 ORDER BY snapshot_id;").c_str());
    st.bind(1, lunUuid);
    return ReadRows(st, rows);
}

int CountSnapshots(ConfigDB& db, const std::string& lunUuid, int& count)
{
    Statement st(db, "SELECT COUNT(*) FROM snapshots WHERE lun_uuid = ?1;");
    if (st.bind(1, lunUuid).step() != SQLITE_ROW)
        return ISCSI_ERR_DATABASE;
    count = static_cast<int>(st.integer(0));
    return 0;
}

int CheckSnapshotNameFree(ConfigDB& db, const std::string& lunUuid, const std::string& name,
                          const std::string& exceptUuid)
{
    Statement st(db, "SELECT 1 FROM snapshots WHERE lun_uuid = ?1 AND name = ?2 AND uuid <> ?3;");
    const int rc = st.bind(1, lunUuid).bind(2, name).bind(3, exceptUuid).step();
    if (rc == SQLITE_ROW)
        return ISCSI_ERR_SNAPSHOT_NAME_EXISTS;
    return rc == SQLITE_DONE ? 0 : ISCSI_ERR_DATABASE;
}

int NextSnapshotId(ConfigDB& db, const std::string& lunUuid, int& id)
{
    Statement st(db, "SELECT COALESCE(MAX(snapshot_id), 0) FROM snapshots WHERE lun_uuid = ?1;");
    if (st.bind(1, lunUuid).step() != SQLITE_ROW)
        return ISCSI_ERR_DATABASE;
    id = static_cast<int>(st.integer(0)) + 1;
    return 0;
}

int InsertSnapshotRow(ConfigDB& db, const SnapshotRow& row)
{
    Statement st(db,
                 "INSERT INTO snapshots (uuid, lun_uuid, snapshot_id, version, name, description, taken_by, "
                 "snapshot_time, type, location, size, is_user_locked, is_app_consistent, is_scheduled, "
                 "status, created_at, file_path) "
                 "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17);");
    BindRow(st, row);
    return st.run() ? 0 : ISCSI_ERR_DATABASE;
}

int UpdateSnapshotRow(ConfigDB& db, const SnapshotRow& row)
{
    Statement st(db, "UPDATE snapshots SET lun_uuid = ?2, snapshot_id = ?3, version = ?4, name = ?5, "
                     "description = ?6, taken_by = ?7, snapshot_time = ?8, type = ?9, location = ?10, "
                     "size = ?11, is_user_locked = ?12, is_app_consistent = ?13, is_scheduled = ?14, "
                     "status = ?15, created_at = ?16, file_path = ?17 WHERE uuid = ?1;");
    BindRow(st, row);
    return st.run() ? 0 : ISCSI_ERR_DATABASE;
}

int DeleteSnapshotRow(ConfigDB& db, const std::string& uuid)
{
    Statement st(db, "DELETE FROM snapshots WHERE uuid = ?1;");
    return st.bind(1, uuid).run() ? 0 : ISCSI_ERR_DATABASE;
}

int ListAppKeys(ConfigDB& db, const std::string& snapshotUuid, std::vector<std::string>& keys)
{
    Statement st(db, "SELECT app_key FROM snapshot_app_locks WHERE snapshot_uuid = ?1 ORDER BY app_key;");
    return st.bind(1, snapshotUuid).readTexts(keys) ? 0 : ISCSI_ERR_DATABASE;
}

int AddAppKey(ConfigDB& db, const std::string& snapshotUuid, const std::string& appKey)
{
    Statement st(db, "INSERT OR IGNORE INTO snapshot_app_locks (snapshot_uuid, app_key, locked_at) "
                     "VALUES (?1, ?2, ?3);");
    st.bind(1, snapshotUuid).bind(2, appKey).bind(3, static_cast<std::int64_t>(std::time(nullptr)));
    return st.run() ? 0 : ISCSI_ERR_DATABASE;
}

int RemoveAppKey(ConfigDB& db, const std::string& snapshotUuid, const std::string& appKey)
{
    Statement st(db, "DELETE FROM snapshot_app_locks WHERE snapshot_uuid = ?1 AND app_key = ?2;");
    return st.bind(1, snapshotUuid).bind(2, appKey).run() ? 0 : ISCSI_ERR_DATABASE;
}

int CheckSnapshotDeletable(ConfigDB& db, const SnapshotRow& row)
{
    if (row.is_user_locked)
        return ISCSI_ERR_SNAPSHOT_LOCKED;
    bool locked = false;
    if (!RowExists(db, "SELECT 1 FROM snapshot_app_locks WHERE snapshot_uuid = ?1 LIMIT 1;", row.uuid,
                   locked))
        return ISCSI_ERR_DATABASE;
    return locked ? ISCSI_ERR_SNAPSHOT_LOCKED : 0;
}

int CheckLunSnapshotsDeletable(ConfigDB& db, const std::string& lunUuid)
{
    bool locked = false;
    if (!RowExists(db,
                   "SELECT 1 FROM snapshots s WHERE s.lun_uuid = ?1 AND (s.is_user_locked <> 0 OR EXISTS "
                   "(SELECT 1 FROM snapshot_app_locks l WHERE l.snapshot_uuid = s.uuid)) LIMIT 1;",
                   lunUuid, locked))
        return ISCSI_ERR_DATABASE;
    return locked ? ISCSI_ERR_SNAPSHOT_LOCKED : 0;
}

int DeleteLunSnapshotRows(ConfigDB& db, const std::string& lunUuid)
{
    Statement st(db, "DELETE FROM snapshots WHERE lun_uuid = ?1;");
    return st.bind(1, lunUuid).run() ? 0 : ISCSI_ERR_DATABASE;
}

void SnapshotRowToRecord(const SnapshotRow& row, ISCSISnapshotInfo& record)
{
    record.uuid = row.uuid;
    record.lun_uuid = row.lun_uuid;
    record.version = row.version;
    record.name = row.name;
    record.description = row.description;
    record.taken_by = row.taken_by;
    record.location = row.location;
    record.status = row.status;
    record.type = row.type;
    record.snapshot_id = row.snapshot_id;
    record.size = row.size;
    record.snapshot_time = static_cast<long>(row.snapshot_time);
    record.is_user_locked = row.is_user_locked;
    record.is_app_consistent = row.is_app_consistent;
    record.is_scheduled = row.is_scheduled;
}

std::string SnapshotDir(const std::string& volumeDir, const std::string& lunUuid)
{
    return LibraryContext::LunDir(volumeDir) + "/snapshots/" + lunUuid;
}

std::string SnapshotImagePath(const std::string& volumeDir, const SnapshotRow& row)
{
    return volumeDir + "/" + row.file_path;
}

bool CopyImage(const std::string& src, const std::string& dst, CopyMethod* method)
{
    const Fd in(::open(src.c_str(), O_RDONLY | O_CLOEXEC));
    return CopyImage(in.get(), dst, method);
}

bool CopyImage(int src, const std::string& dst, CopyMethod* method)
{
    CopyWay way = CopyWay::ExtentCopy;
    const int rc = CopyLunImage(src, dst, true, nullptr, &way);
    if (rc != 0) {
        errno = rc == ISCSI_ERR_NO_SPACE ? ENOSPC : EIO;
        return false;
    }
    if (method)
        *method = way == CopyWay::Reflink ? CopyMethod::Reflink : CopyMethod::SparseCopy;
    return true;
}

bool MoveSnapshotDirAside(const std::string& volumeDir, const std::string& lunUuid, std::string& aside)
{
    aside.clear();
    const std::string dir = SnapshotDir(volumeDir, lunUuid);
    const std::string doomed = dir + ".deleting";
    if (std::rename(dir.c_str(), doomed.c_str()) == 0) {
        aside = doomed;
        return true;
    }
    return errno == ENOENT;
}

void PutSnapshotDirBack(const std::string& volumeDir, const std::string& lunUuid, const std::string& aside)
{
    if (!aside.empty())
        std::rename(aside.c_str(), SnapshotDir(volumeDir, lunUuid).c_str());
}

void RemoveSnapshotDirAside(const std::string& aside)
{
    if (aside.empty())
        return;
    std::error_code ec;
    fs::remove_all(aside, ec);
}

// In each volume:
//   - "@iscsi/<lun uuid>.img.restoring", a restore that did not reach its rename, is removed
//     (the LUN file is still the one from before the restore);
//   - "@iscsi/snapshots/<lun uuid>.deleting", the snapshots of a LUN whose deletion did not
//     finish, is renamed back when the LUN's row exists and removed when it does not;
//   - "@iscsi/snapshots/<lun uuid>" of a LUN without a row is removed;
//   - inside the directory of a LUN, pending image files are sorted out by the snapshot rows.
void ReconcileSnapshotFiles(ConfigDB& db, const std::map<std::string, std::string>& volumes)
{
    for (const auto& volume : volumes) {
        const fs::path lunDir = LibraryContext::LunDir(volume.second);
        std::error_code ec;
        for (fs::directory_iterator it(lunDir, ec), end; !ec && it != end; it.increment(ec)) {
            if (EndsWith(it->path().filename().string(), ".img.restoring"))
                std::remove(it->path().c_str());
        }
        const fs::path snapRoot = lunDir / "snapshots";
        std::vector<fs::path> entries;
        for (fs::directory_iterator it(snapRoot, ec), end; !ec && it != end; it.increment(ec))
            entries.push_back(it->path());
        for (const fs::path& entry : entries) {
            std::string name = entry.filename().string();
            const bool deleting = EndsWith(name, ".deleting");
            if (deleting)
                name = name.substr(0, name.size() - std::string(".deleting").size());
            bool lunExists = false;
            if (!RowExists(db, "SELECT 1 FROM luns WHERE uuid = ?1;", name, lunExists))
                continue;
            std::error_code rmEc;
            if (!lunExists) {
                fs::remove_all(entry, rmEc);
                continue;
            }
            fs::path dir = entry;
            if (deleting) {
                const fs::path back = snapRoot / name;
                std::error_code present;
                if (fs::exists(back, present)) {
                    fs::remove_all(entry, rmEc);
                    continue;
                }
                if (std::rename(entry.c_str(), back.c_str()) != 0)
                    continue;
                dir = back;
            }
            ReconcileLunSnapshotDir(db, dir);
        }
    }
}

} // namespace Storage
} // namespace ISCSI
