#include <webapi-iSCSI/lun/WebAPIClientLUNList.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNList::WebAPIClientLUNList() = default;

// The location filter is kept in the family's location; the family's type stays 0.
WebAPIClientLUNList::WebAPIClientLUNList(const ISCSI::ISCSINodeInfo& node, const std::string& type,
                                         const std::set<std::string>& types, _tag_iscsi_lun_category category,
                                         const std::string& location,
                                         const std::vector<std::string>& additional)
    : WebAPIClientLUN(node, std::string(), ISCSI_LUN_TYPE_NONE, location, 0, 0), type_text(type),
      types(types), category(category), additional(additional)
{}

WebAPIClientLUNList::~WebAPIClientLUNList() = default;

int WebAPIClientLUNList::send()
{
    beginRequest(API, "list");
    SetIfNotEmpty(params, "type", type_text);
    SetIfNotEmpty(params, "types", types);
    if (category != ISCSI_LUN_CATEGORY_ALL)
        params["category"] = static_cast<int>(category);
    SetIfNotEmpty(params, "location", location);
    SetIfNotEmpty(params, "additional", additional);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    return ReadReplyRecords<ISCSI::ISCSILUNInfo>(replyData(), "luns", luns);
}

bool WebAPIClientLUNList::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientLUNList::toString() const
{
    std::string text = "luns: [";
    for (std::size_t i = 0; i < luns.size(); ++i)
        text += Text(i) + ": " + luns[i].toString();
    return leafText(text + "] ,");
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
