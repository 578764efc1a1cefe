// LUNs and their snapshots: creation and deletion, listing and reading, changes, clones,
// mapping to targets, loading into the data path; snapshots taken, listed, read, changed,
// deleted, restored, cloned, locked by application key and loaded; export and import; vhost
// and loop mappings; whitelists and defragmentation.
//
// Each handler resolves the identifiers of its request with GetLunUuid and GetSnapshotUuid
// and goes on with the canonical uuids only.
//
// Kept on purpose: set answers nothing when it cannot tell where a LUN lies, and clone and
// clone_snapshot answer nothing when they cannot read the stored settings of their source;
// clone reads is_same_pool and uses it for nothing; retry_stop gives the library the LUN's
// uuid once more; set_snapshot changes data but writes no debug line.
#include "WebAPIServerLUN.h"

#include "etc/WebAPIFrame.h"
#include "etc/WebAPIStatusTexts.h"
#include "etc/WebAPIValidators.h"
#include "etc/WebAPIVocabulary.h"

#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSILUNInfo.h>
#include <iscsi/ISCSINodeInfo.h>
#include <iscsi/ISCSISnapshotInfo.h>
#include <iscsi/ISCSITargetInfo.h>
#include <kova/Core.h>

#include <sys/socket.h>

#include <cstddef>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

using ISCSI::LIB::LIBLUN::ISCSILIBLUN;

enum {
    ERR_REMOTE_CLONE_INCOMPLETE = 18990201,
    ERR_BAD_WHITELIST_ADDRESS = 18990203,
    ERR_REMOTE_DISK_CHANGE = 18990213,
    ERR_BAD_PORTALS = 18990402,
    ERR_BAD_WHITELIST = 18990402,
    ERR_BAD_DESCRIPTION = 18990403,
    ERR_BAD_DELETED_BY = 18990404,
    ERR_BAD_CLONE_TYPE = 18990500,
    ERR_BAD_LUN_TYPE = 18990500,
    ERR_BAD_LOCATION = 18990501,
    ERR_BAD_SIZE = 18990502,
    ERR_BAD_CLONED_LUN_NAME = 18990503,
    ERR_BAD_LUN_NAME = 18990503,
    ERR_BAD_LUN_UUID = 18990505,
    ERR_BAD_IS_SAME_POOL = 18990506,
    ERR_BAD_EXTENT_SIZE = 18990507,
    ERR_BAD_SRC_LUN_UUID = 18990508,
    ERR_BAD_EXPORTED_DIR_PATH = 18990510,
    ERR_BAD_SNAPSHOT_NAME = 18990513,
    ERR_BAD_IS_LOCKED = 18990514,
    ERR_BAD_IS_APP_CONSISTENT = 18990515,
    ERR_BAD_IS_COUNT_ONLY = 18990516,
    ERR_BAD_ADDITIONAL = 18990517,
    ERR_BAD_SNAPSHOT_UUID = 18990520,
    ERR_BAD_SNAPSHOT_TIME = 18990521,
    ERR_BAD_NEW_NAME = 18990522,
    ERR_BAD_NEW_SIZE = 18990523,
    ERR_BAD_APP_KEY = 18990524,
    ERR_BAD_IS_SCHEDULED = 18990527,
    ERR_BAD_IS_FOR_TRASH = 18990528,
    ERR_BAD_IS_FOR_UNSYNC_SIZE = 18990529,
    ERR_BAD_IS_USER_LOCKED = 18990596,
    ERR_UNKNOWN_SNAPSHOT_TYPE = 18990598,
    ERR_BAD_CATEGORY = 18990602,
    ERR_BAD_IS_SOFT_FEAS_IGNORED = 18990607,
    ERR_BAD_NEW_TYPE = 18990610,
    ERR_BAD_NEW_LOCATION = 18990611,
    ERR_BAD_SRC_SNAP_DIR = 18990612,
    ERR_BAD_TAKEN_BY = 18990614,
    ERR_BAD_SRC_LUN_DIR = 18990615,
    ERR_BAD_SRC_LUN_FILE = 18990616,
    ERR_BAD_IS_DATA_CLONE = 18990618,
    ERR_BAD_TYPES = 18990619,
    ERR_BAD_VPD_UNIT_SN = 18990620,
    ERR_BAD_FEASIBILITY_PRECHECK = 18990621,
    ERR_BAD_DEV_ATTRIBS = 18990622,
    ERR_BAD_IS_DELETE_PARENT_LUN = 18990631,
    ERR_BAD_TARGET_IDS = 18990710,
    ERR_BAD_DST_NODE_UUID = 18990823,
    ERR_BAD_SNAP_VERSION = 18990836,
    ERR_BAD_DST_ADDRESS = 18990845,
    ERR_BAD_DST_PORT = 18990847,
    ERR_BAD_IS_DATA_ENCRYPTED = 18990849,
    ERR_BAD_DST_LOCATION = 18990904,
    ERR_NO_ROD_KEY = 18991119,
};

// ---- Shared by the LUN handlers ------------------------------------------------------------

namespace {

const Json::Value kEmptyArray(Json::arrayValue);

// Passes the result of an operation that runs a feasibility test: after either feasibility
// failure the error data tells what stood in the way; any other code has null data.
void AnswerFeasibleResult(KOVA::APIResponse* response, int result, const Json::Value& reply,
                          const ISCSILIBLUN& lun)
{
    if (result == LIB::LIBLUN::ISCSI_ERR_FEASIBILITY_HARD ||
        result == LIB::LIBLUN::ISCSI_ERR_FEASIBILITY_SOFT)
        response->SetError(result, lun.feasibility_detail);
    else
        AnswerResult(response, result, reply);
}

// Resolves each LUN identifier of ids, in order, into uuids; the first failure's code.
int ResolveLunUuids(const Json::Value& ids, std::vector<std::string>& uuids)
{
    for (const Json::Value& id : ids) {
        std::string uuid;
        const int result = ISCSI::ISCSILUNInfo::GetLunUuid(id.asString(), uuid);
        if (result != 0)
            return result;
        uuids.push_back(uuid);
    }
    return 0;
}

// Resolves each target identifier of ids (read as text) into the set of target ids; the
// first failure's code. A target named twice is in the set once.
int ResolveTargetIds(const Json::Value& ids, std::set<int>& tids)
{
    for (const Json::Value& id : ids) {
        int tid = -1;
        const int result = ISCSI::ISCSITargetInfo::GetTid(id.asString(), tid);
        if (result != 0)
            return result;
        tids.insert(tid);
    }
    return 0;
}

// Folds a "dev_attribs" array of {"dev_attrib": name, "enable": bool} into the mask of the
// attributes named and the values of the enabled ones. Unknown names change nothing; a name
// given twice has its bit or'ed in each time.
void FoldDevAttribs(const Json::Value& devAttribs, unsigned int& mask, unsigned int& values)
{
    static const struct {
        const char* name;
        unsigned int bit;
    } kDevAttribBits[] = {
        {"emulate_tpu", ISCSI::ISCSI_DEV_ATTRIB_EMULATE_TPU},
        {"emulate_caw", ISCSI::ISCSI_DEV_ATTRIB_EMULATE_CAW},
        {"emulate_tpws", ISCSI::ISCSI_DEV_ATTRIB_EMULATE_TPWS},
        {"emulate_3pc", ISCSI::ISCSI_DEV_ATTRIB_EMULATE_3PC},
        {"can_snapshot", ISCSI::ISCSI_DEV_ATTRIB_CAN_SNAPSHOT},
    };
    mask = 0;
    values = 0;
    for (const Json::Value& element : devAttribs) {
        const std::string name = element["dev_attrib"].asString();
        const bool enable = element["enable"].asBool();
        for (const auto& attrib : kDevAttribBits) {
            if (name != attrib.name)
                continue;
            mask |= attrib.bit;
            if (enable)
                values |= attrib.bit;
        }
    }
}

// The type of a CINDER LUN in location: CINDER_BLUN on a btrfs volume of an appliance whose
// settings say "support_iscsi_btrfs_lun" is "yes", else CINDER.
_tag_iscsi_lun_type CinderTypeIn(const std::string& location)
{
    if (KOVAFSTypeGetFromDisk(location.c_str()) != KOVA_FS_BTRFS)
        return ISCSI_LUN_TYPE_CINDER;
    char value[8] = {0};
    if (KLIBCFileGetKeyValue("/etc.defaults/kovainfo.conf", "support_iscsi_btrfs_lun", value, sizeof(value),
                             0) > 0 &&
        strcmp(value, "yes") == 0)
        return ISCSI_LUN_TYPE_CINDER_BLUN;
    return ISCSI_LUN_TYPE_CINDER;
}

} // namespace

