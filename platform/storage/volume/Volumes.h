// The volumes of the storage library: locations ("/volume1") mapped to host directories, and
// what the file system of a volume offers.
#pragma once

#include <map>
#include <set>
#include <string>

namespace ISCSI {
namespace Storage {

// Parses a volume list "/volume1=/abs/dir;/volume2=/other,remote-disk" (empty items are
// skipped). Each location must be a single absolute component, each directory an absolute
// path, and a location may be given once. A directory may be followed by options after a
// comma; the one option is "remote-disk": the volume lies on a disk of another machine (a
// LUN there takes only changes of size and device attributes). On false, error names the bad
// item and the outputs are unchanged.
bool ParseVolumeList(const std::string& text, std::map<std::string, std::string>& out, std::string& error);
bool ParseVolumeList(const std::string& text, std::map<std::string, std::string>& out,
                     std::set<std::string>& remoteDisks, std::string& error);

// The bytes that the file system holding path can still give to a file (statvfs f_bavail).
// false when path cannot be looked at.
bool VolumeFreeBytes(const std::string& path, unsigned long long& freeBytes);

// Resolves a path that a caller gives (a source file or directory, an export or import
// directory) to a host path inside one of the configured volumes. The path is either in
// location form ("/volume1/dir/file") or a host path under a volume's directory. Components
// "..", and symbolic links that lead out of the volume, are refused. Answers 0 and the
// resolved host path, or an error code (volume/PathConfinement.cpp).
int ResolveInsideVolume(const std::map<std::string, std::string>& volumes, const std::string& path,
                        std::string& resolved);

// What OpenFileInsideVolume answers when the file cannot be opened (missing, unreadable).
constexpr int kOpenFailed = -1;

// Opens, read-only, a file that a caller names (an image or manifest to import, the source
// of a new LUN): the path is resolved as by ResolveInsideVolume, then the file is opened below
// its volume's directory without following any symbolic link and without crossing a mount.
// It must be a regular file with a single name (a hard link could name a file outside the
// volume). Answers 0 and fd (the caller closes it), a path code,
// ISCSI_ERR_PATH_NOT_PLAIN_FILE, or kOpenFailed. resolved (may be null) gets the host path.
int OpenFileInsideVolume(const std::map<std::string, std::string>& volumes, const std::string& path, int& fd,
                         std::string* resolved = nullptr);

} // namespace Storage
} // namespace ISCSI
