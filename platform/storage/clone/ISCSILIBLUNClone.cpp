// Clones of LUNs and of snapshots into new LUNs on this node, in the job runner.
//
// A clone makes the new LUN's row at once, with the status "cloning", together with its job
// row (one transaction), and answers the new uuid. The job copies the source image into
// "<volume dir>/@iscsi/<new uuid>.img.cloning": a reflink (FICLONE) where the file system
// shares extents (btrfs), which is also what the shared form of a clone asks for, else a copy
// of the data extents, so that holes stay holes. When the copy is done the file takes its
// final name "<new uuid>.img" and the row the status "normal" (one transaction, under the
// lock). A failed or cancelled clone removes the new LUN's file and row; a clone that a dead
// process left running is undone at the next start (jobs/JobStartup.cpp).
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSITypes.h>

#include "clone/CloneJobs.h"
#include "clone/CopyEngine.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"
#include "lun/LUNStore.h"
#include "snapshot/SnapshotStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <system_error>

using ISCSI::Storage::DefaultVpdUnitSn;
using ISCSI::Storage::kInvalidLocation;
using ISCSI::Storage::kInvalidName;
using ISCSI::Storage::kInvalidType;
using ISCSI::Storage::kNoSuchLUN;
using ISCSI::Storage::LibraryContext;
using ISCSI::Storage::LUNRow;
using ISCSI::Storage::SnapshotRow;

