// Method list_snapshot of KOVA.Core.ISCSI.LUN on a remote node: the snapshots of the LUN uuid
// (sent as src_lun_uuid when given, else of all LUNs), or only their count.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <iscsi/ISCSISnapshotInfo.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNListSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNListSnapshot();
    WebAPIClientLUNListSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                                bool is_count_only, const std::vector<std::string>& additional);
    ~WebAPIClientLUNListSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    bool is_count_only = false;
    std::vector<std::string> additional;

    // Read from the reply.
    unsigned int count = 0;
    std::vector<ISCSI::ISCSISnapshotInfo> snapshots;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
