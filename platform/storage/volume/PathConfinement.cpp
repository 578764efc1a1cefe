// Confining the paths that callers give to the configured volumes.
//
// A caller names a file or directory either by location ("/volume1/dir/file") or by its host
// path under a volume's directory. Either way the path is first checked as text (absolute, no
// ".." component), then the longest part of it that exists is resolved by the kernel
// (realpath), which follows every symbolic link; the result must still lie inside the
// directory of the same volume. The part that does not exist yet is appended as it is: it has
// no links to follow and no "..".
//
// A file that the library reads on a caller's behalf is then opened below the volume's
// directory without following any symbolic link (openat2 with RESOLVE_BENEATH and
// RESOLVE_NO_SYMLINKS, or O_NOFOLLOW on each component where the kernel has no openat2), so
// that a link planted between the check and the open leads nowhere.
#include "volume/Volumes.h"

#include "util/Fd.h"

#include <iscsi/ISCSIErrors.h>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

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

// The volume directory (resolved) that holds the resolved path real.
std::string RealVolumeOf(const std::map<std::string, std::string>& volumes, const std::string& real)
{
    std::string best;
    for (const auto& volume : volumes) {
        std::string dir;
        if (RealPath(volume.second, dir) && IsInside(real, dir) && dir.size() > best.size())
            best = dir;
    }
    return best;
}

// Opens relative (no "..", no leading '/') below the directory dirFd without following any
// symbolic link nor leaving dirFd's mount. -1 with errno on failure (ELOOP for a link).
int OpenBeneath(int dirFd, const std::string& relative, int flags)
{
    struct open_how how {};
    how.flags = static_cast<unsigned long long>(flags | O_CLOEXEC | O_NOFOLLOW);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS | RESOLVE_NO_XDEV;
    const long fd = ::syscall(SYS_openat2, dirFd, relative.c_str(), &how, sizeof(how));
    if (fd >= 0 || errno != ENOSYS)
        return static_cast<int>(fd);
    // No openat2: one component at a time, none of them followed when it is a link.
    std::vector<std::string> parts;
    if (!SplitComponents("/" + relative, parts) || parts.empty()) {
        errno = EINVAL;
        return -1;
    }
    Fd dir(::dup(dirFd));
    for (std::size_t i = 0; dir.valid() && i + 1 < parts.size(); ++i)
        dir.reset(::openat(dir.get(), parts[i].c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!dir.valid())
        return -1;
    return ::openat(dir.get(), parts.back().c_str(), flags | O_CLOEXEC | O_NOFOLLOW);
}

} // namespace

int OpenFileInsideVolume(const std::map<std::string, std::string>& volumes, const std::string& path, int& fd,
                         std::string* resolvedOut)
{
    fd = -1;
    std::string resolved;
    const int rc = ResolveInsideVolume(volumes, path, resolved);
    if (rc != 0)
        return rc;
    const std::string volumeDir = RealVolumeOf(volumes, resolved);
    if (volumeDir.empty())
        return ISCSI_ERR_PATH_LEAVES_VOLUME;
    Fd dir(::open(volumeDir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!dir.valid())
        return kOpenFailed;
    const std::size_t skip = volumeDir == "/" ? 1 : volumeDir.size() + 1;
    const std::string relative = resolved.size() > skip ? resolved.substr(skip) : std::string();
    if (relative.empty())
        return ISCSI_ERR_PATH_NOT_PLAIN_FILE;
    Fd file(OpenBeneath(dir.get(), relative, O_RDONLY | O_NONBLOCK));
    if (!file.valid())
        return errno == ELOOP || errno == EXDEV ? ISCSI_ERR_PATH_LEAVES_VOLUME : kOpenFailed;
    // A regular file with no other name: a hard link can give a file of another part of the
    // same file system a name inside the volume, and the link count is all that tells it.
    struct stat st {};
    if (::fstat(file.get(), &st) != 0)
        return kOpenFailed;
    if (!S_ISREG(st.st_mode) || st.st_nlink != 1)
        return ISCSI_ERR_PATH_NOT_PLAIN_FILE;
    const int flags = ::fcntl(file.get(), F_GETFL);
    if (flags >= 0)
        ::fcntl(file.get(), F_SETFL, flags & ~O_NONBLOCK);
    fd = ::dup(file.get());
    if (fd < 0)
        return kOpenFailed;
    if (resolvedOut)
        *resolvedOut = resolved;
    return 0;
}

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
        // A volume's directory as configured, or as resolved (a path the library resolved
        // itself names the volume by its real directory).
        std::size_t best = 0;
        for (const auto& volume : volumes) {
            std::string real;
            const bool hasReal = RealPath(volume.second, real) && real != volume.second;
            for (const std::string& dir : {volume.second, hasReal ? real : volume.second}) {
                std::vector<std::string> dirParts;
                if (!SplitComponents(dir, dirParts) || dirParts.size() > parts.size())
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
