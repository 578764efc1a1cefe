// The LUN record of the storage library: what is known of one LUN, its JSON form, its text
// for logs, and the plain configuration structure of a LUN.
#pragma once

#include <iscsi/ISCSITypes.h>

#include <json/json.h>

#include <string>
#include <vector>

// A category of LUNs: a set of type bits that every type of the category carries (a type T
// belongs to category C when T & C == C). The values are the property bits of a LUN type.
enum _tag_iscsi_lun_category {
    ISCSI_LUN_CATEGORY_ALL = 0,
    ISCSI_LUN_CATEGORY_BASE = ISCSI_LUN_BIT_BASE,
    ISCSI_LUN_CATEGORY_FILE = ISCSI_LUN_BIT_FILE,
    ISCSI_LUN_CATEGORY_THIN = ISCSI_LUN_BIT_THIN,
    ISCSI_LUN_CATEGORY_ADV = ISCSI_LUN_BIT_ADV,
    ISCSI_LUN_CATEGORY_SINK = ISCSI_LUN_BIT_SINK,
    ISCSI_LUN_CATEGORY_VDISK = ISCSI_LUN_BIT_VDISK,
    ISCSI_LUN_CATEGORY_BKP = ISCSI_LUN_BIT_BKP,
    ISCSI_LUN_CATEGORY_CINDER = ISCSI_LUN_BIT_CINDER,
    ISCSI_LUN_CATEGORY_BLUN = ISCSI_LUN_BIT_BLUN,
    ISCSI_LUN_CATEGORY_COW = ISCSI_LUN_BIT_COW,
    ISCSI_LUN_CATEGORY_C2 = ISCSI_LUN_BIT_C2,
};

// The stored configuration of a LUN as a plain structure, filled by
// ISCSI::ISCSILUNInfo::loadFromConfig. It has no constructor on purpose: callers zero it
// (memset or value-initialisation) before the load. Texts are NUL-terminated.
struct _tag_iscsi_lun_ {
    char uuid[64];
    int lun_id;
    char name[264]; // an object name has at most 257 characters
    _tag_iscsi_lun_type type;
    char location[256]; // "/volumeN", or the device path of a BLOCK LUN
    unsigned long long size;
    unsigned int extent_size;
    unsigned int dev_attribs; // enabled device attributes, ISCSI_DEV_ATTRIB_* bits
    char vpd_unit_sn[256];
};

namespace ISCSI {

// Device attributes of a LUN, by the names that requests use: "emulate_tpu" 1,
// "emulate_caw" 2, "emulate_tpws" 4, "emulate_3pc" 8, "can_snapshot" 16. Operations take two
// words of these bits: a mask of the attributes to change and the values to give them.
enum {
    ISCSI_DEV_ATTRIB_EMULATE_TPU = 0x01,
    ISCSI_DEV_ATTRIB_EMULATE_CAW = 0x02,
    ISCSI_DEV_ATTRIB_EMULATE_TPWS = 0x04,
    ISCSI_DEV_ATTRIB_EMULATE_3PC = 0x08,
    ISCSI_DEV_ATTRIB_CAN_SNAPSHOT = 0x10,
};

// The load flag word of a LUN record: which costly facts ISCSILIBLUN::ListLUN and
// ISCSILIBLUN::loadLUNInfo fill in. Each flag is named by the "additional" name a request
// uses for it. Bit 0x1 is not used.
enum {
    ISCSI_LUN_LOAD_NONE = 0,
    ISCSI_LUN_LOAD_IS_ACTION_LOCKED = 0x2,
    ISCSI_LUN_LOAD_IS_MAPPED = 0x4,
    ISCSI_LUN_LOAD_EXTENT_SIZE = 0x8,
    ISCSI_LUN_LOAD_ALLOCATED_SIZE = 0x10,
    ISCSI_LUN_LOAD_STATUS = 0x20,
    ISCSI_LUN_LOAD_IS_VHOST_MAPPED = 0x40,
    ISCSI_LUN_LOAD_IS_BOUND = 0x80,
    ISCSI_LUN_LOAD_ALLOW_BKPOBJ = 0x100,
    ISCSI_LUN_LOAD_STORAGE_MANAGER = 0x200,
    ISCSI_LUN_LOAD_IMPORT_STATUS = 0x400,
    ISCSI_LUN_LOAD_SYNC_PROGRESS = 0x800,
    ISCSI_LUN_LOAD_WHITELIST = 0x1000,
    ISCSI_LUN_LOAD_FLASHCACHE_STATUS = 0x2000,
    ISCSI_LUN_LOAD_FAMILY_CONFIG = 0x4000,
    ISCSI_LUN_LOAD_REMOTE_CLONE_PROGRESS = 0x8000,
    ISCSI_LUN_LOAD_SUB_VOL_INFO = 0x10000,
    ISCSI_LUN_LOAD_SNAPSHOT_INFO = 0x20000,
    ISCSI_LUN_LOAD_ALL = 0x3FFFE,
};

// Where a LUN stands among related LUNs: the LUN it was made from and those made from it.
// Held inside the LUN record; its JSON form is written and read by the LUN record under the
// key "family_config".
class ISCSIFamilyConfigInfo {
public:
    ISCSIFamilyConfigInfo();
    virtual ~ISCSIFamilyConfigInfo();

