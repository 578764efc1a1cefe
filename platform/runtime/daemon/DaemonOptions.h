// The daemon's command line.
#pragma once

#include "Authenticator.h"
#include "HttpServer.h"
#include "NodeOptions.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KOVA {
namespace Daemon {

struct DaemonOptions {
    HttpOptions http;
    std::string dataDir = "./data";
    std::vector<std::string> modules;
    std::vector<std::string> moduleDirs;
    // The storage volumes, "/volumeN=/dir" or "/volumeN=/dir,remote-disk" (--volume).
    std::vector<std::string> volumes;
    bool debug = false;
    std::string portFile;

    // HTTPS: listened on when tlsHost is set (--listen-tls), with the given certificate and key
    // or one the daemon makes and keeps in its data directory (--tls-self-signed).
    bool plainHttp = true; // false after --no-http
    std::string tlsHost;
    int tlsPort = 0;
    std::string tlsCert;
    std::string tlsKey;
    bool tlsSelfSigned = false;
    std::string tlsPortFile;

    // Accounts and sessions.
    std::string adminPasswordFile;
    std::int64_t sessionIdle = 1800;
    std::int64_t sessionMax = 86400;
    ThrottleOptions throttle;

    // Beside other appliances (NodeOptions.h).
    NodeOptions node;
};

// Parses the command line into options. Answers -1 when the daemon is to run, else the exit
// status to end with (0 after --help, non-zero after a usage error, which is printed).
int ParseOptions(int argc, char** argv, DaemonOptions& options);

// The volume list of the storage library (KOVA_VOLUMES) for the --volume options: the default
// "/volume1=<dataDir>/volume1" first unless /volume1 is given, then each option as given. Each
// must be "/NAME=/absolute/dir" with an optional ",remote-disk", NAME one component, each
// location once, and the directory an existing one (the default one is made). Answers false
// with error set for a bad option; with no --volume the answer is empty (the library then
// reads KOVA_VOLUMES from the environment, or uses its default).
bool BuildVolumeList(const std::vector<std::string>& volumes, const std::string& dataDir, std::string& list,
                     std::string& error);

// Splits "ADDR:PORT" ("[ADDR]:PORT" for IPv6) into host and port; false when malformed.
bool ParseListen(const std::string& text, std::string& host, int& port);

// "kova-webapid account ...": manages the accounts of a data directory offline. Takes the
// arguments after "account"; answers the exit status.
int RunAccountCommand(int argc, char** argv);

} // namespace Daemon
} // namespace KOVA
