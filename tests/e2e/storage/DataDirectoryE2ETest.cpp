// The data directory of the real daemon with the real storage library: the directory and the
// files that hold secrets (the configuration database with CHAP secrets and node keys, the
// account database, the generated admin password) are private to the daemon's user from the
// first start, and again after a restart that finds them wider.
#include "RealDaemonTest.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace KOVATest;

namespace {

namespace fs = std::filesystem;

unsigned ModeOf(const std::string& path)
{
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0xffff;
}

// Starts the daemon over dataDir, logs in with the generated admin password and makes a LUN,
// so that the storage library has opened its database.
void StartAndUse(const std::string& dataDir, const std::string& lunName)
{
    DaemonProcess::Config config;
    config.loadDoubleModule = false;
    config.args = {"--module", KOVA_REAL_MODULE_PATH};
    config.dataDir = dataDir;
    config.adminPassword.clear(); // generated into DATA-DIR/admin-password
    DaemonProcess daemon(config);
    ASSERT_TRUE(daemon.Running()) << daemon.Stderr();
    std::string password = ReadFile(dataDir + "/admin-password");
    while (!password.empty() && password.back() == '\n')
        password.pop_back();
    HttpClient client;
    ASSERT_FALSE(daemon.Login(client, "admin", password).empty()) << daemon.Stderr();
    const Json::Value reply =
        client
            .Post(daemon.EntryUrl(), CallBody("KOVA.Core.ISCSI.LUN", "create",
                                              R"({"name":")" + lunName +
                                                  R"(","type":"THIN","location":"/volume1","size":1048576})"))
            .Json();
    ASSERT_TRUE(reply["success"].asBool()) << reply.toStyledString();

    // While it runs: the directory 0700, every file in it 0600, the databases' -wal and -shm
    // files included.
    EXPECT_EQ(0700u, ModeOf(dataDir));
    for (const char* name : {"iscsi.db", "iscsi.db-wal", "iscsi.db-shm", "webapi.db", "admin-password"})
        EXPECT_EQ(0600u, ModeOf(dataDir + "/" + name)) << name;
    for (const auto& entry : fs::directory_iterator(dataDir)) {
        if (entry.is_regular_file()) {
            EXPECT_EQ(0u, ModeOf(entry.path().string()) & 077) << entry.path();
        }
    }
    EXPECT_EQ(0, daemon.Stop());
}

TEST(DataDirectoryE2ETest, SecretsArePrivateFromTheFirstStartAndAfterARestart)
{
    char pattern[] = "/tmp/kova-datadir-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    const std::string root = fs::canonical(pattern).string();
    const std::string dataDir = root + "/data";
    ::umask(022); // as a shell would start it
    StartAndUse(dataDir, "first");

    // Opened up by hand (or by an earlier version): the next start closes them again.
    ::chmod(dataDir.c_str(), 0755);
    for (const auto& entry : fs::directory_iterator(dataDir)) {
        if (entry.is_regular_file())
            ::chmod(entry.path().c_str(), 0644);
    }
    ASSERT_EQ(0644u, ModeOf(dataDir + "/iscsi.db"));
    StartAndUse(dataDir, "second");

    std::error_code ec;
    fs::remove_all(root, ec);
}

} // namespace
