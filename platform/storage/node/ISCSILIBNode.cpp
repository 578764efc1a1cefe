// The local node's status and settings (ISCSI::LIB::LIBNode::ISCSILIBNode, local side), and
// the local rod key. Remote nodes, sessions and subvolume conversion are in
// pending/ISCSILIBNode.cpp and pending/ISCSINodeInfo.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBNode.h>
#include <iscsi/ISCSINodeInfo.h>

#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "log/ServiceLog.h"
#include "node/NodeSettings.h"
#include "target/TargetEngineHooks.h"

#include <cerrno>
#include <cstdlib>
#include <string>

namespace ISCSI {
namespace LIB {
namespace LIBNode {
namespace {

using Storage::ConfigDB;
using Storage::LibraryContext;
using Storage::Transaction;

// A stored integer setting, or dflt when it was never set. 0 or ISCSI_ERR_DATABASE.
int LoadNumber(ConfigDB& db, const char* name, unsigned long long dflt, unsigned long long& value)
{
    std::string text;
    bool found = false;
    const int rc = Storage::LoadSetting(db, name, text, found);
    if (rc != 0)
        return rc;
    if (!found) {
        value = dflt;
        return 0;
    }
    errno = 0;
    char* end = nullptr;
    const unsigned long long parsed = std::strtoull(text.c_str(), &end, 10);
    // A row that is no number is a damaged database.
    if (text.empty() || errno != 0 || !end || *end != '\0')
        return ISCSI_ERR_DATABASE;
    value = parsed;
    return 0;
}

int LoadFlag(ConfigDB& db, const char* name, bool dflt, bool& value)
{
    unsigned long long number = 0;
    const int rc = LoadNumber(db, name, dflt ? 1 : 0, number);
    if (rc == 0)
        value = number != 0;
    return rc;
}

// Writes one setting with a line for the service log, in one transaction.
int StoreWithLogLine(const char* name, const std::string& value, const std::string& message)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        ConfigDB& db = ctx.db();
        Transaction tx(db);
        if (!tx.begun())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        const int rc = Storage::StoreSetting(db, name, value);
        if (rc != 0)
            return rc;
        Storage::WriteServiceLog(db, "info", "SYSTEM", message);
        return tx.commit() ? 0 : static_cast<int>(ISCSI_ERR_DATABASE);
    });
}

} // namespace

ISCSILIBNode::ISCSILIBNode()
{
    node.is_local_node = true;
}

ISCSILIBNode::ISCSILIBNode(const std::string& uuid, const std::string& hostname, unsigned short port,
                           const std::string& protocol, const std::string& rodKey, const std::string& account,
                           const std::string& password, const std::string& otpCode)
    : node(uuid, std::string(), hostname, port, protocol, rodKey, account, false)
{
    node.password = password;
    node.otp_code = otpCode;
}

ISCSILIBNode::~ISCSILIBNode() = default;

int ISCSILIBNode::getStatus() const
{
    // The data path is down when the target engine does not run: the daemon is dead.
    int status = ISCSI::ISCSI_NODE_STATUS_UNKNOWN;
    LibraryContext::With([&status](LibraryContext& ctx) {
        status = Storage::TargetEngineRunning(ctx) ? ISCSI::ISCSI_NODE_STATUS_OK
                                                   : ISCSI::ISCSI_NODE_STATUS_DAEMON_DEAD;
        return 0;
    });
    return status;
}

int ISCSILIBNode::getIscsiDirPath(const std::string& iscsiDirRootPath, std::string& iscsiDirPath)
{
    std::string root = iscsiDirRootPath;
    while (root.size() > 1 && root.back() == '/')
        root.pop_back();
    return LibraryContext::With([&](LibraryContext& ctx) {
        if (ctx.volumeDir(root).empty())
            return static_cast<int>(ISCSI_ERR_NOT_A_VOLUME);
        // The LUN files of a volume lie in its "@iscsi" directory (LibraryContext::LunDir).
        iscsiDirPath = root + "/@iscsi";
        return 0;
    });
}

int ISCSILIBNode::getIsnsInfo(bool& isnsEnabled, std::string& isnsAddress)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        bool enabled = false;
        std::string address;
        const int rc = Storage::LoadIsnsSetting(ctx.db(), enabled, address);
        if (rc == 0) {
            isnsEnabled = enabled;
            isnsAddress = address;
        }
        return rc;
    });
}

int ISCSILIBNode::getIoQueueLength(int& ioQueueLength)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        unsigned long long value = 0;
        const int rc = LoadNumber(ctx.db(), Storage::kSettingIoQueueLength,
                                  static_cast<unsigned long long>(Storage::kDefaultIoQueueLength), value);
        if (rc == 0)
            ioQueueLength = static_cast<int>(value);
        return rc;
    });
}

int ISCSILIBNode::getIqnHashKey(std::string& iqnHashKey)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        return Storage::LoadOrMakeKey(ctx.db(), Storage::kSettingIqnHashKey, Storage::kIqnHashKeyBytes,
                                      iqnHashKey);
    });
}

int ISCSILIBNode::getEpBufMapSize(Json::Value& epBufMappedSize)
{
    // tgtd reads and writes the LUN files itself: this node maps no EP buffer, so every volume
    // reports 0 bytes mapped.
    return LibraryContext::With([&](LibraryContext& ctx) {
        Json::Value out(Json::arrayValue);
        for (const auto& volume : ctx.volumes()) {
            Json::Value entry(Json::objectValue);
            entry["root_path"] = volume.first;
            entry["mapped_size"] = static_cast<Json::UInt64>(0);
            out.append(entry);
        }
        epBufMappedSize = out;
        return 0;
    });
}

