// Method defrag of KOVA.Core.ISCSI.LUN on a remote node: starts the defragmentation of a LUN (an empty uuid
// is left for the peer to refuse).
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNStartDefrag : public WebAPIClientLUN {
public:
    WebAPIClientLUNStartDefrag();
    WebAPIClientLUNStartDefrag(const ISCSI::ISCSINodeInfo& node, const std::string& uuid, bool background);
    ~WebAPIClientLUNStartDefrag() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    bool background = false;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
