// Method import_cancel of KOVA.Core.ISCSI.LUN on a remote node: cancels an import into a LUN.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNImportCancel : public WebAPIClientLUN {
public:
    WebAPIClientLUNImportCancel();
    WebAPIClientLUNImportCancel(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid);
    ~WebAPIClientLUNImportCancel() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
