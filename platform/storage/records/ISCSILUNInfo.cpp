// The LUN record's data code: constructors, JSON form and log text. The record's operations
// on stored data (loadFromConfig, GetLunUuid, ListIOStat) belong to the storage library.
#include <iscsi/ISCSILUNInfo.h>

#include "RecordJson.h"

#include <sstream>

namespace ISCSI {

using namespace RecordJson;

namespace {

struct DevAttrib {
    const char* name;
    unsigned int bit;
};

const DevAttrib kDevAttribs[] = {
    {"emulate_tpu", ISCSI_DEV_ATTRIB_EMULATE_TPU},   {"emulate_caw", ISCSI_DEV_ATTRIB_EMULATE_CAW},
    {"emulate_tpws", ISCSI_DEV_ATTRIB_EMULATE_TPWS}, {"emulate_3pc", ISCSI_DEV_ATTRIB_EMULATE_3PC},
    {"can_snapshot", ISCSI_DEV_ATTRIB_CAN_SNAPSHOT},
};

// The keys of each loaded fact; a key present in a JSON form marks its fact as loaded.
const LoadGroup kLoadGroups[] = {
    {ISCSI_LUN_LOAD_IS_ACTION_LOCKED, {"is_action_locked"}},
    {ISCSI_LUN_LOAD_IS_MAPPED, {"is_mapped"}},
    {ISCSI_LUN_LOAD_EXTENT_SIZE, {"extent_size"}},
    {ISCSI_LUN_LOAD_ALLOCATED_SIZE, {"allocated_size"}},
    {ISCSI_LUN_LOAD_STATUS, {"status"}},
    {ISCSI_LUN_LOAD_IS_VHOST_MAPPED, {"is_vhost_mapped"}},
    {ISCSI_LUN_LOAD_IS_BOUND, {"is_bound"}},
    {ISCSI_LUN_LOAD_ALLOW_BKPOBJ, {"allow_bkpobj"}},
    {ISCSI_LUN_LOAD_STORAGE_MANAGER, {"storage_manager"}},
    {ISCSI_LUN_LOAD_IMPORT_STATUS, {"import_total", "import_done", "import_errno"}},
    {ISCSI_LUN_LOAD_SYNC_PROGRESS, {"sync_total", "sync_done", "sync_errno"}},
    {ISCSI_LUN_LOAD_WHITELIST, {"whitelist"}},
    {ISCSI_LUN_LOAD_FLASHCACHE_STATUS, {"flashcache_status"}},
    {ISCSI_LUN_LOAD_FAMILY_CONFIG, {"family_config"}},
    {ISCSI_LUN_LOAD_REMOTE_CLONE_PROGRESS,
     {"rmt_clone_total", "rmt_clone_done", "rmt_clone_sent", "rmt_clone_errno", "rmt_clone_status"}},
    {ISCSI_LUN_LOAD_SUB_VOL_INFO, {"tree_size", "tree_level"}},
    {ISCSI_LUN_LOAD_SNAPSHOT_INFO, {"snapshot_count"}},
};

// "dev_attribs": each named attribute takes the bit of its "enable" (a bool, or a number
// that is true when not 0); attributes not named keep theirs, unknown names are skipped.
bool ReadDevAttribs(const Json::Value& in, unsigned int& out)
{
    if (!in.isMember("dev_attribs"))
        return true;
    const Json::Value& list = in["dev_attribs"];
    if (!list.isArray())
        return false;
    unsigned int word = out;
    for (const auto& e : list) {
        if (!e.isObject() || !e["dev_attrib"].isString())
            return false;
        const Json::Value& enable = e["enable"];
        if (!enable.isBool() && !enable.isIntegral())
            return false;
        const std::string name = e["dev_attrib"].asString();
        for (const auto& attrib : kDevAttribs) {
            if (name != attrib.name)
                continue;
            if (enable.asBool())
                word |= attrib.bit;
            else
                word &= ~attrib.bit;
        }
    }
    out = word;
    return true;
}

Json::Value FamilyToJson(const ISCSIFamilyConfigInfo& family)
{
    Json::Value out(Json::objectValue);
    out["family_uuid"] = family.family_uuid;
    out["parent_uuid"] = family.parent_uuid;
    out["parent_snapshot_uuid"] = family.parent_snapshot_uuid;
    out["child_uuids"] = WriteArray(family.child_uuids);
    return out;
}

bool ReadFamily(const Json::Value& in, ISCSIFamilyConfigInfo& out)
{
    if (!in.isMember("family_config"))
        return true;
    const Json::Value& family = in["family_config"];
    if (!family.isObject())
        return false;
    return ReadMember(family, "family_uuid", out.family_uuid) &&
           ReadMember(family, "parent_uuid", out.parent_uuid) &&
           ReadMember(family, "parent_snapshot_uuid", out.parent_snapshot_uuid) &&
           ReadMember(family, "child_uuids", out.child_uuids);
}

} // namespace

ISCSILUNInfo::ISCSILUNInfo()
    : lun_id(-1), type(ISCSI_LUN_TYPE_NONE), size(0), dev_attribs(0), additional(ISCSI_LUN_LOAD_NONE),
      is_action_locked(false), is_mapped(false), extent_size(0), allocated_size(0), is_vhost_mapped(false),
      is_bound(false), allow_bkpobj(false), import_total(0), import_done(0), import_errno(0), sync_total(0),
      sync_done(0), sync_errno(0), rmt_clone_total(0), rmt_clone_done(0), rmt_clone_sent(0),
      rmt_clone_errno(0), rmt_clone_status(0), tree_size(0), tree_level(0), snapshot_count(0)
{}

ISCSILUNInfo::ISCSILUNInfo(const std::string& uuid) : ISCSILUNInfo()
{
    this->uuid = uuid;
}

ISCSILUNInfo::~ISCSILUNInfo() = default;

int ISCSILUNInfo::toJsonFormat(Json::Value& out) const
{
    out = Json::Value(Json::objectValue);
    out["uuid"] = uuid;
    out["lun_id"] = lun_id;
    out["name"] = name;
    out["type"] = static_cast<int>(type);
    out["type_str"] = ISCSILUNTypeText(type);
    out["location"] = location;
    out["size"] = static_cast<Json::UInt64>(size);
    out["description"] = description;
    out["vpd_unit_sn"] = vpd_unit_sn;
    out["dev_attribs"] = Json::Value(Json::arrayValue);
    for (const auto& attrib : kDevAttribs) {
        Json::Value e(Json::objectValue);
        e["dev_attrib"] = attrib.name;
        e["enable"] = (dev_attribs & attrib.bit) != 0;
        out["dev_attribs"].append(e);
    }

    if (additional & ISCSI_LUN_LOAD_IS_ACTION_LOCKED)
        out["is_action_locked"] = is_action_locked;
    if (additional & ISCSI_LUN_LOAD_IS_MAPPED)
        out["is_mapped"] = is_mapped;
    if (additional & ISCSI_LUN_LOAD_EXTENT_SIZE)
        out["extent_size"] = extent_size;
    if (additional & ISCSI_LUN_LOAD_ALLOCATED_SIZE)
        out["allocated_size"] = static_cast<Json::UInt64>(allocated_size);
    if (additional & ISCSI_LUN_LOAD_STATUS)
        out["status"] = status;
    if (additional & ISCSI_LUN_LOAD_IS_VHOST_MAPPED)
        out["is_vhost_mapped"] = is_vhost_mapped;
    if (additional & ISCSI_LUN_LOAD_IS_BOUND)
        out["is_bound"] = is_bound;
    if (additional & ISCSI_LUN_LOAD_ALLOW_BKPOBJ)
        out["allow_bkpobj"] = allow_bkpobj;
    if (additional & ISCSI_LUN_LOAD_STORAGE_MANAGER)
        out["storage_manager"] = storage_manager;
    if (additional & ISCSI_LUN_LOAD_IMPORT_STATUS) {
        out["import_total"] = static_cast<Json::UInt64>(import_total);
        out["import_done"] = static_cast<Json::UInt64>(import_done);
        out["import_errno"] = import_errno;
    }
    if (additional & ISCSI_LUN_LOAD_SYNC_PROGRESS) {
        out["sync_total"] = static_cast<Json::UInt64>(sync_total);
        out["sync_done"] = static_cast<Json::UInt64>(sync_done);
        out["sync_errno"] = sync_errno;
    }
    if (additional & ISCSI_LUN_LOAD_WHITELIST)
        out["whitelist"] = WriteArray(whitelist);
    if (additional & ISCSI_LUN_LOAD_FLASHCACHE_STATUS)
        out["flashcache_status"] = flashcache_status;
    if (additional & ISCSI_LUN_LOAD_FAMILY_CONFIG)
        out["family_config"] = FamilyToJson(family_config);
    if (additional & ISCSI_LUN_LOAD_REMOTE_CLONE_PROGRESS) {
        out["rmt_clone_total"] = static_cast<Json::UInt64>(rmt_clone_total);
        out["rmt_clone_done"] = static_cast<Json::UInt64>(rmt_clone_done);
        out["rmt_clone_sent"] = static_cast<Json::UInt64>(rmt_clone_sent);
        out["rmt_clone_errno"] = rmt_clone_errno;
        out["rmt_clone_status"] = rmt_clone_status;
    }
    if (additional & ISCSI_LUN_LOAD_SUB_VOL_INFO) {
        out["tree_size"] = static_cast<Json::UInt64>(tree_size);
        out["tree_level"] = tree_level;
    }
    if (additional & ISCSI_LUN_LOAD_SNAPSHOT_INFO)
        out["snapshot_count"] = snapshot_count;
    return 0;
}

// The values a _tag_iscsi_lun_type holds: its largest id is 0x727, 11 bits. A number beyond
// them is no type the record can keep (an id it does not know, within them, is "UNKNOWN").
constexpr int kLunTypeValues = 0x7FF;

int ISCSILUNInfo::loadFromJson(const Json::Value& in)
{
    if (!in.isObject() || !in.isMember("uuid"))
        return kErrBadRecordJson;
    const bool ok =
        ReadMember(in, "uuid", uuid) && ReadMember(in, "lun_id", lun_id) && ReadMember(in, "name", name) &&
        ReadMemberAs<int>(in, "type", [this](int id) { return SetEnum(id, kLunTypeValues, type); }) &&
        ReadMember(in, "location", location) && ReadMember(in, "size", size) &&
        ReadMember(in, "description", description) && ReadMember(in, "vpd_unit_sn", vpd_unit_sn) &&
        ReadDevAttribs(in, dev_attribs) && ReadMember(in, "is_action_locked", is_action_locked) &&
        ReadMember(in, "is_mapped", is_mapped) && ReadMember(in, "extent_size", extent_size) &&
        ReadMember(in, "allocated_size", allocated_size) && ReadMember(in, "status", status) &&
        ReadMember(in, "is_vhost_mapped", is_vhost_mapped) && ReadMember(in, "is_bound", is_bound) &&
        ReadMember(in, "allow_bkpobj", allow_bkpobj) && ReadMember(in, "storage_manager", storage_manager) &&
        ReadMember(in, "import_total", import_total) && ReadMember(in, "import_done", import_done) &&
        ReadMember(in, "import_errno", import_errno) && ReadMember(in, "sync_total", sync_total) &&
        ReadMember(in, "sync_done", sync_done) && ReadMember(in, "sync_errno", sync_errno) &&
        ReadMember(in, "whitelist", whitelist) && ReadMember(in, "flashcache_status", flashcache_status) &&
        ReadFamily(in, family_config) && ReadMember(in, "rmt_clone_total", rmt_clone_total) &&
        ReadMember(in, "rmt_clone_done", rmt_clone_done) &&
        ReadMember(in, "rmt_clone_sent", rmt_clone_sent) &&
        ReadMember(in, "rmt_clone_errno", rmt_clone_errno) &&
        ReadMember(in, "rmt_clone_status", rmt_clone_status) && ReadMember(in, "tree_size", tree_size) &&
        ReadMember(in, "tree_level", tree_level) && ReadMember(in, "snapshot_count", snapshot_count);
    if (!ok)
        return kErrBadRecordJson;
    MarkLoaded(in, kLoadGroups, additional);
    return 0;
}

std::string ISCSILUNInfo::toString() const
{
    std::ostringstream text;
    text << "uuid: " << uuid << ", lun_id: " << lun_id << ", name: " << name
         << ", type: " << ISCSILUNTypeText(type) << " (" << static_cast<int>(type)
         << "), location: " << location << ", size: " << size;
    return text.str();
}

} // namespace ISCSI
