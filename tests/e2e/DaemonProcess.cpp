#include "DaemonProcess.h"

#include <kova/JsonText.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace KOVATest {

const char ADMIN_PASSWORD[] = "e2e admin password";

namespace {

constexpr int START_TIMEOUT_MS = 15000;
// Longer than the daemon's keep-alive timeout, which an idle connection may hold it for.
constexpr int STOP_TIMEOUT_MS = 20000;

std::string MakeTempDir()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/kova-e2e-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (!mkdtemp(buffer.data()))
        return std::string();
    return std::string(buffer.data());
}

void WriteFile(const std::string& path, const std::string& text)
{
    std::ofstream(path) << text;
}

// Starts the daemon with args, its stderr going to stderrPath and these variables added to
// the environment. Answers the pid or -1.
pid_t Spawn(const std::vector<std::string>& args, const std::vector<std::string>& env,
            const std::string& stderrPath, const std::string& stdinPath = "/dev/null",
            const std::string& stdoutPath = "/dev/null")
{
    std::vector<std::string> argStore;
    argStore.push_back(KOVA_WEBAPID_PATH);
    argStore.insert(argStore.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : argStore)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    std::vector<std::string> envStore;
    for (char** e = environ; *e; ++e) {
        const std::string entry(*e);
        bool replaced = false;
        for (const auto& add : env)
            replaced = replaced || entry.compare(0, add.find('=') + 1, add, 0, add.find('=') + 1) == 0;
        if (!replaced)
            envStore.push_back(entry);
    }
    envStore.insert(envStore.end(), env.begin(), env.end());
    std::vector<char*> envp;
    for (auto& e : envStore)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, stdinPath.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, stdoutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, argStore[0].c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    return rc == 0 ? pid : -1;
}

// Waits for pid to end, at most timeoutMs. Answers true when it ended, with its status.
bool WaitPid(pid_t pid, int timeoutMs, int& status)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const pid_t r = waitpid(pid, &status, WNOHANG);
        if (r == pid || r < 0)
            return r == pid;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

