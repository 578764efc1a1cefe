// LUNs and their snapshots: creation, deletion, listing, changes, clones, mappings to
// targets, loading, snapshots, export and import, vhost and loop mappings, whitelists and
// defragmentation.
#pragma once

#include <iscsi/ISCSILUNInfo.h>
#include <iscsi/ISCSISnapshotInfo.h>
#include <iscsi/ISCSITypes.h>

#include <json/json.h>

#include <set>
#include <string>
#include <vector>

extern "C" {
// Tells whether the LUN lunUuid lies on a remote disk: on 0, *isRemote is set. Non-zero (an
// error code) when the LUN cannot be looked at.
int KOVAiSCSILunIsRemoteDisk(const char* lunUuid, bool* isRemote);
}

namespace ISCSI {

class ISCSINodeInfo;

namespace LIB {
namespace LIBLUN {

enum {
    // The two failures of a feasibility test: the operation was refused for what it would do
    // to the system (the hard one), or for a warning that the caller did not ignore (the soft
    // one). After them feasibility_detail tells what stood in the way.
    ISCSI_ERR_FEASIBILITY_HARD = 18990335,
    ISCSI_ERR_FEASIBILITY_SOFT = 18990336,
};

// A LUN, with the operations on it. The record part (ISCSI::ISCSILUNInfo) describes the LUN;
// after loadLUNInfo it holds the loaded facts. Every operation answers 0 or an error code.
class ISCSILIBLUN : public ISCSI::ISCSILUNInfo {
public:
    ISCSILIBLUN();
    // A LUN to be made by createLUN: name, type, location, size in bytes, extent size in
    // bytes, device attributes (mask of the attributes named, and their values, both
    // ISCSI_DEV_ATTRIB_* bits), VPD unit serial number (empty for one of the library's), and
    // whether soft feasibility warnings are ignored.
    ISCSILIBLUN(const std::string& name, _tag_iscsi_lun_type type, const std::string& location,
                unsigned long long size, unsigned int extentSize, unsigned int devAttribMask,
                unsigned int devAttribValues, const std::string& vpdUnitSn, bool isSoftFeasIgnored);
    // An existing LUN. isSoftFeasIgnored: soft feasibility warnings do not stop the operations;
    // loadInfo: the LUN's stored record is loaded into the object at once (else only uuid is
    // known until loadLUNInfo); isFeasibilityPrecheck: operations only run their feasibility
    // test and change nothing.
    ISCSILIBLUN(const std::string& uuid, bool isSoftFeasIgnored, bool loadInfo, bool isFeasibilityPrecheck);
    ~ISCSILIBLUN() override;

    // Creation and deletion.

    // Makes the LUN this object describes, empty or from the source directory srcLunDir or the
    // source file srcLunFile (either may be empty). On 0, uuid and lun_id name the new LUN.
    int createLUN(const std::string& srcLunDir, const std::string& srcLunFile);
    int deleteLUN();
    // Deletes the LUNs of lunUuids in the library's job runner and answers at once.
    int deleteLunNonBlocking(const std::vector<std::string>& lunUuids);

    // Reading.

    // All LUNs of this node, each with the facts of flags (ISCSI_LUN_LOAD_* bits).
    static int ListLUN(std::vector<ISCSI::ISCSILUNInfo>& luns, int flags);
    // Loads the record of this object's LUN with the facts of flags (ISCSI_LUN_LOAD_* bits).
    int loadLUNInfo(int flags);

    // Changes.

    // Changes a LUN on a disk of this node. An empty text, a size of 0, a type of 0 and a mask
    // bit of 0 leave that property as it is; location is a volume root ("/volumeN") or empty.
    int localUpdateLUN(const std::string& newName, unsigned long long newSize, _tag_iscsi_lun_type type,
                       const std::string& location, unsigned int devAttribMask, unsigned int devAttribValues,
                       const std::string& vpdUnitSn);
    // Resizes the LUN lunUuid that lies on a remote disk.
    int remoteUpdateLUN(const std::string& lunUuid, unsigned long long newSize);
    // Changes the device attributes of the LUN lunUuid that lies on a remote disk.
    int remoteUpdateLUN(const std::string& lunUuid, unsigned int devAttribMask, unsigned int devAttribValues);

    // Clones.

    // Makes a copy of this object's LUN on this node, named dstLunName, of the given type, in
    // dstLocation (empty: where the LUN lies), mapped to the targets targetIds. isDataClone:
    // copy the data (else share it until written); isDeleteParentLun: delete this LUN once the
    // copy is done. On 0, dstLunUuid is the new LUN's uuid.
    int localClone(const std::string& dstLunName, std::string& dstLunUuid, _tag_iscsi_lun_type type,
                   const std::string& dstLocation, const std::string& vpdUnitSn, bool isDataClone,
                   bool isDeleteParentLun, const std::set<int>& targetIds);
    // Makes a copy of this object's LUN on the node dstNode, reached for the data at
    // dstAddress:dstPort, named dstLunName, of the given type, in dstLocation. isDataEncrypted:
    // the data travels encrypted; isBackground: the copy runs in the library's job runner and
    // the call answers once it has begun (its progress is the LUN's remote clone progress).
    // On 0, dstLunUuid is the new LUN's uuid.
    int remoteClone(const std::string& dstLunName, _tag_iscsi_lun_type type, const std::string& dstLocation,
                    const ISCSI::ISCSINodeInfo& dstNode, const std::string& dstAddress, unsigned int dstPort,
                    std::string& dstLunUuid, const std::string& vpdUnitSn, bool isDataEncrypted,
                    bool isBackground);
    // Whether the backing file srcLunFile can be cloned into location (a volume root).
    static int TestCloneability(const std::string& srcLunFile, const std::string& location);
    // Stops the running clone of this object's LUN.
    int stopClone();
    // Stops the running work of the LUN lunUuid again, after a stop that failed.
    int retryStop(const std::string& lunUuid);

