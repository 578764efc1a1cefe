// Export of a snapshot into a directory, and import of such a directory into a LUN as a new
// snapshot, both in the job runner: the calls answer once the job has begun, and the figures
// are read from the snapshot (export_total, export_done, export_errno) and from the LUN
// (import_total, import_done, import_errno).
//
// Export writes "lun.img.partial" (the image, sparse, with its digest computed on the way) and
// then "export.json.partial"; both take their final names when the job ends well. Import
// copies the image into "<snapshot dir>/<new uuid>.img.importing" while checking its digest,
// then inserts the snapshot's row and renames the file, under the lock. A failed or cancelled
// job removes what it wrote; one that a dead process left is cleaned up at the next start.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSITypes.h>

#include "clone/CloneJobs.h"
#include "clone/CopyEngine.h"
#include "context/LibraryContext.h"
#include "export/ExportFormat.h"
#include "jobs/JobRunner.h"
#include "lun/LUNStore.h"
#include "snapshot/SnapshotStore.h"
#include "util/Fd.h"
#include "volume/Volumes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <system_error>

using ISCSI::Storage::LibraryContext;
using ISCSI::Storage::LUNRow;
using ISCSI::Storage::SnapshotRow;

namespace ISCSI {
namespace LIB {
namespace LIBLUN {
namespace {

namespace fs = std::filesystem;

void SyncDir(const std::string& dir)
{
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

bool Exists(const std::string& path)
{
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

// The name of an imported snapshot given none: "Import-YYYYMMDD-HHMMSS" (UTC).
std::string DefaultImportName(long long when)
{
    const std::time_t t = static_cast<std::time_t>(when);
    std::tm parts{};
    gmtime_r(&t, &parts);
    char text[40];
    std::strftime(text, sizeof(text), "Import-%Y%m%d-%H%M%S", &parts);
    return text;
}

int CancelAndWait(const char* kind, const std::string& uuid)
{
    std::vector<std::string> jobs;
    const int rc = Storage::CancelJob(kind, uuid, &jobs);
    for (const std::string& job : jobs)
        Storage::WaitJob(job);
    return rc;
}

Json::Value LunFacts(const LUNRow& lun)
{
    Json::Value facts(Json::objectValue);
    facts["uuid"] = lun.uuid;
    facts["name"] = lun.name;
    facts["type"] = lun.type;
    facts["type_str"] = ISCSILUNTypeText(static_cast<_tag_iscsi_lun_type>(lun.type));
    facts["location"] = lun.location;
    facts["size"] = Json::UInt64(lun.size);
    facts["extent_size"] = lun.extent_size;
    facts["dev_attribs_mask"] = lun.dev_attribs_mask;
    facts["dev_attribs"] = lun.dev_attribs;
    facts["vpd_unit_sn"] = lun.vpd_unit_sn;
    return facts;
}

Json::Value SnapshotFacts(const SnapshotRow& snapshot)
{
    Json::Value facts(Json::objectValue);
    facts["uuid"] = snapshot.uuid;
    facts["name"] = snapshot.name;
    facts["description"] = snapshot.description;
    facts["taken_by"] = snapshot.taken_by;
    facts["snapshot_time"] = Json::Int64(snapshot.snapshot_time);
    facts["version"] = snapshot.version;
    facts["type"] = snapshot.type;
    facts["size"] = Json::UInt64(snapshot.size);
    facts["is_app_consistent"] = snapshot.is_app_consistent;
    return facts;
}

// Opens a file of an export directory that import reads: confined to its volume, never
// through a link, a regular file with one name. A file that is missing or cannot be read
// makes the directory no export.
int OpenExportFile(const LibraryContext& ctx, const std::string& path, int& fd)
{
    const int rc = Storage::OpenFileInsideVolume(ctx.volumes(), path, fd);
    return rc == Storage::kOpenFailed ? ISCSI_ERR_NOT_AN_EXPORT : rc;
}

} // namespace

int ISCSILIBLUN::exportLun(const std::string& snapshotUuid, const std::string& exportedDirPath)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        SnapshotRow snapshot;
        int rc = Storage::FindSnapshotByUuid(ctx.db(), snapshotUuid, snapshot);
        if (rc != 0)
            return rc;
        LUNRow lun;
        rc = Storage::FindLUNByUuid(ctx.db(), snapshot.lun_uuid, lun);
        if (rc != 0)
            return rc;
        const std::string volumeDir = ctx.volumeDir(snapshot.location);
        if (volumeDir.empty())
            return ISCSI_ERR_SNAPSHOT_FILE;
        const std::string source = Storage::SnapshotImagePath(volumeDir, snapshot);

        std::string dir;
        rc = Storage::ResolveInsideVolume(ctx.volumes(), exportedDirPath, dir);
        if (rc != 0)
            return rc;
        std::error_code ec;
        bool created = false;
        if (fs::exists(dir, ec)) {
            if (!fs::is_directory(dir, ec))
                return ISCSI_ERR_EXPORT_DIR;
        } else {
            created = fs::create_directories(dir, ec);
            if (ec)
                return ISCSI_ERR_EXPORT_DIR;
        }
        const std::string image = dir + "/" + Storage::kExportImageName;
        const std::string metadata = dir + "/" + Storage::kExportMetadataName;
        const std::string imagePartial = image + Storage::kExportPartialSuffix;
        const std::string metadataPartial = metadata + Storage::kExportPartialSuffix;
        // Another export's files (finished, or being written) are never overwritten.
        if (Exists(image) || Exists(metadata) || Exists(imagePartial) || Exists(metadataPartial))
            return ISCSI_ERR_EXPORT_DIR;

        std::uint64_t dataBytes = 0;
        unsigned long long freeBytes = 0;
        if (!Storage::DataExtentBytes(source, dataBytes))
            return ISCSI_ERR_SNAPSHOT_FILE;
        if (Storage::VolumeFreeBytes(dir, freeBytes) && dataBytes > freeBytes)
            return ISCSI_ERR_NO_SPACE;

        Json::Value document(Json::objectValue);
        document["format"] = Storage::kExportFormatName;
        document["format_version"] = Storage::kExportFormatVersion;
        document["exported_at"] = Json::Int64(static_cast<long long>(std::time(nullptr)));
        document["lun"] = LunFacts(lun);
        document["snapshot"] = SnapshotFacts(snapshot);

        Storage::JobPlan plan;
        plan.kind = Storage::kExportJobKind;
        plan.objectUuid = snapshot.uuid;
        plan.relatedUuid = lun.uuid;
        plan.partialFiles = {imagePartial, metadataPartial, image, metadata};
        if (created)
            plan.partialFiles.push_back(dir); // removed only when empty
        plan.work = [source, imagePartial, metadataPartial,
                     document](Storage::JobControl& job) mutable -> int {
            std::string digest;
            int result = Storage::CopyWithDigest(source, imagePartial, 0, &job, digest);
            if (result != 0)
                return result;
            struct stat st {};
            if (stat(imagePartial.c_str(), &st) != 0)
                return ISCSI_ERR_COPY_FAILED;
            std::uint64_t data = 0;
            Storage::DataExtentBytes(imagePartial, data);
            Json::Value& imageFacts = document["image"];
            imageFacts["file"] = Storage::kExportImageName;
            imageFacts["size"] = Json::UInt64(static_cast<std::uint64_t>(st.st_size));
            imageFacts["data_bytes"] = Json::UInt64(data);
            imageFacts["checksum"]["algorithm"] = Storage::kExportDigestAlgorithm;
            imageFacts["checksum"]["block_size"] = Json::UInt64(Storage::kDigestBlockSize);
            imageFacts["checksum"]["value"] = digest;
            if (!Storage::WriteJsonFile(metadataPartial, document))
                return errno == ENOSPC ? ISCSI_ERR_NO_SPACE : ISCSI_ERR_COPY_FAILED;
            return job.cancelled() ? ISCSI_ERR_JOB_CANCELLED : 0;
        };
        plan.finish = [dir, image, metadata, imagePartial, metadataPartial, created](LibraryContext&,
                                                                                     int result) -> int {
            // The metadata takes its name last: an export is complete once export.json exists.
            if (result == 0 && (std::rename(imagePartial.c_str(), image.c_str()) != 0 ||
                                std::rename(metadataPartial.c_str(), metadata.c_str()) != 0))
                result = ISCSI_ERR_COPY_FAILED;
            if (result != 0) {
                for (const std::string& path : {imagePartial, metadataPartial, image, metadata})
                    std::remove(path.c_str());
                if (created)
                    std::remove(dir.c_str());
            }
            SyncDir(dir);
            return result;
        };
        std::string jobUuid;
        return Storage::StartJobLocked(ctx, plan, jobUuid);
    });
}

int ISCSILIBLUN::exportCancel(const std::string& snapshotUuid)
{
    const int rc = LibraryContext::With([&](LibraryContext& ctx) -> int {
        SnapshotRow snapshot;
        return Storage::FindSnapshotByUuid(ctx.db(), snapshotUuid, snapshot);
    });
    if (rc != 0)
        return rc;
    return CancelAndWait(Storage::kExportJobKind, snapshotUuid);
}

int ISCSILIBLUN::importLun(const std::string& exportedDirPath, const std::string& snapshotName,
                           const std::string& description, const std::string& takenBy)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow lun;
        int rc = Storage::FindLUNByUuid(ctx.db(), uuid, lun);
        if (rc != 0)
            return rc;
        if (lun.status == Storage::kCloningStatus)
            return ISCSI_ERR_LUN_NOT_READY;
        const std::string volumeDir = ctx.volumeDir(lun.location);
        if (volumeDir.empty() || !Storage::IsFileType(lun.type))
            return ISCSI_ERR_NOT_AVAILABLE;
        std::string dir;
        rc = Storage::ResolveInsideVolume(ctx.volumes(), exportedDirPath, dir);
        if (rc != 0)
            return rc;
        // The manifest and the image are opened without following links out of the volume;
        // the job copies from the very file checked here.
        Storage::ExportMetadata metadata;
        int metadataFd = -1;
        rc = OpenExportFile(ctx, dir + "/" + Storage::kExportMetadataName, metadataFd);
        if (rc != 0)
            return rc;
        {
            const Storage::Fd owned(metadataFd);
            rc = Storage::ReadExportMetadata(metadataFd, metadata);
        }
        if (rc != 0)
            return rc;
        const std::string image = dir + "/" + metadata.image;
        int imageFd = -1;
        rc = OpenExportFile(ctx, image, imageFd);
        if (rc != 0)
            return rc;
        const auto source = std::make_shared<Storage::Fd>(imageFd);
        struct stat st {};
        if (fstat(imageFd, &st) != 0)
            return ISCSI_ERR_NOT_AN_EXPORT;
        if (static_cast<std::uint64_t>(st.st_size) != metadata.imageSize)
            return ISCSI_ERR_EXPORT_CHECKSUM;
        if (metadata.imageSize > lun.size)
            return ISCSI_ERR_EXPORT_TOO_LARGE;
        if (!snapshotName.empty()) {
            rc = Storage::CheckSnapshotNameFree(ctx.db(), lun.uuid, snapshotName, std::string());
            if (rc != 0)
                return rc;
        }
        std::uint64_t dataBytes = 0;
        unsigned long long freeBytes = 0;
        if (!Storage::DataExtentBytes(imageFd, dataBytes))
            return ISCSI_ERR_NOT_AN_EXPORT;
        if (Storage::VolumeFreeBytes(volumeDir, freeBytes) && dataBytes > freeBytes)
            return ISCSI_ERR_NO_SPACE;

