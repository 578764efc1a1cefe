// Loop devices and defragmentation of file LUNs (see lun/LUNDevices.h).
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>

#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"
#include "lun/LUNDevices.h"
#include "lun/LUNStore.h"

using ISCSI::Storage::LibraryContext;

namespace ISCSI {
namespace LIB {
namespace LIBLUN {
namespace {

// The file of the object's LUN: 0 and its host path, 18990505 for no such LUN, or
// ISCSI_ERR_LUN_CHANGE_NOT_OFFERED for a BLOCK LUN (a device, not a file).
int FileOfRow(LibraryContext& ctx, const Storage::LUNRow& row, std::string& file)
{
    if (!Storage::IsFileType(row.type))
        return ISCSI_ERR_LUN_CHANGE_NOT_OFFERED;
    file = Storage::LunDataPath(ctx, row);
    return file.empty() ? Storage::kInvalidLocation : 0;
}

int LunFile(const std::string& uuid, std::string& file)
{
    return Storage::WithLunRow(
        uuid, [&](LibraryContext& ctx, Storage::LUNRow& row) -> int { return FileOfRow(ctx, row, file); });
}

} // namespace

// A LUN that a loop device holds already answers that device again; a device left on the
// LUN's former file (replaced by a restore) is detached and a new one attached.
int ISCSILIBLUN::loopMount(std::string& loopDevPath)
{
    // Under the library lock, so that the LUN is not deleted or moved meanwhile.
    return Storage::WithLunRow(uuid, [&](LibraryContext& ctx, Storage::LUNRow& row) -> int {
        // Only file LUNs move, so the order of these two checks does not matter to a BLOCK LUN.
        if (Storage::JobRunning("move", uuid))
            return ISCSI_ERR_JOB_BUSY;
        std::string file;
        const int rc = FileOfRow(ctx, row, file);
        if (rc != 0)
            return rc;
        std::string device;
        bool stale = false;
        if (Storage::FindLoopDevice(file, device, &stale)) {
            if (!stale) {
                loopDevPath = device;
                return 0;
            }
            // The device still holds the file that a restore replaced: it shows old data.
            const int detached = Storage::DetachLoopDevice(device);
            if (detached != 0)
                return detached;
        }
        const int attached = Storage::AttachLoopDevice(file, device);
        if (attached == 0)
            loopDevPath = device;
        return attached;
    });
}

int ISCSILIBLUN::loopUnmount()
{
    std::string file;
    const int rc = LunFile(uuid, file);
    if (rc != 0)
        return rc;
    std::string device;
    if (!Storage::FindLoopDevice(file, device))
        return ISCSI_ERR_NOT_LOOP_MOUNTED;
    return Storage::DetachLoopDevice(device);
}

// The tool runs outside the library lock, also when the caller waits for it.
int ISCSILIBLUN::startDefrag(bool background)
{
    std::string file;
    const int rc = LunFile(uuid, file);
    if (rc != 0)
        return rc;
    return Storage::StartDefragProcess(uuid, file, background);
}

// Stopping a LUN that is not being defragmented answers 0: there is nothing to stop.
int ISCSILIBLUN::stopDefrag(bool isWait)
{
    std::string file;
    const int rc = LunFile(uuid, file);
    if (rc != 0)
        return rc;
    return Storage::StopDefragProcess(uuid, isWait);
}

} // namespace LIBLUN
} // namespace LIB
} // namespace ISCSI