// ---- Creation and deletion ---------------------------------------------------------------

void Create(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> name = request->GetAndCheckString("name", REQUIRED, IsValidObjectName);
    // The type comes as a number or as a text; one of the two reads always fails, so neither is
    // tested.
    KOVA::APIParameter<int> typeNumber = request->GetAndCheckInt("type", REQUIRED, AcceptAnyInt);
    KOVA::APIParameter<std::string> typeText = request->GetAndCheckString("type", REQUIRED, AcceptAnyString);
    KOVA::APIParameter<std::string> location =
        request->GetAndCheckString("location", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<unsigned long long> size =
        request->GetAndCheckIntegral<unsigned long long>("size", OPTIONAL, IsNonZeroUInt64);
    KOVA::APIParameter<unsigned int> extentSize =
        request->GetAndCheckIntegral<unsigned int>("extent_size", OPTIONAL, AcceptAnyUInt);
    KOVA::APIParameter<std::string> srcLunDir =
        request->GetAndCheckString("src_lun_dir", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> srcLunFile =
        request->GetAndCheckString("src_lun_file", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> vpdUnitSn =
        request->GetAndCheckString("vpd_unit_sn", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<bool> isSoftFeasIgnored =
        request->GetAndCheckBool("is_soft_feas_ignored", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<Json::Value> devAttribs =
        request->GetAndCheckArray("dev_attribs", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{name, ERR_BAD_LUN_NAME},
                                       {location, ERR_BAD_LOCATION},
                                       {size, ERR_BAD_SIZE},
                                       {extentSize, ERR_BAD_EXTENT_SIZE},
                                       {srcLunDir, ERR_BAD_SRC_LUN_DIR},
                                       {srcLunFile, ERR_BAD_SRC_LUN_FILE},
                                       {vpdUnitSn, ERR_BAD_VPD_UNIT_SN},
                                       {isSoftFeasIgnored, ERR_BAD_IS_SOFT_FEAS_IGNORED},
                                       {devAttribs, ERR_BAD_DEV_ATTRIBS}})) {
        _tag_iscsi_lun_type type = ISCSI_LUN_TYPE_NONE;
        if (IsLUNTypeId(typeNumber.Get()))
            type = static_cast<_tag_iscsi_lun_type>(typeNumber.Get());
        else if (typeText.Get() == "CINDER")
            type = CinderTypeIn(location.Get());
        else
            type = LUNTypeFromString(typeText.Get().c_str());

        // A BLOCK LUN keeps its location (a device); every other type lies at a volume's root
        // and needs a size or a source.
        int result = 0;
        std::string lunLocation = location.Get();
        if (type == ISCSI_LUN_TYPE_NONE) {
            result = ERR_BAD_LUN_TYPE;
        } else if (type != ISCSI_LUN_TYPE_BLOCK) {
            if (!srcLunDir.IsSet() && !srcLunFile.IsSet() && !size.IsSet())
                result = ERR_BAD_SIZE;
            lunLocation = VolumePathOfLocation(location.Get());
        }
        if (result == 0) {
            unsigned int devAttribMask = 0;
            unsigned int devAttribValues = 0;
            FoldDevAttribs(devAttribs.Get(), devAttribMask, devAttribValues);
            lun = ISCSILIBLUN(name.Get(), type, lunLocation, size.Get(0), extentSize.Get(8192), devAttribMask,
                              devAttribValues, vpdUnitSn.Get(""), isSoftFeasIgnored.Get(false));
            result = lun.createLUN(srcLunDir.Get(""), srcLunFile.Get(""));
            if (result == 0) {
                reply["uuid"] = lun.uuid;
                reply["lun_id"] = lun.lun_id;
            }
        }
        AnswerFeasibleResult(response, result, reply, lun);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// uuid must name a LUN even when uuids is given; a non-empty uuids is deleted in the
// background instead of uuid.
void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, AcceptAnyString);
    KOVA::APIParameter<Json::Value> uuids = request->GetAndCheckArray("uuids", OPTIONAL, AcceptAnyJson);
    KOVA::APIParameter<bool> isSoftFeasIgnored =
        request->GetAndCheckBool("is_soft_feas_ignored", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> feasibilityPrecheck =
        request->GetAndCheckBool("feasibility_precheck", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID},
                                       {isSoftFeasIgnored, ERR_BAD_IS_SOFT_FEAS_IGNORED},
                                       {feasibilityPrecheck, ERR_BAD_FEASIBILITY_PRECHECK}})) {
        std::string lunUuid;
        std::vector<std::string> lunUuids;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0)
            result = ResolveLunUuids(uuids.Get(kEmptyArray), lunUuids);
        if (result == 0 && !lunUuids.empty()) {
            lun = ISCSILIBLUN("", isSoftFeasIgnored.Get(false), false, feasibilityPrecheck.Get(false));
            result = lun.deleteLunNonBlocking(lunUuids);
        } else if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, isSoftFeasIgnored.Get(false), false, feasibilityPrecheck.Get(false));
            result = lun.deleteLUN();
        }
        AnswerFeasibleResult(response, result, Json::nullValue, lun);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// ---- Reading -------------------------------------------------------------------------------

