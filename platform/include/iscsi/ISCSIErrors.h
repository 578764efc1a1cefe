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
    // A path given for a file or directory is empty or not absolute.
    ISCSI_ERR_PATH_NOT_ABSOLUTE = 18999160,
    // A path given for a file or directory has a ".." component.
    ISCSI_ERR_PATH_DOT_DOT = 18999161,
    // A path given for a file or directory lies outside every configured volume.
    ISCSI_ERR_PATH_OUTSIDE_VOLUMES = 18999162,
    // A path given for a file or directory leads out of its volume through a symbolic link.
    ISCSI_ERR_PATH_LEAVES_VOLUME = 18999163,
    // The source of a new LUN (a file, a directory, or the block device of a BLOCK LUN) is
    // missing, in use, or no usable LUN image.
    ISCSI_ERR_LUN_SOURCE = 18999164,
    // The LUN type asked for, or the change asked of a LUN, is not offered.
    ISCSI_ERR_LUN_CHANGE_NOT_OFFERED = 18999165,
    // A loop device could not be attached to a LUN file or detached from it.
    ISCSI_ERR_LOOP_DEVICE = 18999166,
    // The LUN is not attached to a loop device.
    ISCSI_ERR_NOT_LOOP_MOUNTED = 18999167,
    // The LUN cannot be defragmented: its file system has no tool for it here, or the tool failed.
    ISCSI_ERR_DEFRAG = 18999168,
    // The LUN does not lie on a remote disk.
    ISCSI_ERR_NOT_REMOTE_DISK = 18999169,

    // Targets and the target engine: 18999120-18999139.
    // Another target already has this IQN (IQNs compare without regard to case).
    ISCSI_ERR_TARGET_IQN_EXISTS = 18999120,
    // Another target already has this name.
    ISCSI_ERR_TARGET_NAME_EXISTS = 18999121,
    // tgtd refused to apply a change (or could not be reached); the change was undone.
    ISCSI_ERR_TARGET_ENGINE = 18999122,
    // Another target uses the CHAP user name with another password: tgtd's accounts are global.
    ISCSI_ERR_CHAP_USER_IN_USE = 18999123,
    // ACL masks that give some initiators read-only and others read-write access to one target.
    ISCSI_ERR_ACL_MIXED_ACCESS = 18999124,
    // A network portal with no usable address or known interface, or with a port out of range.
    ISCSI_ERR_PORTAL_INVALID = 18999125,
    // A LUN whitelist and ACL masks would both restrict one target.
    ISCSI_ERR_ACCESS_RULES_CONFLICT = 18999126,
    // Every LUN number of the target (1-255) is taken.
    ISCSI_ERR_NO_FREE_LUN_NUMBER = 18999127,
    // The LUN has no image file that tgtd could serve.
    ISCSI_ERR_LUN_NOT_SERVABLE = 18999128,

    // Jobs, clones, export and import: 18999140-18999159.
    // The work was cancelled.
    ISCSI_ERR_JOB_CANCELLED = 18999140,
    // The work was cut short because the service stopped or restarted.
    ISCSI_ERR_JOB_INTERRUPTED = 18999141,
    // No clone, export or import of the object runs.
    ISCSI_ERR_NO_RUNNING_JOB = 18999142,
    // A clone, export or import of the same object already runs.
    ISCSI_ERR_JOB_BUSY = 18999143,
    // Copying data failed: the source could not be read or the destination written.
    ISCSI_ERR_COPY_FAILED = 18999144,
    // The destination volume has not enough free space for the copy.
    ISCSI_ERR_NO_SPACE = 18999145,
    // The LUN is still being made by a clone.
    ISCSI_ERR_LUN_NOT_READY = 18999146,
    // The file cannot be cloned into the location: it is no LUN file of a volume, or the location is no
    // volume.
    ISCSI_ERR_NOT_CLONEABLE = 18999147,
    // The export directory cannot be used: it cannot be made, or already holds an export.
    ISCSI_ERR_EXPORT_DIR = 18999148,
    // The directory holds no readable export of a LUN.
    ISCSI_ERR_NOT_AN_EXPORT = 18999149,
    // The export was written in a format version this library does not read.
    ISCSI_ERR_EXPORT_VERSION = 18999150,
    // The exported image does not match the checksum or size of its metadata.
    ISCSI_ERR_EXPORT_CHECKSUM = 18999151,
    // The exported image is larger than the LUN it would be imported into.
    ISCSI_ERR_EXPORT_TOO_LARGE = 18999152,
    // A file given to be read (an image or manifest to import, the source of a new LUN) is no
    // regular file of its volume: a link, a device or directory, or a file with other names.
    ISCSI_ERR_PATH_NOT_PLAIN_FILE = 18999153,
    // The LUN cannot be deleted: one of its snapshots is being exported (cancel the export first).
    ISCSI_ERR_LUN_IN_EXPORT = 18999154,
    // The LUN cannot be deleted: a snapshot is being imported into it (cancel the import first).
    ISCSI_ERR_LUN_IN_IMPORT = 18999155,
    // The LUN cannot be deleted: it is the source of a running clone (stop the clone first).
    ISCSI_ERR_LUN_IN_CLONE = 18999156,

    // Service log, local node settings and virtual LUNs: 18999170-18999189.
    // A log export was asked in another format than "csv" or "html".
    ISCSI_ERR_LOG_EXPORT_FORMAT = 18999170,
    // A log export had no request output to write to.
    ISCSI_ERR_LOG_EXPORT_OUTPUT = 18999171,
    // The iSNS server address is no IPv4 or IPv6 address, or empty while iSNS is enabled.
    ISCSI_ERR_ISNS_ADDRESS = 18999172,
    // The I/O queue length is outside 1 to 4096.
    ISCSI_ERR_IO_QUEUE_LENGTH = 18999173,
    // The EP buffer unmap mode is not one of the _tag_ep_buffer_unmap_mode_ values.
    ISCSI_ERR_EP_UNMAP_BUF_MODE = 18999174,
    // The root path given for the iSCSI directory is not a configured volume.
    ISCSI_ERR_NOT_A_VOLUME = 18999175,

    // LUN backup: 18999190-18999199.
    // The target address is no IPv4 or IPv6 address (with an optional port of 1-65535).
    ISCSI_ERR_LUNBKP_TARGET_ADDRESS = 18999190,
    // No iSCSI target answered at the address in time.
    ISCSI_ERR_LUNBKP_TARGET_UNREACHABLE = 18999191,
    // The IQN is malformed, or the target at the address refused the login to it.
    ISCSI_ERR_LUNBKP_TARGET_LOGIN = 18999192,
    // The block device path names no connected target, or the target has no disk LUN.
    ISCSI_ERR_LUNBKP_NO_DEVICE = 18999193,
    // The block device is smaller than the LUN.
    ISCSI_ERR_LUNBKP_DEVICE_TOO_SMALL = 18999194,
    // The LUN is in use (mapped to an enabled target, or attached to a loop device): it
    // cannot be restored into.
    ISCSI_ERR_LUNBKP_LUN_IN_USE = 18999195,
    // Conversion of LUN files into subvolumes: 18999230-18999239.
    // A LUN's subvolume could not be created, synced or removed.
    ISCSI_ERR_SUBVOL = 18999230,
    // A LUN came into use while the conversion ran (mapped to an enabled target, a job on it,
    // a loop device on its file): the conversion stopped before it.
    ISCSI_ERR_SUBVOL_LUN_IN_USE = 18999231,
    // Remote nodes and node sessions: 18999320-18999339 (18999300-18999319 are the credential
    // library's, kova/Cred.h).
    // No node of this uuid (or host name) is in the node configuration.
    ISCSI_ERR_NODE_NOT_FOUND = 18999320,
    // A node record lacks its uuid, host name, port (1-65535) or protocol (http or https).
    ISCSI_ERR_NODE_INVALID = 18999321,
    // The local node's own entry cannot be added, changed or deleted as a remote node.
    ISCSI_ERR_NODE_IS_LOCAL = 18999322,
    // Several nodes have this host name: name the node by its uuid.
    ISCSI_ERR_NODE_AMBIGUOUS = 18999323,
    // A node at this host name and port is already known.
    ISCSI_ERR_NODE_EXISTS = 18999324,
    // The appliance reached has another rod key than the one given for it.
    ISCSI_ERR_NODE_ROD_KEY = 18999325,
    // This appliance does not know its own address for other nodes (the daemon's --node-url).
    ISCSI_ERR_NODE_NO_LOCAL_ADDRESS = 18999326,
    // No such node session of this caller here.
    ISCSI_ERR_NODE_SESSION_UNKNOWN = 18999327,
    // No node channel is available in this process (the credential library is not loaded).
    ISCSI_ERR_NODE_NO_CHANNEL = 18999329,
};

} // namespace ISCSI
