// The schema step of targets, their access lists, portals and LUN mappings.
//
// Rows that belong to a LUN or a snapshot reference it with ON DELETE CASCADE, so that deleting
// a LUN or a snapshot also drops its mappings, its whitelist and its load state in the same
// transaction; the target engine then takes the matching logical units out of tgtd.
#include "config/Schema.h"

namespace ISCSI {
namespace Storage {

const char* TargetSchemaSql()
{
    return R"SQL(
CREATE TABLE targets (
    tid                 INTEGER PRIMARY KEY CHECK (tid >= 1 AND tid <= 1024),
    name                TEXT    NOT NULL UNIQUE,
    iqn                 TEXT    NOT NULL UNIQUE COLLATE NOCASE,
    is_enabled          INTEGER NOT NULL DEFAULT 1,
    has_header_checksum INTEGER NOT NULL DEFAULT 0,
    has_data_checksum   INTEGER NOT NULL DEFAULT 0,
    max_recv_seg_bytes  INTEGER NOT NULL,
    max_send_seg_bytes  INTEGER NOT NULL,
    max_sessions        INTEGER NOT NULL DEFAULT 1,
    auth_type           INTEGER NOT NULL DEFAULT 0 CHECK (auth_type BETWEEN 0 AND 2),
    chap_user           TEXT    NOT NULL DEFAULT '',
    chap_password       TEXT    NOT NULL DEFAULT '',
    mutual_user         TEXT    NOT NULL DEFAULT '',
    mutual_password     TEXT    NOT NULL DEFAULT '',
    created_at          INTEGER NOT NULL
);
CREATE TABLE target_acls (
    tid           INTEGER NOT NULL REFERENCES targets (tid) ON DELETE CASCADE,
    initiator_iqn TEXT    NOT NULL COLLATE NOCASE,
    authority     INTEGER NOT NULL CHECK (authority IN (0, 1, 3)),
    PRIMARY KEY (tid, initiator_iqn)
);
CREATE TABLE target_portals (
    id             INTEGER PRIMARY KEY AUTOINCREMENT,
    tid            INTEGER NOT NULL REFERENCES targets (tid) ON DELETE CASCADE,
    ip             TEXT    NOT NULL DEFAULT '',
    interface_name TEXT    NOT NULL DEFAULT '',
    port           INTEGER NOT NULL CHECK (port BETWEEN 1 AND 65535),
    tpgt           INTEGER NOT NULL DEFAULT 0,
    UNIQUE (tid, ip, interface_name, port)
);
CREATE TABLE target_luns (
    tid        INTEGER NOT NULL REFERENCES targets (tid) ON DELETE CASCADE,
    lun_uuid   TEXT    NOT NULL REFERENCES luns (uuid) ON DELETE CASCADE,
    lun_number INTEGER NOT NULL CHECK (lun_number >= 1),
    PRIMARY KEY (tid, lun_uuid),
    UNIQUE (tid, lun_number)
);
CREATE INDEX target_luns_lun ON target_luns (lun_uuid);
CREATE TABLE target_snapshot_luns (
    tid           INTEGER NOT NULL REFERENCES targets (tid) ON DELETE CASCADE,
    snapshot_uuid TEXT    NOT NULL REFERENCES snapshots (uuid) ON DELETE CASCADE,
    lun_number    INTEGER NOT NULL CHECK (lun_number >= 1),
    PRIMARY KEY (tid, snapshot_uuid),
    UNIQUE (tid, lun_number)
);
CREATE TABLE loaded_snapshots (
    snapshot_uuid TEXT PRIMARY KEY NOT NULL REFERENCES snapshots (uuid) ON DELETE CASCADE
);
CREATE TABLE unloaded_luns (
    lun_uuid TEXT PRIMARY KEY NOT NULL REFERENCES luns (uuid) ON DELETE CASCADE
);
CREATE TABLE lun_whitelist (
    lun_uuid TEXT    NOT NULL REFERENCES luns (uuid) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    address  TEXT    NOT NULL,
    PRIMARY KEY (lun_uuid, position)
);
CREATE TABLE target_engine_settings (
    key   TEXT PRIMARY KEY NOT NULL,
    value TEXT NOT NULL
);
)SQL";
}

} // namespace Storage
} // namespace ISCSI
