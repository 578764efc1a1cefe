// Replication of LUNs between nodes: whole replications (create, delete, list, get), the
// sending of snapshots and the roles of the two ends, the sizing of a sending and its base
// version, and the task of one end with the tokens of its receiving directory. set is a shell
// that logs its parameters and answers success.
//
// Each handler resolves the identifiers of its request (task, LUN, snapshot) and goes on with
// the canonical forms only; the work itself is the storage library's. The one piece of
// replication logic held here is create_task's choice of the task type from the LUN's type and
// the two nodes.
#include "WebAPIServerReplication.h"

#include "etc/WebAPIFrame.h"
#include "etc/WebAPIStatusTexts.h"
#include "etc/WebAPIValidators.h"

#include <iscsi/ISCSILIBReplication.h>
#include <iscsi/ISCSILUNInfo.h>
#include <iscsi/ISCSISnapshotInfo.h>
#include <iscsi/ISCSITaskInfo.h>

#include <map>
#include <string>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

using ISCSI::ISCSILUNInfo;
using ISCSI::ISCSISnapshotInfo;
using ISCSI::ISCSITaskInfo;
using ISCSI::LIB::LIBReplication::ISCSILIBReplication;

namespace {

enum {
    ERR_BAD_DST_LOCATION = 18990501,
    ERR_BAD_DST_LUN_NAME = 18990503,
    ERR_BAD_LUN_UUID = 18990505,
    ERR_BAD_SNAPSHOT_UUID = 18990520,
    ERR_SAME_SNAPSHOT = 18990520,
    ERR_ALREADY_SENDING = 18990811,
    ERR_BAD_STOP_SENDING_TASK_UUID = 18990819,
    ERR_BAD_SRC_LUN_UUID = 18990820,
    ERR_BAD_DST_LUN_UUID = 18990821,
    ERR_BAD_SRC_NODE_UUID = 18990822,
    ERR_BAD_DST_NODE_UUID = 18990823,
    ERR_BAD_IS_SOURCE = 18990824,
    ERR_TYPE_NOT_REPLICABLE = 18990825,
    ERR_BAD_SRC_TASK_UUID = 18990830,
    ERR_BAD_TASK_UUID = 18990831,
    ERR_BAD_DELETE_LUN = 18990840,
    ERR_BAD_SRC_ADDRESS = 18990844,
    ERR_BAD_DST_ADDRESS = 18990845,
    ERR_BAD_SRC_PORT = 18990846,
    ERR_BAD_DST_PORT = 18990847,
    ERR_BAD_IS_FULL_SYNC_ALLOWED = 18990848,
    ERR_BAD_IS_DATA_ENCRYPTED = 18990849,
    ERR_BAD_SOURCE_SNAPSHOTS = 18990852,
    ERR_BAD_BASE_SNAPSHOT_UUID = 18990853,
    ERR_BAD_SENDING_SNAPSHOT_UUID = 18990854,
    ERR_BAD_DST_SNAP_NAME = 18990902,
    ERR_BAD_CHK_BLUN_CONN = 18990903,
    ERR_BAD_DST_DIR_PATH = 18990905,
    ERR_BAD_BTRFS_TOKEN = 18990906,
    ERR_BAD_SYNC_VERSION = 18990908,
    ERR_BAD_NODE_UUID = 18991100,
};

// The task type of one end by the LUN's type (sink bit folded away) and where the two ends
// lie. NONE where the LUN cannot be replicated so.
struct TaskTypeRow {
    int foldedLUNType;
    _tag_iscsi_rep_type otherNodeSource;
    _tag_iscsi_rep_type otherNodeDestination;
    _tag_iscsi_rep_type sameNodeSource;
    _tag_iscsi_rep_type sameNodeDestination;
};

const TaskTypeRow TaskTypes[] = {
    {ISCSI_LUN_TYPE_ADV, ISCSI_REP_TYPE_ADV_SRC, ISCSI_REP_TYPE_ADV_DST, ISCSI_REP_TYPE_NONE,
     ISCSI_REP_TYPE_NONE},
    {ISCSI_LUN_TYPE_BLUN, ISCSI_REP_TYPE_BLUN_SRC, ISCSI_REP_TYPE_BLUN_DST, ISCSI_REP_TYPE_LOCAL_BLUN_SRC,
     ISCSI_REP_TYPE_LOCAL_BLUN_DST},
    {ISCSI_LUN_TYPE_BLUN_THICK, ISCSI_REP_TYPE_BLUN_THICK_SRC, ISCSI_REP_TYPE_BLUN_THICK_DST,
     ISCSI_REP_TYPE_LOCAL_BLUN_THICK_SRC, ISCSI_REP_TYPE_LOCAL_BLUN_THICK_DST},
    {ISCSI_LUN_TYPE_VDISK_BLUN, ISCSI_REP_TYPE_VDISK_BLUN_SRC, ISCSI_REP_TYPE_VDISK_BLUN_DST,
     ISCSI_REP_TYPE_LOCAL_VDISK_BLUN_SRC, ISCSI_REP_TYPE_LOCAL_VDISK_BLUN_DST},
};

// A LUN and its sink twin replicate alike: the sink bit is cleared before the table is read.
_tag_iscsi_rep_type TaskTypeOf(int lunType, bool isSource, bool sameNode)
{
    const int folded = lunType & ~ISCSI_LUN_BIT_SINK;
    for (const TaskTypeRow& row : TaskTypes) {
        if (row.foldedLUNType != folded)
            continue;
        if (sameNode)
            return isSource ? row.sameNodeSource : row.sameNodeDestination;
        return isSource ? row.otherNodeSource : row.otherNodeDestination;
    }
    return ISCSI_REP_TYPE_NONE;
}

// The flag word of a sending. The no-full-sync bit is set by a full sync being refused.
int SendFlags(bool isFullSyncAllowed, bool isDataEncrypted)
{
    int flags = isFullSyncAllowed ? 0 : ISCSI::LIB::LIBReplication::ISCSI_REP_SEND_NO_FULL_SYNC;
    if (isDataEncrypted)
        flags |= ISCSI::LIB::LIBReplication::ISCSI_REP_SEND_DATA_ENCRYPTED;
    return flags;
}

// The port a sending or a node check goes to when the request names none.
const unsigned int DefaultPort = ISCSI::LIB::LIBReplication::ISCSI_REP_DEFAULT_PORT;

// Resolves the task and then the LUN of a request; the first failure is the result.
int ResolveTaskAndLUN(const std::string& taskId, std::string& taskUuid, const std::string& lunId,
                      std::string& lunUuid)
{
    int result = ISCSITaskInfo::GetTaskUuid(taskId, taskUuid);
    if (result == 0)
        result = ISCSILUNInfo::GetLunUuid(lunId, lunUuid);
    return result;
}

// Resolves a snapshot parameter the request may leave out; one left out stays the empty uuid.
int ResolveSnapshotIfSet(const KOVA::APIParameter<std::string>& id, std::string& snapshotUuid)
{
    return id.IsSet() ? ISCSISnapshotInfo::GetSnapshotUuid(id.Get(), snapshotUuid) : 0;
}

// stopSending, promote or demote: an operation on the LUN of an existing task.
using TaskLUNOperation = int (ISCSILIBReplication::*)(const std::string&);

// Resolves task and LUN, ties the object to the task and runs the operation on the LUN.
int RunOnTaskLUN(ISCSILIBReplication& replication, TaskLUNOperation operation, const std::string& taskId,
                 const std::string& lunId)
{
    std::string taskUuid;
    std::string lunUuid;
    int result = ResolveTaskAndLUN(taskId, taskUuid, lunId, lunUuid);
    if (result == 0) {
        replication = ISCSILIBReplication(taskUuid);
        result = (replication.*operation)(lunUuid);
    }
    return result;
}

// The source's snapshots from their JSON forms, keyed by version, the text by which the two
// ends of a replication match their snapshots; of two with one version the first stays. 0, or
// the code of the first element that is no snapshot's form, and the caller goes no further.
int CollectSnapshots(const Json::Value& forms, std::map<std::string, ISCSISnapshotInfo>& snapshots)
{
    for (const Json::Value& form : forms) {
        ISCSISnapshotInfo snapshot;
        const int result = snapshot.loadFromJson(form);
        if (result != 0)
            return result;
        snapshots.emplace(snapshot.version, snapshot);
    }
    return 0;
}

} // namespace

