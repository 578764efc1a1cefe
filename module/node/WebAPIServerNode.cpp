// Nodes of the iSCSI service: the local node's settings, node entries made from connection
// data, the list of known nodes, the sessions other nodes hold here, the service log, and
// the conversion of iSCSI data into a subvolume. delete is a shell that answers success and
// touches nothing; nodes leave the configuration through delete_node.
#include "WebAPIServerNode.h"

#include "etc/WebAPIFrame.h"
#include "etc/WebAPIStatusTexts.h"
#include "etc/WebAPIValidators.h"

#include <iscsi/ISCSILIBNode.h>
#include <iscsi/ISCSILogInfo.h>
#include <iscsi/ISCSINodeInfo.h>
#include <kova/Core.h>

#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

using ISCSI::ISCSILogInfo;
using ISCSI::ISCSINodeInfo;
using ISCSI::LIB::LIBNode::ISCSILIBNode;

namespace {

enum {
    ERR_CONV_NOT_FEASIBLE = 18990335,
    ERR_BAD_ADDITIONAL = 18990517,
    ERR_BAD_IO_QUEUE_LENGTH = 18990741,
    ERR_BAD_UUIDS = 18991100,
    ERR_BAD_HOSTNAME = 18991101,
    ERR_BAD_PORT = 18991102,
    ERR_BAD_PROTOCOL = 18991103,
    ERR_BAD_ROD_KEY = 18991104,
    ERR_BAD_ACCOUNT = 18991105,
    ERR_BAD_PASSWORD = 18991106,
    ERR_BAD_OTP_CODE = 18991107,
    ERR_BAD_NODES = 18991110,
    ERR_NODE_IN_CONFIG = 18991111,
    ERR_BAD_ROOT_PATH = 18991122,
    ERR_BAD_ISCSI_DIR_ROOT_PATH = 18991125,
    ERR_BAD_LIMIT = 18991126,
    ERR_BAD_OFFSET = 18991127,
    ERR_BAD_DATE_FROM = 18991128,
    ERR_BAD_DATE_TO = 18991129,
    ERR_BAD_LOG_LEVEL = 18991130,
    ERR_BAD_EXPORT_FORMAT = 18991131,
    ERR_BAD_KEYWORD = 18991134,
    ERR_BAD_ISNS_ENABLED = 18991135,
    ERR_BAD_ISNS_ADDRESS = 18991136,
    ERR_ISNS_HALF_GIVEN = 18991137,
    ERR_BAD_EP_UNMAP_BUF_MODE = 18991139,
    ERR_BAD_TP_HARD_THRESHOLD_BYTES = 18991140,
    ERR_BAD_PROMOTE_STORAGE_CONSOLE = 18991141,
};

const WordFlag GetAdditional[] = {
    {"subvol_conv_progress", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_SUBVOL_CONV_PROGRESS},
    {"no_rod_key", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_NO_ROD_KEY},
    {"no_status", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_NO_STATUS},
    {"isns_info", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_ISNS_INFO},
    {"io_queue_length", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_IO_QUEUE_LENGTH},
    {"iqn_hash_key", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_IQN_HASH_KEY},
    {"is_subvol_conv_normal", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_IS_SUBVOL_CONV_NORMAL},
    {"ep_buf_mapped_size", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_EP_BUF_MAPPED_SIZE},
    {"ep_unmap_buf_mode", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_EP_UNMAP_BUF_MODE},
    {"tp_hard_threshold_bytes", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_TP_HARD_THRESHOLD_BYTES},
    {"plugin_info", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_PLUGIN_INFO},
    {"promote_storage_console", ISCSI::LIB::LIBNode::ISCSI_NODE_GET_PROMOTE_STORAGE_CONSOLE},
};

const WordFlag LogListAdditional[] = {
    {"unread", ISCSI::ISCSI_LOG_LIST_UNREAD},
    {"update_unread", ISCSI::ISCSI_LOG_LIST_UPDATE_UNREAD},
};

// The elements of a JSON array as strings, in their order.
std::vector<std::string> StringsOf(const Json::Value& array)
{
    std::vector<std::string> strings;
    for (const Json::Value& element : array)
        strings.push_back(element.asString());
    return strings;
}

// The text of a NUL-terminated buffer of the storage library, never read past its end.
template <std::size_t N> std::string TextOf(const char (&buffer)[N])
{
    return std::string(buffer, strnlen(buffer, N));
}

// Creations of node uuids in this process so far; part of the seed, so that two creations in
// the same second still draw different uuids.
unsigned int nodeUuidCounter = 0;

// A fresh node uuid: 36 characters in groups of 8-4-4-4-12 lower-case hexadecimal digits.
// The digits come from the standard generator, seeded with a hash of the appliance's serial
// number, the creation counter, the time and the process id. A serial number that cannot be
// read only weakens the seed (its hash stays 0).
std::string GenerateNodeUuid()
{
    static const char digits[] = "0123456789abcdef";
    char serial[1024];
    std::memset(serial, 0, sizeof serial);
    std::uint32_t hash = 0;
    if (KLIBGetSerialNumber(serial, static_cast<int>(sizeof serial)) == 0) {
        for (std::size_t i = 0; i < sizeof serial && serial[i] != '\0'; ++i)
            hash = hash * 2 + static_cast<unsigned char>(serial[i]);
    }
    const std::uint32_t now = static_cast<std::uint32_t>(time(nullptr));
    const std::uint32_t pid = static_cast<std::uint32_t>(getpid());
    ++nodeUuidCounter;
    srand(hash + nodeUuidCounter + now + pid);

    std::string uuid;
    for (int position = 0; position < 36; ++position) {
        if (position == 8 || position == 13 || position == 18 || position == 23)
            uuid += '-';
        else
            uuid += digits[rand() % 16];
    }
    return uuid;
}

// The reply of the local node's get: rod_key and status unless a word drops them, the iSCSI
// directory when a root path is given, then each part that a flag asks for, in the reply's
// order. The first failure answers its code; what was gathered is then not answered.
int GatherLocalNode(const ISCSINodeInfo& localNode, ISCSILIBNode& node, int flags,
                    const std::string& subvolRootPath,
                    const KOVA::APIParameter<std::string>& iscsiDirRootPath, Json::Value& reply)
{
    using namespace ISCSI::LIB::LIBNode;
    int ioQueueLength = -1;
    _tag_ep_buffer_unmap_mode_ epUnmapBufMode = EP_BUFFER_UNMAP_MODE_2;
    unsigned long long tpHardThresholdBytes = 0;
    bool promoteStorageConsole = true;
    bool isnsEnabled = false;
    bool isSubvolConvNormal = false;
    int result = 0;

    if (!(flags & (ISCSI_NODE_GET_NO_ROD_KEY | ISCSI_NODE_GET_EP_BUF_MAPPED_SIZE |
                   ISCSI_NODE_GET_SUBVOL_CONV_PROGRESS))) {
        std::string rodKey;
        if ((result = localNode.loadLocalRodKey(rodKey)) != 0)
            return result;
        reply["rod_key"] = rodKey;
    }
    if (!(flags & (ISCSI_NODE_GET_NO_STATUS | ISCSI_NODE_GET_EP_BUF_MAPPED_SIZE |
                   ISCSI_NODE_GET_SUBVOL_CONV_PROGRESS)))
        reply["status"] = node.getStatus();
    if (iscsiDirRootPath.IsSet()) {
        std::string iscsiDirPath;
        if ((result = node.getIscsiDirPath(iscsiDirRootPath.Get(""), iscsiDirPath)) != 0)
            return result;
        reply["iscsi_dir_path"] = iscsiDirPath;
    }
    if (flags & ISCSI_NODE_GET_SUBVOL_CONV_PROGRESS) {
        _tag_iscsi_conv_to_subvol_progress_ progress;
        std::memset(&progress, 0, sizeof progress);
        if ((result = node.getSubvolConvProgress(subvolRootPath, &progress)) != 0)
            return result;
        reply["subvol_conv_uuid"] = TextOf(progress.uuid);
        reply["subvol_conv_errno"] = progress.err_no;
        reply["subvol_conv_status"] = TextOf(progress.status);
        reply["total_size"] = static_cast<Json::UInt64>(progress.total_size);
        reply["done_size"] = static_cast<Json::UInt64>(progress.done_size);
        reply["total_number"] = progress.total_number;
        reply["done_number"] = progress.done_number;
    }
    if (flags & ISCSI_NODE_GET_ISNS_INFO) {
        std::string isnsAddress;
        if ((result = node.getIsnsInfo(isnsEnabled, isnsAddress)) != 0)
            return result;
        reply["isns_enabled"] = isnsEnabled;
        reply["isns_address"] = isnsAddress;
    }
    if (flags & ISCSI_NODE_GET_IO_QUEUE_LENGTH) {
        if ((result = node.getIoQueueLength(ioQueueLength)) != 0)
            return result;
        reply["io_queue_length"] = ioQueueLength;
    }
    if (flags & ISCSI_NODE_GET_IQN_HASH_KEY) {
        std::string iqnHashKey;
        if ((result = node.getIqnHashKey(iqnHashKey)) != 0)
            return result;
        reply["iqn_hash_key"] = iqnHashKey;
    }
    if (flags & ISCSI_NODE_GET_IS_SUBVOL_CONV_NORMAL) {
        if ((result = node.checkAllSubvolConvStatusNormal(isSubvolConvNormal)) != 0)
            return result;
        reply["is_subvol_conv_normal"] = isSubvolConvNormal;
    }
    if (flags & ISCSI_NODE_GET_EP_BUF_MAPPED_SIZE) {
        Json::Value epBufMappedSize;
        if ((result = node.getEpBufMapSize(epBufMappedSize)) != 0)
            return result;
        reply["ep_buf_mapped_size"] = epBufMappedSize;
    }
    if (flags & ISCSI_NODE_GET_EP_UNMAP_BUF_MODE) {
        if ((result = node.getEpUnmapBufMode(epUnmapBufMode)) != 0)
            return result;
        reply["ep_unmap_buf_mode"] = static_cast<int>(epUnmapBufMode);
    }
    if (flags & ISCSI_NODE_GET_TP_HARD_THRESHOLD_BYTES) {
        if ((result = node.getTpHardThreshold(tpHardThresholdBytes)) != 0)
            return result;
        reply["tp_hard_threshold_bytes"] = static_cast<Json::UInt64>(tpHardThresholdBytes);
    }
    if (flags & ISCSI_NODE_GET_PLUGIN_INFO) {
        Json::Value pluginInfo;
        if ((result = node.getPluginInfo(pluginInfo)) != 0)
            return result;
        reply["plugin_info"] = pluginInfo;
    }
    if (flags & ISCSI_NODE_GET_PROMOTE_STORAGE_CONSOLE) {
        if ((result = node.getPromoteStorageConsole(promoteStorageConsole)) != 0)
            return result;
        reply["promote_storage_console"] = promoteStorageConsole;
    }
    return 0;
}

// The keys every element of add_node's "nodes" must have, in the order they are tested.
const char* const NodeKeys[] = {"uuid", "session_id", "hostname", "port", "protocol", "rod_key", "account"};

// Level names of the log and their keys in log_list's summary; other names are not counted.
const std::pair<const char*, const char*> SummaryKeys[] = {
    {"warning", "warn_count"},
    {"err", "error_count"},
    {"info", "info_count"},
};

} // namespace

