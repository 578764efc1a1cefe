// Method lunbkp_size_get of KOVA.Core.ISCSI.Lunbkp on a remote node: the size of what the
// LUN's backup copies, in sectors, read into lunbkp_total_sector.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpSizeGet : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpSizeGet();
    explicit WebAPIClientLunbkpSizeGet(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpSizeGet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLunbkpSizeGet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    unsigned long long lunbkp_total_sector = 0;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
