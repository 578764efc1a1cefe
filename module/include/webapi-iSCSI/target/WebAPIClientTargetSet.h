// Method set of KOVA.Core.ISCSI.Target on a remote node: changes the settings of a target whose
// bits (ISCSI_TARGET_UPDATE_*) are set in mask. The four credentials travel only together with
// the authentication type: without its bit they are not sent, whatever their own bits say.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetSet : public WebAPIClientTarget {
public:
    WebAPIClientTargetSet();
    WebAPIClientTargetSet(const ISCSI::ISCSINodeInfo& node, const std::string& target_id, int mask,
                          const std::string& name, const std::string& iqn, bool has_header_checksum,
                          bool has_data_checksum, unsigned int max_recv_seg_bytes,
                          unsigned int max_send_seg_bytes, unsigned int max_sessions,
                          ISCSI_AUTH_TYPE auth_type, const std::string& user, const std::string& password,
                          const std::string& mutual_user, const std::string& mutual_password);
    ~WebAPIClientTargetSet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    // ISCSI_TARGET_UPDATE_* bits of the settings to change.
    int mask = 0;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
