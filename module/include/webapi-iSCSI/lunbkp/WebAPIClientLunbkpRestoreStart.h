// Method lunrestore_start of KOVA.Core.ISCSI.Lunbkp on a remote node: copies the block device at
// block_dev_path (the path that target_connect answered) back to the LUN.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpRestoreStart : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpRestoreStart();
    explicit WebAPIClientLunbkpRestoreStart(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpRestoreStart(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                   const std::string& block_dev_path);
    ~WebAPIClientLunbkpRestoreStart() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string block_dev_path;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
