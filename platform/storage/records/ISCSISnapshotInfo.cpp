// The snapshot record's data code: constructors, JSON form and log text. The record's
// operations on stored data (loadFromConfig, the application-key locks, GetSnapshotUuid)
// belong to the storage library.
#include <iscsi/ISCSISnapshotInfo.h>

#include "RecordJson.h"

#include <sstream>

namespace ISCSI {

using namespace RecordJson;

namespace {

// The keys of each loaded fact; a key present in a JSON form marks its fact as loaded.
const LoadGroup kLoadGroups[] = {
    {ISCSI_SNAPSHOT_LOAD_IS_ACTION_LOCKED, {"is_action_locked"}},
    {ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS, {"locked_app_keys"}},
    {ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS, {"export_total", "export_done", "export_errno"}},
    {ISCSI_SNAPSHOT_LOAD_SYNC_PROGRESS, {"sync_total", "sync_done"}},
};

} // namespace

ISCSISnapshotInfo::ISCSISnapshotInfo()
    : type(ISCSI_SNAPSHOT_TYPE_NONE), snapshot_id(-1), size(0), snapshot_time(0), is_user_locked(false),
      is_app_consistent(false), is_scheduled(false), additional(ISCSI_SNAPSHOT_LOAD_NONE),
      is_action_locked(false), export_total(0), export_done(0), export_errno(0), sync_total(0), sync_done(0)
{}

ISCSISnapshotInfo::ISCSISnapshotInfo(const std::string& uuid) : ISCSISnapshotInfo()
{
    this->uuid = uuid;
}

ISCSISnapshotInfo::~ISCSISnapshotInfo() = default;

int ISCSISnapshotInfo::toJsonFormat(Json::Value& out) const
{
    out = Json::Value(Json::objectValue);
    out["uuid"] = uuid;
    out["lun_uuid"] = lun_uuid;
    out["version"] = version;
    out["name"] = name;
    out["description"] = description;
    out["taken_by"] = taken_by;
    out["location"] = location;
    out["status"] = status;
    out["type"] = type;
    out["snapshot_id"] = snapshot_id;
    out["size"] = static_cast<Json::UInt64>(size);
    out["snapshot_time"] = static_cast<Json::Int64>(snapshot_time);
    out["is_user_locked"] = is_user_locked;
    out["is_app_consistent"] = is_app_consistent;
    out["is_scheduled"] = is_scheduled;

    if (additional & ISCSI_SNAPSHOT_LOAD_IS_ACTION_LOCKED)
        out["is_action_locked"] = is_action_locked;
    if (additional & ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS)
        out["locked_app_keys"] = WriteArray(locked_app_keys);
    if (additional & ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS) {
        out["export_total"] = static_cast<Json::UInt64>(export_total);
        out["export_done"] = static_cast<Json::UInt64>(export_done);
        out["export_errno"] = export_errno;
    }
    if (additional & ISCSI_SNAPSHOT_LOAD_SYNC_PROGRESS) {
        out["sync_total"] = static_cast<Json::UInt64>(sync_total);
        out["sync_done"] = static_cast<Json::UInt64>(sync_done);
    }
    return 0;
}

int ISCSISnapshotInfo::loadFromJson(const Json::Value& in)
{
    if (!in.isObject() || !in.isMember("uuid"))
        return kErrBadRecordJson;
    const bool ok =
        ReadMember(in, "uuid", uuid) && ReadMember(in, "lun_uuid", lun_uuid) &&
        ReadMember(in, "version", version) && ReadMember(in, "name", name) &&
        ReadMember(in, "description", description) && ReadMember(in, "taken_by", taken_by) &&
        ReadMember(in, "location", location) && ReadMember(in, "status", status) &&
        ReadMember(in, "type", type) && ReadMember(in, "snapshot_id", snapshot_id) &&
        ReadMember(in, "size", size) && ReadMember(in, "snapshot_time", snapshot_time) &&
        ReadMember(in, "is_user_locked", is_user_locked) &&
        ReadMember(in, "is_app_consistent", is_app_consistent) &&
        ReadMember(in, "is_scheduled", is_scheduled) &&
        ReadMember(in, "is_action_locked", is_action_locked) &&
        ReadMember(in, "locked_app_keys", locked_app_keys) && ReadMember(in, "export_total", export_total) &&
        ReadMember(in, "export_done", export_done) && ReadMember(in, "export_errno", export_errno) &&
        ReadMember(in, "sync_total", sync_total) && ReadMember(in, "sync_done", sync_done);
    if (!ok)
        return kErrBadRecordJson;
    MarkLoaded(in, kLoadGroups, additional);
    return 0;
}

std::string ISCSISnapshotInfo::toString() const
{
    std::ostringstream text;
    text << "uuid: " << uuid << ", lun_uuid: " << lun_uuid << ", version: " << version << ", name: " << name
         << ", snapshot_id: " << snapshot_id << ", type: " << type << ", snapshot_time: " << snapshot_time
         << ", is_user_locked: " << (is_user_locked ? "true" : "false");
    return text.str();
}

} // namespace ISCSI
