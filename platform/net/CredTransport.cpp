// The HTTP(S) exchanges of the credential library, on libcurl (see CredTransport.h).
#include "CredTransport.h"

#include <kova/Cred.h>

#include <iscsi/ISCSILogInfo.h>

#include <curl/curl.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <syslog.h>

#include <cctype>
#include <map>
#include <mutex>
#include <vector>

namespace KOVA {
namespace Net {
namespace {

// Idle handles kept per endpoint key; more are cleaned up when they come back.
constexpr std::size_t kIdleHandlesPerKey = 8;

void GlobalInit()
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

class HandlePool {
public:
    CURL* take(const std::string& key)
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            auto it = idle_.find(key);
            if (it != idle_.end() && !it->second.empty()) {
                CURL* handle = it->second.back();
                it->second.pop_back();
                return handle;
            }
        }
        return curl_easy_init();
    }

    void give(const std::string& key, CURL* handle)
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            auto& list = idle_[key];
            if (list.size() < kIdleHandlesPerKey) {
                list.push_back(handle);
                return;
            }
        }
        curl_easy_cleanup(handle);
    }

private:
    std::mutex mutex_;
    std::map<std::string, std::vector<CURL*>> idle_;
};

HandlePool& Pool()
{
    // Never destroyed: handles may still come back while the process ends.
    static HandlePool* pool = new HandlePool;
    return *pool;
}

// What the certificate check of one exchange needs and finds.
struct TlsCheck {
    std::string pinned;
    bool trustOnFirstUse = false;
    std::string seen;
    bool mismatch = false;
};

std::string Sha256Hex(X509* cert)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (!cert || X509_digest(cert, EVP_sha256(), digest, &length) != 1)
        return std::string();
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex += digits[digest[i] >> 4];
        hex += digits[digest[i] & 0x0F];
    }
    return hex;
}

// OpenSSL's whole-chain check, replaced: a pinned certificate is compared by fingerprint alone
// (a self-signed certificate of an appliance has no authority to chain to); trust on first use
// accepts and records; otherwise the ordinary chain verification runs.
int VerifyCertificate(X509_STORE_CTX* store, void* arg)
{
    auto* check = static_cast<TlsCheck*>(arg);
    check->seen = Sha256Hex(X509_STORE_CTX_get0_cert(store));
    if (!check->pinned.empty()) {
        if (check->seen == check->pinned)
            return 1;
        check->mismatch = true;
        X509_STORE_CTX_set_error(store, X509_V_ERR_CERT_REJECTED);
        return 0;
    }
    if (check->trustOnFirstUse)
        return 1;
    return X509_verify_cert(store);
}

CURLcode SetUpTlsContext(CURL*, void* sslCtx, void* arg)
{
    SSL_CTX_set_cert_verify_callback(static_cast<SSL_CTX*>(sslCtx), VerifyCertificate, arg);
    return CURLE_OK;
}

size_t CollectBody(char* data, size_t size, size_t count, void* userdata)
{
    auto* body = static_cast<std::string*>(userdata);
    body->append(data, size * count);
    return size * count;
}

int ErrorOfCurl(CURLcode code, const TlsCheck& check)
{
    if (check.mismatch)
        return KOVA_CRED_ERR_CERT_CHANGED;
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
        return KOVA_CRED_ERR_CONNECT;
    case CURLE_OPERATION_TIMEDOUT:
        return KOVA_CRED_ERR_TIMEOUT;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        return KOVA_CRED_ERR_TLS;
    default:
        return KOVA_CRED_ERR_TRANSFER;
    }
}

std::string PoolKey(const Endpoint& e)
{
    return e.protocol + "|" + e.host + "|" + std::to_string(e.port) + "|" + e.pinnedSha256 + "|" +
           (e.trustOnFirstUse ? "tofu" : "-") + "|" + e.caFile + "|" + e.sourceAddress;
}

} // namespace

std::string BaseUrl(const Endpoint& endpoint)
{
    const bool ipv6 = endpoint.host.find(':') != std::string::npos;
    return endpoint.protocol + "://" + (ipv6 ? "[" + endpoint.host + "]" : endpoint.host) + ":" +
           std::to_string(endpoint.port);
}

