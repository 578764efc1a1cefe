// The schema step of remote nodes and of the node sessions that other nodes hold here.
#include "config/Schema.h"

namespace ISCSI {
namespace Storage {

// nodes: the other appliances this one knows, one row per node uuid, with the session this
// node holds on each (session_id, sent as it is, so kept as it is) and the SHA-256 fingerprint
// of the certificate pinned for it. The local node has no row: its entry is made from the
// settings (node/NodeStore.h).
// node_sessions: sessions that other nodes hold here (create_session), by the SHA-256 of the
// session id (the id itself is never stored), bound to the account that made it and the
// address it was made from.
const char* NodeSchemaSql()
{
    return R"SQL(
CREATE TABLE nodes (
    uuid        TEXT    PRIMARY KEY NOT NULL,
    session_id  TEXT    NOT NULL DEFAULT '',
    hostname    TEXT    NOT NULL,
    port        INTEGER NOT NULL CHECK (port BETWEEN 1 AND 65535),
    protocol    TEXT    NOT NULL CHECK (protocol IN ('http', 'https')),
    rod_key     TEXT    NOT NULL DEFAULT '',
    account     TEXT    NOT NULL DEFAULT '',
    cert_sha256 TEXT    NOT NULL DEFAULT '',
    created_at  INTEGER NOT NULL
);
CREATE INDEX nodes_hostname ON nodes (hostname);
CREATE TABLE node_sessions (
    sid_hash    TEXT    PRIMARY KEY NOT NULL,
    account     TEXT    NOT NULL,
    remote_ip   TEXT    NOT NULL,
    created_at  INTEGER NOT NULL,
    expires_at  INTEGER NOT NULL
);
CREATE INDEX node_sessions_remote ON node_sessions (remote_ip);
)SQL";
}

} // namespace Storage
} // namespace ISCSI
