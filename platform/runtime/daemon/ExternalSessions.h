// Sessions kept by the libraries of the loaded modules (the storage library's node sessions,
// kova/SessionProvider.h): asked about session ids the daemon's own store does not know, and
// about "node_renew" on /webapi/auth. The daemon never reads their tables.
#pragma once

#include <kova/SessionProvider.h>

#include <json/json.h>

#include <string>
#include <vector>

namespace KOVA {
namespace Daemon {

class ExternalSessions {
public:
    // Adds the provider functions that a module's handle finds (each once).
    void Add(KOVASessionCheckFn check, KOVASessionRenewFn renew);
    bool Empty() const { return checks_.empty(); }

    // 0 with the account, WEBAPI_ERR_NOT_LOGGED_IN or WEBAPI_ERR_SESSION_EXPIRED.
    int Check(const std::string& sid, const std::string& remote, std::string& account) const;
    // POST /webapi/auth {"method":"node_renew","sid":OLD,"rod_key":KEY}: 0 with {"sid":NEW}, or a
    // runtime code with detail.
    int Renew(const std::string& oldSid, const std::string& key, const std::string& remote, Json::Value& data,
              Json::Value& detail) const;

private:
    std::vector<KOVASessionCheckFn> checks_;
    std::vector<KOVASessionRenewFn> renews_;
};

} // namespace Daemon
} // namespace KOVA
