// Targets: their rows, ACL masks, portals and LUN mappings, and their records with the optional
// groups. Every change goes through ChangeTargetConfiguration: one transaction, the checks of
// what tgtd can carry, tgtd updated, then the commit.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBTarget.h>

#include "context/LibraryContext.h"
#include "log/ServiceLog.h"
#include "lun/LUNStore.h"
#include "target/TargetEngine.h"
#include "target/TargetStore.h"
#include "target/TgtAdmClient.h"

#include <net/if.h>
#include <strings.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <set>

using ISCSI::Storage::ConfigDB;
using ISCSI::Storage::LibraryContext;
using ISCSI::Storage::PortalRow;
using ISCSI::Storage::TargetRow;

namespace ISCSI {
namespace {

constexpr int kInvalidName = 18990700;
constexpr int kInvalidIqn = 18990701;
constexpr int kInvalidAuthType = 18990702;
constexpr int kInvalidUser = 18990704;
constexpr int kInvalidPassword = 18990705;
constexpr int kInvalidMutualUser = 18990706;
constexpr int kInvalidMutualPassword = 18990707;
constexpr int kMissingCredentials = 18990708;
constexpr int kNoSuchTarget = 18990710;
constexpr int kInvalidAcls = 18990711;
constexpr int kInvalidRecvSeg = 18990738;
constexpr int kInvalidSendSeg = 18990739;
using Storage::kNoSuchLUN;

// The longest target name kept.
constexpr std::size_t kMaxNameLength = 128;
// iSCSI names are at most 223 bytes (RFC 3720, 3.2.6.1).
constexpr std::size_t kMaxIqnLength = 223;
// MaxRecvDataSegmentLength ranges from 512 to 2^24 - 1 bytes (RFC 3720, 12.12).
constexpr unsigned int kMinSegmentBytes = 512;
constexpr unsigned int kMaxSegmentBytes = 16777215;

bool IsHex(const std::string& text)
{
    for (char c : text)
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            return false;
    return !text.empty();
}

bool IsDigits(const std::string& text)
{
    for (char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
    return !text.empty();
}

} // namespace

// Whether text is an iSCSI name by RFC 3720, 3.2.6.3: "iqn." date "." naming authority
// [":" anything], "eui." 16 hex digits, or "naa." 16 or 32 hex digits. Letters may be of either
// case (names compare without regard to case); the characters are those tgtd accepts.
bool IsValidIscsiName(const std::string& text)
{
    if (text.size() > kMaxIqnLength || text.size() < 4)
        return false;
    for (char c : text) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-' && c != ':')
            return false;
    }
    std::string lower(text);
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (lower.compare(0, 4, "eui.") == 0)
        return lower.size() == 20 && IsHex(lower.substr(4));
    if (lower.compare(0, 4, "naa.") == 0)
        return (lower.size() == 20 || lower.size() == 36) && IsHex(lower.substr(4));
    if (lower.compare(0, 4, "iqn.") != 0)
        return false;
    // iqn.yyyy-mm.authority[:unique]
    if (lower.size() < 13 || !IsDigits(lower.substr(4, 4)) || lower[8] != '-' ||
        !IsDigits(lower.substr(9, 2)) || lower[11] != '.')
        return false;
    const int month = std::stoi(lower.substr(9, 2));
    if (month < 1 || month > 12)
        return false;
    const std::string rest = lower.substr(12);
    const std::string authority = rest.substr(0, rest.find(':'));
    if (authority.empty() || authority.front() == '.' || authority.back() == '.' ||
        authority.find("..") != std::string::npos)
        return false;
    return authority.find(':') == std::string::npos;
}

namespace LIB {
namespace LIBTarget {
namespace {

bool ValidName(const std::string& name)
{
    if (name.empty() || name.size() > kMaxNameLength)
        return false;
    for (char c : name)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return false;
    return true;
}

bool ValidSegment(unsigned int bytes)
{
    return bytes >= kMinSegmentBytes && bytes <= kMaxSegmentBytes;
}

// One CHAP account: both parts given, and within what tgtd can hold.
int CheckAccount(const std::string& user, const std::string& password, int invalidUser, int invalidPassword)
{
    if (user.empty() || password.empty())
        return kMissingCredentials;
    if (!Storage::Target::CheckChapUser(user).empty())
        return invalidUser;
    if (!Storage::Target::CheckChapSecret(password).empty())
        return invalidPassword;
    return 0;
}

// The credentials that tgtd can hold (its limits, checked before anything is stored).
int CheckCredentials(const TargetRow& row)
{
    if (row.auth_type < ISCSI_AUTH_TYPE_NONE || row.auth_type > ISCSI_AUTH_TYPE_MUTUAL_CHAP)
        return kInvalidAuthType;
    int rc = 0;
    if (row.auth_type >= ISCSI_AUTH_TYPE_CHAP)
        rc = CheckAccount(row.user, row.password, kInvalidUser, kInvalidPassword);
    if (rc == 0 && row.auth_type == ISCSI_AUTH_TYPE_MUTUAL_CHAP)
        rc = CheckAccount(row.mutual_user, row.mutual_password, kInvalidMutualUser, kInvalidMutualPassword);
    return rc;
}

int CheckRow(const TargetRow& row)
{
    if (!ValidName(row.name))
        return kInvalidName;
    if (!IsValidIscsiName(row.iqn))
        return kInvalidIqn;
    if (!ValidSegment(row.max_recv_seg_bytes))
        return kInvalidRecvSeg;
    if (!ValidSegment(row.max_send_seg_bytes))
        return kInvalidSendSeg;
    return CheckCredentials(row);
}

// Whether another target than tid has the name or the IQN.
int CheckUnique(ConfigDB& db, const TargetRow& row)
{
    TargetRow other;
    int rc = Storage::FindTargetByName(db, row.name, other);
    if (rc == 0 && other.tid != row.tid)
        return ISCSI_ERR_TARGET_NAME_EXISTS;
    if (rc != 0 && rc != kNoSuchTarget)
        return rc;
    rc = Storage::FindTargetByIqn(db, row.iqn, other);
    if (rc == 0 && other.tid != row.tid)
        return ISCSI_ERR_TARGET_IQN_EXISTS;
    if (rc != 0 && rc != kNoSuchTarget)
        return rc;
    return 0;
}

void RowToRecord(const TargetRow& row, ISCSITargetInfo& record)
{
    record.tid = static_cast<unsigned int>(row.tid);
    record.name = row.name;
    record.iqn = row.iqn;
    record.is_enabled = row.is_enabled;
    record.has_header_checksum = row.has_header_checksum;
    record.has_data_checksum = row.has_data_checksum;
    record.max_recv_seg_bytes = row.max_recv_seg_bytes;
    record.max_send_seg_bytes = row.max_send_seg_bytes;
    record.max_sessions = row.max_sessions;
    record.auth_type = static_cast<ISCSI_AUTH_TYPE>(row.auth_type);
    record.user = row.user;
    record.password = row.password;
    record.mutual_user = row.mutual_user;
    record.mutual_password = row.mutual_password;
}

// Fills record from the rows of its target with the groups of flags.
int LoadRecord(LibraryContext& ctx, const TargetRow& row, int flags, ISCSITargetInfo& record)
{
    ConfigDB& db = ctx.db();
    RowToRecord(row, record);
    std::vector<PortalRow> portals;
    if (Storage::ListPortals(db, row.tid, portals) != 0)
        return ISCSI_ERR_DATABASE;
    record.network_portals.clear();
    for (const PortalRow& p : portals) {
        _tag_struct_iscsi_network_portal_ portal;
        std::memset(&portal, 0, sizeof(portal));
        portal.id = static_cast<unsigned int>(p.id);
        std::snprintf(portal.ip, sizeof(portal.ip), "%s", p.ip.c_str());
        std::snprintf(portal.interface_name, sizeof(portal.interface_name), "%s", p.interface_name.c_str());
        portal.port = p.port;
        portal.tpgt = p.tpgt;
        record.network_portals.push_back(portal);
    }
    flags &= ISCSI_TARGET_LOAD_MAPPED_LUN | ISCSI_TARGET_LOAD_ACLS | ISCSI_TARGET_LOAD_CONNECTED_SESSIONS |
             ISCSI_TARGET_LOAD_STATUS;
    record.load_flags = flags;
    record.mapped_luns.clear();
    record.acls.clear();
    record.connected_sessions.clear();
    record.status = ISCSI_TARGET_STATUS_UNKNOWN;
    if (flags & ISCSI_TARGET_LOAD_MAPPED_LUN) {
        std::vector<Storage::TargetLunRow> lus;
        if (Storage::ListTargetLuns(db, row.tid, lus) != 0)
            return ISCSI_ERR_DATABASE;
        for (const auto& lu : lus)
            if (lu.snapshot_uuid.empty())
                record.mapped_luns.emplace_back(static_cast<unsigned int>(row.tid),
                                                static_cast<unsigned int>(lu.lun_number), lu.lun_uuid);
    }
    if ((flags & ISCSI_TARGET_LOAD_ACLS) && Storage::ListAcls(db, row.tid, record.acls) != 0)
        return ISCSI_ERR_DATABASE;
    if (flags & ISCSI_TARGET_LOAD_CONNECTED_SESSIONS)
        Storage::TargetEngineSessions(row.tid, record.connected_sessions);
    if (flags & ISCSI_TARGET_LOAD_STATUS) {
        if (!row.is_enabled)
            record.status = ISCSI_TARGET_STATUS_DISABLED;
        else if (Storage::TargetEngineServes(row.tid))
            record.status = ISCSI_TARGET_STATUS_ONLINE;
        else
            record.status = ISCSI_TARGET_STATUS_OFFLINE;
    }
    return 0;
}

std::string Describe(const TargetRow& row)
{
    return row.name + " (" + row.iqn + ", id " + std::to_string(row.tid) + ")";
}

// A portal of a request as stored: the address in its canonical text, or the interface name.
int PortalToRow(int tid, const _tag_struct_iscsi_network_portal_& portal, PortalRow& row)
{
    row = PortalRow();
    row.tid = tid;
    row.port = portal.port;
    row.tpgt = portal.tpgt;
    if (portal.port < 1 || portal.port > 65535)
        return ISCSI_ERR_PORTAL_INVALID;
    const std::string ip(portal.ip, strnlen(portal.ip, sizeof(portal.ip)));
    const std::string ifname(portal.interface_name,
                             strnlen(portal.interface_name, sizeof(portal.interface_name)));
    if (!ip.empty())
        return Storage::CanonicalAddress(ip, row.ip) ? 0 : ISCSI_ERR_PORTAL_INVALID;
    if (ifname.empty())
        return ISCSI_ERR_PORTAL_INVALID;
    row.interface_name = ifname;
    return 0;
}

bool InterfaceExists(const std::string& name)
{
    return if_nametoindex(name.c_str()) != 0;
}

// Runs change on the object's target: 18990710 when it does not exist.
int WithTarget(unsigned int tid, const std::function<int(LibraryContext&, TargetRow&)>& fn)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        TargetRow row;
        const int rc = Storage::FindTarget(ctx.db(), static_cast<int>(tid), row);
        if (rc != 0)
            return rc;
        return fn(ctx, row);
    });
}

} // namespace

