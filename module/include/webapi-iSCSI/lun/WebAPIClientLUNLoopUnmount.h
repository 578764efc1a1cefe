// Method loop_unmount of KOVA.Core.ISCSI.LUN on a remote node: detaches a LUN from its loop device.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNLoopUnmount : public WebAPIClientLUN {
public:
    WebAPIClientLUNLoopUnmount();
    WebAPIClientLUNLoopUnmount(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLUNLoopUnmount() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
