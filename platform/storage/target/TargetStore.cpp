// Target rows of the configuration database.
#include "target/TargetStore.h"

#include <iscsi/ISCSIErrors.h>

#include <set>

namespace ISCSI {
namespace Storage {
namespace {

constexpr int kNoSuchTarget = 18990710;

const char kTargetColumns[] =
    "SELECT tid, name, iqn, is_enabled, has_header_checksum, has_data_checksum, max_recv_seg_bytes, "
    "max_send_seg_bytes, max_sessions, auth_type, chap_user, chap_password, mutual_user, mutual_password, "
    "created_at FROM targets ";

void ReadTarget(const Statement& st, TargetRow& row)
{
    row.tid = static_cast<int>(st.integer(0));
    row.name = st.text(1);
    row.iqn = st.text(2);
    row.is_enabled = st.integer(3) != 0;
    row.has_header_checksum = st.integer(4) != 0;
    row.has_data_checksum = st.integer(5) != 0;
    row.max_recv_seg_bytes = static_cast<unsigned int>(st.integer(6));
    row.max_send_seg_bytes = static_cast<unsigned int>(st.integer(7));
    row.max_sessions = static_cast<unsigned int>(st.integer(8));
    row.auth_type = static_cast<int>(st.integer(9));
    row.user = st.text(10);
    row.password = st.text(11);
    row.mutual_user = st.text(12);
    row.mutual_password = st.text(13);
    row.created_at = st.integer(14);
}

int FindOneTarget(ConfigDB& db, const char* where, const std::string& key, std::int64_t number, bool byNumber,
                  TargetRow& row)
{
    Statement st(db, (std::string(kTargetColumns) + where).c_str());
    if (byNumber)
        st.bind(1, number);
    else
        st.bind(1, key);
    const int rc = st.step();
    if (rc == SQLITE_ROW) {
        ReadTarget(st, row);
        return 0;
    }
    return rc == SQLITE_DONE ? kNoSuchTarget : ISCSI_ERR_DATABASE;
}

int Run(Statement& st)
{
    return st.run() ? 0 : ISCSI_ERR_DATABASE;
}

// Runs a statement with one key bound to ?1.
int Run(ConfigDB& db, const char* sql, const std::string& key)
{
    Statement st(db, sql);
    st.bind(1, key);
    return Run(st);
}

int Run(ConfigDB& db, const char* sql, int tid)
{
    Statement st(db, sql);
    st.bind(1, static_cast<std::int64_t>(tid));
    return Run(st);
}

void BindTarget(Statement& st, const TargetRow& row)
{
    st.bind(1, static_cast<std::int64_t>(row.tid))
        .bind(2, row.name)
        .bind(3, row.iqn)
        .bind(4, static_cast<std::int64_t>(row.is_enabled ? 1 : 0))
        .bind(5, static_cast<std::int64_t>(row.has_header_checksum ? 1 : 0))
        .bind(6, static_cast<std::int64_t>(row.has_data_checksum ? 1 : 0))
        .bind(7, static_cast<std::int64_t>(row.max_recv_seg_bytes))
        .bind(8, static_cast<std::int64_t>(row.max_send_seg_bytes))
        .bind(9, static_cast<std::int64_t>(row.max_sessions))
        .bind(10, static_cast<std::int64_t>(row.auth_type))
        .bind(11, row.user)
        .bind(12, row.password)
        .bind(13, row.mutual_user)
        .bind(14, row.mutual_password)
        .bind(15, static_cast<std::int64_t>(row.created_at));
}

// The LUN numbers in use on a target, by LUNs and snapshots alike.
int UsedNumbers(ConfigDB& db, int tid, std::set<int>& used)
{
    Statement st(db, "SELECT lun_number FROM target_luns WHERE tid = ?1 "
                     "UNION SELECT lun_number FROM target_snapshot_luns WHERE tid = ?1;");
    st.bind(1, static_cast<std::int64_t>(tid));
    int rc;
    while ((rc = st.step()) == SQLITE_ROW)
        used.insert(static_cast<int>(st.integer(0)));
    return rc == SQLITE_DONE ? 0 : ISCSI_ERR_DATABASE;
}

int FreeNumber(ConfigDB& db, int tid, int& number)
{
    std::set<int> used;
    if (UsedNumbers(db, tid, used) != 0)
        return ISCSI_ERR_DATABASE;
    for (int n = 1; n <= kMaxTargetLunNumber; ++n) {
        if (used.count(n) == 0) {
            number = n;
            return 0;
        }
    }
    return ISCSI_ERR_NO_FREE_LUN_NUMBER;
}

// Maps a LUN or a snapshot (key) to a target with the lowest free number unless the mapping
// exists already: existsSql and insertSql take the target as ?1 and the key as ?2, insertSql
// the number as ?3.
int MapUnit(ConfigDB& db, int tid, const std::string& key, const char* existsSql, const char* insertSql)
{
    bool exists = false;
    Statement query(db, existsSql);
    if (!query.bind(1, static_cast<std::int64_t>(tid)).bind(2, key).exists(exists))
        return ISCSI_ERR_DATABASE;
    if (exists)
        return 0;
    int number = 0;
    const int rc = FreeNumber(db, tid, number);
    if (rc != 0)
        return rc;
    Statement st(db, insertSql);
    st.bind(1, static_cast<std::int64_t>(tid)).bind(2, key).bind(3, static_cast<std::int64_t>(number));
    return Run(st);
}

} // namespace

int FindTarget(ConfigDB& db, int tid, TargetRow& row)
{
    return FindOneTarget(db, "WHERE tid = ?1;", "", tid, true, row);
}

int FindTargetByIqn(ConfigDB& db, const std::string& iqn, TargetRow& row)
{
    return FindOneTarget(db, "WHERE iqn = ?1;", iqn, 0, false, row);
}

int FindTargetByName(ConfigDB& db, const std::string& name, TargetRow& row)
{
    return FindOneTarget(db, "WHERE name = ?1;", name, 0, false, row);
}

int ListTargetRows(ConfigDB& db, std::vector<TargetRow>& rows)
{
    Statement st(db, (std::string(kTargetColumns) + "ORDER BY tid;").c_str());
    std::vector<TargetRow> found;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) {
        TargetRow row;
        ReadTarget(st, row);
        found.push_back(std::move(row));
    }
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    rows = std::move(found);
    return 0;
}

int NextTid(ConfigDB& db, int& tid)
{
    Statement st(db, "SELECT tid FROM targets ORDER BY tid;");
    int expected = 1;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) {
        if (st.integer(0) != expected)
            break;
        ++expected;
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    if (expected > kMaxTid)
        return 1;
    tid = expected;
    return 0;
}

int InsertTarget(ConfigDB& db, const TargetRow& row)
{
    Statement st(db,
                 "INSERT INTO targets (tid, name, iqn, is_enabled, has_header_checksum, has_data_checksum, "
                 "max_recv_seg_bytes, max_send_seg_bytes, max_sessions, auth_type, chap_user, chap_password, "
                 "mutual_user, mutual_password, created_at) "
                 "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15);");
    BindTarget(st, row);
    return Run(st);
}

int UpdateTarget(ConfigDB& db, const TargetRow& row)
{
    Statement st(db, "UPDATE targets SET name = ?2, iqn = ?3, is_enabled = ?4, has_header_checksum = ?5, "
                     "has_data_checksum = ?6, max_recv_seg_bytes = ?7, max_send_seg_bytes = ?8, "
                     "max_sessions = ?9, auth_type = ?10, chap_user = ?11, chap_password = ?12, "
                     "mutual_user = ?13, mutual_password = ?14, created_at = ?15 WHERE tid = ?1;");
    BindTarget(st, row);
    return Run(st);
}

int DeleteTarget(ConfigDB& db, int tid)
{
    return Run(db, "DELETE FROM targets WHERE tid = ?1;", tid);
}

int ListAcls(ConfigDB& db, int tid, std::map<std::string, ISCSI_TARGET_AUTHORITY>& acls)
{
    Statement st(db,
                 "SELECT initiator_iqn, authority FROM target_acls WHERE tid = ?1 ORDER BY initiator_iqn;");
    st.bind(1, static_cast<std::int64_t>(tid));
    std::map<std::string, ISCSI_TARGET_AUTHORITY> found;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW)
        found[st.text(0)] = static_cast<ISCSI_TARGET_AUTHORITY>(st.integer(1));
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    acls = std::move(found);
    return 0;
}