ISCSILIBTarget::ISCSILIBTarget() : is_soft_feas_ignored(false) {}
ISCSILIBTarget::ISCSILIBTarget(const std::string& name, const std::string& iqn, bool isEnabled,
                               bool hasHeaderChecksum, bool hasDataChecksum, unsigned int maxRecvSegBytes,
                               unsigned int maxSendSegBytes, unsigned int maxSessions,
                               ISCSI_AUTH_TYPE authType, const std::string& user, const std::string& password,
                               const std::string& mutualUser, const std::string& mutualPassword,
                               bool isSoftFeasIgnored)
    : ISCSITargetInfo(name, iqn, isEnabled, hasHeaderChecksum, hasDataChecksum, maxRecvSegBytes,
                      maxSendSegBytes, maxSessions, authType, user, password, mutualUser, mutualPassword),
      is_soft_feas_ignored(isSoftFeasIgnored)
{}
ISCSILIBTarget::ISCSILIBTarget(unsigned int tid) : ISCSITargetInfo(tid), is_soft_feas_ignored(false) {}
ISCSILIBTarget::~ISCSILIBTarget() = default;

int ISCSILIBTarget::ListTarget(std::vector<ISCSI::ISCSITargetInfo>& targets, const std::string& lunUuid,
                               int flags)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        std::vector<TargetRow> rows;
        if (Storage::ListTargetRows(ctx.db(), rows) != 0)
            return ISCSI_ERR_DATABASE;
        std::set<int> selected;
        if (!lunUuid.empty()) {
            std::vector<int> tids;
            if (Storage::ListLunTargets(ctx.db(), lunUuid, tids) != 0)
                return ISCSI_ERR_DATABASE;
            selected.insert(tids.begin(), tids.end());
        }
        std::vector<ISCSITargetInfo> out;
        for (const TargetRow& row : rows) {
            if (!lunUuid.empty() && selected.count(row.tid) == 0)
                continue;
            ISCSITargetInfo record;
            const int rc = LoadRecord(ctx, row, flags, record);
            if (rc != 0)
                return rc;
            out.push_back(std::move(record));
        }
        targets = std::move(out);
        return 0;
    });
}

