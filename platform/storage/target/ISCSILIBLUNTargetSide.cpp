// The LUN operations of the target engine: mapping a LUN to targets, loading and unloading it
// and its snapshots, and its whitelist of initiator addresses.
//
// Loading decides whether tgtd serves a LUN: a LUN is loaded from its creation on, and an
// unloaded one keeps its mappings but has no logical unit in tgtd. A loaded snapshot is served
// read-only, with a LUN number of its own, on every target its LUN is mapped to.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "context/LibraryContext.h"
#include "lun/LUNStore.h"
#include "snapshot/SnapshotStore.h"
#include "target/TargetEngine.h"
#include "target/TargetStore.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

using ISCSI::Storage::ConfigDB;
using ISCSI::Storage::LibraryContext;
using ISCSI::Storage::LUNRow;

namespace ISCSI {
namespace LIB {
namespace LIBLUN {
namespace {

constexpr int kInvalidAddress = 18990203;
using Storage::kNoSuchSnapshot;

int ChangeTargets(const std::string& lunUuid, const std::set<int>& targetIds, bool map)
{
    return Storage::WithLunRow(lunUuid, [&](LibraryContext& ctx, LUNRow& lun) -> int {
        if (map && !Storage::IsFileType(lun.type))
            return ISCSI_ERR_LUN_NOT_SERVABLE;
        for (int tid : targetIds) {
            Storage::TargetRow target;
            const int rc = Storage::FindTarget(ctx.db(), tid, target);
            if (rc != 0)
                return rc;
        }
        return Storage::ChangeTargetConfiguration(
            ctx,
            [&](ConfigDB& db) -> int {
                std::vector<std::string> snapshots;
                if (map && Storage::ListLoadedSnapshots(db, lun.uuid, snapshots) != 0)
                    return ISCSI_ERR_DATABASE;
                for (int tid : targetIds) {
                    int step =
                        map ? Storage::MapLun(db, tid, lun.uuid) : Storage::UnmapLun(db, tid, lun.uuid);
                    for (size_t i = 0; step == 0 && i < snapshots.size(); ++i)
                        step = Storage::MapSnapshot(db, tid, snapshots[i]);
                    if (step != 0)
                        return step;
                }
                return 0;
            },
            targetIds.empty() ? ""
                              : "LUN " + lun.name + (map ? " was mapped to " : " was unmapped from ") +
                                    std::to_string(targetIds.size()) + " target(s)");
    });
}

int SetLoaded(const std::string& lunUuid, bool loaded)
{
    return Storage::WithLunRow(lunUuid, [&](LibraryContext& ctx, LUNRow& lun) -> int {
        if (loaded && !Storage::IsFileType(lun.type))
            return ISCSI_ERR_LUN_NOT_SERVABLE;
        return Storage::ChangeTargetConfiguration(
            ctx, [&](ConfigDB& db) { return Storage::SetLunLoaded(db, lun.uuid, loaded); });
    });
}

int SetSnapshotLoaded(const std::string& snapshotUuid, bool loaded)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        Storage::SnapshotRow snapshot;
        const int found = Storage::FindSnapshotByUuid(ctx.db(), snapshotUuid, snapshot);
        if (found != 0)
            return found;
        return Storage::ChangeTargetConfiguration(ctx, [&](ConfigDB& db) -> int {
            if (Storage::SetSnapshotLoaded(db, snapshot.uuid, loaded) != 0)
                return ISCSI_ERR_DATABASE;
            if (!loaded)
                return Storage::UnmapSnapshotEverywhere(db, snapshot.uuid);
            std::vector<int> tids;
            if (Storage::ListLunTargets(db, snapshot.lun_uuid, tids) != 0)
                return ISCSI_ERR_DATABASE;
            for (int tid : tids) {
                const int rc = Storage::MapSnapshot(db, tid, snapshot.uuid);
                if (rc != 0)
                    return rc;
            }
            return 0;
        });
    });
}

} // namespace

int ISCSILIBLUN::mapTarget(const std::set<int>& targetIds)
{
    return ChangeTargets(uuid, targetIds, true);
}

int ISCSILIBLUN::unmapTarget(const std::set<int>& targetIds)
{
    return ChangeTargets(uuid, targetIds, false);
}

// The two flags name what the LUN is loaded for (its trash, its unsynced size); serving it
// through tgtd is the same for every purpose.
int ISCSILIBLUN::loadLUN(bool, bool)
{
    return SetLoaded(uuid, true);
}

int ISCSILIBLUN::unloadLUN(bool, bool)
{
    return SetLoaded(uuid, false);
}

int ISCSILIBLUN::loadSnapshot(const std::string& snapshotUuid, bool, bool)
{
    if (snapshotUuid.empty())
        return kNoSuchSnapshot;
    return SetSnapshotLoaded(snapshotUuid, true);
}

int ISCSILIBLUN::unloadSnapshot(const std::string& snapshotUuid, bool, bool)
{
    if (snapshotUuid.empty())
        return kNoSuchSnapshot;
    return SetSnapshotLoaded(snapshotUuid, false);
}

int ISCSILIBLUN::setWhitelist(const std::vector<std::string>& whitelist)
{
    std::vector<std::string> canonical;
    for (const std::string& address : whitelist) {
        canonical.emplace_back();
        if (!Storage::CanonicalAddress(address, canonical.back()))
            return kInvalidAddress;
    }
    return Storage::WithLunRow(uuid, [&](LibraryContext& ctx, LUNRow& lun) -> int {
        const int rc = Storage::ChangeTargetConfiguration(
            ctx, [&](ConfigDB& db) { return Storage::ReplaceWhitelist(db, lun.uuid, canonical); },
            "The whitelist of LUN " + lun.name + " was changed");
        if (rc == 0)
            this->whitelist = canonical;
        return rc;
    });
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