int ReplaceAcls(ConfigDB& db, int tid, const std::map<std::string, ISCSI_TARGET_AUTHORITY>& acls)
{
    if (Run(db, "DELETE FROM target_acls WHERE tid = ?1;", tid) != 0)
        return ISCSI_ERR_DATABASE;
    for (const auto& acl : acls) {
        Statement st(
            db, "INSERT OR REPLACE INTO target_acls (tid, initiator_iqn, authority) VALUES (?1, ?2, ?3);");
        st.bind(1, static_cast<std::int64_t>(tid))
            .bind(2, acl.first)
            .bind(3, static_cast<std::int64_t>(acl.second));
        if (Run(st) != 0)
            return ISCSI_ERR_DATABASE;
    }
    return 0;
}

int ListPortals(ConfigDB& db, int tid, std::vector<PortalRow>& rows)
{
    Statement st(
        db, tid > 0 ? "SELECT id, tid, ip, interface_name, port, tpgt FROM target_portals WHERE tid = ?1 "
                      "ORDER BY id;"
                    : "SELECT id, tid, ip, interface_name, port, tpgt FROM target_portals ORDER BY id;");
    if (tid > 0)
        st.bind(1, static_cast<std::int64_t>(tid));
    std::vector<PortalRow> found;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) {
        PortalRow row;
        row.id = st.integer(0);
        row.tid = static_cast<int>(st.integer(1));
        row.ip = st.text(2);
        row.interface_name = st.text(3);
        row.port = static_cast<unsigned int>(st.integer(4));
        row.tpgt = static_cast<unsigned int>(st.integer(5));
        found.push_back(std::move(row));
    }
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    rows = std::move(found);
    return 0;
}

