// Method stop_clone of KOVA.Core.ISCSI.LUN on a remote node: stops the clone of a LUN (an empty uuid is left
// for the peer to refuse).
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNStopClone : public WebAPIClientLUN {
public:
    WebAPIClientLUNStopClone();
    WebAPIClientLUNStopClone(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLUNStopClone() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
