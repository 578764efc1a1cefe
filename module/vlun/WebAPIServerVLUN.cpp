// Virtual LUNs: made over a source LUN, read for their sync status, bound to a LUN of
// another node. list, set and unbind are shells that answer success and touch nothing.
#include "WebAPIServerVLUN.h"

#include "etc/WebAPIFrame.h"
#include "etc/WebAPIStatusTexts.h"
#include "etc/WebAPIValidators.h"

#include <iscsi/ISCSILIBVLUN.h>

#include <set>
#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

using ISCSI::LIB::LIBVLUN::ISCSILIBVLUN;

enum {
    ERR_BAD_LUN_UUID = 18990505,
    ERR_BAD_VLUN_TYPE = 18991000,
    ERR_BAD_VLUN_UUID = 18991001,
    ERR_BAD_NODE_UUID = 18991100,
    ERR_BAD_PORTALS = 18990402,
};

void Create(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> srcLunUuid =
        request->GetAndCheckString("src_lun_uuid", REQUIRED, IsValidUuid);
    KOVA::APIParameter<int> type = request->GetAndCheckInt("type", REQUIRED, IsValidVLUNType);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBVLUN vlun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{srcLunUuid, ERR_BAD_LUN_UUID}, {type, ERR_BAD_VLUN_TYPE}})) {
        ISCSI::_tag_iscsi_vlun_type vlunType = ISCSI::ISCSI_VLUN_TYPE_NONE;
        if (type.Get() >= 1 && type.Get() <= 3)
            vlunType = VLUNTypeTable[type.Get() - 1];
        vlun = ISCSILIBVLUN(vlunType, srcLunUuid.Get());
        const int result = vlun.createVLUN();
        if (result == 0)
            reply["uuid"] = vlun.uuid;
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBVLUN vlun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_VLUN_UUID}})) {
        vlun = ISCSILIBVLUN(uuid.Get());
        AnswerResult(response, vlun.deleteVLUN(), Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Shell: no parameter, no parameter object, no log line.
void List(KOVA::APIRequest*, KOVA::APIResponse* response)
{
    Json::Value reply;
    response->SetSuccess(reply);
}

// Read-only: no debug line.
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsValidUuid);
    const Json::Value params = request->GetParam("", Json::nullValue);
    Json::Value reply;
    ISCSILIBVLUN vlun;

    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_VLUN_UUID}})) {
        int status = 0;
        unsigned long long syncSize = 0;
        unsigned long long totalSize = 0;
        vlun = ISCSILIBVLUN(uuid.Get());
        const int result = vlun.loadStatus(status, syncSize, totalSize);
        if (result == 0) {
            reply["status"] = status;
            reply["sync_size"] = static_cast<Json::UInt64>(syncSize);
            reply["total_size"] = static_cast<Json::UInt64>(totalSize);
        }
        AnswerResult(response, result, reply);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Shell: logs the parameters and answers success.
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    const Json::Value params = request->GetParam("", Json::nullValue);
    WEBAPI_LOG_DEBUG(params);
    response->SetSuccess(Json::Value());
}

// Only the first portal of the array reaches the library, however many were sent.
void Bind(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsValidUuid);
    KOVA::APIParameter<std::string> dstNodeUuid =
        request->GetAndCheckString("dst_node_uuid", REQUIRED, IsNonEmptyString);
    KOVA::APIParameter<std::string> dstLunUuid =
        request->GetAndCheckString("dst_lun_uuid", REQUIRED, IsValidUuid);
    KOVA::APIParameter<Json::Value> portals = request->GetAndCheckArray("portals", REQUIRED, IsNonEmptyJson);
    const Json::Value params = request->GetParam("", Json::nullValue);
    ISCSILIBVLUN vlun;

    WEBAPI_LOG_DEBUG(params);
    if (!RejectFirstInvalid(response, {{uuid, ERR_BAD_VLUN_UUID},
                                       {dstNodeUuid, ERR_BAD_NODE_UUID},
                                       {dstLunUuid, ERR_BAD_LUN_UUID},
                                       {portals, ERR_BAD_PORTALS}})) {
        std::set<std::string> portalSet;
        for (const Json::Value& portal : portals.Get())
            portalSet.insert(portal.asString());
        vlun = ISCSILIBVLUN(uuid.Get());
        AnswerResult(response, vlun.bind(dstLunUuid.Get(), dstNodeUuid.Get(), portals.Get()[0].asString()),
                     Json::nullValue);
    }
    WEBAPI_LOG_ERROR(response, params);
}

// Shell: logs the parameters and answers success.
void Unbind(KOVA::APIRequest* request, KOVA::APIResponse* response)
{
    const Json::Value params = request->GetParam("", Json::nullValue);
    WEBAPI_LOG_DEBUG(params);
    response->SetSuccess(Json::Value());
}

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
