// Method backuplun_move of KOVA.Core.ISCSI.Lunbkp on a remote node: moves the LUN to the
// location dst_location.
#pragma once

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkpLunMove : public WebAPIClientLunbkp {
public:
    WebAPIClientLunbkpLunMove();
    WebAPIClientLunbkpLunMove(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                              const std::string& dst_location);
    ~WebAPIClientLunbkpLunMove() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string dst_location;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
