#include "Authenticator.h"

#include "LogText.h"

#include <kova/WebAPIErrors.h>

#include <syslog.h>

#include <ctime>

namespace KOVA {
namespace Daemon {

namespace {

constexpr size_t MAX_THROTTLE_KEYS = 100000;
constexpr size_t MAX_ACCOUNT_LENGTH = 128;
constexpr size_t MAX_PASSWORD_LENGTH = 4096;

// An account name or address as it may stand in a log line: escaped, bounded.
std::string ForLog(const std::string& text)
{
    return LogField(text, 64);
}

void LogFailure(const std::string& account, const std::string& remote, const char* reason)
{
    syslog(LOG_WARNING, "login failed for account '%s' from %s: %s", ForLog(account).c_str(),
           ForLog(remote).c_str(), reason);
}

} // namespace

bool LoginThrottle::Locked(const std::string& key, std::int64_t now)
{
    return LockedUntil(key) > now;
}

std::int64_t LoginThrottle::LockedUntil(const std::string& key)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto e = entries_.find(key);
    return e != entries_.end() ? e->second.lockedUntil : 0;
}

std::int64_t LoginThrottle::LockLength(int earlierLocks) const
{
    std::int64_t length = options_.lockout;
    for (int i = 0; i < earlierLocks && length < MAX_LOGIN_LOCKOUT; ++i)
        length *= 2;
    return length < MAX_LOGIN_LOCKOUT || options_.lockout > MAX_LOGIN_LOCKOUT ? length : MAX_LOGIN_LOCKOUT;
}

void LoginThrottle::Fail(const std::string& key, std::int64_t now)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (entries_.size() >= MAX_THROTTLE_KEYS)
        Prune(now);
    Entry& e = entries_[key];
    // A window without failures after the last lock forgives the earlier locks.
    if (e.locks > 0 && e.lockedUntil + options_.window <= now)
        e.locks = 0;
    e.failures.push_back(now);
    while (!e.failures.empty() && e.failures.front() <= now - options_.window)
        e.failures.pop_front();
    if (e.locks > 0 || static_cast<int>(e.failures.size()) >= options_.maxFailures) {
        e.lockedUntil = now + LockLength(e.locks);
        ++e.locks;
        e.failures.clear();
    }
}

void LoginThrottle::Clear(const std::string& key)
{
    std::lock_guard<std::mutex> lock(mutex_);
    entries_.erase(key);
}

void LoginThrottle::Prune(std::int64_t now)
{
    for (auto e = entries_.begin(); e != entries_.end();) {
        const bool recent = !e->second.failures.empty() && e->second.failures.back() > now - options_.window;
        if (e->second.lockedUntil + options_.window <= now && !recent)
            e = entries_.erase(e);
        else
            ++e;
    }
    // Still full (a flood of distinct keys): forget the oldest half rather than grow.
    if (entries_.size() >= MAX_THROTTLE_KEYS) {
        size_t drop = entries_.size() / 2;
        for (auto e = entries_.begin(); e != entries_.end() && drop > 0; --drop)
            e = entries_.erase(e);
    }
}

Authenticator::Authenticator(AuthStore& store, const ThrottleOptions& throttle)
    : store_(store), throttle_(throttle)
{}

std::int64_t Authenticator::Now() const
{
    return static_cast<std::int64_t>(::time(nullptr));
}

int Authenticator::CheckSession(const std::string& sid, std::string& account)
{
    if (sid.empty())
        return WEBAPI_ERR_NOT_LOGGED_IN;
    switch (store_.CheckSession(sid, account)) {
    case AuthResult::Ok:
        return 0;
    case AuthResult::ExpiredSession:
        return WEBAPI_ERR_SESSION_EXPIRED;
    case AuthResult::Failed:
        return WEBAPI_ERR_UNKNOWN;
    default:
        return WEBAPI_ERR_NOT_LOGGED_IN;
    }
}

int Authenticator::CheckSession(const std::string& sid, const std::string& remote, std::string& account)
{
    const int code = CheckSession(sid, account);
    if (code != WEBAPI_ERR_NOT_LOGGED_IN || sid.empty() || !external_ || external_->Empty())
        return code;
    return external_->Check(sid, remote, account);
}

int Authenticator::Handle(const AuthCall& call, const std::string& remote, Json::Value& data,
                          Json::Value& detail)
{
    if (call.method == "login") {
        if (call.account.empty() || call.account.size() > MAX_ACCOUNT_LENGTH) {
            detail = "account: a non-empty string of at most 128 bytes is required";
            return WEBAPI_ERR_BAD_REQUEST;
        }
        if (call.password.empty() || call.password.size() > MAX_PASSWORD_LENGTH) {
            detail = "passwd: a non-empty string of at most 4096 bytes is required";
            return WEBAPI_ERR_BAD_REQUEST;
        }
        return Login(call, remote, data);
    }
    if (call.method == "logout") {
        std::string account;
        const int code = CheckSession(call.sid, account);
        if (code != 0)
            return code;
        store_.EndSession(call.sid);
        data = Json::Value();
        return 0;
    }
    if (call.method == "node_renew" && external_ && !external_->Empty())
        return external_->Renew(call.sid, call.key, remote, data, detail);
    if (call.method.empty()) {
        detail = "method: \"login\" or \"logout\" is required";
        return WEBAPI_ERR_BAD_REQUEST;
    }
    detail = "method: only \"login\" and \"logout\" exist";
    return WEBAPI_ERR_NO_SUCH_METHOD;
}

int Authenticator::Login(const AuthCall& call, const std::string& remote, Json::Value& data)
{
    const std::int64_t now = Now();
    // Throttled per account as tried from this address, and per address: never per account
    // alone, so that failures from elsewhere do not lock the owner out.
    const std::string pairKey = "pair:" + remote + " " + call.account;
    const std::string addrKey = "addr:" + remote;
    if (throttle_.Locked(pairKey, now) || throttle_.Locked(addrKey, now)) {
        LogFailure(call.account, remote, "too many failed attempts, refused");
        return WEBAPI_ERR_TOO_MANY_ATTEMPTS;
    }
    const AuthResult result = store_.CheckLogin(call.account, call.password, call.otpCode);
    int code = 0;
    const char* reason = nullptr;
    switch (result) {
    case AuthResult::Ok:
        break;
    case AuthResult::NoSuchAccount:
        code = WEBAPI_ERR_BAD_LOGIN;
        reason = "unknown account";
        break;
    case AuthResult::BadPassword:
        code = WEBAPI_ERR_BAD_LOGIN;
        reason = "wrong password";
        break;
    case AuthResult::OtpRequired:
        // The password was right: not a failure, but the caller has to come again with a code.
        return WEBAPI_ERR_OTP_REQUIRED;
    case AuthResult::BadOtp:
        code = WEBAPI_ERR_BAD_OTP;
        reason = "wrong, outdated or reused one-time code";
        break;
    default:
        return WEBAPI_ERR_UNKNOWN;
    }
    if (code != 0) {
        LogFailure(call.account, remote, reason);
        throttle_.Fail(pairKey, now);
        throttle_.Fail(addrKey, now);
        return code;
    }
    throttle_.Clear(pairKey);
    store_.PurgeSessions();
    std::string sid;
    if (store_.CreateSession(call.account, remote, sid) != AuthResult::Ok)
        return WEBAPI_ERR_UNKNOWN;
    syslog(LOG_INFO, "login of account '%s' from %s", ForLog(call.account).c_str(), ForLog(remote).c_str());
    data = Json::Value(Json::objectValue);
    data["sid"] = sid;
    return 0;
}

} // namespace Daemon
} // namespace KOVA