std::string NormalizeFingerprint(const std::string& text)
{
    std::string hex;
    for (char c : text) {
        if (c == ':')
            continue;
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            return std::string();
        hex += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return hex.size() == 64 ? hex : std::string();
}

Result Perform(const Endpoint& endpoint, const Exchange& exchange)
{
    GlobalInit();
    Result result;
    const std::string url = BaseUrl(endpoint) + exchange.path;
    const std::string key = PoolKey(endpoint);
    CURL* curl = Pool().take(key);
    if (!curl) {
        result.error = KOVA_CRED_ERR_TRANSFER;
        result.detail = "no curl handle";
        syslog(LOG_ERR, "kova-net: %s: %s", url.c_str(), result.detail.c_str());
        return result;
    }
    // A reset keeps the handle's open connections and TLS sessions, and clears every option.
    curl_easy_reset(curl);

    TlsCheck check;
    check.pinned = endpoint.pinnedSha256;
    check.trustOnFirstUse = endpoint.trustOnFirstUse;
    char errorBuffer[CURL_ERROR_SIZE] = {0};
    struct curl_slist* headers = nullptr;
    headers = curl_slist_append(headers, "Accept: application/json");
    if (!exchange.body.empty())
        headers = curl_slist_append(headers, "Content-Type: application/json");
    if (!exchange.sessionId.empty())
        headers = curl_slist_append(headers, ("X-Kova-Sid: " + exchange.sessionId).c_str());
    // No "Expect: 100-continue" round trip for larger bodies.
    headers = curl_slist_append(headers, "Expect:");

    const int total = exchange.totalTimeout > 0 ? exchange.totalTimeout : endpoint.totalTimeout;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, static_cast<long>(endpoint.connectTimeout));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, static_cast<long>(total));
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorBuffer);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, CollectBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &result.body);
    // Proxies of the environment are not for appliances talking to each other.
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    const std::string source = "host!" + endpoint.sourceAddress;
    if (!endpoint.sourceAddress.empty())
        curl_easy_setopt(curl, CURLOPT_INTERFACE, source.c_str());
    if (exchange.get) {
        curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
    } else {
        curl_easy_setopt(curl, CURLOPT_POST, 1L);
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, exchange.body.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(exchange.body.size()));
    }
    if (endpoint.protocol == "https") {
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
        const bool byFingerprint = !endpoint.pinnedSha256.empty() || endpoint.trustOnFirstUse;
        // A pinned certificate names the remote exactly; its host names do not matter.
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, byFingerprint ? 0L : 2L);
        if (!endpoint.caFile.empty())
            curl_easy_setopt(curl, CURLOPT_CAINFO, endpoint.caFile.c_str());
        curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, SetUpTlsContext);
        curl_easy_setopt(curl, CURLOPT_SSL_CTX_DATA, &check);
    }

    const CURLcode code = curl_easy_perform(curl);
    curl_slist_free_all(headers);
    result.peerSha256 = check.seen;
    if (code == CURLE_OK) {
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &result.status);
        Pool().give(key, curl);
        return result;
    }
    // A handle that failed is not reused: its connection state is unknown.
    curl_easy_cleanup(curl);
    result.error = ErrorOfCurl(code, check);
    result.body.clear();
    result.detail = errorBuffer[0] ? errorBuffer : curl_easy_strerror(code);
    if (result.error == KOVA_CRED_ERR_CERT_CHANGED) {
        const std::string message = "The node at " + BaseUrl(endpoint) +
                                    " showed a certificate other than the one pinned for it (SHA-256 " +
                                    check.seen + ", pinned " + check.pinned +
                                    "); the connection was refused.";
        syslog(LOG_ERR, "kova-net: %s", message.c_str());
        KOVAiSCSIServiceLogWrite("err", message.c_str());
    } else {
        syslog(LOG_ERR, "kova-net: %s%s failed: %s (code %d)", BaseUrl(endpoint).c_str(),
               exchange.path.c_str(), result.detail.c_str(), result.error);
    }
    return result;
}

} // namespace Net
} // namespace KOVA
