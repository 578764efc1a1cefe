// The record of one replication task: one end of the replication of a source LUN on a source
// node to a destination LUN on a destination node.
#pragma once

#include <iscsi/ISCSILUNInfo.h>
#include <iscsi/ISCSINodeInfo.h>
#include <iscsi/ISCSITypes.h>

#include <json/json.h>

#include <string>

// Progress of the sending of a task, as ISCSI::LIB::LIBReplication::ISCSILIBReplication::
// getSendingStatus reads it.
struct _tag_iscsi_task_progress_ {
    unsigned long long total; // bytes to send
    unsigned long long done;  // bytes read and processed
    unsigned long long sent;  // bytes sent to the destination
    int err_no;               // errno of a failed sending, 0 if none
    int status_code;          // one of ISCSI::_tag_iscsi_task_status
};

namespace ISCSI {

// Status of a task.
enum _tag_iscsi_task_status {
    ISCSI_TASK_STATUS_DOING_SYNC = 0,
    ISCSI_TASK_STATUS_SYNC_DONE = 1,
    ISCSI_TASK_STATUS_NOT_SINK = 2, // not a sink task
    ISCSI_TASK_STATUS_UNKNOWN = 3,
};

enum {
    // The JSON form of a task record is malformed: no object, or a member of the wrong
    // type or out of range. The code of a reply from a remote node that lacks what a record
    // needs.
    ISCSI_ERR_TASK_RECORD_INVALID = 18990204,
};

class ISCSITaskInfo {
public:
    ISCSITaskInfo();
    ISCSITaskInfo(const std::string& uuid, _tag_iscsi_rep_type type, const ISCSI::ISCSILUNInfo& srcLun,
                  const ISCSI::ISCSILUNInfo& dstLun, const ISCSI::ISCSINodeInfo& srcNode,
                  const ISCSI::ISCSINodeInfo& dstNode, const std::string& rootPath,
                  const std::string& parentTaskUuid);
    virtual ~ISCSITaskInfo();

    // Writes the JSON form into out (replacing what it held): an object with "uuid", "type"
    // (an integer), "src_lun_uuid", "dst_lun_uuid", "src_node_uuid", "dst_node_uuid",
    // "root_path" and "parent_task_uuid"; the LUNs and nodes by their uuids. Answers 0.
    int toJsonFormat(Json::Value& out) const;
    // Fills the record from such a form; a LUN or node uuid gives a record that names only
    // that uuid. Keys that are absent leave their fields as they are; a value that is not an
    // object, or a key of the wrong JSON type, answers ISCSI_ERR_TASK_RECORD_INVALID and
    // changes nothing.
    int loadFromJson(const Json::Value& in);
    // One line for logs: "uuid: U, type: 9, src_lun_uuid: L, dst_lun_uuid: M, src_node_uuid: N,
    // dst_node_uuid: O, root_path: R, parent_task_uuid: P".
    std::string toString() const;

    // Resolves a task identifier of a request to the task's canonical uuid. The empty text
    // answers 0 and the empty uuid.
    static int GetTaskUuid(const std::string& id, std::string& uuid);

    std::string uuid;
    _tag_iscsi_rep_type type;
    ISCSI::ISCSILUNInfo src_lun;
    ISCSI::ISCSILUNInfo dst_lun;
    ISCSI::ISCSINodeInfo src_node;
    ISCSI::ISCSINodeInfo dst_node;
    std::string root_path;
    std::string parent_task_uuid;
};

} // namespace ISCSI
