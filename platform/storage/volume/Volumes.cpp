// Volume list parsing and free space.
#include "volume/Volumes.h"

#include <sys/statvfs.h>

namespace ISCSI {
namespace Storage {

bool ParseVolumeList(const std::string& text, std::map<std::string, std::string>& out, std::string& error)
{
    std::set<std::string> remoteDisks;
    return ParseVolumeList(text, out, remoteDisks, error);
}

bool ParseVolumeList(const std::string& text, std::map<std::string, std::string>& out,
                     std::set<std::string>& remoteDisks, std::string& error)
{
    std::map<std::string, std::string> parsed;
    std::set<std::string> remote;
    std::size_t pos = 0;
    while (pos <= text.size()) {
        std::size_t end = text.find(';', pos);
        if (end == std::string::npos)
            end = text.size();
        const std::string item = text.substr(pos, end - pos);
        pos = end + 1;
        if (item.empty())
            continue;
        const std::size_t eq = item.find('=');
        if (eq == std::string::npos) {
            error = "volume item without '=': " + item;
            return false;
        }
        const std::string location = item.substr(0, eq);
        std::string dir = item.substr(eq + 1);
        const std::size_t comma = dir.find(',');
        if (comma != std::string::npos) {
            const std::string options = dir.substr(comma + 1);
            dir.erase(comma);
            if (options != "remote-disk") {
                error = "unknown volume option '" + options + "' (known: remote-disk): " + item;
                return false;
            }
            remote.insert(location);
        }
        if (parsed.count(location) != 0) {
            error = "volume location given twice: " + location;
            return false;
        }
        if (location.size() < 2 || location[0] != '/' || location.find('/', 1) != std::string::npos ||
            location == "/." || location == "/..") {
            error = "bad volume location: " + location;
            return false;
        }
        if (dir.empty() || dir[0] != '/') {
            error = "volume directory is not absolute: " + dir;
            return false;
        }
        while (dir.size() > 1 && dir.back() == '/')
            dir.pop_back();
        parsed[location] = dir;
    }
    out = parsed;
    remoteDisks = remote;
    return true;
}

bool VolumeFreeBytes(const std::string& path, unsigned long long& freeBytes)
{
    struct statvfs fs {};
    if (statvfs(path.c_str(), &fs) != 0)
        return false;
    freeBytes = static_cast<unsigned long long>(fs.f_bavail) * static_cast<unsigned long long>(fs.f_frsize);
    return true;
}

} // namespace Storage
} // namespace ISCSI
