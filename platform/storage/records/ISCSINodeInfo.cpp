// Data code of the node record: its fields, JSON form, text and validity rule.
#include <iscsi/ISCSINodeInfo.h>

#include "RecordJson.h"

namespace ISCSI {

using namespace RecordJson;

ISCSINodeInfo::ISCSINodeInfo() : port(0), is_local_node(false) {}

ISCSINodeInfo::ISCSINodeInfo(const std::string& uuid) : uuid(uuid), port(0), is_local_node(false) {}

ISCSINodeInfo::ISCSINodeInfo(const std::string& remoteIp, const std::string& loginUserName)
    : hostname(remoteIp), port(0), account(loginUserName), is_local_node(false)
{}

ISCSINodeInfo::ISCSINodeInfo(const std::string& remoteIp, const std::string& loginUserName,
                             const std::string& sessionId)
    : session_id(sessionId), hostname(remoteIp), port(0), account(loginUserName), is_local_node(false)
{}

ISCSINodeInfo::ISCSINodeInfo(const std::string& uuid, const std::string& sessionId,
                             const std::string& hostname, unsigned short port, const std::string& protocol,
                             const std::string& rodKey, const std::string& account, bool isLocalNode)
    : uuid(uuid), session_id(sessionId), hostname(hostname), port(port), protocol(protocol), rod_key(rodKey),
      account(account), is_local_node(isLocalNode)
{}

ISCSINodeInfo::~ISCSINodeInfo() = default;

int ISCSINodeInfo::toJsonFormat(Json::Value& out) const
{
    out = Json::Value(Json::objectValue);
    out["uuid"] = uuid;
    out["session_id"] = session_id;
    out["hostname"] = hostname;
    out["port"] = static_cast<unsigned int>(port);
    out["protocol"] = protocol;
    out["rod_key"] = rod_key;
    out["account"] = account;
    out["is_local_node"] = is_local_node;
    return 0;
}

int ISCSINodeInfo::loadFromJson(const Json::Value& in)
{
    // The port only as an integer from 0 to 65535; a bad member leaves the whole record as it
    // was.
    if (!in.isObject() || !ReadAllOrNothing(*this, [&in](ISCSINodeInfo& read) {
            return ReadMember(in, "uuid", read.uuid) && ReadMember(in, "session_id", read.session_id) &&
                   ReadMember(in, "hostname", read.hostname) &&
                   ReadMember(in, "port", read.port, Numbers::Integers) &&
                   ReadMember(in, "protocol", read.protocol) && ReadMember(in, "rod_key", read.rod_key) &&
                   ReadMember(in, "account", read.account) &&
                   ReadMember(in, "is_local_node", read.is_local_node);
        }))
        return ISCSI_ERR_NODE_RECORD_INVALID;
    return 0;
}

std::string ISCSINodeInfo::toString() const
{
    return "uuid: " + uuid + ", session_id: " + session_id + ", hostname: " + hostname +
           ", port: " + std::to_string(port) + ", protocol: " + protocol + ", rod_key: " + rod_key +
           ", account: " + account + ", is_local_node: " + (is_local_node ? "true" : "false");
}

bool ISCSINodeInfo::isInvalid(bool useOwnSession) const
{
    if (!useOwnSession)
        return uuid.empty();
    return hostname.empty() || port == 0 || protocol.empty() || account.empty() || password.empty();
}

} // namespace ISCSI
