// The schema step of the service log, the local node settings and virtual LUNs.
#include "config/Schema.h"

namespace ISCSI {
namespace Storage {

// service_log: one row per line of the service's log. AUTOINCREMENT keeps ids growing after the
// log was cleared or trimmed, so an id never names two lines.
// node_settings: the local node's settings and keys, one row per name; absent names have their
// default (see node/NodeSettings.h).
// vluns: virtual LUNs over a source LUN; deleting the source LUN deletes its VLUNs.
const char* ServiceSchemaSql()
{
    return R"SQL(
CREATE TABLE service_log (
    id      INTEGER PRIMARY KEY AUTOINCREMENT,
    time    INTEGER NOT NULL,
    level   TEXT    NOT NULL,
    user    TEXT    NOT NULL,
    message TEXT    NOT NULL,
    unread  INTEGER NOT NULL DEFAULT 1
);
CREATE INDEX service_log_time ON service_log (time);
CREATE TABLE node_settings (
    name  TEXT PRIMARY KEY NOT NULL,
    value TEXT NOT NULL
);
CREATE TABLE vluns (
    uuid          TEXT    PRIMARY KEY NOT NULL,
    type          INTEGER NOT NULL CHECK (type BETWEEN 1 AND 3),
    src_lun_uuid  TEXT    NOT NULL REFERENCES luns (uuid) ON DELETE CASCADE,
    status        INTEGER NOT NULL DEFAULT 0,
    sync_size     INTEGER NOT NULL DEFAULT 0,
    created_at    INTEGER NOT NULL
);
CREATE INDEX vluns_src_lun ON vluns (src_lun_uuid);
)SQL";
}

} // namespace Storage
} // namespace ISCSI
