// Method delete of KOVA.Core.ISCSI.Replication on a remote node: removes a replication, and its
// LUN when delete_lun is true.
#pragma once

#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplicationDelete : public WebAPIClientReplication {
public:
    WebAPIClientReplicationDelete();
    WebAPIClientReplicationDelete(const ISCSI::ISCSINodeInfo& node, const std::string& uuid, bool delete_lun);
    ~WebAPIClientReplicationDelete() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    bool delete_lun = false;
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
