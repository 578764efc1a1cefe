// Method create of KOVA.Core.ISCSI.LUN on a remote node: a new LUN, whose uuid and lun_id are
// read into the family's fields.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <set>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNCreate : public WebAPIClientLUN {
public:
    WebAPIClientLUNCreate();
    WebAPIClientLUNCreate(const ISCSI::ISCSINodeInfo& node, const std::string& name, _tag_iscsi_lun_type type,
                          const std::string& location, unsigned long long size, unsigned int extent_size,
                          const std::string& vpd_unit_sn, const std::string& src_lun_dir,
                          const std::string& src_lun_file, bool is_soft_feas_ignored,
                          const std::set<std::string>& dev_attribs);
    ~WebAPIClientLUNCreate() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string vpd_unit_sn;
    std::string src_lun_dir;
    std::string src_lun_file;
    bool is_soft_feas_ignored = false;
    // Device attributes as texts "name:value", such as "emulate_caw:1".
    std::set<std::string> dev_attribs;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
