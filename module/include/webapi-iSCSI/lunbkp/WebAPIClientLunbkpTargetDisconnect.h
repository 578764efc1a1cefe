// Method target_disconnect of KOVA.Core.ISCSI.Lunbkp on a remote node: detaches the iSCSI
// target target_iqn at target_ip from that node. The family's uuid stays empty.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpTargetDisconnect : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpTargetDisconnect();
    explicit WebAPIClientLunbkpTargetDisconnect(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpTargetDisconnect(const ISCSI::ISCSINodeInfo& node, const std::string& target_ip,
                                       const std::string& target_iqn);
    ~WebAPIClientLunbkpTargetDisconnect() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string target_ip;
    std::string target_iqn;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
