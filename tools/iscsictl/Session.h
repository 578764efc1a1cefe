// The sessions of one user, kept between commands in a file only that user can read:
// ${XDG_CONFIG_HOME:-$HOME/.config}/iscsictl/session (directory 0700, file 0600). It holds one
// session per appliance URL and the URL of the last login, which later commands use when
// neither --url nor ISCSICTL_URL names one.
#pragma once

#include <json/json.h>

#include <string>

namespace iscsictl {

struct SessionEntry {
    std::string sid;
    std::string user;
    bool insecure = false;
    std::string caFile;
};

class SessionStore {
public:
    // Reads the file (none yet: empty).
    SessionStore();

    const std::string& Path() const { return path_; }
    // The URL of the last login; empty when there is none.
    std::string DefaultUrl() const;
    // The session for url; false when there is none.
    bool Find(const std::string& url, SessionEntry* entry) const;
    // Keeps a session for url and makes url the default; written at once.
    void Put(const std::string& url, const SessionEntry& entry);
    // Forgets the session for url; written at once.
    void Remove(const std::string& url);

private:
    void Save() const;

    std::string path_;
    Json::Value data_;
};

} // namespace iscsictl