namespace {

// The "additional" names of list and of get; each knows some that the other does not.
const WordFlag kListLoadFlags[] = {
    {"is_action_locked", ISCSI::ISCSI_LUN_LOAD_IS_ACTION_LOCKED},
    {"is_mapped", ISCSI::ISCSI_LUN_LOAD_IS_MAPPED},
    {"extent_size", ISCSI::ISCSI_LUN_LOAD_EXTENT_SIZE},
    {"allocated_size", ISCSI::ISCSI_LUN_LOAD_ALLOCATED_SIZE},
    {"status", ISCSI::ISCSI_LUN_LOAD_STATUS},
    {"allow_bkpobj", ISCSI::ISCSI_LUN_LOAD_ALLOW_BKPOBJ},
    {"storage_manager", ISCSI::ISCSI_LUN_LOAD_STORAGE_MANAGER},
    {"sync_progress", ISCSI::ISCSI_LUN_LOAD_SYNC_PROGRESS},
    {"flashcache_status", ISCSI::ISCSI_LUN_LOAD_FLASHCACHE_STATUS},
    {"family_config", ISCSI::ISCSI_LUN_LOAD_FAMILY_CONFIG},
    {"sub_vol_info", ISCSI::ISCSI_LUN_LOAD_SUB_VOL_INFO},
    {"snapshot_info", ISCSI::ISCSI_LUN_LOAD_SNAPSHOT_INFO},
};

const WordFlag kGetLoadFlags[] = {
    {"is_action_locked", ISCSI::ISCSI_LUN_LOAD_IS_ACTION_LOCKED},
    {"is_mapped", ISCSI::ISCSI_LUN_LOAD_IS_MAPPED},
    {"extent_size", ISCSI::ISCSI_LUN_LOAD_EXTENT_SIZE},
    {"allocated_size", ISCSI::ISCSI_LUN_LOAD_ALLOCATED_SIZE},
    {"status", ISCSI::ISCSI_LUN_LOAD_STATUS},
    {"is_vhost_mapped", ISCSI::ISCSI_LUN_LOAD_IS_VHOST_MAPPED},
    {"is_bound", ISCSI::ISCSI_LUN_LOAD_IS_BOUND},
    {"import_status", ISCSI::ISCSI_LUN_LOAD_IMPORT_STATUS},
    {"sync_progress", ISCSI::ISCSI_LUN_LOAD_SYNC_PROGRESS},
    {"whitelist", ISCSI::ISCSI_LUN_LOAD_WHITELIST},
    {"flashcache_status", ISCSI::ISCSI_LUN_LOAD_FLASHCACHE_STATUS},
    {"family_config", ISCSI::ISCSI_LUN_LOAD_FAMILY_CONFIG},
    {"remote_clone_progress", ISCSI::ISCSI_LUN_LOAD_REMOTE_CLONE_PROGRESS},
    {"sub_vol_info", ISCSI::ISCSI_LUN_LOAD_SUB_VOL_INFO},
};

// The set of types of list's "types": ids as numbers, or names and numbers as text.
int TypeSetOf(const Json::Value& types, std::set<_tag_iscsi_lun_type>& typeSet)
{
    for (const Json::Value& element : types) {
        _tag_iscsi_lun_type type = ISCSI_LUN_TYPE_NONE;
        if (element.isInt() && IsLUNTypeId(element.asInt()))
            type = static_cast<_tag_iscsi_lun_type>(element.asInt());
        else if (element.isString())
            type = LUNTypeFromString(element.asCString());
        if (type == ISCSI_LUN_TYPE_NONE)
            return ERR_BAD_TYPES;
        typeSet.insert(type);
    }
    return 0;
}

} // namespace

