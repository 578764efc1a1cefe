#include "DaemonOptions.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <cstdio>
#include <limits>

namespace KOVA {
namespace Daemon {

bool ParseListen(const std::string& text, std::string& host, int& port)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size())
        return false;
    std::string h = text.substr(0, colon);
    if (h.front() == '[') {
        if (h.size() < 3 || h.back() != ']')
            return false;
        h = h.substr(1, h.size() - 2);
    } else if (h.find(':') != std::string::npos) {
        return false; // an IPv6 address needs its brackets
    }
    const std::string p = text.substr(colon + 1);
    if (p.size() > 5 || p.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const int value = std::stoi(p);
    if (value > 65535)
        return false;
    host = h;
    port = value;
    return true;
}

int ParseOptions(int argc, char** argv, DaemonOptions& options)
{
    CLI::App app("kova-webapid: serves the methods of web-API modules over HTTP at /webapi/entry.",
                 "kova-webapid");
    std::string listen = options.http.host + ":" + std::to_string(options.http.port);
    std::uint64_t maxBody = options.http.maxBody;
    bool quiet = !options.http.accessLog;
    int keepAlive = static_cast<int>(options.http.keepAliveTimeout);

    app.add_option("--listen", listen,
                   "Address and port to listen on, ADDR:PORT ([ADDR]:PORT for IPv6); "
                   "port 0 takes any free port")
        ->capture_default_str();
    app.add_option("--data-dir", options.dataDir, "Data directory, created when missing")
        ->capture_default_str();
    app.add_option("--module", options.modules, "A web-API module (.so) to load; repeatable")->expected(1);
    app.add_option("--module-dir", options.moduleDirs,
                   "A directory whose *.so files that export GetAPITable are loaded; repeatable")
        ->expected(1);
    app.add_option("--threads", options.http.threads,
                   "Worker threads; each open keep-alive connection holds one")
        ->capture_default_str()
        ->check(CLI::Range(1, 4096));
    app.add_option("--max-body", maxBody, "Largest request body in bytes (suffixes K, M, G: powers of 1024)")
        ->capture_default_str()
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max() / 2));
    app.add_option("--keep-alive-timeout", keepAlive, "Seconds an idle keep-alive connection stays open")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600));
    app.add_option("--port-file", options.portFile, "Write the bound port to this file once listening");
    app.add_flag("--debug", options.debug, "Let debug lines through to syslog (masked by default)");
    app.add_flag("--quiet", quiet, "No access log on stderr");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    if (!ParseListen(listen, options.http.host, options.http.port)) {
        std::fprintf(stderr, "--listen: '%s' is not ADDR:PORT\n", listen.c_str());
        return 2;
    }
    options.http.maxBody = static_cast<size_t>(maxBody);
    options.http.accessLog = !quiet;
    options.http.keepAliveTimeout = keepAlive;
    return -1;
}

} // namespace Daemon
} // namespace KOVA
