// The credential library: connection and session descriptions, login and logout with the
// daemon's /webapi/auth, discovery with /webapi/query, and web-API requests to /webapi/entry.
#include <kova/Cred.h>

#include <kova/JsonText.h>

#include "CredCall.h"
#include "CredTransport.h"

#include <syslog.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <new>

struct KOVACred {
    KOVA::Net::Endpoint endpoint;
    std::string account;
    std::string password;
    std::string peerSha256;
    int lastError = 0;
};

struct KOVACredSess {
    std::string token;
};

namespace {

using KOVA::Net::Endpoint;
using KOVA::Net::Exchange;
using KOVA::Net::Result;

bool Usable(const KOVACred* cred)
{
    return cred && !cred->endpoint.host.empty() && cred->endpoint.port > 0 &&
           (cred->endpoint.protocol == "http" || cred->endpoint.protocol == "https");
}

// One exchange on cred, keeping the certificate it saw.
Result Exchange1(KOVACred* cred, const Exchange& exchange)
{
    Result result = KOVA::Net::Perform(cred->endpoint, exchange);
    if (!result.peerSha256.empty())
        cred->peerSha256 = result.peerSha256;
    return result;
}

// The reply as a JSON object; false (with KOVA_CRED_ERR_REPLY kept) when it is none.
bool ParseReply(KOVACred* cred, const Result& result, Json::Value& reply)
{
    Json::Value parsed;
    if (!KOVA::fromString(parsed, result.body) || !parsed.isObject()) {
        cred->lastError = KOVA_CRED_ERR_REPLY;
        syslog(LOG_ERR, "kova-net: %s answered HTTP %ld with a reply that is not a JSON object",
               KOVA::Net::BaseUrl(cred->endpoint).c_str(), result.status);
        return false;
    }
    reply = parsed;
    return true;
}

// The code of the runtime in a failed reply, 0 when there is none.
int RuntimeCode(const Json::Value& reply)
{
    const Json::Value& error = reply["error"];
    if (error.isObject() && error["code"].isInt())
        return error["code"].asInt();
    return 0;
}

bool Succeeded(const Json::Value& reply)
{
    return reply["success"].isBool() && reply["success"].asBool();
}

// The daemon's paths of APIs, as discovery answered them, kept for a while per remote: every
// request of a client asks for the path first, and it does not change while the remote runs.
class PathCache {
public:
    bool find(const std::string& key, std::string& path)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = paths_.find(key);
        if (it == paths_.end() || std::chrono::steady_clock::now() > it->second.second)
            return false;
        path = it->second.first;
        return true;
    }
    void keep(const std::string& key, const std::string& path)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (paths_.size() > 4096)
            paths_.clear();
        paths_[key] = {path, std::chrono::steady_clock::now() + std::chrono::seconds(60)};
    }

private:
    std::mutex mutex_;
    std::map<std::string, std::pair<std::string, std::chrono::steady_clock::time_point>> paths_;
};

PathCache& Paths()
{
    static PathCache* cache = new PathCache;
    return *cache;
}

std::string PathKey(const KOVACred* cred, const std::string& api)
{
    return KOVA::Net::BaseUrl(cred->endpoint) + "|" + cred->endpoint.pinnedSha256 + "|" + api;
}

bool ValidPathText(const std::string& path)
{
    if (path.empty() || path.size() > 256)
        return false;
    for (char c : path) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                        c == '/' || c == '.' || c == '_' || c == '-';
        if (!ok)
            return false;
    }
    return path.find("..") == std::string::npos;
}

// Percent-encoding of a query string value.
std::string UrlEncoded(const std::string& text)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
            c == '-' || c == '_' || c == '~') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += digits[c >> 4];
            out += digits[c & 0x0F];
        }
    }
    return out;
}

int SetText(std::string& field, const char* value)
{
    if (!value)
        return -1;
    field = value;
    return 0;
}

} // namespace

