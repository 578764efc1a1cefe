#include <webapi-iSCSI/target/WebAPIClientTargetCreate.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetCreate::WebAPIClientTargetCreate() = default;

WebAPIClientTargetCreate::WebAPIClientTargetCreate(const ISCSI::ISCSINodeInfo& node, const std::string& name,
                                                   const std::string& iqn, ISCSI_AUTH_TYPE auth_type,
                                                   const std::string& user, const std::string& password,
                                                   const std::string& mutual_user,
                                                   const std::string& mutual_password,
                                                   unsigned int max_sessions, bool is_soft_feas_ignored)
    : WebAPIClientTarget(node, name, iqn, auth_type, user, password, mutual_user, mutual_password,
                         max_sessions),
      is_soft_feas_ignored(is_soft_feas_ignored)
{}

WebAPIClientTargetCreate::~WebAPIClientTargetCreate() = default;

int WebAPIClientTargetCreate::send()
{
    beginRequest(API, "create");
    params["name"] = name;
    params["iqn"] = iqn;
    params["auth_type"] = static_cast<int>(auth_type);
    params["max_sessions"] = max_sessions;
    params["user"] = user;
    params["password"] = password;
    params["mutual_user"] = mutual_user;
    params["mutual_password"] = mutual_password;
    params["is_soft_feas_ignored"] = is_soft_feas_ignored;
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    // The remote node answers the id as a number; it is kept as the text that the other
    // target methods send.
    ReadReply(replyData(), "target_id", target_id);
    return 0;
}

bool WebAPIClientTargetCreate::isInvalid() const
{
    return dst_node.isInvalid(false) || name.empty() || iqn.empty();
}

std::string WebAPIClientTargetCreate::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
