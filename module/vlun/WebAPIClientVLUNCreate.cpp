#include <webapi-iSCSI/vlun/WebAPIClientVLUNCreate.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

WebAPIClientVLUNCreate::WebAPIClientVLUNCreate() = default;

WebAPIClientVLUNCreate::WebAPIClientVLUNCreate(const ISCSI::ISCSINodeInfo& node,
                                               const std::string& src_lun_uuid,
                                               ISCSI::_tag_iscsi_vlun_type type)
    : WebAPIClientVLUN(node, type, src_lun_uuid)
{}

WebAPIClientVLUNCreate::~WebAPIClientVLUNCreate() = default;

int WebAPIClientVLUNCreate::send()
{
    beginRequest(API, "create");
    params["src_lun_uuid"] = src_lun_uuid;
    params["type"] = static_cast<int>(type);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    ReadReply(replyData(), "uuid", uuid);
    return 0;
}

bool WebAPIClientVLUNCreate::isInvalid() const
{
    return dst_node.isInvalid(false) || src_lun_uuid.empty() || type == 0;
}

std::string WebAPIClientVLUNCreate::toString() const
{
    return leafText();
}

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
