// Method lunbkp_progress_get of KOVA.Core.ISCSI.Lunbkp on a remote node: the progress of the
// LUN's running backup or restore, read into lunbkp_progress (the storage library's number),
// lunbkp_offset_sector and lunbkp_total_sector.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpProgressGet : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpProgressGet();
    explicit WebAPIClientLunbkpProgressGet(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpProgressGet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLunbkpProgressGet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    int lunbkp_progress = 0;
    unsigned long long lunbkp_offset_sector = 0;
    unsigned long long lunbkp_total_sector = 0;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
