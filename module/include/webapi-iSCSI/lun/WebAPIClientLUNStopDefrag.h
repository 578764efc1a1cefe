// Method stop_defrag of KOVA.Core.ISCSI.LUN on a remote node: stops the defragmentation of a LUN.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNStopDefrag : public WebAPIClientLUN {
public:
    WebAPIClientLUNStopDefrag();
    WebAPIClientLUNStopDefrag(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLUNStopDefrag() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
