// The snapshot record's operations on the stored configuration: loading a record, the locks of
// application keys, and the resolution of a snapshot identifier.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSISnapshotInfo.h>

#include "clone/CloneJobs.h"
#include "context/LibraryContext.h"
#include "lun/LUNStore.h"
#include "snapshot/SnapshotStore.h"

#include <algorithm>
#include <cctype>

namespace ISCSI {
namespace {

using Storage::kNoSuchSnapshot;

constexpr int kInvalidAppKey = 18990524;

} // namespace

// Taking is synchronous and the library has no replication yet: a loaded snapshot is never
// action-locked and its sync figures are 0. Its export figures are those of its newest export.
int ISCSISnapshotInfo::loadFromConfig(int flags)
{
    return Storage::LibraryContext::With([this, flags](Storage::LibraryContext& ctx) -> int {
        Storage::SnapshotRow row;
        int rc = Storage::FindSnapshotByUuid(ctx.db(), uuid, row);
        if (rc != 0)
            return rc;
        std::vector<std::string> keys;
        if (flags & ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS) {
            rc = Storage::ListAppKeys(ctx.db(), row.uuid, keys);
            if (rc != 0)
                return rc;
        }
        Storage::SnapshotRowToRecord(row, *this);
        additional = flags & ISCSI_SNAPSHOT_LOAD_ALL;
        is_action_locked = false;
        locked_app_keys = std::move(keys);
        export_total = export_done = 0;
        export_errno = 0;
        sync_total = sync_done = 0;
        Storage::LoadSnapshotJobFigures(ctx.db(), *this);
        return 0;
    });
}

// Locking with a key that already holds the snapshot, and unlocking with one that does not, are
// no errors: the snapshot ends up as asked.
int ISCSISnapshotInfo::lockSnapshotByAppKey(const std::string& appKey) const
{
    if (appKey.empty())
        return kInvalidAppKey;
    return Storage::LibraryContext::With([this, &appKey](Storage::LibraryContext& ctx) -> int {
        Storage::SnapshotRow row;
        const int rc = Storage::FindSnapshotByUuid(ctx.db(), uuid, row);
        if (rc != 0)
            return rc;
        return Storage::AddAppKey(ctx.db(), row.uuid, appKey);
    });
}

int ISCSISnapshotInfo::unlockSnapshotByAppKey(const std::string& appKey) const
{
    if (appKey.empty())
        return kInvalidAppKey;
    return Storage::LibraryContext::With([this, &appKey](Storage::LibraryContext& ctx) -> int {
        Storage::SnapshotRow row;
        const int rc = Storage::FindSnapshotByUuid(ctx.db(), uuid, row);
        if (rc != 0)
            return rc;
        return Storage::RemoveAppKey(ctx.db(), row.uuid, appKey);
    });
}

// A text of the form of a uuid names the snapshot of that uuid (in any case of its hex digits);
// any other text, or a uuid that no snapshot has, is taken as a snapshot name, which must then
// belong to one snapshot only. The empty text gives 0 and the empty uuid.
int ISCSISnapshotInfo::GetSnapshotUuid(const std::string& id, std::string& uuid)
{
    if (id.empty()) {
        uuid.clear();
        return 0;
    }
    return Storage::LibraryContext::With([&id, &uuid](Storage::LibraryContext& ctx) -> int {
        Storage::SnapshotRow row;
        int rc = kNoSuchSnapshot;
        if (Storage::LooksLikeUuid(id)) {
            std::string lower = id;
            std::transform(lower.begin(), lower.end(), lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            rc = Storage::FindSnapshotByUuid(ctx.db(), lower, row);
            if (rc == 0) {
                uuid = row.uuid;
                return 0;
            }
            if (rc != kNoSuchSnapshot)
                return rc;
        }
        std::vector<Storage::SnapshotRow> rows;
        rc = Storage::FindSnapshotsByName(ctx.db(), id, rows);
        if (rc != 0)
            return rc;
        if (rows.empty())
            return kNoSuchSnapshot;
        if (rows.size() > 1)
            return ISCSI_ERR_SNAPSHOT_NAME_AMBIGUOUS;
        uuid = rows[0].uuid;
        return 0;
    });
}

} // namespace ISCSI
