// Block-level backup and restore of a LUN: ISCSILIBLUNBKP.
//
// targetConnect logs in to an iSCSI target through libiscsi (in user space: no kernel
// initiator is needed), finds its first disk LUN, records the target and answers the path
// "iscsi://<portal>/<iqn>/<lun>" that stands for that LUN. smartddStart copies, as a job of the
// job runner, the LUN file to that disk (backup) or the disk into the LUN (restore), chunk by
// chunk, keeping a bitmap of the chunks copied in the database (lunbkp/LunbkpStore.h), so that
// a stopped, failed or interrupted copy of the same LUN, direction and path resumes where it
// was. A backup reads only the data extents of the LUN file and zeroes the rest of the disk; a
// restore writes into "@iscsi/<uuid>.img.lunrestore" beside the LUN file, which replaces the
// LUN file (a rename) only when every chunk is there, so the LUN keeps its data until then.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSILIBLUNBKP.h>

#include "clone/CopyEngine.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"
#include "log/ServiceLog.h"
#include "lun/LUNDevices.h"
#include "lun/LUNStore.h"
#include "lunbkp/LunbkpStore.h"
#include "lunbkp/RemoteDisk.h"
#include "target/TargetEngine.h"
#include "target/TargetStore.h"
#include "util/Fd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace ISCSI {
namespace LIB {
namespace LIBLUNBKP {
namespace {

using Storage::ConfigDB;
using Storage::ConnectedTarget;
using Storage::CopyState;
using Storage::kLunbkpChunkSize;
using Storage::kSectorSize;
using Storage::LibraryContext;
using Storage::LUNRow;

constexpr int kInvalidLocation = 18990501;
// Zeroed hole chunks of a backup go to the disk in runs of at most this many chunks.
constexpr std::uint64_t kZeroRunChunks = 64;
// The copied chunks are made durable and recorded at least this often.
constexpr auto kCheckpointEvery = std::chrono::seconds(1);

// One copy that runs in this process.
struct CopyRun {
    CopyState state;                           // the bitmap as the work advances (job thread only)
    std::vector<bool> durable;                 // the bitmap as last recorded
    std::atomic<std::uint64_t> sectorsDone{0}; // read by smartddProgressGet
    std::shared_ptr<Storage::RemoteDisk> disk;
    std::string lunFile;  // the LUN's data file
    std::string sideFile; // a restore's destination until it is complete
    bool thick = false;
};

std::mutex gRunsMutex;
std::map<std::string, std::shared_ptr<CopyRun>> gRuns; // by LUN uuid

std::shared_ptr<CopyRun> RunOf(const std::string& lunUuid)
{
    std::lock_guard<std::mutex> lock(gRunsMutex);
    const auto it = gRuns.find(lunUuid);
    return it == gRuns.end() ? nullptr : it->second;
}

const char* KindOf(int type)
{
    return type == LUNBKP_TYPE_RESTORE ? Storage::kLunRestoreJobKind : Storage::kLunBackupJobKind;
}

bool CopyRunning(const std::string& lunUuid)
{
    return Storage::JobRunning(Storage::kLunBackupJobKind, lunUuid) ||
           Storage::JobRunning(Storage::kLunRestoreJobKind, lunUuid);
}

std::string SideFileOf(const LibraryContext& ctx, const std::string& location, const std::string& lunUuid)
{
    const std::string dir = ctx.volumeDir(location);
    return dir.empty() ? std::string() : LibraryContext::LunDir(dir) + "/" + lunUuid + ".img.lunrestore";
}

// An address of target_ip as libiscsi's portal text: "a.b.c.d:port" or "[v6]:port" (port 3260
// when none is given). False when text is no IPv4 or IPv6 address with an optional port.
bool ParsePortal(const std::string& text, std::string& portal)
{
    std::string host = text;
    std::string port = "3260";
    if (!text.empty() && text[0] == '[') {
        const std::size_t close = text.find(']');
        if (close == std::string::npos)
            return false;
        host = text.substr(1, close - 1);
        const std::string rest = text.substr(close + 1);
        if (!rest.empty()) {
            if (rest[0] != ':')
                return false;
            port = rest.substr(1);
        }
    } else if (std::count(text.begin(), text.end(), ':') == 1) {
        host = text.substr(0, text.find(':'));
        port = text.substr(text.find(':') + 1);
    }
    std::string canonical;
    if (!Storage::CanonicalAddress(host, canonical))
        return false;
    if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const int number = std::stoi(port);
    if (number < 1 || number > 65535)
        return false;
    const bool v6 = canonical.find(':') != std::string::npos;
    portal = (v6 ? "[" + canonical + "]" : canonical) + ":" + std::to_string(number);
    return true;
}

// The forms of iSCSI names: "iqn.", "eui." or "naa." and the characters targets accept.
bool ValidIqn(const std::string& iqn)
{
    if (iqn.size() < 5 || iqn.size() > 223)
        return false;
    const std::string prefix = iqn.substr(0, 4);
    if (prefix != "iqn." && prefix != "eui." && prefix != "naa.")
        return false;
    return iqn.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789:.-") ==
           std::string::npos;
}

// Whether an initiator may use the LUN: mapped to an enabled target, or attached to a loop
// device. 0, ISCSI_ERR_LUNBKP_LUN_IN_USE or ISCSI_ERR_DATABASE.
int CheckNotInUse(LibraryContext& ctx, const LUNRow& row)
{
    std::vector<int> tids;
    if (Storage::ListLunTargets(ctx.db(), row.uuid, tids) != 0)
        return ISCSI_ERR_DATABASE;
    for (int tid : tids) {
        Storage::TargetRow target;
        const int rc = Storage::FindTarget(ctx.db(), tid, target);
        if (rc == 0 && target.is_enabled)
            return ISCSI_ERR_LUNBKP_LUN_IN_USE;
    }
    std::string device;
    if (Storage::FindLoopDevice(Storage::LunDataPath(ctx, row), device))
        return ISCSI_ERR_LUNBKP_LUN_IN_USE;
    return 0;
}

// What a copy needs before it can start, under the lock.
int CheckCopyStart(LibraryContext& ctx, const std::string& lunUuid, const std::string& path, int type,
                   LUNRow& row, ConnectedTarget& target)
{
    int rc = Storage::FindLUNByUuid(ctx.db(), lunUuid, row);
    if (rc != 0)
        return rc;
    if (!Storage::IsFileType(row.type) || Storage::LunDataPath(ctx, row).empty())
        return ISCSI_ERR_LUN_CHANGE_NOT_OFFERED;
    if (row.status != "normal")
        return ISCSI_ERR_LUN_NOT_READY;
    if (CopyRunning(lunUuid) || Storage::JobRunning("move", lunUuid))
        return ISCSI_ERR_JOB_BUSY;
    rc = Storage::FindConnectedTargetByPath(ctx.db(), path, target);
    if (rc != 0)
        return rc;
    return type == LUNBKP_TYPE_RESTORE ? CheckNotInUse(ctx, row) : 0;
}

// Copy rows of LUNs that were deleted, and the files of their restores.
void DropOrphanCopies(LibraryContext& ctx)
{
    std::vector<CopyState> orphans;
    if (Storage::ListOrphanCopies(ctx.db(), orphans) != 0)
        return;
    for (const CopyState& orphan : orphans) {
        if (orphan.type == LUNBKP_TYPE_RESTORE) {
            const std::string side = SideFileOf(ctx, orphan.location, orphan.lunUuid);
            if (!side.empty())
                std::remove(side.c_str());
        }
        Storage::DeleteCopyState(ctx.db(), orphan.lunUuid);
    }
}

// Makes the chunks copied so far durable (the disk synchronised, or the file synced) and
// records the bitmap; false when the sync failed (the bitmap then falls back to the last one
// recorded, since the chunks after it may not have reached the destination).
bool Checkpoint(CopyRun& run, int fd, bool record)
{
    const bool synced = run.state.type == LUNBKP_TYPE_BACKUP ? run.disk->sync() == 0 : ::fdatasync(fd) == 0;
    if (!synced) {
        run.state.bitmap = run.durable;
        run.state.chunksDone =
            static_cast<std::uint64_t>(std::count(run.durable.begin(), run.durable.end(), true));
        run.sectorsDone = run.state.sectorsDone();
        return false;
    }
    run.durable = run.state.bitmap;
    if (record) {
        CopyState snapshot = run.state;
        snapshot.state = Storage::kCopyCopying;
        LibraryContext::With(
            [&snapshot](LibraryContext& ctx) { return Storage::SaveCopyState(ctx.db(), snapshot); });
    }
    return true;
}

// Marks chunks [first, end) copied.
void MarkCopied(CopyRun& run, std::uint64_t first, std::uint64_t end)
{
    for (std::uint64_t i = first; i < end; ++i) {
        if (!run.state.bitmap[i]) {
            run.state.bitmap[i] = true;
            ++run.state.chunksDone;
        }
    }
    run.sectorsDone = run.state.sectorsDone();
}

// The copy itself, on the job's thread, outside the library lock.
int CopyChunks(CopyRun& run, int fd, Storage::JobControl& job)
{
    const bool backup = run.state.type == LUNBKP_TYPE_BACKUP;
    const std::uint64_t size = run.state.lunSize;
    const std::uint64_t chunk = run.state.chunkSize;
    const std::uint64_t chunks = run.state.chunkCount();
    // A backup reads only the chunks that hold data of the LUN file; a restore reads all.
    std::vector<bool> data(chunks, !backup);
    if (backup && !Storage::ForEachDataBlock(fd, static_cast<off_t>(size), chunk, [&](off_t offset, off_t) {
            data[static_cast<std::uint64_t>(offset) / chunk] = true;
            return true;
        }))
        return ISCSI_ERR_COPY_FAILED;
    std::uint64_t total = 0;
    for (std::uint64_t i = 0; i < chunks; ++i)
        if (!run.state.bitmap[i] && data[i])
            total += std::min(chunk, size - i * chunk);
    job.setTotal(total);

    std::vector<char> buffer(run.disk->roundUp(chunk));
    Storage::Pacer pacer;
    std::uint64_t copied = 0;
    auto lastCheckpoint = std::chrono::steady_clock::now();
    for (std::uint64_t i = 0; i < chunks; ++i) {
        if (run.state.bitmap[i])
            continue;
        if (job.cancelled())
            return ISCSI_ERR_JOB_CANCELLED;
        const std::uint64_t offset = i * chunk;
        const std::uint64_t length = std::min(chunk, size - offset);
        std::uint64_t end = i + 1;
        int rc = 0;
        if (!data[i]) {
            // A run of chunks without data: zeroed on the disk in one command.
            while (end < chunks && end - i < kZeroRunChunks && !data[end] && !run.state.bitmap[end])
                ++end;
            rc = run.disk->zero(offset, std::min(end * chunk, size) - offset);
        } else if (backup) {
            std::fill(buffer.begin() + static_cast<std::ptrdiff_t>(length), buffer.end(), 0);
            if (!Storage::ReadFull(fd, buffer.data(), static_cast<off_t>(offset), static_cast<off_t>(length)))
                rc = ISCSI_ERR_COPY_FAILED;
            else if (Storage::AllZero(buffer.data(), length))
                rc = run.disk->zero(offset, length);
            else
                rc = run.disk->write(offset, length, buffer.data());
        } else {
            rc = run.disk->read(offset, length, buffer.data());
            if (rc == 0 && Storage::AllZero(buffer.data(), length)) {
                // Zeros stay a hole of the new LUN file (the chunk may hold data of a copy
                // that ran before the bitmap was last recorded).
                if (::fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
                                static_cast<off_t>(length)) != 0 &&
                    !Storage::WriteFull(fd, buffer.data(), static_cast<off_t>(offset),
                                        static_cast<off_t>(length)))
                    rc = errno == ENOSPC ? ISCSI_ERR_NO_SPACE : ISCSI_ERR_COPY_FAILED;
            } else if (rc == 0 && !Storage::WriteFull(fd, buffer.data(), static_cast<off_t>(offset),
                                                      static_cast<off_t>(length))) {
                rc = errno == ENOSPC || errno == EDQUOT ? ISCSI_ERR_NO_SPACE : ISCSI_ERR_COPY_FAILED;
            }
        }
        if (rc != 0)
            return rc;
        MarkCopied(run, i, end);
        if (data[i]) {
            copied += length;
            job.progress(copied);
            if (!pacer.pace(length, &job))
                return ISCSI_ERR_JOB_CANCELLED;
        }
        i = end - 1;
        if (std::chrono::steady_clock::now() - lastCheckpoint >= kCheckpointEvery) {
            if (!Checkpoint(run, fd, true))
                return ISCSI_ERR_COPY_FAILED;
            lastCheckpoint = std::chrono::steady_clock::now();
        }
    }
    return 0;
}

int RunCopy(CopyRun& run, Storage::JobControl& job)
{
    const bool backup = run.state.type == LUNBKP_TYPE_BACKUP;
    Storage::Fd file(backup ? ::open(run.lunFile.c_str(), O_RDONLY | O_CLOEXEC)
                            : ::open(run.sideFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!file.valid())
        return !backup && errno == ENOSPC ? ISCSI_ERR_NO_SPACE : ISCSI_ERR_COPY_FAILED;
    struct stat st {};
    if (!backup && (::fstat(file.get(), &st) != 0 ||
                    (static_cast<std::uint64_t>(st.st_size) != run.state.lunSize &&
                     ::ftruncate(file.get(), static_cast<off_t>(run.state.lunSize)) != 0)))
        return ISCSI_ERR_COPY_FAILED;
    int rc = CopyChunks(run, file.get(), job);
    // Whatever ended the copy, what it recorded must be on the destination.
    if (!Checkpoint(run, file.get(), false) && rc == 0)
        rc = ISCSI_ERR_COPY_FAILED;
    return rc;
}

// The end of a complete restore, under the lock: the new file replaces the LUN's, unless the
// LUN changed meanwhile or an initiator may use it now.
int CompleteRestore(LibraryContext& ctx, CopyRun& run)
{
    LUNRow row;
    int rc = Storage::FindLUNByUuid(ctx.db(), run.state.lunUuid, row);
    if (rc != 0)
        return rc;
    if (row.size != run.state.lunSize || row.location != run.state.location)
        return ISCSI_ERR_COPY_FAILED;
    rc = CheckNotInUse(ctx, row);
    if (rc != 0)
        return rc;
    if (run.thick && Storage::AllocateLunFile(run.sideFile, row.size) != 0)
        return ISCSI_ERR_NO_SPACE;
    if (std::rename(run.sideFile.c_str(), Storage::LunDataPath(ctx, row).c_str()) != 0)
        return ISCSI_ERR_LUN_FILE;
    return 0;
}

// The state a copy of the LUN starts from: the recorded one when it is a copy of the same
// direction, path, LUN size and volume that did not end done, else a new one (the file of an
// earlier restore is removed then).
CopyState StartingState(LibraryContext& ctx, const LUNRow& row, const std::string& path, int type)
{
    CopyState state;
    if (Storage::LoadCopyState(ctx.db(), row.uuid, state) == 0) {
        if (state.type == type && state.blockDevPath == path && state.lunSize == row.size &&
            state.location == row.location && state.chunkSize == kLunbkpChunkSize &&
            state.state != Storage::kCopyDone)
            return state;
        if (state.type == LUNBKP_TYPE_RESTORE) {
            const std::string side = SideFileOf(ctx, state.location, row.uuid);
            if (!side.empty())
                std::remove(side.c_str());
        }
    }
    state = CopyState();
    state.lunUuid = row.uuid;
    state.type = type;
    state.blockDevPath = path;
    state.location = row.location;
    state.lunSize = row.size;
    state.bitmap.assign(state.chunkCount(), false);
    return state;
}

} // namespace

ISCSILIBLUNBKP::ISCSILIBLUNBKP() = default;
ISCSILIBLUNBKP::ISCSILIBLUNBKP(const std::string& lunUuid) : lun_uuid(lunUuid) {}
ISCSILIBLUNBKP::~ISCSILIBLUNBKP() = default;

int ISCSILIBLUNBKP::backupLunMove(const std::string& dstLocation)
{
    if (dstLocation.empty())
        return kInvalidLocation;
    const int rc = LibraryContext::With([this](LibraryContext& ctx) -> int {
        LUNRow row;
        const int found = Storage::FindLUNByUuid(ctx.db(), lun_uuid, row);
        if (found != 0)
            return found;
        return CopyRunning(lun_uuid) ? ISCSI_ERR_JOB_BUSY : 0;
    });
    if (rc != 0)
        return rc;
    // The LUN's move between volumes: a job that copies the file and switches the row.
    LIBLUN::ISCSILIBLUN lun(lun_uuid, false, false, false);
    return lun.localUpdateLUN("", 0, ISCSI_LUN_TYPE_NONE, dstLocation, 0, 0, "");
}

int ISCSILIBLUNBKP::targetConnect(const std::string& targetIp, const std::string& targetIqn,
                                  std::string& blockDevPath)
{
    std::string portal;
    if (!ParsePortal(targetIp, portal))
        return ISCSI_ERR_LUNBKP_TARGET_ADDRESS;
    if (!ValidIqn(targetIqn))
        return ISCSI_ERR_LUNBKP_TARGET_LOGIN;
    // The login checks the target and finds its disk LUN; copies make sessions of their own.
    Storage::RemoteDisk disk;
    int lun = -1;
    int rc = disk.open(portal, targetIqn, lun);
    if (rc != 0)
        return rc;
    disk.close();
    ConnectedTarget row;
    row.portal = portal;
    row.iqn = targetIqn;
    row.lun = lun;
    row.blockDevPath = Storage::DevicePathOf(portal, targetIqn, lun);
    row.connectedAt = static_cast<long long>(std::time(nullptr));
    rc = LibraryContext::With([&row](LibraryContext& ctx) -> int {
        const int saved = Storage::SaveConnectedTarget(ctx.db(), row);
        if (saved == 0)
            Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM",
                                     "iSCSI target " + row.iqn + " at " + row.portal + " was connected as " +
                                         row.blockDevPath + ".");
        return saved;
    });
    if (rc == 0)
        blockDevPath = row.blockDevPath;
    return rc;
}

int ISCSILIBLUNBKP::targetDisconnect(const std::string& targetIp, const std::string& targetIqn)
{
    std::string portal;
    if (!ParsePortal(targetIp, portal))
        return ISCSI_ERR_LUNBKP_TARGET_ADDRESS;
    if (!ValidIqn(targetIqn))
        return ISCSI_ERR_LUNBKP_TARGET_LOGIN;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        ConnectedTarget row;
        int rc = Storage::FindConnectedTarget(ctx.db(), portal, targetIqn, row);
        if (rc != 0)
            return rc;
        {
            std::lock_guard<std::mutex> lock(gRunsMutex);
            for (const auto& run : gRuns)
                if (run.second->state.blockDevPath == row.blockDevPath)
                    return ISCSI_ERR_JOB_BUSY;
        }
        rc = Storage::DeleteConnectedTarget(ctx.db(), portal, targetIqn);
        if (rc == 0)
            Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM",
                                     "iSCSI target " + targetIqn + " at " + portal + " was disconnected.");
        return rc;
    });
}

