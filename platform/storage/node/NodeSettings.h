// The local node's settings and keys: rows of the table node_settings (name, value as text).
// A name without a row has its default. Keys are made from the system's random source the
// first time they are asked for, and kept.
#pragma once

#include <string>

namespace ISCSI {
namespace Storage {

class ConfigDB;

// Names of the rows, and the defaults of the settings.
constexpr const char* kSettingRodKey = "rod_key";
constexpr const char* kSettingIqnHashKey = "iqn_hash_key";
constexpr const char* kSettingIsnsEnabled = "isns_enabled"; // "1" or "0"
constexpr const char* kSettingIsnsAddress = "isns_address";
constexpr const char* kSettingIoQueueLength = "io_queue_length";
constexpr const char* kSettingEpUnmapBufMode = "ep_unmap_buf_mode";
constexpr const char* kSettingTpHardThreshold = "tp_hard_threshold_bytes";
constexpr const char* kSettingPromoteStorageConsole = "promote_storage_console"; // "1" or "0"

constexpr int kDefaultIoQueueLength = 128;
constexpr int kMinIoQueueLength = 1;
constexpr int kMaxIoQueueLength = 4096;
constexpr int kDefaultEpUnmapBufMode = 2;
constexpr unsigned long long kDefaultTpHardThreshold = 0; // no threshold
constexpr bool kDefaultPromoteStorageConsole = true;

// Bytes of randomness of the keys; the keys are written as lower-case hex (twice as long).
constexpr int kRodKeyBytes = 32;
constexpr int kIqnHashKeyBytes = 16;

// The value of a setting: 0 with found set, 0 with found false when there is no row, or
// ISCSI_ERR_DATABASE.
int LoadSetting(ConfigDB& db, const std::string& name, std::string& value, bool& found);
// Writes a setting, inside the caller's transaction. 0 or ISCSI_ERR_DATABASE.
int StoreSetting(ConfigDB& db, const std::string& name, const std::string& value);
// The key kept under name, made from `bytes` random bytes when there is none yet (in its own
// transaction). 0, ISCSI_ERR_DATABASE, or ISCSI_ERR_NOT_AVAILABLE when no randomness can be had.
int LoadOrMakeKey(ConfigDB& db, const std::string& name, int bytes, std::string& key);

// The stored iSNS setting (disabled and no address until set). 0 or ISCSI_ERR_DATABASE.
int LoadIsnsSetting(ConfigDB& db, bool& enabled, std::string& address);

// Whether text is an iSNS server address as tgtd takes it (iSNSServerIP): an IPv4 or an IPv6
// address; tgtd reaches the server on the iSNS port 3205.
bool IsValidIsnsAddress(const std::string& text);

// count random bytes from the system's random source as lower-case hex; false when it fails.
bool RandomHex(int count, std::string& hex);

} // namespace Storage
} // namespace ISCSI
