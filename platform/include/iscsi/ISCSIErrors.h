// Error codes of the storage library and their texts.
#pragma once

// The text of an error code of the 1899xxxx range (or of 0); never null. Unknown codes
// answer "Unknown error".
extern "C" const char* KOVAiSCSIStrError(int code);

namespace ISCSI {

enum {
    // An operation this build of the storage library does not offer yet.
    ISCSI_ERR_NOT_AVAILABLE = 18999001,
    // The configuration database could not be read or written.
    ISCSI_ERR_DATABASE = 18999100,
    // Another LUN already has the name given for a new or renamed LUN.
    ISCSI_ERR_LUN_NAME_EXISTS = 18999101,
    // A LUN's size can only grow.
    ISCSI_ERR_LUN_SHRINK = 18999102,
    // The file of a LUN could not be created, grown or removed.
    ISCSI_ERR_LUN_FILE = 18999103,
    // Every LUN id is taken.
    ISCSI_ERR_NO_FREE_LUN_ID = 18999104,
    // The library could not start: its data directory or volume list is unusable.
    ISCSI_ERR_NOT_STARTED = 18999105,
    // Another snapshot of the same LUN already has the name given for a new or renamed snapshot.
    ISCSI_ERR_SNAPSHOT_NAME_EXISTS = 18999110,
    // A snapshot is locked (by its user lock or by an application key): it cannot be deleted,
    // nor can the LUN it belongs to.
    ISCSI_ERR_SNAPSHOT_LOCKED = 18999111,
    // The image file of a snapshot could not be made, copied back or removed.
    ISCSI_ERR_SNAPSHOT_FILE = 18999112,
    // Snapshots of several LUNs have the name given as a snapshot identifier.
    ISCSI_ERR_SNAPSHOT_NAME_AMBIGUOUS = 18999113,
    // The snapshot named was taken of another LUN than the one the operation is for.
    ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN = 18999114,

    // LUN sources, paths and volumes: 18999160-18999169.

    // Targets and the target engine: 18999120-18999139.

    // Jobs, clones, export and import: 18999140-18999159.

    // Service log, local node settings and virtual LUNs: 18999170-18999189.
};

} // namespace ISCSI
