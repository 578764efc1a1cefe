// The client classes of KOVA.Core.ISCSI.Node: the family's fields and text. The fields describe
// a node as its web API is reached: uuid, address, rod key, the account that logs in and the
// session it holds.
//
// The family uses all three ways of carrying a request: a call on a node that is not known yet
// goes by account (create_session, and create on a node outside the node configuration), a
// call that changes the set of nodes or sessions goes by session id, the rest goes through the
// node channel.
#pragma once

#include <webapi-iSCSI/etc/WebAPIClient.h>

#include <string>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNode : public WebAPIClient {
public:
    WebAPIClientNode();
    // For a leaf that names no node of its own.
    explicit WebAPIClientNode(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientNode(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    WebAPIClientNode(const ISCSI::ISCSINodeInfo& node, const std::string& uuid, const std::string& hostname,
                     unsigned short port, const std::string& protocol, const std::string& rod_key,
                     const std::string& account, const std::string& password, const std::string& otp_code);
    ~WebAPIClientNode() override;

    // "Node: [uuid: U ,hostname: H ,port: P ,protocol: R ,rod_key: K ,account: A ,otp_code: O
    // ,session_id: S]"; the password is left out.
    std::string toString() const;

    std::string uuid;
    std::string hostname;
    unsigned short port;
    std::string protocol;
    std::string rod_key;
    std::string account;
    std::string password;
    std::string otp_code;
    std::string session_id;

protected:
    static constexpr const char* API = "KOVA.Core.ISCSI.Node";
    // A leaf's text: the root's, " ,", the family's, " ,", the leaf's own fields (each leaf's
    // own text ends in " ," when it has one) and "[Response: ...]".
    std::string leafText(const std::string& own = std::string()) const;
    // The filter of the service log that log_list and log_export share, into params: the dates
    // when 0 or over, the keyword and the levels when set.
    void setLogFilter(int date_from, int date_to, const std::string& keyword,
                      const std::vector<std::string>& log_level);
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
