// Targets: listed and read with optional groups of data, made with fixed starting values,
// changed through an update mask, enabled, disabled and deleted; their ACL masks, network
// portals and LUN mappings.
#include "WebAPIServerTarget.h"

#include "etc/WebAPIFrame.h"
#include "etc/WebAPIStatusTexts.h"
#include "etc/WebAPIValidators.h"
#include "webapi-iSCSI/etc/ISCSIWebAPIStringTool.h"

#include <iscsi/ISCSILIBTarget.h>
#include <iscsi/ISCSILUNInfo.h>
#include <iscsi/ISCSINetworkPortal.h>
#include <iscsi/ISCSITargetInfo.h>

#include <cstring>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

using ISCSI::LIB::LIBTarget::ISCSILIBTarget;

enum {
    ERR_BAD_PORTAL = 18990402,
    ERR_BAD_LUN_UUID = 18990505,
    ERR_BAD_ADDITIONAL = 18990517,
    ERR_BAD_SOFT_FEAS_IGNORED = 18990607,
    ERR_BAD_NAME = 18990700,
    ERR_BAD_IQN = 18990701,
    ERR_BAD_AUTH_TYPE = 18990702,
    ERR_BAD_MAX_SESSIONS = 18990703,
    ERR_BAD_USER = 18990704,
    ERR_BAD_PASSWORD = 18990705,
    ERR_BAD_MUTUAL_USER = 18990706,
    ERR_BAD_MUTUAL_PASSWORD = 18990707,
    ERR_CREDENTIALS_MISSING = 18990708,
    ERR_BAD_TARGET_ID = 18990710,
    ERR_BAD_ACLS = 18990711,
    ERR_BAD_HEADER_CHECKSUM = 18990736,
    ERR_BAD_DATA_CHECKSUM = 18990737,
    ERR_BAD_MAX_RECV_SEG_BYTES = 18990738,
    ERR_BAD_MAX_SEND_SEG_BYTES = 18990739,
    ERR_BAD_INITIATOR_IQNS = 18990740,
    ERR_BAD_NETWORK_PORTALS = 18990743,
};

// What a new target starts with; create cannot change these, only set can.
constexpr bool NEW_TARGET_ENABLED = true;
constexpr bool NEW_TARGET_HEADER_CHECKSUM = false;
constexpr bool NEW_TARGET_DATA_CHECKSUM = false;
constexpr unsigned int NEW_TARGET_SEG_BYTES = 262144;
constexpr unsigned int NEW_TARGET_MAX_SESSIONS = 1;

