#include "DaemonOptions.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <set>

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

bool BuildVolumeList(const std::vector<std::string>& volumes, const std::string& dataDir, std::string& list,
                     std::string& error)
{
    list.clear();
    if (volumes.empty())
        return true;
    std::set<std::string> seen;
    std::string given;
    for (const std::string& item : volumes) {
        const std::size_t eq = item.find('=');
        const std::string location = eq == std::string::npos ? item : item.substr(0, eq);
        if (eq == std::string::npos || location.size() < 2 || location[0] != '/' ||
            location.find('/', 1) != std::string::npos || location == "/." || location == "/..") {
            error = "--volume: '" + item + "' is not /NAME=/dir[,remote-disk]";
            return false;
        }
        std::string dir = item.substr(eq + 1);
        std::string option;
        const std::size_t comma = dir.find(',');
        if (comma != std::string::npos) {
            option = dir.substr(comma + 1);
            dir.erase(comma);
            if (option != "remote-disk") {
                error = "--volume: unknown option '" + option + "' in '" + item + "' (known: remote-disk)";
                return false;
            }
        }
        if (item.find(';') != std::string::npos || dir.empty() || dir[0] != '/') {
            error = "--volume: the directory of '" + item + "' is not an absolute path";
            return false;
        }
        std::error_code ec;
        if (!std::filesystem::is_directory(dir, ec)) {
            error = "--volume: '" + dir + "' is no existing directory";
            return false;
        }
        if (!seen.insert(location).second) {
            error = "--volume: " + location + " is given twice";
            return false;
        }
        given += location + "=" + std::filesystem::path(dir).lexically_normal().string() +
                 (option.empty() ? "" : "," + option) + ";";
    }
    if (seen.count("/volume1") == 0) {
        const std::string dir = dataDir + "/volume1";
        std::error_code ec;
        std::filesystem::create_directories(dir, ec);
        if (ec) {
            error = "cannot create the volume directory " + dir + ": " + ec.message();
            return false;
        }
        list = "/volume1=" + dir + ";";
    }
    list += given;
    list.pop_back();
    return true;
}

int ParseOptions(int argc, char** argv, DaemonOptions& options)
{
    CLI::App app("kova-webapid: serves the methods of web-API modules over HTTP at /webapi/entry.",
                 "kova-webapid");
    std::string listen = options.http.host + ":" + std::to_string(options.http.port);
    std::uint64_t maxBody = options.http.maxBody;
    bool quiet = !options.http.accessLog;
    bool noHttp = false;
    int keepAlive = static_cast<int>(options.http.keepAliveTimeout);

    app.add_option("--listen", listen,
                   "Address and port to listen on, ADDR:PORT ([ADDR]:PORT for IPv6); "
                   "port 0 takes any free port")
        ->capture_default_str();
    app.add_option("--data-dir", options.dataDir, "Data directory, created when missing")
        ->capture_default_str();
    app.add_option("--module", options.modules, "A web-API module (.so) to load; repeatable")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--module-dir", options.moduleDirs,
                   "A directory whose *.so files that export GetAPITable are loaded; repeatable")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--volume", options.volumes,
                   "A storage volume, /volumeN=/dir (an existing directory); ',remote-disk' after the "
                   "directory marks a volume on a disk of another machine. Repeatable; /volume1 is "
                   "DATA-DIR/volume1 unless given. Without it the environment's KOVA_VOLUMES is used")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
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
    bool noPage = false;
    app.add_option("--ui-dir", options.http.pageDir, "Directory of the management page served at /")
        ->capture_default_str();
    app.add_flag("--no-ui", noPage, "Do not serve the management page");
    app.add_option("--port-file", options.portFile, "Write the bound port to this file once listening");
    app.add_flag("--debug", options.debug, "Let debug lines through to syslog (masked by default)");
    app.add_flag("--quiet", quiet, "No access log on stderr");

    std::string listenTls;
    app.add_option("--listen-tls", listenTls, "Also serve HTTPS on ADDR:PORT (port 0: any free port)");
    app.add_flag("--no-http", noHttp, "No plain HTTP listener (needs --listen-tls)");
    app.add_option("--tls-cert", options.tlsCert, "HTTPS certificate (PEM)");
    app.add_option("--tls-key", options.tlsKey, "Private key of the HTTPS certificate (PEM)");
    app.add_flag("--tls-self-signed", options.tlsSelfSigned,
                 "Make a self-signed certificate in the data directory on first start and use it");
    app.add_option("--tls-port-file", options.tlsPortFile, "Write the bound HTTPS port to this file");
    app.add_option("--admin-password-file", options.adminPasswordFile,
                   "First start: the password of the account admin (else KOVA_ADMIN_PASSWORD, else "
                   "generated into DATA-DIR/admin-password)");
    app.add_option("--session-idle", options.sessionIdle, "Seconds a session lives unused")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{315360000}));
    app.add_option("--session-max", options.sessionMax, "Seconds a session lives at most")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{315360000}));
    app.add_option("--login-max-failures", options.throttle.maxFailures,
                   "Failed logins of one account from one address, or of one address, within --login-window "
                   "that lock it")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000000));
    app.add_option("--login-window", options.throttle.window, "Seconds over which failed logins count")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{86400}));
    app.add_option("--login-lockout", options.throttle.lockout,
                   "Seconds of the first lock; each further lock doubles it (up to a day)")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{86400}));
    AddNodeOptions(app, options.node);
    app.footer("Accounts: kova-webapid account add|passwd|delete|otp-enable|otp-disable|list --data-dir DIR "
               "(see kova-webapid account --help).");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    if (!ParseListen(listen, options.http.host, options.http.port)) {
        std::fprintf(stderr, "--listen: '%s' is not ADDR:PORT\n", listen.c_str());
        return 2;
    }
    if (!listenTls.empty() && !ParseListen(listenTls, options.tlsHost, options.tlsPort)) {
        std::fprintf(stderr, "--listen-tls: '%s' is not ADDR:PORT\n", listenTls.c_str());
        return 2;
    }
    if (noHttp && listenTls.empty()) {
        std::fprintf(stderr, "--no-http needs --listen-tls\n");
        return 2;
    }
    if (!listenTls.empty() &&
        options.tlsSelfSigned == (!options.tlsCert.empty() || !options.tlsKey.empty())) {
        std::fprintf(stderr, "--listen-tls needs either --tls-cert and --tls-key, or --tls-self-signed\n");
        return 2;
    }
    if (!options.tlsSelfSigned && options.tlsCert.empty() != options.tlsKey.empty()) {
        std::fprintf(stderr, "--tls-cert and --tls-key go together\n");
        return 2;
    }
    if (listenTls.empty() && (options.tlsSelfSigned || !options.tlsCert.empty())) {
        std::fprintf(stderr, "--tls-cert, --tls-key and --tls-self-signed need --listen-tls\n");
        return 2;
    }
    std::string nodeError;
    if (!CheckNodeOptions(options.node, nodeError)) {
        std::fprintf(stderr, "%s\n", nodeError.c_str());
        return 2;
    }
    options.http.maxBody = static_cast<size_t>(maxBody);
    options.http.accessLog = !quiet;
    options.http.keepAliveTimeout = keepAlive;
    options.plainHttp = !noHttp;
    if (noPage)
        options.http.pageDir.clear();
    return -1;
}

} // namespace Daemon
} // namespace KOVA
