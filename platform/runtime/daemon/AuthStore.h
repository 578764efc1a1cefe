// The daemon's accounts and sessions, kept in one SQLite database of its data directory.
//
// Passwords are stored as argon2id hashes (libsodium); an account may have a one-time code
// secret (TOTP, 30 s steps, 6 digits, one step of clock skew either way), and an accepted code
// is not accepted again (the last accepted step is remembered). Session ids are 256 random
// bits in hex; the database keeps only their hash, with the account, the creation time and
// the time of last use, so sessions outlive a restart of the daemon.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct sqlite3;

namespace KOVA {
namespace Daemon {

// How much work a password hash costs (libsodium's limits).
struct PasswordCost {
    unsigned long long opsLimit;
    size_t memLimit;
    static PasswordCost Interactive();
    static PasswordCost Minimum(); // for tests only
};

struct AccountInfo {
    std::string name;
    bool otpEnabled = false;
};

// Outcomes of the store's operations.
enum class AuthResult {
    Ok,
    NoSuchAccount,
    Exists,
    BadPassword,
    OtpRequired,
    BadOtp,
    UnknownSession,
    ExpiredSession,
    Failed, // the database failed
};

class AuthStore {
public:
    using Clock = std::function<std::int64_t()>;

    AuthStore();
    ~AuthStore();
    AuthStore(const AuthStore&) = delete;
    AuthStore& operator=(const AuthStore&) = delete;

    // Opens (creating when missing) the database at path; ":memory:" for a private one.
    bool Open(const std::string& path, std::string& error);

    void SetPasswordCost(const PasswordCost& cost) { cost_ = cost; }
    // Seconds since the epoch; time(nullptr) unless a test sets another.
    void SetClock(Clock clock) { clock_ = std::move(clock); }
    void SetSessionLifetimes(std::int64_t idleSeconds, std::int64_t maxSeconds)
    {
        idle_ = idleSeconds;
        max_ = maxSeconds;
    }

    // Accounts.
    size_t AccountCount();
    std::vector<AccountInfo> ListAccounts();
    AuthResult AddAccount(const std::string& name, const std::string& password);
    AuthResult SetPassword(const std::string& name, const std::string& password); // ends its sessions
    AuthResult DeleteAccount(const std::string& name);                            // ends its sessions
    // Makes a new random secret and answers it in base32.
    AuthResult EnableOtp(const std::string& name, std::string& base32Secret);
    AuthResult DisableOtp(const std::string& name);

    // Checks a login: Ok, NoSuchAccount, BadPassword (the two cost the same time), OtpRequired
    // (password right, the account needs a code and none was given), BadOtp (wrong, old or
    // already used code) or Failed.
    AuthResult CheckLogin(const std::string& name, const std::string& password, const std::string& otpCode);

    // Sessions.
    AuthResult CreateSession(const std::string& account, const std::string& remote, std::string& sid);
    // Ok with the account, UnknownSession or ExpiredSession (and the session is removed). Marks
    // the session used.
    AuthResult CheckSession(const std::string& sid, std::string& account);
    void EndSession(const std::string& sid);
    // Removes expired sessions.
    void PurgeSessions();

    // A TOTP code of a base32 secret at a time (for tests and tools).
    static std::string TotpCode(const std::string& base32Secret, std::int64_t when);
    // Random text of length characters of [A-Za-z0-9].
    static std::string RandomPassword(size_t length);

private:
    std::int64_t Now() const { return clock_ ? clock_() : static_cast<std::int64_t>(::time(nullptr)); }
    bool Exec(const char* sql);
    std::string Hash(const std::string& password);
    bool Verify(const std::string& hash, const std::string& password);
    void BeginHashing();
    void EndHashing();
    bool OtpMatches(const std::string& name, const std::string& secret, std::int64_t lastStep,
                    const std::string& code);

    sqlite3* db_ = nullptr;
    std::mutex mutex_;
    PasswordCost cost_;
    Clock clock_;
    std::int64_t idle_ = 1800;
    std::int64_t max_ = 86400;
    std::once_flag dummyOnce_;
    std::string dummyHash_; // verified against for unknown accounts, so they cost the same
    // Password hashing takes memLimit bytes (64 MiB) each: at most this many at once, so that
    // a flood of logins cannot take the machine's memory.
    static constexpr int MAX_HASHING = 2;
    std::mutex hashingMutex_;
    std::condition_variable hashingFree_;
    int hashing_ = 0;
};

} // namespace Daemon
} // namespace KOVA
