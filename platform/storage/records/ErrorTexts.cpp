// The texts of the error codes that the web-API module and the storage library answer with.
//
// One sorted table, looked up by binary search. A code that names a thing (a LUN, a target, a
// task, ...) is answered both when the request's text is malformed and when it names nothing
// that exists, so its text covers both. docs/error-codes.md lists every code with the methods
// and parameters that raise it; keep the two in step.
#include <iscsi/ISCSIErrors.h>
#include <kova/Cred.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace {

struct ErrorText {
    int code;
    const char* text;
};

constexpr ErrorText kErrorTexts[] = {
    {0, "Success"},

    // Remote calls between appliances (client side), and general request failures.
    {18990001, "Failed to set up the connection to the remote node"},
    {18990004, "Invalid request or incomplete connection data of the destination node"},
    {18990025, "Text too long for its field (network portal address or interface name)"},
    {18990200, "The remote node does not offer the requested web API"},
    {18990201, "Missing destination location, address or port for a clone to a remote node"},
    {18990203, "Invalid IP address (an IPv4 or IPv6 address is expected)"},
    {18990204, "Incomplete reply from the remote node: a node or task lacks required keys"},
    {18990205, "Login to the remote node failed"},
    {18990207, "Failed to create the request to the remote node"},
    {18990208, "Unreadable reply from the remote node"},
    {18990211, "Failed to send the request to the remote node"},
    {18990213,
     "Change not supported for a LUN on a remote disk (only size and device attributes can change)"},

    // Feasibility checks of the storage library; the error details tell what stands in the way.
    {18990335, "Operation not feasible: hard requirements are not met (see the error details)"},
    {18990336, "Operation not feasible: soft requirements are not met (see the error details; "
               "they can be ignored with is_soft_feas_ignored)"},

    // Lists and texts shared by several APIs.
    {18990402, "Invalid or empty list of values, or a network portal without address or interface name"},
    {18990403, "Invalid description"},
    {18990404, "Invalid name of who deletes the snapshot (deleted_by)"},

    // LUNs and snapshots.
    {18990500, "Invalid LUN type, or the text names no LUN type"},
    {18990501, "Invalid location (a volume such as /volume1 is expected)"},
    {18990502, "Invalid LUN size, or neither a size nor a source given for the new LUN"},
    {18990503, "Invalid LUN name"},
    {18990505, "Invalid LUN uuid or no such LUN"},
    {18990506, "Invalid same-pool flag (is_same_pool)"},
    {18990507, "Invalid extent size (extent_size)"},
    {18990508, "Invalid source LUN uuid or no such LUN (src_lun_uuid)"},
    {18990510, "Invalid export directory path (exported_dir_path)"},
    {18990513, "Invalid snapshot name"},
    {18990514, "Invalid lock flag (is_locked)"},
    {18990515, "Invalid application-consistent flag (is_app_consistent)"},
    {18990516, "Invalid count-only flag (is_count_only)"},
    {18990517, "Invalid list of additional fields (additional)"},
    {18990520, "Invalid snapshot uuid or no such snapshot, or the same snapshot given twice"},
    {18990521, "Invalid snapshot time (snapshot_time)"},
    {18990522, "Invalid new LUN name (new_name)"},
    {18990523, "Invalid new LUN size (new_size)"},
    {18990524, "Invalid application key (app_key)"},
    {18990527, "Invalid scheduled flag (is_scheduled)"},
    {18990528, "Invalid trash flag (is_for_trash)"},
    {18990529, "Invalid unsync-size flag (is_for_unsync_size)"},
    {18990596, "Invalid user lock flag (is_user_locked)"},
    {18990598, "The snapshot's type does not allow a CINDER clone"},
    {18990602, "Invalid LUN category (category)"},
    {18990607, "Invalid soft-feasibility flag (is_soft_feas_ignored)"},
    {18990610, "Invalid new LUN type (new_type)"},
    {18990611, "Invalid new location (new_location); a volume such as /volume1 is expected"},
    {18990612, "Invalid snapshot source directory (src_snap_dir)"},
    {18990614, "Invalid name of who takes the snapshot (taken_by)"},
    {18990615, "Invalid source LUN directory (src_lun_dir)"},
    {18990616, "Invalid source LUN file (src_lun_file)"},
    {18990618, "Invalid data clone flag (is_data_clone)"},
    {18990619, "Invalid list of LUN types (types)"},
    {18990620, "Invalid VPD unit serial number (vpd_unit_sn)"},
    {18990621, "Invalid feasibility precheck flag (feasibility_precheck)"},
    {18990622, "Invalid device attributes (dev_attribs)"},
    {18990631, "Invalid delete-parent-LUN flag (is_delete_parent_lun)"},

    // Targets.
    {18990700, "Invalid target name"},
    {18990701, "Invalid target IQN"},
    {18990702, "Invalid authentication type (0, 1 or 2 is expected)"},
    {18990703, "Invalid maximum number of sessions (max_sessions)"},
    {18990704, "Invalid CHAP user name (user)"},
    {18990705, "Invalid CHAP password (password)"},
    {18990706, "Invalid mutual CHAP user name (mutual_user)"},
    {18990707, "Invalid mutual CHAP password (mutual_password)"},
    {18990708, "CHAP user name or password missing for the authentication type"},
    {18990710, "Invalid target id or no such target"},
    {18990711, "Invalid access control list (acls)"},
    {18990736, "Invalid header checksum flag (has_header_checksum)"},
    {18990737, "Invalid data checksum flag (has_data_checksum)"},
    {18990738, "Invalid maximum receive segment size (a multiple of 4096 bytes is expected)"},
    {18990739, "Invalid maximum send segment size (a multiple of 4096 bytes is expected)"},
    {18990740, "Invalid or empty list of initiator IQNs (initiator_iqns)"},
    {18990741, "Invalid I/O queue length (io_queue_length)"},
    {18990743, "Invalid list of network portals (network_portals)"},

    // Replication.
    {18990811, "A snapshot of this replication task is already being sent"},
    {18990819, "Invalid replication task uuid or no such task to stop sending"},
    {18990820, "Invalid source LUN of the replication or no such LUN (src_lun_uuid)"},
    {18990821, "Invalid destination LUN of the replication or no such LUN (dst_lun_uuid)"},
    {18990822, "Invalid source node uuid or no such node (src_node_uuid)"},
    {18990823, "Invalid destination node uuid or no such node (dst_node_uuid)"},
    {18990824, "Invalid source-end flag (is_source)"},
    {18990825, "The LUN's type cannot be replicated in this arrangement of nodes"},
    {18990830, "Invalid source task uuid, or none given for a destination task (src_task_uuid)"},
    {18990831, "Invalid replication task uuid or no such task"},
    {18990836, "Invalid snapshot version (snap_version)"},
    {18990840, "Invalid delete-LUN flag (delete_lun)"},
    {18990844, "Invalid source address (src_address)"},
    {18990845, "Invalid destination address (dst_address)"},
    {18990846, "Invalid source port (src_port)"},
    {18990847, "Invalid destination port (dst_port)"},
    {18990848, "Invalid full-sync flag (is_full_sync_allowed)"},
    {18990849, "Invalid data encryption flag (is_data_encrypted)"},
    {18990852, "Invalid or missing list of source snapshots (source_snapshots)"},
    {18990853, "Invalid base snapshot (base_snapshot_uuid)"},
    {18990854, "Invalid sending snapshot (sending_snapshot_uuid)"},
    {18990902, "Invalid destination snapshot name (dst_snap_name)"},
    {18990903, "Invalid BLUN connection check flag (chk_blun_conn)"},
    {18990904, "Invalid destination location (dst_location); a volume such as /volume1 is expected"},
    {18990905, "Invalid destination directory path (dst_dir_path)"},
    {18990906, "Invalid btrfs token (btrfs_token)"},
    {18990908, "Invalid sync version (sync_version)"},

    // Virtual LUNs.
    {18991000, "Invalid VLUN type (1, 2 or 3 is expected)"},
    {18991001, "Invalid VLUN uuid or no such VLUN"},

    // Nodes, sessions and the log.
    {18991100, "Invalid node uuid or no such node"},
    {18991101, "Invalid host name (hostname)"},
    {18991102, "Invalid port (1 to 65535 is expected)"},
    {18991103, "Invalid protocol (protocol)"},
    {18991104, "Invalid node key (rod_key)"},
    {18991105, "Invalid account (account)"},
    {18991106, "Invalid password (password)"},
    {18991107, "Invalid one-time code (otp_code)"},
    {18991110, "Invalid list of nodes (nodes)"},
    {18991111, "A node of the list is already in the node configuration"},
    {18991119, "Node key (rod_key) missing for a vhost mapping through remote portals"},
    {18991122, "Invalid subvolume root path"},
    {18991125, "Invalid iSCSI directory root path (iscsi_dir_root_path)"},
    {18991126, "Invalid log limit (limit)"},
    {18991127, "Invalid log offset (offset)"},
    {18991128, "Invalid start date (date_from)"},
    {18991129, "Invalid end date (date_to)"},
    {18991130, "Invalid list of log levels (log_level)"},
    {18991131, "Invalid export format (csv or html is expected)"},
    {18991134, "Invalid keyword (keyword)"},
    {18991135, "Invalid iSNS enabled flag (isns_enabled)"},
    {18991136, "Invalid iSNS server address (isns_address)"},
    {18991137, "The iSNS enabled flag and the iSNS server address must be given together"},
    {18991139, "Invalid EP unmap buffer mode (ep_unmap_buf_mode)"},
    {18991140, "Invalid thin provisioning hard threshold (tp_hard_threshold_bytes)"},
    {18991141, "Invalid promote storage console flag (promote_storage_console)"},

    // LUN backup.
    {18991205, "Invalid block device path (block_dev_path)"},

    // Failures of the storage library itself.
    {ISCSI::ISCSI_ERR_NOT_AVAILABLE, "Operation not available in this build of the storage library"},
    {ISCSI::ISCSI_ERR_DATABASE, "The storage library's configuration database could not be read or written"},
    {ISCSI::ISCSI_ERR_LUN_NAME_EXISTS, "Another LUN already has this name"},
    {ISCSI::ISCSI_ERR_LUN_SHRINK, "A LUN cannot be made smaller; only a larger size is accepted"},
    {ISCSI::ISCSI_ERR_LUN_FILE, "The LUN's file could not be created, grown or removed on its volume"},
    {ISCSI::ISCSI_ERR_NO_FREE_LUN_ID, "No free LUN id is left"},
    {ISCSI::ISCSI_ERR_NOT_STARTED,
     "The storage library could not start: its data directory or volume list is unusable"},
    {ISCSI::ISCSI_ERR_SNAPSHOT_NAME_EXISTS, "Another snapshot of this LUN already has this name"},
    {ISCSI::ISCSI_ERR_SNAPSHOT_LOCKED, "The snapshot is locked by its user lock or by an application key; "
                                       "neither it nor its LUN can be deleted"},
    {ISCSI::ISCSI_ERR_SNAPSHOT_FILE, "The snapshot's image file could not be made, copied back or removed"},
    {ISCSI::ISCSI_ERR_SNAPSHOT_NAME_AMBIGUOUS,
     "Snapshots of several LUNs have this name; name the snapshot by its uuid"},
    {ISCSI::ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN, "The snapshot was taken of another LUN"},
    // Targets and the target engine (18999120-18999139).
    {ISCSI::ISCSI_ERR_TARGET_IQN_EXISTS, "Another target already has this IQN"},
    {ISCSI::ISCSI_ERR_TARGET_NAME_EXISTS, "Another target already has this name"},
    {ISCSI::ISCSI_ERR_TARGET_ENGINE,
     "The target engine (tgtd) refused the change or could not be reached; the change was undone"},
    {ISCSI::ISCSI_ERR_CHAP_USER_IN_USE, "Another target uses this CHAP user name with another password"},
    {ISCSI::ISCSI_ERR_ACL_MIXED_ACCESS,
     "The target engine cannot give some initiators read-only and others read-write access to one target"},
    {ISCSI::ISCSI_ERR_PORTAL_INVALID,
     "Invalid network portal: no IPv4 or IPv6 address or known interface, or a port outside 1-65535"},
    {ISCSI::ISCSI_ERR_ACCESS_RULES_CONFLICT, "A LUN whitelist and ACL masks cannot both restrict one target: "
                                             "the target engine lets in an initiator that matches either"},
    {ISCSI::ISCSI_ERR_NO_FREE_LUN_NUMBER, "No free LUN number on the target (at most 255 logical units)"},
    {ISCSI::ISCSI_ERR_LUN_NOT_SERVABLE, "The LUN has no image file that the target engine could serve"},

    // Jobs, clones, export and import (18999140-18999159).
    {ISCSI::ISCSI_ERR_JOB_CANCELLED, "The operation was cancelled before it was done"},
    {ISCSI::ISCSI_ERR_JOB_INTERRUPTED,
     "The operation was interrupted because the iSCSI service stopped or restarted"},
    {ISCSI::ISCSI_ERR_NO_RUNNING_JOB, "No such clone, export or import is running"},
    {ISCSI::ISCSI_ERR_JOB_BUSY, "A clone, export or import of this LUN or snapshot is already running"},
    {ISCSI::ISCSI_ERR_COPY_FAILED,
     "The data could not be copied: the source could not be read or the destination could not be written"},
    {ISCSI::ISCSI_ERR_NO_SPACE, "The destination volume has not enough free space for the copy"},
    {ISCSI::ISCSI_ERR_LUN_NOT_READY, "The LUN is still being made by a clone and cannot be used yet"},
    {ISCSI::ISCSI_ERR_NOT_CLONEABLE, "The file cannot be cloned into this location: it is no LUN file on a "
                                     "volume, or the location is no volume"},
    {ISCSI::ISCSI_ERR_EXPORT_DIR, "The export directory cannot be made or already holds an export"},
    {ISCSI::ISCSI_ERR_NOT_AN_EXPORT, "The directory holds no readable export of a LUN"},
    {ISCSI::ISCSI_ERR_EXPORT_VERSION,
     "The export was written in a format version that this service cannot read"},
    {ISCSI::ISCSI_ERR_EXPORT_CHECKSUM,
     "The exported image does not match the checksum or size in its metadata"},
    {ISCSI::ISCSI_ERR_EXPORT_TOO_LARGE,
     "The exported image is larger than the LUN it would be imported into"},
    {ISCSI::ISCSI_ERR_PATH_NOT_PLAIN_FILE,
     "The file is no regular file of its volume: a link, a device, or a file with other names"},
    {ISCSI::ISCSI_ERR_LUN_IN_EXPORT,
     "The LUN cannot be deleted while one of its snapshots is being exported: cancel the export first"},
    {ISCSI::ISCSI_ERR_LUN_IN_IMPORT,
     "The LUN cannot be deleted while a snapshot is being imported into it: cancel the import first"},
    {ISCSI::ISCSI_ERR_LUN_IN_CLONE,
     "The LUN cannot be deleted while it is the source of a running clone: stop the clone first"},

    // LUN sources, paths and volumes (18999160-18999169).
    {ISCSI::ISCSI_ERR_PATH_NOT_ABSOLUTE, "The path is empty or not absolute"},
    {ISCSI::ISCSI_ERR_PATH_DOT_DOT, "The path has a '..' component"},
    {ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES, "The path lies outside every configured volume"},
    {ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, "The path leads out of its volume through a symbolic link"},
    {ISCSI::ISCSI_ERR_LUN_SOURCE, "The source of the LUN (a file, a directory or a block device) is missing, "
                                  "in use, or holds no usable LUN image"},
    {ISCSI::ISCSI_ERR_LUN_CHANGE_NOT_OFFERED, "This LUN type, or this change of the LUN, is not offered"},
    {ISCSI::ISCSI_ERR_LOOP_DEVICE, "No loop device could be attached to the LUN or detached from it"},
    {ISCSI::ISCSI_ERR_NOT_LOOP_MOUNTED, "The LUN is not attached to a loop device"},
    {ISCSI::ISCSI_ERR_DEFRAG,
     "The LUN cannot be defragmented: its file system has no tool for it here, or the tool failed"},
    {ISCSI::ISCSI_ERR_NOT_REMOTE_DISK, "The LUN does not lie on a remote disk"},

    // Service log, local node settings and virtual LUNs (18999170-18999189).
    {ISCSI::ISCSI_ERR_LOG_EXPORT_FORMAT, "The log can only be exported as csv or html"},
    {ISCSI::ISCSI_ERR_LOG_EXPORT_OUTPUT, "The log export could not be written: the request has no output"},
    {ISCSI::ISCSI_ERR_ISNS_ADDRESS,
     "Invalid iSNS server address: an IPv4 or IPv6 address is expected, and it is "
     "required when iSNS is enabled"},
    {ISCSI::ISCSI_ERR_IO_QUEUE_LENGTH, "The I/O queue length must be between 1 and 4096"},
    {ISCSI::ISCSI_ERR_EP_UNMAP_BUF_MODE, "The EP buffer unmap mode must be 0, 1 or 2"},
    {ISCSI::ISCSI_ERR_NOT_A_VOLUME, "The root path is not a configured volume (such as /volume1)"},

    // LUN backup (18999190-18999199).
    {ISCSI::ISCSI_ERR_LUNBKP_TARGET_ADDRESS,
     "Invalid target address: an IPv4 or IPv6 address is expected, with an optional port of 1-65535"},
    {ISCSI::ISCSI_ERR_LUNBKP_TARGET_UNREACHABLE, "No iSCSI target answered at this address"},
    {ISCSI::ISCSI_ERR_LUNBKP_TARGET_LOGIN,
     "The target refused the login: the IQN is malformed, unknown at this address, or not open to this node"},
    {ISCSI::ISCSI_ERR_LUNBKP_NO_DEVICE,
     "The block device path names no connected target, or the target has no disk LUN"},
    {ISCSI::ISCSI_ERR_LUNBKP_DEVICE_TOO_SMALL, "The block device is smaller than the LUN"},
    {ISCSI::ISCSI_ERR_LUNBKP_LUN_IN_USE, "The LUN is in use (mapped to an enabled target, or attached to a "
                                         "loop device) and cannot be restored into"},
    // Conversion of LUN files into subvolumes (18999230-18999239).
    {ISCSI::ISCSI_ERR_SUBVOL, "The subvolume of a LUN could not be created, synced or removed"},
    {ISCSI::ISCSI_ERR_SUBVOL_LUN_IN_USE,
     "A LUN came into use during the conversion into subvolumes (mapped to an enabled target, a job "
     "or a loop device on it): the conversion stopped"},
    // The credential library and the node channel (18999300-18999319).
    {KOVA_CRED_ERR_INVALID,
     "Incomplete or invalid connection data of the remote node (host, port or protocol)"},
    {KOVA_CRED_ERR_CONNECT,
     "The remote node could not be reached (connection refused, no route, or unknown name)"},
    {KOVA_CRED_ERR_TIMEOUT, "The remote node did not answer in time"},
    {KOVA_CRED_ERR_TLS,
     "The TLS connection to the remote node failed, or its certificate could not be verified"},
    {KOVA_CRED_ERR_CERT_CHANGED,
     "The remote node showed another certificate than the one pinned for it; the connection was refused"},
    {KOVA_CRED_ERR_REPLY, "The remote node's reply was not the expected JSON"},
    {KOVA_CRED_ERR_LOGIN,
     "The remote node refused the login: unknown account, wrong password, or locked out"},
    {KOVA_CRED_ERR_OTP, "The remote node refused the one-time code, or needs one"},
    {KOVA_CRED_ERR_SESSION, "The remote node does not know the session (ended or expired)"},
    {KOVA_CRED_ERR_TRANSFER, "The exchange with the remote node failed"},
    {KOVA_NODE_ERR_NO_SESSION,
     "No session with the node: none is kept, or the node refused it and it could not be renewed"},

    // Remote nodes and node sessions (18999320-18999339).
    {ISCSI::ISCSI_ERR_NODE_NOT_FOUND, "No node of this uuid or host name is known"},
    {ISCSI::ISCSI_ERR_NODE_INVALID,
     "Incomplete node: a uuid, host name, port (1-65535) and protocol (http or https) are required"},
    {ISCSI::ISCSI_ERR_NODE_IS_LOCAL, "The local node's own entry cannot be added, changed or deleted"},
    {ISCSI::ISCSI_ERR_NODE_AMBIGUOUS, "Several nodes have this host name: name the node by its uuid"},
    {ISCSI::ISCSI_ERR_NODE_EXISTS, "A node at this host name and port is already known"},
    {ISCSI::ISCSI_ERR_NODE_ROD_KEY, "The appliance reached has another rod key than the one given for it"},
    {ISCSI::ISCSI_ERR_NODE_NO_LOCAL_ADDRESS,
     "This appliance does not know its own address for other nodes (start the daemon with --node-url)"},
    {ISCSI::ISCSI_ERR_NODE_SESSION_UNKNOWN, "No such node session of this caller"},
    {ISCSI::ISCSI_ERR_NODE_NO_CHANNEL,
     "No node channel in this process: the credential library is not loaded"},
};

constexpr bool IsStrictlySorted()
{
    for (std::size_t i = 1; i < std::size(kErrorTexts); ++i) {
        if (kErrorTexts[i - 1].code >= kErrorTexts[i].code) {
            return false;
        }
    }
    return true;
}
static_assert(IsStrictlySorted(), "the error text table must be sorted by code, without repeats");

} // namespace

extern "C" const char* KOVAiSCSIStrError(int code)
{
    const ErrorText* begin = std::begin(kErrorTexts);
    const ErrorText* end = std::end(kErrorTexts);
    const ErrorText* it = std::lower_bound(
        begin, end, code, [](const ErrorText& entry, int value) { return entry.code < value; });
    if (it != end && it->code == code) {
        return it->text;
    }
    return "Unknown error";
}
