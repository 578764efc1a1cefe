// Logins, logouts and the session check of every call, over the account store, with the
// throttling of failed logins per account and per address.
#pragma once

#include "AuthStore.h"
#include "ExternalSessions.h"

#include <json/json.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_map>

namespace KOVA {
namespace Daemon {

struct ThrottleOptions {
    int maxFailures = 5;        // failures within the window that lock a key
    std::int64_t window = 300;  // seconds
    std::int64_t lockout = 300; // seconds of a key's first lock; each further lock doubles it
};

// The longest lock of a key, however often it failed.
constexpr std::int64_t MAX_LOGIN_LOCKOUT = 24 * 3600;

// Counts failed logins by key and refuses a key for a while once it failed too often. The
// keys are an account as tried from one address ("pair:IP ACCOUNT") and an address
// ("addr:IP"), never an account alone: whoever fails from their address slows only
// themselves, and the account's owner still logs in from another. A key locked before fails
// into a lock again at its next failure, each lock twice as long as the last (up to
// MAX_LOGIN_LOCKOUT); a window without failures after its last lock forgives it. Bounded in
// memory: old entries are dropped.
class LoginThrottle {
public:
    explicit LoginThrottle(const ThrottleOptions& options) : options_(options) {}
    bool Locked(const std::string& key, std::int64_t now);
    void Fail(const std::string& key, std::int64_t now);
    // After a successful login: the key's failures and earlier locks are forgotten.
    void Clear(const std::string& key);
    // Until when the key is locked (0: it is not locked).
    std::int64_t LockedUntil(const std::string& key);

private:
    struct Entry {
        std::deque<std::int64_t> failures;
        std::int64_t lockedUntil = 0;
        int locks = 0; // locks since the key was last forgiven
    };
    std::int64_t LockLength(int earlierLocks) const;
    void Prune(std::int64_t now);

    ThrottleOptions options_;
    std::mutex mutex_;
    std::unordered_map<std::string, Entry> entries_;
};

// What a login or logout request carried.
struct AuthCall {
    std::string method;
    std::string account;
    std::string password;
    std::string otpCode;
    std::string sid;
    std::string key =
        std::string(); // "rod_key" of a node_renew (initialised: callers brace-initialise the rest)
};

class Authenticator {
public:
    Authenticator(AuthStore& store, const ThrottleOptions& throttle);

    // The session check of a call: 0 with the account, WEBAPI_ERR_NOT_LOGGED_IN (no or an
    // unknown session) or WEBAPI_ERR_SESSION_EXPIRED.
    int CheckSession(const std::string& sid, std::string& account);
    // The same for a caller at remote, also asking the libraries' own sessions (node sessions)
    // about an id the store does not know.
    int CheckSession(const std::string& sid, const std::string& remote, std::string& account);
    // The sessions of the loaded modules' libraries (kova/SessionProvider.h); null: none.
    void SetExternalSessions(const ExternalSessions* external) { external_ = external; }

    // POST /webapi/auth: 0 with data ({"sid":...} after a login, null after a logout), or a
    // runtime code with detail (a text saying what was wrong with the input, else null).
    int Handle(const AuthCall& call, const std::string& remote, Json::Value& data, Json::Value& detail);

    AuthStore& Store() { return store_; }

private:
    int Login(const AuthCall& call, const std::string& remote, Json::Value& data);
    std::int64_t Now() const;

    AuthStore& store_;
    LoginThrottle throttle_;
    const ExternalSessions* external_ = nullptr;
};

} // namespace Daemon
} // namespace KOVA
