// kova-webapid: loads web-API modules and serves their methods over HTTP.
#include "DaemonOptions.h"
#include "EntryService.h"
#include "HttpServer.h"
#include "ModuleTable.h"

#include <pthread.h>
#include <signal.h>
#include <syslog.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
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

} // namespace

int main(int argc, char** argv)
{
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
    // Modules and the storage library find the data directory here.
    setenv("KOVA_DATA_DIR", dataDir.c_str(), 1);

    ModuleTable table;
    if (!LoadModules(options, table, options.http.accessLog))
        return 1;

    EntryService service(table);
    HttpServer server(service, options.http);
    const int port = server.Bind();
    if (port < 0) {
        Fail("cannot listen on " + options.http.host + ":" + std::to_string(options.http.port) + ": " +
             std::strerror(errno));
        return 1;
    }
    if (!options.portFile.empty() && !WritePortFile(options.portFile, port)) {
        Fail("cannot write the port file " + options.portFile);
        return 1;
    }
    Note("serving " + std::to_string(table.RowCount()) + " method(s) on " + options.http.host + ":" +
             std::to_string(port) + ", data in " + dataDir,
         options.http.accessLog);

    std::atomic<bool> serveOver{false};
    std::atomic<bool> signalled{false};
    std::thread signalThread([&] {
        int sig = 0;
        sigwait(&stopSignals, &sig);
        if (serveOver)
            return; // woken by main: the server is gone already
        signalled = true;
        Note(std::string("stopping on ") + strsignal(sig), options.http.accessLog);
        server.Stop();
    });

    const bool ok = server.Serve();
    serveOver = true;
    if (!signalled)
        pthread_kill(signalThread.native_handle(), SIGTERM);
    signalThread.join();

    if (!options.portFile.empty())
        std::remove(options.portFile.c_str());
    if (!ok) {
        Fail("the server failed");
        return 1;
    }
    Note("stopped", options.http.accessLog);
    return 0;
}
