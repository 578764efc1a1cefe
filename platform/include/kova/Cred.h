// The credential library: the client side of a web-API call to another appliance, over a
// session id or a login with account, password and one-time code.
#pragma once

#include <json/json.h>

#include <string>

extern "C" {
typedef struct KOVACred KOVACred;         // where and as whom to connect
typedef struct KOVACredSess KOVACredSess; // a session on the remote side

KOVACred* KOVACredAlloc(void);
void KOVACredFree(KOVACred* cred);
KOVACredSess* KOVACredSessAlloc(void);
void KOVACredSessFree(KOVACredSess* sess);

// Setters answer 0 on success and a negative value on failure.
int KOVACredItemSetHost(KOVACred* cred, const char* host);
int KOVACredItemSetPort(KOVACred* cred, int port);
int KOVACredItemSetProtocol(KOVACred* cred, const char* protocol);
int KOVACredItemSetRemoteAccount(KOVACred* cred, const char* account);
int KOVACredItemSetRemotePasswd(KOVACred* cred, const char* password);
int KOVACredSessItemSetAccessToken(KOVACredSess* sess, const char* token);

// How an HTTPS remote is verified (the protocol "http" is never verified):
//  - a pinned certificate (KOVACredItemSetPinnedCertSha256): the remote's certificate must have
//    exactly that SHA-256 fingerprint (64 hex digits, ':' between bytes allowed); the
//    certificate authority and the host name are not looked at;
//  - trust on first use (KOVACredItemSetTrustOnFirstUse with 1): any certificate is accepted
//    and its fingerprint kept (KOVACredGetPeerCertSha256), for the first contact with a node;
//  - otherwise the system's certificate authorities (or the file KOVACredItemSetCAFile names)
//    and the host name.
int KOVACredItemSetPinnedCertSha256(KOVACred* cred, const char* fingerprint);
int KOVACredItemSetTrustOnFirstUse(KOVACred* cred, int enable);
int KOVACredItemSetCAFile(KOVACred* cred, const char* path);
// Seconds to connect and for a whole exchange (both at least 1). The defaults are
// KOVA_CRED_CONNECT_TIMEOUT and KOVA_CRED_TOTAL_TIMEOUT.
int KOVACredItemSetTimeouts(KOVACred* cred, int connectSeconds, int totalSeconds);
// The SHA-256 fingerprint (64 lower-case hex digits) of the certificate the remote showed in
// the last HTTPS exchange of cred that made a new connection; empty when none.
const char* KOVACredGetPeerCertSha256(const KOVACred* cred);
// The code of the last failure of LoginWithOTP, Logout or GetWebAPIPath on cred (one of
// KOVA_CRED_ERR_*), 0 after a success.
int KOVACredGetLastError(const KOVACred* cred);
// The session id that sess holds, or the empty text.
const char* KOVACredSessGetAccessToken(const KOVACredSess* sess);
}

// Default time-outs of the credential library, in seconds: a remote that does not accept the
// connection within the first, or does not finish a reply within the second, fails the request.
#define KOVA_CRED_CONNECT_TIMEOUT 3
#define KOVA_CRED_TOTAL_TIMEOUT 20

// Failure codes of the credential library and the node channel (GetError, KOVACredGetLastError,
// NodeSender::lastError, which also answers the node configuration's codes). Their texts are in
// KOVAiSCSIStrError.
enum {
    // The connection data is incomplete (no host, port or protocol), or a setter got a bad value.
    KOVA_CRED_ERR_INVALID = 18999300,
    // The remote could not be reached: refused, no route, or the name did not resolve.
    KOVA_CRED_ERR_CONNECT = 18999301,
    // The remote did not answer within the time-out.
    KOVA_CRED_ERR_TIMEOUT = 18999302,
    // The TLS handshake with the remote failed, or its certificate could not be verified.
    KOVA_CRED_ERR_TLS = 18999303,
    // The remote showed another certificate than the one pinned for it.
    KOVA_CRED_ERR_CERT_CHANGED = 18999304,
    // The reply was not the expected JSON.
    KOVA_CRED_ERR_REPLY = 18999305,
    // The remote refused the login: unknown account or wrong password (or locked out).
    KOVA_CRED_ERR_LOGIN = 18999306,
    // The remote refused the one-time code, or wanted one and none was given.
    KOVA_CRED_ERR_OTP = 18999307,
    // The remote does not know the session (never made, ended or expired).
    KOVA_CRED_ERR_SESSION = 18999308,
    // Any other failure of the transfer (out of memory, protocol error).
    KOVA_CRED_ERR_TRANSFER = 18999309,
    // The node channel: the node has no session here, or the remote refused it and it could not
    // be renewed.
    KOVA_NODE_ERR_NO_SESSION = 18999310,
};

namespace KOVA {

class CredRequestUtil {
public:
    // Logs in on the remote side with the account and password of cred and the one-time code
    // otp; on success sess holds the session and 1 is answered, 0 on failure. reply, when
    // given, receives the remote answer.
    static int LoginWithOTP(KOVACred* cred, const std::string& otp, KOVACredSess* sess, Json::Value* reply);
    static int Logout(KOVACred* cred, KOVACredSess* sess);
    // The remote path of api (for example "entry"); empty on failure.
    static std::string GetWebAPIPath(KOVACred* cred, const std::string& api);
    // Renews the node session that sess holds on the remote side, proving it with the remote's
    // own rod key: on success sess holds the new session and 1 is answered, 0 on failure
    // (KOVACredGetLastError tells why).
    static int RenewNodeSession(KOVACred* cred, const std::string& remoteRodKey, KOVACredSess* sess);
};

class CredRequest {
public:
    // A new request owned by the caller (delete it); null on failure.
    static CredRequest* CreateWebAPIRequest(KOVACred* cred, KOVACredSess* sess, const std::string& api,
                                            int version, const std::string& method,
                                            const Json::Value& params);
    virtual ~CredRequest();

    // Carries out the request; false on failure (GetError tells why).
    bool Process(bool blocking, int timeoutSeconds);
    int GetError() const;
    // The reply's text.
    std::string GetResponse() const;

protected:
    CredRequest() = default;
};

} // namespace KOVA
