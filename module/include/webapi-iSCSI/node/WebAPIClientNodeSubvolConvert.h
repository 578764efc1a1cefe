// Method subvol_convert of KOVA.Core.ISCSI.Node on a remote node: converts the iSCSI data under a
// root path into a subvolume.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeSubvolConvert : public WebAPIClientNode {
public:
    WebAPIClientNodeSubvolConvert();
    WebAPIClientNodeSubvolConvert(const ISCSI::ISCSINodeInfo& node, const std::string& root_path);
    ~WebAPIClientNodeSubvolConvert() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string root_path;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
