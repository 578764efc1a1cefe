// Method get of KOVA.Core.ISCSI.VLUN on a remote node: the VLUN's status and sizes.
#pragma once

#include <webapi-iSCSI/vlun/WebAPIClientVLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

class WebAPIClientVLUNGet : public WebAPIClientVLUN {
public:
    WebAPIClientVLUNGet();
    WebAPIClientVLUNGet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientVLUNGet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    int status = 0;
    unsigned long long sync_size = 0;
    unsigned long long total_size = 0;
};

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
