// kova-webapid: loads web-API modules and serves their methods over HTTP.
#include "AuthStore.h"
#include "Authenticator.h"
#include "DaemonOptions.h"
#include "DataDirectory.h"
#include "EntryService.h"
#include "ExternalSessions.h"
#include "HttpServer.h"
#include "ModuleTable.h"
#include "TlsCertificate.h"

#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <syslog.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

using namespace KOVA::Daemon;

namespace {

// Errors go to syslog and to stderr, where whoever started the daemon sees them.
void Fail(const std::string& message)
{
    syslog(LOG_ERR, "%s", message.c_str());
    std::fprintf(stderr, "kova-webapid: %s\n", message.c_str());
}

void Note(const std::string& message, bool toStderr)
{
    syslog(LOG_INFO, "%s", message.c_str());
    if (toStderr)
        std::fprintf(stderr, "kova-webapid: %s\n", message.c_str());
}

// Written under a temporary name and renamed, so that a reader never sees half a number.
bool WritePortFile(const std::string& path, int port)
{
    const std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << port << "\n";
        if (!out.flush())
            return false;
    }
    return std::rename(temporary.c_str(), path.c_str()) == 0;
}

bool LoadModules(const DaemonOptions& options, ModuleTable& table, bool verbose)
{
    for (const auto& path : options.modules) {
        std::string message;
        if (!table.LoadModule(path, message)) {
            Fail("cannot load module " + message);
            return false;
        }
        if (!message.empty())
            Note(message, verbose);
    }
    for (const auto& dir : options.moduleDirs) {
        int loaded = 0;
        std::vector<std::string> notes;
        std::string error;
        if (!table.LoadModuleDir(dir, loaded, notes, error)) {
            Fail("cannot read module directory " + error);
            return false;
        }
        for (const auto& note : notes)
            Note(note, verbose);
        Note(dir + ": " + std::to_string(loaded) + " module(s) loaded", verbose);
    }
    if (table.RowCount() == 0)
        Note("no module loaded: every call will answer that its API is unknown", true);
    return true;
}

// KOVA_ADMIN_PASSWORD as it was at start: taken out of the environment at once, so that
// modules and child processes never see it.
std::string& AdminPasswordFromEnvironment()
{
    static std::string password;
    return password;
}

// The first line of a file, without its line end.
bool ReadFirstLine(const std::string& path, std::string& line)
{
    std::ifstream in(path);
    if (!in || !std::getline(in, line))
        return false;
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n'))
        line.pop_back();
    return true;
}

