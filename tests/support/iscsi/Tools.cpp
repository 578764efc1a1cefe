// The bounded tool runner, the lookup on PATH and the free port of the tests.
#include "Tools.h"

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
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>

extern char** environ;

namespace KOVATest {

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

std::string MissingTgtdPrerequisite(std::initializer_list<const char*> tools, const std::string& hint)
{
    if (::geteuid() != 0)
        return "needs root (tgtd serves the data path as root)";
    if (::access("/usr/sbin/tgtd", X_OK) != 0)
        return "tgtd not installed (/usr/sbin/tgtd)";
    for (const char* tool : tools)
        if (FindOnPath(tool).empty())
            return std::string(tool) + " not found" + hint;
    return {};
}

int FreeTcpPort(const std::string& address, int avoid, int highest)
{
    std::mt19937 rng(static_cast<unsigned>(::getpid()) ^ static_cast<unsigned>(std::random_device()()));
    std::uniform_int_distribution<int> pick(20001, highest);
    for (int attempt = 0; attempt < 200; ++attempt) {
        const int port = pick(rng);
        if (port == avoid)
            continue;
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return 0;
        sockaddr_in addr;
        std::memset(&addr, 0, sizeof(addr));
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<std::uint16_t>(port));
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
