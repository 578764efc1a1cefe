#include "EntryService.h"

#include "LogText.h"
#include "WebPage.h"
#include "RequestText.h"

#include <kova/APIResponse.h>
#include <kova/JsonText.h>
#include <kova/Utf8Text.h>
#include <kova/WebAPIErrors.h>

#include <syslog.h>

#include <cstdio>
#include <cstring>
#include <exception>

namespace KOVA {
namespace Daemon {

namespace {

const char JSON_TYPE[] = "application/json";
const char RAW_TYPE[] = "application/octet-stream";

int ReadCall(const EntryInput& in, EntryCall& call)
{
    if (in.multipart) {
        FieldList fields = in.query;
        fields.insert(fields.end(), in.parts.begin(), in.parts.end());
        return ReadFieldCall(fields, call);
    }
    switch (ClassifyBody(in.contentType, in.body)) {
    case BodyKind::Json:
        return ReadJsonCall(in.body, call);
    case BodyKind::Form: {
        FieldList fields = in.query;
        FieldList form = DecodeForm(in.body);
        fields.insert(fields.end(), form.begin(), form.end());
        return ReadFieldCall(fields, call);
    }
    case BodyKind::Multipart:
        // A multipart body is read in parts by the HTTP layer; one that came as plain bytes
        // lacks its boundary.
        return WEBAPI_ERR_BAD_REQUEST;
    case BodyKind::Empty:
        break;
    }
    return ReadFieldCall(in.query, call);
}

// A body the handler wrote itself that says it is UTF-8 text (the log export) goes out valid
// UTF-8 whatever the stored lines hold; other bodies are bytes and stay as they are.
void RepairTextBody(EntryReply& out)
{
    const std::string& type = out.contentType;
    const bool text = type.compare(0, 5, "text/") == 0 || type.compare(0, 16, "application/json") == 0;
    if (text && !IsValidUtf8(out.body))
        out.body = RepairUtf8(out.body);
}

} // namespace

std::string SessionOf(const EntryInput& in, const EntryCall& call)
{
    if (!call.sid.empty())
        return call.sid;
    if (!in.sidHeader.empty())
        return in.sidHeader;
    return in.sidCookie;
}

int MakeAPIRequest(const EntryInput& in, Authenticator& auth, EntryCall& call,
                   std::unique_ptr<APIRequest>& request)
{
    if (in.bodyError != 0)
        return in.bodyError;
    int code = ReadCall(in, call);
    if (code == 0)
        code = CheckCallText(in, call);
    if (code != 0) {
        // What was read of a refused call is not kept (it may not be fit for the access log).
        call = EntryCall();
        return code;
    }
    const std::string sid = SessionOf(in, call);
    std::string account;
    code = auth.CheckSession(sid, in.remoteAddr, account);
    if (code == 0)
        code = CheckPageToken(call.sid, in.sidHeader, in.sidCookie, in.pageToken);
    if (code != 0)
        return code;
    request.reset(new APIRequest(call.params, in.remoteAddr, account, sid));
    return 0;
}

void RuntimeErrorReply(int code, EntryReply& out, const Json::Value& detail)
{
    out.status = HttpStatusOf(code);
    out.contentType = JSON_TYPE;
    out.body = ErrorEnvelope(code, detail);
}

namespace {

// A member of a login body: a string, or (for the one-time code) a whole number.
bool TakeText(const Json::Value& root, const char* name, bool numberToo, std::string& out,
              Json::Value& detail)
{
    const Json::Value* v = root.find(name, name + std::strlen(name));
    if (!v || v->isNull())
        return true;
    if (v->isString()) {
        out = v->asString();
        return true;
    }
    if (numberToo && (v->isInt() || v->isUInt()) && !v->isDouble() && v->asInt64() >= 0 &&
        v->asInt64() <= 999999) {
        char text[16];
        std::snprintf(text, sizeof text, "%06lld", static_cast<long long>(v->asInt64()));
        out = text;
        return true;
    }
    detail = std::string(name) + (numberToo ? ": a string of digits is required" : ": a string is required");
    return false;
}

// Reads a login or logout: the members of a JSON body, or the fields of a form, multipart body
// or query string taken as plain text (never as JSON, so that a password of digits stays text).
int ReadAuthCall(const EntryInput& in, AuthCall& call, Json::Value& detail)
{
    FieldList fields = in.query;
    bool json = false;
    if (in.multipart) {
        fields.insert(fields.end(), in.parts.begin(), in.parts.end());
    } else {
        switch (ClassifyBody(in.contentType, in.body)) {
        case BodyKind::Json:
            json = true;
            break;
        case BodyKind::Form: {
            const FieldList form = DecodeForm(in.body);
            fields.insert(fields.end(), form.begin(), form.end());
            break;
        }
        case BodyKind::Multipart:
            detail = "multipart body without its boundary";
            return WEBAPI_ERR_BAD_REQUEST;
        case BodyKind::Empty:
            break;
        }
    }
    if (json) {
        Json::Value root;
        if (!KOVA::fromString(root, in.body) || !root.isObject()) {
            detail = "the body is not a JSON object";
            return WEBAPI_ERR_BAD_REQUEST;
        }
        if (!TakeText(root, "method", false, call.method, detail) ||
            !TakeText(root, "account", false, call.account, detail) ||
            !TakeText(root, "passwd", false, call.password, detail) ||
            !TakeText(root, "otp_code", true, call.otpCode, detail) ||
            !TakeText(root, "_sid", false, call.sid, detail) ||
            !TakeText(root, "rod_key", false, call.key, detail))
            return WEBAPI_ERR_BAD_REQUEST;
        return 0;
    }
    for (const auto& field : fields) {
        if (field.first == "method")
            call.method = field.second;
        else if (field.first == "account")
            call.account = field.second;
        else if (field.first == "passwd")
            call.password = field.second;
        else if (field.first == "otp_code")
            call.otpCode = field.second;
        else if (field.first == "_sid")
            call.sid = field.second;
        else if (field.first == "rod_key")
            call.key = field.second;
    }
    return 0;
}

// Whether the query string of a login carries a secret: a URL ends up in the logs of proxies
// and servers and in histories, so such a login is refused before anything is checked (and
// the secret is then to be changed).
bool CredentialsInQuery(const FieldList& query)
{
    for (const auto& field : query) {
        if (field.first == "passwd" || field.first == "otp_code")
            return true;
    }
    return false;
}

Json::Value ApiInfo(int minVersion, int maxVersion)
{
    Json::Value info(Json::objectValue);
    info["path"] = "entry";
    info["minVersion"] = minVersion;
    info["maxVersion"] = maxVersion;
    return info;
}

} // namespace

void EntryService::HandleAuth(const EntryInput& in, EntryReply& out) const
{
    Json::Value detail;
    if (in.bodyError != 0) {
        RuntimeErrorReply(in.bodyError, out);
        return;
    }
    if (CredentialsInQuery(in.query)) {
        RuntimeErrorReply(WEBAPI_ERR_CREDENTIALS_IN_URL, out,
                          Json::Value("passwd and otp_code go in the request body, never in the URL"));
        return;
    }
    AuthCall call;
    int code = CheckRequestText(in);
    if (code != 0)
        detail = "a text of the request is not valid UTF-8 or holds a NUL character";
    else
        code = ReadAuthCall(in, call, detail);
    // A logout by the cookie alone needs the page's token like any other change.
    if (code == 0 && call.method == "logout")
        code = CheckPageToken(call.sid, in.sidHeader, in.sidCookie, in.pageToken);
    if (code == 0) {
        if (call.sid.empty())
            call.sid = !in.sidHeader.empty() ? in.sidHeader : in.sidCookie;
        out.apiMethod = "auth." + (call.method.size() <= 16 ? call.method : call.method.substr(0, 16));
        Json::Value data;
        code = auth_.Handle(call, in.remoteAddr, data, detail);
        if (code == 0) {
            out.status = 200;
            out.contentType = JSON_TYPE;
            out.body = SuccessEnvelope(data);
            return;
        }
    }
    RuntimeErrorReply(code, out, detail);
}

void EntryService::HandleQuery(const FieldList& fields, EntryReply& out) const
{
    std::string api;
    bool given = false;
    for (const auto& field : fields) {
        if (field.first == "api") {
            api = field.second;
            given = true;
        }
    }
    if (!given || api.empty()) {
        RuntimeErrorReply(WEBAPI_ERR_BAD_REQUEST, out,
                          Json::Value("api: an API name or \"all\" is required"));
        return;
    }
    Json::Value data(Json::objectValue);
    if (api == "all") {
        for (const auto& name : table_.ApiNames()) {
            int minVersion = 0;
            int maxVersion = 0;
            if (table_.ApiVersions(name, minVersion, maxVersion))
                data[name] = ApiInfo(minVersion, maxVersion);
        }
    } else {
        int minVersion = 0;
        int maxVersion = 0;
        if (!table_.ApiVersions(api, minVersion, maxVersion)) {
            RuntimeErrorReply(WEBAPI_ERR_NO_SUCH_API, out, Json::Value("no loaded module serves this API"));
            return;
        }
        data[api] = ApiInfo(minVersion, maxVersion);
    }
    out.status = 200;
    out.contentType = JSON_TYPE;
    out.body = SuccessEnvelope(data);
}

void EntryService::Handle(const EntryInput& in, EntryReply& out) const
{
    EntryCall call;
    std::unique_ptr<APIRequest> request;
    int code = MakeAPIRequest(in, auth_, call, request);
    if (!call.api.empty())
        out.apiMethod = call.api + "." + call.method;
    if (code != 0) {
        RuntimeErrorReply(code, out);
        return;
    }
    APIHandler handler = nullptr;
    code = table_.Find(call.api, call.version, call.method, handler);
    if (code != 0) {
        RuntimeErrorReply(code, out);
        return;
    }

    APIResponse response;
    std::string rawType;
    std::string rawBody;
    response.SetOutputSink([&rawType, &rawBody](const std::string& contentType, const std::string& body) {
        if (rawType.empty())
            rawType = contentType;
        rawBody += body;
    });
    try {
        APIOutputScope scope(&response);
        handler(request.get(), &response);
    } catch (const std::exception& e) {
        syslog(LOG_ERR, "%s.%s version %d: the handler threw: %s", LogField(call.api).c_str(),
               LogField(call.method).c_str(), call.version, LogField(e.what()).c_str());
        RuntimeErrorReply(WEBAPI_ERR_UNKNOWN, out);
        return;
    } catch (...) {
        syslog(LOG_ERR, "%s.%s version %d: the handler threw a non-standard exception",
               LogField(call.api).c_str(), LogField(call.method).c_str(), call.version);
        RuntimeErrorReply(WEBAPI_ERR_UNKNOWN, out);
        return;
    }

    out.status = 200;
    if (!response.IsOutputEnabled()) {
        // The handler made the body itself; whatever it wrote is the reply, also when it
        // wrote nothing or failed after turning output off.
        out.contentType = rawType.empty() ? RAW_TYPE : rawType;
        out.body.swap(rawBody);
        RepairTextBody(out);
        out.rawOutputError = response.GetError();
        return;
    }
    out.contentType = JSON_TYPE;
    if (response.GetError() != 0)
        out.body = ErrorEnvelope(response.GetError(), response.GetErrorData());
    else if (response.HasSuccess())
        out.body = SuccessEnvelope(response.GetData());
    else
        out.body = ErrorEnvelope(WEBAPI_ERR_NO_ANSWER);
}

} // namespace Daemon
} // namespace KOVA
