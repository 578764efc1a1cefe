// The configuration database: opening, pragmas, migrations, statements and transactions.
#include "config/ConfigDB.h"

#include "config/Schema.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

namespace ISCSI {
namespace Storage {
namespace {

// How long a statement waits for a lock held by another connection before it fails.
constexpr int kBusyTimeoutMs = 5000;

struct Migration {
    int version; // the schema version this step produces
    const char* sql;
};

// The steps from an empty file to kSchemaVersion, in order; each runs in its own transaction
// together with the update of schema_version. A released step is never edited: a change of
// the schema is a new step.
const Migration kMigrations[] = {
    {1, R"SQL(
CREATE TABLE luns (
    uuid             TEXT    PRIMARY KEY NOT NULL,
    lun_id           INTEGER NOT NULL UNIQUE CHECK (lun_id >= 1),
    name             TEXT    NOT NULL UNIQUE,
    type             INTEGER NOT NULL,
    location         TEXT    NOT NULL,
    size             INTEGER NOT NULL CHECK (size >= 0),
    extent_size      INTEGER NOT NULL DEFAULT 0,
    dev_attribs_mask INTEGER NOT NULL DEFAULT 0,
    dev_attribs      INTEGER NOT NULL DEFAULT 0,
    vpd_unit_sn      TEXT    NOT NULL DEFAULT '',
    description      TEXT    NOT NULL DEFAULT '',
    status           TEXT    NOT NULL DEFAULT 'normal',
    created_at       INTEGER NOT NULL,
    file_path        TEXT    NOT NULL
);
CREATE INDEX luns_location ON luns (location);
)SQL"},
    {2, R"SQL(
CREATE TABLE snapshots (
    uuid              TEXT    PRIMARY KEY NOT NULL,
    lun_uuid          TEXT    NOT NULL REFERENCES luns (uuid),
    snapshot_id       INTEGER NOT NULL CHECK (snapshot_id >= 1),
    version           TEXT    NOT NULL,
    name              TEXT    NOT NULL,
    description       TEXT    NOT NULL DEFAULT '',
    taken_by          TEXT    NOT NULL DEFAULT '',
    snapshot_time     INTEGER NOT NULL,
    type              INTEGER NOT NULL,
    location          TEXT    NOT NULL,
    size              INTEGER NOT NULL CHECK (size >= 0),
    is_user_locked    INTEGER NOT NULL DEFAULT 0,
    is_app_consistent INTEGER NOT NULL DEFAULT 0,
    is_scheduled      INTEGER NOT NULL DEFAULT 0,
    status            TEXT    NOT NULL DEFAULT 'normal',
    created_at        INTEGER NOT NULL,
    file_path         TEXT    NOT NULL,
    UNIQUE (lun_uuid, name),
    UNIQUE (lun_uuid, snapshot_id)
);
CREATE INDEX snapshots_name ON snapshots (name);
CREATE TABLE snapshot_app_locks (
    snapshot_uuid TEXT    NOT NULL REFERENCES snapshots (uuid) ON DELETE CASCADE,
    app_key       TEXT    NOT NULL,
    locked_at     INTEGER NOT NULL,
    PRIMARY KEY (snapshot_uuid, app_key)
);
)SQL"},
    {3, TargetSchemaSql()},
    {4, JobSchemaSql()},
    {5, ServiceSchemaSql()},
    {6, SubvolSchemaSql()},
    {7, NodeSchemaSql()},
    {8, LunbkpSchemaSql()},
};

static_assert(std::size(kMigrations) == ConfigDB::kSchemaVersion, "one migration step per schema version");

// The database holds CHAP secrets and node keys: it and its -wal and -shm files are readable
// by the service's user only, from their creation (SQLite gives the -wal and -shm files the
// database's mode) and also when an earlier start left them wider. ":memory:" is no file.
bool MakePrivate(const std::string& path, std::string& error)
{
    if (path == ":memory:" || path.empty())
        return true;
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0 || ::fchmod(fd, 0600) != 0) {
        error = path + ": " + std::strerror(errno);
        if (fd >= 0)
            ::close(fd);
        return false;
    }
    ::close(fd);
    for (const char* suffix : {"-wal", "-shm"}) {
        const std::string side = path + suffix;
        const int sideFd = ::open(side.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
        if (sideFd >= 0) {
            ::fchmod(sideFd, 0600);
            ::close(sideFd);
        }
    }
    return true;
}

} // namespace

Statement::Statement(ConfigDB& db, const char* sql)
{
    if (sqlite3_prepare_v2(db.handle(), sql, -1, &stmt_, nullptr) != SQLITE_OK) {
        sqlite3_finalize(stmt_);
        stmt_ = nullptr;
    }
}

Statement::~Statement()
{
    sqlite3_finalize(stmt_);
}

Statement& Statement::bind(int index, const std::string& value)
{
    if (stmt_)
        sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
    return *this;
}

Statement& Statement::bind(int index, std::int64_t value)
{
    if (stmt_)
        sqlite3_bind_int64(stmt_, index, value);
    return *this;
}

int Statement::step()
{
    return stmt_ ? sqlite3_step(stmt_) : SQLITE_MISUSE;
}

bool Statement::run()
{
    return step() == SQLITE_DONE;
}

bool Statement::exists(bool& found)
{
    const int rc = step();
    found = rc == SQLITE_ROW;
    return rc == SQLITE_ROW || rc == SQLITE_DONE;
}

bool Statement::readTexts(std::vector<std::string>& texts)
{
    std::vector<std::string> found;
    int rc;
    while ((rc = step()) == SQLITE_ROW)
        found.push_back(text(0));
    if (rc != SQLITE_DONE)
        return false;
    texts = std::move(found);
    return true;
}

std::string Statement::text(int column) const
{
    const unsigned char* value = sqlite3_column_text(stmt_, column);
    if (!value)
        return std::string();
    return std::string(reinterpret_cast<const char*>(value),
                       static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column)));
}