extern "C" {

KOVACred* KOVACredAlloc(void)
{
    KOVACred* cred = new (std::nothrow) KOVACred;
    if (cred) {
        cred->endpoint.connectTimeout = KOVA_CRED_CONNECT_TIMEOUT;
        cred->endpoint.totalTimeout = KOVA_CRED_TOTAL_TIMEOUT;
        // Several appliances on one host each call from their own address (the daemon's
        // --node-source), so that the remote binds its sessions to the right one.
        if (const char* source = std::getenv("KOVA_NODE_SOURCE_ADDRESS"))
            cred->endpoint.sourceAddress = source;
    }
    return cred;
}

void KOVACredFree(KOVACred* cred)
{
    delete cred;
}

KOVACredSess* KOVACredSessAlloc(void)
{
    return new (std::nothrow) KOVACredSess;
}

void KOVACredSessFree(KOVACredSess* sess)
{
    delete sess;
}

int KOVACredItemSetHost(KOVACred* cred, const char* host)
{
    if (!cred || !host || !*host)
        return -1;
    std::string text = host;
    // "[::1]" and "::1" name the same host; the brackets are added back in URLs.
    if (text.size() > 2 && text.front() == '[' && text.back() == ']')
        text = text.substr(1, text.size() - 2);
    for (char c : text)
        if (c == '/' || c == '@' || c == '?' || c == '#' || c == ' ' || static_cast<unsigned char>(c) < 0x21)
            return -1;
    cred->endpoint.host = text;
    return 0;
}

int KOVACredItemSetPort(KOVACred* cred, int port)
{
    if (!cred || port < 1 || port > 65535)
        return -1;
    cred->endpoint.port = port;
    return 0;
}

int KOVACredItemSetProtocol(KOVACred* cred, const char* protocol)
{
    if (!cred || !protocol)
        return -1;
    const std::string text = protocol;
    if (text != "http" && text != "https")
        return -1;
    cred->endpoint.protocol = text;
    return 0;
}

int KOVACredItemSetRemoteAccount(KOVACred* cred, const char* account)
{
    return cred ? SetText(cred->account, account) : -1;
}

int KOVACredItemSetRemotePasswd(KOVACred* cred, const char* password)
{
    return cred ? SetText(cred->password, password) : -1;
}

int KOVACredSessItemSetAccessToken(KOVACredSess* sess, const char* token)
{
    return sess ? SetText(sess->token, token) : -1;
}

int KOVACredItemSetPinnedCertSha256(KOVACred* cred, const char* fingerprint)
{
    if (!cred || !fingerprint)
        return -1;
    if (!*fingerprint) {
        cred->endpoint.pinnedSha256.clear();
        return 0;
    }
    const std::string normal = KOVA::Net::NormalizeFingerprint(fingerprint);
    if (normal.empty())
        return -1;
    cred->endpoint.pinnedSha256 = normal;
    return 0;
}

int KOVACredItemSetTrustOnFirstUse(KOVACred* cred, int enable)
{
    if (!cred)
        return -1;
    cred->endpoint.trustOnFirstUse = enable != 0;
    return 0;
}

int KOVACredItemSetCAFile(KOVACred* cred, const char* path)
{
    return cred ? SetText(cred->endpoint.caFile, path) : -1;
}

int KOVACredItemSetTimeouts(KOVACred* cred, int connectSeconds, int totalSeconds)
{
    if (!cred || connectSeconds < 1 || totalSeconds < 1)
        return -1;
    cred->endpoint.connectTimeout = connectSeconds;
    cred->endpoint.totalTimeout = totalSeconds;
    return 0;
}

const char* KOVACredGetPeerCertSha256(const KOVACred* cred)
{
    return cred ? cred->peerSha256.c_str() : "";
}

int KOVACredGetLastError(const KOVACred* cred)
{
    return cred ? cred->lastError : KOVA_CRED_ERR_INVALID;
}

const char* KOVACredSessGetAccessToken(const KOVACredSess* sess)
{
    return sess ? sess->token.c_str() : "";
}

} // extern "C"

