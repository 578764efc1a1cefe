// Method export_cancel of KOVA.Core.ISCSI.LUN on a remote node: cancels the export of a snapshot.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNExportCancel : public WebAPIClientLUN {
public:
    WebAPIClientLUNExportCancel();
    WebAPIClientLUNExportCancel(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid);
    ~WebAPIClientLUNExportCancel() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
