// Method stop_snapshot of KOVA.Core.ISCSI.LUN on a remote node: stops the taking of a snapshot of the LUN
// uuid (sent as src_lun_uuid).
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNStopSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNStopSnapshot();
    WebAPIClientLUNStopSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                                const std::string& snapshot_uuid);
    ~WebAPIClientLUNStopSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