// Replication lifecycle.

// src_lun_uuid need only be non-empty: GetLunUuid judges its form.
void Create(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> srcNodeUuid =
        request->GetAndCheckString("src_node_uuid", REQUIRED, IsValidUuid);
    KOVA::APIParameter<std::string> dstNodeUuid =
        request->GetAndCheckString("dst_node_uuid", REQUIRED, IsValidUuid);
    KOVA::APIParameter<std::string> dstLocation =
        request->GetAndCheckString("dst_location", REQUIRED, IsValidVolumeLocation);
    KOVA::APIParameter<std::string> dstLunName =
        request->GetAndCheckString("dst_lun_name", REQUIRED, IsValidObjectName);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_SRC_LUN_UUID},
                                       {srcNodeUuid, ERR_BAD_NODE_UUID},
                                       {dstNodeUuid, ERR_BAD_NODE_UUID},
                                       {dstLocation, ERR_BAD_DST_LOCATION},
                                       {dstLunName, ERR_BAD_DST_LUN_NAME}})) {
        std::string lunUuid;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), lunUuid);
        if (result == 0) {
            replication = ISCSILIBReplication(lunUuid, srcNodeUuid.Get(), dstNodeUuid.Get(),
                                              dstLocation.Get(), dstLunName.Get());
            result = replication.createReplication();
        }
        if (result == 0) {
            reply["uuid"] = replication.task.uuid;
            reply["dst_lun_uuid"] = replication.task.dst_lun.uuid;
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// The flag delete_lun is checked before lun_uuid, though read after it.
void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    KOVA::APIParameter<bool> deleteLun = request->GetAndCheckBool("delete_lun", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(
            response,
            {{uuid, ERR_BAD_TASK_UUID}, {deleteLun, ERR_BAD_DELETE_LUN}, {lunUuid, ERR_BAD_LUN_UUID}})) {
        std::string taskUuid;
        std::string lun;
        int result = ResolveTaskAndLUN(uuid.Get(), taskUuid, lunUuid.Get(std::string()), lun);
        if (result == 0) {
            replication = ISCSILIBReplication(taskUuid);
            result = replication.deleteReplication(deleteLun.Get(false), lun);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line, and no library object, since ListTask is the class's own. Without
// a LUN every task is listed; with one, the tasks whose source or destination LUN it is. A
// task whose JSON form fails ends the list with that error and nothing is answered of it.
void List(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;

    if (!RejectFirstInvalid(response, {{lunUuid, ERR_BAD_LUN_UUID}})) {
        std::string lun;
        std::vector<ISCSITaskInfo> tasks;
        int result = ISCSILUNInfo::GetLunUuid(lunUuid.Get(std::string()), lun);
        if (result == 0)
            result = ISCSILIBReplication::ListTask(tasks);
        if (result == 0) {
            reply["tasks"] = Json::Value(Json::arrayValue);
            for (const ISCSITaskInfo& task : tasks) {
                if (!lun.empty() && lun != task.src_lun.uuid && lun != task.dst_lun.uuid)
                    continue;
                Json::Value form;
                result = task.toJsonFormat(form);
                if (result != 0)
                    break;
                reply["tasks"].append(form);
            }
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line. sending_status is taken as it reads, false when absent or of
// another JSON type, and never refused. The task's JSON form is answered as it comes out,
// without a test of its result.
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<bool> sendingStatus =
        request->GetAndCheckBool("sending_status", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBReplication replication;

    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_TASK_UUID}})) {
        std::string taskUuid;
        bool isLocked = false;
        std::string baseVersion;
        int result = ISCSITaskInfo::GetTaskUuid(uuid.Get(), taskUuid);
        if (result == 0) {
            replication = ISCSILIBReplication(taskUuid);
            result = replication.getStatus(isLocked, baseVersion);
        }
        if (result == 0) {
            reply["is_locked"] = isLocked;
            reply["base_version"] = baseVersion;
            replication.task.toJsonFormat(reply["task"]);
        }
        if (result == 0 && sendingStatus.Get(false)) {
            _tag_iscsi_task_progress_ progress = {};
            result = replication.getSendingStatus(progress);
            if (result == 0) {
                reply["sending_data_total"] = static_cast<Json::UInt64>(progress.total);
                reply["sending_data_done"] = static_cast<Json::UInt64>(progress.done);
                reply["sending_data_sent"] = static_cast<Json::UInt64>(progress.sent);
                reply["status_code"] = progress.status_code;
                reply["sending_errno"] = progress.err_no;
            }
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Shell: logs the parameters and answers success; reads no parameter and calls nothing.
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    const Json::Value params = request->GetParam("", Json::nullValue);
    WEBAPI_LOG_DEBUG(params);
    response->SetSuccess(Json::Value());
}

// Snapshot sending and roles.

// src_address and src_port are checked but go to no library call. A snapshot already being
// sent (18990811) is answered to the caller and leaves no error line.
void SendSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> snapshotUuid =
        request->GetAndCheckString("snapshot_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> srcAddress =
        request->GetAndCheckString("src_address", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<std::string> dstAddress =
        request->GetAndCheckString("dst_address", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<unsigned int> srcPort =
        request->GetAndCheckIntegral<unsigned int>("src_port", OPTIONAL, IsNonZeroUInt);
    KOVA::APIParameter<unsigned int> dstPort =
        request->GetAndCheckIntegral<unsigned int>("dst_port", OPTIONAL, IsNonZeroUInt);
    KOVA::APIParameter<bool> isFullSyncAllowed =
        request->GetAndCheckBool("is_full_sync_allowed", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<bool> isDataEncrypted =
        request->GetAndCheckBool("is_data_encrypted", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<std::string> dstSnapName =
        request->GetAndCheckString("dst_snap_name", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_TASK_UUID},
                                       {snapshotUuid, ERR_BAD_SNAPSHOT_UUID},
                                       {srcAddress, ERR_BAD_SRC_ADDRESS},
                                       {dstAddress, ERR_BAD_DST_ADDRESS},
                                       {srcPort, ERR_BAD_SRC_PORT},
                                       {dstPort, ERR_BAD_DST_PORT},
                                       {isFullSyncAllowed, ERR_BAD_IS_FULL_SYNC_ALLOWED},
                                       {isDataEncrypted, ERR_BAD_IS_DATA_ENCRYPTED},
                                       {dstSnapName, ERR_BAD_DST_SNAP_NAME},
                                       {lunUuid, ERR_BAD_LUN_UUID}})) {
        std::string taskUuid;
        std::string snapUuid;
        std::string lun;
        int result = ISCSITaskInfo::GetTaskUuid(uuid.Get(), taskUuid);
        if (result == 0)
            result = ISCSISnapshotInfo::GetSnapshotUuid(snapshotUuid.Get(), snapUuid);
        if (result == 0)
            result = ISCSILUNInfo::GetLunUuid(lunUuid.Get(std::string()), lun);
        if (result == 0) {
            replication = ISCSILIBReplication(taskUuid);
            result = replication.sendSnapshot(
                lun, SendFlags(isFullSyncAllowed.Get(true), isDataEncrypted.Get(false)), snapUuid,
                dstAddress.Get(), dstPort.Get(DefaultPort), dstSnapName.Get(std::string()));
        }
        AnswerResult(response, result, Json::nullValue);
    }
    if (response->GetError() != ERR_ALREADY_SENDING)
        WEBAPI_LOG_ERROR(response, params);
}

// An invalid task uuid answers 18990819 here, where the other methods answer 18990831.
void StopSending(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response,
                            {{uuid, ERR_BAD_STOP_SENDING_TASK_UUID}, {lunUuid, ERR_BAD_LUN_UUID}})) {
        AnswerResult(response,
                     RunOnTaskLUN(replication, &ISCSILIBReplication::stopSending, uuid.Get(),
                                  lunUuid.Get(std::string())),
                     Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void Promote(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_TASK_UUID}, {lunUuid, ERR_BAD_LUN_UUID}})) {
        AnswerResult(
            response,
            RunOnTaskLUN(replication, &ISCSILIBReplication::promote, uuid.Get(), lunUuid.Get(std::string())),
            Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void Demote(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_TASK_UUID}, {lunUuid, ERR_BAD_LUN_UUID}})) {
        AnswerResult(
            response,
            RunOnTaskLUN(replication, &ISCSILIBReplication::demote, uuid.Get(), lunUuid.Get(std::string())),
            Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Sync sizing and base version.

// Here the LUN is resolved before the task. A snapshot left out goes as the empty uuid; the
// same snapshot as base and as the one to send is refused before the task is touched.
void ComputeUnsyncSize(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> baseSnapshotUuid =
        request->GetAndCheckString("base_snapshot_uuid", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> sendingSnapshotUuid =
        request->GetAndCheckString("sending_snapshot_uuid", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_TASK_UUID},
                                       {baseSnapshotUuid, ERR_BAD_BASE_SNAPSHOT_UUID},
                                       {sendingSnapshotUuid, ERR_BAD_SENDING_SNAPSHOT_UUID},
                                       {lunUuid, ERR_BAD_LUN_UUID}})) {
        std::string lun;
        std::string taskUuid;
        std::string baseUuid;
        std::string sendingUuid;
        int result = ISCSILUNInfo::GetLunUuid(lunUuid.Get(std::string()), lun);
        if (result == 0)
            result = ISCSITaskInfo::GetTaskUuid(uuid.Get(), taskUuid);
        if (result == 0)
            result = ResolveSnapshotIfSet(baseSnapshotUuid, baseUuid);
        if (result == 0)
            result = ResolveSnapshotIfSet(sendingSnapshotUuid, sendingUuid);
        if (result == 0 && !baseUuid.empty() && baseUuid == sendingUuid)
            result = ERR_SAME_SNAPSHOT;
        if (result == 0) {
            replication = ISCSILIBReplication(taskUuid);
            result = replication.computeUnsyncSize(baseUuid, sendingUuid, lun);
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line. The sizes start at zero; an errno of a failed computation is
// answered in the data, not as an error.
void GetUnsyncSize(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> sendingSnapshotUuid =
        request->GetAndCheckString("sending_snapshot_uuid", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBReplication replication;
    unsigned long long totalSize = 0;
    unsigned long long scannedSize = 0;
    unsigned long long unsyncSize = 0;
    int errNo = 0;

    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_TASK_UUID},
                                       {sendingSnapshotUuid, ERR_BAD_SENDING_SNAPSHOT_UUID},
                                       {lunUuid, ERR_BAD_LUN_UUID}})) {
        std::string taskUuid;
        std::string sendingUuid;
        std::string lun;
        int result = ISCSITaskInfo::GetTaskUuid(uuid.Get(), taskUuid);
        if (result == 0)
            result = ResolveSnapshotIfSet(sendingSnapshotUuid, sendingUuid);
        if (result == 0)
            result = ISCSILUNInfo::GetLunUuid(lunUuid.Get(std::string()), lun);
        if (result == 0) {
            replication = ISCSILIBReplication(taskUuid);
            result =
                replication.getCurrentUnsyncSize(sendingUuid, totalSize, scannedSize, unsyncSize, errNo, lun);
        }
        if (result == 0) {
            reply["errno"] = errNo;
            reply["total_size"] = static_cast<Json::UInt64>(totalSize);
            reply["scanned_size"] = static_cast<Json::UInt64>(scannedSize);
            reply["unsync_size"] = static_cast<Json::UInt64>(unsyncSize);
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Names no task: the check runs on a fresh object. dst_address may be any text, even empty.
void CheckNode(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> dstNodeUuid =
        request->GetAndCheckString("dst_node_uuid", REQUIRED, IsValidUuid);
    KOVA::APIParameter<std::string> dstAddress =
        request->GetAndCheckString("dst_address", REQUIRED, AcceptAnyString);
    KOVA::APIParameter<unsigned int> dstPort =
        request->GetAndCheckIntegral<unsigned int>("dst_port", OPTIONAL, IsNonZeroUInt);
    KOVA::APIParameter<bool> chkBlunConn = request->GetAndCheckBool("chk_blun_conn", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{dstNodeUuid, ERR_BAD_DST_NODE_UUID},
                                       {dstAddress, ERR_BAD_DST_ADDRESS},
                                       {dstPort, ERR_BAD_DST_PORT},
                                       {chkBlunConn, ERR_BAD_CHK_BLUN_CONN}})) {
        replication = ISCSILIBReplication();
        AnswerResult(response,
                     replication.checkNode(dstNodeUuid.Get(), dstAddress.Get(), dstPort.Get(DefaultPort),
                                           chkBlunConn.Get(false)),
                     Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Replication tasks and tokens.

// The task type comes from the stored type of this end's LUN (the source LUN for a source
// end, else the destination LUN) and from whether the two node uuids, compared as plain
// texts, are one. A type that cannot be replicated so is refused before a destination end's
// missing source task.
void CreateTask(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<bool> isSource = request->GetAndCheckBool("is_source", REQUIRED, AcceptAnyBool);
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> dstLunUuid =
        request->GetAndCheckString("dst_lun_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> srcNodeUuid =
        request->GetAndCheckString("src_node_uuid", REQUIRED, IsValidUuid);
    KOVA::APIParameter<std::string> dstNodeUuid =
        request->GetAndCheckString("dst_node_uuid", REQUIRED, IsValidUuid);
    KOVA::APIParameter<std::string> srcTaskUuid =
        request->GetAndCheckString("src_task_uuid", OPTIONAL, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBReplication replication;
    ISCSILUNInfo lunInfo;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{isSource, ERR_BAD_IS_SOURCE},
                                       {srcLunUuid, ERR_BAD_SRC_LUN_UUID},
                                       {dstLunUuid, ERR_BAD_DST_LUN_UUID},
                                       {srcNodeUuid, ERR_BAD_SRC_NODE_UUID},
                                       {dstNodeUuid, ERR_BAD_DST_NODE_UUID},
                                       {srcTaskUuid, ERR_BAD_SRC_TASK_UUID}})) {
        std::string srcLun;
        std::string dstLun;
        std::string srcTask;
        _tag_iscsi_lun_ config = {};
        _tag_iscsi_rep_type type = ISCSI_REP_TYPE_NONE;
        int result = ISCSILUNInfo::GetLunUuid(srcLunUuid.Get(), srcLun);
        if (result == 0)
            result = ISCSILUNInfo::GetLunUuid(dstLunUuid.Get(), dstLun);
        if (result == 0)
            result = ISCSITaskInfo::GetTaskUuid(srcTaskUuid.Get(std::string()), srcTask);
        if (result == 0) {
            lunInfo = ISCSILUNInfo(isSource.Get() ? srcLun : dstLun);
            result = lunInfo.loadFromConfig(config, 0);
            if (result != 0)
                WEBAPI_LOG_FAULT("Failed to load LUN's info. UUID: %s", lunInfo.uuid.c_str());
        }
        if (result == 0) {
            type = TaskTypeOf(config.type, isSource.Get(), srcNodeUuid.Get() == dstNodeUuid.Get());
            if (type == ISCSI_REP_TYPE_NONE)
                result = ERR_TYPE_NOT_REPLICABLE;
        }
        if (result == 0 && !isSource.Get() && !srcTaskUuid.IsSet())
            result = ERR_BAD_SRC_TASK_UUID;
        if (result == 0) {
            replication =
                ISCSILIBReplication(srcTask, type, srcLun, dstLun, srcNodeUuid.Get(), dstNodeUuid.Get());
            result = replication.createTask();
        }
        if (result == 0)
            reply["uuid"] = replication.task.uuid;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void DeleteTask(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_TASK_UUID}})) {
        std::string taskUuid;
        int result = ISCSITaskInfo::GetTaskUuid(uuid.Get(), taskUuid);
        if (result == 0) {
            replication = ISCSILIBReplication(taskUuid);
            result = replication.deleteTask();
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// sync_version goes to the library as the request gave it; no canonical form is made of it.
void GetBaseVersion(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> lunUuid = request->GetAndCheckString("lun_uuid", OPTIONAL, IsValidUuid);
    KOVA::APIParameter<std::string> syncVersion =
        request->GetAndCheckString("sync_version", OPTIONAL, IsValidUuid);
    KOVA::APIParameter<Json::Value> sourceSnapshots =
        request->GetAndCheckArray("source_snapshots", REQUIRED, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_TASK_UUID},
                                       {lunUuid, ERR_BAD_LUN_UUID},
                                       {syncVersion, ERR_BAD_SYNC_VERSION},
                                       {sourceSnapshots, ERR_BAD_SOURCE_SNAPSHOTS}})) {
        std::string taskUuid;
        std::string lun;
        std::map<std::string, ISCSISnapshotInfo> snapshots;
        std::string baseVersion;
        bool needFullSync = false;
        bool doRestore = false;
        std::string btrfsToken;
        std::string snapRecvDir;
        int result = ResolveTaskAndLUN(uuid.Get(), taskUuid, lunUuid.Get(std::string()), lun);
        if (result == 0)
            result = CollectSnapshots(sourceSnapshots.Get(), snapshots);
        if (result == 0) {
            replication = ISCSILIBReplication(taskUuid);
            result = replication.getBaseVersion(lun, syncVersion.Get(std::string()), snapshots, baseVersion,
                                                needFullSync, doRestore, btrfsToken, snapRecvDir);
        }
        if (result == 0) {
            reply["base_version"] = baseVersion;
            reply["need_full_sync"] = needFullSync;
            reply["do_restore"] = doRestore;
            reply["btrfs_token"] = btrfsToken;
            reply["snap_recv_dir"] = snapRecvDir;
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Names no task: the token comes from a fresh object.
void GetToken(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> dstDirPath =
        request->GetAndCheckString("dst_dir_path", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{dstDirPath, ERR_BAD_DST_DIR_PATH}})) {
        std::string token;
        replication = ISCSILIBReplication();
        const int result = replication.getToken(dstDirPath.Get(), token);
        if (result == 0)
            reply["btrfs_token"] = token;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Names no task: the token goes back through a fresh object.
void CleanToken(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> btrfsToken =
        request->GetAndCheckString("btrfs_token", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBReplication replication;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{btrfsToken, ERR_BAD_BTRFS_TOKEN}})) {
        replication = ISCSILIBReplication();
        AnswerResult(response, replication.cleanToken(btrfsToken.Get()), Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