namespace {

using NetworkPortal = _tag_struct_iscsi_network_portal_;
using TargetOperation = int (ISCSILIBTarget::*)();
using LUNSetOperation = int (ISCSILIBTarget::*)(const std::set<std::string>&);
using PortalsOperation = int (ISCSILIBTarget::*)(const std::vector<NetworkPortal>&);

// The words of `additional` and the load flag each asks for; other words are ignored.
const WordFlag AdditionalWords[] = {
    {"mapped_lun", ISCSI_TARGET_LOAD_MAPPED_LUN},
    {"acls", ISCSI_TARGET_LOAD_ACLS},
    {"connected_sessions", ISCSI_TARGET_LOAD_CONNECTED_SESSIONS},
    {"status", ISCSI_TARGET_LOAD_STATUS},
};

// The authentication type of a request's auth_type, indexed by its value; -1 for a value
// outside the table.
const ISCSI_AUTH_TYPE AuthTypes[3] = {ISCSI_AUTH_TYPE_NONE, ISCSI_AUTH_TYPE_CHAP,
                                      ISCSI_AUTH_TYPE_MUTUAL_CHAP};

ISCSI_AUTH_TYPE AuthTypeOf(unsigned int value)
{
    ISCSI_AUTH_TYPE authType = static_cast<ISCSI_AUTH_TYPE>(-1);
    if (value <= 2)
        authType = AuthTypes[value];
    return authType;
}

// CHAP needs user and password, mutual CHAP also the mutual pair; only presence counts, so a
// credential sent empty is there. True, with 18990708 on the response, when one is missing.
bool RejectMissingCredentials(KOVA::APIResponse* response, unsigned int authType,
                              const KOVA::APIParameterState& user, const KOVA::APIParameterState& password,
                              const KOVA::APIParameterState& mutualUser,
                              const KOVA::APIParameterState& mutualPassword)
{
    bool missing = false;
    if (authType == ISCSI_AUTH_TYPE_CHAP)
        missing = !user.IsSet() || !password.IsSet();
    else if (authType == ISCSI_AUTH_TYPE_MUTUAL_CHAP)
        missing = !user.IsSet() || !password.IsSet() || !mutualUser.IsSet() || !mutualPassword.IsSet();
    if (missing)
        response->SetError(ERR_CREDENTIALS_MISSING, Json::nullValue);
    return missing;
}

// The error data of a failed createTarget: what stood in the way for the two feasibility
// failures, else nothing.
Json::Value CreateErrorData(int result, const ISCSILIBTarget& target)
{
    if (result == ISCSI::LIB::LIBTarget::ISCSI_ERR_FEASIBILITY_HARD ||
        result == ISCSI::LIB::LIBTarget::ISCSI_ERR_FEASIBILITY_SOFT)
        return target.feasibility_detail;
    return Json::Value();
}

// A setting of set and its bit of the update mask.
struct UpdateBit {
    const KOVA::APIParameterState& param;
    int bit;
};

// The update mask: the bit of every setting the request carried, whatever its value.
int UpdateMaskOf(std::initializer_list<UpdateBit> settings)
{
    int mask = 0;
    for (const UpdateBit& setting : settings)
        if (setting.param.IsSet())
            mask |= setting.bit;
    return mask;
}

// Resolves the request's target identifier to the numeric target id. False, with the
// resolver's code on the response, when it names no target.
bool ResolveTarget(KOVA::APIResponse* response, const std::string& targetId, int& tid)
{
    const int result = ISCSI::ISCSITargetInfo::GetTid(targetId, tid);
    if (result != 0)
        response->SetError(result, Json::nullValue);
    return result == 0;
}

// The authorities of the permission words of an ACL mask, compared as sent.
struct PermissionWord {
    const char* word;
    ISCSI_TARGET_AUTHORITY authority;
};
const PermissionWord PermissionWords[] = {
    {"rw", ISCSI_TARGET_AUTHORITY_READ_WRITE},
    {"r", ISCSI_TARGET_AUTHORITY_READ},
    {"-", ISCSI_TARGET_AUTHORITY_NONE},
};

// The ACL masks of a request, IQN to authority; a later mask of the same IQN replaces an
// earlier one. False at the first mask whose permission is none of the words.
bool ReadACLMasks(const Json::Value& acls, std::map<std::string, ISCSI_TARGET_AUTHORITY>& masks)
{
    for (const Json::Value& acl : acls) {
        const std::string permission = acl["permission"].asString();
        const PermissionWord* found = nullptr;
        for (const PermissionWord& word : PermissionWords) {
            if (permission == word.word) {
                found = &word;
                break;
            }
        }
        if (!found)
            return false;
        masks[acl["iqn"].asString()] = found->authority;
    }
    return true;
}

// Resolves every LUN identifier of the request, first to last, into the set of their uuids.
// 0, or the resolver's code for the first identifier that names no LUN.
int ResolveLUNUuids(const Json::Value& identifiers, std::set<std::string>& uuids)
{
    for (const Json::Value& identifier : identifiers) {
        std::string uuid;
        const int result = ISCSI::ISCSILUNInfo::GetLunUuid(identifier.asString(), uuid);
        if (result != 0)
            return result;
        uuids.insert(uuid);
    }
    return 0;
}

// Copies a portal's text into its field; a text too long for it is logged under the
// handler's name, after StringCopy's own line.
int CopyPortalText(char* field, std::size_t size, const std::string& text, const char* handler)
{
    const int result = StringCopy(field, size, text);
    if (result != 0)
        syslog(LOG_ERR, "iSCSI:%s:%d:%s Failed to copy string %s to np structure", SourceBaseName(__FILE__),
               __LINE__, handler, text.c_str());
    return result;
}

// The portal records of the request, in request order: the address when one is given, else
// the interface, and the port or 3260 (taken as sent, without a range test). 0, 18990402 for
// a portal with neither address nor interface, or StringCopy's code for a text too long for
// its field.
int ReadNetworkPortals(const Json::Value& list, const char* handler, std::vector<NetworkPortal>& portals)
{
    NetworkPortal portal;
    for (const Json::Value& element : list) {
        std::memset(&portal, 0, sizeof(portal));
        const std::string ip = element["ip"].asString();
        int result = 0;
        if (!ip.empty()) {
            result = CopyPortalText(portal.ip, sizeof(portal.ip), ip, handler);
        } else {
            const std::string interfaceName = element["interface_name"].asString();
            if (interfaceName.empty())
                return ERR_BAD_PORTAL;
            result =
                CopyPortalText(portal.interface_name, sizeof(portal.interface_name), interfaceName, handler);
        }
        if (result != 0)
            return result;
        portal.port = ISCSI::ISCSI_NETWORK_PORTAL_DEFAULT_PORT;
        if (element.isMember("port"))
            portal.port = element["port"].asUInt();
        portals.push_back(portal);
    }
    return 0;
}

// The body shared by delete, enable and disable: the operation on the resolved target.
void CallOnTarget(KOVA::APIResponse* response, ISCSILIBTarget& target, const std::string& targetId,
                  TargetOperation operation)
{
    int tid = 0;
    if (!ResolveTarget(response, targetId, tid))
        return;
    target = ISCSILIBTarget(static_cast<unsigned int>(tid));
    AnswerResult(response, (target.*operation)(), Json::nullValue);
}

// The body shared by map_lun and unmap_lun: every LUN is resolved before the library is
// called once with the set of their uuids.
void CallWithLUNs(KOVA::APIResponse* response, ISCSILIBTarget& target, const std::string& targetId,
                  const Json::Value& lunIdentifiers, LUNSetOperation operation)
{
    int tid = 0;
    if (!ResolveTarget(response, targetId, tid))
        return;
    std::set<std::string> lunUuids;
    const int result = ResolveLUNUuids(lunIdentifiers, lunUuids);
    if (result != 0) {
        response->SetError(result, Json::nullValue);
        return;
    }
    target = ISCSILIBTarget(static_cast<unsigned int>(tid));
    AnswerResult(response, (target.*operation)(lunUuids), Json::nullValue);
}

// The body shared by network_portals_add and network_portals_remove: the whole list is read
// before the library is called once with it, so one bad portal changes nothing.
void CallWithPortals(KOVA::APIResponse* response, ISCSILIBTarget& target, const std::string& targetId,
                     const Json::Value& portalList, const char* handler, PortalsOperation operation)
{
    int tid = 0;
    if (!ResolveTarget(response, targetId, tid))
        return;
    std::vector<NetworkPortal> portals;
    const int result = ReadNetworkPortals(portalList, handler, portals);
    if (result != 0) {
        response->SetError(result, Json::nullValue);
        return;
    }
    target = ISCSILIBTarget(static_cast<unsigned int>(tid));
    AnswerResult(response, (target.*operation)(portals), Json::nullValue);
}

} // namespace