int ISCSILIBTarget::loadTargetInfo(int flags)
{
    return WithTarget(
        tid, [&](LibraryContext& ctx, TargetRow& row) { return LoadRecord(ctx, row, flags, *this); });
}

int ISCSILIBTarget::createTarget()
{
    feasibility_detail = Json::Value();
    TargetRow row;
    row.name = name;
    row.iqn = iqn;
    row.is_enabled = is_enabled;
    row.has_header_checksum = has_header_checksum;
    row.has_data_checksum = has_data_checksum;
    row.max_recv_seg_bytes = max_recv_seg_bytes;
    row.max_send_seg_bytes = max_send_seg_bytes;
    row.max_sessions = max_sessions;
    row.auth_type = static_cast<int>(auth_type);
    row.user = user;
    row.password = password;
    row.mutual_user = mutual_user;
    row.mutual_password = mutual_password;
    row.created_at = static_cast<long long>(std::time(nullptr));
    int rc = CheckRow(row);
    if (rc != 0)
        return rc;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        int newTid = 0;
        rc = Storage::ChangeTargetConfiguration(ctx, [&](ConfigDB& db) -> int {
            int next = 0;
            const int found = Storage::NextTid(db, next);
            if (found == ISCSI_ERR_DATABASE)
                return found;
            if (found != 0) {
                feasibility_detail = Json::Value(Json::objectValue);
                feasibility_detail["hard"] = Json::Value(Json::arrayValue);
                feasibility_detail["soft"] = Json::Value(Json::arrayValue);
                Json::Value finding(Json::objectValue);
                finding["reason"] = "The appliance already has " + std::to_string(Storage::kMaxTid) +
                                    " targets, the most it keeps";
                finding["limit"] = Storage::kMaxTid;
                feasibility_detail["hard"].append(finding);
                return ISCSI::LIB::LIBTarget::ISCSI_ERR_FEASIBILITY_HARD;
            }
            row.tid = next;
            const int unique = CheckUnique(db, row);
            if (unique != 0)
                return unique;
            newTid = next;
            return Storage::InsertTarget(db, row);
        });
        if (rc != 0)
            return rc;
        tid = static_cast<unsigned int>(newTid);
        Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM", "Target " + Describe(row) + " was created");
        return 0;
    });
}