int ExitStatusOf(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

DaemonProcess::DaemonProcess(const Config& config) : dir_(MakeTempDir())
{
    if (dir_.empty())
        return;
    const std::string script = dir_ + "/script.json";
    WriteFile(script, config.script);
    WriteFile(dir_ + "/calls.log", "");
    const std::string portFile = dir_ + "/port";

    dataDir_ = config.dataDir.empty() ? dir_ + "/data" : config.dataDir;
    std::vector<std::string> args = {"--listen", "127.0.0.1:0", "--port-file",
                                     portFile,   "--data-dir",  dataDir_};
    if (config.loadDoubleModule) {
        args.push_back("--module");
        args.push_back(KOVA_DOUBLE_MODULE_PATH);
    }
    args.insert(args.end(), config.args.begin(), config.args.end());
    std::vector<std::string> env = {"KOVA_DOUBLE_SCRIPT=" + script,
                                    "KOVA_DOUBLE_CALLS=" + dir_ + "/calls.log",
                                    "KOVA_ADMIN_PASSWORD=" + config.adminPassword};
    env.insert(env.end(), config.env.begin(), config.env.end());
    pid_ = Spawn(args, env, dir_ + "/stderr.log");
    if (pid_ < 0)
        return;

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(START_TIMEOUT_MS);
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            exited_ = true;
            exitStatus_ = ExitStatusOf(status);
            return;
        }
        const std::string text = ReadFile(portFile);
        if (!text.empty() && text.back() == '\n') {
            port_ = std::atoi(text.c_str());
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

DaemonProcess::~DaemonProcess()
{
    if (pid_ > 0 && !exited_)
        Stop();
    if (!dir_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
}

std::string LoginBody(const std::string& account, const std::string& password, const std::string& otp)
{
    Json::Value body;
    body["method"] = "login";
    body["account"] = account;
    body["passwd"] = password;
    if (!otp.empty())
        body["otp_code"] = otp;
    return KOVA::toString(body);
}

std::string DaemonProcess::Login(HttpClient& client, const std::string& account,
                                 const std::string& password) const
{
    const HttpResult r = client.Post(AuthUrl(), LoginBody(account, password));
    const std::string sid = r.Json()["data"]["sid"].asString();
    client.SetSession(sid);
    return sid;
}

std::string DaemonProcess::EntryUrl() const
{
    return BaseUrl() + "/webapi/entry";
}

std::string DaemonProcess::BaseUrl() const
{
    return "http://127.0.0.1:" + std::to_string(port_);
}

void DaemonProcess::Signal(int sig) const
{
    if (pid_ > 0 && !exited_)
        kill(pid_, sig);
}

int DaemonProcess::Wait(int timeoutMs)
{
    if (pid_ <= 0)
        return -1;
    if (exited_)
        return exitStatus_;
    int status = 0;
    if (!WaitPid(pid_, timeoutMs, status))
        return -1;
    exited_ = true;
    exitStatus_ = ExitStatusOf(status);
    return exitStatus_;
}

int DaemonProcess::Stop()
{
    if (pid_ <= 0)
        return -1;
    if (exited_)
        return exitStatus_;
    kill(pid_, SIGTERM);
    int status = 0;
    if (WaitPid(pid_, STOP_TIMEOUT_MS, status)) {
        exited_ = true;
        exitStatus_ = ExitStatusOf(status);
        return exitStatus_;
    }
    kill(pid_, SIGKILL);
    WaitPid(pid_, STOP_TIMEOUT_MS, status);
    exited_ = true;
    exitStatus_ = -1;
    return -1;
}

std::string DaemonProcess::Calls() const
{
    return ReadFile(dir_ + "/calls.log");
}

std::string DaemonProcess::CallsSince(size_t mark) const
{
    const std::string calls = Calls();
    return mark < calls.size() ? calls.substr(mark) : std::string();
}

std::string DaemonProcess::Stderr() const
{
    return ReadFile(dir_ + "/stderr.log");
}

bool DaemonProcess::WaitForStderr(const std::string& text, int timeoutMs) const
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (Stderr().find(text) != std::string::npos)
            return true;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

int RunProgram(const std::vector<std::string>& args, const std::string& stdinText, std::string* out,
               std::string* err)
{
    const std::string dir = MakeTempDir();
    if (dir.empty())
        return -1;
    WriteFile(dir + "/stdin", stdinText);
    const pid_t pid = Spawn(args, {}, dir + "/stderr.log", dir + "/stdin", dir + "/stdout.log");
    int result = -1;
    if (pid > 0) {
        int status = 0;
        if (WaitPid(pid, START_TIMEOUT_MS, status)) {
            result = ExitStatusOf(status);
        } else {
            kill(pid, SIGKILL);
            WaitPid(pid, STOP_TIMEOUT_MS, status);
        }
    }
    if (out)
        *out = ReadFile(dir + "/stdout.log");
    if (err)
        *err = ReadFile(dir + "/stderr.log");
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return result;
}

int RunDaemonToEnd(const std::vector<std::string>& args, std::string* stderrText)
{
    const std::string dir = MakeTempDir();
    if (dir.empty())
        return -1;
    std::vector<std::string> all = {"--data-dir", dir + "/data"};
    all.insert(all.end(), args.begin(), args.end());
    const pid_t pid = Spawn(all, {}, dir + "/stderr.log");
    int result = -1;
    if (pid > 0) {
        int status = 0;
        if (WaitPid(pid, START_TIMEOUT_MS, status)) {
            result = ExitStatusOf(status);
        } else {
            kill(pid, SIGKILL);
            WaitPid(pid, STOP_TIMEOUT_MS, status);
        }
    }
    if (stderrText)
        *stderrText = ReadFile(dir + "/stderr.log");
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return result;
}

} // namespace KOVATest
