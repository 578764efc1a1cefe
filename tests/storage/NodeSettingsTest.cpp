// The local node's status, keys and settings on a temporary data directory: defaults, range
// checks, values kept across a restart of the library, and the lines they leave in the log.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBNode.h>
#include <iscsi/ISCSILIBTarget.h>
#include <iscsi/ISCSILogInfo.h>
#include <iscsi/ISCSINodeInfo.h>

#include "StorageTestSupport.h"
#include "context/LibraryContext.h"
#include "node/NodeSettings.h"
#include "target/TargetEngineHooks.h"
#include "target/TgtDaemon.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace {

using ISCSI::ISCSILogInfo;
using ISCSI::ISCSINodeInfo;
using ISCSI::LIB::LIBNode::ISCSILIBNode;
using namespace KovaStorageTest;

bool IsLowerHex(const std::string& text, std::size_t length)
{
    if (text.size() != length)
        return false;
    for (char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c)) && (c < 'a' || c > 'f'))
            return false;
    return true;
}

class NodeSettingsTest : public StorageLibraryTest {
protected:
    NodeSettingsTest() : StorageLibraryTest("node") {}

    void SetUp() override
    {
        setenv("KOVA_TGTD", "off", 1);
        StorageLibraryTest::SetUp();
    }

    void TearDown() override
    {
        StorageLibraryTest::TearDown();
        unsetenv("KOVA_TGTD");
        unsetenv("KOVA_ISCSI_PORTAL");
    }

    // Restarts the library over the data directory root_/name.
    void Use(const std::string& name)
    {
        setenv("KOVA_TGTD", "off", 1);
        UseVolumes({root_ + "/vol1"}, name);
    }

    static std::vector<std::string> LogMessages()
    {
        std::vector<ISCSILogInfo> logs;
        std::map<std::string, unsigned long long> counts;
        EXPECT_EQ(0, ISCSILogInfo::ListLog(0, -1, 0, -1, -1, {}, "", logs, counts));
        std::vector<std::string> messages;
        for (const ISCSILogInfo& line : logs)
            messages.push_back(line.message);
        return messages;
    }

    static bool EngineRunning()
    {
        bool running = false;
        LibraryContext::With([&running](LibraryContext& ctx) {
            running = ISCSI::Storage::TargetEngineRunning(ctx);
            return 0;
        });
        return running;
    }
};

TEST_F(NodeSettingsTest, DefaultsBeforeAnythingIsSet)
{
    ISCSILIBNode node;
    EXPECT_TRUE(node.node.is_local_node);
    bool enabled = true;
    std::string address = "x";
    ASSERT_EQ(0, node.getIsnsInfo(enabled, address));
    EXPECT_FALSE(enabled);
    EXPECT_EQ("", address);
    int length = -1;
    ASSERT_EQ(0, node.getIoQueueLength(length));
    EXPECT_EQ(128, length);
    _tag_ep_buffer_unmap_mode_ mode = EP_BUFFER_UNMAP_MODE_NONE;
    ASSERT_EQ(0, node.getEpUnmapBufMode(mode));
    EXPECT_EQ(EP_BUFFER_UNMAP_MODE_2, mode);
    unsigned long long threshold = 7;
    ASSERT_EQ(0, node.getTpHardThreshold(threshold));
    EXPECT_EQ(0u, threshold);
    bool promote = false;
    ASSERT_EQ(0, node.getPromoteStorageConsole(promote));
    EXPECT_TRUE(promote);
}

