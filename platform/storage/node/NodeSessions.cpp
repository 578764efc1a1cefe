// Node sessions: made and ended by the Node methods create_session and delete_session, checked
// and renewed for the daemon through kova/SessionProvider.h.
#include "node/NodeStore.h"

#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "log/ServiceLog.h"
#include "node/NodeSettings.h"

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSINodeInfo.h>
#include <kova/SessionProvider.h>

#include <syslog.h>

#include <cstring>
#include <ctime>

namespace ISCSI {

using Storage::LibraryContext;

int ISCSINodeInfo::createSession()
{
    // The record names the caller: its address in hostname, its account in account.
    if (hostname.empty() || account.empty())
        return ISCSI_ERR_NODE_INVALID;
    return LibraryContext::With([this](LibraryContext& ctx) {
        std::string sid;
        const int rc = Storage::CreateNodeSession(ctx.db(), account, hostname, sid);
        if (rc != 0)
            return rc;
        session_id = sid;
        Storage::WriteServiceLog(ctx.db(), "info", account,
                                 "A node session was opened for the account " + account + " from " +
                                     hostname + ".");
        return 0;
    });
}

int ISCSINodeInfo::deleteSession() const
{
    if (session_id.empty())
        return ISCSI_ERR_NODE_SESSION_UNKNOWN;
    return LibraryContext::With([this](LibraryContext& ctx) {
        const int rc = Storage::DeleteNodeSession(ctx.db(), session_id, account, hostname);
        if (rc == 0)
            Storage::WriteServiceLog(ctx.db(), "info", account,
                                     "The node session of the account " + account + " from " + hostname +
                                         " was closed.");
        return rc;
    });
}

} // namespace ISCSI

namespace {

using ISCSI::Storage::LibraryContext;

void CopyOut(const std::string& text, char* out, size_t size)
{
    if (!out || size == 0)
        return;
    const size_t n = text.size() < size - 1 ? text.size() : size - 1;
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
}

} // namespace

extern "C" int KOVASessionCheck(const char* sid, const char* remoteIp, char* account, size_t accountSize)
{
    if (!sid || !*sid || !remoteIp)
        return KOVA_SESSION_UNKNOWN;
    const std::string hash = ISCSI::Storage::Sha256Hex(sid);
    const std::string address = remoteIp;
    int answer = KOVA_SESSION_UNKNOWN;
    LibraryContext::With([&](LibraryContext& ctx) {
        ISCSI::Storage::Statement select(
            ctx.db(), "SELECT account, expires_at FROM node_sessions WHERE sid_hash = ?1 AND "
                      "remote_ip = ?2;");
        if (select.bind(1, hash).bind(2, address).step() != SQLITE_ROW)
            return 0;
        if (select.integer(1) <= static_cast<std::int64_t>(std::time(nullptr))) {
            answer = KOVA_SESSION_EXPIRED;
            return 0;
        }
        CopyOut(select.text(0), account, accountSize);
        answer = KOVA_SESSION_OK;
        return 0;
    });
    return answer;
}

extern "C" int KOVASessionRenew(const char* oldSid, const char* key, const char* remoteIp, char* newSid,
                                size_t newSidSize)
{
    if (!oldSid || !*oldSid || !key || !*key || !remoteIp || newSidSize < 65)
        return KOVA_SESSION_UNKNOWN;
    const std::string hash = ISCSI::Storage::Sha256Hex(oldSid);
    const std::string address = remoteIp;
    const std::string presented = key;
    int answer = KOVA_SESSION_UNKNOWN;
    LibraryContext::With([&](LibraryContext& ctx) {
        ISCSI::Storage::ConfigDB& db = ctx.db();
        std::string rodKey;
        if (ISCSI::Storage::LoadOrMakeKey(db, ISCSI::Storage::kSettingRodKey, ISCSI::Storage::kRodKeyBytes,
                                          rodKey) != 0)
            return 0;
        ISCSI::Storage::Transaction tx(db);
        if (!tx.begun())
            return 0;
        ISCSI::Storage::Statement select(
            db, "SELECT account, expires_at FROM node_sessions WHERE sid_hash = ?1 AND "
                "remote_ip = ?2;");
        if (select.bind(1, hash).bind(2, address).step() != SQLITE_ROW)
            return 0;
        const std::string account = select.text(0);
        const std::int64_t now = static_cast<std::int64_t>(std::time(nullptr));
        if (presented != rodKey || select.integer(1) + ISCSI::Storage::kNodeSessionRenewWindow < now) {
            syslog(LOG_WARNING, "iSCSI storage: renewal of a node session of the account %s from %s refused",
                   account.c_str(), address.c_str());
            return 0;
        }
        std::string sid;
        if (ISCSI::Storage::CreateNodeSession(db, account, address, sid) != 0)
            return 0;
        ISCSI::Storage::Statement remove(db, "DELETE FROM node_sessions WHERE sid_hash = ?1;");
        if (!remove.bind(1, hash).run())
            return 0;
        ISCSI::Storage::WriteServiceLog(db, "info", account,
                                        "The node session of the account " + account + " from " + address +
                                            " was renewed.");
        if (!tx.commit())
            return 0;
        CopyOut(sid, newSid, newSidSize);
        answer = KOVA_SESSION_OK;
        return 0;
    });
    return answer;
}
