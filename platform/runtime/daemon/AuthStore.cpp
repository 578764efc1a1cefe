#include "AuthStore.h"

#include <oath.h>
#include <sodium.h>
#include <sqlite3.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace KOVA {
namespace Daemon {

namespace {

constexpr std::int64_t TOTP_STEP = 30;
constexpr unsigned TOTP_DIGITS = 6;
constexpr size_t SECRET_BYTES = 20;
constexpr size_t SID_BYTES = 32;

const char SCHEMA[] = "CREATE TABLE IF NOT EXISTS accounts ("
                      " name TEXT PRIMARY KEY,"
                      " hash TEXT NOT NULL,"
                      " otp_secret TEXT,"
                      " otp_last_step INTEGER NOT NULL DEFAULT -1);"
                      "CREATE TABLE IF NOT EXISTS sessions ("
                      " id_hash TEXT PRIMARY KEY,"
                      " account TEXT NOT NULL,"
                      " remote TEXT NOT NULL,"
                      " created INTEGER NOT NULL,"
                      " last_used INTEGER NOT NULL);"
                      "CREATE INDEX IF NOT EXISTS sessions_account ON sessions(account);";

// One prepared statement, finalized by scope.
class Statement {
public:
    Statement(sqlite3* db, const char* sql)
    {
        if (sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr) != SQLITE_OK)
            stmt_ = nullptr;
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool Ok() const { return stmt_ != nullptr; }
    Statement& Bind(int i, const std::string& text)
    {
        if (stmt_)
            sqlite3_bind_text(stmt_, i, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& Bind(int i, std::int64_t value)
    {
        if (stmt_)
            sqlite3_bind_int64(stmt_, i, value);
        return *this;
    }
    // SQLITE_ROW, SQLITE_DONE or an error.
    int Step() { return stmt_ ? sqlite3_step(stmt_) : SQLITE_ERROR; }
    std::string Text(int column) const
    {
        const unsigned char* text = sqlite3_column_text(stmt_, column);
        return text ? std::string(reinterpret_cast<const char*>(text)) : std::string();
    }
    bool IsNull(int column) const { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }
    std::int64_t Int(int column) const { return sqlite3_column_int64(stmt_, column); }

private:
    sqlite3_stmt* stmt_ = nullptr;
};

std::string Hex(const unsigned char* data, size_t length)
{
    std::string out(length * 2 + 1, '\0');
    sodium_bin2hex(&out[0], out.size(), data, length);
    out.resize(length * 2);
    return out;
}

// The session id as the database keeps it.
std::string SidHash(const std::string& sid)
{
    unsigned char digest[32];
    crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char*>(sid.data()), sid.size(),
                       nullptr, 0);
    return Hex(digest, sizeof digest);
}

bool InitLibraries()
{
    static const bool ok = sodium_init() >= 0 && oath_init() == OATH_OK;
    return ok;
}

} // namespace

PasswordCost PasswordCost::Interactive()
{
    return {crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE};
}

PasswordCost PasswordCost::Minimum()
{
    return {crypto_pwhash_OPSLIMIT_MIN, crypto_pwhash_MEMLIMIT_MIN};
}

AuthStore::AuthStore() : cost_(PasswordCost::Interactive()) {}

AuthStore::~AuthStore()
{
    if (db_)
        sqlite3_close(db_);
}

bool AuthStore::Exec(const char* sql)
{
    return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool AuthStore::Open(const std::string& path, std::string& error)
{
    if (!InitLibraries()) {
        error = "cannot initialise libsodium or liboath";
        return false;
    }
    if (path != ":memory:") {
        // Password hashes and sessions: readable by the daemon's user only (SQLite gives its
        // journal files the database's mode).
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0) {
            error = path + ": " + std::strerror(errno);
            return false;
        }
        ::close(fd);
    }
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK) {
        error = path + ": " + (db_ ? sqlite3_errmsg(db_) : "cannot open");
        return false;
    }
    sqlite3_busy_timeout(db_, 5000);
    if (!Exec("PRAGMA journal_mode=WAL;") || !Exec("PRAGMA synchronous=NORMAL;") || !Exec(SCHEMA)) {
        error = path + ": " + sqlite3_errmsg(db_);
        return false;
    }
    return true;
}

void AuthStore::BeginHashing()
{
    std::unique_lock<std::mutex> lock(hashingMutex_);
    hashingFree_.wait(lock, [this] { return hashing_ < MAX_HASHING; });
    ++hashing_;
}

void AuthStore::EndHashing()
{
    {
        std::lock_guard<std::mutex> lock(hashingMutex_);
        --hashing_;
    }
    hashingFree_.notify_one();
}

std::string AuthStore::Hash(const std::string& password)
{
    char hash[crypto_pwhash_STRBYTES];
    BeginHashing();
    const int rc = crypto_pwhash_str(hash, password.data(), password.size(), cost_.opsLimit, cost_.memLimit);
    EndHashing();
    return rc == 0 ? std::string(hash) : std::string();
}

bool AuthStore::Verify(const std::string& hash, const std::string& password)
{
    BeginHashing();
    const bool ok = crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
    EndHashing();
    return ok;
}

size_t AuthStore::AccountCount()
{
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "SELECT count(*) FROM accounts");
    return s.Step() == SQLITE_ROW ? static_cast<size_t>(s.Int(0)) : 0;
}

