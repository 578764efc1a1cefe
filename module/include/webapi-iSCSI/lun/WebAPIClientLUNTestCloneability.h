// Method test_cloneability of KOVA.Core.ISCSI.LUN on a remote node: asks whether a LUN file can be cloned to
// a location. It sends "location", which the peer's test_cloneability does not read (it requires
// "dst_location"): kept as it is.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNTestCloneability : public WebAPIClientLUN {
public:
    WebAPIClientLUNTestCloneability(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_file,
                                    const std::string& location);
    ~WebAPIClientLUNTestCloneability() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string src_lun_file;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
