#include "DataDirectory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace KOVA {
namespace Daemon {

void MakeNewFilesPrivate()
{
    ::umask(077);
}

bool RestrictDataDirectory(const std::string& dir, std::string& error)
{
    const int dirFd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dirFd < 0) {
        error = dir + ": " + std::strerror(errno);
        return false;
    }
    if (::fchmod(dirFd, kDataDirMode) != 0) {
        error = dir + ": " + std::strerror(errno);
        ::close(dirFd);
        return false;
    }
    DIR* entries = ::fdopendir(dirFd);
    if (!entries) {
        error = dir + ": " + std::strerror(errno);
        ::close(dirFd);
        return false;
    }
    bool ok = true;
    while (const struct dirent* entry = ::readdir(entries)) {
        struct stat st {};
        if (::fstatat(dirFd, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode) ||
            (st.st_mode & 07777) == kDataFileMode)
            continue;
        const int fd = ::openat(dirFd, entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0 || ::fchmod(fd, kDataFileMode) != 0) {
            error = dir + "/" + entry->d_name + ": " + std::strerror(errno);
            ok = false;
        }
        if (fd >= 0)
            ::close(fd);
    }
    ::closedir(entries);
    return ok;
}

} // namespace Daemon
} // namespace KOVA
