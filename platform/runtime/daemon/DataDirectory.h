// The daemon's data directory holds secrets (password hashes and sessions, CHAP secrets and
// node keys in the storage library's database, the generated admin password, the TLS key):
// it is readable by the daemon's user only.
#pragma once

#include <string>

namespace KOVA {
namespace Daemon {

// The mode of the data directory and of the files directly in it.
constexpr unsigned kDataDirMode = 0700;
constexpr unsigned kDataFileMode = 0600;

// Makes every file the daemon creates from now on private to its user (umask 077).
void MakeNewFilesPrivate();

// Narrows the data directory to kDataDirMode and each regular file directly in it (the
// databases with their -wal and -shm files included) to kDataFileMode, so that files left
// wider by an earlier version or by hand are closed at start. Links are not followed. false
// with error when the directory or a file cannot be changed.
bool RestrictDataDirectory(const std::string& dir, std::string& error);

} // namespace Daemon
} // namespace KOVA
