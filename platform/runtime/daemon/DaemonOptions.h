// The daemon's command line.
#pragma once

#include "HttpServer.h"

#include <string>
#include <vector>

namespace KOVA {
namespace Daemon {

struct DaemonOptions {
    HttpOptions http;
    std::string dataDir = "./data";
    std::vector<std::string> modules;
    std::vector<std::string> moduleDirs;
    bool debug = false;
    std::string portFile;
};

// Parses the command line into options. Answers -1 when the daemon is to run, else the exit
// status to end with (0 after --help, non-zero after a usage error, which is printed).
int ParseOptions(int argc, char** argv, DaemonOptions& options);

// Splits "ADDR:PORT" ("[ADDR]:PORT" for IPv6) into host and port; false when malformed.
bool ParseListen(const std::string& text, std::string& host, int& port);

} // namespace Daemon
} // namespace KOVA