int AddPortal(ConfigDB& db, const PortalRow& row)
{
    Statement st(db, "INSERT OR IGNORE INTO target_portals (tid, ip, interface_name, port, tpgt) "
                     "VALUES (?1, ?2, ?3, ?4, ?5);");
    st.bind(1, static_cast<std::int64_t>(row.tid))
        .bind(2, row.ip)
        .bind(3, row.interface_name)
        .bind(4, static_cast<std::int64_t>(row.port))
        .bind(5, static_cast<std::int64_t>(row.tpgt));
    return Run(st);
}

int RemovePortal(ConfigDB& db, const PortalRow& row)
{
    Statement st(
        db, "DELETE FROM target_portals WHERE tid = ?1 AND ip = ?2 AND interface_name = ?3 AND port = ?4;");
    st.bind(1, static_cast<std::int64_t>(row.tid))
        .bind(2, row.ip)
        .bind(3, row.interface_name)
        .bind(4, static_cast<std::int64_t>(row.port));
    return Run(st);
}

int ListTargetLuns(ConfigDB& db, int tid, std::vector<TargetLunRow>& rows)
{
    const std::string where = tid > 0 ? " WHERE m.tid = ?1" : "";
    const std::string sql = "SELECT m.tid, m.lun_number, m.lun_uuid, '' FROM target_luns m" + where +
                            " UNION ALL SELECT m.tid, m.lun_number, s.lun_uuid, m.snapshot_uuid "
                            "FROM target_snapshot_luns m JOIN snapshots s ON s.uuid = m.snapshot_uuid" +
                            where + " ORDER BY 1, 2;";
    Statement st(db, sql.c_str());
    if (tid > 0)
        st.bind(1, static_cast<std::int64_t>(tid));
    std::vector<TargetLunRow> found;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) {
        TargetLunRow row;
        row.tid = static_cast<int>(st.integer(0));
        row.lun_number = static_cast<int>(st.integer(1));
        row.lun_uuid = st.text(2);
        row.snapshot_uuid = st.text(3);
        found.push_back(std::move(row));
    }
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    rows = std::move(found);
    return 0;
}

int ListLunTargets(ConfigDB& db, const std::string& lunUuid, std::vector<int>& tids)
{
    Statement st(db, "SELECT tid FROM target_luns WHERE lun_uuid = ?1 ORDER BY tid;");
    st.bind(1, lunUuid);
    std::vector<int> found;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW)
        found.push_back(static_cast<int>(st.integer(0)));
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    tids = std::move(found);
    return 0;
}

int MapLun(ConfigDB& db, int tid, const std::string& lunUuid)
{
    return MapUnit(db, tid, lunUuid, "SELECT 1 FROM target_luns WHERE tid = ?1 AND lun_uuid = ?2;",
                   "INSERT INTO target_luns (tid, lun_uuid, lun_number) VALUES (?1, ?2, ?3);");
}

int MapSnapshot(ConfigDB& db, int tid, const std::string& snapshotUuid)
{
    return MapUnit(db, tid, snapshotUuid,
                   "SELECT 1 FROM target_snapshot_luns WHERE tid = ?1 AND snapshot_uuid = ?2;",
                   "INSERT INTO target_snapshot_luns (tid, snapshot_uuid, lun_number) VALUES (?1, ?2, ?3);");
}

