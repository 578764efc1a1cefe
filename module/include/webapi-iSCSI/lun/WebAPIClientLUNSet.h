// Method set of KOVA.Core.ISCSI.LUN on a remote node: changes a LUN's name, size, type, location,
// unit serial number and device attributes. new_size, new_type, is_soft_feas_ignored and
// dev_attribs are always sent, so the peer takes them as given.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNSet : public WebAPIClientLUN {
public:
    WebAPIClientLUNSet();
    WebAPIClientLUNSet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid, const std::string& new_name,
                       unsigned long long new_size, const std::string& new_type,
                       const std::string& new_location, const std::string& vpd_unit_sn,
                       bool is_soft_feas_ignored, const std::set<std::string>& dev_attribs);
    ~WebAPIClientLUNSet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string new_name;
    unsigned long long new_size = 0;
    std::string new_type;
    std::string new_location;
    std::string vpd_unit_sn;
    bool is_soft_feas_ignored = false;
    // Device attributes as texts "name:value", such as "emulate_caw:1".
    std::set<std::string> dev_attribs;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
