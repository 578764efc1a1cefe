// Replication of a LUN to another node (or to another LUN of this node) by sending snapshots,
// through replication tasks.
#pragma once

#include <iscsi/ISCSISnapshotInfo.h>
#include <iscsi/ISCSITaskInfo.h>
#include <iscsi/ISCSITypes.h>

#include <map>
#include <string>
#include <vector>

namespace ISCSI {
namespace LIB {
namespace LIBReplication {

// Bits of the flags of sendSnapshot.
enum {
    // The data goes encrypted.
    ISCSI_REP_SEND_DATA_ENCRYPTED = 0x08,
    // A full sync is not allowed: the sending fails where it would need one.
    ISCSI_REP_SEND_NO_FULL_SYNC = 0x20,
};

// The replication port, where a sending goes unless told otherwise.
enum { ISCSI_REP_DEFAULT_PORT = 3261 };

class ISCSILIBReplication {
public:
    ISCSILIBReplication();
    // A replication to be made by createReplication: of the LUN srcLunUuid on the node
    // srcNodeUuid to a new LUN dstLunName at dstLocation on the node dstNodeUuid.
    ISCSILIBReplication(const std::string& srcLunUuid, const std::string& srcNodeUuid,
                        const std::string& dstNodeUuid, const std::string& dstLocation,
                        const std::string& dstLunName);
    // The existing task taskUuid; task is loaded. A uuid that names no task shows in the
    // result of the operation that follows.
    explicit ISCSILIBReplication(const std::string& taskUuid);
    // The task of one end, to be made by createTask. srcTaskUuid: for a destination end,
    // the task of the source end (empty for a source end).
    ISCSILIBReplication(const std::string& srcTaskUuid, _tag_iscsi_rep_type type,
                        const std::string& srcLunUuid, const std::string& dstLunUuid,
                        const std::string& srcNodeUuid, const std::string& dstNodeUuid);
    virtual ~ISCSILIBReplication();

    // Makes the replication, its destination LUN included; on 0, task holds the new task's
    // uuid and the destination LUN's uuid.
    int createReplication();
    // Removes the replication; with deleteLun, the LUN lunUuid too.
    int deleteReplication(bool deleteLun, const std::string& lunUuid);
    // All tasks of this node.
    static int ListTask(std::vector<ISCSI::ISCSITaskInfo>& tasks);
    // On 0: whether the task is locked, and its base version.
    int getStatus(bool& isLocked, std::string& baseVersion);
    // On 0: the progress of the task's sending.
    int getSendingStatus(_tag_iscsi_task_progress_& progress);

    // Starts sending the snapshot snapshotUuid of the LUN lunUuid to dstAddress:dstPort,
    // as dstSnapName there (empty: the library's own name). flags: ISCSI_REP_SEND_* bits.
    int sendSnapshot(const std::string& lunUuid, int flags, const std::string& snapshotUuid,
                     const std::string& dstAddress, unsigned int dstPort, const std::string& dstSnapName);
    int stopSending(const std::string& lunUuid);
    int promote(const std::string& lunUuid);
    int demote(const std::string& lunUuid);

    // From the source's snapshots (keyed by the snapshot record's third text field) and the
    // destination's sync version, what a sending must start from. Outputs are valid on 0.
    int getBaseVersion(const std::string& lunUuid, const std::string& syncVersion,
                       const std::map<std::string, ISCSI::ISCSISnapshotInfo>& snapshots,
                       std::string& baseVersion, bool& needFullSync, bool& doRestore, std::string& btrfsToken,
                       std::string& snapRecvDir);
    // Starts measuring how much of sendingSnapshotUuid differs from baseSnapshotUuid.
    int computeUnsyncSize(const std::string& baseSnapshotUuid, const std::string& sendingSnapshotUuid,
                          const std::string& lunUuid);
    // On 0: how far that measure has come; errNo is the errno of a failed measure, 0 if none.
    int getCurrentUnsyncSize(const std::string& sendingSnapshotUuid, unsigned long long& totalSize,
                             unsigned long long& scannedSize, unsigned long long& unsyncSize, int& errNo,
                             const std::string& lunUuid);
    // 0 when the node dstNodeUuid answers at dstAddress:dstPort; with chkBlunConn, its block
    // LUN connection is tested too.
    int checkNode(const std::string& dstNodeUuid, const std::string& dstAddress, unsigned int dstPort,
                  bool chkBlunConn);

    // Makes the task of one end; on 0, task holds the new task's uuid.
    int createTask();
    int deleteTask();
    // A token that lets a sending receive into dstDirPath.
    int getToken(const std::string& dstDirPath, std::string& token);
    // Gives a token back.
    int cleanToken(const std::string& token);

    ISCSI::ISCSITaskInfo task;
    // Of a replication to be made.
    std::string dst_location;
    std::string dst_lun_name;
    // Of the task of a destination end to be made.
    std::string src_task_uuid;
};

} // namespace LIBReplication
} // namespace LIB
} // namespace ISCSI
