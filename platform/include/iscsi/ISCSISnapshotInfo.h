// The snapshot record of the storage library: one snapshot of a LUN, its JSON form and its
// text for logs.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace ISCSI {

// The kind of a snapshot, by the kind of LUN it was taken of.
enum {
    ISCSI_SNAPSHOT_TYPE_NONE = 0,
    ISCSI_SNAPSHOT_TYPE_ADV = 1,  // of a file-based (ADV) LUN; its clones are CINDER LUNs
    ISCSI_SNAPSHOT_TYPE_BLUN = 2, // of a block-level (BLUN) LUN; its clones are CINDER_BLUN LUNs
};

// The load flag word of a snapshot record: which facts ISCSILIBLUN::listSnapshot and
// ISCSISnapshotInfo::loadFromConfig fill in, named by the "additional" names of requests.
enum {
    ISCSI_SNAPSHOT_LOAD_NONE = 0,
    ISCSI_SNAPSHOT_LOAD_IS_ACTION_LOCKED = 0x1,
    ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS = 0x2,
    ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS = 0x4,
    ISCSI_SNAPSHOT_LOAD_SYNC_PROGRESS = 0x8,
    ISCSI_SNAPSHOT_LOAD_ALL = 0xF,
};

// One snapshot.
//
// The record begins with its eight text fields, in this order: uuid, lun_uuid, version,
// name, description, taken_by, location, status. The third, `version`, is the key text of a
// snapshot across nodes: a replicated snapshot keeps the version of its source, so the two
// ends of a replication match their snapshots by it.
//
// JSON form (toJsonFormat writes it, loadFromJson reads it). Always present:
//   "uuid", "lun_uuid", "version", "name", "description", "taken_by", "location", "status"
//   strings; "type" int (ISCSI_SNAPSHOT_TYPE_*); "snapshot_id" int; "size" uint64;
//   "snapshot_time" int64 (seconds since the epoch); "is_user_locked", "is_app_consistent",
//   "is_scheduled" bools.
// Present when the fact was loaded (its ISCSI_SNAPSHOT_LOAD_* bit is in `additional`):
//   0x1 "is_action_locked" bool; 0x2 "locked_app_keys" array of strings;
//   0x4 "export_total", "export_done" uint64, "export_errno" int;
//   0x8 "sync_total", "sync_done" uint64.
// loadFromJson sets the bit of each group of which a key is present.
class ISCSISnapshotInfo {
public:
    ISCSISnapshotInfo();
    // A record that names the snapshot uuid; nothing else is loaded.
    explicit ISCSISnapshotInfo(const std::string& uuid);
    virtual ~ISCSISnapshotInfo();

    // Writes the JSON form above into out (replacing what it held); 0.
    int toJsonFormat(Json::Value& out) const;
    // Fills the record from its JSON form; keys that are absent keep their field. 0, or
    // 18990204 when in is no object, lacks "uuid", or has a key of the wrong JSON type.
    int loadFromJson(const Json::Value& in);
    // One line for logs: "uuid: U, lun_uuid: L, version: V, name: N, snapshot_id: I, type: T,
    // snapshot_time: S, is_user_locked: true".
    std::string toString() const;

    // Fills the record from the stored settings of the snapshot it names, with the facts of
    // flags (ISCSI_SNAPSHOT_LOAD_* bits). 0 or an error code.
    int loadFromConfig(int flags);
    // Adds the lock of the application key appKey to the snapshot. 0 or an error code.
    int lockSnapshotByAppKey(const std::string& appKey) const;
    // Removes the lock of the application key appKey. 0 or an error code.
    int unlockSnapshotByAppKey(const std::string& appKey) const;

    // Resolves a snapshot identifier of a request (uuid or name) into the snapshot's
    // canonical uuid. 0 or an error code.
    static int GetSnapshotUuid(const std::string& id, std::string& uuid);

    std::string uuid;
    std::string lun_uuid; // the LUN the snapshot was taken of
    std::string version;  // key across nodes, see above
    std::string name;
    std::string description;
    std::string taken_by;
    std::string location; // volume of the snapshot, "/volumeN"
    std::string status;   // "normal", "taking", "exporting", ... as the library words it

    int type; // ISCSI_SNAPSHOT_TYPE_*
    int snapshot_id;
    unsigned long long size;
    long snapshot_time;
    bool is_user_locked;
    bool is_app_consistent;
    bool is_scheduled;

    // The facts loaded into this record, ISCSI_SNAPSHOT_LOAD_* bits.
    int additional;

    bool is_action_locked;
    std::vector<std::string> locked_app_keys;

    unsigned long long export_total;
    unsigned long long export_done;
    int export_errno;

    unsigned long long sync_total;
    unsigned long long sync_done;
};

} // namespace ISCSI
