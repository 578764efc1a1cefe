#include <webapi-iSCSI/target/WebAPIClientTargetList.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

WebAPIClientTargetList::WebAPIClientTargetList() = default;

WebAPIClientTargetList::WebAPIClientTargetList(const ISCSI::ISCSINodeInfo& node, const std::string& lun_uuid,
                                               const std::vector<std::string>& additional)
    : WebAPIClientTarget(node), lun_uuid(lun_uuid), additional(additional)
{}

WebAPIClientTargetList::~WebAPIClientTargetList() = default;

int WebAPIClientTargetList::send()
{
    beginRequest(API, "list");
    SetIfNotEmpty(params, "lun_uuid", lun_uuid);
    SetIfNotEmpty(params, "additional", additional);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    targets.clear();
    return ReadReplyRecords<ISCSI::ISCSITargetInfo>(replyData(), "targets", targets);
}

bool WebAPIClientTargetList::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientTargetList::toString() const
{
    // The LUN filter has a closing bracket but no opening one.
    return leafText("lun_uuid: " + lun_uuid + "] ,");
}

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
