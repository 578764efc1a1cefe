#include <webapi-iSCSI/replication/WebAPIClientReplication.h>

#include "etc/WebAPIClientFields.h"
#include "etc/WebAPIVocabulary.h"

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

WebAPIClientReplication::WebAPIClientReplication() : is_source(true), type(ISCSI_REP_TYPE_NONE) {}

WebAPIClientReplication::WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node)
    : WebAPIClient(node), is_source(true), type(ISCSI_REP_TYPE_NONE)
{}

WebAPIClientReplication::WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node, const std::string& uuid)
    : WebAPIClient(node), uuid(uuid), is_source(true), type(ISCSI_REP_TYPE_NONE)
{}

WebAPIClientReplication::WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node,
                                                 const std::string& src_lun_uuid,
                                                 const std::string& dst_node_uuid)
    : WebAPIClient(node), is_source(true), type(ISCSI_REP_TYPE_NONE), src_lun_uuid(src_lun_uuid),
      dst_node_uuid(dst_node_uuid)
{}

WebAPIClientReplication::WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                                 const std::string& src_lun_uuid,
                                                 const std::string& dst_lun_uuid)
    : WebAPIClient(node), uuid(uuid), is_source(true), type(ISCSI_REP_TYPE_NONE), src_lun_uuid(src_lun_uuid),
      dst_lun_uuid(dst_lun_uuid)
{}

WebAPIClientReplication::WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                                                 bool is_source, const std::string& src_lun_uuid,
                                                 const std::string& dst_lun_uuid,
                                                 const std::string& src_node_uuid,
                                                 const std::string& dst_node_uuid)
    : WebAPIClient(node), uuid(uuid), is_source(is_source), type(ISCSI_REP_TYPE_NONE),
      src_lun_uuid(src_lun_uuid), dst_lun_uuid(dst_lun_uuid), src_node_uuid(src_node_uuid),
      dst_node_uuid(dst_node_uuid)
{}

WebAPIClientReplication::~WebAPIClientReplication() = default;

std::string WebAPIClientReplication::toString() const
{
    return "Replication: [uuid: " + uuid + " ,is_source: " + Text(is_source) +
           " ,type: " + RepTypeToString(type) + " ,src_lun_uuid: " + src_lun_uuid +
           " ,dst_lun_uuid: " + dst_lun_uuid + " ,src_node_uuid: " + src_node_uuid +
           " ,dst_node_uuid: " + dst_node_uuid + " ,root_path: " + root_path +
           " ,parent_task_uuid: " + parent_task_uuid + "]";
}

std::string WebAPIClientReplication::leafText(const std::string& own) const
{
    return WebAPIClient::toString() + " ," + WebAPIClientReplication::toString() + " ," + own +
           responseText();
}

bool WebAPIClientReplication::ReadTask(const Json::Value& element, ISCSI::ISCSITaskInfo& task)
{
    std::string uuid, srcLun, dstLun, srcNode, dstNode, rootPath, parentTask;
    int type = 0;
    if (!(ReadRequired(element, "uuid", uuid) && ReadRequired(element, "type", type) &&
          ReadRequired(element, "src_lun_uuid", srcLun) && ReadRequired(element, "dst_lun_uuid", dstLun) &&
          ReadRequired(element, "src_node_uuid", srcNode) &&
          ReadRequired(element, "dst_node_uuid", dstNode) && ReadRequired(element, "root_path", rootPath) &&
          ReadRequired(element, "parent_task_uuid", parentTask)))
        return false;
    const _tag_iscsi_rep_type known =
        IsRepTypeId(type) ? static_cast<_tag_iscsi_rep_type>(type) : ISCSI_REP_TYPE_NONE;
    task = ISCSI::ISCSITaskInfo(uuid, known, ISCSI::ISCSILUNInfo(srcLun), ISCSI::ISCSILUNInfo(dstLun),
                                ISCSI::ISCSINodeInfo(srcNode), ISCSI::ISCSINodeInfo(dstNode), rootPath,
                                parentTask);
    return true;
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
