// Method top of KOVA.Core.ISCSI.LUN on a remote node: the I/O statistics of LUNs; the reply's iostats are
// kept as styled JSON text.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNTop : public WebAPIClientLUN {
public:
    WebAPIClientLUNTop();
    WebAPIClientLUNTop(const ISCSI::ISCSINodeInfo& node, bool object, const std::string& filter_attr,
                       const std::string& filter_value, const std::vector<std::string>& uuids);
    ~WebAPIClientLUNTop() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    bool object = false;
    std::string filter_attr;
    std::string filter_value;
    std::vector<std::string> uuids;
    std::string iostats;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
