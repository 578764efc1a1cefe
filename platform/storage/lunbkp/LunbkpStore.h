// The rows of LUN backup: the targets attached by targetConnect (table lunbkp_targets) and the
// state of each LUN's block copy (table lunbkp_copies), with its bitmap of copied chunks.
//
// A block copy goes chunk by chunk (kLunbkpChunkSize bytes; the last chunk of a LUN may be
// shorter). A chunk's bit is set once its data reached the destination for good (the device
// was synchronised, or the file synced), so a copy that stopped, failed or died resumes at the
// first chunk whose bit is clear; a chunk copied twice does no harm.
#pragma once

#include "config/ConfigDB.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

constexpr std::uint64_t kLunbkpChunkSize = 1024 * 1024;
constexpr std::uint64_t kSectorSize = 512;

// The kinds of the job rows of block copies: a backup reads the LUN, a restore writes it.
constexpr char kLunBackupJobKind[] = "lunbackup";
constexpr char kLunRestoreJobKind[] = "lunrestore";

// One target attached by targetConnect.
struct ConnectedTarget {
    std::string portal; // "127.0.0.1:3260", "[::1]:3260"
    std::string iqn;
    int lun = 0;              // the disk LUN of the target that the copies use
    std::string blockDevPath; // "iscsi://<portal>/<iqn>/<lun>"
    long long connectedAt = 0;
};

// The path that stands for the LUN lun of the target iqn at portal.
std::string DevicePathOf(const std::string& portal, const std::string& iqn, int lun);

// Look-ups: 0, ISCSI_ERR_LUNBKP_NO_DEVICE when there is no such row, or ISCSI_ERR_DATABASE.
int FindConnectedTarget(ConfigDB& db, const std::string& portal, const std::string& iqn,
                        ConnectedTarget& row);
int FindConnectedTargetByPath(ConfigDB& db, const std::string& blockDevPath, ConnectedTarget& row);
// Inserts or replaces the row of its portal and IQN; 0 or ISCSI_ERR_DATABASE.
int SaveConnectedTarget(ConfigDB& db, const ConnectedTarget& row);
int DeleteConnectedTarget(ConfigDB& db, const std::string& portal, const std::string& iqn);

// The states of a copy row. "copying" in a row that no job of this process runs is a copy that
// died with its process: it resumes like a stopped one.
constexpr char kCopyCopying[] = "copying";
constexpr char kCopyStopped[] = "stopped";
constexpr char kCopyFailed[] = "failed";
constexpr char kCopyDone[] = "done";

// The block copy of one LUN (one row per LUN: its newest copy, either way).
struct CopyState {
    std::string lunUuid;
    int type = 0; // 0 backup, 1 restore
    std::string blockDevPath;
    std::string location; // the LUN's volume when the copy began
    std::uint64_t lunSize = 0;
    std::uint64_t chunkSize = kLunbkpChunkSize;
    std::vector<bool> bitmap; // one bit per chunk: copied
    std::uint64_t chunksDone = 0;
    std::string state;
    int errorCode = 0;
    long long updatedAt = 0;

    std::uint64_t chunkCount() const { return (lunSize + chunkSize - 1) / chunkSize; }
    // The sectors covered by the chunks done (the last chunk counts its own length).
    std::uint64_t sectorsDone() const;
};

// 0, ISCSI_ERR_NO_RUNNING_JOB when the LUN has no copy row, or ISCSI_ERR_DATABASE.
int LoadCopyState(ConfigDB& db, const std::string& lunUuid, CopyState& state);
// Inserts or replaces the row (updated_at is set to now); 0 or ISCSI_ERR_DATABASE.
int SaveCopyState(ConfigDB& db, const CopyState& state);
int DeleteCopyState(ConfigDB& db, const std::string& lunUuid);
// The uuids of the copy rows whose LUN no longer exists.
int ListOrphanCopies(ConfigDB& db, std::vector<CopyState>& orphans);

} // namespace Storage
} // namespace ISCSI
