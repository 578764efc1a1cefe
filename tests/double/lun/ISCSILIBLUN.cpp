// Recording double of ISCSI::LIB::LIBLUN::ISCSILIBLUN and of KOVAiSCSILunIsRemoteDisk.
//
// Lists of records are logged and scripted in their JSON form: "luns" of ListLUN and
// "snapshots" of listSnapshot are arrays of records, each read by loadFromJson and then marked
// with the facts of the call's flags. loadLUNInfo, when it answers 0, marks the facts of its
// flags as loaded (as the library does), and then sets the fields scripted as
// "ISCSILIBLUN::field" (every field of the LUN record; "ISCSILIBLUN::family_config" in its
// JSON form). The operations that can fail a feasibility test set
// "ISCSILIBLUN::feasibility_detail". The node of remoteClone is logged in its JSON form.
#include "../LibDouble.h"

#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSINodeInfo.h>

using namespace KOVATest;

namespace {

// Reads the scripted list name into records, each marked with the facts of flags.
template <typename R>
void OutputRecords(const LibResult& r, const char* name, std::vector<R>& records, int flags)
{
    if (!r.out.isObject() || !r.out.isMember(name))
        return;
    Output(r, name, records);
    for (auto& record : records)
        record.additional |= flags;
}

void OutputLunFields(const LibResult& r, ISCSI::ISCSILUNInfo& lun)
{
    Output(r, "ISCSILIBLUN::uuid", lun.uuid);
    Output(r, "ISCSILIBLUN::lun_id", lun.lun_id);
    Output(r, "ISCSILIBLUN::name", lun.name);
    Output(r, "ISCSILIBLUN::type", lun.type);
    Output(r, "ISCSILIBLUN::location", lun.location);
    Output(r, "ISCSILIBLUN::size", lun.size);
    Output(r, "ISCSILIBLUN::description", lun.description);
    Output(r, "ISCSILIBLUN::vpd_unit_sn", lun.vpd_unit_sn);
    Output(r, "ISCSILIBLUN::dev_attribs", lun.dev_attribs);
    Output(r, "ISCSILIBLUN::additional", lun.additional);
    Output(r, "ISCSILIBLUN::is_action_locked", lun.is_action_locked);
    Output(r, "ISCSILIBLUN::is_mapped", lun.is_mapped);
    Output(r, "ISCSILIBLUN::extent_size", lun.extent_size);
    Output(r, "ISCSILIBLUN::allocated_size", lun.allocated_size);
    Output(r, "ISCSILIBLUN::status", lun.status);
    Output(r, "ISCSILIBLUN::is_vhost_mapped", lun.is_vhost_mapped);
    Output(r, "ISCSILIBLUN::is_bound", lun.is_bound);
    Output(r, "ISCSILIBLUN::allow_bkpobj", lun.allow_bkpobj);
    Output(r, "ISCSILIBLUN::storage_manager", lun.storage_manager);
    Output(r, "ISCSILIBLUN::import_total", lun.import_total);
    Output(r, "ISCSILIBLUN::import_done", lun.import_done);
    Output(r, "ISCSILIBLUN::import_errno", lun.import_errno);
    Output(r, "ISCSILIBLUN::sync_total", lun.sync_total);
    Output(r, "ISCSILIBLUN::sync_done", lun.sync_done);
    Output(r, "ISCSILIBLUN::sync_errno", lun.sync_errno);
    Output(r, "ISCSILIBLUN::whitelist", lun.whitelist);
    Output(r, "ISCSILIBLUN::flashcache_status", lun.flashcache_status);
    Output(r, "ISCSILIBLUN::rmt_clone_total", lun.rmt_clone_total);
    Output(r, "ISCSILIBLUN::rmt_clone_done", lun.rmt_clone_done);
    Output(r, "ISCSILIBLUN::rmt_clone_sent", lun.rmt_clone_sent);
    Output(r, "ISCSILIBLUN::rmt_clone_errno", lun.rmt_clone_errno);
    Output(r, "ISCSILIBLUN::rmt_clone_status", lun.rmt_clone_status);
    Output(r, "ISCSILIBLUN::tree_size", lun.tree_size);
    Output(r, "ISCSILIBLUN::tree_level", lun.tree_level);
    Output(r, "ISCSILIBLUN::snapshot_count", lun.snapshot_count);
    if (r.out.isObject() && r.out.isMember("ISCSILIBLUN::family_config")) {
        // The family's JSON form is the LUN record's; read it through a record of its own.
        Json::Value j(Json::objectValue);
        j["uuid"] = lun.uuid;
        j["family_config"] = r.out["ISCSILIBLUN::family_config"];
        ISCSI::ISCSILUNInfo read;
        if (read.loadFromJson(j) == 0)
            lun.family_config = read.family_config;
    }
}

} // namespace

