// The tests' initiator over libiscsi, and the bounded tool runner.
#include "Initiator.h"

#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>

extern char** environ;

namespace KOVATest {
namespace {

// The sense or transport error of a finished task, as text; empty when it succeeded.
std::string TaskError(iscsi_context* iscsi, scsi_task* task)
{
    if (!task)
        return std::string("no task: ") + iscsi_get_error(iscsi);
    if (task->status == SCSI_STATUS_GOOD)
        return {};
    if (task->status == SCSI_STATUS_CHECK_CONDITION)
        return std::string("check condition: ") + scsi_sense_key_str(task->sense.key) + " / " +
               scsi_sense_ascq_str(task->sense.ascq);
    return "status " + std::to_string(task->status) + ": " + iscsi_get_error(iscsi);
}

} // namespace

Initiator::~Initiator()
{
    Disconnect();
}

void Initiator::Disconnect()
{
    if (!iscsi_)
        return;
    iscsi_logout_sync(iscsi_);
    iscsi_destroy_context(iscsi_);
    iscsi_ = nullptr;
}

bool Initiator::Connect(const InitiatorLogin& login, std::string& error)
{
    Disconnect();
    iscsi_context* iscsi = iscsi_create_context(login.initiatorIqn.c_str());
    if (!iscsi) {
        error = "cannot create an iSCSI context";
        return false;
    }
    iscsi_set_targetname(iscsi, login.targetIqn.c_str());
    iscsi_set_session_type(iscsi, ISCSI_SESSION_NORMAL);
    iscsi_set_header_digest(iscsi, ISCSI_HEADER_DIGEST_NONE);
    // A refused login must fail at once rather than be retried by the library.
    iscsi_set_reconnect_max_retries(iscsi, 0);
    iscsi_set_timeout(iscsi, 10);
    if (!login.chapUser.empty())
        iscsi_set_initiator_username_pwd(iscsi, login.chapUser.c_str(), login.chapPassword.c_str());
    if (!login.mutualUser.empty())
        iscsi_set_target_username_pwd(iscsi, login.mutualUser.c_str(), login.mutualPassword.c_str());
    if (iscsi_full_connect_sync(iscsi, login.portal.c_str(), login.lun) != 0) {
        error = iscsi_get_error(iscsi);
        iscsi_destroy_context(iscsi);
        return false;
    }
    iscsi_ = iscsi;
    lun_ = login.lun;
    return true;
}

bool Initiator::ReadCapacity(std::uint64_t& blocks, std::uint32_t& blockSize, std::string& error)
{
    scsi_task* task = iscsi_readcapacity16_sync(iscsi_, lun_);
    error = TaskError(iscsi_, task);
    bool ok = error.empty();
    if (ok) {
        auto* rc16 = static_cast<scsi_readcapacity16*>(scsi_datain_unmarshall(task));
        ok = rc16 != nullptr;
        if (ok) {
            blocks = rc16->returned_lba + 1;
            blockSize = rc16->block_length;
        } else {
            error = "cannot read the READ CAPACITY (16) data";
        }
    }
    if (task)
        scsi_free_scsi_task(task);
    return ok;
}

bool Initiator::Write(std::uint64_t lba, const std::string& data, std::uint32_t blockSize, std::string& error)
{
    std::string buffer = data;
    scsi_task* task = iscsi_write16_sync(iscsi_, lun_, lba, reinterpret_cast<unsigned char*>(&buffer[0]),
                                         static_cast<std::uint32_t>(buffer.size()),
                                         static_cast<int>(blockSize), 0, 0, 0, 0, 0);
    error = TaskError(iscsi_, task);
    if (task)
        scsi_free_scsi_task(task);
    return error.empty();
}

bool Initiator::Read(std::uint64_t lba, std::uint32_t blocks, std::uint32_t blockSize, std::string& data,
                     std::string& error)
{
    scsi_task* task =
        iscsi_read16_sync(iscsi_, lun_, lba, blocks * blockSize, static_cast<int>(blockSize), 0, 0, 0, 0, 0);
    error = TaskError(iscsi_, task);
    if (error.empty())
        data.assign(reinterpret_cast<const char*>(task->datain.data),
                    static_cast<std::size_t>(task->datain.size));
    if (task)
        scsi_free_scsi_task(task);
    return error.empty();
}

bool Initiator::Synchronize(std::string& error)
{
    scsi_task* task = iscsi_synchronizecache10_sync(iscsi_, lun_, 0, 0, 0, 0);
    error = TaskError(iscsi_, task);
    if (task)
        scsi_free_scsi_task(task);
    return error.empty();
}

bool Initiator::ReportLuns(std::vector<int>& luns, std::string& error)
{
    scsi_task* task = iscsi_reportluns_sync(iscsi_, 0, 16384);
    error = TaskError(iscsi_, task);
    bool ok = error.empty();
    if (ok) {
        auto* list = static_cast<scsi_reportluns_list*>(scsi_datain_unmarshall(task));
        ok = list != nullptr;
        luns.clear();
        for (std::uint32_t i = 0; ok && i < list->num; ++i)
            luns.push_back(list->luns[i] & 0x3fff);
        if (!ok)
            error = "cannot read the REPORT LUNS data";
    }
    if (task)
        scsi_free_scsi_task(task);
    return ok;
}

std::string FindOnPath(const std::string& name)
{
    const char* path = std::getenv("PATH");
    const std::string dirs = path ? path : "/usr/local/bin:/usr/bin:/bin";
    std::size_t pos = 0;
    while (pos <= dirs.size()) {
        std::size_t end = dirs.find(':', pos);
        if (end == std::string::npos)
            end = dirs.size();
        const std::string candidate = dirs.substr(pos, end - pos) + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0)
            return candidate;
        pos = end + 1;
    }
    return {};
}

int FreeTcpPort(const std::string& address)
{
    std::mt19937 rng(static_cast<unsigned>(::getpid()) ^ static_cast<unsigned>(std::random_device()()));
    std::uniform_int_distribution<int> pick(20001, 60000);
    for (int attempt = 0; attempt < 200; ++attempt) {
        const int port = pick(rng);
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return 0;
        sockaddr_in addr;
        std::memset(&addr, 0, sizeof(addr));
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        ::inet_pton(AF_INET, address.c_str(), &addr.sin_addr);
        const bool free = ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0;
        ::close(fd);
        if (free)
            return port;
    }
    return 0;
}

ToolResult RunTool(std::vector<std::string> args, std::chrono::milliseconds timeout)
{
    ToolResult result;
    int pipefd[2];
    if (::pipe2(pipefd, O_CLOEXEC) != 0)
        return result;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipefd[1], 1);
    posix_spawn_file_actions_adddup2(&actions, pipefd[1], 2);
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipefd[1]);
    if (rc != 0) {
        ::close(pipefd[0]);
        result.output = "cannot run " + args[0] + ": " + std::strerror(rc);
        return result;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    bool killed = false;
    char buf[4096];
    for (int rounds = 0; rounds < 1000000; ++rounds) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            ::kill(pid, SIGKILL);
            killed = true;
            break;
        }
        pollfd p = {pipefd[0], POLLIN, 0};
        const int n = ::poll(&p, 1, static_cast<int>(left.count()));
        if (n <= 0)
            continue;
        const ssize_t got = ::read(pipefd[0], buf, sizeof(buf));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        result.output.append(buf, static_cast<std::size_t>(got));
    }
    ::close(pipefd[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!killed && WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    return result;
}

} // namespace KOVATest