namespace ISCSI {
namespace LIB {
namespace LIBLUN {
namespace {

// What a clone is asked to make.
struct CloneRequest {
    std::string sourceLun;    // the LUN cloned (or whose snapshot is cloned)
    std::string snapshotUuid; // empty: the LUN itself
    std::string name;
    int type = 0;         // 0: the source's type (LUN clones only)
    std::string location; // empty: the source's
    std::string vpdUnitSn;
    bool deleteParent = false;
    std::set<int> targetIds;
    bool softIgnored = false;
};

// Allocates every block of a file (a thick LUN made from a sparse source).
int AllocateAll(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return ISCSI_ERR_COPY_FAILED;
    struct stat st {};
    int rc = fstat(fd, &st) == 0 ? 0 : ISCSI_ERR_COPY_FAILED;
    if (rc == 0 && st.st_size > 0 && fallocate(fd, 0, 0, st.st_size) != 0) {
        const bool unsupported = errno == EOPNOTSUPP || errno == ENOSYS;
        const int err = unsupported ? posix_fallocate(fd, 0, st.st_size) : errno;
        if (err != 0)
            rc = err == ENOSPC ? ISCSI_ERR_NO_SPACE : ISCSI_ERR_COPY_FAILED;
    }
    if (rc == 0 && fsync(fd) != 0)
        rc = ISCSI_ERR_COPY_FAILED;
    close(fd);
    return rc;
}

Json::Value SpaceFinding(const std::string& location, unsigned long long needed, unsigned long long available)
{
    Json::Value detail(Json::objectValue);
    detail["hard"] = Json::Value(Json::arrayValue);
    detail["soft"] = Json::Value(Json::arrayValue);
    Json::Value finding(Json::objectValue);
    finding["reason"] = "The volume " + location + " has " + std::to_string(available) +
                        " bytes free; the clone needs " + std::to_string(needed) + " bytes";
    finding["location"] = location;
    finding["needed"] = Json::UInt64(needed);
    finding["available"] = Json::UInt64(available);
    detail["hard"].append(finding);
    return detail;
}

// Checks the request, makes the new LUN's row ("cloning") and starts its job, all under the
// lock; answers the new uuid.
int BeginClone(const CloneRequest& request, std::string& newUuid, Json::Value& detail)
{
    if (request.name.empty())
        return kInvalidName;
    if (const int bad = Storage::CheckVpdUnitSn(request.vpdUnitSn))
        return bad;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow source;
        int rc = Storage::FindLUNByUuid(ctx.db(), request.sourceLun, source);
        if (rc != 0)
            return rc;
        if (source.status == Storage::kCloningStatus)
            return ISCSI_ERR_LUN_NOT_READY;
        if (!Storage::IsFileType(source.type))
            return ISCSI_ERR_NOT_AVAILABLE;
        const std::string sourceDir = ctx.volumeDir(source.location);
        if (sourceDir.empty())
            return ISCSI_ERR_LUN_FILE;

        std::string sourcePath = sourceDir + "/" + source.file_path;
        unsigned long long size = source.size;
        if (!request.snapshotUuid.empty()) {
            SnapshotRow snapshot;
            rc = Storage::FindSnapshotByUuid(ctx.db(), request.snapshotUuid, snapshot);
            if (rc != 0)
                return rc;
            if (snapshot.lun_uuid != source.uuid)
                return ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN;
            sourcePath = Storage::SnapshotImagePath(sourceDir, snapshot);
            size = snapshot.size;
        }

        const int type = request.type == 0 && request.snapshotUuid.empty() ? source.type : request.type;
        if (type == 0 ||
            std::strcmp(ISCSILUNTypeText(static_cast<_tag_iscsi_lun_type>(type)), "UNKNOWN") == 0)
            return kInvalidType;
        if (!Storage::IsFileType(type))
            return ISCSI_ERR_NOT_AVAILABLE;
        const std::string location = request.location.empty() ? source.location : request.location;
        const std::string dir = ctx.volumeDir(location);
        if (dir.empty())
            return kInvalidLocation;
        rc = Storage::CheckNameFree(ctx.db(), request.name, std::string());
        if (rc != 0)
            return rc;
        if (request.deleteParent) {
            rc = Storage::CheckLunSnapshotsDeletable(ctx.db(), source.uuid);
            if (rc != 0)
                return rc;
        }

        // Space: the data to copy for a thin LUN, the whole size for a thick one. A reflink
        // needs less, but whether it will work is only known by trying.
        std::uint64_t dataBytes = 0;
        if (!Storage::DataExtentBytes(sourcePath, dataBytes))
            return ISCSI_ERR_COPY_FAILED;
        const unsigned long long needed = Storage::IsThinType(type) ? dataBytes : size;
        unsigned long long freeBytes = 0;
        if (!Storage::VolumeFreeBytes(dir, freeBytes))
            return ISCSI_ERR_LUN_FILE;
        if (needed > freeBytes) {
            detail = SpaceFinding(location, needed, freeBytes);
            return ISCSI_ERR_FEASIBILITY_HARD;
        }

        std::error_code ec;
        const std::string lunDir = LibraryContext::LunDir(dir);
        std::filesystem::create_directories(lunDir, ec);
        if (ec)
            return ISCSI_ERR_LUN_FILE;

        LUNRow row;
        row.uuid = Storage::NewUuid();
        row.name = request.name;
        row.type = type;
        row.location = location;
        row.size = size;
        row.extent_size = source.extent_size;
        row.dev_attribs_mask = source.dev_attribs_mask;
        row.dev_attribs = source.dev_attribs;
        row.vpd_unit_sn = request.vpdUnitSn.empty() ? DefaultVpdUnitSn(row.uuid) : request.vpdUnitSn;
        row.status = Storage::kCloningStatus;
        row.created_at = static_cast<long long>(std::time(nullptr));
        row.file_path = "@iscsi/" + row.uuid + ".img";

        const std::string image = dir + "/" + row.file_path;
        const std::string cloning = image + ".cloning";
        const bool thick = !Storage::IsThinType(type);
        const std::string newLun = row.uuid;
        const std::string sourceLun = source.uuid;
        const bool deleteParent = request.deleteParent;
        const std::set<int> targetIds = request.targetIds;

        Storage::JobPlan plan;
        plan.kind = Storage::kCloneJobKind;
        plan.objectUuid = newLun;
        plan.relatedUuid = sourceLun;
        // The final name too: a job that died between the rename and the commit of its end
        // leaves a LUN row that start-up removes, so its file goes with it.
        plan.partialFiles = {cloning, image};
        plan.work = [sourcePath, cloning, thick](Storage::JobControl& job) -> int {
            int result = Storage::CopyLunImage(sourcePath, cloning, true, &job);
            if (result == 0 && thick)
                result = AllocateAll(cloning);
            if (result == 0 && job.cancelled())
                result = ISCSI_ERR_JOB_CANCELLED;
            return result;
        };
        plan.finish = [newLun, cloning, image](LibraryContext& context, int result) -> int {
            LUNRow made;
            const int found = Storage::FindLUNByUuid(context.db(), newLun, made);
            if (result == 0 && found != 0)
                result = kNoSuchLUN; // deleted while it was being made
            if (result == 0 && std::rename(cloning.c_str(), image.c_str()) != 0) {
                syslog(LOG_ERR, "iSCSI storage: cannot rename %s: %s", cloning.c_str(), std::strerror(errno));
                result = ISCSI_ERR_COPY_FAILED;
            }
            if (result == 0) {
                made.status = "normal";
                if (Storage::UpdateLUNRow(context.db(), made) != 0) {
                    std::rename(image.c_str(), cloning.c_str());
                    result = ISCSI_ERR_DATABASE;
                }
            }
            if (result != 0) {
                std::remove(cloning.c_str());
                if (found == 0)
                    Storage::DeleteLUNRow(context.db(), newLun);
                syslog(LOG_WARNING,
                       "iSCSI storage: the clone into the LUN %s ended with %d; the LUN is removed",
                       newLun.c_str(), result);
            }
            return result;
        };
        plan.after = [newLun, sourceLun, deleteParent, targetIds](int result) -> int {
            if (result != 0)
                return 0;
            int followUp = 0;
            if (!targetIds.empty()) {
                ISCSILIBLUN made(newLun, false, false, false);
                followUp = made.mapTarget(targetIds);
                if (followUp != 0)
                    syslog(LOG_ERR, "iSCSI storage: the clone %s could not be mapped to its targets: %d",
                           newLun.c_str(), followUp);
            }
            if (deleteParent) {
                ISCSILIBLUN parent(sourceLun, false, false, false);
                const int deleted = parent.deleteLUN();
                if (deleted != 0) {
                    syslog(LOG_ERR, "iSCSI storage: the parent %s of the clone %s could not be deleted: %d",
                           sourceLun.c_str(), newLun.c_str(), deleted);
                    if (followUp == 0)
                        followUp = deleted;
                }
            }
            return followUp;
        };

        Storage::Transaction tx(ctx.db());
        rc = tx.begun() ? 0 : ISCSI_ERR_DATABASE;
        if (rc == 0)
            rc = Storage::NextLunId(ctx.db(), row.lun_id);
        if (rc == 0)
            rc = Storage::InsertLUNRow(ctx.db(), row);
        std::string jobUuid;
        if (rc == 0)
            rc = Storage::StartJobLocked(ctx, plan, jobUuid);
        if (rc == 0 && !tx.commit())
            rc = ISCSI_ERR_DATABASE; // the job finds no row and ends without work
        if (rc != 0)
            return rc;
        newUuid = row.uuid;
        return 0;
    });
}

// Cancels the clone jobs of uuid (the new LUN's, or those that copy from it) of kind (empty:
// any job), and waits until they have ended. 0 or ISCSI_ERR_NO_RUNNING_JOB.
int CancelAndWait(const std::string& kind, const std::string& uuid)
{
    std::vector<std::string> jobs;
    const int rc = Storage::CancelJob(kind, uuid, &jobs);
    for (const std::string& job : jobs)
        Storage::WaitJob(job);
    return rc;
}

} // namespace

int ISCSILIBLUN::localClone(const std::string& dstLunName, std::string& dstLunUuid, _tag_iscsi_lun_type type,
                            const std::string& dstLocation, const std::string& vpdUnitSn, bool isDataClone,
                            bool isDeleteParentLun, const std::set<int>& targetIds)
{
    // Both forms make an independent LUN: the shared form's "share until written" is what a
    // reflink gives, and a data clone is a reflink too where the file system has them.
    (void)isDataClone;
    feasibility_detail = Json::Value();
    CloneRequest request;
    request.sourceLun = uuid;
    request.name = dstLunName;
    request.type = static_cast<int>(type);
    request.location = dstLocation;
    request.vpdUnitSn = vpdUnitSn;
    request.deleteParent = isDeleteParentLun;
    request.targetIds = targetIds;
    request.softIgnored = is_soft_feas_ignored;
    return BeginClone(request, dstLunUuid, feasibility_detail);
}

int ISCSILIBLUN::cloneSnapshot(const std::string& snapshotUuid, const std::string& clonedLunName,
                               std::string& clonedLunUuid, _tag_iscsi_lun_type type,
                               const std::string& vpdUnitSn)
{
    feasibility_detail = Json::Value();
    CloneRequest request;
    request.sourceLun = uuid;
    request.snapshotUuid = snapshotUuid;
    request.name = clonedLunName;
    request.type = static_cast<int>(type);
    request.vpdUnitSn = vpdUnitSn;
    request.softIgnored = is_soft_feas_ignored;
    return BeginClone(request, clonedLunUuid, feasibility_detail);
}

// A LUN's backing file can be cloned into a volume when it is the file of a LUN of this
// library ("<volume dir>/@iscsi/<uuid>.img", in host or location form) that is not being made
// by a clone, and the volume has room for its data.
int ISCSILIBLUN::TestCloneability(const std::string& srcLunFile, const std::string& location)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        const std::string dir = ctx.volumeDir(location);
        if (dir.empty() || srcLunFile.empty())
            return ISCSI_ERR_NOT_CLONEABLE;
        std::error_code ec;
        std::filesystem::path given(srcLunFile);
        // Location form: "/volumeN/..." stands for the volume's directory.
        for (const auto& volume : ctx.volumes()) {
            const std::string prefix = volume.first + "/";
            if (srcLunFile.compare(0, prefix.size(), prefix) == 0) {
                given = std::filesystem::path(volume.second) / srcLunFile.substr(prefix.size());
                break;
            }
        }
        const std::filesystem::path file = std::filesystem::weakly_canonical(given, ec);
        if (ec || !std::filesystem::is_regular_file(file, ec))
            return ISCSI_ERR_NOT_CLONEABLE;
        const std::string name = file.filename().string();
        const std::string suffix = ".img";
        if (name.size() <= suffix.size() ||
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
            return ISCSI_ERR_NOT_CLONEABLE;
        LUNRow row;
        const int rc = Storage::FindLUNByUuid(ctx.db(), name.substr(0, name.size() - suffix.size()), row);
        if (rc == ISCSI_ERR_DATABASE)
            return rc;
        if (rc != 0 || row.status == Storage::kCloningStatus)
            return ISCSI_ERR_NOT_CLONEABLE;
        const std::string rowDir = ctx.volumeDir(row.location);
        const std::filesystem::path expected =
            std::filesystem::weakly_canonical(std::filesystem::path(rowDir) / row.file_path, ec);
        if (rowDir.empty() || ec || expected != file)
            return ISCSI_ERR_NOT_CLONEABLE;
        std::uint64_t dataBytes = 0;
        unsigned long long freeBytes = 0;
        if (!Storage::DataExtentBytes(file.string(), dataBytes) || !Storage::VolumeFreeBytes(dir, freeBytes))
            return ISCSI_ERR_NOT_CLONEABLE;
        return dataBytes <= freeBytes ? 0 : ISCSI_ERR_NO_SPACE;
    });
}

// Stops the clone that makes this LUN, or the clones that copy from it, and answers once they
// have ended (their new LUNs removed).
int ISCSILIBLUN::stopClone()
{
    return CancelAndWait(Storage::kCloneJobKind, uuid);
}

// Stops whatever still runs on the LUN (clone, export of its snapshots is by snapshot, import)
// and waits for it. Nothing running is no error: the stop has taken effect.
int ISCSILIBLUN::retryStop(const std::string& lunUuid)
{
    const std::string target = lunUuid.empty() ? uuid : lunUuid;
    if (CancelAndWait(std::string(), target) == 0)
        return 0;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow row;
        return Storage::FindLUNByUuid(ctx.db(), target, row);
    });
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
