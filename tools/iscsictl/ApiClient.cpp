#include "ApiClient.h"

#include <iscsi/ISCSIErrors.h>
#include <kova/WebAPIErrors.h>

#include <curl/curl.h>

#include <memory>
#include <utility>

namespace iscsictl {

std::string ErrorText(int code)
{
    if (code >= 100 && code < 1000)
        return KOVA::WebAPIErrorText(code);
    return KOVAiSCSIStrError(code);
}

Failure ErrorFailure(int code, const std::string& method)
{
    std::string message = "error " + std::to_string(code) + ": " + ErrorText(code);
    if (!method.empty())
        message = method + ": " + message;
    switch (code) {
    case KOVA::WEBAPI_ERR_NOT_LOGGED_IN:
    case KOVA::WEBAPI_ERR_SESSION_EXPIRED:
        return Failure(EXIT_AUTH, message + "; log in again with 'iscsictl login'");
    case KOVA::WEBAPI_ERR_BAD_LOGIN:
    case KOVA::WEBAPI_ERR_OTP_REQUIRED:
    case KOVA::WEBAPI_ERR_BAD_OTP:
    case KOVA::WEBAPI_ERR_TOO_MANY_ATTEMPTS:
        return Failure(EXIT_AUTH, message);
    default:
        return Failure(EXIT_REFUSED, message);
    }
}

namespace {

size_t Collect(char* data, size_t size, size_t count, void* out)
{
    static_cast<std::string*>(out)->append(data, size * count);
    return size * count;
}

std::string Compact(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

} // namespace

ApiClient::ApiClient(Connection connection) : connection_(std::move(connection)), curl_(curl_easy_init())
{
    while (!connection_.url.empty() && connection_.url.back() == '/')
        connection_.url.pop_back();
    if (!curl_)
        throw Failure(EXIT_CONNECTION, "cannot set up the HTTP client");
}

ApiClient::~ApiClient()
{
    curl_easy_cleanup(static_cast<CURL*>(curl_));
}

Reply ApiClient::Post(const std::string& path, const Json::Value& body)
{
    CURL* curl = static_cast<CURL*>(curl_);
    const std::string url = connection_.url + path;
    const std::string text = Compact(body);
    std::string received;
    std::string headersReceived;

    struct curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
    if (!sid_.empty())
        headers = curl_slist_append(headers, ("X-Kova-Sid: " + sid_).c_str());
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headerList(headers, curl_slist_free_all);

    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, text.c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(text.size()));
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &received);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, Collect);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &headersReceived);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 10L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, connection_.insecure ? 0L : 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, connection_.insecure ? 0L : 2L);
    if (!connection_.caFile.empty())
        curl_easy_setopt(curl, CURLOPT_CAINFO, connection_.caFile.c_str());

    const CURLcode rc = curl_easy_perform(curl);
    if (rc != CURLE_OK) {
        std::string message = "cannot reach " + connection_.url + ": " + curl_easy_strerror(rc);
        if (rc == CURLE_PEER_FAILED_VERIFICATION || rc == CURLE_SSL_CACERT_BADFILE)
            message +=
                " (trust the daemon's certificate with --cacert FILE, or skip the check with --insecure)";
        throw Failure(EXIT_CONNECTION, message);
    }
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    char* type = nullptr;
    curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &type);

    Reply reply;
    reply.contentType = type ? type : "";
    if (reply.contentType.rfind("application/json", 0) != 0) {
        // A handler's own body (the log export): its error, if any, is in X-WebAPI-Error.
        const std::string marker = "x-webapi-error:";
        std::string lower = headersReceived;
        for (char& c : lower)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        const size_t at = lower.find(marker);
        if (at != std::string::npos) {
            reply.code = std::atoi(headersReceived.c_str() + at + marker.size());
            return reply;
        }
        if (status != 200)
            throw Failure(EXIT_CONNECTION,
                          url + " answered HTTP " + std::to_string(status) + " without a reply");
        reply.success = true;
        reply.raw = true;
        reply.body = std::move(received);
        return reply;
    }

    Json::Value envelope;
    Json::CharReaderBuilder builder;
    std::string errors;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    if (!reader->parse(received.data(), received.data() + received.size(), &envelope, &errors) ||
        !envelope.isObject() || !envelope["success"].isBool())
        throw Failure(EXIT_CONNECTION, url + " answered HTTP " + std::to_string(status) +
                                           " with no reply of the web API (is this the service's address?)");
    reply.success = envelope["success"].asBool();
    if (reply.success) {
        reply.data = envelope["data"];
    } else {
        reply.code = envelope["error"]["code"].asInt();
        reply.detail = envelope["error"]["detail"];
    }
    return reply;
}

Reply ApiClient::Login(const std::string& account, const std::string& password, const std::string& otpCode)
{
    Json::Value body;
    body["method"] = "login";
    body["account"] = account;
    body["passwd"] = password;
    if (!otpCode.empty())
        body["otp_code"] = otpCode;
    return Post("/webapi/auth", body);
}

Reply ApiClient::Logout()
{
    Json::Value body;
    body["method"] = "logout";
    return Post("/webapi/auth", body);
}

Reply ApiClient::Call(const std::string& api, const std::string& method, const Json::Value& params)
{
    Json::Value body;
    body["api"] = api;
    body["version"] = 1;
    body["method"] = method;
    body["params"] = params.isNull() ? Json::Value(Json::objectValue) : params;
    return Post("/webapi/entry", body);
}

} // namespace iscsictl
