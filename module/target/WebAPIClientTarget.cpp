#include <webapi-iSCSI/target/WebAPIClientTarget.h>

#include "etc/WebAPIClientFields.h"

#include <kova/Core.h>

#include <sys/socket.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTarget::WebAPIClientTarget() = default;

WebAPIClientTarget::WebAPIClientTarget(const ISCSI::ISCSINodeInfo& node) : WebAPIClient(node) {}

WebAPIClientTarget::WebAPIClientTarget(const ISCSI::ISCSINodeInfo& node, const std::string& target_id)
    : WebAPIClient(node), target_id(target_id)
{}

WebAPIClientTarget::WebAPIClientTarget(const ISCSI::ISCSINodeInfo& node, const std::string& name,
                                       const std::string& iqn, ISCSI_AUTH_TYPE auth_type,
                                       const std::string& user, const std::string& password,
                                       const std::string& mutual_user, const std::string& mutual_password,
                                       unsigned int max_sessions)
    : WebAPIClient(node), name(name), iqn(iqn), max_sessions(max_sessions), auth_type(auth_type), user(user),
      password(password), mutual_user(mutual_user), mutual_password(mutual_password)
{}

WebAPIClientTarget::WebAPIClientTarget(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                                       const std::string& name, const std::string& iqn,
                                       bool has_header_checksum, bool has_data_checksum,
                                       unsigned int max_recv_seg_bytes, unsigned int max_send_seg_bytes,
                                       unsigned int max_sessions, ISCSI_AUTH_TYPE auth_type,
                                       const std::string& user, const std::string& password,
                                       const std::string& mutual_user, const std::string& mutual_password)
    : WebAPIClient(node), target_id(target_id), name(name), iqn(iqn),
      has_header_checksum(has_header_checksum), has_data_checksum(has_data_checksum),
      max_recv_seg_bytes(max_recv_seg_bytes), max_send_seg_bytes(max_send_seg_bytes),
      max_sessions(max_sessions), auth_type(auth_type), user(user), password(password),
      mutual_user(mutual_user), mutual_password(mutual_password)
{}

WebAPIClientTarget::~WebAPIClientTarget() = default;

std::string WebAPIClientTarget::toString() const
{
    return "target: [target_id: " + target_id + " ,name: " + name + " ,iqn: " + iqn +
           " ,max_sessions: " + Text(max_sessions) + " ,auth_type: " + Text(auth_type) + " ,user: " + user +
           " ,password: " + password + " ,mutual_user: " + mutual_user +
           " ,mutual_password: " + mutual_password + "]";
}

std::string WebAPIClientTarget::leafText(const std::string& own) const
{
    return WebAPIClient::toString() + " ," + WebAPIClientTarget::toString() + " ," + own + responseText();
}

std::string WebAPIClientTarget::lunUuidsText(const std::set<std::string>& lun_uuids) const
{
    return WebAPIClient::toString() + " ," + WebAPIClientTarget::toString() +
           ",[uuids: " + EachFollowedByBlank(lun_uuids) + " ," + responseText();
}

Json::Value WebAPIClientTarget::NetworkPortalsJson(const std::set<std::string>& network_portals)
{
    Json::Value portals(Json::arrayValue);
    for (const std::string& portal : network_portals) {
        Json::Value object(Json::objectValue);
        const std::string::size_type colon = portal.find(':');
        const std::string address = portal.substr(0, colon);
        if (colon != std::string::npos)
            object["port"] = portal.substr(colon + 1);
        const int family = address.empty() ? -1 : KOVANetGetAddrType(address.c_str());
        if (family == AF_INET || family == AF_INET6)
            object["ip"] = address;
        else
            object["interface_name"] = address;
        portals.append(object);
    }
    return portals;
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
