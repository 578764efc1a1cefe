// The client classes of KOVA.Core.ISCSI.Target: the family's fields and text.
#pragma once

#include <webapi-iSCSI/etc/WebAPIClient.h>

#include <iscsi/ISCSITargetInfo.h>

#include <set>
#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTarget : public WebAPIClient {
public:
    WebAPIClientTarget();
    // For a leaf that names no target of its own.
    explicit WebAPIClientTarget(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientTarget(const ISCSI::ISCSINodeInfo& node, const std::string& target_id);
    // The settings of a new target.
    WebAPIClientTarget(const ISCSI::ISCSINodeInfo& node, const std::string& name, const std::string& iqn,
                       ISCSI_AUTH_TYPE auth_type, const std::string& user, const std::string& password,
                       const std::string& mutual_user, const std::string& mutual_password,
                       unsigned int max_sessions);
    // Every setting of an existing target.
    WebAPIClientTarget(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                       const std::string& name, const std::string& iqn, bool has_header_checksum,
                       bool has_data_checksum, unsigned int max_recv_seg_bytes,
                       unsigned int max_send_seg_bytes, unsigned int max_sessions, ISCSI_AUTH_TYPE auth_type,
                       const std::string& user, const std::string& password, const std::string& mutual_user,
                       const std::string& mutual_password);
    ~WebAPIClientTarget() override;

    // "target: [target_id: T ,name: N ,iqn: Q ,max_sessions: M ,auth_type: A ,user: U ,password: P
    //  ,mutual_user: MU ,mutual_password: MP]"; the passwords stand in clear, as in every logged
    // request of the target API.
    std::string toString() const;

    std::string target_id;
    std::string name;
    std::string iqn;
    bool has_header_checksum = false;
    bool has_data_checksum = false;
    unsigned int max_recv_seg_bytes = 0;
    unsigned int max_send_seg_bytes = 0;
    unsigned int max_sessions = 0;
    ISCSI_AUTH_TYPE auth_type = ISCSI_AUTH_TYPE_NONE;
    std::string user;
    std::string password;
    std::string mutual_user;
    std::string mutual_password;

protected:
    static constexpr const char* API = "KOVA.Core.ISCSI.Target";
    // A leaf's text: the root's, " ,", the family's, " ,", the leaf's own fields (each leaf's
    // own text ends in " ," when it has one) and "[Response: ...]".
    std::string leafText(const std::string& own = std::string()) const;
    // The text of the two LUN mapping leaves: the root's, " ,", the family's, ",[uuids: ", each
    // uuid followed by a blank, " ,[Response: ...]". The uuid list has no closing bracket.
    std::string lunUuidsText(const std::set<std::string>& lun_uuids) const;
    // The request form of a set of portals ("ADDRESS[:PORT]" or "INTERFACE[:PORT]"): one object
    // per portal, in the set's order, with "ip" for an IPv4 or IPv6 address and
    // "interface_name" for anything else, and "port" (a text) when the portal names one. The
    // portal is cut at its first colon, so an IPv6 address goes out as an interface name.
    static Json::Value NetworkPortalsJson(const std::set<std::string>& network_portals);
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