extern "C" int KOVAiSCSILunIsRemoteDisk(const char* lunUuid, bool* isRemote)
{
    const LibResult r =
        LibDouble::Get().Record("KOVAiSCSILunIsRemoteDisk", Args(lunUuid, isRemote ? *isRemote : false));
    if (isRemote)
        Output(r, "is_remote", *isRemote);
    return r.code;
}

namespace ISCSI {
namespace LIB {
namespace LIBLUN {

ISCSILIBLUN::ISCSILIBLUN()
    : is_soft_feas_ignored(false), load_info(false), is_feasibility_precheck(false), dev_attrib_mask(0)
{}

ISCSILIBLUN::ISCSILIBLUN(const std::string& name, _tag_iscsi_lun_type type, const std::string& location,
                         unsigned long long size, unsigned int extentSize, unsigned int devAttribMask,
                         unsigned int devAttribValues, const std::string& vpdUnitSn, bool isSoftFeasIgnored)
    : is_soft_feas_ignored(isSoftFeasIgnored), load_info(false), is_feasibility_precheck(false),
      dev_attrib_mask(devAttribMask)
{
    this->name = name;
    this->type = type;
    this->location = location;
    this->size = size;
    extent_size = extentSize;
    dev_attribs = devAttribValues;
    vpd_unit_sn = vpdUnitSn;
    LibDouble::Get().Record("ISCSILIBLUN::ISCSILIBLUN",
                            Args(name, type, location, size, extentSize, devAttribMask, devAttribValues,
                                 vpdUnitSn, isSoftFeasIgnored));
}

ISCSILIBLUN::ISCSILIBLUN(const std::string& uuid, bool isSoftFeasIgnored, bool loadInfo,
                         bool isFeasibilityPrecheck)
    : ISCSILUNInfo(uuid), is_soft_feas_ignored(isSoftFeasIgnored), load_info(loadInfo),
      is_feasibility_precheck(isFeasibilityPrecheck), dev_attrib_mask(0)
{
    LibDouble::Get().Record("ISCSILIBLUN::ISCSILIBLUN",
                            Args(uuid, isSoftFeasIgnored, loadInfo, isFeasibilityPrecheck));
}

ISCSILIBLUN::~ISCSILIBLUN() = default;

int ISCSILIBLUN::createLUN(const std::string& srcLunDir, const std::string& srcLunFile)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::createLUN", Args(srcLunDir, srcLunFile));
    Output(r, "ISCSILIBLUN::uuid", uuid);
    Output(r, "ISCSILIBLUN::lun_id", lun_id);
    Output(r, "ISCSILIBLUN::feasibility_detail", feasibility_detail);
    return r.code;
}

int ISCSILIBLUN::deleteLUN()
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::deleteLUN", Args());
    Output(r, "ISCSILIBLUN::feasibility_detail", feasibility_detail);
    return r.code;
}

int ISCSILIBLUN::deleteLunNonBlocking(const std::vector<std::string>& lunUuids)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::deleteLunNonBlocking", Args(lunUuids));
    Output(r, "ISCSILIBLUN::feasibility_detail", feasibility_detail);
    return r.code;
}

int ISCSILIBLUN::ListLUN(std::vector<ISCSI::ISCSILUNInfo>& luns, int flags)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::ListLUN", Args(luns, flags));
    OutputRecords(r, "luns", luns, flags);
    return r.code;
}

int ISCSILIBLUN::loadLUNInfo(int flags)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::loadLUNInfo", Args(flags));
    if (r.code == 0)
        additional |= flags;
    OutputLunFields(r, *this);
    return r.code;
}

int ISCSILIBLUN::localUpdateLUN(const std::string& newName, unsigned long long newSize,
                                _tag_iscsi_lun_type type, const std::string& location,
                                unsigned int devAttribMask, unsigned int devAttribValues,
                                const std::string& vpdUnitSn)
{
    const LibResult r = LibDouble::Get().Record(
        "ISCSILIBLUN::localUpdateLUN",
        Args(newName, newSize, type, location, devAttribMask, devAttribValues, vpdUnitSn));
    Output(r, "ISCSILIBLUN::feasibility_detail", feasibility_detail);
    return r.code;
}

int ISCSILIBLUN::remoteUpdateLUN(const std::string& lunUuid, unsigned long long newSize)
{
    return LibDouble::Get().Record("ISCSILIBLUN::remoteUpdateLUN", Args(lunUuid, newSize)).code;
}

