// The target record of the storage library, its LUN mappings, and the enumerations that
// describe a target: authentication type, initiator authority, status, the load flags of the
// optional groups, and the update mask of a target's settings.
#pragma once

#include <iscsi/ISCSINetworkPortal.h>

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

// How initiators authenticate to a target. The web API writes it as the number 0, 1 or 2. The
// underlying type is fixed so that a value outside the three (the web API's "no valid type
// yet", -1) is representable.
enum ISCSI_AUTH_TYPE : int {
    ISCSI_AUTH_TYPE_NONE = 0,
    // CHAP: the initiator logs in with the target's user and password.
    ISCSI_AUTH_TYPE_CHAP = 1,
    // Mutual CHAP: as CHAP, and the target answers with the mutual user and password.
    ISCSI_AUTH_TYPE_MUTUAL_CHAP = 2,
};

// What an initiator may do with a target, by its IQN (the ACL masks). The web API writes the
// values as the texts "rw", "r" and "-".
enum ISCSI_TARGET_AUTHORITY : int {
    ISCSI_TARGET_AUTHORITY_NONE = 0,
    ISCSI_TARGET_AUTHORITY_READ = 1,
    ISCSI_TARGET_AUTHORITY_READ_WRITE = 3,
};

// The state of a target as the data path sees it.
enum ISCSI_TARGET_STATUS : int {
    ISCSI_TARGET_STATUS_UNKNOWN = 0,
    // Enabled and served: initiators can log in.
    ISCSI_TARGET_STATUS_ONLINE = 1,
    // Enabled, but the data path does not serve it (the target daemon is not running).
    ISCSI_TARGET_STATUS_OFFLINE = 2,
    // Disabled: new logins are refused.
    ISCSI_TARGET_STATUS_DISABLED = 3,
};

namespace ISCSI {

// Load flags of the target record: one bit per optional group of data, asked for by the
// `additional` words of the read methods. Bit 1 names no group of the target record.
enum {
    ISCSI_TARGET_LOAD_MAPPED_LUN = 2,         // "mapped_lun": mapped_luns
    ISCSI_TARGET_LOAD_ACLS = 4,               // "acls": acls
    ISCSI_TARGET_LOAD_CONNECTED_SESSIONS = 8, // "connected_sessions": connected_sessions
    ISCSI_TARGET_LOAD_STATUS = 16,            // "status": status
};

// Update mask of a target's settings: one bit per setting that an update applies; the values
// of settings whose bit is clear are ignored. Shared by the library, the web API's `set` and
// its client object.
enum {
    ISCSI_TARGET_UPDATE_NAME = 1,
    ISCSI_TARGET_UPDATE_IQN = 2,
    ISCSI_TARGET_UPDATE_MAX_SESSIONS = 4,
    ISCSI_TARGET_UPDATE_HEADER_CHECKSUM = 8,
    ISCSI_TARGET_UPDATE_DATA_CHECKSUM = 16,
    ISCSI_TARGET_UPDATE_AUTH_TYPE = 32,
    ISCSI_TARGET_UPDATE_USER = 64,
    ISCSI_TARGET_UPDATE_PASSWORD = 128,
    ISCSI_TARGET_UPDATE_MUTUAL_USER = 256,
    ISCSI_TARGET_UPDATE_MUTUAL_PASSWORD = 512,
    ISCSI_TARGET_UPDATE_MAX_RECV_SEG_BYTES = 1024,
    ISCSI_TARGET_UPDATE_MAX_SEND_SEG_BYTES = 2048,
};

enum {
    // The JSON form of a target record (or of one of its parts) is malformed: no object, a
    // member of the wrong type or out of range, or a text too long for its field. The code of
    // a reply from a remote node that holds no readable target record.
    ISCSI_ERR_TARGET_RECORD_INVALID = 18990204,
};

// One LUN mapped to a target. Its JSON form is an object with "target_id", "lun_id" and
// "lun_uuid".
class ISCSIMappingInfo {
public:
    ISCSIMappingInfo();
    ISCSIMappingInfo(unsigned int tid, unsigned int lunId, const std::string& lunUuid);
    ISCSIMappingInfo(const ISCSIMappingInfo&) = default;
    ISCSIMappingInfo& operator=(const ISCSIMappingInfo&) = default;
    virtual ~ISCSIMappingInfo();

