// Method unload_snapshot of KOVA.Core.ISCSI.LUN on a remote node: unloads a snapshot from the data path.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNUnloadSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNUnloadSnapshot();
    WebAPIClientLUNUnloadSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid,
                                  bool is_for_trash, bool is_for_unsync_size);
    ~WebAPIClientLUNUnloadSnapshot() override;

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