int ISCSILIBTarget::deleteTarget()
{
    return WithTarget(tid, [&](LibraryContext& ctx, TargetRow& row) {
        return Storage::ChangeTargetConfiguration(
            ctx, [&](ConfigDB& db) { return Storage::DeleteTarget(db, row.tid); },
            "Target " + Describe(row) + " was deleted");
    });
}

namespace {

int SetEnabled(unsigned int tid, bool enabled)
{
    return WithTarget(tid, [&](LibraryContext& ctx, TargetRow& row) -> int {
        if (row.is_enabled == enabled)
            return 0;
        row.is_enabled = enabled;
        return Storage::ChangeTargetConfiguration(
            ctx, [&](ConfigDB& db) { return Storage::UpdateTarget(db, row); },
            "Target " + Describe(row) + (enabled ? " was enabled" : " was disabled"));
    });
}

} // namespace

int ISCSILIBTarget::enableTarget()
{
    return SetEnabled(tid, true);
}

int ISCSILIBTarget::disableTarget()
{
    return SetEnabled(tid, false);
}

int ISCSILIBTarget::updateTarget(int mask, const std::string& newName, const std::string& newIqn,
                                 bool hasHeaderChecksum, bool hasDataChecksum, unsigned int maxRecvSegBytes,
                                 unsigned int maxSendSegBytes, unsigned int maxSessions,
                                 ISCSI_AUTH_TYPE authType, const std::string& newUser,
                                 const std::string& newPassword, const std::string& newMutualUser,
                                 const std::string& newMutualPassword)
{
    return WithTarget(tid, [&](LibraryContext& ctx, TargetRow& row) -> int {
        TargetRow changed = row;
        // Each setting the mask names takes its new value.
        const auto update = [mask](int bit, auto& setting, const auto& value) {
            if (mask & bit)
                setting = value;
        };
        update(ISCSI_TARGET_UPDATE_NAME, changed.name, newName);
        update(ISCSI_TARGET_UPDATE_IQN, changed.iqn, newIqn);
        update(ISCSI_TARGET_UPDATE_MAX_SESSIONS, changed.max_sessions, maxSessions);
        update(ISCSI_TARGET_UPDATE_HEADER_CHECKSUM, changed.has_header_checksum, hasHeaderChecksum);
        update(ISCSI_TARGET_UPDATE_DATA_CHECKSUM, changed.has_data_checksum, hasDataChecksum);
        update(ISCSI_TARGET_UPDATE_AUTH_TYPE, changed.auth_type, static_cast<int>(authType));
        update(ISCSI_TARGET_UPDATE_USER, changed.user, newUser);
        update(ISCSI_TARGET_UPDATE_PASSWORD, changed.password, newPassword);
        update(ISCSI_TARGET_UPDATE_MUTUAL_USER, changed.mutual_user, newMutualUser);
        update(ISCSI_TARGET_UPDATE_MUTUAL_PASSWORD, changed.mutual_password, newMutualPassword);
        update(ISCSI_TARGET_UPDATE_MAX_RECV_SEG_BYTES, changed.max_recv_seg_bytes, maxRecvSegBytes);
        update(ISCSI_TARGET_UPDATE_MAX_SEND_SEG_BYTES, changed.max_send_seg_bytes, maxSendSegBytes);
        const int rc = CheckRow(changed);
        if (rc != 0)
            return rc;
        return Storage::ChangeTargetConfiguration(
            ctx,
            [&](ConfigDB& db) -> int {
                const int unique = CheckUnique(db, changed);
                return unique != 0 ? unique : Storage::UpdateTarget(db, changed);
            },
            mask != 0 ? "Target " + Describe(changed) + " was changed" : "");
    });
}

