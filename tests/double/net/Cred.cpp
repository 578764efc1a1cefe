// Recording double of the credential library: see NodeChannel.h.
#include "../LibDouble.h"

#include <kova/Cred.h>

using namespace KOVATest;

struct KOVACred {};
struct KOVACredSess {};

namespace {

bool Failed(const char* op, const Json::Value& args = Args())
{
    return LibDouble::Get().Record(op, args).code != 0;
}

int Code(const char* op, const Json::Value& args)
{
    return LibDouble::Get().Record(op, args).code;
}

} // namespace

extern "C" {

KOVACred* KOVACredAlloc(void)
{
    return Failed("KOVACredAlloc") ? nullptr : new KOVACred;
}

void KOVACredFree(KOVACred* cred)
{
    LibDouble::Get().Record("KOVACredFree", Args());
    delete cred;
}

KOVACredSess* KOVACredSessAlloc(void)
{
    return Failed("KOVACredSessAlloc") ? nullptr : new KOVACredSess;
}

void KOVACredSessFree(KOVACredSess* sess)
{
    LibDouble::Get().Record("KOVACredSessFree", Args());
    delete sess;
}

int KOVACredItemSetHost(KOVACred*, const char* host)
{
    return Code("KOVACredItemSetHost", Args(host));
}

int KOVACredItemSetPort(KOVACred*, int port)
{
    return Code("KOVACredItemSetPort", Args(port));
}

int KOVACredItemSetProtocol(KOVACred*, const char* protocol)
{
    return Code("KOVACredItemSetProtocol", Args(protocol));
}

int KOVACredItemSetRemoteAccount(KOVACred*, const char* account)
{
    return Code("KOVACredItemSetRemoteAccount", Args(account));
}

int KOVACredItemSetRemotePasswd(KOVACred*, const char* password)
{
    return Code("KOVACredItemSetRemotePasswd", Args(password));
}

int KOVACredSessItemSetAccessToken(KOVACredSess*, const char* token)
{
    return Code("KOVACredSessItemSetAccessToken", Args(token));
}

} // extern "C"

namespace KOVA {

int CredRequestUtil::LoginWithOTP(KOVACred*, const std::string& otp, KOVACredSess*, Json::Value* reply)
{
    const LibResult r = LibDouble::Get().Record("CredRequestUtil::LoginWithOTP", Args(otp));
    if (reply)
        Output(r, "reply", *reply);
    return r.code != 0 ? 0 : 1;
}

int CredRequestUtil::Logout(KOVACred*, KOVACredSess*)
{
    return Code("CredRequestUtil::Logout", Args());
}

std::string CredRequestUtil::GetWebAPIPath(KOVACred*, const std::string& api)
{
    const LibResult r = LibDouble::Get().Record("CredRequestUtil::GetWebAPIPath", Args(api));
    std::string path = "entry";
    Output(r, "path", path);
    return r.code != 0 ? std::string() : path;
}

CredRequest* CredRequest::CreateWebAPIRequest(KOVACred*, KOVACredSess*, const std::string& api, int version,
                                              const std::string& method, const Json::Value& params)
{
    return Failed("CredRequest::CreateWebAPIRequest", Args(api, version, method, params)) ? nullptr
                                                                                          : new CredRequest;
}

CredRequest::~CredRequest()
{
    LibDouble::Get().Record("CredRequest::delete", Args());
}

bool CredRequest::Process(bool blocking, int timeoutSeconds)
{
    return !Failed("CredRequest::Process", Args(blocking, timeoutSeconds));
}

int CredRequest::GetError() const
{
    int error = 0;
    Output(LibDouble::Get().Record("CredRequest::GetError", Args()), "error", error);
    return error;
}

std::string CredRequest::GetResponse() const
{
    std::string response;
    Output(LibDouble::Get().Record("CredRequest::GetResponse", Args()), "response", response);
    return response;
}

} // namespace KOVA
