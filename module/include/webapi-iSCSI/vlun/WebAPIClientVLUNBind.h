// Method bind of KOVA.Core.ISCSI.VLUN on a remote node: ties the VLUN to a LUN of another node
// through one portal (the one that sorts first: the peer uses the first element).
#pragma once

#include <webapi-iSCSI/vlun/WebAPIClientVLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

class WebAPIClientVLUNBind : public WebAPIClientVLUN {
public:
    WebAPIClientVLUNBind();
    WebAPIClientVLUNBind(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                         const std::string& dst_node_uuid, const std::string& dst_lun_uuid,
                         const std::set<std::string>& portals);
    ~WebAPIClientVLUNBind() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string dst_node_uuid;
};

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
