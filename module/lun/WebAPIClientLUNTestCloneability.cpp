#include <webapi-iSCSI/lun/WebAPIClientLUNTestCloneability.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

WebAPIClientLUNTestCloneability::WebAPIClientLUNTestCloneability(const ISCSI::ISCSINodeInfo& node,
                                                                 const std::string& src_lun_file,
                                                                 const std::string& location)
    : WebAPIClientLUN(node), src_lun_file(src_lun_file)
{
    this->location = location;
}

WebAPIClientLUNTestCloneability::~WebAPIClientLUNTestCloneability() = default;

int WebAPIClientLUNTestCloneability::send()
{
    beginRequest(API, "test_cloneability");
    params["src_lun_file"] = src_lun_file;
    params["location"] = location;
    return sendRequestByDrNode();
}

bool WebAPIClientLUNTestCloneability::isInvalid() const
{
    // The node record is not tested.
    return src_lun_file.empty() || location.empty();
}

std::string WebAPIClientLUNTestCloneability::toString() const
{
    return WebAPIClient::toString() + " ," + responseText();
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
