// The target engine inside the library: keeps tgtd equal to the stored configuration.
//
// The configuration database is the truth. After each change the engine computes what tgtd
// should hold (targets of enabled rows, their logical units, access rules, CHAP accounts,
// login parameters, and the portals) and applies the difference to what it applied before.
// tgtd keeps nothing across a restart, so a start applies everything. All functions run under
// the library lock.
#pragma once

#include "context/LibraryContext.h"

#include <iscsi/ISCSITargetInfo.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

// Runs change in one transaction, checks that tgtd can carry the configuration that results,
// applies it to tgtd (when tgtd runs) and commits. On any failure the transaction is rolled
// back and tgtd brought back to the stored configuration. Answers 0, change's code, a code of
// CheckTargetConfiguration, ISCSI_ERR_TARGET_ENGINE or ISCSI_ERR_DATABASE.
int ChangeTargetConfiguration(LibraryContext& ctx, const std::function<int(ConfigDB&)>& change);
// The same, and when it succeeded, done written to the service log as an "info" line of SYSTEM
// (nothing when done is empty).
int ChangeTargetConfiguration(LibraryContext& ctx, const std::function<int(ConfigDB&)>& change,
                              const std::string& done);

// What tgtd cannot carry: ISCSI_ERR_ACL_MIXED_ACCESS, ISCSI_ERR_ACCESS_RULES_CONFLICT,
// ISCSI_ERR_CHAP_USER_IN_USE; 0 when the stored configuration is fine.
int CheckTargetConfiguration(ConfigDB& db);

// Brings tgtd to the stored configuration (as the open transaction sees it), starting tgtd
// when the first enabled target appears. 0 (also when there is no engine), or
// ISCSI_ERR_TARGET_ENGINE when tgtd refused a step.
int SyncTargetEngine(LibraryContext& ctx);

// The LUN's image file was replaced or resized: its logical units are closed and opened again.
// Answers as SyncTargetEngine.
int ReopenLunInTargetEngine(LibraryContext& ctx, const std::string& lunUuid);

// The initiators logged in to a target; empty when tgtd does not serve it.
void TargetEngineSessions(int tid, std::vector<ISCSITargetSessionInfo>& sessions);
// Whether tgtd serves the target now.
bool TargetEngineServes(int tid);

// I/O counters of one logical unit, summed over its sessions since the engine started
// watching it (tgtd's own counters belong to a session and vanish at logout).
struct LuIoCounters {
    std::uint64_t read_bytes = 0;
    std::uint64_t read_ops = 0;
    std::uint64_t write_bytes = 0;
    std::uint64_t write_ops = 0;
    std::uint64_t errors = 0;
};
// Reads tgtd's statistics and answers the totals per (tid, LUN number). False when tgtd does
// not run or did not answer.
bool TargetEngineIoCounters(std::map<std::pair<int, int>, LuIoCounters>& totals);

// The pid of the tgtd this process runs, or -1 (for tests and logs).
int TargetEnginePid();

// An IPv4 or IPv6 address in its canonical text; false when text is neither.
bool CanonicalAddress(const std::string& text, std::string& canonical);

// The LUN facts that belong to targets: whether the LUN is mapped, and its whitelist.
int LoadTargetFactsOfLun(ConfigDB& db, const std::string& lunUuid, bool& isMapped,
                         std::vector<std::string>& whitelist);

} // namespace Storage
} // namespace ISCSI
