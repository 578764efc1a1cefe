#include <webapi-iSCSI/lun/WebAPIClientLUNImportCancel.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNImportCancel::WebAPIClientLUNImportCancel() = default;

WebAPIClientLUNImportCancel::WebAPIClientLUNImportCancel(const ISCSI::ISCSINodeInfo& node,
                                                         const std::string& src_lun_uuid)
    : WebAPIClientLUN(node, src_lun_uuid)
{}

WebAPIClientLUNImportCancel::~WebAPIClientLUNImportCancel() = default;

int WebAPIClientLUNImportCancel::send()
{
    beginRequest(API, "import_cancel");
    params["src_lun_uuid"] = uuid;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNImportCancel::isInvalid() const
{
    return dst_node.isInvalid(false) || uuid.empty();
}

std::string WebAPIClientLUNImportCancel::toString() const
{
    return leafText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
