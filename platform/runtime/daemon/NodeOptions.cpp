#include "NodeOptions.h"

#include "DaemonOptions.h"

#include <CLI/CLI.hpp>

#include <arpa/inet.h>

#include <cstdlib>

namespace KOVA {
namespace Daemon {
namespace {

bool IsAddress(const std::string& text)
{
    unsigned char buffer[sizeof(in6_addr)];
    return inet_pton(AF_INET, text.c_str(), buffer) == 1 || inet_pton(AF_INET6, text.c_str(), buffer) == 1;
}

bool IsWildcard(const std::string& host)
{
    return host.empty() || host == "0.0.0.0" || host == "::" || host == "*";
}

std::string UrlOf(const std::string& protocol, const std::string& host, int port)
{
    const bool ipv6 = host.find(':') != std::string::npos;
    return protocol + "://" + (ipv6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

} // namespace

void AddNodeOptions(CLI::App& app, NodeOptions& options)
{
    app.add_option("--node-url", options.nodeUrl,
                   "How other nodes reach this one, http://HOST:PORT or https://HOST:PORT (default: the "
                   "HTTPS listener, else the HTTP one, unless it listens on a wildcard address)");
    app.add_option("--node-source", options.nodeSource,
                   "Local address that calls to other nodes come from (several appliances on one host)");
    app.add_option("--iscsi-portal", options.iscsiPortal,
                   "The iSCSI portal of the target engine, ADDR:PORT (default 0.0.0.0:3260)");
    app.add_option("--replication-listen", options.replicationListen,
                   "Address and port the replication receiver listens on, ADDR:PORT (default 0.0.0.0:3261)");
}

bool CheckNodeOptions(const NodeOptions& options, std::string& error)
{
    std::string host;
    int port = 0;
    if (!options.iscsiPortal.empty() && (!ParseListen(options.iscsiPortal, host, port) || port < 1)) {
        error = "--iscsi-portal: '" + options.iscsiPortal + "' is not ADDR:PORT";
        return false;
    }
    if (!options.replicationListen.empty() &&
        (!ParseListen(options.replicationListen, host, port) || port < 1)) {
        error = "--replication-listen: '" + options.replicationListen + "' is not ADDR:PORT";
        return false;
    }
    if (!options.nodeSource.empty() && !IsAddress(options.nodeSource)) {
        error = "--node-source: '" + options.nodeSource + "' is not an IPv4 or IPv6 address";
        return false;
    }
    if (!options.nodeUrl.empty()) {
        const auto scheme = options.nodeUrl.find("://");
        const std::string proto = scheme == std::string::npos ? "" : options.nodeUrl.substr(0, scheme);
        if ((proto != "http" && proto != "https") ||
            !ParseListen(options.nodeUrl.substr(scheme + 3), host, port) || port < 1 || host.empty()) {
            error = "--node-url: '" + options.nodeUrl + "' is not http://HOST:PORT or https://HOST:PORT";
            return false;
        }
    }
    return true;
}

void ApplyNodeEnvironment(const NodeOptions& options)
{
    if (!options.iscsiPortal.empty())
        setenv("KOVA_ISCSI_PORTAL", options.iscsiPortal.c_str(), 1);
    if (!options.replicationListen.empty())
        setenv("KOVA_REPLICATION_LISTEN", options.replicationListen.c_str(), 1);
    if (!options.nodeSource.empty())
        setenv("KOVA_NODE_SOURCE_ADDRESS", options.nodeSource.c_str(), 1);
}

std::string ApplyNodeUrl(const NodeOptions& options, const std::string& httpHost, int httpPort,
                         const std::string& tlsHost, int tlsPort)
{
    std::string url = options.nodeUrl;
    if (url.empty() && tlsPort > 0 && !IsWildcard(tlsHost))
        url = UrlOf("https", tlsHost, tlsPort);
    else if (url.empty() && httpPort > 0 && !IsWildcard(httpHost))
        url = UrlOf("http", httpHost, httpPort);
    if (!url.empty())
        setenv("KOVA_NODE_URL", url.c_str(), 1);
    return url;
}

} // namespace Daemon
} // namespace KOVA
