// Loop devices and defragmentation processes of LUN files.
#include "lun/LUNDevices.h"
#include "util/Fd.h"

#include <iscsi/ISCSIErrors.h>

#include <fcntl.h>
#include <linux/loop.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

extern char** environ;

namespace ISCSI {
namespace Storage {
namespace {

constexpr unsigned long kBtrfsMagic = 0x9123683EUL;
constexpr unsigned long kExt4Magic = 0xEF53UL; // ext2, ext3 and ext4 share it

std::string RealPathOf(const std::string& path)
{
    char* buffer = ::realpath(path.c_str(), nullptr);
    if (!buffer)
        return path;
    std::string real(buffer);
    std::free(buffer);
    return real;
}

// Makes the device node of loop n when the kernel has the device but /dev lacks its node (a
// container with a static /dev).
bool EnsureLoopNode(int n, const std::string& path)
{
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0)
        return S_ISBLK(st.st_mode);
    return ::mknod(path.c_str(), S_IFBLK | 0660, makedev(7, static_cast<unsigned>(n))) == 0;
}

int Configure(int loopFd, int fileFd, const std::string& file)
{
    struct loop_config config {};
    config.fd = static_cast<__u32>(fileFd);
    std::strncpy(reinterpret_cast<char*>(config.info.lo_file_name), file.c_str(), LO_NAME_SIZE - 1);
    if (::ioctl(loopFd, LOOP_CONFIGURE, &config) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOTTY)
        return -1;
    // Kernels before 5.8: the two-step form.
    if (::ioctl(loopFd, LOOP_SET_FD, fileFd) != 0)
        return -1;
    struct loop_info64 info {};
    std::strncpy(reinterpret_cast<char*>(info.lo_file_name), file.c_str(), LO_NAME_SIZE - 1);
    if (::ioctl(loopFd, LOOP_SET_STATUS64, &info) != 0) {
        const int saved = errno;
        ::ioctl(loopFd, LOOP_CLR_FD, 0);
        errno = saved;
        return -1;
    }
    return 0;
}

// One defragmentation run. Its pid is signalled only while done is false; done is set before
// the process is reaped (waitid with WNOWAIT first), so a signal never reaches a reused pid.
struct DefragRun {
    pid_t pid = -1;
    bool done = false;
    bool stopped = false;
    int status = 0;
};

std::mutex gDefragMutex;
std::condition_variable gDefragDone;
std::map<std::string, std::shared_ptr<DefragRun>> gDefragRuns;
std::vector<std::pair<std::thread, std::shared_ptr<DefragRun>>> gDefragWaiters;

// Waits for the run's process to end, marks it done, then reaps it. Answers its wait status.
int WaitDefrag(const std::string& uuid, const std::shared_ptr<DefragRun>& run)
{
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(run->pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    int status = 0;
    {
        std::lock_guard<std::mutex> lock(gDefragMutex);
        run->done = true;
        while (::waitpid(run->pid, &status, 0) < 0 && errno == EINTR) {
        }
        run->status = status;
        const auto it = gDefragRuns.find(uuid);
        if (it != gDefragRuns.end() && it->second == run)
            gDefragRuns.erase(it);
    }
    gDefragDone.notify_all();
    return status;
}

int DefragResult(const DefragRun& run, int status)
{
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return 0;
    if (run.stopped)
        return ISCSI_ERR_JOB_CANCELLED;
    return ISCSI_ERR_DEFRAG;
}

bool FindProgram(const char* name, std::string& path)
{
    for (const char* dir : {"/usr/sbin", "/sbin", "/usr/bin", "/bin", "/usr/local/sbin", "/usr/local/bin"}) {
        const std::string candidate = std::string(dir) + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0) {
            path = candidate;
            return true;
        }
    }
    return false;
}

} // namespace

bool FindLoopDevice(const std::string& file, std::string& device, bool* stale)
{
    const std::string real = RealPathOf(file);
    DIR* dir = ::opendir("/sys/block");
    if (!dir)
        return false;
    bool found = false;
    while (struct dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.compare(0, 4, "loop") != 0)
            continue;
        std::ifstream in("/sys/block/" + name + "/loop/backing_file");
        std::string backing;
        if (!in || !std::getline(in, backing))
            continue;
        const std::string deleted = " (deleted)";
        const bool old = backing == real + deleted || backing == file + deleted;
        if (backing == real || backing == file || old) {
            device = "/dev/" + name;
            if (stale)
                *stale = old;
            found = true;
            break;
        }
    }
    ::closedir(dir);
    return found;
}