int ISCSILIBLUN::remoteUpdateLUN(const std::string& lunUuid, unsigned int devAttribMask,
                                 unsigned int devAttribValues)
{
    return LibDouble::Get()
        .Record("ISCSILIBLUN::remoteUpdateLUN", Args(lunUuid, devAttribMask, devAttribValues))
        .code;
}

int ISCSILIBLUN::localClone(const std::string& dstLunName, std::string& dstLunUuid, _tag_iscsi_lun_type type,
                            const std::string& dstLocation, const std::string& vpdUnitSn, bool isDataClone,
                            bool isDeleteParentLun, const std::set<int>& targetIds)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::localClone",
                                                Args(dstLunName, dstLunUuid, type, dstLocation, vpdUnitSn,
                                                     isDataClone, isDeleteParentLun, targetIds));
    Output(r, "dst_lun_uuid", dstLunUuid);
    Output(r, "ISCSILIBLUN::feasibility_detail", feasibility_detail);
    return r.code;
}

int ISCSILIBLUN::remoteClone(const std::string& dstLunName, _tag_iscsi_lun_type type,
                             const std::string& dstLocation, const ISCSI::ISCSINodeInfo& dstNode,
                             const std::string& dstAddress, unsigned int dstPort, std::string& dstLunUuid,
                             const std::string& vpdUnitSn, bool isDataEncrypted, bool isBackground)
{
    const LibResult r = LibDouble::Get().Record(
        "ISCSILIBLUN::remoteClone", Args(dstLunName, type, dstLocation, dstNode, dstAddress, dstPort,
                                         dstLunUuid, vpdUnitSn, isDataEncrypted, isBackground));
    Output(r, "dst_lun_uuid", dstLunUuid);
    Output(r, "ISCSILIBLUN::feasibility_detail", feasibility_detail);
    return r.code;
}

int ISCSILIBLUN::TestCloneability(const std::string& srcLunFile, const std::string& location)
{
    return LibDouble::Get().Record("ISCSILIBLUN::TestCloneability", Args(srcLunFile, location)).code;
}

int ISCSILIBLUN::stopClone()
{
    return LibDouble::Get().Record("ISCSILIBLUN::stopClone", Args()).code;
}

int ISCSILIBLUN::retryStop(const std::string& lunUuid)
{
    return LibDouble::Get().Record("ISCSILIBLUN::retryStop", Args(lunUuid)).code;
}

int ISCSILIBLUN::mapTarget(const std::set<int>& targetIds)
{
    return LibDouble::Get().Record("ISCSILIBLUN::mapTarget", Args(targetIds)).code;
}

int ISCSILIBLUN::unmapTarget(const std::set<int>& targetIds)
{
    return LibDouble::Get().Record("ISCSILIBLUN::unmapTarget", Args(targetIds)).code;
}

int ISCSILIBLUN::loadLUN(bool isForTrash, bool isForUnsyncSize)
{
    return LibDouble::Get().Record("ISCSILIBLUN::loadLUN", Args(isForTrash, isForUnsyncSize)).code;
}

int ISCSILIBLUN::unloadLUN(bool isForTrash, bool isForUnsyncSize)
{
    return LibDouble::Get().Record("ISCSILIBLUN::unloadLUN", Args(isForTrash, isForUnsyncSize)).code;
}

int ISCSILIBLUN::takeSnapshot(bool isAppConsistent, bool isLocked, const std::string& snapshotName,
                              const std::string& description, const std::string& takenBy, long snapshotTime,
                              bool isScheduled, const std::string& srcSnapDir, const std::string& snapVersion,
                              std::string& snapshotUuid, int& snapshotId)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::takeSnapshot",
                                                Args(isAppConsistent, isLocked, snapshotName, description,
                                                     takenBy, snapshotTime, isScheduled, srcSnapDir,
                                                     snapVersion, snapshotUuid, snapshotId));
    Output(r, "snapshot_uuid", snapshotUuid);
    Output(r, "snapshot_id", snapshotId);
    return r.code;
}

int ISCSILIBLUN::stopSnapshot(const std::string& snapshotUuid)
{
    return LibDouble::Get().Record("ISCSILIBLUN::stopSnapshot", Args(snapshotUuid)).code;
}

int ISCSILIBLUN::listSnapshot(std::vector<ISCSI::ISCSISnapshotInfo>& snapshots, int flags)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::listSnapshot", Args(snapshots, flags));
    OutputRecords(r, "snapshots", snapshots, flags);
    return r.code;
}

int ISCSILIBLUN::deleteSnapshot(const std::string& snapshotUuid, const std::string& deletedBy)
{
    return LibDouble::Get().Record("ISCSILIBLUN::deleteSnapshot", Args(snapshotUuid, deletedBy)).code;
}