int ISCSILIBLUNBKP::smartddStart(const std::string& blockDevPath, tag_lunbkp_type type)
{
    if (type != LUNBKP_TYPE_BACKUP && type != LUNBKP_TYPE_RESTORE)
        return ISCSI_ERR_LUN_CHANGE_NOT_OFFERED;
    LUNRow row;
    ConnectedTarget target;
    int rc = LibraryContext::With([&](LibraryContext& ctx) -> int {
        DropOrphanCopies(ctx);
        return CheckCopyStart(ctx, lun_uuid, blockDevPath, type, row, target);
    });
    if (rc != 0)
        return rc;
    // The session of the copy, opened outside the lock: a slow target delays only this call.
    auto disk = std::make_shared<Storage::RemoteDisk>();
    int lun = target.lun;
    rc = disk->open(target.portal, target.iqn, lun);
    if (rc != 0)
        return rc;
    if (disk->bytes() < row.size)
        return ISCSI_ERR_LUNBKP_DEVICE_TOO_SMALL;

    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        // Checked again: the LUN or the target may have changed while the session opened.
        int checked = CheckCopyStart(ctx, lun_uuid, blockDevPath, type, row, target);
        if (checked != 0)
            return checked;
        auto run = std::make_shared<CopyRun>();
        run->state = StartingState(ctx, row, blockDevPath, type);
        run->state.state = Storage::kCopyCopying;
        run->state.errorCode = 0;
        run->durable = run->state.bitmap;
        run->sectorsDone = run->state.sectorsDone();
        run->disk = disk;
        run->lunFile = Storage::LunDataPath(ctx, row);
        run->sideFile = SideFileOf(ctx, row.location, row.uuid);
        run->thick = !Storage::IsThinType(row.type);

        Storage::JobPlan plan;
        plan.kind = KindOf(type);
        plan.objectUuid = lun_uuid;
        // No partial files: a restore's file and the bitmap outlive an interrupted job, so that
        // the next start resumes it.
        plan.work = [run](Storage::JobControl& job) { return RunCopy(*run, job); };
        plan.finish = [run](LibraryContext& context, int result) -> int {
            run->disk->close();
            if (result == 0 && run->state.type == LUNBKP_TYPE_RESTORE)
                result = CompleteRestore(context, *run);
            CopyState final = run->state;
            final.state = result == 0 ? Storage::kCopyDone
                          : result == ISCSI_ERR_JOB_CANCELLED || result == ISCSI_ERR_JOB_INTERRUPTED
                              ? Storage::kCopyStopped
                              : Storage::kCopyFailed;
            final.errorCode = result;
            if (Storage::SaveCopyState(context.db(), final) != 0 && result == 0)
                result = ISCSI_ERR_DATABASE;
            return result;
        };
        plan.after = [run](int result) -> int {
            if (result == 0 && run->state.type == LUNBKP_TYPE_RESTORE) {
                // A target that serves the LUN later opens the new file; one that holds it now
                // (a disabled target keeps its logical unit) is made to reopen it.
                LibraryContext::With([&run](LibraryContext& context) {
                    return Storage::ReopenLunInTargetEngine(context, run->state.lunUuid);
                });
            }
            std::lock_guard<std::mutex> lock(gRunsMutex);
            const auto it = gRuns.find(run->state.lunUuid);
            if (it != gRuns.end() && it->second == run)
                gRuns.erase(it);
            return 0;
        };

        Storage::Transaction tx(ctx.db());
        if (!tx.begun() || Storage::SaveCopyState(ctx.db(), run->state) != 0)
            return ISCSI_ERR_DATABASE;
        std::string jobUuid;
        checked = Storage::StartJobLocked(ctx, plan, jobUuid);
        if (checked != 0)
            return checked;
        {
            std::lock_guard<std::mutex> lock(gRunsMutex);
            gRuns[lun_uuid] = run;
        }
        if (!tx.commit()) {
            std::lock_guard<std::mutex> lock(gRunsMutex);
            gRuns.erase(lun_uuid);
            return ISCSI_ERR_DATABASE;
        }
        return 0;
    });
}