int AttachLoopDevice(const std::string& file, std::string& device)
{
    Fd control(::open("/dev/loop-control", O_RDWR | O_CLOEXEC));
    if (control.get() < 0) {
        syslog(LOG_ERR, "iSCSI storage: cannot open /dev/loop-control: %s", std::strerror(errno));
        return ISCSI_ERR_LOOP_DEVICE;
    }
    Fd fileFd(::open(file.c_str(), O_RDWR | O_CLOEXEC));
    if (fileFd.get() < 0) {
        syslog(LOG_ERR, "iSCSI storage: cannot open %s for a loop device: %s", file.c_str(),
               std::strerror(errno));
        return ISCSI_ERR_LOOP_DEVICE;
    }
    const std::string name = RealPathOf(file);
    // Another process may take the free device between the two calls: a few tries.
    for (int attempt = 0; attempt < 5; ++attempt) {
        const int n = ::ioctl(control.get(), LOOP_CTL_GET_FREE);
        if (n < 0)
            break;
        const std::string path = "/dev/loop" + std::to_string(n);
        if (!EnsureLoopNode(n, path))
            break;
        Fd loop(::open(path.c_str(), O_RDWR | O_CLOEXEC));
        if (loop.get() < 0)
            break;
        if (Configure(loop.get(), fileFd.get(), name) == 0) {
            device = path;
            return 0;
        }
        if (errno != EBUSY)
            break;
    }
    syslog(LOG_ERR, "iSCSI storage: cannot attach a loop device to %s: %s", file.c_str(),
           std::strerror(errno));
    return ISCSI_ERR_LOOP_DEVICE;
}

int DetachLoopDevice(const std::string& device)
{
    Fd loop(::open(device.c_str(), O_RDWR | O_CLOEXEC));
    if (loop.get() < 0 || ::ioctl(loop.get(), LOOP_CLR_FD, 0) != 0) {
        syslog(LOG_ERR, "iSCSI storage: cannot detach %s: %s", device.c_str(), std::strerror(errno));
        return ISCSI_ERR_LOOP_DEVICE;
    }
    return 0;
}

int DetachLoopDevicesOf(const std::string& file)
{
    int detached = 0;
    std::string device;
    // Bounded: a file has at most as many devices as there are loop devices; 64 is plenty.
    for (int i = 0; i < 64 && FindLoopDevice(file, device); ++i) {
        if (DetachLoopDevice(device) != 0)
            break;
        ++detached;
    }
    return detached;
}

bool DefragCommand(const std::string& path, std::vector<std::string>& argv)
{
    struct statfs fs {};
    if (::statfs(path.c_str(), &fs) != 0)
        return false;
    std::string program;
    const unsigned long magic = static_cast<unsigned long>(fs.f_type) & 0xFFFFFFFFUL;
    if (magic == kBtrfsMagic && FindProgram("btrfs", program)) {
        argv = {program, "filesystem", "defragment", "-f"};
        return true;
    }
    if (magic == kExt4Magic && FindProgram("e4defrag", program)) {
        argv = {program};
        return true;
    }
    return false;
}

int StartDefragProcess(const std::string& uuid, const std::string& file, bool background)
{
    std::vector<std::string> args;
    if (!DefragCommand(file, args))
        return ISCSI_ERR_DEFRAG;
    args.push_back(file);
    return RunDefragProcess(uuid, args, background);
}