int ISCSILIBLUN::setSnapshot(const std::string& snapshotUuid, const std::string& name, int isUserLocked,
                             const std::string& description)
{
    return LibDouble::Get()
        .Record("ISCSILIBLUN::setSnapshot", Args(snapshotUuid, name, isUserLocked, description))
        .code;
}

int ISCSILIBLUN::restoreSnapshot(const std::string& snapshotUuid)
{
    return LibDouble::Get().Record("ISCSILIBLUN::restoreSnapshot", Args(snapshotUuid)).code;
}

int ISCSILIBLUN::cloneSnapshot(const std::string& snapshotUuid, const std::string& clonedLunName,
                               std::string& clonedLunUuid, _tag_iscsi_lun_type type,
                               const std::string& vpdUnitSn)
{
    const LibResult r = LibDouble::Get().Record(
        "ISCSILIBLUN::cloneSnapshot", Args(snapshotUuid, clonedLunName, clonedLunUuid, type, vpdUnitSn));
    Output(r, "cloned_lun_uuid", clonedLunUuid);
    return r.code;
}

int ISCSILIBLUN::loadSnapshot(const std::string& snapshotUuid, bool isForTrash, bool isForUnsyncSize)
{
    return LibDouble::Get()
        .Record("ISCSILIBLUN::loadSnapshot", Args(snapshotUuid, isForTrash, isForUnsyncSize))
        .code;
}

int ISCSILIBLUN::unloadSnapshot(const std::string& snapshotUuid, bool isForTrash, bool isForUnsyncSize)
{
    return LibDouble::Get()
        .Record("ISCSILIBLUN::unloadSnapshot", Args(snapshotUuid, isForTrash, isForUnsyncSize))
        .code;
}

int ISCSILIBLUN::exportLun(const std::string& snapshotUuid, const std::string& exportedDirPath)
{
    return LibDouble::Get().Record("ISCSILIBLUN::exportLun", Args(snapshotUuid, exportedDirPath)).code;
}

int ISCSILIBLUN::importLun(const std::string& exportedDirPath, const std::string& snapshotName,
                           const std::string& description, const std::string& takenBy)
{
    return LibDouble::Get()
        .Record("ISCSILIBLUN::importLun", Args(exportedDirPath, snapshotName, description, takenBy))
        .code;
}

int ISCSILIBLUN::exportCancel(const std::string& snapshotUuid)
{
    return LibDouble::Get().Record("ISCSILIBLUN::exportCancel", Args(snapshotUuid)).code;
}

int ISCSILIBLUN::importCancel()
{
    return LibDouble::Get().Record("ISCSILIBLUN::importCancel", Args()).code;
}

int ISCSILIBLUN::localMapVhost(std::string& vhostInterface)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::localMapVhost", Args(vhostInterface));
    Output(r, "vhost_interface", vhostInterface);
    return r.code;
}

int ISCSILIBLUN::remoteMapVhost(const std::string& lunUuid, const std::set<std::string>& portals,
                                const std::string& rodKey, const std::string& outgoingInterface,
                                std::string& vhostInterface)
{
    const LibResult r = LibDouble::Get().Record(
        "ISCSILIBLUN::remoteMapVhost", Args(lunUuid, portals, rodKey, outgoingInterface, vhostInterface));
    Output(r, "vhost_interface", vhostInterface);
    return r.code;
}

int ISCSILIBLUN::localUnmapVhost()
{
    return LibDouble::Get().Record("ISCSILIBLUN::localUnmapVhost", Args()).code;
}

int ISCSILIBLUN::remoteUnmapVhost(const std::string& lunUuid)
{
    return LibDouble::Get().Record("ISCSILIBLUN::remoteUnmapVhost", Args(lunUuid)).code;
}

int ISCSILIBLUN::loopMount(std::string& loopDevPath)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUN::loopMount", Args(loopDevPath));
    Output(r, "loop_dev_path", loopDevPath);
    return r.code;
}

int ISCSILIBLUN::loopUnmount()
{
    return LibDouble::Get().Record("ISCSILIBLUN::loopUnmount", Args()).code;
}

int ISCSILIBLUN::setWhitelist(const std::vector<std::string>& whitelist)
{
    return LibDouble::Get().Record("ISCSILIBLUN::setWhitelist", Args(whitelist)).code;
}

int ISCSILIBLUN::startDefrag(bool background)
{
    return LibDouble::Get().Record("ISCSILIBLUN::startDefrag", Args(background)).code;
}

int ISCSILIBLUN::stopDefrag(bool isWait)
{
    return LibDouble::Get().Record("ISCSILIBLUN::stopDefrag", Args(isWait)).code;
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