std::int64_t Statement::integer(int column) const
{
    return sqlite3_column_int64(stmt_, column);
}

ConfigDB::~ConfigDB()
{
    close();
}

bool ConfigDB::open(const std::string& path, std::string& error)
{
    close();
    if (!MakePrivate(path, error))
        return false;
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK) {
        error = path + ": " + (db_ ? sqlite3_errmsg(db_) : "cannot open");
        close();
        return false;
    }
    sqlite3_busy_timeout(db_, kBusyTimeoutMs);
    if (!exec("PRAGMA journal_mode=WAL;") || !exec("PRAGMA synchronous=NORMAL;") ||
        !exec("PRAGMA foreign_keys=ON;") ||
        !exec("CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL);")) {
        error = path + ": " + lastError();
        close();
        return false;
    }
    if (!migrate(error)) {
        error = path + ": " + error;
        close();
        return false;
    }
    return true;
}

void ConfigDB::close()
{
    if (db_) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
    }
}

bool ConfigDB::exec(const char* sql)
{
    return db_ && sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

int ConfigDB::schemaVersion()
{
    Statement query(*this, "SELECT MAX(version) FROM schema_version;");
    if (query.step() != SQLITE_ROW)
        return -1;
    return static_cast<int>(query.integer(0));
}

std::string ConfigDB::lastError() const
{
    return db_ ? sqlite3_errmsg(db_) : "database not open";
}

bool ConfigDB::migrate(std::string& error)
{
    for (const Migration& step : kMigrations) {
        Transaction tx(*this);
        if (!tx.begun()) {
            error = "cannot begin a migration: " + lastError();
            return false;
        }
        // Read inside the transaction, so that two processes opening a new file together
        // do not both run the same step.
        const int current = schemaVersion();
        if (current < 0) {
            error = "cannot read the schema version: " + lastError();
            return false;
        }
        if (current > kSchemaVersion) {
            error = "the schema version " + std::to_string(current) + " is newer than this library's " +
                    std::to_string(kSchemaVersion);
            return false;
        }
        if (current >= step.version)
            continue;
        Statement setVersion(*this, "DELETE FROM schema_version;");
        if (!exec(step.sql) || !setVersion.run()) {
            error = "migration to version " + std::to_string(step.version) + " failed: " + lastError();
            return false;
        }
        Statement insert(*this, "INSERT INTO schema_version (version) VALUES (?1);");
        if (!insert.bind(1, static_cast<std::int64_t>(step.version)).run() || !tx.commit()) {
            error = "migration to version " + std::to_string(step.version) + " failed: " + lastError();
            return false;
        }
    }
    return true;
}

Transaction::Transaction(ConfigDB& db) : db_(db)
{
    begun_ = db_.exec("BEGIN IMMEDIATE;");
}

Transaction::~Transaction()
{
    if (begun_ && !done_)
        db_.exec("ROLLBACK;");
}

bool Transaction::commit()
{
    if (!begun_ || done_)
        return false;
    if (!db_.exec("COMMIT;"))
        return false;
    done_ = true;
    return true;
}

} // namespace Storage
} // namespace ISCSI