TEST_F(NodeSettingsTest, SettingsAreKeptAcrossARestart)
{
    ISCSILIBNode node;
    ASSERT_EQ(0, node.setIsnsInfo(true, "127.0.0.3"));
    ASSERT_EQ(0, node.setIoQueueLength(64));
    ASSERT_EQ(0, node.setEpUnmapBufMode(1));
    ASSERT_EQ(0, node.setTpHardThreshold(5000000000ULL));
    ASSERT_EQ(0, node.setPromoteStorageConsole(false));
    LibraryContext::Reset();

    ISCSILIBNode after;
    bool enabled = false;
    std::string address;
    ASSERT_EQ(0, after.getIsnsInfo(enabled, address));
    EXPECT_TRUE(enabled);
    EXPECT_EQ("127.0.0.3", address);
    int length = 0;
    ASSERT_EQ(0, after.getIoQueueLength(length));
    EXPECT_EQ(64, length);
    _tag_ep_buffer_unmap_mode_ mode = EP_BUFFER_UNMAP_MODE_2;
    ASSERT_EQ(0, after.getEpUnmapBufMode(mode));
    EXPECT_EQ(EP_BUFFER_UNMAP_MODE_1, mode);
    unsigned long long threshold = 0;
    ASSERT_EQ(0, after.getTpHardThreshold(threshold));
    EXPECT_EQ(5000000000ULL, threshold);
    bool promote = true;
    ASSERT_EQ(0, after.getPromoteStorageConsole(promote));
    EXPECT_FALSE(promote);

    // The engine reads the same stored iSNS setting when it starts.
    bool stored = false;
    std::string storedAddress;
    ASSERT_EQ(0, LibraryContext::With([&](LibraryContext& ctx) {
                  return ISCSI::Storage::LoadIsnsSetting(ctx.db(), stored, storedAddress);
              }));
    EXPECT_TRUE(stored);
    EXPECT_EQ("127.0.0.3", storedAddress);

    // The largest threshold is kept exactly.
    ASSERT_EQ(0, after.setTpHardThreshold(18446744073709551615ULL));
    LibraryContext::Reset();
    ASSERT_EQ(0, after.getTpHardThreshold(threshold));
    EXPECT_EQ(18446744073709551615ULL, threshold);
}

TEST_F(NodeSettingsTest, RangesAreCheckedAndARefusedValueChangesNothing)
{
    ISCSILIBNode node;
    EXPECT_EQ(ISCSI::ISCSI_ERR_IO_QUEUE_LENGTH, node.setIoQueueLength(0));
    EXPECT_EQ(ISCSI::ISCSI_ERR_IO_QUEUE_LENGTH, node.setIoQueueLength(-5));
    EXPECT_EQ(ISCSI::ISCSI_ERR_IO_QUEUE_LENGTH, node.setIoQueueLength(4097));
    int length = 0;
    ASSERT_EQ(0, node.getIoQueueLength(length));
    EXPECT_EQ(128, length);
    EXPECT_EQ(0, node.setIoQueueLength(1));
    EXPECT_EQ(0, node.setIoQueueLength(4096));
    ASSERT_EQ(0, node.getIoQueueLength(length));
    EXPECT_EQ(4096, length);

    EXPECT_EQ(ISCSI::ISCSI_ERR_EP_UNMAP_BUF_MODE, node.setEpUnmapBufMode(3));
    EXPECT_EQ(ISCSI::ISCSI_ERR_EP_UNMAP_BUF_MODE, node.setEpUnmapBufMode(-1));
    _tag_ep_buffer_unmap_mode_ mode = EP_BUFFER_UNMAP_MODE_NONE;
    ASSERT_EQ(0, node.getEpUnmapBufMode(mode));
    EXPECT_EQ(EP_BUFFER_UNMAP_MODE_2, mode);
    EXPECT_EQ(0, node.setEpUnmapBufMode(0));
    ASSERT_EQ(0, node.getEpUnmapBufMode(mode));
    EXPECT_EQ(EP_BUFFER_UNMAP_MODE_NONE, mode);
}

TEST_F(NodeSettingsTest, IsnsAddressIsCheckedAndRequiredWhenEnabled)
{
    ISCSILIBNode node;
    for (const char* bad : {"", "isns.example.com", "10.0.0.1:3205", "999.1.1.1", "1.2.3", "[::1]", "zz::1",
                            " 10.0.0.1", "10.0.0.1 "})
        EXPECT_EQ(ISCSI::ISCSI_ERR_ISNS_ADDRESS, node.setIsnsInfo(true, bad)) << bad;
    EXPECT_EQ(ISCSI::ISCSI_ERR_ISNS_ADDRESS, node.setIsnsInfo(false, "not valid!"));
    bool enabled = true;
    std::string address = "x";
    ASSERT_EQ(0, node.getIsnsInfo(enabled, address));
    EXPECT_FALSE(enabled);
    EXPECT_EQ("", address);

    for (const char* good : {"127.0.0.2", "::1", "127.0.0.1"})
        EXPECT_EQ(0, node.setIsnsInfo(true, good)) << good;
    ASSERT_EQ(0, node.getIsnsInfo(enabled, address));
    EXPECT_TRUE(enabled);
    EXPECT_EQ("127.0.0.1", address);

    // Disabled, the address may be empty.
    ASSERT_EQ(0, node.setIsnsInfo(false, ""));
    ASSERT_EQ(0, node.getIsnsInfo(enabled, address));
    EXPECT_FALSE(enabled);
    EXPECT_EQ("", address);
}

