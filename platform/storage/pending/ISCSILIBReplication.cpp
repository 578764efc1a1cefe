// Replication is not offered by this build of the storage library yet: the object keeps what
// it was made with, and every operation answers ISCSI_ERR_NOT_AVAILABLE.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBReplication.h>

namespace ISCSI {
namespace LIB {
namespace LIBReplication {

ISCSILIBReplication::ISCSILIBReplication() = default;
ISCSILIBReplication::ISCSILIBReplication(const std::string& srcLunUuid, const std::string& srcNodeUuid,
                                         const std::string& dstNodeUuid, const std::string& dstLocation,
                                         const std::string& dstLunName)
    : task(std::string(), ISCSI_REP_TYPE_NONE, ISCSI::ISCSILUNInfo(srcLunUuid), ISCSI::ISCSILUNInfo(),
           ISCSI::ISCSINodeInfo(srcNodeUuid), ISCSI::ISCSINodeInfo(dstNodeUuid), std::string(),
           std::string()),
      dst_location(dstLocation), dst_lun_name(dstLunName)
{}
ISCSILIBReplication::ISCSILIBReplication(const std::string& taskUuid)
{
    task.uuid = taskUuid;
}
ISCSILIBReplication::ISCSILIBReplication(const std::string& srcTaskUuid, _tag_iscsi_rep_type type,
                                         const std::string& srcLunUuid, const std::string& dstLunUuid,
                                         const std::string& srcNodeUuid, const std::string& dstNodeUuid)
    : task(std::string(), type, ISCSI::ISCSILUNInfo(srcLunUuid), ISCSI::ISCSILUNInfo(dstLunUuid),
           ISCSI::ISCSINodeInfo(srcNodeUuid), ISCSI::ISCSINodeInfo(dstNodeUuid), std::string(),
           std::string()),
      src_task_uuid(srcTaskUuid)
{}
ISCSILIBReplication::~ISCSILIBReplication() = default;

int ISCSILIBReplication::createReplication()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::deleteReplication(bool, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::ListTask(std::vector<ISCSI::ISCSITaskInfo>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::getStatus(bool&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::getSendingStatus(_tag_iscsi_task_progress_&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::sendSnapshot(const std::string&, int, const std::string&, const std::string&,
                                      unsigned int, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::stopSending(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::promote(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::demote(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::getBaseVersion(const std::string&, const std::string&,
                                        const std::map<std::string, ISCSI::ISCSISnapshotInfo>&, std::string&,
                                        bool&, bool&, std::string&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::computeUnsyncSize(const std::string&, const std::string&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::getCurrentUnsyncSize(const std::string&, unsigned long long&, unsigned long long&,
                                              unsigned long long&, int&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::checkNode(const std::string&, const std::string&, unsigned int, bool)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::createTask()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::deleteTask()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::getToken(const std::string&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBReplication::cleanToken(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBReplication
} // namespace LIB
} // namespace ISCSI
