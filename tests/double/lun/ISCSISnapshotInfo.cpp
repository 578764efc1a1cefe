// Recording double of the behaviour of ISCSI::ISCSISnapshotInfo (its data code is the shared
// one).
//
// An operation on a record logs the record's JSON form first (see LibDouble.h). loadFromConfig,
// when it answers 0, marks the facts of its flags as loaded (as the library does), and then sets
// the fields scripted as "ISCSISnapshotInfo::field".
#include "../LibDouble.h"

#include <iscsi/ISCSISnapshotInfo.h>

using namespace KOVATest;

namespace ISCSI {

int ISCSISnapshotInfo::loadFromConfig(int flags)
{
    const LibResult r = LibDouble::Get().Record("ISCSISnapshotInfo::loadFromConfig", Args(*this, flags));
    if (r.code == 0)
        additional |= flags;
    Output(r, "ISCSISnapshotInfo::uuid", uuid);
    Output(r, "ISCSISnapshotInfo::lun_uuid", lun_uuid);
    Output(r, "ISCSISnapshotInfo::version", version);
    Output(r, "ISCSISnapshotInfo::name", name);
    Output(r, "ISCSISnapshotInfo::description", description);
    Output(r, "ISCSISnapshotInfo::taken_by", taken_by);
    Output(r, "ISCSISnapshotInfo::location", location);
    Output(r, "ISCSISnapshotInfo::status", status);
    Output(r, "ISCSISnapshotInfo::type", type);
    Output(r, "ISCSISnapshotInfo::snapshot_id", snapshot_id);
    Output(r, "ISCSISnapshotInfo::size", size);
    Output(r, "ISCSISnapshotInfo::snapshot_time", snapshot_time);
    Output(r, "ISCSISnapshotInfo::is_user_locked", is_user_locked);
    Output(r, "ISCSISnapshotInfo::is_app_consistent", is_app_consistent);
    Output(r, "ISCSISnapshotInfo::is_scheduled", is_scheduled);
    Output(r, "ISCSISnapshotInfo::additional", additional);
    Output(r, "ISCSISnapshotInfo::is_action_locked", is_action_locked);
    Output(r, "ISCSISnapshotInfo::locked_app_keys", locked_app_keys);
    Output(r, "ISCSISnapshotInfo::export_total", export_total);
    Output(r, "ISCSISnapshotInfo::export_done", export_done);
    Output(r, "ISCSISnapshotInfo::export_errno", export_errno);
    Output(r, "ISCSISnapshotInfo::sync_total", sync_total);
    Output(r, "ISCSISnapshotInfo::sync_done", sync_done);
    return r.code;
}

int ISCSISnapshotInfo::lockSnapshotByAppKey(const std::string& appKey) const
{
    return LibDouble::Get().Record("ISCSISnapshotInfo::lockSnapshotByAppKey", Args(*this, appKey)).code;
}

int ISCSISnapshotInfo::unlockSnapshotByAppKey(const std::string& appKey) const
{
    return LibDouble::Get().Record("ISCSISnapshotInfo::unlockSnapshotByAppKey", Args(*this, appKey)).code;
}

int ISCSISnapshotInfo::GetSnapshotUuid(const std::string& id, std::string& uuid)
{
    return RecordResolve("ISCSISnapshotInfo::GetSnapshotUuid", id, "uuid", uuid);
}

} // namespace ISCSI
