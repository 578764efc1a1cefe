// The node configuration operations of the node record: remote nodes are rows of the table
// nodes; the local node answers from its settings (node/NodeStore.h).
#include "node/NodeStore.h"

#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "log/ServiceLog.h"

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSINodeInfo.h>

#include <functional>

namespace ISCSI {

using Storage::ConfigDB;
using Storage::LibraryContext;
using Storage::Transaction;

namespace {

bool IsLocal(ConfigDB& db, const std::string& uuid, int& rc)
{
    std::string local;
    rc = Storage::LoadLocalUuid(db, local);
    return rc == 0 && local == uuid;
}

std::string Address(const ISCSINodeInfo& node)
{
    return node.protocol + "://" + node.hostname + ":" + std::to_string(node.port);
}

// Runs change on the row of uuid (exists says whether there is one) in one transaction, committed
// when change answers 0. The local node's uuid answers ISCSI_ERR_NODE_IS_LOCAL: its entry comes
// from the daemon's settings and is never written here.
int ChangeRemoteRow(const std::string& uuid,
                    const std::function<int(ConfigDB&, const ISCSINodeInfo&, bool)>& change)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        ConfigDB& db = ctx.db();
        int rc = 0;
        if (IsLocal(db, uuid, rc))
            return static_cast<int>(ISCSI_ERR_NODE_IS_LOCAL);
        if (rc != 0)
            return rc;
        Transaction tx(db);
        if (!tx.begun())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        bool exists = false;
        ISCSINodeInfo row;
        rc = Storage::LoadNodeRow(db, uuid, row, exists);
        if (rc == 0)
            rc = change(db, row, exists);
        if (rc != 0)
            return rc;
        return tx.commit() ? 0 : static_cast<int>(ISCSI_ERR_DATABASE);
    });
}

} // namespace

int ISCSINodeInfo::loadFromConfig()
{
    if (uuid.empty())
        return ISCSI_ERR_NODE_NOT_FOUND;
    return LibraryContext::With([this](LibraryContext& ctx) {
        int rc = 0;
        ISCSINodeInfo found;
        if (IsLocal(ctx.db(), uuid, rc)) {
            rc = Storage::LocalNodeRecord(ctx.db(), found);
        } else if (rc == 0) {
            bool exists = false;
            rc = Storage::LoadNodeRow(ctx.db(), uuid, found, exists);
            if (rc == 0 && !exists)
                rc = ISCSI_ERR_NODE_NOT_FOUND;
        }
        if (rc != 0)
            return rc;
        // What the caller filled to log in (password, one-time code) stays as it was.
        found.password = password;
        found.otp_code = otp_code;
        *this = found;
        return 0;
    });
}

bool ISCSINodeInfo::isInConfig() const
{
    if (uuid.empty())
        return false;
    bool in = false;
    LibraryContext::With([this, &in](LibraryContext& ctx) {
        int rc = 0;
        if (IsLocal(ctx.db(), uuid, rc)) {
            in = true;
            return 0;
        }
        ISCSINodeInfo row;
        return rc == 0 ? Storage::LoadNodeRow(ctx.db(), uuid, row, in) : rc;
    });
    return in;
}

int ISCSINodeInfo::updateConfig(bool addIfAbsent, bool /*overwriteLocal*/)
{
    if (uuid.empty() || hostname.empty() || port == 0 || (protocol != "http" && protocol != "https"))
        return ISCSI_ERR_NODE_INVALID;
    return ChangeRemoteRow(uuid, [&](ConfigDB& db, const ISCSINodeInfo&, bool exists) {
        if (!exists && !addIfAbsent)
            return static_cast<int>(ISCSI_ERR_NODE_NOT_FOUND);
        const int rc = Storage::WriteNodeRow(db, *this, !exists);
        if (rc == 0 && !exists)
            Storage::WriteServiceLog(db, "info", "SYSTEM",
                                     "The node " + uuid + " at " + Address(*this) + " was added.");
        return rc;
    });
}

int ISCSINodeInfo::deleteFromNodeConfig() const
{
    if (uuid.empty())
        return ISCSI_ERR_NODE_NOT_FOUND;
    return ChangeRemoteRow(uuid, [&](ConfigDB& db, const ISCSINodeInfo& row, bool exists) {
        if (!exists)
            return static_cast<int>(ISCSI_ERR_NODE_NOT_FOUND);
        int rc = Storage::DeleteNodeRow(db, uuid);
        // The node's trust here ends with it: every node session made from its address.
        int revoked = 0;
        if (rc == 0)
            rc = Storage::RevokeNodeSessionsFrom(db, Storage::AddressesOf(row.hostname), revoked);
        if (rc == 0)
            Storage::WriteServiceLog(db, "info", "SYSTEM",
                                     "The node " + uuid + " at " + Address(row) + " was deleted; " +
                                         std::to_string(revoked) + " node session(s) from it were ended.");
        return rc;
    });
}

int ISCSINodeInfo::GetNodeUuid(const std::string& id, std::string& uuid)
{
    if (id.empty()) {
        uuid.clear();
        return 0;
    }
    return LibraryContext::With([&](LibraryContext& ctx) {
        ConfigDB& db = ctx.db();
        int rc = 0;
        if (IsLocal(db, id, rc)) {
            uuid = id;
            return 0;
        }
        if (rc != 0)
            return rc;
        bool exists = false;
        ISCSINodeInfo row;
        rc = Storage::LoadNodeRow(db, id, row, exists);
        if (rc != 0)
            return rc;
        if (exists) {
            uuid = id;
            return 0;
        }
        // Else a host name of one known node.
        std::vector<std::string> uuids;
        rc = Storage::NodeUuidsOfHost(db, id, uuids);
        if (rc != 0)
            return rc;
        if (uuids.empty())
            return static_cast<int>(ISCSI_ERR_NODE_NOT_FOUND);
        if (uuids.size() > 1)
            return static_cast<int>(ISCSI_ERR_NODE_AMBIGUOUS);
        uuid = uuids.front();
        return 0;
    });
}

} // namespace ISCSI
