// Remote nodes of ISCSI::LIB::LIBNode::ISCSILIBNode: the list of known nodes, and making a
// node, which pairs this appliance with another one.
#include "node/NodeStore.h"

#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "log/ServiceLog.h"

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBNode.h>
#include <iscsi/ISCSINodeRemote.h>

#include <arpa/inet.h>
#include <syslog.h>

#include <atomic>

namespace ISCSI {
namespace {

std::atomic<const NodeRemoteCalls*> gRemoteCalls{nullptr};

bool IsAddress(const std::string& text)
{
    unsigned char buffer[sizeof(in6_addr)];
    return inet_pton(AF_INET, text.c_str(), buffer) == 1 || inet_pton(AF_INET6, text.c_str(), buffer) == 1;
}

// The address the remote appliance calls from, as this one's daemon will see it: the host name
// itself when it is an address, else the first address it resolves to.
std::string CallerAddressOf(const std::string& hostname)
{
    if (IsAddress(hostname))
        return hostname;
    for (const auto& address : Storage::AddressesOf(hostname))
        if (IsAddress(address))
            return address;
    return hostname;
}

// A failed step of making a node: a syslog line and a line in the service log.
int Refused(const ISCSINodeInfo& remote, const std::string& step, int code)
{
    const std::string message = "The node at " + remote.protocol + "://" + remote.hostname + ":" +
                                std::to_string(remote.port) + " could not be added: " + step +
                                " failed (code " + std::to_string(code) + ", " + KOVAiSCSIStrError(code) +
                                ").";
    syslog(LOG_ERR, "iSCSI storage: %s", message.c_str());
    Storage::LibraryContext::With([&](Storage::LibraryContext& ctx) {
        Storage::WriteServiceLog(ctx.db(), "err", "SYSTEM", message);
        return 0;
    });
    return code;
}

} // namespace

void SetNodeRemoteCalls(const NodeRemoteCalls* calls)
{
    gRemoteCalls.store(calls);
}

const NodeRemoteCalls* GetNodeRemoteCalls()
{
    return gRemoteCalls.load();
}

namespace LIB {
namespace LIBNode {

using Storage::LibraryContext;

int ISCSILIBNode::ListNode(std::vector<ISCSI::ISCSINodeInfo>& nodes)
{
    return LibraryContext::With([&nodes](LibraryContext& ctx) {
        ISCSINodeInfo local;
        int rc = Storage::LocalNodeRecord(ctx.db(), local);
        std::vector<ISCSINodeInfo> rows;
        if (rc == 0)
            rc = Storage::ListNodeRows(ctx.db(), rows);
        if (rc != 0)
            return rc;
        rows.insert(rows.begin(), local);
        nodes.swap(rows);
        return 0;
    });
}

int ISCSILIBNode::createNode()
{
    ISCSINodeInfo remote = node;
    remote.is_local_node = false;
    remote.session_id.clear();
    remote.cert_sha256.clear();
    if (remote.uuid.empty() || remote.isInvalid(true))
        return ISCSI_ERR_NODE_INVALID;
    if (remote.protocol != "http" && remote.protocol != "https")
        return ISCSI_ERR_NODE_INVALID;
    const NodeRemoteCalls* calls = GetNodeRemoteCalls();
    if (!calls)
        return ISCSI_ERR_NODE_NO_CHANNEL;

    // What this node tells the remote about itself, and whether the node is new here.
    ISCSINodeInfo self;
    int rc = LibraryContext::With([&](LibraryContext& ctx) {
        int result = Storage::LocalNodeRecord(ctx.db(), self);
        if (result != 0)
            return result;
        if (self.hostname.empty())
            return static_cast<int>(ISCSI_ERR_NODE_NO_LOCAL_ADDRESS);
        bool taken = false;
        ISCSINodeInfo row;
        result = Storage::LoadNodeRow(ctx.db(), remote.uuid, row, taken);
        if (result == 0 && !taken)
            result = Storage::NodeAtAddress(ctx.db(), remote.hostname, remote.port, taken);
        if (result == 0 && taken)
            result = ISCSI_ERR_NODE_EXISTS;
        return result;
    });
    if (rc != 0)
        return rc;

    // The remote calls run outside the library's lock: they take seconds when the remote is slow.
    std::string remoteRodKey;
    rc = calls->openSession(remote, remote.session_id, remoteRodKey, remote.cert_sha256);
    if (rc != 0)
        return Refused(remote, "the login and session on it", rc);
    if (remoteRodKey != remote.rod_key) {
        calls->deleteSession(remote);
        return Refused(remote, "the check of its rod key", ISCSI_ERR_NODE_ROD_KEY);
    }

    // A session here for the remote, bound to the same account name and to its address, so that
    // it can call this node as this node calls it.
    const std::string callerAddress = CallerAddressOf(remote.hostname);
    self.account = remote.account;
    rc = LibraryContext::With([&](LibraryContext& ctx) {
        return Storage::CreateNodeSession(ctx.db(), self.account, callerAddress, self.session_id);
    });
    if (rc != 0) {
        calls->deleteSession(remote);
        return rc;
    }
    const auto endReverseSession = [&] {
        LibraryContext::With([&](LibraryContext& ctx) {
            return Storage::DeleteNodeSession(ctx.db(), self.session_id, self.account, callerAddress);
        });
    };
    rc = calls->addNode(remote, self);
    if (rc != 0) {
        endReverseSession();
        calls->deleteSession(remote);
        return Refused(remote, "registering this appliance on it (add_node)", rc);
    }

    rc = LibraryContext::With([&](LibraryContext& ctx) {
        Storage::ConfigDB& db = ctx.db();
        Storage::Transaction tx(db);
        if (!tx.begun())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        bool taken = false;
        int result = Storage::NodeAtAddress(db, remote.hostname, remote.port, taken);
        if (result == 0 && taken)
            result = ISCSI_ERR_NODE_EXISTS;
        if (result == 0)
            result = Storage::WriteNodeRow(db, remote, true);
        if (result != 0)
            return result;
        Storage::WriteServiceLog(
            db, "info", "SYSTEM",
            "The node " + remote.uuid + " at " + remote.protocol + "://" + remote.hostname + ":" +
                std::to_string(remote.port) + " was created with the account " + remote.account +
                (remote.cert_sha256.empty()
                     ? std::string(".")
                     : "; its certificate is pinned (SHA-256 " + remote.cert_sha256 + ")."));
        return tx.commit() ? 0 : static_cast<int>(ISCSI_ERR_DATABASE);
    });
    if (rc != 0) {
        endReverseSession();
        calls->deleteSession(remote);
        return rc;
    }
    node.session_id = remote.session_id;
    node.cert_sha256 = remote.cert_sha256;
    return 0;
}

} // namespace LIBNode
} // namespace LIB
} // namespace ISCSI