    std::string family_uuid;              // "family_uuid": the family, named by its first LUN
    std::string parent_uuid;              // "parent_uuid": the LUN this one was made from, or empty
    std::string parent_snapshot_uuid;     // "parent_snapshot_uuid": the snapshot it was made from
    std::vector<std::string> child_uuids; // "child_uuids": the LUNs made from this one
};

// One LUN.
//
// JSON form (toJsonFormat writes it, loadFromJson reads it). Always present:
//   "uuid" string, "lun_id" int, "name" string, "type" int (a _tag_iscsi_lun_type id),
//   "type_str" string (the type's name, such as "THIN"; "UNKNOWN" for no id; not read back),
//   "location" string, "size" uint64, "description" string, "vpd_unit_sn" string,
//   "dev_attribs" array of {"dev_attrib": name, "enable": bool}, one per device attribute
//   in the order emulate_tpu, emulate_caw, emulate_tpws, emulate_3pc, can_snapshot.
// Present when the fact was loaded (its ISCSI_LUN_LOAD_* bit is in `additional`):
//   0x2 "is_action_locked" bool; 0x4 "is_mapped" bool; 0x8 "extent_size" uint;
//   0x10 "allocated_size" uint64; 0x20 "status" string; 0x40 "is_vhost_mapped" bool;
//   0x80 "is_bound" bool; 0x100 "allow_bkpobj" bool; 0x200 "storage_manager" string;
//   0x400 "import_total", "import_done" uint64, "import_errno" int;
//   0x800 "sync_total", "sync_done" uint64, "sync_errno" int;
//   0x1000 "whitelist" array of strings; 0x2000 "flashcache_status" string;
//   0x4000 "family_config" {"family_uuid", "parent_uuid", "parent_snapshot_uuid" strings,
//          "child_uuids" array of strings};
//   0x8000 "rmt_clone_total", "rmt_clone_done", "rmt_clone_sent" uint64,
//          "rmt_clone_errno", "rmt_clone_status" int;
//   0x10000 "tree_size" uint64, "tree_level" int; 0x20000 "snapshot_count" uint.
// loadFromJson sets the bit of each group of which a key is present, so a record read back
// shows the same keys.
class ISCSILUNInfo {
public:
    ISCSILUNInfo();
    // A record that names the LUN uuid; nothing else is loaded.
    explicit ISCSILUNInfo(const std::string& uuid);
    virtual ~ISCSILUNInfo();

    // Writes the JSON form above into out (replacing what it held); 0.
    int toJsonFormat(Json::Value& out) const;
    // Fills the record from its JSON form; keys that are absent keep their field. 0, or
    // 18990204 when in is no object, lacks "uuid", or has a key of the wrong JSON type (the
    // fields read before the bad key keep their new values).
    int loadFromJson(const Json::Value& in);
    // One line for logs: "uuid: U, lun_id: N, name: X, type: THIN (7), location: L, size: S".
    std::string toString() const;

    // Fills lun with the stored configuration of the LUN this record names. flags is reserved
    // (0). 0 or an error code.
    int loadFromConfig(_tag_iscsi_lun_& lun, int flags);

    // Resolves a LUN identifier of a request (uuid or name) into the LUN's canonical uuid.
    // The empty text gives 0 and the empty uuid. 0 or an error code.
    static int GetLunUuid(const std::string& id, std::string& uuid);
    // I/O statistics of LUNs into iostats: per LUN when object is true, else in total;
    // filter is null or {"attr": name, "value": value}; uuids is null or an array of LUN
    // uuids that limits the statistics to those LUNs. 0 or an error code.
    static int ListIOStat(Json::Value& iostats, bool object, const Json::Value& filter,
                          const Json::Value& uuids);

    std::string uuid;
    int lun_id;
    std::string name;
    _tag_iscsi_lun_type type;
    std::string location;
    unsigned long long size;
    std::string description;
    std::string vpd_unit_sn;
    unsigned int dev_attribs; // enabled device attributes, ISCSI_DEV_ATTRIB_* bits

    // The facts loaded into this record, ISCSI_LUN_LOAD_* bits.
    int additional;

    bool is_action_locked;
    bool is_mapped;
    unsigned int extent_size;
    unsigned long long allocated_size;
    std::string status; // "normal", "creating", "deleting", ... as the library words it
    bool is_vhost_mapped;
    bool is_bound;
    bool allow_bkpobj;
    std::string storage_manager; // the application that manages the LUN, empty for none

    unsigned long long import_total;
    unsigned long long import_done;
    int import_errno;

    unsigned long long sync_total;
    unsigned long long sync_done;
    int sync_errno;

    std::vector<std::string> whitelist;
    std::string flashcache_status;
    ISCSIFamilyConfigInfo family_config;

    unsigned long long rmt_clone_total;
    unsigned long long rmt_clone_done;
    unsigned long long rmt_clone_sent;
    int rmt_clone_errno;
    int rmt_clone_status;

    unsigned long long tree_size;
    int tree_level;

    unsigned int snapshot_count;
};

} // namespace ISCSI