// Read-only: no debug line. All filters combine: one type, a set of types, a category (type
// bits that must all be set) and a location (whole text).
void List(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<Json::Value> additional =
        request->GetAndCheckArray("additional", OPTIONAL, AcceptAnyJson);
    // The type comes as a number or as a text; the number read counts as given for either.
    KOVA::APIParameter<int> typeNumber = request->GetAndCheckInt("type", OPTIONAL, AcceptAnyInt);
    KOVA::APIParameter<std::string> typeText = request->GetAndCheckString("type", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<Json::Value> types = request->GetAndCheckArray("types", OPTIONAL, AcceptAnyJson);
    KOVA::APIParameter<int> category = request->GetAndCheckInt("category", OPTIONAL, IsPositiveInt);
    KOVA::APIParameter<std::string> location =
        request->GetAndCheckString("location", OPTIONAL, AcceptAnyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;

    if (!RejectFirstInvalid(response, {{additional, ERR_BAD_ADDITIONAL},
                                       {types, ERR_BAD_TYPES},
                                       {category, ERR_BAD_CATEGORY},
                                       {location, ERR_BAD_LOCATION}})) {
        int result = 0;
        _tag_iscsi_lun_type typeFilter = ISCSI_LUN_TYPE_NONE;
        if (typeNumber.IsSet()) {
            if (IsLUNTypeId(typeNumber.Get())) {
                typeFilter = static_cast<_tag_iscsi_lun_type>(typeNumber.Get());
            } else if (typeText.IsSet()) {
                typeFilter = LUNTypeFromString(typeText.Get().c_str());
                if (typeFilter == ISCSI_LUN_TYPE_NONE)
                    result = ERR_BAD_LUN_TYPE;
            }
        }
        std::set<_tag_iscsi_lun_type> typeSet;
        if (result == 0)
            result = TypeSetOf(types.Get(kEmptyArray), typeSet);
        std::vector<ISCSI::ISCSILUNInfo> luns;
        if (result == 0)
            result = ISCSILIBLUN::ListLUN(luns, FlagsOfWords(additional.Get(kEmptyArray), kListLoadFlags));
        if (result == 0) {
            const int categoryBits = category.Get(0);
            reply["luns"] = Json::Value(Json::arrayValue);
            for (const ISCSI::ISCSILUNInfo& record : luns) {
                if (typeFilter != ISCSI_LUN_TYPE_NONE && record.type != typeFilter)
                    continue;
                if (!typeSet.empty() && typeSet.count(record.type) == 0)
                    continue;
                if (categoryBits != 0 && (record.type & categoryBits) != categoryBits)
                    continue;
                if (!location.Get("").empty() && record.location != location.Get(""))
                    continue;
                Json::Value one;
                result = record.toJsonFormat(one);
                if (result != 0)
                    break;
                reply["luns"].append(one);
            }
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line. Progress, sub-volume facts and the whitelist are also answered
// beside the LUN when asked for.
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> additional =
        request->GetAndCheckArray("additional", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUN lun;

    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}, {additional, ERR_BAD_ADDITIONAL}})) {
        std::string lunUuid;
        const int flags = FlagsOfWords(additional.Get(kEmptyArray), kGetLoadFlags);
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.loadLUNInfo(flags);
        }
        Json::Value lunJson;
        if (result == 0)
            result = lun.toJsonFormat(lunJson);
        if (result == 0) {
            reply["lun"] = lunJson;
            if (flags & ISCSI::ISCSI_LUN_LOAD_IMPORT_STATUS) {
                reply["import_total"] = static_cast<Json::UInt64>(lun.import_total);
                reply["import_done"] = static_cast<Json::UInt64>(lun.import_done);
                reply["import_errno"] = lun.import_errno;
            }
            if (flags & ISCSI::ISCSI_LUN_LOAD_SYNC_PROGRESS) {
                reply["sync_total"] = static_cast<Json::UInt64>(lun.sync_total);
                reply["sync_done"] = static_cast<Json::UInt64>(lun.sync_done);
                reply["sync_errno"] = lun.sync_errno;
            }
            if (flags & ISCSI::ISCSI_LUN_LOAD_REMOTE_CLONE_PROGRESS) {
                reply["rmt_clone_total"] = static_cast<Json::UInt64>(lun.rmt_clone_total);
                reply["rmt_clone_done"] = static_cast<Json::UInt64>(lun.rmt_clone_done);
                reply["rmt_clone_sent"] = static_cast<Json::UInt64>(lun.rmt_clone_sent);
                reply["rmt_clone_errno"] = lun.rmt_clone_errno;
                reply["rmt_clone_status"] = lun.rmt_clone_status;
            }
            if (flags & ISCSI::ISCSI_LUN_LOAD_SUB_VOL_INFO) {
                reply["tree_size"] = static_cast<Json::UInt64>(lun.tree_size);
                reply["tree_level"] = lun.tree_level;
            }
            if (flags & ISCSI::ISCSI_LUN_LOAD_WHITELIST) {
                reply["whitelist"] = Json::Value(Json::arrayValue);
                for (const std::string& entry : lun.whitelist)
                    reply["whitelist"].append(entry);
            }
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line, and no parameter is tested; a filter or uuids of the wrong JSON
// type pass as null.
void Top(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<bool> object = request->GetAndCheckBool("object", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<Json::Value> filter = request->GetAndCheckObject("filter", OPTIONAL, AcceptAnyJson);
    KOVA::APIParameter<Json::Value> uuids = request->GetAndCheckArray("uuids", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;

    const int result =
        ISCSI::ISCSILUNInfo::ListIOStat(reply["iostats"], object.Get(false), filter.Get(), uuids.Get());
    AnswerResult(response, result, reply);
    WEBAPI_LOG_ERROR(response, params);
}

// ---- Changes -------------------------------------------------------------------------------

// A LUN on a disk of this node takes every change in one call; one on a remote disk takes only
// a new size and device attributes, each in a call of its own (a new size stays in force when
// the attributes then fail). When the platform cannot tell where the LUN lies, the fault is
// logged and the request gets neither an error nor a success.
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> newName =
        request->GetAndCheckString("new_name", OPTIONAL, IsValidObjectName);
    KOVA::APIParameter<unsigned long long> newSize =
        request->GetAndCheckIntegral<unsigned long long>("new_size", OPTIONAL, AcceptAnyUInt64);
    KOVA::APIParameter<std::string> newType =
        request->GetAndCheckString("new_type", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> newLocation =
        request->GetAndCheckString("new_location", OPTIONAL, IsValidVolumeLocation);
    KOVA::APIParameter<bool> isSoftFeasIgnored =
        request->GetAndCheckBool("is_soft_feas_ignored", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<std::string> vpdUnitSn =
        request->GetAndCheckString("vpd_unit_sn", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> devAttribs =
        request->GetAndCheckArray("dev_attribs", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID},
                                       {newName, ERR_BAD_NEW_NAME},
                                       {newSize, ERR_BAD_NEW_SIZE},
                                       {newType, ERR_BAD_NEW_TYPE},
                                       {newLocation, ERR_BAD_NEW_LOCATION},
                                       {isSoftFeasIgnored, ERR_BAD_IS_SOFT_FEAS_IGNORED},
                                       {vpdUnitSn, ERR_BAD_VPD_UNIT_SN},
                                       {devAttribs, ERR_BAD_DEV_ATTRIBS}})) {
        std::string lunUuid;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        bool isRemote = false;
        if (result == 0) {
            const int where = KOVAiSCSILunIsRemoteDisk(lunUuid.c_str(), &isRemote);
            if (where != 0) {
                // Ends here, with neither an error nor a success on the response.
                WEBAPI_LOG_FAULT("KOVAiSCSILunIsRemoteDisk(\"%s\", %p) failed, err=%s", lunUuid.c_str(),
                                 static_cast<void*>(&isRemote), KOVAiSCSIStrError(where));
                return;
            }
        }
        unsigned int devAttribMask = 0;
        unsigned int devAttribValues = 0;
        _tag_iscsi_lun_type type = ISCSI_LUN_TYPE_NONE;
        if (result == 0) {
            FoldDevAttribs(devAttribs.Get(), devAttribMask, devAttribValues);
            if (isRemote) {
                // What counts is that a key was sent, not its value.
                if (newName.IsSet() || newType.IsSet() || newLocation.IsSet() || vpdUnitSn.IsSet() ||
                    isSoftFeasIgnored.IsSet())
                    result = ERR_REMOTE_DISK_CHANGE;
            } else {
                // An empty or absent new_type keeps the type.
                type = LUNTypeFromString(newType.Get("").c_str());
                if (type == ISCSI_LUN_TYPE_NONE && newType.IsSet() && !newType.Get("").empty())
                    result = ERR_BAD_LUN_TYPE;
            }
        }
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, isSoftFeasIgnored.Get(false), false, false);
            if (!isRemote) {
                result = lun.localUpdateLUN(newName.Get(""), newSize.Get(0), type,
                                            VolumePathOfLocation(newLocation.Get("")), devAttribMask,
                                            devAttribValues, vpdUnitSn.Get(""));
            } else {
                if (newSize.IsSet())
                    result = lun.remoteUpdateLUN(lunUuid, newSize.Get(0));
                if (result == 0 && devAttribs.IsSet())
                    result = lun.remoteUpdateLUN(lunUuid, devAttribMask, devAttribValues);
            }
        }
        // Only the change of a local LUN runs a feasibility test.
        if (!isRemote)
            AnswerFeasibleResult(response, result, Json::nullValue, lun);
        else
            AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// ---- Clones --------------------------------------------------------------------------------

// A clone on this node, or, with dst_node_uuid, on that node. Both ways take the union of the
// parameters and use their own; is_same_pool is checked and used by neither. The target ids
// are resolved on the remote way too, so that a bad target fails it as well.
void Clone(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> dstLunName =
        request->GetAndCheckString("dst_lun_name", REQUIRED, IsValidObjectName);
    KOVA::APIParameter<std::string> cloneType =
        request->GetAndCheckString("clone_type", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> dstLocation =
        request->GetAndCheckString("dst_location", OPTIONAL, IsValidVolumeLocation);
    KOVA::APIParameter<std::string> vpdUnitSn =
        request->GetAndCheckString("vpd_unit_sn", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<std::string> dstNodeUuid =
        request->GetAndCheckString("dst_node_uuid", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<std::string> dstAddress =
        request->GetAndCheckString("dst_address", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<unsigned int> dstPort =
        request->GetAndCheckIntegral<unsigned int>("dst_port", OPTIONAL, IsNonZeroUInt);
    KOVA::APIParameter<bool> isDataEncrypted =
        request->GetAndCheckBool("is_data_encrypted", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> isDataClone = request->GetAndCheckBool("is_data_clone", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> isSoftFeasIgnored =
        request->GetAndCheckBool("is_soft_feas_ignored", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> isDeleteParentLun =
        request->GetAndCheckBool("is_delete_parent_lun", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<Json::Value> mapNewLunToTargetIds =
        request->GetAndCheckArray("map_new_lun_to_target_ids", OPTIONAL, AcceptAnyJson);
    KOVA::APIParameter<bool> isSamePool = request->GetAndCheckBool("is_same_pool", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_LUN_UUID},
                                       {dstLunName, ERR_BAD_LUN_NAME},
                                       {cloneType, ERR_BAD_LUN_TYPE},
                                       {dstLocation, ERR_BAD_DST_LOCATION},
                                       {vpdUnitSn, ERR_BAD_VPD_UNIT_SN},
                                       {dstNodeUuid, ERR_BAD_DST_NODE_UUID},
                                       {dstAddress, ERR_BAD_DST_ADDRESS},
                                       {dstPort, ERR_BAD_DST_PORT},
                                       {isDataEncrypted, ERR_BAD_IS_DATA_ENCRYPTED},
                                       {isDataClone, ERR_BAD_IS_DATA_CLONE},
                                       {isSoftFeasIgnored, ERR_BAD_IS_SOFT_FEAS_IGNORED},
                                       {isDeleteParentLun, ERR_BAD_IS_DELETE_PARENT_LUN},
                                       {mapNewLunToTargetIds, ERR_BAD_TARGET_IDS},
                                       {isSamePool, ERR_BAD_IS_SAME_POOL}})) {
        const bool isRemote = dstNodeUuid.IsSet();
        std::string lunUuid;
        std::string nodeUuid;
        std::set<int> tids;
        int result = 0;
        if (isRemote && !(dstLocation.IsSet() && dstAddress.IsSet() && dstPort.IsSet()))
            result = ERR_REMOTE_CLONE_INCOMPLETE;
        if (result == 0)
            result = ISCSI::ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0 && isRemote)
            result = ISCSI::ISCSINodeInfo::GetNodeUuid(dstNodeUuid.Get(), nodeUuid);
        if (result == 0 && mapNewLunToTargetIds.IsSet())
            result = ResolveTargetIds(mapNewLunToTargetIds.Get(), tids);

        // A local "CINDER" clone takes its type from the file system of its destination, which
        // is where the source lies when no destination is given.
        _tag_iscsi_lun_type type = ISCSI_LUN_TYPE_NONE;
        if (result == 0 && cloneType.Get("") == "CINDER" && !isRemote) {
            // A local "CINDER" clone takes its type from the file system of its destination,
            // which is where the source lies when no destination is given.
            std::string location = dstLocation.Get("");
            if (!dstLocation.IsSet()) {
                _tag_iscsi_lun_ stored;
                memset(&stored, 0, sizeof(stored));
                if (ISCSI::ISCSILUNInfo(lunUuid).loadFromConfig(stored, 0) != 0) {
                    // Ends here, with neither an error nor a success on the response.
                    WEBAPI_LOG_FAULT("Failed to load lun info from config. UUID: %s", lunUuid.c_str());
                    return;
                }
                location = stored.location;
            }
            type = CinderTypeIn(location);
        } else if (result == 0) {
            // Any other type is taken from its text; one that names no type goes on as 0, for
            // the library to judge.
            type = LUNTypeFromString(cloneType.Get("UNKNOWN").c_str());
        }

        std::string newLunUuid;
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, isSoftFeasIgnored.Get(false), false, false);
            if (!isRemote) {
                result =
                    lun.localClone(dstLunName.Get(), newLunUuid, type, dstLocation.Get(""), vpdUnitSn.Get(""),
                                   isDataClone.Get(false), isDeleteParentLun.Get(false), tids);
            } else {
                const ISCSI::ISCSINodeInfo node(nodeUuid);
                result = lun.remoteClone(dstLunName.Get(), type, dstLocation.Get(""), node,
                                         dstAddress.Get(""), dstPort.Get(0), newLunUuid, vpdUnitSn.Get(""),
                                         isDataEncrypted.Get(false), true);
            }
            if (result == 0)
                reply["dst_lun_uuid"] = newLunUuid;
        }
        AnswerFeasibleResult(response, result, reply, lun);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// The library is given the LUN's uuid once more, though the object already names it.
void RetryStop(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}})) {
        std::string lunUuid;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.retryStop(lunUuid);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void StopClone(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}})) {
        std::string lunUuid;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.stopClone();
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// The question goes to the library as it stands: a destination below a volume's root goes on as
// an empty location, and the library's answer to it is the reply. No LUN object is made.
void TestCloneability(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> dstLocation =
        request->GetAndCheckString("dst_location", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> srcLunFile =
        request->GetAndCheckString("src_lun_file", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response,
                            {{dstLocation, ERR_BAD_DST_LOCATION}, {srcLunFile, ERR_BAD_SRC_LUN_FILE}})) {
        AnswerResult(response,
                     ISCSILIBLUN::TestCloneability(srcLunFile.Get(), VolumePathOfLocation(dstLocation.Get())),
                     Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// ---- Mapping to targets and loading ------------------------------------------------------

// All targets are resolved before anything is mapped; the library sees each target once, in
// ascending order.
void MapTarget(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> targetIds =
        request->GetAndCheckArray("target_ids", REQUIRED, IsNonEmptyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}, {targetIds, ERR_BAD_TARGET_IDS}})) {
        std::string lunUuid;
        std::set<int> tids;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0)
            result = ResolveTargetIds(targetIds.Get(), tids);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.mapTarget(tids);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void UnmapTarget(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> targetIds =
        request->GetAndCheckArray("target_ids", REQUIRED, IsNonEmptyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}, {targetIds, ERR_BAD_TARGET_IDS}})) {
        std::string lunUuid;
        std::set<int> tids;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0)
            result = ResolveTargetIds(targetIds.Get(), tids);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.unmapTarget(tids);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// The two flags name the purpose of the load; the library decides what follows from them.
void LoadLUN(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<bool> isForTrash = request->GetAndCheckBool("is_for_trash", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> isForUnsyncSize =
        request->GetAndCheckBool("is_for_unsync_size", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID},
                                       {isForTrash, ERR_BAD_IS_FOR_TRASH},
                                       {isForUnsyncSize, ERR_BAD_IS_FOR_UNSYNC_SIZE}})) {
        std::string lunUuid;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.loadLUN(isForTrash.Get(false), isForUnsyncSize.Get(false));
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void UnloadLUN(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<bool> isForTrash = request->GetAndCheckBool("is_for_trash", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> isForUnsyncSize =
        request->GetAndCheckBool("is_for_unsync_size", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID},
                                       {isForTrash, ERR_BAD_IS_FOR_TRASH},
                                       {isForUnsyncSize, ERR_BAD_IS_FOR_UNSYNC_SIZE}})) {
        std::string lunUuid;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.unloadLUN(isForTrash.Get(false), isForUnsyncSize.Get(false));
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// ---- Shared by the snapshot handlers -------------------------------------------------------

namespace {

// list_snapshot knows the two lock facts only.
const WordFlag kListSnapshotLoadFlags[] = {
    {"is_action_locked", ISCSI_SNAPSHOT_LOAD_IS_ACTION_LOCKED},
    {"locked_app_keys", ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS},
};

// get_snapshot also knows the export and sync progress figures.
const WordFlag kGetSnapshotLoadFlags[] = {
    {"is_action_locked", ISCSI_SNAPSHOT_LOAD_IS_ACTION_LOCKED},
    {"locked_app_keys", ISCSI_SNAPSHOT_LOAD_LOCKED_APP_KEYS},
    {"export_status", ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS},
    {"sync_progress", ISCSI_SNAPSHOT_LOAD_SYNC_PROGRESS},
};

// The portals of a vhost request as an ordered set: duplicates fall away, the library sees
// them sorted.
std::set<std::string> PortalSet(const Json::Value& portals)
{
    std::set<std::string> set;
    for (const Json::Value& portal : portals)
        set.insert(portal.asString());
    return set;
}

// The entries of a whitelist, in request order, each an IPv4 or IPv6 address; 0, or
// ERR_BAD_WHITELIST_ADDRESS at the first entry that is empty or no such address.
int CollectWhitelist(const Json::Value& entries, std::vector<std::string>& addresses)
{
    for (const Json::Value& entry : entries) {
        const std::string address = entry.asString();
        if (address.empty())
            return ERR_BAD_WHITELIST_ADDRESS;
        // The address type is asked once for each family compared.
        if (KOVANetGetAddrType(address.c_str()) == AF_INET || KOVANetGetAddrType(address.c_str()) == AF_INET6)
            addresses.push_back(address);
        else
            return ERR_BAD_WHITELIST_ADDRESS;
    }
    return 0;
}

} // namespace

// Snapshot creation and listing.

void TakeSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<bool> isLocked = request->GetAndCheckBool("is_locked", REQUIRED, AcceptAnyBool);
    KOVA::APIParameter<bool> isAppConsistent =
        request->GetAndCheckBool("is_app_consistent", REQUIRED, AcceptAnyBool);
    KOVA::APIParameter<std::string> snapshotName =
        request->GetAndCheckString("snapshot_name", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<std::string> description =
        request->GetAndCheckString("description", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> takenBy =
        request->GetAndCheckString("taken_by", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<unsigned int> snapshotTime =
        request->GetAndCheckIntegral<unsigned int>("snapshot_time", OPTIONAL, AcceptAnyUInt);
    KOVA::APIParameter<bool> isScheduled = request->GetAndCheckBool("is_scheduled", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<std::string> srcSnapDir =
        request->GetAndCheckString("src_snap_dir", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<std::string> snapVersion =
        request->GetAndCheckString("snap_version", OPTIONAL, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_SRC_LUN_UUID},
                                       {isLocked, ERR_BAD_IS_LOCKED},
                                       {isAppConsistent, ERR_BAD_IS_APP_CONSISTENT},
                                       {snapshotName, ERR_BAD_SNAPSHOT_NAME},
                                       {description, ERR_BAD_DESCRIPTION},
                                       {takenBy, ERR_BAD_TAKEN_BY},
                                       {snapshotTime, ERR_BAD_SNAPSHOT_TIME},
                                       {isScheduled, ERR_BAD_IS_SCHEDULED},
                                       {srcSnapDir, ERR_BAD_SRC_SNAP_DIR},
                                       {snapVersion, ERR_BAD_SNAP_VERSION}})) {
        std::string lunUuid;
        std::string snapUuid;
        int snapshotId = 0;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            // The library takes the application consistency first, the user's lock second.
            result = lun.takeSnapshot(isAppConsistent.Get(), isLocked.Get(), snapshotName.Get(std::string()),
                                      description.Get(std::string()), takenBy.Get(std::string()),
                                      static_cast<long>(snapshotTime.Get(0)), isScheduled.Get(false),
                                      srcSnapDir.Get(std::string()), snapVersion.Get(std::string()), snapUuid,
                                      snapshotId);
        }
        if (result == 0) {
            reply["snapshot_uuid"] = snapUuid;
            reply["snapshot_id"] = snapshotId;
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void StopSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response,
                            {{srcLunUuid, ERR_BAD_SRC_LUN_UUID}, {snapshotUuid, ERR_BAD_SNAPSHOT_UUID}})) {
        std::string lunUuid;
        std::string snapUuid;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0)
            result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.stopSnapshot(snapUuid);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line. The LUN identifier goes to GetLunUuid also when the request
// lacks it; the library's answer to the empty text stands.
void ListSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<bool> isCountOnly = request->GetAndCheckBool("is_count_only", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<Json::Value> additional =
        request->GetAndCheckArray("additional", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUN lun;

    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_SRC_LUN_UUID},
                                       {isCountOnly, ERR_BAD_IS_COUNT_ONLY},
                                       {additional, ERR_BAD_ADDITIONAL}})) {
        std::string lunUuid;
        std::vector<ISCSISnapshotInfo> snapshots;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            const int flags =
                FlagsOfWords(additional.Get(Json::Value(Json::arrayValue)), kListSnapshotLoadFlags);
            result = lun.listSnapshot(snapshots, flags);
        }
        if (result == 0 && !isCountOnly.Get(false)) {
            reply["snapshots"] = Json::Value(Json::arrayValue);
            for (const ISCSISnapshotInfo& snapshot : snapshots) {
                Json::Value item;
                result = snapshot.toJsonFormat(item);
                if (result != 0)
                    break;
                reply["snapshots"].append(item);
            }
        }
        if (result == 0)
            reply["count"] = static_cast<Json::UInt>(snapshots.size());
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line. The progress figures of the flags asked for stand beside the
// snapshot's record, export figures first.
void GetSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> additional =
        request->GetAndCheckArray("additional", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSISnapshotInfo snapshot;

    if (!RejectFirstInvalid(response,
                            {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID}, {additional, ERR_BAD_ADDITIONAL}})) {
        std::string snapUuid;
        Json::Value record;
        int result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        const int flags = FlagsOfWords(additional.Get(Json::Value(Json::arrayValue)), kGetSnapshotLoadFlags);
        if (result == 0) {
            snapshot = ISCSISnapshotInfo(snapUuid);
            result = snapshot.loadFromConfig(flags);
        }
        if (result == 0)
            result = snapshot.toJsonFormat(record);
        if (result == 0) {
            reply["snapshot"] = record;
            if (flags & ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS) {
                reply["export_total"] = static_cast<Json::UInt64>(snapshot.export_total);
                reply["export_done"] = static_cast<Json::UInt64>(snapshot.export_done);
                reply["export_errno"] = snapshot.export_errno;
            }
            if (flags & ISCSI_SNAPSHOT_LOAD_SYNC_PROGRESS) {
                reply["sync_total"] = static_cast<Json::UInt64>(snapshot.sync_total);
                reply["sync_done"] = static_cast<Json::UInt64>(snapshot.sync_done);
            }
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Snapshot operations.

// With snapshot_uuids the snapshots of the array are deleted one after the other and the
// first failure ends the walk: those deleted stay deleted, the later ones are not tried.
// Without it the single snapshot_uuid is deleted, an absent one going as the empty text.
void DeleteSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<Json::Value> snapshotUuids =
        request->GetAndCheckArray("snapshot_uuids", OPTIONAL, AcceptAnyJson);
    KOVA::APIParameter<std::string> deletedBy =
        request->GetAndCheckString("deleted_by", OPTIONAL, AcceptAnyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID},
                                       {snapshotUuids, ERR_BAD_SNAPSHOT_UUID},
                                       {deletedBy, ERR_BAD_DELETED_BY}})) {
        int result = 0;
        if (snapshotUuids.IsSet()) {
            const Json::Value ids = snapshotUuids.Get(Json::Value(Json::arrayValue));
            for (const Json::Value& id : ids) {
                std::string snapUuid;
                result = ISCSISnapshotInfo::GetSnapshotUuid(id.asString(), snapUuid);
                if (result == 0)
                    result = lun.deleteSnapshot(snapUuid, deletedBy.Get(std::string()));
                if (result != 0)
                    break;
            }
        } else {
            std::string snapUuid;
            result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(std::string()), snapUuid);
            if (result == 0)
                result = lun.deleteSnapshot(snapUuid, deletedBy.Get(std::string()));
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// No debug line, although it changes the snapshot: only a failure is logged. An empty name,
// an empty description and the lock value -1 (is_user_locked absent) leave that property.
void SetSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> snapshotName =
        request->GetAndCheckString("snapshot_name", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<bool> isUserLocked =
        request->GetAndCheckBool("is_user_locked", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<std::string> description =
        request->GetAndCheckString("description", OPTIONAL, AcceptAnyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    if (!RejectFirstInvalid(response, {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID},
                                       {snapshotName, ERR_BAD_SNAPSHOT_NAME},
                                       {isUserLocked, ERR_BAD_IS_USER_LOCKED},
                                       {description, ERR_BAD_DESCRIPTION}})) {
        std::string snapUuid;
        int result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0) {
            const int lock = isUserLocked.IsSet() ? (isUserLocked.Get() ? 1 : 0) : -1;
            result = lun.setSnapshot(snapUuid, snapshotName.Get(std::string()), lock,
                                     description.Get(std::string()));
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void RestoreSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response,
                            {{srcLunUuid, ERR_BAD_SRC_LUN_UUID}, {snapshotUuid, ERR_BAD_SNAPSHOT_UUID}})) {
        std::string lunUuid;
        std::string snapUuid;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0)
            result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.restoreSnapshot(snapUuid);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// The new LUN's type: for clone_type "CINDER" (exactly so) the kind of the snapshot decides,
// otherwise the text is read as a type name or number ("UNKNOWN" when absent) and whatever it
// gives, 0 included, goes to the library. When the snapshot's stored settings cannot be read
// the request ends with the fault line only: the response is left without error or success.
void CloneSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> clonedLunName =
        request->GetAndCheckString("cloned_lun_name", REQUIRED, IsValidObjectName);
    KOVA::APIParameter<std::string> cloneType =
        request->GetAndCheckString("clone_type", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> vpdUnitSn =
        request->GetAndCheckString("vpd_unit_sn", OPTIONAL, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_SRC_LUN_UUID},
                                       {snapshotUuid, ERR_BAD_SNAPSHOT_UUID},
                                       {clonedLunName, ERR_BAD_CLONED_LUN_NAME},
                                       {cloneType, ERR_BAD_CLONE_TYPE},
                                       {vpdUnitSn, ERR_BAD_VPD_UNIT_SN}})) {
        std::string lunUuid;
        std::string snapUuid;
        std::string clonedLunUuid;
        _tag_iscsi_lun_type type = ISCSI_LUN_TYPE_NONE;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0)
            result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0 && cloneType.Get(std::string()) == "CINDER") {
            ISCSISnapshotInfo snapshot(snapUuid);
            if (snapshot.loadFromConfig(ISCSI_SNAPSHOT_LOAD_NONE) != 0) {
                WEBAPI_LOG_FAULT("Failed to load snapshot info from config. UUID: %s", snapUuid.c_str());
                return; // neither error nor success
            }
            if (snapshot.type == ISCSI_SNAPSHOT_TYPE_ADV)
                type = ISCSI_LUN_TYPE_CINDER;
            else if (snapshot.type == ISCSI_SNAPSHOT_TYPE_BLUN)
                type = ISCSI_LUN_TYPE_CINDER_BLUN;
            else
                result = ERR_UNKNOWN_SNAPSHOT_TYPE;
        } else if (result == 0) {
            type = LUNTypeFromString(cloneType.Get(std::string("UNKNOWN")).c_str());
        }
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.cloneSnapshot(snapUuid, clonedLunName.Get(), clonedLunUuid, type,
                                       vpdUnitSn.Get(std::string()));
        }
        if (result == 0)
            reply["cloned_lun_uuid"] = clonedLunUuid;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Twin of UnlockSnapshot: they differ only in the last call on the snapshot's record.
void LockSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> appKey =
        request->GetAndCheckString("app_key", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSISnapshotInfo snapshot;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID}, {appKey, ERR_BAD_APP_KEY}})) {
        std::string snapUuid;
        int result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0) {
            snapshot = ISCSISnapshotInfo(snapUuid);
            result = snapshot.loadFromConfig(ISCSI_SNAPSHOT_LOAD_NONE);
        }
        if (result == 0)
            result = snapshot.lockSnapshotByAppKey(appKey.Get());
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Twin of LockSnapshot: they differ only in the last call on the snapshot's record.
void UnlockSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> appKey =
        request->GetAndCheckString("app_key", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSISnapshotInfo snapshot;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID}, {appKey, ERR_BAD_APP_KEY}})) {
        std::string snapUuid;
        int result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0) {
            snapshot = ISCSISnapshotInfo(snapUuid);
            result = snapshot.loadFromConfig(ISCSI_SNAPSHOT_LOAD_NONE);
        }
        if (result == 0)
            result = snapshot.unlockSnapshotByAppKey(appKey.Get());
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Twin of UnloadSnapshot: they differ only in the last call. The two flags name the purpose
// of the load and pass through untouched.
void LoadSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<bool> isForTrash = request->GetAndCheckBool("is_for_trash", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> isForUnsyncSize =
        request->GetAndCheckBool("is_for_unsync_size", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID},
                                       {isForTrash, ERR_BAD_IS_FOR_TRASH},
                                       {isForUnsyncSize, ERR_BAD_IS_FOR_UNSYNC_SIZE}})) {
        std::string snapUuid;
        int result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0)
            result = lun.loadSnapshot(snapUuid, isForTrash.Get(false), isForUnsyncSize.Get(false));
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Twin of LoadSnapshot: they differ only in the last call.
void UnloadSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<bool> isForTrash = request->GetAndCheckBool("is_for_trash", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> isForUnsyncSize =
        request->GetAndCheckBool("is_for_unsync_size", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID},
                                       {isForTrash, ERR_BAD_IS_FOR_TRASH},
                                       {isForUnsyncSize, ERR_BAD_IS_FOR_UNSYNC_SIZE}})) {
        std::string snapUuid;
        int result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0)
            result = lun.unloadSnapshot(snapUuid, isForTrash.Get(false), isForUnsyncSize.Get(false));
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Export and import. An export goes by the snapshot, on an object tied to no LUN; an import
// goes into a LUN.

