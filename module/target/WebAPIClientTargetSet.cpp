#include <webapi-iSCSI/target/WebAPIClientTargetSet.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetSet::WebAPIClientTargetSet() = default;

WebAPIClientTargetSet::WebAPIClientTargetSet(const ISCSI::ISCSINodeInfo& node, const std::string& target_id,
                                             int mask, const std::string& name, const std::string& iqn,
                                             bool has_header_checksum, bool has_data_checksum,
                                             unsigned int max_recv_seg_bytes, unsigned int max_send_seg_bytes,
                                             unsigned int max_sessions, ISCSI_AUTH_TYPE auth_type,
                                             const std::string& user, const std::string& password,
                                             const std::string& mutual_user,
                                             const std::string& mutual_password)
    : WebAPIClientTarget(node, target_id, name, iqn, has_header_checksum, has_data_checksum,
                         max_recv_seg_bytes, max_send_seg_bytes, max_sessions, auth_type, user, password,
                         mutual_user, mutual_password),
      mask(mask)
{}

WebAPIClientTargetSet::~WebAPIClientTargetSet() = default;

int WebAPIClientTargetSet::send()
{
    beginRequest(API, "set");
    params["target_id"] = target_id;
    if (mask & ISCSI_TARGET_UPDATE_NAME)
        params["name"] = name;
    if (mask & ISCSI_TARGET_UPDATE_IQN)
        params["iqn"] = iqn;
    if (mask & ISCSI_TARGET_UPDATE_MAX_SESSIONS)
        params["max_sessions"] = max_sessions;
    if (mask & ISCSI_TARGET_UPDATE_HEADER_CHECKSUM)
        params["has_header_checksum"] = has_header_checksum;
    if (mask & ISCSI_TARGET_UPDATE_DATA_CHECKSUM)
        params["has_data_checksum"] = has_data_checksum;
    if (mask & ISCSI_TARGET_UPDATE_MAX_RECV_SEG_BYTES)
        params["max_recv_seg_bytes"] = max_recv_seg_bytes;
    if (mask & ISCSI_TARGET_UPDATE_MAX_SEND_SEG_BYTES)
        params["max_send_seg_bytes"] = max_send_seg_bytes;
    // Credentials are sent only with an authentication type, never on their own.
    if (mask & ISCSI_TARGET_UPDATE_AUTH_TYPE) {
        params["auth_type"] = static_cast<int>(auth_type);
        if (mask & ISCSI_TARGET_UPDATE_USER)
            params["user"] = user;
        if (mask & ISCSI_TARGET_UPDATE_PASSWORD)
            params["password"] = password;
        if (mask & ISCSI_TARGET_UPDATE_MUTUAL_USER)
            params["mutual_user"] = mutual_user;
        if (mask & ISCSI_TARGET_UPDATE_MUTUAL_PASSWORD)
            params["mutual_password"] = mutual_password;
    }
    return sendRequestByDrNode();
}

bool WebAPIClientTargetSet::isInvalid() const
{
    return dst_node.isInvalid(false) || target_id.empty();
}

std::string WebAPIClientTargetSet::toString() const
{
    return leafText();
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
