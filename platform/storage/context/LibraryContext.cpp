// Opening, reconciling and sharing the storage library's context.
#include "context/LibraryContext.h"

#include "context/StartupHooks.h"
#include "context/StoredNames.h"
#include "lun/LUNDevices.h"
#include "snapshot/SnapshotStore.h"

#include <iscsi/ISCSIErrors.h>
#include <kova/SystemRoot.h>

#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>

namespace ISCSI {
namespace Storage {
namespace {

namespace fs = std::filesystem;

std::mutex& ContextMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::unique_ptr<LibraryContext>& OpenContext()
{
    static std::unique_ptr<LibraryContext> context;
    return context;
}

// A LUN file in the middle of a change: "<uuid>.img.creating" or "<uuid>.img.deleting".
bool SplitPendingName(const std::string& name, std::string& uuid)
{
    for (const char* suffix : {".img.creating", ".img.deleting"}) {
        const std::string s(suffix);
        if (name.size() > s.size() && name.compare(name.size() - s.size(), s.size(), s) == 0) {
            uuid = name.substr(0, name.size() - s.size());
            return true;
        }
    }
    return false;
}

} // namespace

int LibraryContext::With(const std::function<int(LibraryContext&)>& fn)
{
    std::lock_guard<std::mutex> lock(ContextMutex());
    std::unique_ptr<LibraryContext>& context = OpenContext();
    if (!context) {
        std::unique_ptr<LibraryContext> fresh(new LibraryContext());
        const int rc = fresh->open();
        if (rc != 0)
            return rc;
        context = std::move(fresh);
    }
    return fn(*context);
}

void LibraryContext::Reset()
{
    StopJobRunner();
    StopDefragProcesses();
    std::lock_guard<std::mutex> lock(ContextMutex());
    std::unique_ptr<LibraryContext>& context = OpenContext();
    if (!context)
        return;
    StopTargetEngine(*context);
    for (const auto& volume : context->volumes_)
        KOVA::SystemRoot::SetVolume(volume.first, "");
    context.reset();
}

std::string LibraryContext::volumeDir(const std::string& location) const
{
    const auto it = volumes_.find(location);
    return it == volumes_.end() ? std::string() : it->second;
}

std::string LibraryContext::LunDir(const std::string& volumeDir)
{
    return volumeDir + "/@iscsi";
}

int LibraryContext::open()
{
    std::error_code ec;
    const char* dataEnv = std::getenv("KOVA_DATA_DIR");
    const fs::path dataDir = fs::absolute(dataEnv && *dataEnv ? dataEnv : "./data", ec).lexically_normal();
    if (ec || (fs::create_directories(dataDir, ec), ec)) {
        syslog(LOG_ERR, "iSCSI storage: cannot create the data directory %s: %s", dataDir.c_str(),
               ec.message().c_str());
        return ISCSI_ERR_NOT_STARTED;
    }
    // The data directory holds the configuration database with its secrets.
    fs::permissions(dataDir, fs::perms::owner_all, fs::perm_options::replace, ec);
    dataDir_ = dataDir.string();
    while (dataDir_.size() > 1 && dataDir_.back() == '/')
        dataDir_.pop_back();

    const char* volumesEnv = std::getenv("KOVA_VOLUMES");
    if (volumesEnv && *volumesEnv) {
        std::string error;
        if (!ParseVolumeListOrLog(volumesEnv, error))
            return ISCSI_ERR_NOT_STARTED;
    } else {
        const std::string dir = dataDir_ + "/volume1";
        fs::create_directories(dir, ec);
        if (ec) {
            syslog(LOG_ERR, "iSCSI storage: cannot create the volume directory %s: %s", dir.c_str(),
                   ec.message().c_str());
            return ISCSI_ERR_NOT_STARTED;
        }
        volumes_["/volume1"] = dir;
    }
    for (const auto& volume : volumes_)
        KOVA::SystemRoot::SetVolume(volume.first, volume.second);

    std::string error;
    if (!db_.open(dataDir_ + "/iscsi.db", error)) {
        syslog(LOG_ERR, "iSCSI storage: cannot open the configuration database %s", error.c_str());
        for (const auto& volume : volumes_)
            KOVA::SystemRoot::SetVolume(volume.first, "");
        return ISCSI_ERR_DATABASE;
    }
    reconcile();
    ReconcileSnapshotFiles(db_, volumes_);
    ReconcileSubvolConversions(*this);
    ReportBadStoredNames(db_);
    MarkInterruptedJobs(*this);
    StartTargetEngine(*this);
    return 0;
}

bool LibraryContext::ParseVolumeListOrLog(const std::string& text, std::string& error)
{
    if (!ParseVolumeList(text, volumes_, remoteDisks_, error)) {
        syslog(LOG_ERR, "iSCSI storage: bad KOVA_VOLUMES: %s", error.c_str());
        return false;
    }
    return true;
}

// A plain "<uuid>.img" in the volume location whose LUN's row names another volume, where
// the LUN's file exists: the old file of a move whose end was committed by a process that died
// before it removed it.
void LibraryContext::RemoveMovedAway(const std::string& location, const std::string& path,
                                     const std::string& name)
{
    const std::string suffix = ".img";
    if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
        return;
    const std::string uuid = name.substr(0, name.size() - suffix.size());
    Statement query(db_, "SELECT location, file_path FROM luns WHERE uuid = ?1;");
    if (query.bind(1, uuid).step() != SQLITE_ROW)
        return;
    const std::string rowLocation = query.text(0);
    const std::string dir = volumeDir(rowLocation);
    if (rowLocation == location || dir.empty())
        return;
    std::error_code ec;
    const fs::path current = fs::path(dir + "/" + query.text(1));
    if (fs::exists(current, ec) && !fs::equivalent(current, path, ec))
        std::remove(path.c_str());
}

// A LUN file is created as "<uuid>.img.creating" and renamed to "<uuid>.img" once its row is
// committed; a deleted one is renamed to "<uuid>.img.deleting" in the transaction that removes
// its row and unlinked after the commit. A process that died in between leaves such a name:
// when the row exists and places the LUN on this volume, the change is finished (creation) or
// undone (deletion) by renaming the file back to "<uuid>.img"; otherwise the file is removed.
// A LUN moved to another volume passes through both names at once: ".creating" on the new
// volume and ".deleting" on the old one, so the row's location decides which one stays.
void LibraryContext::reconcile()
{
    for (const auto& volume : volumes_) {
        std::error_code ec;
        for (fs::directory_iterator it(LunDir(volume.second), ec), end; !ec && it != end; it.increment(ec)) {
            std::string uuid;
            const std::string name = it->path().filename().string();
            if (!SplitPendingName(name, uuid)) {
                RemoveMovedAway(volume.first, it->path().string(), name);
                continue;
            }
            Statement query(db_, "SELECT 1 FROM luns WHERE uuid = ?1 AND location = ?2;");
            const int rc = query.bind(1, uuid).bind(2, volume.first).step();
            if (rc == SQLITE_ROW) {
                const std::string img = LunDir(volume.second) + "/" + uuid + ".img";
                std::error_code exists;
                if (!fs::exists(img, exists))
                    std::rename(it->path().c_str(), img.c_str());
                else
                    std::remove(it->path().c_str());
            } else if (rc == SQLITE_DONE) {
                std::remove(it->path().c_str());
            }
        }
    }
}

} // namespace Storage
} // namespace ISCSI

extern "C" void KOVAPlatformStart()
{
    const int rc = ISCSI::Storage::LibraryContext::With([](ISCSI::Storage::LibraryContext&) { return 0; });
    if (rc != 0)
        syslog(LOG_ERR, "iSCSI storage: the library did not start (%d); the next request tries again", rc);
}