TEST_F(NodeSettingsTest, ChangesWriteLogLines)
{
    ISCSILIBNode node;
    ASSERT_EQ(0, node.setIoQueueLength(32));
    ASSERT_EQ(0, node.setIsnsInfo(true, "127.0.0.9"));
    ASSERT_EQ(0, node.setIsnsInfo(false, ""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_IO_QUEUE_LENGTH, node.setIoQueueLength(0));
    const std::vector<std::string> messages = LogMessages();
    EXPECT_EQ((std::vector<std::string>{"iSNS was disabled.", "iSNS was enabled with the server 127.0.0.9.",
                                        "The I/O queue length was set to 32."}),
              messages);
}

TEST_F(NodeSettingsTest, RodKeyIsMadeOnceKeptAndDiffersPerNode)
{
    ISCSINodeInfo local;
    std::string key;
    ASSERT_EQ(0, local.loadLocalRodKey(key));
    EXPECT_TRUE(IsLowerHex(key, 64)) << key;
    std::string again;
    ASSERT_EQ(0, local.loadLocalRodKey(again));
    EXPECT_EQ(key, again);
    LibraryContext::Reset();
    ASSERT_EQ(0, local.loadLocalRodKey(again));
    EXPECT_EQ(key, again);

    Use("other-node");
    std::string other;
    ASSERT_EQ(0, local.loadLocalRodKey(other));
    EXPECT_TRUE(IsLowerHex(other, 64));
    EXPECT_NE(key, other);
}

TEST_F(NodeSettingsTest, IqnHashKeyIsMadeOnceAndKept)
{
    ISCSILIBNode node;
    std::string key;
    ASSERT_EQ(0, node.getIqnHashKey(key));
    EXPECT_TRUE(IsLowerHex(key, 32)) << key;
    LibraryContext::Reset();
    std::string again;
    ASSERT_EQ(0, node.getIqnHashKey(again));
    EXPECT_EQ(key, again);
    std::string rodKey;
    ASSERT_EQ(0, ISCSINodeInfo().loadLocalRodKey(rodKey));
    EXPECT_EQ(std::string::npos, rodKey.find(key));
}

// A TCP port of 127.0.0.1 that nothing listens on now (the kernel picks it), or 0.
int FreeLoopbackPort()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return 0;
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof addr;
    int port = 0;
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) == 0)
        port = ntohs(addr.sin_port);
    close(fd);
    return port;
}

TEST_F(NodeSettingsTest, StatusShowsTheDataPathDownWithoutTheTargetEngine)
{
    ASSERT_FALSE(EngineRunning());
    EXPECT_EQ(ISCSI::ISCSI_NODE_STATUS_DAEMON_DEAD, ISCSILIBNode().getStatus());
    Json::Value plugins;
    ASSERT_EQ(0, ISCSILIBNode().getPluginInfo(plugins));
    EXPECT_FALSE(plugins["target_engine"]["running"].asBool());
}

// Starts tgtd through the library on a free loopback port, reads the status, and stops it again.
// Answers what went wrong, or "".
std::string RunStatusWithTargetEngine()
{
    const int port = FreeLoopbackPort();
    if (port == 0)
        return "no free port on 127.0.0.1";
    setenv("KOVA_TGTD", "/usr/sbin/tgtd", 1);
    setenv("KOVA_ISCSI_PORTAL", ("127.0.0.1:" + std::to_string(port)).c_str(), 1);
    LibraryContext::Reset();
    std::string failure;
    // tgtd runs from the first enabled target on; before it, an installed tgtd is a data path
    // that is up.
    if (ISCSILIBNode().getStatus() != ISCSI::ISCSI_NODE_STATUS_OK)
        failure = "status is not OK before any target, with tgtd installed";
    ISCSI::LIB::LIBTarget::ISCSILIBTarget target("status", "iqn.2026-11.org.example:node-status", true, false,
                                                 false, 262144, 262144, 1, ISCSI_AUTH_TYPE_NONE, "", "", "",
                                                 "", false);
    const int created = target.createTarget();
    Json::Value plugins;
    if (failure.empty() && created != 0)
        failure = "createTarget answered " + std::to_string(created);
    else if (failure.empty() && ISCSILIBNode().getStatus() != ISCSI::ISCSI_NODE_STATUS_OK)
        failure = "status is not OK while tgtd runs";
    else if (failure.empty() &&
             (ISCSILIBNode().getPluginInfo(plugins) != 0 || !plugins["target_engine"]["running"].asBool()))
        failure = "plugin_info does not show the target engine running";
    // Stopped with the library; without tgtd the same configuration shows the data path down.
    setenv("KOVA_TGTD", "off", 1);
    LibraryContext::Reset();
    if (failure.empty() && ISCSILIBNode().getStatus() != ISCSI::ISCSI_NODE_STATUS_DAEMON_DEAD)
        failure = "status is not DAEMON_DEAD after tgtd stopped";
    LibraryContext::Reset();
    return failure;
}

