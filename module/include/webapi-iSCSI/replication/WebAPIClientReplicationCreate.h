// Method create of KOVA.Core.ISCSI.Replication on a remote node, the source: replicates one of its
// LUNs to a new LUN on the destination node; the task uuid and that LUN's uuid are read back.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationCreate : public WebAPIClientReplication {
public:
    WebAPIClientReplicationCreate();
    WebAPIClientReplicationCreate(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                                  const std::string& dst_node_uuid, const std::string& dst_location,
                                  const std::string& dst_lun_name);
    ~WebAPIClientReplicationCreate() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string dst_location;
    std::string dst_lun_name;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