void Create(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> name = request->GetAndCheckString("name", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> iqn = request->GetAndCheckString("iqn", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<unsigned int> authType =
        request->GetAndCheckIntegral<unsigned int>("auth_type", REQUIRED, IsValidAuthType);
    KOVA::APIParameter<unsigned int> maxSessions =
        request->GetAndCheckIntegral<unsigned int>("max_sessions", OPTIONAL, AcceptAnyUInt);
    KOVA::APIParameter<std::string> user = request->GetAndCheckString("user", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> password =
        request->GetAndCheckString("password", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> mutualUser =
        request->GetAndCheckString("mutual_user", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> mutualPassword =
        request->GetAndCheckString("mutual_password", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<bool> isSoftFeasIgnored =
        request->GetAndCheckBool("is_soft_feas_ignored", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{name, ERR_BAD_NAME},
                                       {iqn, ERR_BAD_IQN},
                                       {authType, ERR_BAD_AUTH_TYPE},
                                       {maxSessions, ERR_BAD_MAX_SESSIONS},
                                       {user, ERR_BAD_USER},
                                       {password, ERR_BAD_PASSWORD},
                                       {mutualUser, ERR_BAD_MUTUAL_USER},
                                       {mutualPassword, ERR_BAD_MUTUAL_PASSWORD},
                                       {isSoftFeasIgnored, ERR_BAD_SOFT_FEAS_IGNORED}}) &&
        !RejectMissingCredentials(response, authType.Get(), user, password, mutualUser, mutualPassword)) {
        target = ISCSILIBTarget(name.Get(), iqn.Get(), NEW_TARGET_ENABLED, NEW_TARGET_HEADER_CHECKSUM,
                                NEW_TARGET_DATA_CHECKSUM, NEW_TARGET_SEG_BYTES, NEW_TARGET_SEG_BYTES,
                                maxSessions.Get(NEW_TARGET_MAX_SESSIONS), AuthTypeOf(authType.Get()),
                                user.Get(""), password.Get(""), mutualUser.Get(""), mutualPassword.Get(""),
                                isSoftFeasIgnored.Get(false));
        const int result = target.createTarget();
        if (result == 0) {
            reply["target_id"] = target.tid;
            response->SetSuccess(reply);
        } else {
            response->SetError(result, CreateErrorData(result, target));
        }
    }
    WEBAPI_LOG_ERROR(response, params);
}

void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID}}))
        CallOnTarget(response, target, targetId.Get(), &ISCSILIBTarget::deleteTarget);
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line. Builds no target object: one library call lists them all.
void List(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> lunUuid =
        request->GetAndCheckString("lun_uuid", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> additional =
        request->GetAndCheckArray("additional", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;

    if (!RejectFirstInvalid(response, {{lunUuid, ERR_BAD_LUN_UUID}, {additional, ERR_BAD_ADDITIONAL}})) {
        // Without lun_uuid the resolver is asked about the empty text, which selects all targets.
        std::string uuid;
        int result = ISCSI::ISCSILUNInfo::GetLunUuid(lunUuid.Get(""), uuid);
        std::vector<ISCSI::ISCSITargetInfo> records;
        if (result == 0)
            result = ISCSILIBTarget::ListTarget(
                records, uuid, FlagsOfWords(additional.Get(Json::arrayValue), AdditionalWords));
        if (result == 0) {
            reply["targets"] = Json::Value(Json::arrayValue);
            for (const ISCSI::ISCSITargetInfo& record : records) {
                Json::Value value;
                result = record.toJsonFormat(value);
                if (result != 0)
                    break;
                reply["targets"].append(value);
            }
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line.
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> additional =
        request->GetAndCheckArray("additional", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBTarget target;
    int tid = 0;

    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID}, {additional, ERR_BAD_ADDITIONAL}}) &&
        ResolveTarget(response, targetId.Get(), tid)) {
        const int flags = FlagsOfWords(additional.Get(Json::arrayValue), AdditionalWords);
        target = ISCSILIBTarget(static_cast<unsigned int>(tid));
        int result = target.loadTargetInfo(flags);
        Json::Value value;
        if (result == 0)
            result = target.toJsonFormat(value);
        if (result == 0)
            reply["target"] = value;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Applies only the settings the request carried (the update mask); unlike create, it asks for
// no credentials whatever the authentication type becomes.
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> name = request->GetAndCheckString("name", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<std::string> iqn = request->GetAndCheckString("iqn", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<unsigned int> authType =
        request->GetAndCheckIntegral<unsigned int>("auth_type", OPTIONAL, IsValidAuthType);
    KOVA::APIParameter<unsigned int> maxSessions =
        request->GetAndCheckIntegral<unsigned int>("max_sessions", OPTIONAL, AcceptAnyUInt);
    KOVA::APIParameter<bool> hasHeaderChecksum =
        request->GetAndCheckBool("has_header_checksum", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> hasDataChecksum =
        request->GetAndCheckBool("has_data_checksum", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<unsigned int> maxRecvSegBytes =
        request->GetAndCheckIntegral<unsigned int>("max_recv_seg_bytes", OPTIONAL, IsValidSegmentBytes);
    KOVA::APIParameter<unsigned int> maxSendSegBytes =
        request->GetAndCheckIntegral<unsigned int>("max_send_seg_bytes", OPTIONAL, IsValidSegmentBytes);
    KOVA::APIParameter<std::string> user = request->GetAndCheckString("user", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> password =
        request->GetAndCheckString("password", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> mutualUser =
        request->GetAndCheckString("mutual_user", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> mutualPassword =
        request->GetAndCheckString("mutual_password", OPTIONAL, AcceptAnyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;
    int tid = 0;

    WEBAPI_LOG_DEBUG(params);
    // The credentials are checked before the digest flags and segment sizes.
    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID},
                                       {name, ERR_BAD_NAME},
                                       {iqn, ERR_BAD_IQN},
                                       {authType, ERR_BAD_AUTH_TYPE},
                                       {maxSessions, ERR_BAD_MAX_SESSIONS},
                                       {user, ERR_BAD_USER},
                                       {password, ERR_BAD_PASSWORD},
                                       {mutualUser, ERR_BAD_MUTUAL_USER},
                                       {mutualPassword, ERR_BAD_MUTUAL_PASSWORD},
                                       {hasHeaderChecksum, ERR_BAD_HEADER_CHECKSUM},
                                       {hasDataChecksum, ERR_BAD_DATA_CHECKSUM},
                                       {maxRecvSegBytes, ERR_BAD_MAX_RECV_SEG_BYTES},
                                       {maxSendSegBytes, ERR_BAD_MAX_SEND_SEG_BYTES}}) &&
        ResolveTarget(response, targetId.Get(), tid)) {
        const int mask = UpdateMaskOf({{name, ISCSI_TARGET_UPDATE_NAME},
                                       {iqn, ISCSI_TARGET_UPDATE_IQN},
                                       {maxSessions, ISCSI_TARGET_UPDATE_MAX_SESSIONS},
                                       {hasHeaderChecksum, ISCSI_TARGET_UPDATE_HEADER_CHECKSUM},
                                       {hasDataChecksum, ISCSI_TARGET_UPDATE_DATA_CHECKSUM},
                                       {authType, ISCSI_TARGET_UPDATE_AUTH_TYPE},
                                       {user, ISCSI_TARGET_UPDATE_USER},
                                       {password, ISCSI_TARGET_UPDATE_PASSWORD},
                                       {mutualUser, ISCSI_TARGET_UPDATE_MUTUAL_USER},
                                       {mutualPassword, ISCSI_TARGET_UPDATE_MUTUAL_PASSWORD},
                                       {maxRecvSegBytes, ISCSI_TARGET_UPDATE_MAX_RECV_SEG_BYTES},
                                       {maxSendSegBytes, ISCSI_TARGET_UPDATE_MAX_SEND_SEG_BYTES}});
        target = ISCSILIBTarget(static_cast<unsigned int>(tid));
        AnswerResult(response,
                     target.updateTarget(mask, name.Get(""), iqn.Get(""), hasHeaderChecksum.Get(false),
                                         hasDataChecksum.Get(false), maxRecvSegBytes.Get(),
                                         maxSendSegBytes.Get(), maxSessions.Get(0),
                                         AuthTypeOf(authType.Get(0)), user.Get(""), password.Get(""),
                                         mutualUser.Get(""), mutualPassword.Get("")),
                     Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void Enable(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID}}))
        CallOnTarget(response, target, targetId.Get(), &ISCSILIBTarget::enableTarget);
    WEBAPI_LOG_ERROR(response, params);
}

void Disable(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID}}))
        CallOnTarget(response, target, targetId.Get(), &ISCSILIBTarget::disableTarget);
    WEBAPI_LOG_ERROR(response, params);
}

void MapLUN(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> lunUuids = request->GetAndCheckArray("lun_uuids", REQUIRED, nullptr);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID}, {lunUuids, ERR_BAD_LUN_UUID}}))
        CallWithLUNs(response, target, targetId.Get(), lunUuids.Get(), &ISCSILIBTarget::mapLUN);
    WEBAPI_LOG_ERROR(response, params);
}

