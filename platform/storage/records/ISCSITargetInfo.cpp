// Data code of the target record, its LUN mappings, its sessions and its network portals:
// constructors, JSON forms and log texts. Shared by the storage library and the recording
// double.
#include <iscsi/ISCSINetworkPortal.h>
#include <iscsi/ISCSITargetInfo.h>

#include "RecordJson.h"

#include <cstdio>
#include <cstring>
#include <sstream>

namespace ISCSI {

using namespace RecordJson;

namespace {

// A fixed buffer's text: up to its first NUL, never past its end.
std::string BufferText(const char* buffer, size_t size)
{
    return std::string(buffer, strnlen(buffer, size));
}

const char* AuthorityText(ISCSI_TARGET_AUTHORITY authority)
{
    switch (authority) {
    case ISCSI_TARGET_AUTHORITY_READ_WRITE:
        return "rw";
    case ISCSI_TARGET_AUTHORITY_READ:
        return "r";
    default:
        return "-";
    }
}

bool AuthorityFromText(const std::string& text, ISCSI_TARGET_AUTHORITY& authority)
{
    if (text == "rw")
        authority = ISCSI_TARGET_AUTHORITY_READ_WRITE;
    else if (text == "r")
        authority = ISCSI_TARGET_AUTHORITY_READ;
    else if (text == "-")
        authority = ISCSI_TARGET_AUTHORITY_NONE;
    else
        return false;
    return true;
}

const char* StatusText(ISCSI_TARGET_STATUS status)
{
    switch (status) {
    case ISCSI_TARGET_STATUS_ONLINE:
        return "online";
    case ISCSI_TARGET_STATUS_OFFLINE:
        return "offline";
    case ISCSI_TARGET_STATUS_DISABLED:
        return "disabled";
    default:
        return "unknown";
    }
}

// Unknown texts (a status of a newer library) read as unknown rather than as an error, so that
// one target's status does not make a whole list unreadable.
ISCSI_TARGET_STATUS StatusFromText(const std::string& text)
{
    if (text == "online")
        return ISCSI_TARGET_STATUS_ONLINE;
    if (text == "offline")
        return ISCSI_TARGET_STATUS_OFFLINE;
    if (text == "disabled")
        return ISCSI_TARGET_STATUS_DISABLED;
    return ISCSI_TARGET_STATUS_UNKNOWN;
}

} // namespace

// Network portals.

int NetworkPortalToJson(const _tag_struct_iscsi_network_portal_& portal, Json::Value& out)
{
    out = Json::Value(Json::objectValue);
    out["id"] = portal.id;
    out["ip"] = BufferText(portal.ip, sizeof(portal.ip));
    out["interface_name"] = BufferText(portal.interface_name, sizeof(portal.interface_name));
    out["port"] = portal.port;
    out["tpgt"] = portal.tpgt;
    out["reserved"] = portal.reserved;
    return 0;
}

int NetworkPortalFromJson(const Json::Value& in, _tag_struct_iscsi_network_portal_& portal)
{
    std::memset(&portal, 0, sizeof(portal));
    portal.port = ISCSI_NETWORK_PORTAL_DEFAULT_PORT;
    if (!in.isObject())
        return ISCSI_ERR_TARGET_RECORD_INVALID;
    if (!ReadMember(in, "id", portal.id) || !ReadMember(in, "ip", portal.ip) ||
        !ReadMember(in, "interface_name", portal.interface_name) || !ReadMember(in, "port", portal.port) ||
        !ReadMember(in, "tpgt", portal.tpgt) || !ReadMember(in, "reserved", portal.reserved))
        return ISCSI_ERR_TARGET_RECORD_INVALID;
    return 0;
}

// LUN mappings.

ISCSIMappingInfo::ISCSIMappingInfo() : tid(0), lun_id(0) {}

ISCSIMappingInfo::ISCSIMappingInfo(unsigned int tid, unsigned int lunId, const std::string& lunUuid)
    : tid(tid), lun_id(lunId), lun_uuid(lunUuid)
{}

ISCSIMappingInfo::~ISCSIMappingInfo() = default;

int ISCSIMappingInfo::toJsonFormat(Json::Value& out) const
{
    out = Json::Value(Json::objectValue);
    out["target_id"] = tid;
    out["lun_id"] = lun_id;
    out["lun_uuid"] = lun_uuid;
    return 0;
}

int ISCSIMappingInfo::loadFromJson(const Json::Value& in)
{
    if (!in.isObject() || !ReadMember(in, "target_id", tid) || !ReadMember(in, "lun_id", lun_id) ||
        !ReadMember(in, "lun_uuid", lun_uuid))
        return ISCSI_ERR_TARGET_RECORD_INVALID;
    return 0;
}

std::string ISCSIMappingInfo::toString() const
{
    std::ostringstream text;
    text << "mapping: [target_id: " << tid << ", lun_id: " << lun_id << ", lun_uuid: " << lun_uuid << "]";
    return text.str();
}

// Sessions.

int ISCSITargetSessionInfo::toJsonFormat(Json::Value& out) const
{
    out = Json::Value(Json::objectValue);
    out["session_id"] = static_cast<Json::UInt64>(session_id);
    out["initiator_iqn"] = initiator_iqn;
    out["initiator_ip"] = initiator_ip;
    return 0;
}

int ISCSITargetSessionInfo::loadFromJson(const Json::Value& in)
{
    if (!in.isObject() || !ReadMember(in, "session_id", session_id) ||
        !ReadMember(in, "initiator_iqn", initiator_iqn) || !ReadMember(in, "initiator_ip", initiator_ip))
        return ISCSI_ERR_TARGET_RECORD_INVALID;
    return 0;
}

// Targets.

ISCSITargetInfo::ISCSITargetInfo()
    : tid(0), is_enabled(false), has_header_checksum(false), has_data_checksum(false), max_recv_seg_bytes(0),
      max_send_seg_bytes(0), max_sessions(0), auth_type(ISCSI_AUTH_TYPE_NONE), load_flags(0),
      status(ISCSI_TARGET_STATUS_UNKNOWN)
{}

ISCSITargetInfo::ISCSITargetInfo(unsigned int tid) : ISCSITargetInfo()
{
    this->tid = tid;
}

ISCSITargetInfo::ISCSITargetInfo(const std::string& name, const std::string& iqn, bool isEnabled,
                                 bool hasHeaderChecksum, bool hasDataChecksum, unsigned int maxRecvSegBytes,
                                 unsigned int maxSendSegBytes, unsigned int maxSessions,
                                 ISCSI_AUTH_TYPE authType, const std::string& user,
                                 const std::string& password, const std::string& mutualUser,
                                 const std::string& mutualPassword)
    : tid(0), name(name), iqn(iqn), is_enabled(isEnabled), has_header_checksum(hasHeaderChecksum),
      has_data_checksum(hasDataChecksum), max_recv_seg_bytes(maxRecvSegBytes),
      max_send_seg_bytes(maxSendSegBytes), max_sessions(maxSessions), auth_type(authType), user(user),
      password(password), mutual_user(mutualUser), mutual_password(mutualPassword), load_flags(0),
      status(ISCSI_TARGET_STATUS_UNKNOWN)
{}

ISCSITargetInfo::~ISCSITargetInfo() = default;

int ISCSITargetInfo::toJsonFormat(Json::Value& out) const
{
    out = Json::Value(Json::objectValue);
    out["target_id"] = tid;
    out["name"] = name;
    out["iqn"] = iqn;
    out["is_enabled"] = is_enabled;
    out["has_header_checksum"] = has_header_checksum;
    out["has_data_checksum"] = has_data_checksum;
    out["max_recv_seg_bytes"] = max_recv_seg_bytes;
    out["max_send_seg_bytes"] = max_send_seg_bytes;
    out["max_sessions"] = max_sessions;
    out["auth_type"] = static_cast<int>(auth_type);
    out["user"] = user;
    out["password"] = password;
    out["mutual_user"] = mutual_user;
    out["mutual_password"] = mutual_password;
    out["network_portals"] = WriteArray(network_portals, NetworkPortalToJson);

    if (load_flags & ISCSI_TARGET_LOAD_MAPPED_LUN)
        out["mapped_luns"] = WriteRecords(mapped_luns);
    if (load_flags & ISCSI_TARGET_LOAD_ACLS)
        out["acls"] = WriteArray(acls, [](const auto& acl, Json::Value& j) {
            j = Json::Value(Json::objectValue);
            j["iqn"] = acl.first;
            j["permission"] = AuthorityText(acl.second);
        });
    if (load_flags & ISCSI_TARGET_LOAD_CONNECTED_SESSIONS)
        out["connected_sessions"] = WriteRecords(connected_sessions);
    if (load_flags & ISCSI_TARGET_LOAD_STATUS)
        out["status"] = StatusText(status);
    return 0;
}

int ISCSITargetInfo::loadFromJson(const Json::Value& in)
{
    if (!in.isObject())
        return ISCSI_ERR_TARGET_RECORD_INVALID;
    if (!ReadMember(in, "target_id", tid) || !ReadMember(in, "name", name) || !ReadMember(in, "iqn", iqn) ||
        !ReadMember(in, "is_enabled", is_enabled) ||
        !ReadMember(in, "has_header_checksum", has_header_checksum) ||
        !ReadMember(in, "has_data_checksum", has_data_checksum) ||
        !ReadMember(in, "max_recv_seg_bytes", max_recv_seg_bytes) ||
        !ReadMember(in, "max_send_seg_bytes", max_send_seg_bytes) ||
        !ReadMember(in, "max_sessions", max_sessions) || !ReadMember(in, "user", user) ||
        !ReadMember(in, "password", password) || !ReadMember(in, "mutual_user", mutual_user) ||
        !ReadMember(in, "mutual_password", mutual_password))
        return ISCSI_ERR_TARGET_RECORD_INVALID;

    // An authentication type outside the known ones is an error.
    if (!ReadMemberAs<int>(in, "auth_type", [this](int id) {
            if (id < ISCSI_AUTH_TYPE_NONE || id > ISCSI_AUTH_TYPE_MUTUAL_CHAP)
                return false;
            auth_type = static_cast<ISCSI_AUTH_TYPE>(id);
            return true;
        }))
        return ISCSI_ERR_TARGET_RECORD_INVALID;

    if (!ReadArray(in, "network_portals", network_portals,
                   [](const Json::Value& e, _tag_struct_iscsi_network_portal_& p) {
                       return NetworkPortalFromJson(e, p) == 0;
                   }))
        return ISCSI_ERR_TARGET_RECORD_INVALID;

    if (in.isMember("mapped_luns")) {
        if (!ReadArray(in, "mapped_luns", mapped_luns,
                       [](const Json::Value& e, ISCSIMappingInfo& m) { return m.loadFromJson(e) == 0; }))
            return ISCSI_ERR_TARGET_RECORD_INVALID;
        load_flags |= ISCSI_TARGET_LOAD_MAPPED_LUN;
    }

    if (in.isMember("acls")) {
        const Json::Value& v = in["acls"];
        if (!v.isArray())
            return ISCSI_ERR_TARGET_RECORD_INVALID;
        std::map<std::string, ISCSI_TARGET_AUTHORITY> masks;
        for (const auto& e : v) {
            std::string initiator, permission;
            ISCSI_TARGET_AUTHORITY authority = ISCSI_TARGET_AUTHORITY_NONE;
            if (!e.isObject() || !e.isMember("iqn") || !e.isMember("permission") ||
                !ReadMember(e, "iqn", initiator) || !ReadMember(e, "permission", permission) ||
                !AuthorityFromText(permission, authority))
                return ISCSI_ERR_TARGET_RECORD_INVALID;
            masks[initiator] = authority;
        }
        acls.swap(masks);
        load_flags |= ISCSI_TARGET_LOAD_ACLS;
    }

    if (in.isMember("connected_sessions")) {
        if (!ReadArray(
                in, "connected_sessions", connected_sessions,
                [](const Json::Value& e, ISCSITargetSessionInfo& s) { return s.loadFromJson(e) == 0; }))
            return ISCSI_ERR_TARGET_RECORD_INVALID;
        load_flags |= ISCSI_TARGET_LOAD_CONNECTED_SESSIONS;
    }

    if (in.isMember("status")) {
        if (!ReadMemberAs<std::string>(in, "status",
                                       [this](const std::string& text) { status = StatusFromText(text); }))
            return ISCSI_ERR_TARGET_RECORD_INVALID;
        load_flags |= ISCSI_TARGET_LOAD_STATUS;
    }
    return 0;
}

std::string ISCSITargetInfo::toString() const
{
    std::ostringstream text;
    text << "target: [target_id: " << tid << ", name: " << name << ", iqn: " << iqn
         << ", is_enabled: " << is_enabled << ", has_header_checksum: " << has_header_checksum
         << ", has_data_checksum: " << has_data_checksum << ", max_recv_seg_bytes: " << max_recv_seg_bytes
         << ", max_send_seg_bytes: " << max_send_seg_bytes << ", max_sessions: " << max_sessions
         << ", auth_type: " << static_cast<int>(auth_type) << ", user: " << user
         << ", mutual_user: " << mutual_user << ", network_portals: " << network_portals.size();
    if (load_flags & ISCSI_TARGET_LOAD_MAPPED_LUN)
        text << ", mapped_luns: " << mapped_luns.size();
    if (load_flags & ISCSI_TARGET_LOAD_ACLS)
        text << ", acls: " << acls.size();
    if (load_flags & ISCSI_TARGET_LOAD_CONNECTED_SESSIONS)
        text << ", connected_sessions: " << connected_sessions.size();
    if (load_flags & ISCSI_TARGET_LOAD_STATUS)
        text << ", status: " << StatusText(status);
    text << "]";
    return text.str();
}

} // namespace ISCSI
