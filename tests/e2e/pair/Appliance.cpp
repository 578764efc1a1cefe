#include "Appliance.h"

#include <kova/JsonText.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

extern char** environ;

namespace KOVAPairTest {
namespace {

std::string ReadText(const std::string& path)
{
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Waits up to timeoutMs for pid to end; true when it did.
bool WaitFor(pid_t pid, int timeoutMs)
{
    for (int waited = 0; waited <= timeoutMs; waited += 20) {
        int status = 0;
        if (waitpid(pid, &status, WNOHANG) == pid)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

} // namespace

Appliance::Appliance(const std::string& address, const std::string& adminPassword, bool tls)
    : address_(address), password_(adminPassword), tls_(tls)
{
    char pattern[] = "/tmp/kova-pair-XXXXXX";
    const char* made = mkdtemp(pattern);
    dir_ = made ? made : "";
    dataDir_ = dir_ + "/data";
}

Appliance::~Appliance()
{
    Stop();
    std::error_code ec;
    if (!dir_.empty())
        std::filesystem::remove_all(dir_, ec);
}

bool Appliance::Start()
{
    if (pid_ > 0 || dir_.empty())
        return pid_ > 0;
    const std::string portFile = dir_ + "/port";
    const std::string tlsPortFile = dir_ + "/tls-port";
    std::remove(portFile.c_str());
    std::remove(tlsPortFile.c_str());
    // The ports of the first start are kept, so that other nodes find a restarted one.
    std::vector<std::string> args = {KOVA_WEBAPID_PATH,
                                     "--module",
                                     KOVA_REAL_MODULE_PATH,
                                     "--listen",
                                     address_ + ":" + std::to_string(httpPort_),
                                     "--port-file",
                                     portFile,
                                     "--data-dir",
                                     dataDir_,
                                     "--node-source",
                                     address_,
                                     "--iscsi-portal",
                                     address_ + ":3260",
                                     "--replication-listen",
                                     address_ + ":3261",
                                     "--keep-alive-timeout",
                                     "2",
                                     "--quiet"};
    if (tls_) {
        args.insert(args.end(), {"--listen-tls", address_ + ":" + std::to_string(tlsPort_),
                                 "--tls-self-signed", "--tls-port-file", tlsPortFile});
    }
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    std::vector<std::string> envStore = {"KOVA_TGTD=off", "KOVA_ADMIN_PASSWORD=" + password_};
    for (char** e = environ; *e; ++e) {
        const std::string entry(*e);
        if (entry.rfind("KOVA_", 0) != 0)
            envStore.push_back(entry);
    }
    if (const char* lifetime = std::getenv("KOVA_NODE_SESSION_LIFETIME"))
        envStore.push_back(std::string("KOVA_NODE_SESSION_LIFETIME=") + lifetime);
    std::vector<char*> envp;
    for (auto& e : envStore)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    const std::string stderrPath = dir_ + "/stderr.log";
    const pid_t pid = fork();
    if (pid == 0) {
        const int err = open(stderrPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, 0);
        dup2(null, 1);
        dup2(err, 2);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    if (pid < 0)
        return false;
    pid_ = pid;
    for (int waited = 0; waited < 20000; waited += 20) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return false;
        }
        const std::string port = ReadText(portFile);
        const std::string tlsPort = tls_ ? ReadText(tlsPortFile) : std::string("0\n");
        if (!port.empty() && port.back() == '\n' && !tlsPort.empty() && tlsPort.back() == '\n') {
            httpPort_ = std::atoi(port.c_str());
            tlsPort_ = std::atoi(tlsPort.c_str());
            sid_.clear();
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    Stop();
    return false;
}

void Appliance::Stop()
{
    if (pid_ <= 0)
        return;
    kill(pid_, SIGTERM);
    if (!WaitFor(pid_, 10000)) {
        kill(pid_, SIGKILL);
        WaitFor(pid_, 5000);
    }
    pid_ = -1;
}

std::string Appliance::Stderr() const
{
    return ReadText(dir_ + "/stderr.log");
}

Json::Value Appliance::Call(const std::string& api, const std::string& method, const Json::Value& params)
{
    const std::string base = "http://" + address_ + ":" + std::to_string(httpPort_) + "/webapi/";
    if (sid_.empty()) {
        Json::Value login(Json::objectValue);
        login["method"] = "login";
        login["account"] = "admin";
        login["passwd"] = password_;
        sid_ = client_.Post(base + "auth", KOVA::toString(login)).Json()["data"]["sid"].asString();
        client_.SetSession(sid_);
    }
    Json::Value body(Json::objectValue);
    body["api"] = api;
    body["version"] = 1;
    body["method"] = method;
    body["params"] = params;
    return client_.Post(base + "entry", KOVA::toString(body)).Json();
}

} // namespace KOVAPairTest
