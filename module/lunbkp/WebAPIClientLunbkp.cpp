#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkp.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

WebAPIClientLunbkp::WebAPIClientLunbkp() = default;

WebAPIClientLunbkp::WebAPIClientLunbkp(const ISCSI::ISCSINodeInfo& node) : WebAPIClient(node) {}

WebAPIClientLunbkp::WebAPIClientLunbkp(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClient(node), uuid(uuid)
{}

WebAPIClientLunbkp::~WebAPIClientLunbkp() = default;

std::string WebAPIClientLunbkp::toString() const
{
    return "LUNBKP: [uuid: " + uuid + "]";
}

std::string WebAPIClientLunbkp::leafText(const std::string& own) const
{
    return WebAPIClient::toString() + ", " + WebAPIClientLunbkp::toString() + own + ", " + responseText();
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
