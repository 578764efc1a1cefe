// The record of one node of the iSCSI service: an appliance known to this one (or this one
// itself), with what it takes to reach its web API and the session held with it.
#pragma once

#include <json/json.h>

#include <string>

namespace ISCSI {

// Status of the local node, as ISCSI::LIB::LIBNode::ISCSILIBNode::getStatus answers it.
enum _tag_iscsi_node_status {
    ISCSI_NODE_STATUS_OK = 0,
    ISCSI_NODE_STATUS_NO_KERNEL_MODULES = 1, // iSCSI kernel modules are not loaded
    ISCSI_NODE_STATUS_DAEMON_DEAD = 2,       // the task handler's daemon is dead
    ISCSI_NODE_STATUS_NOT_BOOT_DONE = 3,     // the system has not finished booting
    ISCSI_NODE_STATUS_UNKNOWN = 4,
};

enum {
    // The JSON form of a node record is malformed: no object, or a member of the wrong
    // type or out of range. The code of a reply from a remote node that lacks what a record
    // needs.
    ISCSI_ERR_NODE_RECORD_INVALID = 18990204,
};

class ISCSINodeInfo {
public:
    ISCSINodeInfo();
    // A node known by its uuid (the key of the node configuration and of the node channel).
    explicit ISCSINodeInfo(const std::string& uuid);
    // The caller of a session request: its address goes to hostname, its login name to
    // account.
    ISCSINodeInfo(const std::string& remoteIp, const std::string& loginUserName);
    // As above, with the session the caller holds.
    ISCSINodeInfo(const std::string& remoteIp, const std::string& loginUserName,
                  const std::string& sessionId);
    // Every field of the JSON form, in its order.
    ISCSINodeInfo(const std::string& uuid, const std::string& sessionId, const std::string& hostname,
                  unsigned short port, const std::string& protocol, const std::string& rodKey,
                  const std::string& account, bool isLocalNode);
    virtual ~ISCSINodeInfo();

    // Writes the JSON form into out (replacing what it held): an object with "uuid",
    // "session_id", "hostname", "port" (an integer), "protocol", "rod_key", "account" and
    // "is_local_node" (a bool). The password and the one-time code are never written.
    // Answers 0.
    int toJsonFormat(Json::Value& out) const;
    // Fills the record from such a form. Keys that are absent leave their fields as they are;
    // a value that is not an object, or a key of the wrong JSON type (a port outside 0 to
    // 65535 included), answers ISCSI_ERR_NODE_RECORD_INVALID and changes nothing.
    int loadFromJson(const Json::Value& in);
    // One line for logs: "uuid: U, session_id: S, hostname: H, port: P, protocol: R, rod_key: K,
    // account: A, is_local_node: true"; the password and the one-time code are left out.
    std::string toString() const;

    // True when the record lacks what a send path needs to reach the node. With
    // useOwnSession false the node is reached by its uuid (the node channel, or a session
    // path that reloads the node from the configuration): an empty uuid makes it invalid.
    // With useOwnSession true the caller logs in with the fields it filled itself: an empty
    // hostname, protocol, account or password, or a port of 0, makes it invalid; the uuid
    // may be empty (the node is not known yet) and the one-time code is optional.
    bool isInvalid(bool useOwnSession) const;

    // Fills the record from the node configuration by its uuid; fails if it is not there.
    int loadFromConfig();
    // True if a node of this uuid is in the node configuration.
    bool isInConfig() const;
    // Writes the record into the node configuration. addIfAbsent: a node not there yet is
    // added (else it must exist); overwriteLocal: the entry may replace the local node's own.
    int updateConfig(bool addIfAbsent, bool overwriteLocal);
    int deleteFromNodeConfig() const;
    // Opens a session for the caller that the record names (address and login name); on 0,
    // session_id holds the new session.
    int createSession();
    // Closes the session session_id of the caller that the record names.
    int deleteSession() const;
    // The local node's rod key.
    int loadLocalRodKey(std::string& rodKey) const;

    // Resolves a node identifier of a request to the node's canonical uuid. The empty text
    // answers 0 and the empty uuid.
    static int GetNodeUuid(const std::string& id, std::string& uuid);

    std::string uuid;
    std::string session_id;
    std::string hostname;
    unsigned short port;
    std::string protocol;
    std::string rod_key;
    std::string account;
    bool is_local_node;
    // Used only to log in on the node with its account; never part of the JSON form.
    std::string password;
    std::string otp_code;
    // SHA-256 fingerprint (64 lower-case hex digits) of the HTTPS certificate the node showed
    // when it was first reached; the node channel accepts no other. Kept in the node
    // configuration, never part of the JSON form. Empty: not pinned yet.
    std::string cert_sha256;
};

} // namespace ISCSI
