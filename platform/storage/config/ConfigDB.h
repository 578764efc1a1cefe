// The configuration database of the storage library: one SQLite file in WAL mode with
// synchronous=NORMAL (a committed change survives a crash of the process; only an OS crash can
// lose the last ones), a busy timeout, a schema version table and ordered migrations.
//
// A ConfigDB is not thread-safe by itself: the library context serialises its users.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

class ConfigDB;

// One prepared statement; finalized when it goes out of scope. Bind indexes start at 1,
// column indexes at 0.
class Statement {
public:
    Statement(ConfigDB& db, const char* sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool ok() const { return stmt_ != nullptr; }
    Statement& bind(int index, const std::string& value);
    Statement& bind(int index, std::int64_t value);
    // SQLITE_ROW, SQLITE_DONE or an error code.
    int step();
    // step() for a statement that returns no row: true on SQLITE_DONE.
    bool run();
    // step() for a query asked only whether it finds a row: found says whether it did; false
    // when the query failed.
    bool exists(bool& found);
    // Steps through every row, collecting the text of column 0 in order: true when all rows
    // were read (texts then holds them), false when the query failed (texts unchanged).
    bool readTexts(std::vector<std::string>& texts);

    std::string text(int column) const;
    std::int64_t integer(int column) const;

private:
    sqlite3_stmt* stmt_ = nullptr;
};

class ConfigDB {
public:
    // The schema version that this build writes; older files are migrated on open.
    static constexpr int kSchemaVersion = 8;

    ConfigDB() = default;
    ~ConfigDB();
    ConfigDB(const ConfigDB&) = delete;
    ConfigDB& operator=(const ConfigDB&) = delete;

    // Opens (creating) the database file and brings its schema to kSchemaVersion. On false,
    // error says why and the object stays closed.
    bool open(const std::string& path, std::string& error);
    void close();
    bool isOpen() const { return db_ != nullptr; }

    // Runs SQL text without results; false on failure.
    bool exec(const char* sql);
    // The schema version stored in the file (0 for a new file).
    int schemaVersion();
    std::string lastError() const;

    sqlite3* handle() { return db_; }

private:
    bool migrate(std::string& error);

    sqlite3* db_ = nullptr;
};

// One transaction, begun IMMEDIATE so that a writer takes the write lock at once (waiting up to
// the busy timeout) instead of failing at its first write. Rolled back unless committed.
class Transaction {
public:
    explicit Transaction(ConfigDB& db);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    bool begun() const { return begun_; }
    bool commit();

private:
    ConfigDB& db_;
    bool begun_ = false;
    bool done_ = false;
};

} // namespace Storage
} // namespace ISCSI