int RunDefragProcess(const std::string& uuid, std::vector<std::string> args, bool background)
{
    if (args.empty())
        return ISCSI_ERR_DEFRAG;
    const std::string file = args.back();
    std::shared_ptr<DefragRun> run;
    {
        std::lock_guard<std::mutex> lock(gDefragMutex);
        // Waiters of runs that have ended are joined here, so their list stays short. A done
        // run's waiter needs the mutex no more, so joining it under the mutex is safe.
        for (auto it = gDefragWaiters.begin(); it != gDefragWaiters.end();) {
            if (it->second->done) {
                it->first.join();
                it = gDefragWaiters.erase(it);
            } else {
                ++it;
            }
        }
        const auto it = gDefragRuns.find(uuid);
        if (it != gDefragRuns.end() && !it->second->done)
            return 0;
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(&arg[0]);
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        // The daemon blocks SIGTERM and SIGINT in every thread (one thread takes them with
        // sigwait) and ignores SIGPIPE; the tool gets an empty mask and default actions, so
        // that a stop's SIGTERM ends it.
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        sigset_t defaults;
        sigemptyset(&defaults);
        for (int signal : {SIGTERM, SIGINT, SIGPIPE, SIGHUP})
            sigaddset(&defaults, signal);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        pid_t pid = -1;
        const int rc = posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        if (rc != 0) {
            syslog(LOG_ERR, "iSCSI storage: cannot run %s: %s", argv[0], std::strerror(rc));
            return ISCSI_ERR_DEFRAG;
        }
        run = std::make_shared<DefragRun>();
        run->pid = pid;
        gDefragRuns[uuid] = run;
        if (background) {
            std::thread waiter([uuid, run, file]() {
                const int status = WaitDefrag(uuid, run);
                if (DefragResult(*run, status) == ISCSI_ERR_DEFRAG)
                    syslog(LOG_ERR, "iSCSI storage: the defragmentation of %s failed (wait status %d)",
                           file.c_str(), status);
            });
            gDefragWaiters.emplace_back(std::move(waiter), run);
            return 0;
        }
    }
    const int status = WaitDefrag(uuid, run);
    return DefragResult(*run, status);
}

int StopDefragProcess(const std::string& uuid, bool wait)
{
    std::unique_lock<std::mutex> lock(gDefragMutex);
    const auto it = gDefragRuns.find(uuid);
    if (it == gDefragRuns.end())
        return 0;
    const std::shared_ptr<DefragRun> run = it->second;
    if (!run->done) {
        run->stopped = true;
        ::kill(run->pid, SIGTERM);
    }
    if (!wait)
        return 0;
    if (!gDefragDone.wait_for(lock, std::chrono::seconds(2), [&run] { return run->done; })) {
        if (!run->done)
            ::kill(run->pid, SIGKILL);
        gDefragDone.wait_for(lock, std::chrono::seconds(10), [&run] { return run->done; });
    }
    return 0;
}

bool DefragRunning(const std::string& uuid)
{
    std::lock_guard<std::mutex> lock(gDefragMutex);
    const auto it = gDefragRuns.find(uuid);
    return it != gDefragRuns.end() && !it->second->done;
}

void StopDefragProcesses()
{
    std::vector<std::string> uuids;
    {
        std::lock_guard<std::mutex> lock(gDefragMutex);
        for (const auto& run : gDefragRuns)
            uuids.push_back(run.first);
    }
    for (const std::string& uuid : uuids)
        StopDefragProcess(uuid, true);
    std::vector<std::pair<std::thread, std::shared_ptr<DefragRun>>> waiters;
    {
        std::lock_guard<std::mutex> lock(gDefragMutex);
        waiters.swap(gDefragWaiters);
    }
    for (auto& waiter : waiters)
        waiter.first.join();
}

} // namespace Storage
} // namespace ISCSI
