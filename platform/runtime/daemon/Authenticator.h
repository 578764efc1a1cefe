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
    int maxFailures = 5;        // failures within the window that lock an account or an address
    std::int64_t window = 300;  // seconds
    std::int64_t lockout = 300; // seconds a locked account or address is refused
};

// Counts failed logins by key ("account:NAME", "addr:IP") and refuses a key for a while
// once it failed too often. Bounded in memory: old entries are dropped.
class LoginThrottle {
public:
    explicit LoginThrottle(const ThrottleOptions& options) : options_(options) {}
    bool Locked(const std::string& key, std::int64_t now);
    void Fail(const std::string& key, std::int64_t now);
    void Clear(const std::string& key);

private:
    struct Entry {
        std::deque<std::int64_t> failures;
        std::int64_t lockedUntil = 0;
    };
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
