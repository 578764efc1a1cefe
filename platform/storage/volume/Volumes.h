// The volumes of the storage library: locations ("/volume1") mapped to host directories, and
// what the file system of a volume offers.
#pragma once

#include <map>
#include <string>

namespace ISCSI {
namespace Storage {

// Parses a volume list "/volume1=/abs/dir;/volume2=/other" (empty items are skipped). Each
// location must be a single absolute component and each directory an absolute path. On false,
// error names the bad item and out is unchanged.
bool ParseVolumeList(const std::string& text, std::map<std::string, std::string>& out, std::string& error);

// The bytes that the file system holding path can still give to a file (statvfs f_bavail).
// false when path cannot be looked at.
bool VolumeFreeBytes(const std::string& path, unsigned long long& freeBytes);

} // namespace Storage
} // namespace ISCSI
