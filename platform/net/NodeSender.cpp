// The node channel: a web-API request to another appliance known by its node uuid, sent with
// the node session kept in its node record.
#include <kova/NodeSender.h>

#include "CredCall.h"

#include <kova/Cred.h>
#include <kova/JsonText.h>

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILogInfo.h>
#include <iscsi/ISCSINodeInfo.h>

#include <syslog.h>

#include <memory>

namespace KovaDRNode {
namespace {

struct CredDeleter {
    void operator()(KOVACred* cred) const { KOVACredFree(cred); }
    void operator()(KOVACredSess* sess) const { KOVACredSessFree(sess); }
};
using CredPtr = std::unique_ptr<KOVACred, CredDeleter>;
using SessPtr = std::unique_ptr<KOVACredSess, CredDeleter>;

// A failure of the channel: one syslog line and one line of the service log.
void Report(const std::string& uuid, const std::string& api, const std::string& method, int code,
            const std::string& why)
{
    const std::string message = "The request " + api + "." + method + " to the node " + uuid +
                                " failed: " + why + " (code " + std::to_string(code) + ", " +
                                KOVAiSCSIStrError(code) + ").";
    syslog(LOG_ERR, "kova-net: node channel: %s", message.c_str());
    KOVAiSCSIServiceLogWrite("err", message.c_str());
}

bool SessionRefused(const Json::Value& reply)
{
    const Json::Value& error = reply["error"];
    if (!reply.isObject() || !error.isObject() || !error["code"].isInt())
        return false;
    const int code = error["code"].asInt();
    return code == 106 || code == 114; // the daemon's unknown and expired session
}

} // namespace

NodeSender::NodeSender() = default;
NodeSender::~NodeSender() = default;

bool NodeSender::process(const std::string& uuid, const std::string& api, const std::string& method,
                         int version, const Json::Value& params, Json::Value& reply)
{
    lastError_ = 0;
    ISCSI::ISCSINodeInfo node(uuid);
    int rc = uuid.empty() ? static_cast<int>(KOVA_CRED_ERR_INVALID) : node.loadFromConfig();
    if (rc != 0) {
        lastError_ = rc;
        Report(uuid, api, method, rc, "the node is not in the node configuration");
        return false;
    }
    if (node.session_id.empty()) {
        lastError_ = KOVA_NODE_ERR_NO_SESSION;
        Report(uuid, api, method, lastError_, "no session is kept for the node");
        return false;
    }
    CredPtr cred(KOVACredAlloc());
    SessPtr sess(KOVACredSessAlloc());
    if (!cred || !sess) {
        lastError_ = KOVA_CRED_ERR_TRANSFER;
        Report(uuid, api, method, lastError_, "out of memory");
        return false;
    }
    const bool pinned = !node.cert_sha256.empty();
    if (KOVACredItemSetHost(cred.get(), node.hostname.c_str()) < 0 ||
        KOVACredItemSetPort(cred.get(), node.port) < 0 ||
        KOVACredItemSetProtocol(cred.get(), node.protocol.c_str()) < 0 ||
        KOVACredSessItemSetAccessToken(sess.get(), node.session_id.c_str()) < 0 ||
        (pinned && KOVACredItemSetPinnedCertSha256(cred.get(), node.cert_sha256.c_str()) < 0) ||
        // A node added by the other side (add_node) comes without a certificate: the first
        // contact pins the one it shows.
        (!pinned && KOVACredItemSetTrustOnFirstUse(cred.get(), 1) < 0)) {
        lastError_ = KOVA_CRED_ERR_INVALID;
        Report(uuid, api, method, lastError_,
               "the node record lacks a usable address (" + node.toString() + ")");
        return false;
    }

    Json::Value answer;
    rc = KOVA::Net::SendRequest(cred.get(), sess.get(), api, method, version, params, answer);
    bool changed = false;
    if (rc == 0 && SessionRefused(answer)) {
        // The remote no longer knows the session: renew it once with what the record keeps,
        // and try again.
        if (!KOVA::CredRequestUtil::RenewNodeSession(cred.get(), node.rod_key, sess.get())) {
            lastError_ = KOVA_NODE_ERR_NO_SESSION;
            Report(uuid, api, method, lastError_,
                   "the node refused the session and its renewal (code " +
                       std::to_string(KOVACredGetLastError(cred.get())) + ")");
            return false;
        }
        node.session_id = KOVACredSessGetAccessToken(sess.get());
        changed = true;
        syslog(LOG_INFO, "kova-net: node channel: the session with the node %s was renewed", uuid.c_str());
        answer = Json::Value();
        rc = KOVA::Net::SendRequest(cred.get(), sess.get(), api, method, version, params, answer);
        if (rc == 0 && SessionRefused(answer))
            rc = KOVA_NODE_ERR_NO_SESSION;
    }
    if (!pinned && node.protocol == "https" && *KOVACredGetPeerCertSha256(cred.get())) {
        node.cert_sha256 = KOVACredGetPeerCertSha256(cred.get());
        changed = true;
    }
    if (changed) {
        const int stored = node.updateConfig(false, false);
        if (stored != 0)
            syslog(LOG_ERR,
                   "kova-net: node channel: cannot keep the renewed session or certificate of the node %s "
                   "(code %d)",
                   uuid.c_str(), stored);
    }
    if (rc != 0) {
        lastError_ = rc;
        Report(uuid, api, method, rc, "the node could not be reached or did not answer");
        return false;
    }
    reply = answer;
    return true;
}

} // namespace KovaDRNode