namespace {

int ChangeAcls(unsigned int tid,
               const std::function<void(std::map<std::string, ISCSI_TARGET_AUTHORITY>&)>& edit,
               const std::map<std::string, ISCSI_TARGET_AUTHORITY>* check)
{
    if (check) {
        for (const auto& acl : *check) {
            if (!IsValidIscsiName(acl.first))
                return kInvalidAcls;
            if (acl.second != ISCSI_TARGET_AUTHORITY_NONE && acl.second != ISCSI_TARGET_AUTHORITY_READ &&
                acl.second != ISCSI_TARGET_AUTHORITY_READ_WRITE)
                return kInvalidAcls;
        }
    }
    return WithTarget(tid, [&](LibraryContext& ctx, TargetRow& row) {
        return Storage::ChangeTargetConfiguration(
            ctx,
            [&](ConfigDB& db) -> int {
                std::map<std::string, ISCSI_TARGET_AUTHORITY> acls;
                if (Storage::ListAcls(db, row.tid, acls) != 0)
                    return ISCSI_ERR_DATABASE;
                edit(acls);
                return Storage::ReplaceAcls(db, row.tid, acls);
            },
            "The ACL masks of target " + Describe(row) + " were changed");
    });
}

} // namespace

int ISCSILIBTarget::aclMasksSet(const Json::Value& acls)
{
    if (!acls.isArray())
        return kInvalidAcls;
    std::map<std::string, ISCSI_TARGET_AUTHORITY> wanted;
    for (const Json::Value& entry : acls) {
        if (!entry.isObject() || !entry["iqn"].isString() || !entry["permission"].isString())
            return kInvalidAcls;
        const std::string permission = entry["permission"].asString();
        ISCSI_TARGET_AUTHORITY authority;
        if (permission == "rw")
            authority = ISCSI_TARGET_AUTHORITY_READ_WRITE;
        else if (permission == "r")
            authority = ISCSI_TARGET_AUTHORITY_READ;
        else if (permission == "-")
            authority = ISCSI_TARGET_AUTHORITY_NONE;
        else
            return kInvalidAcls;
        wanted[entry["iqn"].asString()] = authority;
    }
    return ChangeAcls(
        tid, [&](std::map<std::string, ISCSI_TARGET_AUTHORITY>& current) { current = wanted; }, &wanted);
}

