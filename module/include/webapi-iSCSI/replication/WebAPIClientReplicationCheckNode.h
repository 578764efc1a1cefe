// Method check_node of KOVA.Core.ISCSI.Replication on a remote node: tests that it reaches a
// destination node at dst_address (dst_port sent only when set).
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationCheckNode : public WebAPIClientReplication {
public:
    WebAPIClientReplicationCheckNode();
    WebAPIClientReplicationCheckNode(const ISCSI::ISCSINodeInfo& node, const std::string& dst_node_uuid,
                                     const std::string& dst_address, unsigned int dst_port,
                                     bool chk_blun_conn);
    ~WebAPIClientReplicationCheckNode() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string dst_address;
    unsigned int dst_port = 0;
    bool chk_blun_conn = false;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
