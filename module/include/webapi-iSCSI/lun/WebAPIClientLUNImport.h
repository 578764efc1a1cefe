// Method import of KOVA.Core.ISCSI.LUN on a remote node: imports an exported snapshot into a LUN.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNImport : public WebAPIClientLUN {
public:
    WebAPIClientLUNImport();
    WebAPIClientLUNImport(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                          const std::string& exported_dir_path, const std::string& snapshot_name,
                          const std::string& description, const std::string& taken_by);
    ~WebAPIClientLUNImport() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string exported_dir_path;
    std::string snapshot_name;
    std::string description;
    std::string taken_by;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