int ISCSILIBTarget::aclMasksAdd(const std::map<std::string, ISCSI_TARGET_AUTHORITY>& acls)
{
    return ChangeAcls(
        tid,
        [&](std::map<std::string, ISCSI_TARGET_AUTHORITY>& current) {
            for (const auto& acl : acls)
                current[acl.first] = acl.second;
        },
        &acls);
}

int ISCSILIBTarget::aclMasksRemove(const std::set<std::string>& initiatorIqns)
{
    return ChangeAcls(
        tid,
        [&](std::map<std::string, ISCSI_TARGET_AUTHORITY>& current) {
            for (auto it = current.begin(); it != current.end();) {
                bool gone = false;
                for (const auto& iqnToRemove : initiatorIqns)
                    gone = gone || strcasecmp(iqnToRemove.c_str(), it->first.c_str()) == 0;
                it = gone ? current.erase(it) : std::next(it);
            }
        },
        nullptr);
}

namespace {

// Adds portals to one target or removes them; an added portal's interface must exist.
int ChangePortals(unsigned int tid, const std::vector<_tag_struct_iscsi_network_portal_>& networkPortals,
                  bool add)
{
    std::vector<PortalRow> rows;
    for (const auto& portal : networkPortals) {
        PortalRow row;
        const int rc = PortalToRow(static_cast<int>(tid), portal, row);
        if (rc != 0)
            return rc;
        if (add && !row.interface_name.empty() && !InterfaceExists(row.interface_name))
            return ISCSI_ERR_PORTAL_INVALID;
        rows.push_back(row);
    }
    return WithTarget(tid, [&](LibraryContext& ctx, TargetRow& target) {
        return Storage::ChangeTargetConfiguration(
            ctx,
            [&](ConfigDB& db) -> int {
                for (const PortalRow& row : rows)
                    if ((add ? Storage::AddPortal(db, row) : Storage::RemovePortal(db, row)) != 0)
                        return ISCSI_ERR_DATABASE;
                return 0;
            },
            rows.empty() ? ""
                         : (add ? "Network portals were added to target "
                                : "Network portals were removed from target ") +
                               Describe(target));
    });
}

// Maps or unmaps LUNs on one target; every LUN must exist and be backed by a file.
int ChangeMappings(unsigned int tid, const std::set<std::string>& lunUuids, bool map)
{
    return WithTarget(tid, [&](LibraryContext& ctx, TargetRow& target) -> int {
        for (const std::string& uuid : lunUuids) {
            Storage::LUNRow lun;
            const int rc = Storage::FindLUNByUuid(ctx.db(), uuid, lun);
            if (rc != 0)
                return rc == kNoSuchLUN ? kNoSuchLUN : rc;
            if (map && !Storage::IsFileType(lun.type))
                return ISCSI_ERR_LUN_NOT_SERVABLE;
        }
        return Storage::ChangeTargetConfiguration(
            ctx,
            [&](ConfigDB& db) -> int {
                for (const std::string& uuid : lunUuids) {
                    const int step =
                        map ? Storage::MapLun(db, target.tid, uuid) : Storage::UnmapLun(db, target.tid, uuid);
                    if (step != 0)
                        return step;
                    if (map) {
                        // Snapshots of the LUN that are loaded show on its targets too.
                        std::vector<std::string> snapshots;
                        if (Storage::ListLoadedSnapshots(db, uuid, snapshots) != 0)
                            return ISCSI_ERR_DATABASE;
                        for (const auto& snapshot : snapshots) {
                            const int snapRc = Storage::MapSnapshot(db, target.tid, snapshot);
                            if (snapRc != 0)
                                return snapRc;
                        }
                    }
                }
                return 0;
            },
            lunUuids.empty() ? ""
                             : std::to_string(lunUuids.size()) + " LUN(s) were " +
                                   (map ? "mapped to" : "unmapped from") + " target " + Describe(target));
    });
}

} // namespace