void UnmapLUN(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> lunUuids = request->GetAndCheckArray("lun_uuids", REQUIRED, nullptr);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID}, {lunUuids, ERR_BAD_LUN_UUID}}))
        CallWithLUNs(response, target, targetId.Get(), lunUuids.Get(), &ISCSILIBTarget::unmapLUN);
    WEBAPI_LOG_ERROR(response, params);
}

// The only target method that takes the numeric id itself, without resolving it, and hands
// the masks to the library as they came.
void ACLMasksSet(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<int> targetId = request->GetAndCheckInt("target_id", REQUIRED, IsValidTargetId);
    KOVA::APIParameter<Json::Value> acls = request->GetAndCheckArray("acls", REQUIRED, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID}, {acls, ERR_BAD_ACLS}})) {
        target = ISCSILIBTarget(static_cast<unsigned int>(targetId.Get()));
        AnswerResult(response, target.aclMasksSet(acls.Get()), Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// A mask whose permission is not "rw", "r" or "-" ends the method with neither success nor
// error: nothing reaches the library, and no error line is written.
void ACLMasksAdd(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> acls = request->GetAndCheckArray("acls", REQUIRED, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    int tid = 0;
    std::map<std::string, ISCSI_TARGET_AUTHORITY> masks;
    if (!RejectFirstInvalid(response, {{targetId, ERR_BAD_TARGET_ID}, {acls, ERR_BAD_ACLS}}) &&
        ResolveTarget(response, targetId.Get(), tid) && ReadACLMasks(acls.Get(), masks)) {
        target = ISCSILIBTarget(static_cast<unsigned int>(tid));
        AnswerResult(response, target.aclMasksAdd(masks), Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void ACLMasksRemove(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> initiatorIqns =
        request->GetAndCheckArray("initiator_iqns", REQUIRED, IsNonEmptyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    int tid = 0;
    if (!RejectFirstInvalid(response,
                            {{targetId, ERR_BAD_TARGET_ID}, {initiatorIqns, ERR_BAD_INITIATOR_IQNS}}) &&
        ResolveTarget(response, targetId.Get(), tid)) {
        std::set<std::string> iqns;
        for (const Json::Value& iqn : initiatorIqns.Get())
            iqns.insert(iqn.asString());
        target = ISCSILIBTarget(static_cast<unsigned int>(tid));
        AnswerResult(response, target.aclMasksRemove(iqns), Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void NetworkPortalsAdd(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> networkPortals =
        request->GetAndCheckArray("network_portals", REQUIRED, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response,
                            {{targetId, ERR_BAD_TARGET_ID}, {networkPortals, ERR_BAD_NETWORK_PORTALS}}))
        CallWithPortals(response, target, targetId.Get(), networkPortals.Get(), __func__,
                        &ISCSILIBTarget::networkPortalsAdd);
    WEBAPI_LOG_ERROR(response, params);
}

void NetworkPortalsRemove(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetId =
        request->GetAndCheckString("target_id", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> networkPortals =
        request->GetAndCheckArray("network_portals", REQUIRED, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBTarget target;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response,
                            {{targetId, ERR_BAD_TARGET_ID}, {networkPortals, ERR_BAD_NETWORK_PORTALS}}))
        CallWithPortals(response, target, targetId.Get(), networkPortals.Get(), __func__,
                        &ISCSILIBTarget::networkPortalsRemove);
    WEBAPI_LOG_ERROR(response, params);
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
