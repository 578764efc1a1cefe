// Method lunbkp_bitmap_reset of KOVA.Core.ISCSI.Lunbkp on a remote node: resets the LUN's bitmap of copied
// blocks, so that the next copy is a full one.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpBitmapReset : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpBitmapReset();
    explicit WebAPIClientLunbkpBitmapReset(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkpBitmapReset(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLunbkpBitmapReset() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
