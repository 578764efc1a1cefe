#include <webapi-iSCSI/etc/WebAPIClient.h>

#include "WebAPIFrame.h"
#include "WebAPIVocabulary.h"

#include <kova/Cred.h>
#include <kova/JsonText.h>
#include <kova/NodeSender.h>

#include <memory>

namespace ISCSI {
namespace WebAPI {

namespace {

// The connection and session descriptions of one send over the credential library, freed on
// every way out.
struct CredPair {
    KOVACred* cred = KOVACredAlloc();
    KOVACredSess* sess = cred ? KOVACredSessAlloc() : nullptr;
    ~CredPair()
    {
        if (sess)
            KOVACredSessFree(sess);
        if (cred)
            KOVACredFree(cred);
    }
    bool Allocated() const { return cred && sess; }
};

// The reply's "error"."code", or 0 when it has none. A code that is no integer makes the reply
// unreadable.
int ReplyErrorCode(const Json::Value& response)
{
    const Json::Value* code = FindErrorMember(response, "code");
    if (!code)
        return 0;
    return code->isConvertibleTo(Json::intValue) ? code->asInt() : ISCSI_ERR_CLIENT_BAD_REPLY;
}

// The end shared by the session and the account path: the API's remote path, the request, its
// reply. 'function' is the path that logs a request the credential library failed to process.
int ProcessWebAPIRequest(WebAPIClient& client, KOVACred* cred, KOVACredSess* sess, const char* function)
{
    if (KOVA::CredRequestUtil::GetWebAPIPath(cred, client.api).empty())
        return ISCSI_ERR_CLIENT_NO_API_PATH;
    std::unique_ptr<KOVA::CredRequest> request(KOVA::CredRequest::CreateWebAPIRequest(
        cred, sess, client.api, client.version, client.method, client.params));
    if (!request)
        return ISCSI_ERR_CLIENT_NO_REQUEST;
    if (!request->Process(true, 0)) {
        WEBAPI_LOG_FAULT_IN(function, "Failed to process cred request cred_err=[%d]", request->GetError());
        return ISCSI_ERR_CLIENT_SEND_FAILED;
    }
    client.response_text = request->GetResponse();
    if (!KOVA::fromString(client.response, client.response_text))
        return ISCSI_ERR_CLIENT_BAD_REPLY;
    return ReplyErrorCode(client.response);
}

} // namespace

WebAPIClient::WebAPIClient() : version(0) {}

WebAPIClient::WebAPIClient(const ISCSI::ISCSINodeInfo& node) : dst_node(node), version(0) {}

WebAPIClient::~WebAPIClient() = default;

int WebAPIClient::sendRequestBySessionID(bool reload)
{
    if (isInvalid())
        return ISCSI_ERR_CLIENT_INVALID;
    if (reload) {
        const int loaded = dst_node.loadFromConfig();
        if (loaded != 0)
            return loaded;
    }
    CredPair pair;
    if (!pair.Allocated())
        return ISCSI_ERR_CLIENT_ALLOC;
    if (KOVACredItemSetHost(pair.cred, dst_node.hostname.c_str()) < 0 ||
        KOVACredItemSetPort(pair.cred, dst_node.port) < 0 ||
        KOVACredItemSetProtocol(pair.cred, dst_node.protocol.c_str()) < 0 ||
        KOVACredSessItemSetAccessToken(pair.sess, dst_node.session_id.c_str()) < 0)
        return ISCSI_ERR_CLIENT_INVALID;
    return ProcessWebAPIRequest(*this, pair.cred, pair.sess, __func__);
}

int WebAPIClient::sendRequestByAccount()
{
    if (isInvalid())
        return ISCSI_ERR_CLIENT_INVALID;
    CredPair pair;
    if (!pair.Allocated())
        return ISCSI_ERR_CLIENT_ALLOC;
    int result;
    if (KOVACredItemSetHost(pair.cred, dst_node.hostname.c_str()) < 0 ||
        KOVACredItemSetPort(pair.cred, dst_node.port) < 0 ||
        KOVACredItemSetProtocol(pair.cred, dst_node.protocol.c_str()) < 0 ||
        KOVACredItemSetRemoteAccount(pair.cred, dst_node.account.c_str()) < 0 ||
        KOVACredItemSetRemotePasswd(pair.cred, dst_node.password.c_str()) < 0) {
        result = ISCSI_ERR_CLIENT_ALLOC;
    } else {
        Json::Value login;
        if (KOVA::CredRequestUtil::LoginWithOTP(pair.cred, dst_node.otp_code, pair.sess, &login) == 0)
            result = ISCSI_ERR_CLIENT_LOGIN;
        else
            result = ProcessWebAPIRequest(*this, pair.cred, pair.sess, __func__);
    }
    // Logged in or not, the session on the remote side is given up on every way out.
    KOVA::CredRequestUtil::Logout(pair.cred, pair.sess);
    return result;
}

int WebAPIClient::sendRequestByDrNode()
{
    if (isInvalid())
        return ISCSI_ERR_CLIENT_INVALID;
    KovaDRNode::NodeSender sender;
    if (!sender.process(dst_node.uuid, api, method, version, params, response)) {
        WEBAPI_LOG_FAULT("Failed to send request by DR Node.");
        return ISCSI_ERR_CLIENT_SEND_FAILED;
    }
    return ReplyErrorCode(response);
}

std::string WebAPIClient::toString() const
{
    return "Dst node: [" + dst_node.toString() + "] [api: " + api + " ,method: " + method +
           " ,version: " + std::to_string(version) + "]";
}

void WebAPIClient::beginRequest(const char* apiName, const char* methodName)
{
    api = apiName;
    method = methodName;
    version = 1;
    params = Json::Value(Json::objectValue);
}

const Json::Value& WebAPIClient::replyData() const
{
    static const Json::Value none;
    if (!response.isObject() || !response.isMember("data") || !response["data"].isObject())
        return none;
    return response["data"];
}

std::string WebAPIClient::responseText() const
{
    return "[Response: " + response_text + "]";
}

} // namespace WebAPI
} // namespace ISCSI
