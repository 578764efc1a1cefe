#include "CtlProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace KOVATest {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void Exec(const std::string& program, const std::vector<std::string>& args,
                       const std::vector<std::string>& env)
{
    for (const std::string& item : env)
        ::putenv(const_cast<char*>(item.c_str()));
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
}

int StatusOf(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Waits for pid until deadline; kills it then. The exit status, or -1.
int Reap(pid_t pid, Clock::time_point deadline)
{
    int status = 0;
    while (Clock::now() < deadline) {
        if (::waitpid(pid, &status, WNOHANG) == pid)
            return StatusOf(status);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
    return -1;
}

} // namespace

CtlResult RunCtl(const std::vector<std::string>& args, const std::vector<std::string>& env,
                 const std::string& stdinText, int timeoutMs)
{
    return RunTool(ISCSICTL_PATH, args, env, stdinText, timeoutMs);
}

CtlResult RunTool(const std::string& program, const std::vector<std::string>& args,
                  const std::vector<std::string>& env, const std::string& stdinText, int timeoutMs)
{
    CtlResult result;
    int in[2], out[2], err[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0 || ::pipe(err) != 0)
        return result;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::setsid(); // no controlling terminal: prompts fall back to stdin
        ::dup2(in[0], 0);
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]})
            ::close(fd);
        Exec(program, args, env);
    }
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    if (!stdinText.empty() && ::write(in[1], stdinText.data(), stdinText.size()) < 0) {
        // the child may not read its input
    }
    ::close(in[1]);
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    int open = 2;
    while (open > 0 && Clock::now() < deadline) {
        if (::poll(fds, 2, 100) <= 0)
            continue;
        for (pollfd& fd : fds) {
            if (fd.fd < 0 || !(fd.revents & (POLLIN | POLLHUP)))
                continue;
            char buffer[4096];
            const ssize_t got = ::read(fd.fd, buffer, sizeof buffer);
            if (got <= 0) {
                ::close(fd.fd);
                fd.fd = -1;
                --open;
                continue;
            }
            (&fd == &fds[0] ? result.out : result.err).append(buffer, static_cast<size_t>(got));
        }
    }
    for (pollfd& fd : fds)
        if (fd.fd >= 0)
            ::close(fd.fd);
    result.status = Reap(pid, deadline);
    return result;
}

CtlTerminal::CtlTerminal(const std::vector<std::string>& args, const std::vector<std::string>& env)
{
    winsize size{};
    size.ws_col = 100;
    size.ws_row = 30;
    pid_ = ::forkpty(&master_, nullptr, nullptr, &size);
    if (pid_ == 0)
        Exec(ISCSICTL_PATH, args, env);
}

CtlTerminal::~CtlTerminal()
{
    if (pid_ > 0)
        Finish(1000);
    if (master_ >= 0)
        ::close(master_);
}

void CtlTerminal::ReadSome(int timeoutMs)
{
    pollfd fd = {master_, POLLIN, 0};
    if (::poll(&fd, 1, timeoutMs) <= 0)
        return;
    char buffer[4096];
    const ssize_t got = ::read(master_, buffer, sizeof buffer);
    if (got > 0)
        output_.append(buffer, static_cast<size_t>(got));
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(10)); // EIO: the child has gone
}

bool CtlTerminal::WaitFor(const std::string& text, int timeoutMs, size_t from)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (output_.find(text, from) == std::string::npos && Clock::now() < deadline)
        ReadSome(50);
    return output_.find(text, from) != std::string::npos;
}

void CtlTerminal::Type(const std::string& text)
{
    if (::write(master_, text.data(), text.size()) < 0) {
        // the child has gone: what it printed tells
    }
}

int CtlTerminal::Finish(int timeoutMs)
{
    if (pid_ <= 0)
        return -1;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    int status = 0;
    while (Clock::now() < deadline) {
        ReadSome(20);
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            for (int i = 0; i < 10; ++i)
                ReadSome(10);
            pid_ = -1;
            return StatusOf(status);
        }
    }
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return -1;
}

} // namespace KOVATest
