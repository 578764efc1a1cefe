// Remote nodes and node sessions in the configuration database, and the local node's entry.
#include "node/NodeStore.h"

#include "config/ConfigDB.h"
#include "node/NodeSettings.h"

#include <iscsi/ISCSIErrors.h>

#include <netdb.h>
#include <openssl/evp.h>
#include <sys/socket.h>

#include <cstdlib>
#include <ctime>
#include <set>

namespace ISCSI {
namespace Storage {
namespace {

std::int64_t Now()
{
    return static_cast<std::int64_t>(std::time(nullptr));
}

void ReadRow(Statement& row, ISCSINodeInfo& node)
{
    node.uuid = row.text(0);
    node.session_id = row.text(1);
    node.hostname = row.text(2);
    node.port = static_cast<unsigned short>(row.integer(3));
    node.protocol = row.text(4);
    node.rod_key = row.text(5);
    node.account = row.text(6);
    node.cert_sha256 = row.text(7);
    node.is_local_node = false;
}

constexpr const char* kNodeColumns =
    "SELECT uuid, session_id, hostname, port, protocol, rod_key, account, cert_sha256 FROM nodes ";

} // namespace

std::string Sha256Hex(const std::string& text)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &length, EVP_sha256(), nullptr) != 1)
        return std::string();
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex += digits[digest[i] >> 4];
        hex += digits[digest[i] & 0x0F];
    }
    return hex;
}

int LoadLocalUuid(ConfigDB& db, std::string& uuid)
{
    Transaction tx(db);
    if (!tx.begun())
        return ISCSI_ERR_DATABASE;
    bool found = false;
    std::string value;
    int rc = LoadSetting(db, kSettingLocalUuid, value, found);
    if (rc != 0)
        return rc;
    if (!found) {
        // A random (version 4) uuid.
        std::string hex;
        if (!RandomHex(16, hex))
            return ISCSI_ERR_NOT_AVAILABLE;
        hex[12] = '4';
        hex[16] = "89ab"[std::strtol(hex.substr(16, 1).c_str(), nullptr, 16) & 3];
        value = hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" +
                hex.substr(16, 4) + "-" + hex.substr(20, 12);
        rc = StoreSetting(db, kSettingLocalUuid, value);
        if (rc != 0)
            return rc;
    }
    if (!tx.commit())
        return ISCSI_ERR_DATABASE;
    uuid = value;
    return 0;
}

