// The daemon's options for running beside other appliances, also several on one host: how other
// nodes reach this one, the address it calls them from, its iSCSI portal and the replication
// port. They reach the storage library and the credential library through the environment.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace KOVA {
namespace Daemon {

struct NodeOptions {
    std::string nodeUrl;           // --node-url: KOVA_NODE_URL (default: made from the listeners)
    std::string nodeSource;        // --node-source: KOVA_NODE_SOURCE_ADDRESS
    std::string iscsiPortal;       // --iscsi-portal: KOVA_ISCSI_PORTAL
    std::string replicationListen; // --replication-listen: KOVA_REPLICATION_LISTEN
};

void AddNodeOptions(CLI::App& app, NodeOptions& options);
// Checks the values after parsing; false with the reason in error.
bool CheckNodeOptions(const NodeOptions& options, std::string& error);
// Puts what must be known before the modules start (portal, replication port, source address)
// into the environment.
void ApplyNodeEnvironment(const NodeOptions& options);
// Puts the node URL into the environment once the ports are bound: --node-url as given, else
// https on the HTTPS listener when there is one, else http on the HTTP listener; a wildcard
// listen address gives no URL (then --node-url is needed to make nodes). Answers the URL.
std::string ApplyNodeUrl(const NodeOptions& options, const std::string& httpHost, int httpPort,
                         const std::string& tlsHost, int tlsPort);

} // namespace Daemon
} // namespace KOVA
