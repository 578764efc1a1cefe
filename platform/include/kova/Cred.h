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
}

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