std::vector<AccountInfo> AuthStore::ListAccounts()
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<AccountInfo> out;
    Statement s(db_, "SELECT name, otp_secret IS NOT NULL FROM accounts ORDER BY name");
    while (s.Step() == SQLITE_ROW)
        out.push_back({s.Text(0), s.Int(1) != 0});
    return out;
}

AuthResult AuthStore::AddAccount(const std::string& name, const std::string& password)
{
    const std::string hash = Hash(password);
    if (hash.empty())
        return AuthResult::Failed;
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "INSERT INTO accounts(name, hash) VALUES(?, ?)");
    const int rc = s.Bind(1, name).Bind(2, hash).Step();
    if (rc == SQLITE_CONSTRAINT)
        return AuthResult::Exists;
    return rc == SQLITE_DONE ? AuthResult::Ok : AuthResult::Failed;
}

AuthResult AuthStore::SetPassword(const std::string& name, const std::string& password)
{
    const std::string hash = Hash(password);
    if (hash.empty())
        return AuthResult::Failed;
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "UPDATE accounts SET hash = ? WHERE name = ?");
    if (s.Bind(1, hash).Bind(2, name).Step() != SQLITE_DONE)
        return AuthResult::Failed;
    if (sqlite3_changes(db_) == 0)
        return AuthResult::NoSuchAccount;
    Statement end(db_, "DELETE FROM sessions WHERE account = ?");
    return end.Bind(1, name).Step() == SQLITE_DONE ? AuthResult::Ok : AuthResult::Failed;
}

AuthResult AuthStore::DeleteAccount(const std::string& name)
{
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "DELETE FROM accounts WHERE name = ?");
    if (s.Bind(1, name).Step() != SQLITE_DONE)
        return AuthResult::Failed;
    if (sqlite3_changes(db_) == 0)
        return AuthResult::NoSuchAccount;
    Statement end(db_, "DELETE FROM sessions WHERE account = ?");
    return end.Bind(1, name).Step() == SQLITE_DONE ? AuthResult::Ok : AuthResult::Failed;
}

AuthResult AuthStore::EnableOtp(const std::string& name, std::string& base32Secret)
{
    unsigned char raw[SECRET_BYTES];
    randombytes_buf(raw, sizeof raw);
    char* encoded = nullptr;
    size_t encodedLength = 0;
    if (oath_base32_encode(reinterpret_cast<const char*>(raw), sizeof raw, &encoded, &encodedLength) !=
        OATH_OK)
        return AuthResult::Failed;
    std::string secret(encoded, encodedLength);
    std::free(encoded);
    sodium_memzero(raw, sizeof raw);
    while (!secret.empty() && secret.back() == '=')
        secret.pop_back();
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "UPDATE accounts SET otp_secret = ?, otp_last_step = -1 WHERE name = ?");
    if (s.Bind(1, secret).Bind(2, name).Step() != SQLITE_DONE)
        return AuthResult::Failed;
    if (sqlite3_changes(db_) == 0)
        return AuthResult::NoSuchAccount;
    base32Secret = secret;
    return AuthResult::Ok;
}

AuthResult AuthStore::DisableOtp(const std::string& name)
{
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "UPDATE accounts SET otp_secret = NULL, otp_last_step = -1 WHERE name = ?");
    if (s.Bind(1, name).Step() != SQLITE_DONE)
        return AuthResult::Failed;
    return sqlite3_changes(db_) == 0 ? AuthResult::NoSuchAccount : AuthResult::Ok;
}

std::string AuthStore::TotpCode(const std::string& base32Secret, std::int64_t when)
{
    InitLibraries();
    char* raw = nullptr;
    size_t rawLength = 0;
    if (oath_base32_decode(base32Secret.data(), base32Secret.size(), &raw, &rawLength) != OATH_OK)
        return std::string();
    char code[TOTP_DIGITS + 1] = {0};
    const int rc =
        oath_totp_generate(raw, rawLength, static_cast<time_t>(when), TOTP_STEP, 0, TOTP_DIGITS, code);
    sodium_memzero(raw, rawLength);
    std::free(raw);
    return rc == OATH_OK ? std::string(code) : std::string();
}

std::string AuthStore::RandomPassword(size_t length)
{
    InitLibraries();
    static const char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::string out;
    out.reserve(length);
    for (size_t i = 0; i < length; ++i)
        out += ALPHABET[randombytes_uniform(sizeof ALPHABET - 1)];
    return out;
}

