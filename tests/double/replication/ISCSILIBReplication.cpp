// Recording double of ISCSI::LIB::LIBReplication::ISCSILIBReplication.
//
// The task that the constructor of an existing task loads, and that createReplication and
// createTask fill, is scripted as "ISCSILIBReplication::task" in the task's JSON form (keys
// left out keep their values). Progress records are logged and scripted as JSON objects with
// members named after their fields.
#include "../LibDouble.h"

#include <iscsi/ISCSILIBReplication.h>

using namespace KOVATest;

namespace ISCSI {
namespace LIB {
namespace LIBReplication {

namespace {

Json::Value ProgressJson(const _tag_iscsi_task_progress_& progress)
{
    Json::Value j(Json::objectValue);
    j["total"] = static_cast<Json::UInt64>(progress.total);
    j["done"] = static_cast<Json::UInt64>(progress.done);
    j["sent"] = static_cast<Json::UInt64>(progress.sent);
    j["err_no"] = progress.err_no;
    j["status_code"] = progress.status_code;
    return j;
}

void OutputProgress(const LibResult& r, const char* name, _tag_iscsi_task_progress_& progress)
{
    if (!r.out.isObject() || !r.out.isMember(name))
        return;
    const Json::Value& fields = r.out[name];
    OutputMember(fields, "total", progress.total);
    OutputMember(fields, "done", progress.done);
    OutputMember(fields, "sent", progress.sent);
    OutputMember(fields, "err_no", progress.err_no);
    OutputMember(fields, "status_code", progress.status_code);
}

} // namespace

ISCSILIBReplication::ISCSILIBReplication() = default;

ISCSILIBReplication::ISCSILIBReplication(const std::string& srcLunUuid, const std::string& srcNodeUuid,
                                         const std::string& dstNodeUuid, const std::string& dstLocation,
                                         const std::string& dstLunName)
    : task(std::string(), ISCSI_REP_TYPE_NONE, ISCSI::ISCSILUNInfo(srcLunUuid), ISCSI::ISCSILUNInfo(),
           ISCSI::ISCSINodeInfo(srcNodeUuid), ISCSI::ISCSINodeInfo(dstNodeUuid), std::string(),
           std::string()),
      dst_location(dstLocation), dst_lun_name(dstLunName)
{
    LibDouble::Get().Record("ISCSILIBReplication::ISCSILIBReplication",
                            Args(srcLunUuid, srcNodeUuid, dstNodeUuid, dstLocation, dstLunName));
}

ISCSILIBReplication::ISCSILIBReplication(const std::string& taskUuid)
{
    task.uuid = taskUuid;
    const LibResult r = LibDouble::Get().Record("ISCSILIBReplication::ISCSILIBReplication", Args(taskUuid));
    Output(r, "ISCSILIBReplication::task", task);
}

ISCSILIBReplication::ISCSILIBReplication(const std::string& srcTaskUuid, _tag_iscsi_rep_type type,
                                         const std::string& srcLunUuid, const std::string& dstLunUuid,
                                         const std::string& srcNodeUuid, const std::string& dstNodeUuid)
    : task(std::string(), type, ISCSI::ISCSILUNInfo(srcLunUuid), ISCSI::ISCSILUNInfo(dstLunUuid),
           ISCSI::ISCSINodeInfo(srcNodeUuid), ISCSI::ISCSINodeInfo(dstNodeUuid), std::string(),
           std::string()),
      src_task_uuid(srcTaskUuid)
{
    LibDouble::Get().Record("ISCSILIBReplication::ISCSILIBReplication",
                            Args(srcTaskUuid, type, srcLunUuid, dstLunUuid, srcNodeUuid, dstNodeUuid));
}

ISCSILIBReplication::~ISCSILIBReplication() = default;

int ISCSILIBReplication::createReplication()
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBReplication::createReplication", Args());
    Output(r, "ISCSILIBReplication::task", task);
    return r.code;
}

int ISCSILIBReplication::deleteReplication(bool deleteLun, const std::string& lunUuid)
{
    return LibDouble::Get().Record("ISCSILIBReplication::deleteReplication", Args(deleteLun, lunUuid)).code;
}

int ISCSILIBReplication::ListTask(std::vector<ISCSI::ISCSITaskInfo>& tasks)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBReplication::ListTask", Args(tasks));
    Output(r, "tasks", tasks);
    return r.code;
}

int ISCSILIBReplication::getStatus(bool& isLocked, std::string& baseVersion)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBReplication::getStatus", Args(isLocked, baseVersion));
    Output(r, "is_locked", isLocked);
    Output(r, "base_version", baseVersion);
    return r.code;
}