int ISCSILIBTarget::networkPortalsAdd(const std::vector<_tag_struct_iscsi_network_portal_>& networkPortals)
{
    return ChangePortals(tid, networkPortals, true);
}

int ISCSILIBTarget::networkPortalsRemove(const std::vector<_tag_struct_iscsi_network_portal_>& networkPortals)
{
    return ChangePortals(tid, networkPortals, false);
}

int ISCSILIBTarget::mapLUN(const std::set<std::string>& lunUuids)
{
    return ChangeMappings(tid, lunUuids, true);
}

int ISCSILIBTarget::unmapLUN(const std::set<std::string>& lunUuids)
{
    return ChangeMappings(tid, lunUuids, false);
}

} // namespace LIBTarget
} // namespace LIB

// A target by its numeric id, its IQN or its name, in that order.
int ISCSITargetInfo::GetTid(const std::string& targetId, int& tid)
{
    if (targetId.empty())
        return kNoSuchTarget;
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        TargetRow row;
        int rc = kNoSuchTarget;
        bool numeric = true;
        for (char c : targetId)
            numeric = numeric && std::isdigit(static_cast<unsigned char>(c));
        if (numeric && targetId.size() <= 9)
            rc = Storage::FindTarget(ctx.db(), std::stoi(targetId), row);
        if (rc == kNoSuchTarget)
            rc = Storage::FindTargetByIqn(ctx.db(), targetId, row);
        if (rc == kNoSuchTarget)
            rc = Storage::FindTargetByName(ctx.db(), targetId, row);
        if (rc == 0)
            tid = row.tid;
        return rc;
    });
}

} // namespace ISCSI
