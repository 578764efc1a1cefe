// Data code of the replication task record: its fields, JSON form and text.
#include <iscsi/ISCSITaskInfo.h>

#include "RecordJson.h"

namespace ISCSI {

using namespace RecordJson;

namespace {

// Sets a LUN or node field named by its uuid in the JSON form: a record of that uuid alone.
template <typename Record> auto ByUuid(Record& field)
{
    return [&field](const std::string& uuid) { field = Record(uuid); };
}

} // namespace

ISCSITaskInfo::ISCSITaskInfo() : type(ISCSI_REP_TYPE_NONE) {}

ISCSITaskInfo::ISCSITaskInfo(const std::string& uuid, _tag_iscsi_rep_type type,
                             const ISCSI::ISCSILUNInfo& srcLun, const ISCSI::ISCSILUNInfo& dstLun,
                             const ISCSI::ISCSINodeInfo& srcNode, const ISCSI::ISCSINodeInfo& dstNode,
                             const std::string& rootPath, const std::string& parentTaskUuid)
    : uuid(uuid), type(type), src_lun(srcLun), dst_lun(dstLun), src_node(srcNode), dst_node(dstNode),
      root_path(rootPath), parent_task_uuid(parentTaskUuid)
{}

ISCSITaskInfo::~ISCSITaskInfo() = default;

int ISCSITaskInfo::toJsonFormat(Json::Value& out) const
{
    out = Json::Value(Json::objectValue);
    out["uuid"] = uuid;
    out["type"] = static_cast<int>(type);
    out["src_lun_uuid"] = src_lun.uuid;
    out["dst_lun_uuid"] = dst_lun.uuid;
    out["src_node_uuid"] = src_node.uuid;
    out["dst_node_uuid"] = dst_node.uuid;
    out["root_path"] = root_path;
    out["parent_task_uuid"] = parent_task_uuid;
    return 0;
}

int ISCSITaskInfo::loadFromJson(const Json::Value& in)
{
    // The type only as an integer; a bad member leaves the whole record as it was.
    if (!in.isObject() || !ReadAllOrNothing(*this, [&in](ISCSITaskInfo& read) {
            // The bits of _tag_iscsi_rep_type reach 64: seven bits.
            const auto setType = [&read](int id) { return SetEnum(id, 0x7F, read.type); };
            return ReadMember(in, "uuid", read.uuid) &&
                   ReadMemberAs<int>(in, "type", setType, Numbers::Integers) &&
                   ReadMemberAs<std::string>(in, "src_lun_uuid", ByUuid(read.src_lun)) &&
                   ReadMemberAs<std::string>(in, "dst_lun_uuid", ByUuid(read.dst_lun)) &&
                   ReadMemberAs<std::string>(in, "src_node_uuid", ByUuid(read.src_node)) &&
                   ReadMemberAs<std::string>(in, "dst_node_uuid", ByUuid(read.dst_node)) &&
                   ReadMember(in, "root_path", read.root_path) &&
                   ReadMember(in, "parent_task_uuid", read.parent_task_uuid);
        }))
        return ISCSI_ERR_TASK_RECORD_INVALID;
    return 0;
}

std::string ISCSITaskInfo::toString() const
{
    return "uuid: " + uuid + ", type: " + std::to_string(static_cast<int>(type)) +
           ", src_lun_uuid: " + src_lun.uuid + ", dst_lun_uuid: " + dst_lun.uuid +
           ", src_node_uuid: " + src_node.uuid + ", dst_node_uuid: " + dst_node.uuid +
           ", root_path: " + root_path + ", parent_task_uuid: " + parent_task_uuid;
}

} // namespace ISCSI
