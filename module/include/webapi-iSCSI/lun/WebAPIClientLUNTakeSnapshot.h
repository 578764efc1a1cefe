// Method take_snapshot of KOVA.Core.ISCSI.LUN on a remote node: a snapshot of the LUN uuid
// (sent as src_lun_uuid); the new snapshot's uuid and id are read into snapshot_uuid and snapshot_id.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNTakeSnapshot : public WebAPIClientLUN {
public:
    WebAPIClientLUNTakeSnapshot();
    WebAPIClientLUNTakeSnapshot(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                                bool is_app_consistent, bool is_locked, const std::string& snapshot_name,
                                const std::string& description, const std::string& taken_by,
                                long snapshot_time, bool is_scheduled, const std::string& src_snap_dir,
                                const std::string& snap_version);
    ~WebAPIClientLUNTakeSnapshot() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    bool is_app_consistent = false;
    bool is_locked = false;
    std::string snapshot_name;
    std::string description;
    std::string taken_by;
    long snapshot_time = 0;
    bool is_scheduled = false;
    std::string src_snap_dir;
    std::string snap_version;

    // Read from the reply.
    std::string snapshot_uuid;
    int snapshot_id = -1;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