bool ParseNodeUrl(const std::string& url, std::string& protocol, std::string& host, unsigned short& port)
{
    const auto scheme = url.find("://");
    if (scheme == std::string::npos)
        return false;
    const std::string proto = url.substr(0, scheme);
    if (proto != "http" && proto != "https")
        return false;
    std::string rest = url.substr(scheme + 3);
    while (!rest.empty() && rest.back() == '/')
        rest.pop_back();
    std::string name;
    std::string portText;
    if (!rest.empty() && rest.front() == '[') {
        const auto close = rest.find(']');
        if (close == std::string::npos || close + 1 >= rest.size() || rest[close + 1] != ':')
            return false;
        name = rest.substr(1, close - 1);
        portText = rest.substr(close + 2);
    } else {
        const auto colon = rest.rfind(':');
        if (colon == std::string::npos)
            return false;
        name = rest.substr(0, colon);
        portText = rest.substr(colon + 1);
    }
    if (name.empty() || portText.empty() || portText.size() > 5 ||
        portText.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const long number = std::strtol(portText.c_str(), nullptr, 10);
    if (number < 1 || number > 65535)
        return false;
    protocol = proto;
    host = name;
    port = static_cast<unsigned short>(number);
    return true;
}

int LocalNodeRecord(ConfigDB& db, ISCSINodeInfo& node)
{
    ISCSINodeInfo local;
    int rc = LoadLocalUuid(db, local.uuid);
    if (rc == 0)
        rc = LoadOrMakeKey(db, kSettingRodKey, kRodKeyBytes, local.rod_key);
    if (rc != 0)
        return rc;
    const char* url = std::getenv("KOVA_NODE_URL");
    if (url && *url && !ParseNodeUrl(url, local.protocol, local.hostname, local.port)) {
        local.protocol.clear();
        local.hostname.clear();
        local.port = 0;
    }
    local.is_local_node = true;
    node = local;
    return 0;
}

int LoadNodeRow(ConfigDB& db, const std::string& uuid, ISCSINodeInfo& node, bool& found)
{
    Statement select(db, (std::string(kNodeColumns) + "WHERE uuid = ?1;").c_str());
    const int rc = select.bind(1, uuid).step();
    found = rc == SQLITE_ROW;
    if (found)
        ReadRow(select, node);
    return rc == SQLITE_ROW || rc == SQLITE_DONE ? 0 : ISCSI_ERR_DATABASE;
}

int ListNodeRows(ConfigDB& db, std::vector<ISCSINodeInfo>& nodes)
{
    Statement select(db, (std::string(kNodeColumns) + "ORDER BY created_at, uuid;").c_str());
    std::vector<ISCSINodeInfo> out;
    int rc;
    while ((rc = select.step()) == SQLITE_ROW) {
        ISCSINodeInfo node;
        ReadRow(select, node);
        out.push_back(node);
    }
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    nodes.swap(out);
    return 0;
}

int NodeUuidsOfHost(ConfigDB& db, const std::string& hostname, std::vector<std::string>& uuids)
{
    Statement select(db, "SELECT uuid FROM nodes WHERE hostname = ?1 ORDER BY uuid;");
    select.bind(1, hostname);
    return select.readTexts(uuids) ? 0 : ISCSI_ERR_DATABASE;
}

int WriteNodeRow(ConfigDB& db, const ISCSINodeInfo& node, bool insert)
{
    Statement write(
        db, insert ? "INSERT INTO nodes (uuid, session_id, hostname, port, protocol, rod_key, account, "
                     "cert_sha256, created_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9);"
                   : "UPDATE nodes SET session_id = ?2, hostname = ?3, port = ?4, protocol = ?5, "
                     "rod_key = ?6, account = ?7, cert_sha256 = ?8 WHERE uuid = ?1;");
    write.bind(1, node.uuid)
        .bind(2, node.session_id)
        .bind(3, node.hostname)
        .bind(4, static_cast<std::int64_t>(node.port))
        .bind(5, node.protocol)
        .bind(6, node.rod_key)
        .bind(7, node.account)
        .bind(8, node.cert_sha256);
    if (insert)
        write.bind(9, Now());
    return write.run() ? 0 : ISCSI_ERR_DATABASE;
}

int DeleteNodeRow(ConfigDB& db, const std::string& uuid)
{
    Statement remove(db, "DELETE FROM nodes WHERE uuid = ?1;");
    return remove.bind(1, uuid).run() ? 0 : ISCSI_ERR_DATABASE;
}

int NodeAtAddress(ConfigDB& db, const std::string& hostname, unsigned short port, bool& found)
{
    Statement select(db, "SELECT 1 FROM nodes WHERE hostname = ?1 AND port = ?2;");
    select.bind(1, hostname).bind(2, static_cast<std::int64_t>(port));
    return select.exists(found) ? 0 : ISCSI_ERR_DATABASE;
}

std::int64_t NodeSessionLifetime()
{
    const char* text = std::getenv("KOVA_NODE_SESSION_LIFETIME");
    if (text && *text) {
        const long long value = std::atoll(text);
        if (value > 0)
            return value;
    }
    return kNodeSessionLifetime;
}

int CreateNodeSession(ConfigDB& db, const std::string& account, const std::string& remoteIp, std::string& sid)
{
    std::string id;
    if (!RandomHex(32, id))
        return ISCSI_ERR_NOT_AVAILABLE;
    const std::int64_t now = Now();
    Statement insert(db, "INSERT INTO node_sessions (sid_hash, account, remote_ip, created_at, expires_at) "
                         "VALUES (?1, ?2, ?3, ?4, ?5);");
    insert.bind(1, Sha256Hex(id))
        .bind(2, account)
        .bind(3, remoteIp)
        .bind(4, now)
        .bind(5, now + NodeSessionLifetime());
    if (!insert.run())
        return ISCSI_ERR_DATABASE;
    sid = id;
    return 0;
}

int DeleteNodeSession(ConfigDB& db, const std::string& sid, const std::string& account,
                      const std::string& remoteIp)
{
    Statement remove(db,
                     "DELETE FROM node_sessions WHERE sid_hash = ?1 AND account = ?2 AND remote_ip = ?3;");
    if (!remove.bind(1, Sha256Hex(sid)).bind(2, account).bind(3, remoteIp).run())
        return ISCSI_ERR_DATABASE;
    return sqlite3_changes(db.handle()) > 0 ? 0 : ISCSI_ERR_NODE_SESSION_UNKNOWN;
}

int RevokeNodeSessionsFrom(ConfigDB& db, const std::vector<std::string>& addresses, int& removed)
{
    removed = 0;
    for (const auto& address : addresses) {
        Statement remove(db, "DELETE FROM node_sessions WHERE remote_ip = ?1;");
        if (!remove.bind(1, address).run())
            return ISCSI_ERR_DATABASE;
        removed += sqlite3_changes(db.handle());
    }
    return 0;
}

std::vector<std::string> AddressesOf(const std::string& hostname)
{
    std::set<std::string> found;
    found.insert(hostname);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (getaddrinfo(hostname.c_str(), nullptr, &hints, &list) == 0) {
        for (addrinfo* it = list; it; it = it->ai_next) {
            char text[NI_MAXHOST] = {0};
            if (getnameinfo(it->ai_addr, it->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0)
                found.insert(text);
        }
        freeaddrinfo(list);
    }
    return std::vector<std::string>(found.begin(), found.end());
}

} // namespace Storage
} // namespace ISCSI
