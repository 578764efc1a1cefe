// Method delete_snapshot of KOVA.Core.ISCSI.LUN on a remote node: the snapshot snapshot_uuid,
// or those of snapshot_uuids when that set has elements (snapshot_uuid is still needed then).
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNDeleteSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNDeleteSnapshot();
    WebAPIClientLUNDeleteSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& snapshot_uuid,
                                  const std::string& deleted_by, const std::set<std::string>& snapshot_uuids);
    ~WebAPIClientLUNDeleteSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    std::string deleted_by;
    std::set<std::string> snapshot_uuids;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
