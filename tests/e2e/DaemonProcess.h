// The real kova-webapid, started as a child process on 127.0.0.1 with a port the kernel
// picks, loaded with the module built over the recording double of the storage library.
#pragma once

#include "HttpClient.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace KOVATest {

// The password of the account admin of every test daemon (KOVA_ADMIN_PASSWORD at first start).
extern const char ADMIN_PASSWORD[];

class DaemonProcess {
public:
    struct Config {
        // Standing answers of the double's storage library (KOVA_DOUBLE_SCRIPT), a JSON text.
        std::string script = "{}";
        // Load the double module with --module (else only what args name is loaded).
        bool loadDoubleModule = true;
        // Further arguments.
        std::vector<std::string> args;
        // KOVA_ADMIN_PASSWORD at start (not set when empty).
        std::string adminPassword = ADMIN_PASSWORD;
        // The data directory; empty: one of the daemon's own directory, removed with it.
        std::string dataDir;
        // Further environment variables, "NAME=value".
        std::vector<std::string> env;
    };

    // Starts the daemon and waits (bounded) until it listens; Running() tells whether it does.
    explicit DaemonProcess(const Config& config);
    DaemonProcess() : DaemonProcess(Config()) {}
    // Stops the daemon if it still runs and removes its directory.
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    bool Running() const { return port_ > 0 && !exited_; }
    pid_t Pid() const { return pid_; }
    int Port() const { return port_; }
    std::string EntryUrl() const;
    std::string BaseUrl() const;
    std::string AuthUrl() const { return BaseUrl() + "/webapi/auth"; }
    std::string QueryUrl() const { return BaseUrl() + "/webapi/query"; }
    std::string DataDir() const { return dataDir_; }

    // Logs in (admin with ADMIN_PASSWORD unless told otherwise) and makes client send the
    // session with every request. Answers the session id (empty when the login failed).
    std::string Login(HttpClient& client, const std::string& account = "admin",
                      const std::string& password = ADMIN_PASSWORD) const;
    // The daemon's working directory (its data directory is in it).
    const std::string& Dir() const { return dir_; }

    // Sends SIGTERM and waits (bounded) for the process to end. Answers its exit status, or -1
    // when it had to be killed or ended by a signal.
    int Stop();
    // Sends a signal without waiting.
    void Signal(int sig) const;
    // Waits (bounded) for the process to end on its own; the exit status or -1.
    int Wait(int timeoutMs);

    // The storage-library calls logged so far, one per line; CallsSince gives those after a
    // mark taken with CallsMark.
    std::string Calls() const;
    size_t CallsMark() const { return Calls().size(); }
    std::string CallsSince(size_t mark) const;
    // What the daemon wrote to stderr so far.
    std::string Stderr() const;
    // Waits (bounded) until stderr holds text.
    bool WaitForStderr(const std::string& text, int timeoutMs) const;

private:
    std::string dir_;
    std::string dataDir_;
    pid_t pid_ = -1;
    int port_ = 0;
    bool exited_ = false;
    int exitStatus_ = -1;
};

// Runs kova-webapid with args (and a data directory of its own) to its end, bounded, and
// answers its exit status, or -1.
int RunDaemonToEnd(const std::vector<std::string>& args, std::string* stderrText = nullptr);

// Runs kova-webapid with exactly args (no data directory added), stdinText on its standard
// input, to its end, bounded. Answers its exit status, or -1; out and err get its output.
int RunProgram(const std::vector<std::string>& args, const std::string& stdinText, std::string* out,
               std::string* err);

// A login body of JSON.
std::string LoginBody(const std::string& account, const std::string& password, const std::string& otp = "");

// Reads a whole file; empty when it cannot be read.
std::string ReadFile(const std::string& path);

} // namespace KOVATest
