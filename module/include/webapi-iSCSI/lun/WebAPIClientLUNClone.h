// Method clone of KOVA.Core.ISCSI.LUN on a remote node: a copy of the LUN uuid (sent as
// src_lun_uuid) on that node, or, with dst_node_uuid, on a third node; the new LUN's uuid is read
// into dst_lun_uuid. The request has no is_delete_parent_lun, map_new_lun_to_target_ids or
// is_same_pool: a clone asked for this way keeps its parent and is mapped to no target.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNClone : public WebAPIClientLUN {
public:
    WebAPIClientLUNClone();
    WebAPIClientLUNClone(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                         const std::string& dst_lun_name, const std::string& clone_type,
                         const std::string& dst_location, const std::string& dst_node_uuid,
                         const std::string& dst_address, unsigned int dst_port, bool is_data_encrypted,
                         bool is_soft_feas_ignored, bool is_data_clone, const std::string& vpd_unit_sn);
    ~WebAPIClientLUNClone() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string dst_lun_name;
    std::string clone_type;
    std::string dst_location;
    std::string dst_node_uuid;
    std::string dst_address;
    unsigned int dst_port = 0;
    bool is_data_encrypted = false;
    bool is_soft_feas_ignored = false;
    bool is_data_clone = false;
    std::string vpd_unit_sn;

    // Read from the reply.
    std::string dst_lun_uuid;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