void Export(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> exportedDirPath =
        request->GetAndCheckString("exported_dir_path", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID},
                                       {exportedDirPath, ERR_BAD_EXPORTED_DIR_PATH}})) {
        std::string snapUuid;
        int result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0)
            result = lun.exportLun(snapUuid, exportedDirPath.Get());
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// The snapshot's name and taken_by may be empty here, unlike in take_snapshot.
void Import(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> exportedDirPath =
        request->GetAndCheckString("exported_dir_path", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> snapshotName =
        request->GetAndCheckString("snapshot_name", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> description =
        request->GetAndCheckString("description", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> takenBy =
        request->GetAndCheckString("taken_by", OPTIONAL, AcceptAnyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_LUN_UUID},
                                       {exportedDirPath, ERR_BAD_EXPORTED_DIR_PATH},
                                       {snapshotName, ERR_BAD_SNAPSHOT_NAME},
                                       {description, ERR_BAD_DESCRIPTION},
                                       {takenBy, ERR_BAD_TAKEN_BY}})) {
        std::string lunUuid;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.importLun(exportedDirPath.Get(), snapshotName.Get(std::string()),
                                   description.Get(std::string()), takenBy.Get(std::string()));
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void ExportCancel(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{snapshotUuid, ERR_BAD_SNAPSHOT_UUID}})) {
        std::string snapUuid;
        int result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0)
            result = lun.exportCancel(snapUuid);
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void ImportCancel(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_LUN_UUID}})) {
        std::string lunUuid;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.importCancel();
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Vhost and loop mappings. With portals the vhost mapping goes through the portals of
// another node, without them it is local.

// Only src_lun_uuid and portals are checked for validity. rod_key counts only by its
// presence, and only on the remote way; outgoing_interface is taken as it comes, a value of
// the wrong type going as the empty text.
void MapVhost(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> portals = request->GetAndCheckArray("portals", OPTIONAL, IsNonEmptyJson);
    KOVA::APIParameter<std::string> rodKey =
        request->GetAndCheckString("rod_key", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> outgoingInterface =
        request->GetAndCheckString("outgoing_interface", OPTIONAL, AcceptAnyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_LUN_UUID}, {portals, ERR_BAD_PORTALS}})) {
        const bool isRemote = portals.IsSet();
        std::string lunUuid;
        std::string vhostInterface;
        std::set<std::string> portalSet;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0 && isRemote) {
            if (!rodKey.IsSet())
                result = ERR_NO_ROD_KEY;
            else if (portals.Get().empty())
                result = ERR_BAD_PORTALS;
            else
                portalSet = PortalSet(portals.Get());
        }
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            if (!isRemote)
                result = lun.localMapVhost(vhostInterface);
            else
                result = lun.remoteMapVhost(lunUuid, portalSet, rodKey.Get(),
                                            outgoingInterface.Get(std::string()), vhostInterface);
        }
        if (result == 0)
            reply["vhost_interface"] = vhostInterface;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// The portals decide the way, as in map_vhost, and are walked as there; the remote unmapping