int ISCSILIBLUNBKP::smartddStop(tag_lunbkp_type type)
{
    int rc = LibraryContext::With([this](LibraryContext& ctx) -> int {
        LUNRow row;
        return Storage::FindLUNByUuid(ctx.db(), lun_uuid, row);
    });
    if (rc != 0)
        return rc;
    std::vector<std::string> jobs;
    // Nothing of that direction running: there is nothing to stop.
    if (Storage::CancelJob(KindOf(type), lun_uuid, &jobs) != 0)
        return 0;
    // The copy records where it stopped before the stop answers.
    for (const std::string& job : jobs)
        Storage::WaitJob(job);
    return 0;
}

int ISCSILIBLUNBKP::smartddProgressGet(int& progress, unsigned long long& offsetSector,
                                       unsigned long long& totalSector)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow row;
        int rc = Storage::FindLUNByUuid(ctx.db(), lun_uuid, row);
        if (rc != 0)
            return rc;
        CopyState state;
        rc = Storage::LoadCopyState(ctx.db(), lun_uuid, state);
        if (rc == ISCSI_ERR_NO_RUNNING_JOB) {
            progress = 0;
            offsetSector = 0;
            totalSector = (row.size + kSectorSize - 1) / kSectorSize;
            return 0;
        }
        if (rc != 0)
            return rc;
        totalSector = (state.lunSize + kSectorSize - 1) / kSectorSize;
        const std::shared_ptr<CopyRun> run = RunOf(lun_uuid);
        offsetSector = run ? run->sectorsDone.load() : state.sectorsDone();
        if (state.state == Storage::kCopyFailed && !run)
            progress = -1;
        else if (state.state == Storage::kCopyDone && !run)
            progress = 100;
        else // 100 only once the copy is done (a restore's file renamed, the disk synchronised)
            progress =
                totalSector == 0
                    ? 0
                    : static_cast<int>(std::min<unsigned long long>(offsetSector * 100 / totalSector, 99));
        return 0;
    });
}

