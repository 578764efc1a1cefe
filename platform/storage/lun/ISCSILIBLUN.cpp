// The LUN operations that this build of the storage library carries out: creation, deletion,
// listing, loading and local changes of file LUNs on the configured volumes. A LUN is one row
// of the table luns and one file "<volume dir>/@iscsi/<uuid>.img", sparse for thin types and
// fully allocated for thick ones. The other operations are still in pending/ISCSILIBLUN.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "context/LibraryContext.h"
#include "lun/LUNStore.h"
#include "snapshot/SnapshotStore.h"

#include <syslog.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <limits>
#include <system_error>

using ISCSI::Storage::LibraryContext;
using ISCSI::Storage::LUNRow;

namespace ISCSI {
namespace LIB {
namespace LIBLUN {
namespace {

constexpr int kInvalidType = 18990500;
constexpr int kInvalidLocation = 18990501;
constexpr int kInvalidSize = 18990502;
constexpr int kInvalidName = 18990503;
constexpr int kNoSuchLUN = 18990505;
constexpr int kInvalidNewSize = 18990523;

constexpr unsigned long long kMaxSize =
    static_cast<unsigned long long>(std::numeric_limits<std::int64_t>::max());

std::string ImagePath(const std::string& volumeDir, const LUNRow& row)
{
    return volumeDir + "/" + row.file_path;
}

// The VPD unit serial number of a LUN made without one: its uuid without the dashes.
std::string DefaultVpdUnitSn(const std::string& uuid)
{
    std::string sn;
    for (char c : uuid) {
        if (c != '-')
            sn += c;
    }
    return sn;
}

Json::Value Finding(const std::string& reason, const std::string& location, unsigned long long needed,
                    unsigned long long available)
{
    Json::Value finding(Json::objectValue);
    finding["reason"] = reason;
    finding["location"] = location;
    finding["needed"] = Json::UInt64(needed);
    finding["available"] = Json::UInt64(available);
    return finding;
}

// The space test of a LUN of type in location that is to hold newSize bytes, oldSize of which
// it holds already (0 for a new LUN). A thick LUN allocates what it grows by at once, so more
// than the free space is refused (hard). Thin LUNs allocate as they are written: when the sizes
// of all thin LUNs of the volume together pass the free space, the volume may fill up later,
// which is a warning (soft) that the caller may ignore. 0, a feasibility code with detail
// filled, or an error code.
int TestSpace(LibraryContext& ctx, const std::string& uuid, int type, const std::string& location,
              unsigned long long oldSize, unsigned long long newSize, bool softIgnored, Json::Value& detail)
{
    unsigned long long freeBytes = 0;
    if (!Storage::VolumeFreeBytes(ctx.volumeDir(location), freeBytes))
        return ISCSI_ERR_LUN_FILE;
    if (!Storage::IsThinType(type)) {
        const unsigned long long growth = newSize - oldSize;
        if (growth <= freeBytes)
            return 0;
        detail = Json::Value(Json::objectValue);
        detail["hard"] = Json::Value(Json::arrayValue);
        detail["soft"] = Json::Value(Json::arrayValue);
        detail["hard"].append(Finding("The volume " + location + " has " + std::to_string(freeBytes) +
                                          " bytes free; the thick LUN needs " + std::to_string(growth) +
                                          " more bytes",
                                      location, growth, freeBytes));
        return ISCSI_ERR_FEASIBILITY_HARD;
    }
    unsigned long long others = 0;
    const int rc = Storage::SumThinSizes(ctx.db(), location, uuid, others);
    if (rc != 0)
        return rc;
    const unsigned long long total = others + newSize;
    if (total <= freeBytes || softIgnored)
        return 0;
    detail = Json::Value(Json::objectValue);
    detail["hard"] = Json::Value(Json::arrayValue);
    detail["soft"] = Json::Value(Json::arrayValue);
    detail["soft"].append(Finding("The thin LUNs of the volume " + location + " would total " +
                                      std::to_string(total) + " bytes, more than its " +
                                      std::to_string(freeBytes) + " bytes free",
                                  location, total, freeBytes));
    return ISCSI_ERR_FEASIBILITY_SOFT;
}

// Fills the facts of flags into record. The library has no targets, jobs, vhost mappings or
// whitelists yet, so those facts are the ones of a LUN that has none. 0 or ISCSI_ERR_DATABASE
// (the count of snapshots).
int LoadFacts(LibraryContext& ctx, const LUNRow& row, ISCSILUNInfo& record, int flags)
{
    int snapshots = 0;
    if (Storage::CountSnapshots(ctx.db(), row.uuid, snapshots) != 0)
        return ISCSI_ERR_DATABASE;
    flags &= ISCSI_LUN_LOAD_ALL;
    // The file is looked at only for the facts that need it.
    const int fileFacts = ISCSI_LUN_LOAD_ALLOCATED_SIZE | ISCSI_LUN_LOAD_STATUS | ISCSI_LUN_LOAD_SUB_VOL_INFO;
    const std::string dir = ctx.volumeDir(row.location);
    unsigned long long allocated = 0;
    const bool haveFile =
        (flags & fileFacts) != 0 && !dir.empty() && Storage::AllocatedBytes(ImagePath(dir, row), allocated);

    record.is_action_locked = false;
    record.is_mapped = false;
    record.extent_size = row.extent_size;
    record.allocated_size = haveFile ? allocated : 0;
    // A row whose file is gone is shown as such rather than as a normal LUN.
    record.status = (flags & ISCSI_LUN_LOAD_STATUS) != 0 && !haveFile ? std::string("missing") : row.status;
    record.is_vhost_mapped = false;
    record.is_bound = false;
    record.allow_bkpobj = false;
    record.storage_manager.clear();
    record.import_total = record.import_done = 0;
    record.import_errno = 0;
    record.sync_total = record.sync_done = 0;
    record.sync_errno = 0;
    record.whitelist.clear();
    record.flashcache_status = "disabled";
    record.family_config = ISCSIFamilyConfigInfo();
    record.family_config.family_uuid = row.uuid;
    record.rmt_clone_total = record.rmt_clone_done = record.rmt_clone_sent = 0;
    record.rmt_clone_errno = 0;
    record.rmt_clone_status = 0;
    record.tree_size = record.allocated_size;
    record.tree_level = 0;
    record.snapshot_count = snapshots;
    record.additional = flags;
    return 0;
}

// Deletes one LUN with its snapshots: their rows go in one transaction in which the LUN file
// is renamed to "<uuid>.img.deleting" and the snapshot directory to "<uuid>.deleting"; both are
// removed once the transaction is committed. A failure before the commit puts them back, and
// the library's start-up finishes or undoes a change that a dead process left (see
// LibraryContext). A LUN with a locked snapshot is refused (ISCSI_ERR_SNAPSHOT_LOCKED).
int DeleteOne(LibraryContext& ctx, const std::string& uuid, bool precheckOnly)
{
    LUNRow row;
    int rc = Storage::FindLUNByUuid(ctx.db(), uuid, row);
    if (rc == 0)
        rc = Storage::CheckLunSnapshotsDeletable(ctx.db(), uuid);
    if (rc != 0 || precheckOnly)
        return rc;
    const std::string dir = ctx.volumeDir(row.location);
    const std::string image = dir.empty() ? std::string() : ImagePath(dir, row);
    const std::string doomed =
        dir.empty() ? std::string() : LibraryContext::LunDir(dir) + "/" + row.uuid + ".img.deleting";

    Storage::Transaction tx(ctx.db());
    if (!tx.begun())
        return ISCSI_ERR_DATABASE;
    rc = Storage::DeleteLunSnapshotRows(ctx.db(), row.uuid);
    if (rc == 0)
        rc = Storage::DeleteLUNRow(ctx.db(), row.uuid);
    if (rc != 0)
        return rc;
    bool renamed = false;
    if (!image.empty()) {
        if (std::rename(image.c_str(), doomed.c_str()) == 0) {
            renamed = true;
        } else if (errno != ENOENT) {
            syslog(LOG_ERR, "iSCSI storage: cannot remove the LUN file %s: %s", image.c_str(),
                   std::strerror(errno));
            return ISCSI_ERR_LUN_FILE;
        }
    }
    std::string snapshotsAside;
    if (!dir.empty() && !Storage::MoveSnapshotDirAside(dir, row.uuid, snapshotsAside)) {
        syslog(LOG_ERR, "iSCSI storage: cannot remove the snapshots of the LUN %s: %s", row.uuid.c_str(),
               std::strerror(errno));
        if (renamed)
            std::rename(doomed.c_str(), image.c_str());
        return ISCSI_ERR_SNAPSHOT_FILE;
    }
    if (!tx.commit()) {
        if (renamed)
            std::rename(doomed.c_str(), image.c_str());
        Storage::PutSnapshotDirBack(dir, row.uuid, snapshotsAside);
        return ISCSI_ERR_DATABASE;
    }
    if (renamed)
        std::remove(doomed.c_str());
    Storage::RemoveSnapshotDirAside(snapshotsAside);
    return 0;
}

} // namespace

ISCSILIBLUN::ISCSILIBLUN()
    : is_soft_feas_ignored(false), load_info(false), is_feasibility_precheck(false), dev_attrib_mask(0)
{}

ISCSILIBLUN::ISCSILIBLUN(const std::string& name, _tag_iscsi_lun_type type, const std::string& location,
                         unsigned long long size, unsigned int extentSize, unsigned int devAttribMask,
                         unsigned int devAttribValues, const std::string& vpdUnitSn, bool isSoftFeasIgnored)
    : is_soft_feas_ignored(isSoftFeasIgnored), load_info(false), is_feasibility_precheck(false),
      dev_attrib_mask(devAttribMask)
{
    this->name = name;
    this->type = type;
    this->location = location;
    this->size = size;
    extent_size = extentSize;
    dev_attribs = devAttribValues;
    vpd_unit_sn = vpdUnitSn;
}

ISCSILIBLUN::ISCSILIBLUN(const std::string& uuid, bool isSoftFeasIgnored, bool loadInfo,
                         bool isFeasibilityPrecheck)
    : ISCSILUNInfo(uuid), is_soft_feas_ignored(isSoftFeasIgnored), load_info(loadInfo),
      is_feasibility_precheck(isFeasibilityPrecheck), dev_attrib_mask(0)
{
    if (loadInfo && !uuid.empty()) {
        // A constructor cannot answer a code: a LUN that cannot be loaded leaves only its uuid
        // known, and the next operation reports the failure.
        LibraryContext::With([this](LibraryContext& ctx) -> int {
            LUNRow row;
            const int rc = Storage::FindLUNByUuid(ctx.db(), this->uuid, row);
            if (rc == 0) {
                Storage::RowToRecord(row, *this);
                dev_attrib_mask = row.dev_attribs_mask;
            }
            return rc;
        });
    }
}

ISCSILIBLUN::~ISCSILIBLUN() = default;

int ISCSILIBLUN::createLUN(const std::string& srcLunDir, const std::string& srcLunFile)
{
    feasibility_detail = Json::Value();
    // LUNs made from an existing directory or file come with the copy engine.
    if (!srcLunDir.empty() || !srcLunFile.empty())
        return ISCSI_ERR_NOT_AVAILABLE;
    if (name.empty())
        return kInvalidName;
    if (std::strcmp(ISCSILUNTypeText(type), "UNKNOWN") == 0)
        return kInvalidType;
    // A BLOCK LUN lies on a device, not in a volume; devices come later.
    if (!Storage::IsFileType(type))
        return ISCSI_ERR_NOT_AVAILABLE;
    if (size == 0 || size > kMaxSize)
        return kInvalidSize;

    return LibraryContext::With([this](LibraryContext& ctx) -> int {
        const std::string dir = ctx.volumeDir(location);
        if (dir.empty())
            return kInvalidLocation;
        int rc = Storage::CheckNameFree(ctx.db(), name, std::string());
        if (rc != 0)
            return rc;
        const std::string newUuid = Storage::NewUuid();
        rc = TestSpace(ctx, newUuid, type, location, 0, size, is_soft_feas_ignored, feasibility_detail);
        if (rc != 0)
            return rc;

        std::error_code ec;
        const std::string lunDir = LibraryContext::LunDir(dir);
        std::filesystem::create_directories(lunDir, ec);
        if (ec)
            return ISCSI_ERR_LUN_FILE;
        // The file is made under a temporary name and takes its final one after the commit
        // of its row, so that a crash leaves nothing that start-up cannot sort out.
        const std::string image = lunDir + "/" + newUuid + ".img";
        const std::string creating = image + ".creating";
        rc = Storage::CreateLunFile(creating, size, Storage::IsThinType(type));
        if (rc != 0) {
            syslog(LOG_ERR, "iSCSI storage: cannot create the LUN file %s of %llu bytes", creating.c_str(),
                   size);
            return rc;
        }

        LUNRow row;
        row.uuid = newUuid;
        row.name = name;
        row.type = type;
        row.location = location;
        row.size = size;
        row.extent_size = extent_size;
        row.dev_attribs_mask = dev_attrib_mask;
        row.dev_attribs = dev_attribs & dev_attrib_mask;
        row.vpd_unit_sn = vpd_unit_sn.empty() ? DefaultVpdUnitSn(newUuid) : vpd_unit_sn;
        row.description = description;
        row.status = "normal";
        row.created_at = static_cast<long long>(std::time(nullptr));
        row.file_path = "@iscsi/" + newUuid + ".img";
        {
            Storage::Transaction tx(ctx.db());
            rc = tx.begun() ? 0 : ISCSI_ERR_DATABASE;
            if (rc == 0)
                rc = Storage::NextLunId(ctx.db(), row.lun_id);
            if (rc == 0)
                rc = Storage::InsertLUNRow(ctx.db(), row);
            if (rc == 0 && !tx.commit())
                rc = ISCSI_ERR_DATABASE;
        }
        if (rc != 0) {
            std::remove(creating.c_str());
            return rc;
        }
        if (std::rename(creating.c_str(), image.c_str()) != 0) {
            // The row is committed: start-up renames the file when this fails.
            syslog(LOG_ERR, "iSCSI storage: cannot rename %s: %s", creating.c_str(), std::strerror(errno));
        }
        Storage::RowToRecord(row, *this);
        dev_attrib_mask = row.dev_attribs_mask;
        return 0;
    });
}

int ISCSILIBLUN::deleteLUN()
{
    feasibility_detail = Json::Value();
    return LibraryContext::With(
        [this](LibraryContext& ctx) -> int { return DeleteOne(ctx, uuid, is_feasibility_precheck); });
}

// The deletions run at once, in the caller's thread: the library has no job runner yet. Every
// uuid is checked before the first deletion, so an unknown one deletes nothing.
int ISCSILIBLUN::deleteLunNonBlocking(const std::vector<std::string>& lunUuids)
{
    feasibility_detail = Json::Value();
    return LibraryContext::With([this, &lunUuids](LibraryContext& ctx) -> int {
        for (const std::string& one : lunUuids) {
            LUNRow row;
            int rc = Storage::FindLUNByUuid(ctx.db(), one, row);
            if (rc == 0)
                rc = Storage::CheckLunSnapshotsDeletable(ctx.db(), one);
            if (rc != 0)
                return rc;
        }
        if (is_feasibility_precheck)
            return 0;
        for (const std::string& one : lunUuids) {
            const int rc = DeleteOne(ctx, one, false);
            if (rc != 0)
                return rc;
        }
        return 0;
    });
}

int ISCSILIBLUN::ListLUN(std::vector<ISCSI::ISCSILUNInfo>& luns, int flags)
{
    return LibraryContext::With([&luns, flags](LibraryContext& ctx) -> int {
        std::vector<LUNRow> rows;
        const int rc = Storage::ListLUNRows(ctx.db(), rows);
        if (rc != 0)
            return rc;
        std::vector<ISCSI::ISCSILUNInfo> out;
        out.reserve(rows.size());
        for (const LUNRow& row : rows) {
            ISCSI::ISCSILUNInfo record;
            Storage::RowToRecord(row, record);
            if (LoadFacts(ctx, row, record, flags) != 0)
                return ISCSI_ERR_DATABASE;
            out.push_back(std::move(record));
        }
        luns = std::move(out);
        return 0;
    });
}

int ISCSILIBLUN::loadLUNInfo(int flags)
{
    return LibraryContext::With([this, flags](LibraryContext& ctx) -> int {
        LUNRow row;
        const int rc = Storage::FindLUNByUuid(ctx.db(), uuid, row);
        if (rc != 0)
            return rc;
        Storage::RowToRecord(row, *this);
        dev_attrib_mask = row.dev_attribs_mask;
        return LoadFacts(ctx, row, *this, flags);
    });
}

int ISCSILIBLUN::localUpdateLUN(const std::string& newName, unsigned long long newSize,
                                _tag_iscsi_lun_type type, const std::string& location,
                                unsigned int devAttribMask, unsigned int devAttribValues,
                                const std::string& vpdUnitSn)
{
    feasibility_detail = Json::Value();
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow row;
        int rc = Storage::FindLUNByUuid(ctx.db(), uuid, row);
        if (rc != 0)
            return rc;
        // Converting a LUN to another type or moving it to another volume means copying its
        // data, which comes with the copy engine.
        if ((type != ISCSI_LUN_TYPE_NONE && type != row.type) ||
            (!location.empty() && location != row.location))
            return ISCSI_ERR_NOT_AVAILABLE;

        LUNRow next = row;
        if (!newName.empty() && newName != row.name) {
            rc = Storage::CheckNameFree(ctx.db(), newName, row.uuid);
            if (rc != 0)
                return rc;
            next.name = newName;
        }
        if (newSize != 0) {
            if (newSize > kMaxSize)
                return kInvalidNewSize;
            if (newSize < row.size)
                return ISCSI_ERR_LUN_SHRINK;
            next.size = newSize;
        }
        const bool grows = next.size > row.size;
        const std::string dir = ctx.volumeDir(row.location);
        if (grows) {
            if (dir.empty() || !Storage::IsFileType(row.type))
                return ISCSI_ERR_NOT_AVAILABLE;
            rc = TestSpace(ctx, row.uuid, row.type, row.location, row.size, next.size, is_soft_feas_ignored,
                           feasibility_detail);
            if (rc != 0)
                return rc;
        }
        next.dev_attribs_mask |= devAttribMask;
        next.dev_attribs = (row.dev_attribs & ~devAttribMask) | (devAttribValues & devAttribMask);
        if (!vpdUnitSn.empty())
            next.vpd_unit_sn = vpdUnitSn;
        if (is_feasibility_precheck)
            return 0;

        Storage::Transaction tx(ctx.db());
        if (!tx.begun())
            return ISCSI_ERR_DATABASE;
        rc = Storage::UpdateLUNRow(ctx.db(), next);
        if (rc != 0)
            return rc;
        const std::string image = dir.empty() ? std::string() : ImagePath(dir, row);
        if (grows) {
            rc = Storage::GrowLunFile(image, next.size, Storage::IsThinType(row.type));
            if (rc != 0) {
                Storage::TruncateLunFile(image, row.size);
                return rc;
            }
        }
        if (!tx.commit()) {
            if (grows)
                Storage::TruncateLunFile(image, row.size);
            return ISCSI_ERR_DATABASE;
        }
        Storage::RowToRecord(next, *this);
        dev_attrib_mask = next.dev_attribs_mask;
        return 0;
    });
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI

// Every volume of this build is a local directory.
extern "C" int KOVAiSCSILunIsRemoteDisk(const char* lunUuid, bool* isRemote)
{
    if (!lunUuid || !isRemote)
        return 18990505;
    const std::string uuid(lunUuid);
    return LibraryContext::With([&uuid, isRemote](LibraryContext& ctx) -> int {
        LUNRow row;
        const int rc = ISCSI::Storage::FindLUNByUuid(ctx.db(), uuid, row);
        if (rc == 0)
            *isRemote = false;
        return rc;
    });
}
