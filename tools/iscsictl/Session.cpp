#include "Session.h"

#include "ApiClient.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

namespace iscsictl {

namespace {

std::string ConfigDir()
{
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && *xdg == '/')
        return std::string(xdg) + "/iscsictl";
    const char* home = std::getenv("HOME");
    if (!home || !*home)
        throw Failure(EXIT_USAGE, "neither HOME nor XDG_CONFIG_HOME is set: no place for the session file");
    return std::string(home) + "/.config/iscsictl";
}

void MakeDirs(const std::string& dir)
{
    for (size_t at = 1; at != std::string::npos;) {
        at = dir.find('/', at + 1);
        const std::string part = dir.substr(0, at);
        if (::mkdir(part.c_str(), 0700) != 0 && errno != EEXIST)
            throw Failure(EXIT_USAGE, "cannot make " + part + ": " + std::strerror(errno));
    }
}

} // namespace

SessionStore::SessionStore() : path_(ConfigDir() + "/session"), data_(Json::objectValue)
{
    std::ifstream in(path_);
    if (!in)
        return;
    std::stringstream text;
    text << in.rdbuf();
    const std::string s = text.str();
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value read;
    if (reader->parse(s.data(), s.data() + s.size(), &read, nullptr) && read.isObject())
        data_ = read;
}

std::string SessionStore::DefaultUrl() const
{
    return data_["default_url"].asString();
}

bool SessionStore::Find(const std::string& url, SessionEntry* entry) const
{
    const Json::Value& one = data_["sessions"][url];
    if (!one.isObject() || one["sid"].asString().empty())
        return false;
    entry->sid = one["sid"].asString();
    entry->user = one["user"].asString();
    entry->insecure = one["insecure"].asBool();
    entry->caFile = one["cacert"].asString();
    return true;
}

void SessionStore::Put(const std::string& url, const SessionEntry& entry)
{
    Json::Value one;
    one["sid"] = entry.sid;
    one["user"] = entry.user;
    one["insecure"] = entry.insecure;
    if (!entry.caFile.empty())
        one["cacert"] = entry.caFile;
    data_["sessions"][url] = one;
    data_["default_url"] = url;
    Save();
}

void SessionStore::Remove(const std::string& url)
{
    if (!data_["sessions"].isMember(url))
        return;
    data_["sessions"].removeMember(url);
    Save();
}

void SessionStore::Save() const
{
    const std::string dir = path_.substr(0, path_.rfind('/'));
    MakeDirs(dir);
    // Written to a new file of mode 0600 and renamed over the old one: the session id is never
    // readable by others, not even for a moment.
    const std::string temp = path_ + ".new";
    ::unlink(temp.c_str());
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        throw Failure(EXIT_USAGE, "cannot write " + temp + ": " + std::strerror(errno));
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    const std::string text = Json::writeString(builder, data_) + "\n";
    const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::fchmod(fd, 0600);
    ::close(fd);
    if (!written || ::rename(temp.c_str(), path_.c_str()) != 0) {
        ::unlink(temp.c_str());
        throw Failure(EXIT_USAGE, "cannot write " + path_ + ": " + std::strerror(errno));
    }
}

} // namespace iscsictl
