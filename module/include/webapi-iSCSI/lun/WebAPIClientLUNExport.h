// Method export of KOVA.Core.ISCSI.LUN on a remote node: exports a snapshot into a directory.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNExport : public WebAPIClientLUN {
public:
    WebAPIClientLUNExport();
    WebAPIClientLUNExport(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid,
                          const std::string& exported_dir_path);
    ~WebAPIClientLUNExport() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    std::string exported_dir_path;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
