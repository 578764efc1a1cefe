// The remote calls of making a node (iscsi/ISCSINodeRemote.h) over the credential library:
// login with account, password and one-time code, KOVA.Core.ISCSI.Node create_session, get,
// add_node and delete_session. Registered with the storage library when libkova-net is loaded.
#include <iscsi/ISCSINodeRemote.h>

#include <kova/Cred.h>
#include <kova/JsonText.h>

#include "CredCall.h"

#include <memory>

namespace {

constexpr const char* kNodeApi = "KOVA.Core.ISCSI.Node";
constexpr int kNodeApiVersion = 1;

struct CredDeleter {
    void operator()(KOVACred* cred) const { KOVACredFree(cred); }
    void operator()(KOVACredSess* sess) const { KOVACredSessFree(sess); }
};
using CredPtr = std::unique_ptr<KOVACred, CredDeleter>;
using SessPtr = std::unique_ptr<KOVACredSess, CredDeleter>;

// The connection to remote; pinned to its certificate when one is known, else (HTTPS) taking
// the one it shows, which the caller reads after the first exchange.
int Connect(const ISCSI::ISCSINodeInfo& remote, CredPtr& cred, SessPtr& sess)
{
    cred.reset(KOVACredAlloc());
    sess.reset(KOVACredSessAlloc());
    if (!cred || !sess)
        return KOVA_CRED_ERR_TRANSFER;
    if (KOVACredItemSetHost(cred.get(), remote.hostname.c_str()) < 0 ||
        KOVACredItemSetPort(cred.get(), remote.port) < 0 ||
        KOVACredItemSetProtocol(cred.get(), remote.protocol.c_str()) < 0 ||
        KOVACredItemSetRemoteAccount(cred.get(), remote.account.c_str()) < 0 ||
        KOVACredItemSetRemotePasswd(cred.get(), remote.password.c_str()) < 0 ||
        KOVACredSessItemSetAccessToken(sess.get(), remote.session_id.c_str()) < 0)
        return KOVA_CRED_ERR_INVALID;
    const int pin = remote.cert_sha256.empty()
                        ? KOVACredItemSetTrustOnFirstUse(cred.get(), 1)
                        : KOVACredItemSetPinnedCertSha256(cred.get(), remote.cert_sha256.c_str());
    return pin < 0 ? KOVA_CRED_ERR_INVALID : 0;
}

// One method of the Node API with the session of sess: 0 with the reply's data, the remote's
// error code, or the credential library's.
int Call(KOVACred* cred, KOVACredSess* sess, const std::string& method, const Json::Value& params,
         Json::Value& data)
{
    Json::Value reply;
    const int rc = KOVA::Net::SendRequest(cred, sess, kNodeApi, method, kNodeApiVersion, params, reply);
    if (rc != 0)
        return rc;
    const Json::Value& error = reply["error"];
    if (error.isObject() && error["code"].isInt()) {
        const int code = error["code"].asInt();
        return code == 106 || code == 114 ? KOVA_CRED_ERR_SESSION : code;
    }
    if (!reply["success"].asBool())
        return KOVA_CRED_ERR_REPLY;
    data = reply["data"];
    return 0;
}

// One method with the node session (and pinned certificate) that remote holds.
int CallWithNodeSession(const ISCSI::ISCSINodeInfo& remote, const std::string& method,
                        const Json::Value& params)
{
    CredPtr cred;
    SessPtr sess;
    const int rc = Connect(remote, cred, sess);
    Json::Value data;
    return rc != 0 ? rc : Call(cred.get(), sess.get(), method, params, data);
}

int OpenSession(const ISCSI::ISCSINodeInfo& remote, std::string& sessionId, std::string& rodKey,
                std::string& certSha256)
{
    CredPtr cred;
    SessPtr login;
    int rc = Connect(remote, cred, login);
    if (rc != 0)
        return rc;
    if (!KOVA::CredRequestUtil::LoginWithOTP(cred.get(), remote.otp_code, login.get(), nullptr))
        return KOVACredGetLastError(cred.get());
    Json::Value data;
    rc = Call(cred.get(), login.get(), "create_session", Json::Value(Json::objectValue), data);
    std::string sid;
    if (rc == 0 && (!data["session_id"].isString() || data["session_id"].asString().empty()))
        rc = KOVA_CRED_ERR_REPLY;
    if (rc == 0)
        sid = data["session_id"].asString();
    const std::string cert = KOVACredGetPeerCertSha256(cred.get());
    KOVA::CredRequestUtil::Logout(cred.get(), login.get());
    if (rc != 0)
        return rc;

    // The remote's rod key, read with the node session itself (which proves that it works).
    ISCSI::ISCSINodeInfo withSession = remote;
    withSession.session_id = sid;
    withSession.cert_sha256 = cert;
    CredPtr again;
    SessPtr sess;
    rc = Connect(withSession, again, sess);
    if (rc == 0)
        rc = Call(again.get(), sess.get(), "get", Json::Value(Json::objectValue), data);
    if (rc != 0)
        return rc;
    sessionId = sid;
    rodKey = data["rod_key"].asString();
    certSha256 = cert;
    return 0;
}

int AddNode(const ISCSI::ISCSINodeInfo& remote, const ISCSI::ISCSINodeInfo& self)
{
    Json::Value entry;
    self.toJsonFormat(entry);
    Json::Value params(Json::objectValue);
    params["nodes"] = Json::Value(Json::arrayValue);
    params["nodes"].append(entry);
    return CallWithNodeSession(remote, "add_node", params);
}

int DeleteSession(const ISCSI::ISCSINodeInfo& remote)
{
    return CallWithNodeSession(remote, "delete_session", Json::Value(Json::objectValue));
}

const ISCSI::NodeRemoteCalls kCalls = {OpenSession, AddNode, DeleteSession};

struct Registration {
    Registration() { ISCSI::SetNodeRemoteCalls(&kCalls); }
} gRegistration;

} // namespace
