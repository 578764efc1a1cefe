#include <webapi-iSCSI/node/WebAPIClientNodeLogExport.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

WebAPIClientNodeLogExport::WebAPIClientNodeLogExport() = default;

WebAPIClientNodeLogExport::WebAPIClientNodeLogExport(const ISCSI::ISCSINodeInfo& node,
                                                     const std::string& export_format, int date_from,
                                                     int date_to, const std::string& keyword,
                                                     const std::vector<std::string>& log_level)
    : WebAPIClientNode(node), export_format(export_format), date_from(date_from), date_to(date_to),
      keyword(keyword), log_level(log_level)
{}

WebAPIClientNodeLogExport::~WebAPIClientNodeLogExport() = default;

int WebAPIClientNodeLogExport::send()
{
    beginRequest(API, "log_export");
    SetIfNotEmpty(params, "export_format", export_format);
    setLogFilter(date_from, date_to, keyword, log_level);
    return sendRequestByDrNode();
}

bool WebAPIClientNodeLogExport::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientNodeLogExport::toString() const
{
    return leafText();
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
