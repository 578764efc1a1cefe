// Starts and supervises one tgtd: the user-space iSCSI target that serves the data path.
//
// tgtd runs in the foreground as our child ("tgtd -f -C <port> --iscsi portal=<addr:port>")
// with $TGT_IPC_SOCKET pointing into a private directory, so its control socket and lock file
// never meet another tgtd's. tgtd ignores SIGTERM and keeps nothing across restarts: stopping
// means deleting every target, asking the system to exit, waiting, and SIGKILL only when that
// does not work; whoever owns the configuration applies it again after a start.
#pragma once

#include "target/TgtAdmClient.h"

#include <chrono>
#include <string>
#include <sys/types.h>

namespace ISCSI {
namespace Storage {
namespace Target {

struct TgtDaemonOptions {
    std::string tgtdPath = "/usr/sbin/tgtd";
    // The private directory of the control socket; created (mode 0700) when missing.
    std::string socketDir;
    // Names the control socket ("<socketDir>/socket.<controlPort>"); tgtd takes 0..32767.
    int controlPort = 0;
    // The first iSCSI portal, "127.0.0.1:3260" or "[::1]:3260".
    std::string portal;
    // Where tgtd's output goes; /dev/null when empty.
    std::string logPath;
    // I/O threads per rdwr LU (tgtd's -t); tgtd's default (16) when 0.
    int ioThreads = 0;
    // Bounds of the waits for the socket to answer and for the process to exit.
    std::chrono::milliseconds startTimeout{10000};
    std::chrono::milliseconds stopTimeout{10000};
};

class TgtDaemon {
public:
    explicit TgtDaemon(TgtDaemonOptions options);
    // Stops the daemon if it still runs.
    ~TgtDaemon();
    TgtDaemon(const TgtDaemon&) = delete;
    TgtDaemon& operator=(const TgtDaemon&) = delete;

    // Whether path names an executable file; why says what is missing otherwise.
    static bool Installed(const std::string& tgtdPath, std::string& why);

    // Starts tgtd and waits until its control socket answers and its portal is listed. On
    // false, error says why (not installed, another tgtd on the socket, exited early with its
    // status, socket silent, portal not bound) and no process is left behind.
    bool Start(std::string& error);

    // Whether the process still runs (reaps it when it has exited).
    bool Running();

    // Stops tgtd: deletes every target (forced), asks the system to exit and waits up to
    // stopTimeout; then SIGKILL and a bounded wait. Returns true when the process is gone;
    // graceful tells whether it left on its own. Safe to call when not running.
    bool Stop(std::string& error, bool* graceful = nullptr);

    pid_t pid() const { return pid_; }
    const TgtDaemonOptions& options() const { return options_; }
    // The control socket's full path.
    std::string socketPath() const;
    TgtAdmClient client() const;
    // How the last process ended, as waitpid reported it; -1 when not known.
    int lastWaitStatus() const { return lastWaitStatus_; }

private:
    bool WaitExit(std::chrono::milliseconds timeout);
    void Kill();

    TgtDaemonOptions options_;
    pid_t pid_ = -1;
    int lastWaitStatus_ = -1;
};

} // namespace Target
} // namespace Storage
} // namespace ISCSI
