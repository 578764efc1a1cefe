// The target rows of the configuration database: targets, their ACL masks, portals and LUN
// mappings, the load state of LUNs and snapshots, LUN whitelists and the engine's settings.
// Every function runs inside the caller's transaction (or none for reads) and answers 0,
// ISCSI_ERR_DATABASE, or the code named with it.
#pragma once

#include "config/ConfigDB.h"

#include <iscsi/ISCSITargetInfo.h>

#include <map>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

// The largest target id (and so the most targets the library keeps).
constexpr int kMaxTid = 1024;
// The largest LUN number on a target; tgtd's LUN 0 is its controller, so numbers start at 1.
constexpr int kMaxTargetLunNumber = 255;

struct TargetRow {
    int tid = 0;
    std::string name;
    std::string iqn;
    bool is_enabled = true;
    bool has_header_checksum = false;
    bool has_data_checksum = false;
    unsigned int max_recv_seg_bytes = 262144;
    unsigned int max_send_seg_bytes = 262144;
    unsigned int max_sessions = 1;
    int auth_type = 0;
    std::string user;
    std::string password;
    std::string mutual_user;
    std::string mutual_password;
    long long created_at = 0;
};

struct PortalRow {
    long long id = 0;
    int tid = 0;
    std::string ip;
    std::string interface_name;
    unsigned int port = 3260;
    unsigned int tpgt = 0;
};

// One logical unit of a target: a mapped LUN, or a loaded snapshot of a mapped LUN.
struct TargetLunRow {
    int tid = 0;
    int lun_number = 0;
    std::string lun_uuid;      // the LUN, or the snapshot's LUN
    std::string snapshot_uuid; // empty for the LUN itself
};

// Targets. FindTarget answers 18990710 when there is no such target.
int FindTarget(ConfigDB& db, int tid, TargetRow& row);
int FindTargetByIqn(ConfigDB& db, const std::string& iqn, TargetRow& row);
int FindTargetByName(ConfigDB& db, const std::string& name, TargetRow& row);
int ListTargetRows(ConfigDB& db, std::vector<TargetRow>& rows);
// The lowest free target id: 0, or ISCSI_ERR_NO_FREE_TID.
int NextTid(ConfigDB& db, int& tid);
int InsertTarget(ConfigDB& db, const TargetRow& row);
int UpdateTarget(ConfigDB& db, const TargetRow& row);
int DeleteTarget(ConfigDB& db, int tid);

// ACL masks of a target, initiator IQN to authority.
int ListAcls(ConfigDB& db, int tid, std::map<std::string, ISCSI_TARGET_AUTHORITY>& acls);
int ReplaceAcls(ConfigDB& db, int tid, const std::map<std::string, ISCSI_TARGET_AUTHORITY>& acls);

// Portals of one target (tid >= 1) or of every target (tid 0), by id.
int ListPortals(ConfigDB& db, int tid, std::vector<PortalRow>& rows);
// Adds a portal unless the target already has the same one.
int AddPortal(ConfigDB& db, const PortalRow& row);
// Removes the target's portal with the same address, interface and port; a portal the target
// does not have is no error.
int RemovePortal(ConfigDB& db, const PortalRow& row);

// Logical units: of one target (tid >= 1) or every target (tid 0), by target and number.
int ListTargetLuns(ConfigDB& db, int tid, std::vector<TargetLunRow>& rows);
// The targets the LUN is mapped to, ascending.
int ListLunTargets(ConfigDB& db, const std::string& lunUuid, std::vector<int>& tids);
// Maps a LUN (or a snapshot) to a target with the lowest free number, unless it is mapped
// already. 0, or ISCSI_ERR_NO_FREE_LUN_NUMBER.
int MapLun(ConfigDB& db, int tid, const std::string& lunUuid);
int MapSnapshot(ConfigDB& db, int tid, const std::string& snapshotUuid);
// Takes a LUN off a target together with its loaded snapshots there.
int UnmapLun(ConfigDB& db, int tid, const std::string& lunUuid);
int UnmapSnapshotEverywhere(ConfigDB& db, const std::string& snapshotUuid);

// Load state: LUNs are loaded unless unloaded; snapshots are unloaded unless loaded.
int IsLunLoaded(ConfigDB& db, const std::string& lunUuid, bool& loaded);
int SetLunLoaded(ConfigDB& db, const std::string& lunUuid, bool loaded);
int ListLoadedSnapshots(ConfigDB& db, const std::string& lunUuid, std::vector<std::string>& snapshotUuids);
int SetSnapshotLoaded(ConfigDB& db, const std::string& snapshotUuid, bool loaded);

// A LUN's whitelist of initiator addresses, in the order it was given.
int ListWhitelist(ConfigDB& db, const std::string& lunUuid, std::vector<std::string>& addresses);
int ReplaceWhitelist(ConfigDB& db, const std::string& lunUuid, const std::vector<std::string>& addresses);

// Engine settings (the iSNS server): a missing key reads as empty.
int GetEngineSetting(ConfigDB& db, const std::string& key, std::string& value);
int SetEngineSetting(ConfigDB& db, const std::string& key, const std::string& value);

} // namespace Storage
} // namespace ISCSI
