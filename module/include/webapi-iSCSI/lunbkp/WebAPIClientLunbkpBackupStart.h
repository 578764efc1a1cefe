// Method lunbackup_start of KOVA.Core.ISCSI.Lunbkp on a remote node: copies the LUN to the block device at
// block_dev_path (the path that target_connect answered).
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpBackupStart : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpBackupStart();
    explicit WebAPIClientLunbkpBackupStart(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpBackupStart(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                  const std::string& block_dev_path);
    ~WebAPIClientLunbkpBackupStart() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string block_dev_path;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
