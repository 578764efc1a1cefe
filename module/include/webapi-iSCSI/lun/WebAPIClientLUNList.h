// Method list of KOVA.Core.ISCSI.LUN on a remote node: the LUNs that pass the filters (a type
// text, a set of type texts, a category and a location), read into luns.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <iscsi/ISCSILUNInfo.h>

#include <set>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNList : public WebAPIClientLUN {
public:
    WebAPIClientLUNList();
    WebAPIClientLUNList(const ISCSI::ISCSINodeInfo& node, const std::string& type,
                        const std::set<std::string>& types, _tag_iscsi_lun_category category,
                        const std::string& location, const std::vector<std::string>& additional);
    ~WebAPIClientLUNList() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    // The single type filter, sent as "type" (the family's type is the numeric one and stays 0).
    std::string type_text;
    std::set<std::string> types;
    _tag_iscsi_lun_category category = ISCSI_LUN_CATEGORY_ALL;
    std::vector<std::string> additional;

    // Read from the reply.
    std::vector<ISCSI::ISCSILUNInfo> luns;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