// Runs in a child process (a death test), which ends with _exit: a process that has started tgtd
// through the library is not ended through the exit handlers here.
TEST_F(NodeSettingsTest, StatusIsOkWhileTheTargetEngineRuns)
{
    std::string why;
    if (geteuid() != 0)
        why = "needs root";
    else if (!ISCSI::Storage::Target::TgtDaemon::Installed("/usr/sbin/tgtd", why) && why.empty())
        why = "tgtd is not installed";
    if (!why.empty()) {
        std::printf("SKIPPED: %s\n", why.c_str());
        GTEST_SKIP() << why;
    }
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const std::string failure = RunStatusWithTargetEngine();
            std::error_code ec;
            fs::remove_all(root_, ec);
            std::fprintf(stderr, "%s\n", failure.empty() ? "status checks passed" : failure.c_str());
            std::fflush(stderr);
            _exit(failure.empty() ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "status checks passed");
}

TEST_F(NodeSettingsTest, StatusIsUnknownWhenTheLibraryCannotStart)
{
    LibraryContext::Reset();
    setenv("KOVA_VOLUMES", "not a volume list", 1);
    EXPECT_EQ(ISCSI::ISCSI_NODE_STATUS_UNKNOWN, ISCSILIBNode().getStatus());
    std::string key;
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_STARTED, ISCSINodeInfo().loadLocalRodKey(key));
}

TEST_F(NodeSettingsTest, IscsiDirPathOfAVolume)
{
    ISCSILIBNode node;
    std::string path;
    ASSERT_EQ(0, node.getIscsiDirPath("/volume1", path));
    EXPECT_EQ("/volume1/@iscsi", path);
    path.clear();
    ASSERT_EQ(0, node.getIscsiDirPath("/volume1/", path));
    EXPECT_EQ("/volume1/@iscsi", path);
    path = "unchanged";
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_A_VOLUME, node.getIscsiDirPath("/volume2", path));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_A_VOLUME, node.getIscsiDirPath("", path));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_A_VOLUME, node.getIscsiDirPath("/volume1/dir", path));
    EXPECT_EQ("unchanged", path);
}

TEST_F(NodeSettingsTest, EpBufferAndPluginInfo)
{
    ISCSILIBNode node;
    Json::Value mapped;
    ASSERT_EQ(0, node.getEpBufMapSize(mapped));
    ASSERT_TRUE(mapped.isArray());
    ASSERT_EQ(1u, mapped.size());
    EXPECT_EQ("/volume1", mapped[0]["root_path"].asString());
    EXPECT_TRUE(mapped[0]["mapped_size"].isUInt64());
    EXPECT_EQ(0u, mapped[0]["mapped_size"].asUInt64());

    Json::Value plugins;
    ASSERT_EQ(0, node.getPluginInfo(plugins));
    EXPECT_EQ("tgtd", plugins["target_engine"]["name"].asString());
    ASSERT_TRUE(plugins["target_engine"]["running"].isBool());
    EXPECT_EQ(EngineRunning(), plugins["target_engine"]["running"].asBool());
    EXPECT_EQ(ISCSI::Storage::ConfigDB::kSchemaVersion, plugins["config_schema_version"].asInt());
}

TEST_F(NodeSettingsTest, RemoteNodeOperationsAreNotOfferedYet)
{
    ISCSILIBNode remote("uuid", "host", 5000, "https", "key", "admin", "pw", "");
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_AVAILABLE, remote.createNode());
    EXPECT_FALSE(remote.node.is_local_node);
    EXPECT_EQ("pw", remote.node.password);
}

} // namespace
