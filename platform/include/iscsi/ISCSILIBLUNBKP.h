// Block-level backup and restore of a LUN: a remote iSCSI target is attached as a local block
// device, and the block-copy engine ("smartdd") copies the LUN to it (backup) or from it
// (restore), keeping a bitmap of the blocks copied so that a stopped copy can resume. Sizes and
// offsets of a copy count sectors of 512 bytes.
#pragma once

#include <string>

// Direction of a block copy.
enum tag_lunbkp_type {
    // From the LUN to the block device.
    LUNBKP_TYPE_BACKUP = 0,
    // From the block device to the LUN.
    LUNBKP_TYPE_RESTORE = 1,
};

namespace ISCSI {
namespace LIB {
namespace LIBLUNBKP {

class ISCSILIBLUNBKP {
public:
    // An object for no particular LUN (targetConnect, targetDisconnect).
    ISCSILIBLUNBKP();
    // An object that stands for the LUN lunUuid.
    explicit ISCSILIBLUNBKP(const std::string& lunUuid);
    virtual ~ISCSILIBLUNBKP();

    // Moves the LUN to the volume dstLocation (a text such as /volume1).
    int backupLunMove(const std::string& dstLocation);
    // Logs in to the target targetIqn at targetIp and attaches it; on 0, blockDevPath is the path
    // of the local block device that stands for it.
    int targetConnect(const std::string& targetIp, const std::string& targetIqn, std::string& blockDevPath);
    // Detaches the target and logs out.
    int targetDisconnect(const std::string& targetIp, const std::string& targetIqn);
    // Starts the copy between the LUN and the block device blockDevPath, in the direction of type.
    int smartddStart(const std::string& blockDevPath, tag_lunbkp_type type);
    // Stops the LUN's copy of that direction.
    int smartddStop(tag_lunbkp_type type);
    // On 0: the copy's progress as the engine reports it, the sectors copied so far (the
    // offset the copy has reached) and the sectors to copy in all.
    int smartddProgressGet(int& progress, unsigned long long& offsetSector, unsigned long long& totalSector);
    // Clears the LUN's bitmap of copied blocks, so that the next copy starts over.
    int bitmapReset();
    // On 0: the LUN's size in sectors.
    int sizeGet(unsigned long long& totalSector);

    std::string lun_uuid;
};

} // namespace LIBLUNBKP
} // namespace LIB
} // namespace ISCSI
