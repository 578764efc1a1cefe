// Method unload_lun of KOVA.Core.ISCSI.LUN on a remote node: unloads the LUN, for the trash or for the
// computation of its unsynchronised size.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNUnloadLUN : public WebAPIClientLUN {
public:
    WebAPIClientLUNUnloadLUN();
    WebAPIClientLUNUnloadLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid, bool is_for_trash,
                             bool is_for_unsync_size);
    ~WebAPIClientLUNUnloadLUN() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    bool is_for_trash = false;
    bool is_for_unsync_size = false;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