int ISCSILIBNode::getEpUnmapBufMode(_tag_ep_buffer_unmap_mode_& epUnmapBufMode)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        unsigned long long value = 0;
        const int rc = LoadNumber(ctx.db(), Storage::kSettingEpUnmapBufMode,
                                  static_cast<unsigned long long>(Storage::kDefaultEpUnmapBufMode), value);
        if (rc == 0)
            epUnmapBufMode = static_cast<_tag_ep_buffer_unmap_mode_>(value);
        return rc;
    });
}

int ISCSILIBNode::getTpHardThreshold(unsigned long long& tpHardThresholdBytes)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        return LoadNumber(ctx.db(), Storage::kSettingTpHardThreshold, Storage::kDefaultTpHardThreshold,
                          tpHardThresholdBytes);
    });
}

int ISCSILIBNode::getPluginInfo(Json::Value& pluginInfo)
{
    // The parts this node's iSCSI service runs on, with their state.
    return LibraryContext::With([&](LibraryContext& ctx) {
        Json::Value out(Json::objectValue);
        out["target_engine"]["name"] = "tgtd";
        out["target_engine"]["running"] = Storage::TargetEngineRunning(ctx);
        out["config_schema_version"] = ctx.db().schemaVersion();
        pluginInfo = out;
        return 0;
    });
}

int ISCSILIBNode::getPromoteStorageConsole(bool& promoteStorageConsole)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        return LoadFlag(ctx.db(), Storage::kSettingPromoteStorageConsole,
                        Storage::kDefaultPromoteStorageConsole, promoteStorageConsole);
    });
}

int ISCSILIBNode::setIsnsInfo(bool isnsEnabled, const std::string& isnsAddress)
{
    // Enabled needs a server; a disabled setting may keep an address, which must then be valid.
    if ((isnsEnabled || !isnsAddress.empty()) && !Storage::IsValidIsnsAddress(isnsAddress))
        return ISCSI_ERR_ISNS_ADDRESS;
    return LibraryContext::With([&](LibraryContext& ctx) {
        ConfigDB& db = ctx.db();
        Transaction tx(db);
        if (!tx.begun())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        int rc = Storage::StoreSetting(db, Storage::kSettingIsnsEnabled, isnsEnabled ? "1" : "0");
        if (rc == 0)
            rc = Storage::StoreSetting(db, Storage::kSettingIsnsAddress, isnsAddress);
        if (rc != 0)
            return rc;
        // Applied before the commit: when tgtd refuses it, the stored setting stays as it was.
        rc = Storage::ApplyIsnsToTargetEngine(ctx, isnsEnabled, isnsAddress);
        if (rc != 0)
            return rc;
        Storage::WriteServiceLog(db, "info", "SYSTEM",
                                 isnsEnabled ? "iSNS was enabled with the server " + isnsAddress + "."
                                             : std::string("iSNS was disabled."));
        return tx.commit() ? 0 : static_cast<int>(ISCSI_ERR_DATABASE);
    });
}

int ISCSILIBNode::setIoQueueLength(int ioQueueLength)
{
    if (ioQueueLength < Storage::kMinIoQueueLength || ioQueueLength > Storage::kMaxIoQueueLength)
        return ISCSI_ERR_IO_QUEUE_LENGTH;
    return StoreWithLogLine(Storage::kSettingIoQueueLength, std::to_string(ioQueueLength),
                            "The I/O queue length was set to " + std::to_string(ioQueueLength) + ".");
}

int ISCSILIBNode::setEpUnmapBufMode(int epUnmapBufMode)
{
    if (epUnmapBufMode < EP_BUFFER_UNMAP_MODE_NONE || epUnmapBufMode > EP_BUFFER_UNMAP_MODE_2)
        return ISCSI_ERR_EP_UNMAP_BUF_MODE;
    return StoreWithLogLine(Storage::kSettingEpUnmapBufMode, std::to_string(epUnmapBufMode),
                            "The EP buffer unmap mode was set to " + std::to_string(epUnmapBufMode) + ".");
}

int ISCSILIBNode::setTpHardThreshold(unsigned long long tpHardThresholdBytes)
{
    return StoreWithLogLine(Storage::kSettingTpHardThreshold, std::to_string(tpHardThresholdBytes),
                            "The thin provisioning hard threshold was set to " +
                                std::to_string(tpHardThresholdBytes) + " bytes.");
}

int ISCSILIBNode::setPromoteStorageConsole(bool promoteStorageConsole)
{
    return StoreWithLogLine(Storage::kSettingPromoteStorageConsole, promoteStorageConsole ? "1" : "0",
                            promoteStorageConsole ? "The storage console is promoted."
                                                  : "The storage console is no longer promoted.");
}

} // namespace LIBNode
} // namespace LIB

int ISCSINodeInfo::loadLocalRodKey(std::string& rodKey) const
{
    return Storage::LibraryContext::With([&](Storage::LibraryContext& ctx) {
        return Storage::LoadOrMakeKey(ctx.db(), Storage::kSettingRodKey, Storage::kRodKeyBytes, rodKey);
    });
}

} // namespace ISCSI
