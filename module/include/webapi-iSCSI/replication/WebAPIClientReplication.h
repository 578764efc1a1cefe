// The client classes of KOVA.Core.ISCSI.Replication: the family's fields and text. The fields
// describe a replication task: its uuid, its end, its type and the LUNs and nodes at both ends.
#pragma once

#include <webapi-iSCSI/etc/WebAPIClient.h>

#include <iscsi/ISCSITaskInfo.h>
#include <iscsi/ISCSITypes.h>

#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

class WebAPIClientReplication : public WebAPIClient {
public:
    WebAPIClientReplication();
    // For a leaf that names no task of its own.
    explicit WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node, const std::string& src_lun_uuid,
                            const std::string& dst_node_uuid);
    WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                            const std::string& src_lun_uuid, const std::string& dst_lun_uuid);
    WebAPIClientReplication(const ISCSI::ISCSINodeInfo& node, const std::string& uuid, bool is_source,
                            const std::string& src_lun_uuid, const std::string& dst_lun_uuid,
                            const std::string& src_node_uuid, const std::string& dst_node_uuid);
    ~WebAPIClientReplication() override;

    // "Replication: [uuid: U ,is_source: true ,type: BLUN_SRC ,src_lun_uuid: ... ,dst_lun_uuid: ...
    // ,src_node_uuid: ... ,dst_node_uuid: ... ,root_path: ... ,parent_task_uuid: ...]"
    std::string toString() const;

    std::string uuid;
    bool is_source;
    _tag_iscsi_rep_type type;
    std::string src_lun_uuid;
    std::string dst_lun_uuid;
    std::string src_node_uuid;
    std::string dst_node_uuid;
    std::string root_path;
    std::string parent_task_uuid;

protected:
    static constexpr const char* API = "KOVA.Core.ISCSI.Replication";
    // A leaf's text: the root's, " ,", the family's, " ,", the leaf's own fields (each leaf's
    // own text ends in " ," when it has one) and "[Response: ...]".
    std::string leafText(const std::string& own = std::string()) const;
    // A task of a reply (an element of "tasks" of list, "task" of get): false when it is no
    // object or lacks one of its eight keys (or holds one of a type that cannot be read). A
    // type that is none of the named task types becomes 0.
    static bool ReadTask(const Json::Value& element, ISCSI::ISCSITaskInfo& task);
};

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
