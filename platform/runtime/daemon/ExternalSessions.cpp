#include "ExternalSessions.h"

#include <kova/WebAPIErrors.h>

#include <syslog.h>

#include <algorithm>

namespace KOVA {
namespace Daemon {

void ExternalSessions::Add(KOVASessionCheckFn check, KOVASessionRenewFn renew)
{
    if (check && std::find(checks_.begin(), checks_.end(), check) == checks_.end())
        checks_.push_back(check);
    if (renew && std::find(renews_.begin(), renews_.end(), renew) == renews_.end())
        renews_.push_back(renew);
}

int ExternalSessions::Check(const std::string& sid, const std::string& remote, std::string& account) const
{
    bool expired = false;
    for (KOVASessionCheckFn check : checks_) {
        char name[256] = {0};
        const int answer = check(sid.c_str(), remote.c_str(), name, sizeof name);
        if (answer == KOVA_SESSION_OK) {
            account = name;
            return 0;
        }
        expired = expired || answer == KOVA_SESSION_EXPIRED;
    }
    return expired ? WEBAPI_ERR_SESSION_EXPIRED : WEBAPI_ERR_NOT_LOGGED_IN;
}

int ExternalSessions::Renew(const std::string& oldSid, const std::string& key, const std::string& remote,
                            Json::Value& data, Json::Value& detail) const
{
    if (oldSid.empty() || key.empty()) {
        detail = "sid, rod_key: the node session and the key of this node are required";
        return WEBAPI_ERR_BAD_REQUEST;
    }
    for (KOVASessionRenewFn renew : renews_) {
        char sid[128] = {0};
        if (renew(oldSid.c_str(), key.c_str(), remote.c_str(), sid, sizeof sid) == KOVA_SESSION_OK) {
            syslog(LOG_INFO, "node session renewed for %s", remote.c_str());
            data = Json::Value(Json::objectValue);
            data["sid"] = sid;
            return 0;
        }
    }
    syslog(LOG_WARNING, "node session renewal refused for %s", remote.c_str());
    return WEBAPI_ERR_NOT_LOGGED_IN;
}

} // namespace Daemon
} // namespace KOVA