    // Returns 0.
    int toJsonFormat(Json::Value& out) const;
    // 0, or ISCSI_ERR_TARGET_RECORD_INVALID. Absent members keep their values.
    int loadFromJson(const Json::Value& in);
    std::string toString() const;

    // The target the LUN is mapped to.
    unsigned int tid;
    // The logical unit number under which initiators see the LUN on that target.
    unsigned int lun_id;
    std::string lun_uuid;
};

// One initiator session logged in to a target. Its JSON form is an object with "session_id",
// "initiator_iqn" and "initiator_ip".
struct ISCSITargetSessionInfo {
    int toJsonFormat(Json::Value& out) const;
    int loadFromJson(const Json::Value& in);

    unsigned long long session_id = 0;
    std::string initiator_iqn;
    std::string initiator_ip;
};

// A target: its settings, its network portals, and the optional groups (mapped LUNs, ACL
// masks, connected sessions, status) that the load flags in load_flags say it holds.
//
// JSON form (toJsonFormat, loadFromJson): "target_id" (unsigned), "name", "iqn", "is_enabled",
// "has_header_checksum", "has_data_checksum", "max_recv_seg_bytes", "max_send_seg_bytes",
// "max_sessions", "auth_type" (0, 1, 2), "user", "password", "mutual_user", "mutual_password",
// "network_portals" (array of portal objects, ISCSINetworkPortal.h); then, only for the groups
// whose load flag is set: "mapped_luns" (array of mapping objects), "acls" (array of
// {"iqn": text, "permission": "rw" | "r" | "-"}, in IQN order), "connected_sessions" (array of
// session objects), "status" ("unknown", "online", "offline", "disabled"). The CHAP passwords
// are part of the form: the target API is for the appliance's administrators, who set them.
class ISCSITargetInfo {
public:
    ISCSITargetInfo();
    // A record of an existing target, by its numeric id, with nothing else known.
    explicit ISCSITargetInfo(unsigned int tid);
    // A record of a target's settings, in the order of the library's target constructor.
    ISCSITargetInfo(const std::string& name, const std::string& iqn, bool isEnabled, bool hasHeaderChecksum,
                    bool hasDataChecksum, unsigned int maxRecvSegBytes, unsigned int maxSendSegBytes,
                    unsigned int maxSessions, ISCSI_AUTH_TYPE authType, const std::string& user,
                    const std::string& password, const std::string& mutualUser,
                    const std::string& mutualPassword);
    ISCSITargetInfo(const ISCSITargetInfo&) = default;
    ISCSITargetInfo& operator=(const ISCSITargetInfo&) = default;
    virtual ~ISCSITargetInfo();

    // Writes the JSON form into out (replacing what it held). Returns 0.
    int toJsonFormat(Json::Value& out) const;
    // Fills the record from the JSON form: members present replace the fields, absent ones keep
    // them, and each group present sets its load flag. 0, or ISCSI_ERR_TARGET_RECORD_INVALID
    // (the record may then be partly filled).
    int loadFromJson(const Json::Value& in);
    // A one-line text for logs; the passwords are left out.
    std::string toString() const;

    // Resolves a target identifier of a request (the text form of the numeric id) to the
    // target id. 0, or an error code; tid is written only on 0.
    static int GetTid(const std::string& targetId, int& tid);

    unsigned int tid;
    std::string name;
    std::string iqn;
    // Whether the target accepts logins; a new target is made enabled.
    bool is_enabled;
    bool has_header_checksum;
    bool has_data_checksum;
    unsigned int max_recv_seg_bytes;
    unsigned int max_send_seg_bytes;
    unsigned int max_sessions;
    ISCSI_AUTH_TYPE auth_type;
    std::string user;
    std::string password;
    std::string mutual_user;
    std::string mutual_password;
    std::vector<_tag_struct_iscsi_network_portal_> network_portals;

    // The groups below that the record holds: ISCSI_TARGET_LOAD_* bits.
    int load_flags;
    std::vector<ISCSIMappingInfo> mapped_luns;
    // Initiator IQN to authority.
    std::map<std::string, ISCSI_TARGET_AUTHORITY> acls;
    std::vector<ISCSITargetSessionInfo> connected_sessions;
    ISCSI_TARGET_STATUS status;
};

} // namespace ISCSI
