// Remote nodes and node sessions in the configuration database (tables nodes and node_sessions,
// node/NodeSchema.cpp), and the local node's own entry.
//
// The local node has no row: its uuid is made once (a random uuid kept in node_settings under
// "local_uuid"), its rod key is the setting "rod_key", and its address for other nodes comes
// from the environment variable KOVA_NODE_URL ("http://HOST:PORT" or "https://HOST:PORT"),
// which the daemon sets from --node-url or from the address it listens on.
//
// Node sessions are what other appliances hold here: made by create_session for the caller's
// account and address, accepted by the daemon on /webapi/entry only from that address (through
// KOVASessionCheck, kova/SessionProvider.h), valid kNodeSessionLifetime seconds after they were
// made or renewed (KOVA_NODE_SESSION_LIFETIME overrides it, for tests), renewable with the old
// id and this node's rod key until kNodeSessionRenewWindow seconds after they expired, ended by
// delete_session and by deleting the node they come from.
#pragma once

#include <iscsi/ISCSINodeInfo.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

class ConfigDB;

constexpr const char* kSettingLocalUuid = "local_uuid";
constexpr std::int64_t kNodeSessionLifetime = 30LL * 24 * 3600;
constexpr std::int64_t kNodeSessionRenewWindow = 365LL * 24 * 3600;

// The local node's uuid, made on first use. 0, ISCSI_ERR_DATABASE or ISCSI_ERR_NOT_AVAILABLE.
int LoadLocalUuid(ConfigDB& db, std::string& uuid);
// The local node's entry: uuid, rod key, address from KOVA_NODE_URL (empty host name and port 0
// when it is not set), is_local_node. 0 or a code.
int LocalNodeRecord(ConfigDB& db, ISCSINodeInfo& node);
// Parses "http://HOST:PORT" or "https://HOST:PORT" (IPv6 in brackets); false when malformed.
bool ParseNodeUrl(const std::string& url, std::string& protocol, std::string& host, unsigned short& port);

// The row of uuid into node (every field, cert_sha256 too); found false when there is none.
int LoadNodeRow(ConfigDB& db, const std::string& uuid, ISCSINodeInfo& node, bool& found);
// Every row, oldest first.
int ListNodeRows(ConfigDB& db, std::vector<ISCSINodeInfo>& nodes);
// The uuids of the rows of a host name.
int NodeUuidsOfHost(ConfigDB& db, const std::string& hostname, std::vector<std::string>& uuids);
// Inserts (insert) or updates the row of node.uuid. 0 or ISCSI_ERR_DATABASE.
int WriteNodeRow(ConfigDB& db, const ISCSINodeInfo& node, bool insert);
int DeleteNodeRow(ConfigDB& db, const std::string& uuid);
// Whether a row has this host name and port.
int NodeAtAddress(ConfigDB& db, const std::string& hostname, unsigned short port, bool& found);

// A new node session for account at remoteIp; sid receives its id. 0 or a code.
int CreateNodeSession(ConfigDB& db, const std::string& account, const std::string& remoteIp,
                      std::string& sid);
// Ends the session sid of account at remoteIp: 0, ISCSI_ERR_NODE_SESSION_UNKNOWN or a code.
int DeleteNodeSession(ConfigDB& db, const std::string& sid, const std::string& account,
                      const std::string& remoteIp);
// Ends every node session made from one of the addresses; removed receives how many.
int RevokeNodeSessionsFrom(ConfigDB& db, const std::vector<std::string>& addresses, int& removed);
// The addresses a host name stands for (itself when it is an address).
std::vector<std::string> AddressesOf(const std::string& hostname);
// The lifetime of node sessions in seconds.
std::int64_t NodeSessionLifetime();

// Lower-case hex SHA-256 of text.
std::string Sha256Hex(const std::string& text);

} // namespace Storage
} // namespace ISCSI
