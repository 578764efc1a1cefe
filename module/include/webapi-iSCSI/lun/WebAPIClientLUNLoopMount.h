// Method loop_mount of KOVA.Core.ISCSI.LUN on a remote node: attaches a LUN to a loop device; its path is
// read into loop_dev_path.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNLoopMount : public WebAPIClientLUN {
public:
    WebAPIClientLUNLoopMount();
    WebAPIClientLUNLoopMount(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLUNLoopMount() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string loop_dev_path;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