// First start (no account yet): makes the account admin with the password of
// --admin-password-file, else of KOVA_ADMIN_PASSWORD, else a generated one that is printed
// once on stderr and written to DATA-DIR/admin-password (mode 0600).
bool CreateAdmin(AuthStore& store, const DaemonOptions& options, const std::string& dataDir)
{
    if (store.AccountCount() > 0)
        return true;
    std::string password;
    bool generated = false;
    if (!options.adminPasswordFile.empty()) {
        if (!ReadFirstLine(options.adminPasswordFile, password) || password.empty()) {
            Fail("cannot read a password from " + options.adminPasswordFile);
            return false;
        }
    } else if (!AdminPasswordFromEnvironment().empty()) {
        password = AdminPasswordFromEnvironment();
    } else {
        password = AuthStore::RandomPassword(24);
        generated = true;
    }
    if (generated) {
        const std::string path = dataDir + "/admin-password";
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const std::string text = password + "\n";
        const bool written =
            fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        if (fd >= 0)
            ::close(fd);
        if (!written) {
            Fail("cannot write " + path);
            return false;
        }
        std::fprintf(stderr, "kova-webapid: created account admin with password %s (also in %s)\n",
                     password.c_str(), path.c_str());
    }
    if (store.AddAccount("admin", password) != AuthResult::Ok) {
        Fail("cannot create the account admin");
        return false;
    }
    Note("created account admin", false);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    // Large replies (a list of thousands of LUNs or log lines) are built in buffers of several
    // MiB. With glibc's defaults each such buffer is a fresh mmap, zeroed page by page and
    // unmapped again after the request; kept in the heap instead, listing 10,000 LUNs takes
    // about 8 ms rather than 40 (bench/storage/LUNBench.cpp).
    mallopt(M_MMAP_THRESHOLD, 64 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 128 * 1024 * 1024);
    // The data directory and its databases hold secrets: nothing the daemon creates is for
    // other users.
    MakeNewFilesPrivate();
    if (argc > 1 && std::strcmp(argv[1], "account") == 0)
        return RunAccountCommand(argc - 1, argv + 1);

    if (const char* env = std::getenv("KOVA_ADMIN_PASSWORD")) {
        AdminPasswordFromEnvironment() = env;
        unsetenv("KOVA_ADMIN_PASSWORD");
    }

    DaemonOptions options;
    const int usage = ParseOptions(argc, argv, options);
    if (usage >= 0)
        return usage;

    openlog("kova-webapid", LOG_PID, LOG_DAEMON);
    // A debug line costs a syslog call (microseconds) per request; masked, it costs nothing.
    setlogmask(options.debug ? LOG_UPTO(LOG_DEBUG) : LOG_UPTO(LOG_INFO));

    // SIGTERM and SIGINT are taken by one thread with sigwait; they are blocked before any
    // other thread exists so that every thread inherits the mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    std::error_code ec;
    std::filesystem::create_directories(options.dataDir, ec);
    if (ec) {
        Fail("cannot create data directory " + options.dataDir + ": " + ec.message());
        return 1;
    }
    const std::string dataDir = std::filesystem::absolute(options.dataDir, ec).lexically_normal().string();
    std::string modeError;
    if (!RestrictDataDirectory(dataDir, modeError)) {
        Fail("cannot make the data directory private: " + modeError);
        return 1;
    }
    // Modules and the storage library find the data directory here.
    setenv("KOVA_DATA_DIR", dataDir.c_str(), 1);
    // And the volumes, when --volume gives them.
    std::string volumeList;
    std::string volumeError;
    if (!BuildVolumeList(options.volumes, dataDir, volumeList, volumeError)) {
        Fail(volumeError);
        return 1;
    }
    if (!volumeList.empty())
        setenv("KOVA_VOLUMES", volumeList.c_str(), 1);

    ApplyNodeEnvironment(options.node);
    ModuleTable table;
    if (!LoadModules(options, table, options.http.accessLog))
        return 1;
    for (ModuleTable::StartFn start : table.StartFunctions())
        start();

    AuthStore store;
    std::string error;
    if (!store.Open(dataDir + "/webapi.db", error)) {
        Fail("cannot open the account database " + error);
        return 1;
    }
    store.SetSessionLifetimes(options.sessionIdle, options.sessionMax);
    if (!CreateAdmin(store, options, dataDir))
        return 1;
    Authenticator auth(store, options.throttle);
    ExternalSessions externalSessions;
    for (const auto& provider : table.SessionProviders())
        externalSessions.Add(reinterpret_cast<KOVASessionCheckFn>(provider.first),
                             reinterpret_cast<KOVASessionRenewFn>(provider.second));
    auth.SetExternalSessions(&externalSessions);
    EntryService service(table, auth);

    std::vector<std::unique_ptr<HttpServer>> servers;
    int httpPort = -1;
    int tlsPort = -1;
    if (options.plainHttp) {
        servers.emplace_back(new HttpServer(service, options.http));
        httpPort = servers.back()->Bind();
        if (httpPort < 0) {
            Fail("cannot listen on " + options.http.host + ":" + std::to_string(options.http.port) + ": " +
                 std::strerror(errno));
            return 1;
        }
    }
    if (!options.tlsHost.empty()) {
        HttpOptions tls = options.http;
        tls.host = options.tlsHost;
        tls.port = options.tlsPort;
        tls.tlsCert = options.tlsCert;
        tls.tlsKey = options.tlsKey;
        if (options.tlsSelfSigned) {
            tls.tlsCert = dataDir + "/tls-cert.pem";
            tls.tlsKey = dataDir + "/tls-key.pem";
            if (!EnsureSelfSignedCertificate(tls.tlsCert, tls.tlsKey, options.tlsHost, error)) {
                Fail("cannot make the self-signed certificate: " + error);
                return 1;
            }
        }
        servers.emplace_back(new HttpServer(service, tls));
        if (!servers.back()->Valid()) {
            Fail("cannot load the certificate " + tls.tlsCert + " and key " + tls.tlsKey);
            return 1;
        }
        tlsPort = servers.back()->Bind();
        if (tlsPort < 0) {
            Fail("cannot listen on " + options.tlsHost + ":" + std::to_string(options.tlsPort) + ": " +
                 std::strerror(errno));
            return 1;
        }
    }
    if (!options.tlsPortFile.empty() && tlsPort >= 0 && !WritePortFile(options.tlsPortFile, tlsPort)) {
        Fail("cannot write the port file " + options.tlsPortFile);
        return 1;
    }
    if (!options.portFile.empty() && !WritePortFile(options.portFile, httpPort >= 0 ? httpPort : tlsPort)) {
        Fail("cannot write the port file " + options.portFile);
        return 1;
    }
    const std::string nodeUrl =
        ApplyNodeUrl(options.node, options.http.host, httpPort, options.tlsHost, tlsPort);
    std::string where;
    if (httpPort >= 0)
        where += " http://" + options.http.host + ":" + std::to_string(httpPort);
    if (tlsPort >= 0)
        where += " https://" + options.tlsHost + ":" + std::to_string(tlsPort);
    Note("serving " + std::to_string(table.RowCount()) + " method(s) on" + where + ", data in " + dataDir +
             (nodeUrl.empty() ? std::string() : ", node URL " + nodeUrl),
         options.http.accessLog);

    std::atomic<bool> serveOver{false};
    std::atomic<bool> signalled{false};
    std::thread signalThread([&] {
        int sig = 0;
        sigwait(&stopSignals, &sig);
        if (serveOver)
            return; // woken by main: the servers are gone already
        signalled = true;
        Note(std::string("stopping on ") + strsignal(sig), options.http.accessLog);
        for (auto& server : servers)
            server->Stop();
    });

    // Every server but the first serves on a thread of its own; when one ends, all end.
    std::vector<std::thread> others;
    std::atomic<bool> othersOk{true};
    for (size_t i = 1; i < servers.size(); ++i) {
        others.emplace_back([&, i] {
            if (!servers[i]->Serve())
                othersOk = false;
            for (auto& server : servers)
                server->Stop();
        });
    }
    bool ok = servers.front()->Serve();
    for (auto& server : servers)
        server->Stop();
    for (auto& t : others)
        t.join();
    ok = ok && othersOk;
    serveOver = true;
    if (!signalled)
        pthread_kill(signalThread.native_handle(), SIGTERM);
    signalThread.join();

    if (!options.portFile.empty())
        std::remove(options.portFile.c_str());
    if (!options.tlsPortFile.empty())
        std::remove(options.tlsPortFile.c_str());
    if (!ok) {
        Fail("the server failed");
        return 1;
    }
    Note("stopped", options.http.accessLog);
    return 0;
}