int UnmapLun(ConfigDB& db, int tid, const std::string& lunUuid)
{
    Statement st(db, "DELETE FROM target_luns WHERE tid = ?1 AND lun_uuid = ?2;");
    st.bind(1, static_cast<std::int64_t>(tid)).bind(2, lunUuid);
    if (Run(st) != 0)
        return ISCSI_ERR_DATABASE;
    Statement snaps(db, "DELETE FROM target_snapshot_luns WHERE tid = ?1 AND snapshot_uuid IN "
                        "(SELECT uuid FROM snapshots WHERE lun_uuid = ?2);");
    snaps.bind(1, static_cast<std::int64_t>(tid)).bind(2, lunUuid);
    return Run(snaps);
}

int UnmapSnapshotEverywhere(ConfigDB& db, const std::string& snapshotUuid)
{
    return Run(db, "DELETE FROM target_snapshot_luns WHERE snapshot_uuid = ?1;", snapshotUuid);
}

int IsLunLoaded(ConfigDB& db, const std::string& lunUuid, bool& loaded)
{
    bool unloaded = false;
    Statement query(db, "SELECT 1 FROM unloaded_luns WHERE lun_uuid = ?1;");
    if (!query.bind(1, lunUuid).exists(unloaded))
        return ISCSI_ERR_DATABASE;
    loaded = !unloaded;
    return 0;
}

int SetLunLoaded(ConfigDB& db, const std::string& lunUuid, bool loaded)
{
    return Run(db,
               loaded ? "DELETE FROM unloaded_luns WHERE lun_uuid = ?1;"
                      : "INSERT OR IGNORE INTO unloaded_luns (lun_uuid) VALUES (?1);",
               lunUuid);
}

int ListLoadedSnapshots(ConfigDB& db, const std::string& lunUuid, std::vector<std::string>& snapshotUuids)
{
    Statement st(
        db, "SELECT l.snapshot_uuid FROM loaded_snapshots l JOIN snapshots s ON s.uuid = l.snapshot_uuid "
            "WHERE s.lun_uuid = ?1 ORDER BY s.snapshot_id;");
    return st.bind(1, lunUuid).readTexts(snapshotUuids) ? 0 : ISCSI_ERR_DATABASE;
}

int SetSnapshotLoaded(ConfigDB& db, const std::string& snapshotUuid, bool loaded)
{
    return Run(db,
               loaded ? "INSERT OR IGNORE INTO loaded_snapshots (snapshot_uuid) VALUES (?1);"
                      : "DELETE FROM loaded_snapshots WHERE snapshot_uuid = ?1;",
               snapshotUuid);
}

int ListWhitelist(ConfigDB& db, const std::string& lunUuid, std::vector<std::string>& addresses)
{
    Statement st(db, "SELECT address FROM lun_whitelist WHERE lun_uuid = ?1 ORDER BY position;");
    return st.bind(1, lunUuid).readTexts(addresses) ? 0 : ISCSI_ERR_DATABASE;
}

int ReplaceWhitelist(ConfigDB& db, const std::string& lunUuid, const std::vector<std::string>& addresses)
{
    if (Run(db, "DELETE FROM lun_whitelist WHERE lun_uuid = ?1;", lunUuid) != 0)
        return ISCSI_ERR_DATABASE;
    std::int64_t position = 0;
    for (const auto& address : addresses) {
        Statement st(db, "INSERT INTO lun_whitelist (lun_uuid, position, address) VALUES (?1, ?2, ?3);");
        st.bind(1, lunUuid).bind(2, position++).bind(3, address);
        if (Run(st) != 0)
            return ISCSI_ERR_DATABASE;
    }
    return 0;
}

int GetEngineSetting(ConfigDB& db, const std::string& key, std::string& value)
{
    Statement st(db, "SELECT value FROM target_engine_settings WHERE key = ?1;");
    st.bind(1, key);
    const int rc = st.step();
    if (rc == SQLITE_ROW) {
        value = st.text(0);
        return 0;
    }
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    value.clear();
    return 0;
}

int SetEngineSetting(ConfigDB& db, const std::string& key, const std::string& value)
{
    Statement st(db, "INSERT OR REPLACE INTO target_engine_settings (key, value) VALUES (?1, ?2);");
    st.bind(1, key).bind(2, value);
    return Run(st);
}

} // namespace Storage
} // namespace ISCSI
