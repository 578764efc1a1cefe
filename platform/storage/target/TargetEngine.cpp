// The target engine: tgtd's start and stop with the library context, and the reconciliation
// of tgtd with the stored configuration.
#include "target/TargetEngine.h"

#include "context/StartupHooks.h"
#include "log/ServiceLog.h"
#include "lun/LUNStore.h"
#include "snapshot/SnapshotStore.h"
#include "target/TargetEngineHooks.h"
#include "target/TargetStore.h"
#include "target/TgtDaemon.h"

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILUNInfo.h>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <syslog.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

namespace ISCSI {
namespace Storage {

using Target::AccountDirection;
using Target::LuParams;
using Target::TgtAdmClient;
using Target::TgtDaemon;
using Target::TgtDaemonOptions;
using Target::TgtStatus;

namespace {

constexpr const char* kDefaultTgtd = "/usr/sbin/tgtd";
constexpr const char* kDefaultPortal = "0.0.0.0:3260";
// Deleting a logical unit under I/O may answer "still active"; it is tried this many times.
constexpr int kLuDeleteAttempts = 20;
constexpr std::chrono::milliseconds kLuDeleteRetry{100};

struct LuState {
    std::string path;
    std::string serial;
    bool thin = false;
    bool readOnly = false;
    bool operator==(const LuState& o) const
    {
        return path == o.path && serial == o.serial && thin == o.thin && readOnly == o.readOnly;
    }
};

struct TargetState {
    std::string iqn;
    std::map<std::string, std::string> params;
    std::map<int, LuState> lus;
    std::set<std::string> addresses;
    std::set<std::string> names;
    std::string inUser, inSecret, outUser, outSecret;
};

struct EngineState {
    std::map<int, TargetState> targets;
    std::map<std::string, std::string> accounts; // user -> secret
    std::set<std::string> portals;
    std::string isns; // "enabled|address" as applied
};

struct Engine {
    std::unique_ptr<TgtDaemon> daemon;
    bool startTried = false;
    std::string firstPortal;
    std::string dataDir;
    EngineState applied;
    // LUs to close and open again at the next sync: (tid, number).
    std::set<std::pair<int, int>> reopen;
    // tgtd's per-session counters as last read, by (tid, LUN, session), and the totals per
    // (tid, LUN) they were folded into.
    std::map<std::tuple<int, int, unsigned long long>, LuIoCounters> sessionSeen;
    std::map<std::pair<int, int>, LuIoCounters> totals;
};

Engine& TheEngine()
{
    // Destroyed at exit: TgtDaemon's destructor stops tgtd.
    static Engine engine;
    return engine;
}

std::string EnvOr(const char* name, const char* fallback)
{
    const char* value = std::getenv(name);
    return value && *value ? std::string(value) : std::string(fallback);
}

int EngineError(const char* what, const TgtStatus& status)
{
    syslog(LOG_ERR, "iSCSI storage: tgtd refused %s: %s", what, status.describe().c_str());
    return ISCSI_ERR_TARGET_ENGINE;
}

std::string NoDashes(const std::string& uuid)
{
    std::string out;
    for (char c : uuid)
        if (c != '-')
            out += c;
    return out;
}

bool ParseAddress(const std::string& text, int& family)
{
    unsigned char buffer[sizeof(in6_addr)];
    if (inet_pton(AF_INET, text.c_str(), buffer) == 1) {
        family = AF_INET;
        return true;
    }
    if (inet_pton(AF_INET6, text.c_str(), buffer) == 1) {
        family = AF_INET6;
        return true;
    }
    return false;
}

// The first address of a network interface: IPv4 first, else a global IPv6 address.
bool InterfaceAddress(const std::string& name, std::string& address, int& family)
{
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return false;
    std::string v6;
    for (ifaddrs* it = list; it; it = it->ifa_next) {
        if (!it->ifa_addr || name != it->ifa_name)
            continue;
        char text[INET6_ADDRSTRLEN] = {0};
        if (it->ifa_addr->sa_family == AF_INET) {
            inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(it->ifa_addr)->sin_addr, text, sizeof(text));
            address = text;
            family = AF_INET;
            freeifaddrs(list);
            return true;
        }
        if (it->ifa_addr->sa_family == AF_INET6 && v6.empty()) {
            const in6_addr& a = reinterpret_cast<sockaddr_in6*>(it->ifa_addr)->sin6_addr;
            if (!IN6_IS_ADDR_LINKLOCAL(&a)) {
                inet_ntop(AF_INET6, &a, text, sizeof(text));
                v6 = text;
            }
        }
    }
    freeifaddrs(list);
    if (v6.empty())
        return false;
    address = v6;
    family = AF_INET6;
    return true;
}

// The tgtd form of a stored portal ("a.b.c.d:port", "[v6]:port"); empty when its interface
// has no address now.
std::string PortalText(const PortalRow& row)
{
    std::string address = row.ip;
    int family = 0;
    if (address.empty()) {
        if (!InterfaceAddress(row.interface_name, address, family))
            return "";
    } else if (!ParseAddress(address, family)) {
        return "";
    }
    const std::string port = std::to_string(row.port);
    return family == AF_INET6 ? "[" + address + "]:" + port : address + ":" + port;
}

// Whether tgtd's first portal already serves portal: a wildcard address on the same port.
bool CoveredByFirstPortal(const std::string& first, const std::string& portal)
{
    const auto colon = first.rfind(':');
    const auto pcolon = portal.rfind(':');
    if (colon == std::string::npos || pcolon == std::string::npos)
        return false;
    if (first.substr(colon) != portal.substr(pcolon))
        return false;
    const std::string host = first.substr(0, colon);
    const bool portalV6 = !portal.empty() && portal[0] == '[';
    return (host == "0.0.0.0" && !portalV6) || (host == "[::]" && portalV6);
}

// What tgtd should hold, from the database as the open transaction sees it.
int DesiredState(LibraryContext& ctx, const std::string& firstPortal, EngineState& state)
{
    ConfigDB& db = ctx.db();
    std::vector<TargetRow> targets;
    if (ListTargetRows(db, targets) != 0)
        return ISCSI_ERR_DATABASE;
    state = EngineState();
    state.portals.insert(firstPortal);
    for (const TargetRow& row : targets) {
        if (!row.is_enabled)
            continue;
        TargetState t;
        t.iqn = row.iqn;
        t.params["HeaderDigest"] = row.has_header_checksum ? "CRC32C" : "None";
        t.params["DataDigest"] = row.has_data_checksum ? "CRC32C" : "None";
        t.params["MaxRecvDataSegmentLength"] = std::to_string(row.max_recv_seg_bytes);
        t.params["MaxXmitDataSegmentLength"] = std::to_string(row.max_send_seg_bytes);
        if (row.auth_type >= ISCSI_AUTH_TYPE_CHAP && !row.user.empty()) {
            t.inUser = row.user;
            t.inSecret = row.password;
            state.accounts[row.user] = row.password;
        }
        if (row.auth_type == ISCSI_AUTH_TYPE_MUTUAL_CHAP && !row.mutual_user.empty()) {
            t.outUser = row.mutual_user;
            t.outSecret = row.mutual_password;
            state.accounts[row.mutual_user] = row.mutual_password;
        }

        std::map<std::string, ISCSI_TARGET_AUTHORITY> acls;
        if (ListAcls(db, row.tid, acls) != 0)
            return ISCSI_ERR_DATABASE;
        bool anyRw = false;
        for (const auto& acl : acls) {
            if (acl.second == ISCSI_TARGET_AUTHORITY_NONE)
                continue;
            t.names.insert(acl.first);
            anyRw = anyRw || acl.second == ISCSI_TARGET_AUTHORITY_READ_WRITE;
        }
        const bool readOnly = !t.names.empty() && !anyRw;

        std::vector<TargetLunRow> lus;
        if (ListTargetLuns(db, row.tid, lus) != 0)
            return ISCSI_ERR_DATABASE;
        bool restricted = false;
        std::set<std::string> allowed;
        for (const TargetLunRow& lu : lus) {
            LUNRow lun;
            if (FindLUNByUuid(db, lu.lun_uuid, lun) != 0)
                continue;
            const std::string dir = ctx.volumeDir(lun.location);
            if (dir.empty() || !IsFileType(lun.type))
                continue;
            LuState s;
            if (lu.snapshot_uuid.empty()) {
                bool loaded = true;
                if (IsLunLoaded(db, lun.uuid, loaded) != 0)
                    return ISCSI_ERR_DATABASE;
                if (!loaded)
                    continue;
                s.path = dir + "/" + lun.file_path;
                s.serial = lun.vpd_unit_sn.empty() ? NoDashes(lun.uuid) : lun.vpd_unit_sn;
                s.thin =
                    IsThinType(lun.type) &&
                    (lun.dev_attribs & (ISCSI_DEV_ATTRIB_EMULATE_TPU | ISCSI_DEV_ATTRIB_EMULATE_TPWS)) != 0;
                s.readOnly = readOnly;
                std::vector<std::string> whitelist;
                if (ListWhitelist(db, lun.uuid, whitelist) != 0)
                    return ISCSI_ERR_DATABASE;
                if (!whitelist.empty()) {
                    const std::set<std::string> mine(whitelist.begin(), whitelist.end());
                    if (!restricted) {
                        allowed = mine;
                    } else {
                        std::set<std::string> both;
                        for (const auto& a : allowed)
                            if (mine.count(a))
                                both.insert(a);
                        allowed = both;
                    }
                    restricted = true;
                }
            } else {
                SnapshotRow snap;
                if (FindSnapshotByUuid(db, lu.snapshot_uuid, snap) != 0)
                    continue;
                s.path = SnapshotImagePath(dir, snap);
                s.serial = NoDashes(snap.uuid);
                s.readOnly = true;
            }
            // Serials are checked before they are stored; one stored by an earlier version
            // that tgtd cannot carry leaves tgtd's own, and says so.
            if (!IsPresentableVpdUnitSn(s.serial)) {
                syslog(LOG_WARNING,
                       "iSCSI storage: the serial of LUN %d of target %d cannot be presented; "
                       "tgtd's default serial is served",
                       lu.lun_number, row.tid);
                s.serial.clear();
            }
            // A file that is gone (a volume not mounted) is not served; the other logical
            // units and targets go on.
            struct stat st;
            if (::stat(s.path.c_str(), &st) != 0) {
                syslog(LOG_WARNING, "iSCSI storage: %s is missing; LUN %d of target %d is not served",
                       s.path.c_str(), lu.lun_number, row.tid);
                continue;
            }
            t.lus[lu.lun_number] = s;
        }
        if (restricted)
            t.addresses = allowed;
        else if (acls.empty())
            t.addresses.insert("ALL");
        state.targets[row.tid] = std::move(t);
    }

    std::vector<PortalRow> portals;
    if (ListPortals(db, 0, portals) != 0)
        return ISCSI_ERR_DATABASE;
    for (const PortalRow& row : portals) {
        const std::string text = PortalText(row);
        if (text.empty()) {
            syslog(LOG_WARNING, "iSCSI storage: the portal %s:%u has no address now; not served",
                   row.ip.empty() ? row.interface_name.c_str() : row.ip.c_str(), row.port);
            continue;
        }
        if (!CoveredByFirstPortal(firstPortal, text))
            state.portals.insert(text);
    }

    std::string enabled, address;
    if (GetEngineSetting(db, "isns_enabled", enabled) != 0 ||
        GetEngineSetting(db, "isns_address", address) != 0)
        return ISCSI_ERR_DATABASE;
    state.isns = enabled == "1" && !address.empty() ? address : std::string();
    return 0;
}

TgtStatus DeleteLuPatiently(const TgtAdmClient& client, int tid, int lun)
{
    TgtStatus st;
    for (int i = 0; i < kLuDeleteAttempts; ++i) {
        st = client.DeleteLu(tid, static_cast<uint64_t>(lun));
        if (st || st.code == Target::TgtNoLun || st.code == Target::TgtNoTarget)
            return TgtStatus::Ok();
        if (st.kind != TgtStatus::Kind::Tgtd || st.code != Target::TgtLunActive)
            return st;
        std::this_thread::sleep_for(kLuDeleteRetry);
    }
    return st;
}

TgtStatus SystemParam(const TgtAdmClient& client, const std::string& payload)
{
    Target::TgtRequest req;
    req.mode = Target::TgtMode::System;
    req.op = Target::TgtOp::Update;
    req.payload = payload;
    return client.Execute(req);
}

// Applies desired over e.applied, step by step; e.applied follows every step that worked.
int Apply(Engine& e, const EngineState& desired)
{
    const TgtAdmClient client = e.daemon->client();
    EngineState& applied = e.applied;

    // Targets that go, or whose IQN changed (tgtd cannot rename a target).
    for (auto it = applied.targets.begin(); it != applied.targets.end();) {
        const auto want = desired.targets.find(it->first);
        if (want != desired.targets.end() && want->second.iqn == it->second.iqn) {
            ++it;
            continue;
        }
        const TgtStatus st = client.DeleteTarget(it->first, true);
        if (!st && st.code != Target::TgtNoTarget)
            return EngineError("to delete a target", st);
        for (const auto& lu : it->second.lus)
            e.totals.erase({it->first, lu.first});
        it = applied.targets.erase(it);
    }

    // What goes from the targets that stay.
    for (auto& entry : applied.targets) {
        const int tid = entry.first;
        TargetState& at = entry.second;
        const TargetState& dt = desired.targets.at(tid);
        if (!at.inUser.empty() && (at.inUser != dt.inUser || at.inSecret != dt.inSecret)) {
            const TgtStatus st = client.UnbindAccount(tid, at.inUser, AccountDirection::Incoming);
            if (!st && st.code != Target::TgtNoUser)
                return EngineError("to unbind a CHAP account", st);
            at.inUser.clear();
            at.inSecret.clear();
        }
        if (!at.outUser.empty() && (at.outUser != dt.outUser || at.outSecret != dt.outSecret)) {
            const TgtStatus st = client.UnbindAccount(tid, at.outUser, AccountDirection::Outgoing);
            if (!st && st.code != Target::TgtNoUser)
                return EngineError("to unbind a mutual CHAP account", st);
            at.outUser.clear();
            at.outSecret.clear();
        }
        for (auto a = at.addresses.begin(); a != at.addresses.end();) {
            if (dt.addresses.count(*a)) {
                ++a;
                continue;
            }
            const TgtStatus st = client.UnbindInitiatorAddress(tid, *a);
            if (!st)
                return EngineError("to unbind an initiator address", st);
            a = at.addresses.erase(a);
        }
        for (auto n = at.names.begin(); n != at.names.end();) {
            if (dt.names.count(*n)) {
                ++n;
                continue;
            }
            const TgtStatus st = client.UnbindInitiatorName(tid, *n);
            if (!st)
                return EngineError("to unbind an initiator name", st);
            n = at.names.erase(n);
        }
        for (auto lu = at.lus.begin(); lu != at.lus.end();) {
            const auto want = dt.lus.find(lu->first);
            if (want != dt.lus.end() && want->second.path == lu->second.path &&
                e.reopen.count({tid, lu->first}) == 0) {
                ++lu;
                continue;
            }
            const TgtStatus st = DeleteLuPatiently(client, tid, lu->first);
            if (!st)
                return EngineError("to delete a logical unit", st);
            e.reopen.erase({tid, lu->first});
            e.totals.erase({tid, lu->first}); // the number may serve another LUN later
            lu = at.lus.erase(lu);
        }
    }

    // CHAP accounts are global in tgtd.
    for (auto it = applied.accounts.begin(); it != applied.accounts.end();) {
        const auto want = desired.accounts.find(it->first);
        if (want != desired.accounts.end() && want->second == it->second) {
            ++it;
            continue;
        }
        const TgtStatus st = client.DeleteAccount(it->first);
        if (!st && st.code != Target::TgtNoUser)
            return EngineError("to delete a CHAP account", st);
        it = applied.accounts.erase(it);
    }
    for (const auto& account : desired.accounts) {
        if (applied.accounts.count(account.first))
            continue;
        const TgtStatus st = client.CreateAccount(account.first, account.second);
        if (!st)
            return EngineError("to create a CHAP account", st);
        applied.accounts[account.first] = account.second;
    }

    for (const std::string& portal : desired.portals) {
        if (applied.portals.count(portal))
            continue;
        const TgtStatus st = client.CreatePortal(portal);
        if (!st)
            return EngineError("to add a portal", st);
        applied.portals.insert(portal);
    }

    for (const auto& entry : desired.targets) {
        const int tid = entry.first;
        const TargetState& dt = entry.second;
        if (!applied.targets.count(tid)) {
            const TgtStatus st = client.CreateTarget(tid, dt.iqn);
            if (!st)
                return EngineError("to create a target", st);
            TargetState fresh;
            fresh.iqn = dt.iqn;
            applied.targets[tid] = fresh;
        }
        TargetState& at = applied.targets[tid];
        for (const auto& param : dt.params) {
            if (at.params[param.first] == param.second)
                continue;
            const TgtStatus st = client.SetTargetParam(tid, param.first, param.second);
            if (!st)
                return EngineError("a target parameter", st);
            at.params[param.first] = param.second;
        }
        for (const auto& lu : dt.lus) {
            auto have = at.lus.find(lu.first);
            if (have == at.lus.end()) {
                const TgtStatus st = client.CreateLu(tid, static_cast<uint64_t>(lu.first), lu.second.path);
                if (!st)
                    return EngineError("to create a logical unit", st);
                LuState opened;
                opened.path = lu.second.path;
                have = at.lus.emplace(lu.first, opened).first;
                have->second.serial = "\x01"; // parameters not applied yet
            }
            if (have->second == lu.second)
                continue;
            LuParams params;
            if (!lu.second.serial.empty())
                params.scsiSerial = lu.second.serial;
            params.thinProvisioning = lu.second.thin;
            params.readOnly = lu.second.readOnly;
            const TgtStatus st = client.UpdateLu(tid, static_cast<uint64_t>(lu.first), params);
            if (!st)
                return EngineError("logical unit parameters", st);
            have->second = lu.second;
        }
        if (!dt.inUser.empty() && at.inUser.empty()) {
            const TgtStatus st = client.BindAccount(tid, dt.inUser, AccountDirection::Incoming);
            if (!st)
                return EngineError("to bind a CHAP account", st);
            at.inUser = dt.inUser;
            at.inSecret = dt.inSecret;
        }
        if (!dt.outUser.empty() && at.outUser.empty()) {
            const TgtStatus st = client.BindAccount(tid, dt.outUser, AccountDirection::Outgoing);
            if (!st)
                return EngineError("to bind a mutual CHAP account", st);
            at.outUser = dt.outUser;
            at.outSecret = dt.outSecret;
        }
        for (const std::string& address : dt.addresses) {
            if (at.addresses.count(address))
                continue;
            const TgtStatus st = client.BindInitiatorAddress(tid, address);
            if (!st)
                return EngineError("to bind an initiator address", st);
            at.addresses.insert(address);
        }
        for (const std::string& name : dt.names) {
            if (at.names.count(name))
                continue;
            const TgtStatus st = client.BindInitiatorName(tid, name);
            if (!st)
                return EngineError("to bind an initiator name", st);
            at.names.insert(name);
        }
    }

    for (auto it = applied.portals.begin(); it != applied.portals.end();) {
        if (desired.portals.count(*it)) {
            ++it;
            continue;
        }
        const TgtStatus st = client.DeletePortal(*it);
        if (!st)
            return EngineError("to delete a portal", st);
        it = applied.portals.erase(it);
    }

    if (desired.isns != applied.isns) {
        TgtStatus st;
        if (desired.isns.empty()) {
            st = SystemParam(client, "iSNS=Off");
        } else {
            st = SystemParam(client, "iSNSServerIP=" + desired.isns);
            if (st)
                st = SystemParam(client, "iSNS=On");
        }
        if (!st)
            return EngineError("the iSNS setting", st);
        applied.isns = desired.isns;
    }
    return 0;
}

// Starts tgtd once per context; on failure the engine stays off until the context reopens.
void StartDaemon(LibraryContext& ctx, Engine& e)
{
    if (e.startTried)
        return;
    e.startTried = true;
    const std::string tgtd = EnvOr("KOVA_TGTD", kDefaultTgtd);
    if (tgtd == "off")
        return;
    std::string why;
    if (!TgtDaemon::Installed(tgtd, why)) {
        syslog(LOG_WARNING, "iSCSI storage: no target engine: %s", why.c_str());
        return;
    }
    TgtDaemonOptions options;
    options.tgtdPath = tgtd;
    options.socketDir = ctx.dataDir() + "/tgtd";
    options.controlPort = 0;
    options.portal = e.firstPortal;
    options.logPath = ctx.dataDir() + "/tgtd.log";
    options.stopTimeout = std::chrono::milliseconds(4000);
    std::unique_ptr<TgtDaemon> daemon(new TgtDaemon(options));
    std::string error;
    if (!daemon->Start(error)) {
        syslog(LOG_ERR, "iSCSI storage: the target engine did not start: %s", error.c_str());
        WriteServiceLog(ctx.db(), "err", "SYSTEM", "The iSCSI target engine could not start: " + error);
        return;
    }
    e.daemon = std::move(daemon);
    e.applied = EngineState();
    e.applied.portals.insert(e.firstPortal);
    e.sessionSeen.clear();
    e.totals.clear();
    syslog(LOG_INFO, "iSCSI storage: tgtd started (pid %d) on %s", static_cast<int>(e.daemon->pid()),
           e.firstPortal.c_str());
}

int Sync(LibraryContext& ctx)
{
    Engine& e = TheEngine();
    if (e.dataDir != ctx.dataDir()) {
        e.dataDir = ctx.dataDir();
        e.firstPortal = EnvOr("KOVA_ISCSI_PORTAL", kDefaultPortal);
    }
    EngineState desired;
    if (DesiredState(ctx, e.firstPortal, desired) != 0)
        return ISCSI_ERR_DATABASE;
    if (e.daemon && !e.daemon->Running()) {
        syslog(LOG_ERR, "iSCSI storage: tgtd exited (status %d); starting it again",
               e.daemon->lastWaitStatus());
        WriteServiceLog(ctx.db(), "warning", "SYSTEM",
                        "The iSCSI target engine stopped; it is started again");
        e.daemon.reset();
        e.startTried = false;
    }
    if (!e.daemon) {
        // tgtd runs from the first enabled target on: a library that only keeps LUNs runs
        // none.
        if (desired.targets.empty())
            return 0;
        StartDaemon(ctx, e);
        if (!e.daemon)
            return 0;
    }
    return Apply(e, desired);
}

bool ReadIsInt(std::istringstream& in, unsigned long long& value)
{
    return static_cast<bool>(in >> value);
}

} // namespace

int CheckTargetConfiguration(ConfigDB& db)
{
    std::vector<TargetRow> targets;
    if (ListTargetRows(db, targets) != 0)
        return ISCSI_ERR_DATABASE;
    std::map<std::string, std::string> secrets;
    for (const TargetRow& row : targets) {
        auto claim = [&secrets](const std::string& user, const std::string& secret) {
            if (user.empty())
                return true;
            const auto it = secrets.find(user);
            if (it != secrets.end() && it->second != secret)
                return false;
            secrets[user] = secret;
            return true;
        };
        if (row.auth_type >= ISCSI_AUTH_TYPE_CHAP && !claim(row.user, row.password))
            return ISCSI_ERR_CHAP_USER_IN_USE;
        if (row.auth_type == ISCSI_AUTH_TYPE_MUTUAL_CHAP && !claim(row.mutual_user, row.mutual_password))
            return ISCSI_ERR_CHAP_USER_IN_USE;

        std::map<std::string, ISCSI_TARGET_AUTHORITY> acls;
        if (ListAcls(db, row.tid, acls) != 0)
            return ISCSI_ERR_DATABASE;
        bool anyR = false, anyRw = false;
        for (const auto& acl : acls) {
            anyR = anyR || acl.second == ISCSI_TARGET_AUTHORITY_READ;
            anyRw = anyRw || acl.second == ISCSI_TARGET_AUTHORITY_READ_WRITE;
        }
        if (anyR && anyRw)
            return ISCSI_ERR_ACL_MIXED_ACCESS;
        if (acls.empty())
            continue;
        std::vector<TargetLunRow> lus;
        if (ListTargetLuns(db, row.tid, lus) != 0)
            return ISCSI_ERR_DATABASE;
        for (const TargetLunRow& lu : lus) {
            std::vector<std::string> whitelist;
            if (ListWhitelist(db, lu.lun_uuid, whitelist) != 0)
                return ISCSI_ERR_DATABASE;
            if (!whitelist.empty())
                return ISCSI_ERR_ACCESS_RULES_CONFLICT;
        }
    }
    return 0;
}

int ChangeTargetConfiguration(LibraryContext& ctx, const std::function<int(ConfigDB&)>& change)
{
    int rc = 0;
    bool touchedEngine = false;
    {
        Transaction tx(ctx.db());
        if (!tx.begun())
            return ISCSI_ERR_DATABASE;
        rc = change(ctx.db());
        if (rc == 0)
            rc = CheckTargetConfiguration(ctx.db());
        if (rc == 0) {
            touchedEngine = true;
            rc = Sync(ctx);
        }
        if (rc == 0 && !tx.commit())
            rc = ISCSI_ERR_DATABASE;
    }
    if (rc != 0 && touchedEngine) {
        // The transaction is rolled back: bring tgtd back to what is stored.
        if (Sync(ctx) != 0)
            syslog(LOG_ERR, "iSCSI storage: tgtd could not be brought back to the stored configuration");
    }
    return rc;
}

int ChangeTargetConfiguration(LibraryContext& ctx, const std::function<int(ConfigDB&)>& change,
                              const std::string& done)
{
    const int rc = ChangeTargetConfiguration(ctx, change);
    if (rc == 0 && !done.empty())
        WriteServiceLog(ctx.db(), "info", "SYSTEM", done);
    return rc;
}

bool CanonicalAddress(const std::string& text, std::string& canonical)
{
    unsigned char buffer[sizeof(struct in6_addr)];
    char out[INET6_ADDRSTRLEN] = {0};
    if (inet_pton(AF_INET, text.c_str(), buffer) == 1)
        inet_ntop(AF_INET, buffer, out, sizeof(out));
    else if (inet_pton(AF_INET6, text.c_str(), buffer) == 1)
        inet_ntop(AF_INET6, buffer, out, sizeof(out));
    else
        return false;
    canonical = out;
    return true;
}

int SyncTargetEngine(LibraryContext& ctx)
{
    return Sync(ctx);
}

int ReopenLunInTargetEngine(LibraryContext& ctx, const std::string& lunUuid)
{
    Engine& e = TheEngine();
    std::vector<TargetLunRow> lus;
    if (ListTargetLuns(ctx.db(), 0, lus) != 0)
        return ISCSI_ERR_DATABASE;
    for (const TargetLunRow& lu : lus)
        if (lu.lun_uuid == lunUuid && lu.snapshot_uuid.empty())
            e.reopen.insert({lu.tid, lu.lun_number});
    return Sync(ctx);
}

void TargetEngineSessions(int tid, std::vector<ISCSITargetSessionInfo>& sessions)
{
    sessions.clear();
    Engine& e = TheEngine();
    if (!e.daemon || !e.daemon->Running())
        return;
    std::string text;
    if (!e.daemon->client().ShowTargets(text))
        return;
    std::istringstream in(text);
    std::string line;
    int current = 0;
    const std::string targetTag = "Target ";
    while (std::getline(in, line)) {
        if (line.compare(0, targetTag.size(), targetTag) == 0) {
            current = std::atoi(line.c_str() + targetTag.size());
            continue;
        }
        if (current != tid)
            continue;
        const auto first = line.find_first_not_of(' ');
        if (first == std::string::npos)
            continue;
        const std::string item = line.substr(first);
        if (item.compare(0, 11, "I_T nexus: ") == 0) {
            ISCSITargetSessionInfo session;
            session.session_id = std::strtoull(item.c_str() + 11, nullptr, 10);
            sessions.push_back(session);
        } else if (item.compare(0, 11, "Initiator: ") == 0 && !sessions.empty()) {
            std::string name = item.substr(11);
            const auto space = name.find(' ');
            sessions.back().initiator_iqn = name.substr(0, space);
        } else if (item.compare(0, 12, "IP Address: ") == 0 && !sessions.empty() &&
                   sessions.back().initiator_ip.empty()) {
            sessions.back().initiator_ip = item.substr(12);
        }
    }
}

bool TargetEngineServes(int tid)
{
    Engine& e = TheEngine();
    return e.daemon && e.daemon->Running() && e.applied.targets.count(tid) != 0;
}

bool TargetEngineIoCounters(std::map<std::pair<int, int>, LuIoCounters>& totals)
{
    Engine& e = TheEngine();
    if (!e.daemon || !e.daemon->Running())
        return false;
    std::string text;
    if (!e.daemon->client().SystemStat(text))
        return false;
    // "tgt lun sid rd_subm(bytes,cmds) rd_done(bytes,cmds) wr_subm(bytes,cmds) wr_done(bytes,cmds) errs"
    std::istringstream in(text);
    std::string line;
    std::set<std::tuple<int, int, unsigned long long>> present;
    while (std::getline(in, line)) {
        std::istringstream row(line);
        unsigned long long v[12];
        bool ok = true;
        for (int i = 0; i < 12 && ok; ++i)
            ok = ReadIsInt(row, v[i]);
        if (!ok)
            continue;
        const auto key = std::make_tuple(static_cast<int>(v[0]), static_cast<int>(v[1]), v[2]);
        present.insert(key);
        LuIoCounters now;
        now.read_bytes = v[5];
        now.read_ops = v[6];
        now.write_bytes = v[9];
        now.write_ops = v[10];
        now.errors = v[11];
        LuIoCounters& seen = e.sessionSeen[key];
        LuIoCounters& total = e.totals[{std::get<0>(key), std::get<1>(key)}];
        // A counter below what was seen belongs to a new session with a reused id.
        auto fold = [](std::uint64_t current, std::uint64_t& last, std::uint64_t& sum) {
            sum += current >= last ? current - last : current;
            last = current;
        };
        fold(now.read_bytes, seen.read_bytes, total.read_bytes);
        fold(now.read_ops, seen.read_ops, total.read_ops);
        fold(now.write_bytes, seen.write_bytes, total.write_bytes);
        fold(now.write_ops, seen.write_ops, total.write_ops);
        fold(now.errors, seen.errors, total.errors);
    }
    for (auto it = e.sessionSeen.begin(); it != e.sessionSeen.end();)
        it = present.count(it->first) ? std::next(it) : e.sessionSeen.erase(it);
    totals = e.totals;
    return true;
}

int TargetEnginePid()
{
    Engine& e = TheEngine();
    return e.daemon && e.daemon->Running() ? static_cast<int>(e.daemon->pid()) : -1;
}

int LoadTargetFactsOfLun(ConfigDB& db, const std::string& lunUuid, bool& isMapped,
                         std::vector<std::string>& whitelist)
{
    std::vector<int> tids;
    if (ListLunTargets(db, lunUuid, tids) != 0 || ListWhitelist(db, lunUuid, whitelist) != 0)
        return ISCSI_ERR_DATABASE;
    isMapped = !tids.empty();
    return 0;
}

// Hooks of the library context.

void StartTargetEngine(LibraryContext& ctx)
{
    Engine& e = TheEngine();
    e.startTried = false;
    e.dataDir = ctx.dataDir();
    e.firstPortal = EnvOr("KOVA_ISCSI_PORTAL", kDefaultPortal);
    if (Sync(ctx) != 0)
        syslog(LOG_ERR, "iSCSI storage: the stored targets could not all be applied to tgtd");
}

void StopTargetEngine(LibraryContext&)
{
    Engine& e = TheEngine();
    if (e.daemon) {
        std::string error;
        if (!e.daemon->Stop(error))
            syslog(LOG_ERR, "iSCSI storage: tgtd did not stop: %s", error.c_str());
        e.daemon.reset();
    }
    e.applied = EngineState();
    e.reopen.clear();
    e.sessionSeen.clear();
    e.totals.clear();
    e.startTried = false;
    e.dataDir.clear();
}

bool TargetEngineRunning(LibraryContext&)
{
    Engine& e = TheEngine();
    if (e.daemon)
        return e.daemon->Running();
    // tgtd starts with the first enabled target. Until then the data path is up when tgtd can
    // be started: it is installed, not switched off, and no start of this context has failed.
    if (e.startTried)
        return false;
    const std::string tgtd = EnvOr("KOVA_TGTD", kDefaultTgtd);
    std::string why;
    return tgtd != "off" && TgtDaemon::Installed(tgtd, why);
}

int ApplyIsnsToTargetEngine(LibraryContext& ctx, bool enabled, const std::string& address)
{
    if (enabled && !address.empty()) {
        int family = 0;
        if (!ParseAddress(address, family))
            return ISCSI_ERR_PORTAL_INVALID;
    }
    // The caller may hold its own transaction for the node settings: the copy kept here is
    // written in it, and tgtd follows at once.
    if (SetEngineSetting(ctx.db(), "isns_enabled", enabled ? "1" : "0") != 0 ||
        SetEngineSetting(ctx.db(), "isns_address", address) != 0)
        return ISCSI_ERR_DATABASE;
    return Sync(ctx);
}

} // namespace Storage
} // namespace ISCSI
