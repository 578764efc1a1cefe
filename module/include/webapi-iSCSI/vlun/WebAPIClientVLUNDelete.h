// Method delete of KOVA.Core.ISCSI.VLUN on a remote node.
#pragma once

#include <webapi-iSCSI/vlun/WebAPIClientVLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

class WebAPIClientVLUNDelete : public WebAPIClientVLUN {
public:
    WebAPIClientVLUNDelete();
    WebAPIClientVLUNDelete(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientVLUNDelete() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