// itself takes only the LUN, so the set of portals goes nowhere.
void UnmapVhost(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> portals = request->GetAndCheckArray("portals", OPTIONAL, IsNonEmptyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_LUN_UUID}, {portals, ERR_BAD_PORTALS}})) {
        const bool isRemote = portals.IsSet();
        std::string lunUuid;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0 && isRemote) {
            if (portals.Get().empty())
                result = ERR_BAD_PORTALS;
            else
                PortalSet(portals.Get());
        }
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            if (!isRemote)
                result = lun.localUnmapVhost();
            else
                result = lun.remoteUnmapVhost(lunUuid);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void LoopMount(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}})) {
        std::string lunUuid;
        std::string loopDevPath;
        int result = ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.loopMount(loopDevPath);
        }
        if (result == 0)
            reply["loop_dev_path"] = loopDevPath;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void LoopUnmount(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}})) {
        std::string lunUuid;
        int result = ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.loopUnmount();
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Whitelist and defragmentation.

// The addresses are looked at before the LUN, so a bad address wins over an unknown LUN. A
// request without whitelist clears the list; an empty array is refused.
void SetWhitelist(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> whitelist =
        request->GetAndCheckArray("whitelist", OPTIONAL, IsNonEmptyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}, {whitelist, ERR_BAD_WHITELIST}})) {
        std::string lunUuid;
        std::vector<std::string> addresses;
        int result = CollectWhitelist(whitelist.Get(), addresses);
        if (result == 0)
            result = ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.setWhitelist(addresses);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// background defaults to true and is never checked: a value of the wrong type also starts
// the defragmentation in the background.
void Defrag(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<bool> background = request->GetAndCheckBool("background", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}})) {
        std::string lunUuid;
        int result = ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.startDefrag(background.Get(true));
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Stops without waiting for the defragmentation to end.
void StopDefrag(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUN lun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}})) {
        std::string lunUuid;
        int result = ISCSILUNInfo::GetLunUuid(uuid.Get(), lunUuid);
        if (result == 0) {
            lun = ISCSILIBLUN(lunUuid, false, false, false);
            result = lun.stopDefrag(false);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