        std::error_code ec;
        const std::string snapDir = Storage::SnapshotDir(volumeDir, lun.uuid);
        fs::create_directories(snapDir, ec);
        if (ec)
            return ISCSI_ERR_SNAPSHOT_FILE;

        SnapshotRow row;
        row.uuid = Storage::NewUuid();
        row.lun_uuid = lun.uuid;
        row.version = Storage::NewUuid();
        row.description = description;
        row.taken_by = takenBy;
        row.type = ISCSI_SNAPSHOT_TYPE_ADV;
        row.location = lun.location;
        row.size = lun.size;
        row.status = "normal";
        row.file_path = "@iscsi/snapshots/" + lun.uuid + "/" + row.uuid + ".img";
        const std::string final = Storage::SnapshotImagePath(volumeDir, row);
        const std::string importing = final + ".importing";
        const std::uint64_t lunSize = lun.size;
        const std::string expected = metadata.digest;
        const std::string name = snapshotName;

        Storage::JobPlan plan;
        plan.kind = Storage::kImportJobKind;
        plan.objectUuid = lun.uuid;
        // The final name too: a job that died between the rename and the commit of its end
        // never committed the snapshot's row, so the file must go.
        plan.partialFiles = {importing, final};
        plan.work = [source, image, importing, lunSize, expected](Storage::JobControl& job) -> int {
            std::string digest;
            const int result = Storage::CopyWithDigest(source->get(), importing, lunSize, &job, digest);
            if (result != 0)
                return result;
            if (digest != expected) {
                syslog(LOG_ERR, "iSCSI storage: the image %s does not match its checksum", image.c_str());
                return ISCSI_ERR_EXPORT_CHECKSUM;
            }
            return job.cancelled() ? ISCSI_ERR_JOB_CANCELLED : 0;
        };
        plan.finish = [row, name, importing, final, snapDir](LibraryContext& context,
                                                             int result) mutable -> int {
            LUNRow owner;
            if (result == 0)
                result = Storage::FindLUNByUuid(context.db(), row.lun_uuid, owner);
            const long long now = static_cast<long long>(std::time(nullptr));
            row.snapshot_time = now;
            row.created_at = now;
            if (result == 0 && !name.empty()) {
                result = Storage::CheckSnapshotNameFree(context.db(), row.lun_uuid, name, std::string());
                row.name = name;
            } else if (result == 0) {
                const std::string base = DefaultImportName(now);
                row.name = base;
                for (int n = 2; (result = Storage::CheckSnapshotNameFree(context.db(), row.lun_uuid, row.name,
                                                                         std::string())) ==
                                ISCSI_ERR_SNAPSHOT_NAME_EXISTS;
                     ++n)
                    row.name = base + "-" + std::to_string(n);
            }
            if (result == 0)
                result = Storage::NextSnapshotId(context.db(), row.lun_uuid, row.snapshot_id);
            if (result == 0)
                result = Storage::InsertSnapshotRow(context.db(), row);
            // The rename comes before the commit; should the commit fail, the job stays
            // "running" in the database and the next start removes the file (partialFiles).
            if (result == 0 && std::rename(importing.c_str(), final.c_str()) != 0)
                result = ISCSI_ERR_SNAPSHOT_FILE;
            if (result != 0)
                std::remove(importing.c_str());
            else
                SyncDir(snapDir);
            return result;
        };
        std::string jobUuid;
        return Storage::StartJobLocked(ctx, plan, jobUuid);
    });
}

int ISCSILIBLUN::importCancel()
{
    const int rc = LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow lun;
        return Storage::FindLUNByUuid(ctx.db(), uuid, lun);
    });
    if (rc != 0)
        return rc;
    return CancelAndWait(Storage::kImportJobKind, uuid);
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
