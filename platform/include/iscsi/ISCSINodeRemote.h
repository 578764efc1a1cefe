// The calls that making a node (ISCSI::LIB::LIBNode::ISCSILIBNode::createNode) sends to the
// remote appliance. The storage library does not link the credential library (which links the
// storage library for the node channel): whoever carries web-API requests registers these calls
// once, at load time. libkova-net registers its own (platform/net/NodeRemote.cpp).
#pragma once

#include <iscsi/ISCSINodeInfo.h>

#include <string>

namespace ISCSI {

struct NodeRemoteCalls {
    // Logs in on the remote appliance (hostname, port, protocol, account, password and
    // otp_code of remote), asks it for a node session (KOVA.Core.ISCSI.Node create_session),
    // reads its rod key with that session (get) and ends the login. 0 with the session id, the
    // remote's rod key and, over HTTPS, the SHA-256 fingerprint of its certificate; or a code.
    int (*openSession)(const ISCSINodeInfo& remote, std::string& sessionId, std::string& rodKey,
                       std::string& certSha256);
    // Registers self on the remote appliance (add_node) with the session and pinned certificate
    // of remote. 0 or a code (the remote's own code when it refused).
    int (*addNode)(const ISCSINodeInfo& remote, const ISCSINodeInfo& self);
    // Ends the session of remote on the remote appliance (delete_session). 0 or a code.
    int (*deleteSession)(const ISCSINodeInfo& remote);
};

// Registers the calls (null: none). The object must live as long as the process.
void SetNodeRemoteCalls(const NodeRemoteCalls* calls);
const NodeRemoteCalls* GetNodeRemoteCalls();

} // namespace ISCSI
