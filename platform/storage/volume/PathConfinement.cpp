// Confining the paths that callers give to the configured volumes.
//
// A caller names a file or directory either by location ("/volume1/dir/file") or by its host
// path under a volume's directory. Either way the path is first checked as text (absolute, no
// ".." component), then the longest part of it that exists is resolved by the kernel
// (realpath), which follows every symbolic link; the result must still lie inside the
// directory of the same volume. The part that does not exist yet is appended as it is: it has
// no links to follow and no "..".
#include "volume/Volumes.h"

#include <iscsi/ISCSIErrors.h>

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {
namespace {

// Splits an absolute path into its components, leaving out empty ones and ".". false when a
// component is "..".
bool SplitComponents(const std::string& path, std::vector<std::string>& parts)
{
    parts.clear();
    std::size_t pos = 0;
    while (pos < path.size()) {
        std::size_t end = path.find('/', pos);
        if (end == std::string::npos)
            end = path.size();
        const std::string part = path.substr(pos, end - pos);
        pos = end + 1;
        if (part.empty() || part == ".")
            continue;
        if (part == "..")
            return false;
        parts.push_back(part);
    }
    return true;
}

bool RealPath(const std::string& path, std::string& real)
{
    char* buffer = ::realpath(path.c_str(), nullptr);
    if (!buffer)
        return false;
    real = buffer;
    std::free(buffer);
    return true;
}

bool IsInside(const std::string& path, const std::string& dir)
{
    if (dir == "/")
        return true;
    return path == dir ||
           (path.size() > dir.size() && path.compare(0, dir.size(), dir) == 0 && path[dir.size()] == '/');
}

} // namespace

int ResolveInsideVolume(const std::map<std::string, std::string>& volumes, const std::string& path,
                        std::string& resolved)
{
    if (path.empty() || path[0] != '/')
        return ISCSI_ERR_PATH_NOT_ABSOLUTE;
    std::vector<std::string> parts;
    if (!SplitComponents(path, parts))
        return ISCSI_ERR_PATH_DOT_DOT;

    // The volume: by location when the first component names one, else the volume whose
    // directory is the longest leading part of the path.
    std::string volumeDir;
    std::vector<std::string> rest;
    if (!parts.empty()) {
        const auto it = volumes.find("/" + parts[0]);
        if (it != volumes.end()) {
            volumeDir = it->second;
            rest.assign(parts.begin() + 1, parts.end());
        }
    }
    if (volumeDir.empty()) {
        std::size_t best = 0;
        for (const auto& volume : volumes) {
            std::vector<std::string> dirParts;
            if (!SplitComponents(volume.second, dirParts) || dirParts.size() > parts.size())
                continue;
            bool prefix = true;
            for (std::size_t i = 0; i < dirParts.size() && prefix; ++i)
                prefix = dirParts[i] == parts[i];
            if (prefix && (volumeDir.empty() || dirParts.size() > best)) {
                volumeDir = volume.second;
                best = dirParts.size();
                rest.assign(parts.begin() + static_cast<std::ptrdiff_t>(dirParts.size()), parts.end());
            }
        }
    }
    if (volumeDir.empty())
        return ISCSI_ERR_PATH_OUTSIDE_VOLUMES;
    std::string realVolume;
    if (!RealPath(volumeDir, realVolume))
        return ISCSI_ERR_PATH_OUTSIDE_VOLUMES;

    // The longest existing part of the path (a dangling symbolic link counts as existing, and
    // realpath refuses it below: where it would lead cannot be checked).
    std::string existing = volumeDir;
    std::size_t i = 0;
    for (; i < rest.size(); ++i) {
        const std::string next = existing + "/" + rest[i];
        struct stat st {};
        if (::lstat(next.c_str(), &st) != 0)
            break;
        existing = next;
    }
    std::string real;
    if (!RealPath(existing, real))
        return ISCSI_ERR_PATH_LEAVES_VOLUME;
    if (!IsInside(real, realVolume))
        return ISCSI_ERR_PATH_LEAVES_VOLUME;
    for (; i < rest.size(); ++i)
        real += (real == "/" ? "" : "/") + rest[i];
    resolved = real;
    return 0;
}

} // namespace Storage
} // namespace ISCSI
