// Method target_connect of KOVA.Core.ISCSI.Lunbkp on a remote node: attaches the iSCSI target
// target_iqn at target_ip to that node; the path of the block device that stands for it there
// is read into block_dev_path, which the backup and restore leaves take. The family's uuid
// stays empty.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpTargetConnect : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpTargetConnect();
    explicit WebAPIClientLunbkpTargetConnect(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpTargetConnect(const ISCSI::ISCSINodeInfo& node, const std::string& target_ip,
                                    const std::string& target_iqn);
    ~WebAPIClientLunbkpTargetConnect() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string target_ip;
    std::string target_iqn;
    std::string block_dev_path;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
