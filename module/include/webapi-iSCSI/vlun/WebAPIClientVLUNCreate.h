// Method create of KOVA.Core.ISCSI.VLUN on a remote node: a VLUN of a LUN; its uuid is read into uuid.
#pragma once

#include <webapi-iSCSI/vlun/WebAPIClientVLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

class WebAPIClientVLUNCreate : public WebAPIClientVLUN {
public:
    WebAPIClientVLUNCreate();
    WebAPIClientVLUNCreate(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                           ISCSI::_tag_iscsi_vlun_type type);
    ~WebAPIClientVLUNCreate() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