bool AuthStore::OtpMatches(const std::string& name, const std::string& secret, std::int64_t lastStep,
                           const std::string& code)
{
    if (code.size() != TOTP_DIGITS)
        return false;
    const std::int64_t now = Now();
    std::int64_t matched = -1;
    for (std::int64_t skew = -1; skew <= 1; ++skew) {
        const std::int64_t step = now / TOTP_STEP + skew;
        if (step <= lastStep)
            continue; // that code, or an older one, was accepted already
        const std::string expected = TotpCode(secret, step * TOTP_STEP);
        if (expected.size() == code.size() && sodium_memcmp(expected.data(), code.data(), code.size()) == 0)
            matched = step;
    }
    if (matched < 0)
        return false;
    // Taken only when no concurrent login took this step or a later one first.
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "UPDATE accounts SET otp_last_step = ? WHERE name = ? AND otp_last_step < ?");
    if (s.Bind(1, matched).Bind(2, name).Bind(3, matched).Step() != SQLITE_DONE)
        return false;
    return sqlite3_changes(db_) == 1;
}

AuthResult AuthStore::CheckLogin(const std::string& name, const std::string& password,
                                 const std::string& otpCode)
{
    std::string hash;
    std::string secret;
    bool found = false;
    bool hasOtp = false;
    std::int64_t lastStep = -1;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        Statement s(db_, "SELECT hash, otp_secret, otp_last_step FROM accounts WHERE name = ?");
        const int rc = s.Bind(1, name).Step();
        if (rc == SQLITE_ROW) {
            found = true;
            hash = s.Text(0);
            hasOtp = !s.IsNull(1);
            secret = s.Text(1);
            lastStep = s.Int(2);
        } else if (rc != SQLITE_DONE) {
            return AuthResult::Failed;
        }
    }
    if (!found) {
        std::call_once(dummyOnce_, [this] { dummyHash_ = Hash("not a password of anyone"); });
        hash = dummyHash_;
    }
    // The slow part runs without the lock, so logins of several callers overlap.
    const bool passwordOk = Verify(hash, password) && found;
    if (!found)
        return AuthResult::NoSuchAccount;
    if (!passwordOk)
        return AuthResult::BadPassword;
    if (!hasOtp)
        return AuthResult::Ok;
    if (otpCode.empty())
        return AuthResult::OtpRequired;
    return OtpMatches(name, secret, lastStep, otpCode) ? AuthResult::Ok : AuthResult::BadOtp;
}

AuthResult AuthStore::CreateSession(const std::string& account, const std::string& remote, std::string& sid)
{
    unsigned char raw[SID_BYTES];
    randombytes_buf(raw, sizeof raw);
    const std::string id = Hex(raw, sizeof raw);
    const std::int64_t now = Now();
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_,
                "INSERT INTO sessions(id_hash, account, remote, created, last_used) VALUES(?, ?, ?, ?, ?)");
    if (s.Bind(1, SidHash(id)).Bind(2, account).Bind(3, remote).Bind(4, now).Bind(5, now).Step() !=
        SQLITE_DONE)
        return AuthResult::Failed;
    sid = id;
    return AuthResult::Ok;
}

AuthResult AuthStore::CheckSession(const std::string& sid, std::string& account)
{
    if (sid.empty() || sid.size() > 256)
        return AuthResult::UnknownSession;
    const std::string key = SidHash(sid);
    const std::int64_t now = Now();
    std::lock_guard<std::mutex> lock(mutex_);
    std::int64_t created = 0;
    std::int64_t lastUsed = 0;
    std::string owner;
    {
        Statement s(db_, "SELECT account, created, last_used FROM sessions WHERE id_hash = ?");
        const int rc = s.Bind(1, key).Step();
        if (rc != SQLITE_ROW)
            return rc == SQLITE_DONE ? AuthResult::UnknownSession : AuthResult::Failed;
        owner = s.Text(0);
        created = s.Int(1);
        lastUsed = s.Int(2);
    }
    if (now - lastUsed > idle_ || now - created > max_) {
        Statement del(db_, "DELETE FROM sessions WHERE id_hash = ?");
        del.Bind(1, key).Step();
        return AuthResult::ExpiredSession;
    }
    account = owner;
    if (now > lastUsed) {
        // One write a second at most per session.
        Statement touch(db_, "UPDATE sessions SET last_used = ? WHERE id_hash = ?");
        touch.Bind(1, now).Bind(2, key).Step();
    }
    return AuthResult::Ok;
}

void AuthStore::EndSession(const std::string& sid)
{
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "DELETE FROM sessions WHERE id_hash = ?");
    s.Bind(1, SidHash(sid)).Step();
}

void AuthStore::PurgeSessions()
{
    const std::int64_t now = Now();
    std::lock_guard<std::mutex> lock(mutex_);
    Statement s(db_, "DELETE FROM sessions WHERE last_used < ? OR created < ?");
    s.Bind(1, now - idle_).Bind(2, now - max_).Step();
}

} // namespace Daemon
} // namespace KOVA
