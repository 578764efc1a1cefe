// Block-level backup and restore of a LUN: a remote target attached as a local block device,
// the block copy started, watched and stopped in either direction, the copy bitmap reset, the
// LUN moved, and the target detached again.
#include "WebAPIServerLunbkp.h"

#include "etc/WebAPIFrame.h"
#include "etc/WebAPIStatusTexts.h"
#include "etc/WebAPIValidators.h"

#include <iscsi/ISCSILIBLUNBKP.h>
#include <iscsi/ISCSILUNInfo.h>

#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

using ISCSI::LIB::LIBLUNBKP::ISCSILIBLUNBKP;

enum {
    ERR_BAD_TARGET_IP = 18990203,
    ERR_BAD_DST_LOCATION = 18990501,
    ERR_BAD_LUN_UUID = 18990505,
    ERR_BAD_TARGET_IQN = 18990701,
    ERR_BAD_BLOCK_DEV_PATH = 18991205,
};

namespace {

// Resolves the request's LUN identifier and points lunbkp at that LUN. False, with the
// resolver's code on the response, when it names no LUN.
bool OpenLUN(KOVA::APIResponse* response, const std::string& identifier, ISCSILIBLUNBKP& lunbkp)
{
    std::string lunUuid;
    const int result = ISCSI::ISCSILUNInfo::GetLunUuid(identifier, lunUuid);
    if (result != 0) {
        response->SetError(result, Json::nullValue);
        return false;
    }
    lunbkp = ISCSILIBLUNBKP(lunUuid);
    return true;
}

} // namespace

void BackupLunMove(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> dstLocation =
        request->GetAndCheckString("dst_location", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUNBKP lunbkp;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}, {dstLocation, ERR_BAD_DST_LOCATION}}) &&
        OpenLUN(response, uuid.Get(), lunbkp))
        AnswerResult(response, lunbkp.backupLunMove(dstLocation.Get()), Json::nullValue);
    WEBAPI_LOG_ERROR(response, params);
}

// Answers the path of the local block device that stands for the attached target.
void TargetConnect(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetIp =
        request->GetAndCheckString("target_ip", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> targetIqn =
        request->GetAndCheckString("target_iqn", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUNBKP lunbkp;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{targetIp, ERR_BAD_TARGET_IP}, {targetIqn, ERR_BAD_TARGET_IQN}})) {
        std::string blockDevPath;
        lunbkp = ISCSILIBLUNBKP();
        const int result = lunbkp.targetConnect(targetIp.Get(), targetIqn.Get(), blockDevPath);
        if (result == 0)
            reply["block_dev_path"] = blockDevPath;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void TargetDisconnect(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> targetIp =
        request->GetAndCheckString("target_ip", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> targetIqn =
        request->GetAndCheckString("target_iqn", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUNBKP lunbkp;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{targetIp, ERR_BAD_TARGET_IP}, {targetIqn, ERR_BAD_TARGET_IQN}})) {
        lunbkp = ISCSILIBLUNBKP();
        AnswerResult(response, lunbkp.targetDisconnect(targetIp.Get(), targetIqn.Get()), Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void LunBackupStart(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> blockDevPath =
        request->GetAndCheckString("block_dev_path", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUNBKP lunbkp;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}, {blockDevPath, ERR_BAD_BLOCK_DEV_PATH}}) &&
        OpenLUN(response, uuid.Get(), lunbkp))
        AnswerResult(response, lunbkp.smartddStart(blockDevPath.Get(), LUNBKP_TYPE_BACKUP), Json::nullValue);
    WEBAPI_LOG_ERROR(response, params);
}

void LunBackupStop(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUNBKP lunbkp;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}}) && OpenLUN(response, uuid.Get(), lunbkp))
        AnswerResult(response, lunbkp.smartddStop(LUNBKP_TYPE_BACKUP), Json::nullValue);
    WEBAPI_LOG_ERROR(response, params);
}

void LunRestoreStart(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> blockDevPath =
        request->GetAndCheckString("block_dev_path", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUNBKP lunbkp;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}, {blockDevPath, ERR_BAD_BLOCK_DEV_PATH}}) &&
        OpenLUN(response, uuid.Get(), lunbkp))
        AnswerResult(response, lunbkp.smartddStart(blockDevPath.Get(), LUNBKP_TYPE_RESTORE), Json::nullValue);
    WEBAPI_LOG_ERROR(response, params);
}

void LunRestoreStop(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUNBKP lunbkp;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}}) && OpenLUN(response, uuid.Get(), lunbkp))
        AnswerResult(response, lunbkp.smartddStop(LUNBKP_TYPE_RESTORE), Json::nullValue);
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line.
void LunBkpProgressGet(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUNBKP lunbkp;

    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}}) && OpenLUN(response, uuid.Get(), lunbkp)) {
        int progress = 0;
        unsigned long long offsetSector = 0;
        unsigned long long totalSector = 0;
        const int result = lunbkp.smartddProgressGet(progress, offsetSector, totalSector);
        if (result == 0) {
            reply["lunbkp_progress"] = progress;
            reply["lunbkp_offset_sector"] = static_cast<Json::UInt64>(offsetSector);
            reply["lunbkp_total_sector"] = static_cast<Json::UInt64>(totalSector);
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void LunBkpBitmapReset(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBLUNBKP lunbkp;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}}) && OpenLUN(response, uuid.Get(), lunbkp))
        AnswerResult(response, lunbkp.bitmapReset(), Json::nullValue);
    WEBAPI_LOG_ERROR(response, params);
}

// Read-only: no debug line.
void LunBkpSizeGet(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsNonEmptyString);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBLUNBKP lunbkp;

    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_LUN_UUID}}) && OpenLUN(response, uuid.Get(), lunbkp)) {
        unsigned long long totalSector = 0;
        const int result = lunbkp.sizeGet(totalSector);
        if (result == 0)
            reply["lunbkp_total_sector"] = static_cast<Json::UInt64>(totalSector);
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
