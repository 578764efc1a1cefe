// The storage library's context: its data directory, its volumes and its configuration
// database, opened on first use and shared by every operation of the process.
//
// Where things come from:
//   - the data directory: the environment variable KOVA_DATA_DIR (the daemon sets it), else
//     "./data"; created when missing, and made absolute;
//   - the volumes: KOVA_VOLUMES, "/volume1=/abs/dir;/volume2=/other,remote-disk", else the one
//     volume "/volume1" at <data dir>/volume1 (created); each is also registered in
//     KOVA::SystemRoot. The option "remote-disk" marks a volume that lies on a disk of another
//     machine (the daemon's --volume builds this list);
//   - the database: <data dir>/iscsi.db.
//
// Every operation runs under one lock (LibraryContext::With), so operations of the library are
// serialised within the process. One process owns a data directory.
#pragma once

#include "config/ConfigDB.h"
#include "volume/Volumes.h"

#include <functional>
#include <map>
#include <set>
#include <string>

namespace ISCSI {
namespace Storage {

class LibraryContext {
public:
    // Runs fn on the context under the library lock, opening the context first when it is not
    // open. Answers fn's result, or ISCSI_ERR_NOT_STARTED / ISCSI_ERR_DATABASE when the context
    // cannot be opened (the next call tries again).
    static int With(const std::function<int(LibraryContext&)>& fn);
    // For tests: closes the open context and removes the volumes it registered; the next use
    // opens a new one from the environment as it is then, as a restarted process would.
    static void Reset();

    const std::string& dataDir() const { return dataDir_; }
    const std::map<std::string, std::string>& volumes() const { return volumes_; }
    // The directory of a configured volume location ("/volume1"), or empty for none.
    std::string volumeDir(const std::string& location) const;
    // Whether the volume location was configured with the option "remote-disk".
    bool isRemoteDisk(const std::string& location) const { return remoteDisks_.count(location) != 0; }
    // ResolveInsideVolume over the configured volumes.
    int resolveInsideVolume(const std::string& path, std::string& resolved) const
    {
        return ResolveInsideVolume(volumes_, path, resolved);
    }
    ConfigDB& db() { return db_; }

    // The directory of the LUN files of a volume directory.
    static std::string LunDir(const std::string& volumeDir);

private:
    LibraryContext() = default;
    int open();
    bool ParseVolumeListOrLog(const std::string& text, std::string& error);
    void reconcile();
    void RemoveMovedAway(const std::string& location, const std::string& path, const std::string& name);

    std::string dataDir_;
    std::map<std::string, std::string> volumes_;
    std::set<std::string> remoteDisks_;
    ConfigDB db_;
};

} // namespace Storage
} // namespace ISCSI

// The daemon's start function (it calls every "KOVAPlatformStart" that its modules bring):
// opens the library's context at once rather than at the first request, so that tgtd serves
// the stored targets and interrupted jobs are marked as soon as the daemon runs.
extern "C" void KOVAPlatformStart();