namespace KOVA {

namespace {

// Posts body to /webapi/auth and reads the reply; false on a failure of transport or reply (the
// code kept in cred).
bool PostAuth(KOVACred* cred, const Json::Value& body, const std::string& sid, Json::Value& reply)
{
    Exchange exchange;
    exchange.path = "/webapi/auth";
    exchange.body = KOVA::toString(body);
    exchange.sessionId = sid;
    const Result result = Exchange1(cred, exchange);
    if (result.error != 0) {
        cred->lastError = result.error;
        return false;
    }
    return ParseReply(cred, result, reply);
}

// The failure code of a refused authentication reply.
int AuthFailure(const Json::Value& reply)
{
    switch (RuntimeCode(reply)) {
    case 111: // a one-time code is needed
    case 112: // wrong one-time code
        return KOVA_CRED_ERR_OTP;
    case 106: // unknown session
    case 114: // expired session
        return KOVA_CRED_ERR_SESSION;
    case 110: // unknown account or wrong password
    case 113: // locked out after failed logins
        return KOVA_CRED_ERR_LOGIN;
    default:
        return KOVA_CRED_ERR_REPLY;
    }
}

// Keeps the session id of a successful login or renewal reply in sess; 1, or 0 with the code.
int TakeSession(KOVACred* cred, const Json::Value& reply, KOVACredSess* sess, const char* what)
{
    if (!Succeeded(reply)) {
        cred->lastError = AuthFailure(reply);
        syslog(LOG_ERR, "kova-net: %s at %s refused for account '%s' (code %d)", what,
               KOVA::Net::BaseUrl(cred->endpoint).c_str(), cred->account.c_str(), RuntimeCode(reply));
        return 0;
    }
    const Json::Value& sid = reply["data"]["sid"];
    if (!sid.isString() || sid.asString().empty()) {
        cred->lastError = KOVA_CRED_ERR_REPLY;
        return 0;
    }
    sess->token = sid.asString();
    cred->lastError = 0;
    return 1;
}

} // namespace

int CredRequestUtil::LoginWithOTP(KOVACred* cred, const std::string& otp, KOVACredSess* sess,
                                  Json::Value* reply)
{
    if (!cred || !sess)
        return 0;
    if (!Usable(cred) || cred->account.empty() || cred->password.empty()) {
        cred->lastError = KOVA_CRED_ERR_INVALID;
        return 0;
    }
    Json::Value body(Json::objectValue);
    body["method"] = "login";
    body["account"] = cred->account;
    body["passwd"] = cred->password;
    if (!otp.empty())
        body["otp_code"] = otp;
    Json::Value answer;
    if (!PostAuth(cred, body, std::string(), answer))
        return 0;
    if (reply)
        *reply = answer;
    return TakeSession(cred, answer, sess, "login");
}

int CredRequestUtil::Logout(KOVACred* cred, KOVACredSess* sess)
{
    if (!cred || !sess)
        return 0;
    if (sess->token.empty() || !Usable(cred)) {
        cred->lastError = KOVA_CRED_ERR_INVALID;
        return 0;
    }
    Json::Value body(Json::objectValue);
    body["method"] = "logout";
    Json::Value answer;
    if (!PostAuth(cred, body, sess->token, answer))
        return 0;
    if (!Succeeded(answer)) {
        cred->lastError = AuthFailure(answer);
        return 0;
    }
    sess->token.clear();
    cred->lastError = 0;
    return 1;
}

int CredRequestUtil::RenewNodeSession(KOVACred* cred, const std::string& remoteRodKey, KOVACredSess* sess)
{
    if (!cred || !sess)
        return 0;
    if (!Usable(cred) || sess->token.empty() || remoteRodKey.empty()) {
        cred->lastError = KOVA_CRED_ERR_INVALID;
        return 0;
    }
    Json::Value body(Json::objectValue);
    body["method"] = "node_renew";
    body["_sid"] = sess->token;
    body["rod_key"] = remoteRodKey;
    Json::Value answer;
    if (!PostAuth(cred, body, std::string(), answer))
        return 0;
    return TakeSession(cred, answer, sess, "node session renewal");
}

std::string CredRequestUtil::GetWebAPIPath(KOVACred* cred, const std::string& api)
{
    if (!cred)
        return std::string();
    if (!Usable(cred) || api.empty()) {
        cred->lastError = KOVA_CRED_ERR_INVALID;
        return std::string();
    }
    std::string path;
    const std::string key = PathKey(cred, api);
    if (Paths().find(key, path)) {
        cred->lastError = 0;
        return path;
    }
    Exchange exchange;
    exchange.path = "/webapi/query?api=" + UrlEncoded(api);
    exchange.get = true;
    const Result result = Exchange1(cred, exchange);
    if (result.error != 0) {
        cred->lastError = result.error;
        return std::string();
    }
    Json::Value reply;
    if (!ParseReply(cred, result, reply))
        return std::string();
    const Json::Value& entry = reply["data"][api];
    if (!Succeeded(reply) || !entry.isObject() || !entry["path"].isString() ||
        !ValidPathText(entry["path"].asString())) {
        cred->lastError = KOVA_CRED_ERR_REPLY;
        syslog(LOG_ERR, "kova-net: %s does not offer the web API %s (code %d)",
               KOVA::Net::BaseUrl(cred->endpoint).c_str(), api.c_str(), RuntimeCode(reply));
        return std::string();
    }
    path = entry["path"].asString();
    Paths().keep(key, path);
    cred->lastError = 0;
    return path;
}

namespace {

// The request object that CreateWebAPIRequest hands out: a copy of the connection, the session
// id and the body, so that it does not depend on cred and sess after its creation.
class WebAPIRequest : public CredRequest {
public:
    Endpoint endpoint;
    std::string path;
    std::string sessionId;
    std::string body;
    int error = 0;
    std::string response;
};

} // namespace

CredRequest* CredRequest::CreateWebAPIRequest(KOVACred* cred, KOVACredSess* sess, const std::string& api,
                                              int version, const std::string& method,
                                              const Json::Value& params)
{
    if (!Usable(cred) || !sess || api.empty() || method.empty())
        return nullptr;
    if (!params.isNull() && !params.isObject())
        return nullptr;
    auto* request = new (std::nothrow) WebAPIRequest;
    if (!request)
        return nullptr;
    request->endpoint = cred->endpoint;
    std::string path;
    request->path = "/webapi/" + (Paths().find(PathKey(cred, api), path) ? path : std::string("entry"));
    request->sessionId = sess->token;
    Json::Value body(Json::objectValue);
    body["api"] = api;
    body["version"] = version;
    body["method"] = method;
    body["params"] = params.isNull() ? Json::Value(Json::objectValue) : params;
    request->body = KOVA::toString(body);
    return request;
}

CredRequest::~CredRequest() = default;

bool CredRequest::Process(bool /*blocking*/, int timeoutSeconds)
{
    // Requests always run to their end on the caller's thread; timeoutSeconds above 0 replaces
    // the total time-out of the connection for this request.
    auto* self = static_cast<WebAPIRequest*>(this);
    Exchange exchange;
    exchange.path = self->path;
    exchange.body = self->body;
    exchange.sessionId = self->sessionId;
    exchange.totalTimeout = timeoutSeconds > 0 ? timeoutSeconds : 0;
    Result result = KOVA::Net::Perform(self->endpoint, exchange);
    self->error = result.error;
    self->response = std::move(result.body);
    return result.error == 0;
}

int CredRequest::GetError() const
{
    return static_cast<const WebAPIRequest*>(this)->error;
}

std::string CredRequest::GetResponse() const
{
    return static_cast<const WebAPIRequest*>(this)->response;
}

} // namespace KOVA

int KOVA::Net::SendRequest(KOVACred* cred, KOVACredSess* sess, const std::string& api,
                           const std::string& method, int version, const Json::Value& params,
                           Json::Value& reply)
{
    if (KOVA::CredRequestUtil::GetWebAPIPath(cred, api).empty())
        return KOVACredGetLastError(cred);
    std::unique_ptr<KOVA::CredRequest> request(
        KOVA::CredRequest::CreateWebAPIRequest(cred, sess, api, version, method, params));
    if (!request)
        return KOVA_CRED_ERR_INVALID;
    if (!request->Process(true, 0))
        return request->GetError();
    Json::Value parsed;
    if (!KOVA::fromString(parsed, request->GetResponse()) || !parsed.isObject())
        return KOVA_CRED_ERR_REPLY;
    reply = parsed;
    return 0;
}
