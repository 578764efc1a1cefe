// Method clone_snapshot of KOVA.Core.ISCSI.LUN on a remote node: a new LUN cloned_lun_name from
// a snapshot of the LUN uuid (sent as src_lun_uuid); its uuid is read into cloned_lun_uuid.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNCloneSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNCloneSnapshot();
    WebAPIClientLUNCloneSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                                 const std::string& snapshot_uuid, const std::string& cloned_lun_name,
                                 const std::string& clone_type, const std::string& vpd_unit_sn);
    ~WebAPIClientLUNCloneSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string snapshot_uuid;
    std::string cloned_lun_name;
    std::string clone_type;
    std::string vpd_unit_sn;

    // Read from the reply.
    std::string cloned_lun_uuid;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