int ISCSILIBReplication::getSendingStatus(_tag_iscsi_task_progress_& progress)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBReplication::getSendingStatus", Args(ProgressJson(progress)));
    OutputProgress(r, "progress", progress);
    return r.code;
}

int ISCSILIBReplication::sendSnapshot(const std::string& lunUuid, int flags, const std::string& snapshotUuid,
                                      const std::string& dstAddress, unsigned int dstPort,
                                      const std::string& dstSnapName)
{
    return LibDouble::Get()
        .Record("ISCSILIBReplication::sendSnapshot",
                Args(lunUuid, flags, snapshotUuid, dstAddress, dstPort, dstSnapName))
        .code;
}

int ISCSILIBReplication::stopSending(const std::string& lunUuid)
{
    return LibDouble::Get().Record("ISCSILIBReplication::stopSending", Args(lunUuid)).code;
}

int ISCSILIBReplication::promote(const std::string& lunUuid)
{
    return LibDouble::Get().Record("ISCSILIBReplication::promote", Args(lunUuid)).code;
}

int ISCSILIBReplication::demote(const std::string& lunUuid)
{
    return LibDouble::Get().Record("ISCSILIBReplication::demote", Args(lunUuid)).code;
}

int ISCSILIBReplication::getBaseVersion(const std::string& lunUuid, const std::string& syncVersion,
                                        const std::map<std::string, ISCSI::ISCSISnapshotInfo>& snapshots,
                                        std::string& baseVersion, bool& needFullSync, bool& doRestore,
                                        std::string& btrfsToken, std::string& snapRecvDir)
{
    const LibResult r = LibDouble::Get().Record(
        "ISCSILIBReplication::getBaseVersion",
        Args(lunUuid, syncVersion, snapshots, baseVersion, needFullSync, doRestore, btrfsToken, snapRecvDir));
    Output(r, "base_version", baseVersion);
    Output(r, "need_full_sync", needFullSync);
    Output(r, "do_restore", doRestore);
    Output(r, "btrfs_token", btrfsToken);
    Output(r, "snap_recv_dir", snapRecvDir);
    return r.code;
}

int ISCSILIBReplication::computeUnsyncSize(const std::string& baseSnapshotUuid,
                                           const std::string& sendingSnapshotUuid, const std::string& lunUuid)
{
    return LibDouble::Get()
        .Record("ISCSILIBReplication::computeUnsyncSize",
                Args(baseSnapshotUuid, sendingSnapshotUuid, lunUuid))
        .code;
}

int ISCSILIBReplication::getCurrentUnsyncSize(const std::string& sendingSnapshotUuid,
                                              unsigned long long& totalSize, unsigned long long& scannedSize,
                                              unsigned long long& unsyncSize, int& errNo,
                                              const std::string& lunUuid)
{
    const LibResult r = LibDouble::Get().Record(
        "ISCSILIBReplication::getCurrentUnsyncSize",
        Args(sendingSnapshotUuid, totalSize, scannedSize, unsyncSize, errNo, lunUuid));
    Output(r, "total_size", totalSize);
    Output(r, "scanned_size", scannedSize);
    Output(r, "unsync_size", unsyncSize);
    Output(r, "err_no", errNo);
    return r.code;
}

int ISCSILIBReplication::checkNode(const std::string& dstNodeUuid, const std::string& dstAddress,
                                   unsigned int dstPort, bool chkBlunConn)
{
    return LibDouble::Get()
        .Record("ISCSILIBReplication::checkNode", Args(dstNodeUuid, dstAddress, dstPort, chkBlunConn))
        .code;
}

int ISCSILIBReplication::createTask()
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBReplication::createTask", Args());
    Output(r, "ISCSILIBReplication::task", task);
    return r.code;
}

int ISCSILIBReplication::deleteTask()
{
    return LibDouble::Get().Record("ISCSILIBReplication::deleteTask", Args()).code;
}

int ISCSILIBReplication::getToken(const std::string& dstDirPath, std::string& token)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBReplication::getToken", Args(dstDirPath, token));
    Output(r, "token", token);
    return r.code;
}

int ISCSILIBReplication::cleanToken(const std::string& token)
{
    return LibDouble::Get().Record("ISCSILIBReplication::cleanToken", Args(token)).code;
}

} // namespace LIBReplication
} // namespace LIB
} // namespace ISCSI
