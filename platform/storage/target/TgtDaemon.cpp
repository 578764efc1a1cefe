// Start, supervision and orderly stop of one tgtd process.
#include "target/TgtDaemon.h"

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace ISCSI {
namespace Storage {
namespace Target {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPollInterval{50};
// Each probe of a starting tgtd's socket waits at most this long for an answer.
constexpr std::chrono::milliseconds kProbeTimeout{1000};
// How long a killed tgtd is waited for.
constexpr std::chrono::milliseconds kKillWait{5000};

std::string DescribeWaitStatus(int status)
{
    if (WIFEXITED(status))
        return "exited with status " + std::to_string(WEXITSTATUS(status));
    if (WIFSIGNALED(status))
        return std::string("was killed by signal ") + std::to_string(WTERMSIG(status));
    return "stopped";
}

// The number of polls that fit in timeout, at least one: bounds a wait by count as well as time.
long PollCount(std::chrono::milliseconds timeout)
{
    long n = static_cast<long>(timeout.count() / kPollInterval.count()) + 1;
    return n < 1 ? 1 : n;
}

// Runs spawn on a thread that lives as long as the process and answers its result. A child's
// PR_SET_PDEATHSIG fires when the thread that forked it ends, not the process; forking on
// this thread ties tgtd's life to the process whichever thread starts it.
pid_t SpawnOnKeeperThread(const std::function<pid_t()>& spawn)
{
    // Never destroyed: the keeper thread waits on them until the process ends, and a condition
    // variable destroyed at exit would wait for it forever.
    struct Keeper {
        std::mutex mutex;
        std::condition_variable cv;
        const std::function<pid_t()>* pending = nullptr;
        pid_t result = -1;
        bool done = false;
        std::mutex callMutex; // one spawn at a time
    };
    static Keeper* const keeper = [] {
        Keeper* k = new Keeper();
        std::thread([k] {
            std::unique_lock<std::mutex> lock(k->mutex);
            for (;;) {
                k->cv.wait(lock, [k] { return k->pending != nullptr; });
                k->result = (*k->pending)();
                k->pending = nullptr;
                k->done = true;
                k->cv.notify_all();
            }
        }).detach();
        return k;
    }();
    std::lock_guard<std::mutex> call(keeper->callMutex);
    std::unique_lock<std::mutex> lock(keeper->mutex);
    keeper->pending = &spawn;
    keeper->done = false;
    keeper->cv.notify_all();
    keeper->cv.wait(lock, [] { return keeper->done; });
    return keeper->result;
}

} // namespace

TgtDaemon::TgtDaemon(TgtDaemonOptions options) : options_(std::move(options)) {}

TgtDaemon::~TgtDaemon()
{
    if (pid_ > 0) {
        std::string ignored;
        Stop(ignored);
    }
}

bool TgtDaemon::Installed(const std::string& tgtdPath, std::string& why)
{
    struct stat st;
    if (tgtdPath.empty() || ::stat(tgtdPath.c_str(), &st) != 0) {
        why = "tgtd is not installed (no " + tgtdPath + "; install the 'tgt' package)";
        return false;
    }
    if (!S_ISREG(st.st_mode) || ::access(tgtdPath.c_str(), X_OK) != 0) {
        why = tgtdPath + " is not an executable file";
        return false;
    }
    return true;
}

std::string TgtDaemon::socketPath() const
{
    return TgtSocketPath(options_.socketDir + "/socket", options_.controlPort);
}

TgtAdmClient TgtDaemon::client() const
{
    return TgtAdmClient(socketPath());
}

bool TgtDaemon::Start(std::string& error)
{
    if (pid_ > 0 && Running()) {
        error = "tgtd already runs as pid " + std::to_string(pid_);
        return false;
    }
    if (!Installed(options_.tgtdPath, error))
        return false;
    // tgtd refuses a control port above 32767 ("-C argument value out of range").
    if (options_.controlPort < 0 || options_.controlPort > 32767) {
        error = "control port " + std::to_string(options_.controlPort) + " is out of range 0..32767";
        return false;
    }
    std::string why = CheckPortal(options_.portal);
    if (!why.empty()) {
        error = why;
        return false;
    }
    if (options_.socketDir.empty() || options_.socketDir[0] != '/') {
        error = "socket directory '" + options_.socketDir + "' is not an absolute path";
        return false;
    }
    if (::mkdir(options_.socketDir.c_str(), 0700) != 0 && errno != EEXIST) {
        error = "cannot create " + options_.socketDir + ": " + std::strerror(errno);
        return false;
    }
    // The socket's path, plus the ".lock" tgtd adds, must fit in sockaddr_un.
    if (socketPath().size() + 5 >= 108) {
        error = "control socket path " + socketPath() + " is too long";
        return false;
    }

    // A second tgtd on the same socket keeps running for a moment before it gives up on the
    // lock, and meanwhile the socket answers for the first one: never take that for ours.
    {
        std::string text;
        TgtAdmClient existing(socketPath(), kProbeTimeout);
        if (existing.ShowSystem(text)) {
            error = "another tgtd already answers on " + socketPath();
            return false;
        }
    }

    std::vector<std::string> args = {
        options_.tgtdPath,          "-f", "-C", std::to_string(options_.controlPort), "--iscsi",
        "portal=" + options_.portal};
    if (options_.ioThreads > 0) {
        args.push_back("-t");
        args.push_back(std::to_string(options_.ioThreads));
    }
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);

    // tgtd finds its control socket through $TGT_IPC_SOCKET; every other variable is passed on.
    std::vector<std::string> env;
    for (char** e = environ; e && *e; ++e)
        if (std::strncmp(*e, "TGT_IPC_SOCKET=", 15) != 0)
            env.emplace_back(*e);
    env.push_back("TGT_IPC_SOCKET=" + options_.socketDir + "/socket");
    std::vector<char*> envp;
    for (std::string& var : env)
        envp.push_back(&var[0]);
    envp.push_back(nullptr);

    const std::string logPath = options_.logPath.empty() ? "/dev/null" : options_.logPath;
    int rc = 0;
    const pid_t child = SpawnOnKeeperThread([&]() -> pid_t {
        const pid_t parent = ::getpid();
        const pid_t pid = ::fork();
        if (pid != 0) {
            if (pid < 0)
                rc = errno;
            return pid;
        }
        // The child: only async-signal-safe calls until exec. tgtd must not outlive us: the
        // kernel kills it when the keeper thread, which lives as long as the process, ends.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent)
            ::_exit(127);
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        for (int sig = 1; sig < NSIG; ++sig)
            ::signal(sig, SIG_DFL);
        const int in = ::open("/dev/null", O_RDONLY);
        const int out = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        if (in < 0 || out < 0)
            ::_exit(126);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(out, 2);
        if (in > 2)
            ::close(in);
        if (out > 2)
            ::close(out);
        ::execve(options_.tgtdPath.c_str(), argv.data(), envp.data());
        ::_exit(127);
    });
    if (child < 0) {
        error = "cannot start " + options_.tgtdPath + ": " + std::strerror(rc);
        return false;
    }
    pid_ = child;
    lastWaitStatus_ = -1;

    // Wait until the control socket answers, or tgtd exits (a second tgtd on the same socket,
    // a bad option), or the bound runs out.
    TgtAdmClient probe(socketPath(), kProbeTimeout);
    const auto deadline = Clock::now() + options_.startTimeout;
    const long attempts = PollCount(options_.startTimeout);
    bool answered = false;
    TgtStatus last = TgtStatus::TransportError(0, "not tried");
    for (long i = 0; i < attempts && Clock::now() < deadline; ++i) {
        if (!Running()) {
            error = "tgtd " + DescribeWaitStatus(lastWaitStatus_) + " while starting";
            if (!options_.logPath.empty())
                error += " (see " + options_.logPath + ")";
            return false;
        }
        std::string text;
        last = probe.ShowSystem(text);
        if (last) {
            answered = true;
            break;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    if (!answered) {
        error = "tgtd's control socket " + socketPath() + " did not answer: " + last.describe();
        Kill();
        return false;
    }

    // tgtd falls back to the wildcard address on port 3260 when its portal cannot be bound, so
    // make sure the configured one is the portal it listens on.
    std::string portals;
    TgtStatus status = probe.ShowPortals(portals);
    if (!status || portals.find("Portal: " + options_.portal + ",") == std::string::npos) {
        error = "tgtd did not bind portal " + options_.portal +
                (status ? " (it lists: " + portals + ")" : ": " + status.describe());
        // It holds no target yet, so nothing is lost by killing it outright.
        Kill();
        return false;
    }
    return true;
}

bool TgtDaemon::Running()
{
    if (pid_ <= 0)
        return false;
    int status = 0;
    pid_t rc;
    do {
        rc = ::waitpid(pid_, &status, WNOHANG);
    } while (rc < 0 && errno == EINTR);
    if (rc == 0)
        return true;
    if (rc == pid_)
        lastWaitStatus_ = status;
    // Reaped, or not our child any more (ECHILD): either way it no longer runs.
    pid_ = -1;
    return false;
}

bool TgtDaemon::WaitExit(std::chrono::milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    const long attempts = PollCount(timeout);
    for (long i = 0; i < attempts; ++i) {
        if (!Running())
            return true;
        if (Clock::now() >= deadline)
            break;
        std::this_thread::sleep_for(kPollInterval);
    }
    return !Running();
}

void TgtDaemon::Kill()
{
    if (pid_ <= 0)
        return;
    ::kill(pid_, SIGKILL);
    // SIGKILL cannot be ignored; the bound only guards against a process stuck in the kernel,
    // which then stays recorded as running.
    WaitExit(kKillWait);
}

bool TgtDaemon::Stop(std::string& error, bool* graceful)
{
    if (graceful)
        *graceful = false;
    if (!Running())
        return true;

    TgtAdmClient admin(socketPath(), kProbeTimeout);
    std::string text;
    TgtStatus status = admin.ShowTargets(text);
    if (status) {
        for (int tid : ParseTargetIds(text)) {
            TgtStatus deleted = admin.DeleteTarget(tid, true);
            if (!deleted && error.empty())
                error = "delete target " + std::to_string(tid) + ": " + deleted.describe();
        }
        status = admin.DeleteSystem();
    }
    if (status && WaitExit(options_.stopTimeout)) {
        if (graceful)
            *graceful = true;
        return true;
    }
    if (!status)
        error = "tgtd did not take the stop request (" + status.describe() + "); killed it";
    else
        error = "tgtd did not exit within " + std::to_string(options_.stopTimeout.count()) + " ms; killed it";
    Kill();
    if (pid_ > 0) {
        error += "; pid " + std::to_string(pid_) + " still there after SIGKILL";
        return false;
    }
    return true;
}

} // namespace Target
} // namespace Storage
} // namespace ISCSI