    // Mapping to targets and loading.

    int mapTarget(const std::set<int>& targetIds);
    int unmapTarget(const std::set<int>& targetIds);
    // Loads (unloads) this object's LUN into the data path; the flags name the purpose: a LUN
    // brought back from or sent to the trash, or one loaded to measure its unsynced size.
    int loadLUN(bool isForTrash, bool isForUnsyncSize);
    int unloadLUN(bool isForTrash, bool isForUnsyncSize);

    // Snapshots of this object's LUN.

    // Takes a snapshot. snapshotTime 0 stands for now; srcSnapDir, when not empty, is a
    // directory whose content becomes the snapshot; snapVersion, when not empty, is the
    // version the snapshot keeps (else a new one). On 0, snapshotUuid and snapshotId name it.
    int takeSnapshot(bool isAppConsistent, bool isLocked, const std::string& snapshotName,
                     const std::string& description, const std::string& takenBy, long snapshotTime,
                     bool isScheduled, const std::string& srcSnapDir, const std::string& snapVersion,
                     std::string& snapshotUuid, int& snapshotId);
    int stopSnapshot(const std::string& snapshotUuid);
    // The snapshots of this object's LUN, each with the facts of flags (ISCSI_SNAPSHOT_LOAD_*).
    int listSnapshot(std::vector<ISCSI::ISCSISnapshotInfo>& snapshots, int flags);

    // Snapshots by their uuid alone.

    int deleteSnapshot(const std::string& snapshotUuid, const std::string& deletedBy);
    // An empty name, an empty description and isUserLocked -1 leave that property; 0 and 1
    // unlock and lock.
    int setSnapshot(const std::string& snapshotUuid, const std::string& name, int isUserLocked,
                    const std::string& description);
    // Restores this object's LUN from one of its snapshots.
    int restoreSnapshot(const std::string& snapshotUuid);
    // Makes a new LUN from a snapshot of this object's LUN; on 0, clonedLunUuid names it.
    int cloneSnapshot(const std::string& snapshotUuid, const std::string& clonedLunName,
                      std::string& clonedLunUuid, _tag_iscsi_lun_type type, const std::string& vpdUnitSn);
    int loadSnapshot(const std::string& snapshotUuid, bool isForTrash, bool isForUnsyncSize);
    int unloadSnapshot(const std::string& snapshotUuid, bool isForTrash, bool isForUnsyncSize);

    // Export and import.

    // Starts writing the snapshot out into the directory exportedDirPath.
    int exportLun(const std::string& snapshotUuid, const std::string& exportedDirPath);
    // Starts bringing the exported directory into this object's LUN as a snapshot.
    int importLun(const std::string& exportedDirPath, const std::string& snapshotName,
                  const std::string& description, const std::string& takenBy);
    int exportCancel(const std::string& snapshotUuid);
    int importCancel();

    // Vhost and loop device.

    // Attaches this object's LUN as a virtual host device of this node; on 0, vhostInterface.
    int localMapVhost(std::string& vhostInterface);
    // Attaches the LUN lunUuid of another node through its portals, presenting rodKey, going
    // out on outgoingInterface (empty: any); on 0, vhostInterface.
    int remoteMapVhost(const std::string& lunUuid, const std::set<std::string>& portals,
                       const std::string& rodKey, const std::string& outgoingInterface,
                       std::string& vhostInterface);
    int localUnmapVhost();
    int remoteUnmapVhost(const std::string& lunUuid);
    // Attaches this object's LUN as a loop device; on 0, loopDevPath is the device's path.
    int loopMount(std::string& loopDevPath);
    int loopUnmount();

    // Whitelist and defragmentation.

    // Replaces the LUN's whitelist of IPv4 and IPv6 addresses; an empty list clears it.
    int setWhitelist(const std::vector<std::string>& whitelist);
    // Starts defragmenting; background: in the library's job runner, answering at once.
    int startDefrag(bool background);
    // Stops it; isWait: answer only once the defragmentation has stopped.
    int stopDefrag(bool isWait);

    // What this object was made with.
    bool is_soft_feas_ignored;
    bool load_info;
    bool is_feasibility_precheck;
    unsigned int dev_attrib_mask; // attributes named at creation; their values are dev_attribs

    // After ISCSI_ERR_FEASIBILITY_HARD or ISCSI_ERR_FEASIBILITY_SOFT: what stood in the way,
    // {"hard": [...], "soft": [...]} with one {"reason": text, ...} object per finding.
    // Null after any other result.
    Json::Value feasibility_detail;
};

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