int ISCSILIBLUNBKP::bitmapReset()
{
    return LibraryContext::With([this](LibraryContext& ctx) -> int {
        LUNRow row;
        int rc = Storage::FindLUNByUuid(ctx.db(), lun_uuid, row);
        if (rc != 0)
            return rc;
        if (CopyRunning(lun_uuid))
            return ISCSI_ERR_JOB_BUSY;
        CopyState state;
        rc = Storage::LoadCopyState(ctx.db(), lun_uuid, state);
        if (rc == ISCSI_ERR_NO_RUNNING_JOB)
            return 0;
        if (rc != 0)
            return rc;
        rc = Storage::DeleteCopyState(ctx.db(), lun_uuid);
        if (rc == 0 && state.type == LUNBKP_TYPE_RESTORE) {
            const std::string side = SideFileOf(ctx, state.location, lun_uuid);
            if (!side.empty())
                std::remove(side.c_str());
        }
        return rc;
    });
}

int ISCSILIBLUNBKP::sizeGet(unsigned long long& totalSector)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow row;
        const int rc = Storage::FindLUNByUuid(ctx.db(), lun_uuid, row);
        if (rc == 0)
            totalSector = (row.size + kSectorSize - 1) / kSectorSize;
        return rc;
    });
}

} // namespace LIBLUNBKP
} // namespace LIB
} // namespace ISCSI