void Create(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> hostname =
        request->GetAndCheckString("hostname", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<int> port = request->GetAndCheckInt("port", REQUIRED, IsValidPort);
    KOVA::APIParameter<std::string> protocol =
        request->GetAndCheckString("protocol", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> rodKey =
        request->GetAndCheckString("rod_key", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> account =
        request->GetAndCheckString("account", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> password =
        request->GetAndCheckString("password", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> otpCode =
        request->GetAndCheckString("otp_code", OPTIONAL, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBNode node;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{hostname, ERR_BAD_HOSTNAME},
                                       {port, ERR_BAD_PORT},
                                       {protocol, ERR_BAD_PROTOCOL},
                                       {rodKey, ERR_BAD_ROD_KEY},
                                       {account, ERR_BAD_ACCOUNT},
                                       {password, ERR_BAD_PASSWORD},
                                       {otpCode, ERR_BAD_OTP_CODE}})) {
        const std::string uuid = GenerateNodeUuid();
        node = ISCSILIBNode(uuid, hostname.Get(), static_cast<unsigned short>(port.Get()), protocol.Get(),
                            rodKey.Get(), account.Get(), password.Get(), otpCode.Get(""));
        const int result = node.createNode();
        if (result == 0)
            reply["uuid"] = uuid;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Shell: logs the parameters and answers success.
void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    const Json::Value params = request->GetParam("", Json::nullValue);
    WEBAPI_LOG_DEBUG(params);
    response->SetSuccess(Json::Value());
}

// Read-only: no debug line.
void List(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    std::vector<ISCSINodeInfo> nodes;

    int result = ISCSILIBNode::ListNode(nodes);
    if (result == 0) {
        reply["nodes"] = Json::Value(Json::arrayValue);
        for (const ISCSINodeInfo& node : nodes) {
            Json::Value nodeJson;
            if ((result = node.toJsonFormat(nodeJson)) != 0)
                break;
            reply["nodes"].append(nodeJson);
        }
    }
    AnswerResult(response, result, reply);
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line.
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> subvolRootPath =
        request->GetAndCheckString("subvol_root_path", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<std::string> iscsiDirRootPath =
        request->GetAndCheckString("iscsi_dir_root_path", OPTIONAL, IsNonEmptyString);
    KOVA::APIParameter<Json::Value> additional =
        request->GetAndCheckArray("additional", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSINodeInfo localNode;
    ISCSILIBNode node;

    if (!RejectFirstInvalid(response, {{subvolRootPath, ERR_BAD_ROOT_PATH},
                                       {iscsiDirRootPath, ERR_BAD_ISCSI_DIR_ROOT_PATH},
                                       {additional, ERR_BAD_ADDITIONAL}})) {
        const int flags = FlagsOfWords(additional.Get(Json::Value(Json::arrayValue)), GetAdditional);
        AnswerResult(response,
                     GatherLocalNode(localNode, node, flags, subvolRootPath.Get(""), iscsiDirRootPath, reply),
                     reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Applies the settings that are present one after another; the first failure ends the work
// and what was applied before it stays applied.
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<bool> isnsEnabled = request->GetAndCheckBool("isns_enabled", OPTIONAL, AcceptAnyBool);
    KOVA::APIParameter<std::string> isnsAddress =
        request->GetAndCheckString("isns_address", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<int> ioQueueLength =
        request->GetAndCheckInt("io_queue_length", OPTIONAL, IsPositiveInt);
    KOVA::APIParameter<int> epUnmapBufMode =
        request->GetAndCheckInt("ep_unmap_buf_mode", OPTIONAL, IsPositiveInt);
    KOVA::APIParameter<unsigned long long> tpHardThresholdBytes =
        request->GetAndCheckIntegral<unsigned long long>("tp_hard_threshold_bytes", OPTIONAL,
                                                         AcceptAnyUInt64);
    KOVA::APIParameter<bool> promoteStorageConsole =
        request->GetAndCheckBool("promote_storage_console", OPTIONAL, AcceptAnyBool);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBNode node;

    WEBAPI_LOG_DEBUG(params);
    // The iSNS server is switched and addressed together: one of the two alone is refused.
    const KOVA::APIParameterState isnsHalfGiven(false, isnsEnabled.IsSet() != isnsAddress.IsSet());
    if (!RejectFirstInvalid(response, {{isnsEnabled, ERR_BAD_ISNS_ENABLED},
                                       {isnsAddress, ERR_BAD_ISNS_ADDRESS},
                                       {ioQueueLength, ERR_BAD_IO_QUEUE_LENGTH},
                                       {epUnmapBufMode, ERR_BAD_EP_UNMAP_BUF_MODE},
                                       {tpHardThresholdBytes, ERR_BAD_TP_HARD_THRESHOLD_BYTES},
                                       {promoteStorageConsole, ERR_BAD_PROMOTE_STORAGE_CONSOLE},
                                       {isnsHalfGiven, ERR_ISNS_HALF_GIVEN}})) {
        node = ISCSILIBNode();
        int result = 0;
        if (result == 0 && isnsEnabled.IsSet())
            result = node.setIsnsInfo(isnsEnabled.Get(), isnsAddress.Get());
        if (result == 0 && ioQueueLength.IsSet())
            result = node.setIoQueueLength(ioQueueLength.Get());
        // A mode of 0 is never applied.
        if (result == 0 && epUnmapBufMode.IsSet() && epUnmapBufMode.Get() != 0)
            result = node.setEpUnmapBufMode(epUnmapBufMode.Get());
        if (result == 0 && tpHardThresholdBytes.IsSet())
            result = node.setTpHardThreshold(tpHardThresholdBytes.Get());
        if (result == 0 && promoteStorageConsole.IsSet())
            result = node.setPromoteStorageConsole(promoteStorageConsole.Get());
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Three passes, so that the configuration is only touched when the whole list is sound:
// build every record, make sure none is in the configuration yet, then write them.
void AddNode(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<Json::Value> nodes = request->GetAndCheckArray("nodes", REQUIRED, nullptr);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    std::vector<ISCSINodeInfo> records;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{nodes, ERR_BAD_NODES}})) {
        for (const Json::Value& node : nodes.Get()) {
            for (const char* key : NodeKeys) {
                // The member test is JsonCpp's: null has no member, and an element that is
                // neither null nor an object throws (the runtime answers code 100).
                if (!node.isMember(key)) {
                    // An element without all its keys ends the request with its own line
                    // only: no error and no success is set, and no error line follows.
                    WEBAPI_LOG_FAULT("Failed to get node info from response.");
                    return;
                }
            }
            records.push_back(ISCSINodeInfo(
                node["uuid"].asString(), node["session_id"].asString(), node["hostname"].asString(),
                static_cast<unsigned short>(node["port"].asInt()), node["protocol"].asString(),
                node["rod_key"].asString(), node["account"].asString(), false));
        }
        int result = 0;
        for (const ISCSINodeInfo& record : records) {
            if (record.isInConfig()) {
                result = ERR_NODE_IN_CONFIG;
                break;
            }
        }
        for (std::size_t i = 0; result == 0 && i < records.size(); ++i) {
            if ((result = records[i].updateConfig(true, false)) != 0)
                WEBAPI_LOG_FAULT("Failed to update node config: %s", records[i].toString().c_str());
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Two passes over the uuids, sorted and without duplicates: every node must be in the
// configuration before any is deleted.
void DeleteNode(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<Json::Value> uuids = request->GetAndCheckArray("uuids", REQUIRED, nullptr);
    const Json::Value params = request->GetParam("", Json::nullValue);

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuids, ERR_BAD_UUIDS}})) {
        std::set<std::string> uuidSet;
        for (const Json::Value& uuid : uuids.Get())
            uuidSet.insert(uuid.asString());
        int result = 0;
        for (auto it = uuidSet.begin(); result == 0 && it != uuidSet.end(); ++it) {
            ISCSINodeInfo record(*it);
            result = record.loadFromConfig();
        }
        for (auto it = uuidSet.begin(); result == 0 && it != uuidSet.end(); ++it) {
            const ISCSINodeInfo record(*it);
            result = record.deleteFromNodeConfig();
        }
        AnswerResult(response, result, Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// The session belongs to the caller's connection: its address and login name, not parameters.
void CreateSession(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    Json::Value reply;
    ISCSINodeInfo session;
    const Json::Value params = request->GetParam("", Json::nullValue);

    WEBAPI_LOG_DEBUG(params);
    session = ISCSINodeInfo(request->GetRemoteIP(), request->GetLoginUserName());
    const int result = session.createSession();
    if (result == 0)
        reply["session_id"] = session.session_id;
    AnswerResult(response, result, reply);
    WEBAPI_LOG_ERROR(response, params);
}

void DeleteSession(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    ISCSINodeInfo session;
    const Json::Value params = request->GetParam("", Json::nullValue);

    WEBAPI_LOG_DEBUG(params);
    session = ISCSINodeInfo(request->GetRemoteIP(), request->GetLoginUserName(), request->GetSessionID());
    AnswerResult(response, session.deleteSession(), Json::nullValue);
    WEBAPI_LOG_ERROR(response, params);
}

// The debug line follows the check here. A conversion that is not feasible for hard reasons
// answers them as error data.
void SubvolConvert(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> rootPath =
        request->GetAndCheckString("root_path", REQUIRED, IsNonEmptyString);
    Json::Value reply;
    Json::Value errorData;
    std::vector<std::string> feasibilityHard;
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBNode node;

    if (!RejectFirstInvalid(response, {{rootPath, ERR_BAD_ROOT_PATH}})) {
        WEBAPI_LOG_DEBUG(params);
        const int result = node.subvolConvFeasibilityCheck(rootPath.Get(), feasibilityHard);
        if (result != 0) {
            if (result == ERR_CONV_NOT_FEASIBLE) {
                errorData["feasibility_hard"] = Json::Value(Json::arrayValue);
                for (const std::string& reason : feasibilityHard)
                    errorData["feasibility_hard"].append(reason);
            }
            response->SetError(result, errorData);
        } else {
            AnswerResult(response, node.subvolConvert(rootPath.Get()), reply);
        }
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line. The summary counts the three known levels; total is their sum.
void LogList(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<int> limit = request->GetAndCheckInt("limit", OPTIONAL, AcceptAnyInt);
    KOVA::APIParameter<int> offset = request->GetAndCheckInt("offset", OPTIONAL, IsNonNegativeInt);
    KOVA::APIParameter<int> dateFrom = request->GetAndCheckInt("date_from", OPTIONAL, IsNonNegativeInt);
    KOVA::APIParameter<int> dateTo = request->GetAndCheckInt("date_to", OPTIONAL, IsNonNegativeInt);
    KOVA::APIParameter<std::string> keyword =
        request->GetAndCheckString("keyword", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<Json::Value> logLevel =
        request->GetAndCheckArray("log_level", OPTIONAL, AcceptAnyJson);
    KOVA::APIParameter<Json::Value> additional =
        request->GetAndCheckArray("additional", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    Json::Value summary;

    if (!RejectFirstInvalid(response, {{limit, ERR_BAD_LIMIT},
                                       {offset, ERR_BAD_OFFSET},
                                       {dateFrom, ERR_BAD_DATE_FROM},
                                       {dateTo, ERR_BAD_DATE_TO},
                                       {keyword, ERR_BAD_KEYWORD},
                                       {logLevel, ERR_BAD_LOG_LEVEL},
                                       {additional, ERR_BAD_ADDITIONAL}})) {
        const int flags = FlagsOfWords(additional.Get(Json::Value(Json::arrayValue)), LogListAdditional);
        const std::vector<std::string> levels = StringsOf(logLevel.Get(Json::Value(Json::arrayValue)));
        std::vector<ISCSILogInfo> lines;
        std::map<std::string, unsigned long long> levelCounts;
        int result = ISCSILogInfo::ListLog(flags, limit.Get(-1), offset.Get(0), dateFrom.Get(-1),
                                           dateTo.Get(-1), levels, keyword.Get(""), lines, levelCounts);
        if (result == 0) {
            reply["logs"] = Json::Value(Json::arrayValue);
            for (const ISCSILogInfo& line : lines) {
                Json::Value lineJson;
                if ((result = line.toJsonFormat(lineJson)) != 0)
                    break;
                reply["logs"].append(lineJson);
            }
        }
        if (result == 0) {
            unsigned long long total = 0;
            for (const auto& count : levelCounts) {
                for (const auto& key : SummaryKeys) {
                    if (count.first == key.first) {
                        summary[key.second] = static_cast<Json::UInt64>(count.second);
                        total += count.second;
                    }
                }
            }
            summary["total"] = static_cast<Json::UInt64>(total);
            reply["summary"] = summary;
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void LogClear(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    const Json::Value params = request->GetParam("", Json::nullValue);

    WEBAPI_LOG_DEBUG(params);
    AnswerResult(response, ISCSILogInfo::ClearLog(), Json::nullValue);
    WEBAPI_LOG_ERROR(response, params);
}

// The library writes the file to the caller itself, so the runtime's own output is turned off
// once the parameters have passed: a refused request still answers in JSON, a failed export
// answers no body at all. log_level is tested before keyword here.
void LogExport(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> exportFormat =
        request->GetAndCheckString("export_format", REQUIRED, IsValidExportFormat);
    KOVA::APIParameter<int> dateFrom = request->GetAndCheckInt("date_from", OPTIONAL, IsNonNegativeInt);
    KOVA::APIParameter<int> dateTo = request->GetAndCheckInt("date_to", OPTIONAL, IsNonNegativeInt);
    KOVA::APIParameter<std::string> keyword =
        request->GetAndCheckString("keyword", OPTIONAL, AcceptAnyString);
    KOVA::APIParameter<Json::Value> logLevel =
        request->GetAndCheckArray("log_level", OPTIONAL, AcceptAnyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{exportFormat, ERR_BAD_EXPORT_FORMAT},
                                       {dateFrom, ERR_BAD_DATE_FROM},
                                       {dateTo, ERR_BAD_DATE_TO},
                                       {logLevel, ERR_BAD_LOG_LEVEL},
                                       {keyword, ERR_BAD_KEYWORD}})) {
        const std::vector<std::string> levels = StringsOf(logLevel.Get(Json::Value(Json::arrayValue)));
        response->SetEnableOutput(false);
        AnswerResult(response,
                     ISCSILogInfo::ExportLog(exportFormat.Get(), dateFrom.Get(-1), dateTo.Get(-1), levels,
                                             keyword.Get("")),
                     reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
