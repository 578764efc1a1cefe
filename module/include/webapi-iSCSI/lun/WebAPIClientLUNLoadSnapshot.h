// Method load_snapshot of KOVA.Core.ISCSI.LUN on a remote node: loads a snapshot into the data path.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNLoadSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNLoadSnapshot();
    WebAPIClientLUNLoadSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid,
                                bool is_for_trash, bool is_for_unsync_size);
    ~WebAPIClientLUNLoadSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    bool is_for_trash = false;
    bool is_for_unsync_size = false;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
