// Where the appliance's files and volumes lie on this machine.
//
// The appliance names its files by fixed absolute paths ("/etc.defaults/kovainfo.conf") and
// its volumes by locations ("/volume1"). A daemon that runs on an ordinary host maps both:
// the appliance files under a root directory of its own, so that the host's /etc is never
// touched, and each volume to a directory. The map is process-wide and thread-safe; the
// default root is "/" and no volume is mapped, which is the layout of a real appliance.
#pragma once

#include <map>
#include <string>

namespace KOVA {

class SystemRoot {
public:
    // Sets the root directory of the appliance files; an empty text means "/".
    static void SetRoot(const std::string& dir);
    // The root directory, without a trailing slash (except for "/" itself).
    static std::string Root();

    // Maps the volume location (a single component such as "/volume1") to dir; an empty dir
    // removes the mapping. Answers false, and changes nothing, for a volume text that is not a
    // single absolute component.
    static bool SetVolume(const std::string& volume, const std::string& dir);
    // Removes every volume mapping.
    static void ClearVolumes();
    // The volume mappings, location to directory.
    static std::map<std::string, std::string> Volumes();

    // The directory path of a location: a path whose first component is a mapped volume
    // ("/volume1", "/volume1/", "/volume1/a/b") maps into that volume's directory, with "."
    // and ".." of the rest folded so that they stop at that directory ("/volume1/../x" is
    // "<dir>/x"). Any other path is answered unchanged.
    static std::string ResolveVolumePath(const std::string& path);

    // The host path of an appliance file: a path on a mapped volume resolves as
    // ResolveVolumePath does; any other absolute path resolves under the root, with "." and
    // ".." folded so that it stays under the root. A relative path is answered unchanged.
    static std::string ResolveFile(const std::string& path);
};

} // namespace KOVA
