#include "EntryWire.h"

#include <kova/JsonText.h>
#include <kova/WebAPIErrors.h>

#include <limits>

namespace KOVA {
namespace Daemon {

namespace {

bool StartsWithNoCase(const std::string& text, const char* prefix)
{
    size_t i = 0;
    for (; prefix[i] != '\0'; ++i) {
        if (i >= text.size())
            return false;
        char c = text[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        if (c != prefix[i])
            return false;
    }
    return true;
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string DecodeComponent(const std::string& text, size_t begin, size_t end)
{
    std::string out;
    out.reserve(end - begin);
    for (size_t i = begin; i < end; ++i) {
        const char c = text[i];
        if (c == '+') {
            out += ' ';
        } else if (c == '%' && i + 2 < end) {
            const int hi = HexDigit(text[i + 1]);
            const int lo = HexDigit(text[i + 2]);
            if (hi < 0 || lo < 0) {
                out += c;
                continue;
            }
            out += static_cast<char>(hi * 16 + lo);
            i += 2;
        } else {
            out += c;
        }
    }
    return out;
}

// An integer of the int range, given as a JSON integer (a real, even a whole one, is not).
bool TakeVersion(const Json::Value& v, int& version)
{
    if (v.type() == Json::intValue) {
        const Json::Int64 i = v.asInt64();
        if (i < std::numeric_limits<int>::min() || i > std::numeric_limits<int>::max())
            return false;
        version = static_cast<int>(i);
        return true;
    }
    if (v.type() == Json::uintValue) {
        if (v.asUInt64() > static_cast<Json::UInt64>(std::numeric_limits<int>::max()))
            return false;
        version = static_cast<int>(v.asUInt64());
        return true;
    }
    return false;
}

bool IsNonEmptyString(const Json::Value& v)
{
    return v.isString() && !v.asString().empty();
}

const Json::Value* Member(const Json::Value& object, const std::string& name)
{
    return object.find(name.data(), name.data() + name.size());
}

} // namespace

BodyKind ClassifyBody(const std::string& contentType, const std::string& body)
{
    const size_t first = body.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return BodyKind::Empty;
    if (body[first] == '{')
        return BodyKind::Json;
    if (StartsWithNoCase(contentType, "application/x-www-form-urlencoded"))
        return BodyKind::Form;
    if (StartsWithNoCase(contentType, "multipart/form-data"))
        return BodyKind::Multipart;
    return BodyKind::Json;
}

FieldList DecodeForm(const std::string& text)
{
    FieldList fields;
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t end = text.find('&', pos);
        if (end == std::string::npos)
            end = text.size();
        if (end > pos) {
            const size_t eq = text.find('=', pos);
            if (eq == std::string::npos || eq > end)
                fields.emplace_back(DecodeComponent(text, pos, end), std::string());
            else
                fields.emplace_back(DecodeComponent(text, pos, eq), DecodeComponent(text, eq + 1, end));
        }
        pos = end + 1;
    }
    return fields;
}

Json::Value FieldValue(const std::string& text)
{
    Json::Value value;
    if (KOVA::fromString(value, text))
        return value;
    return Json::Value(text);
}

int ReadJsonCall(const std::string& body, EntryCall& call)
{
    Json::Value root;
    if (!KOVA::fromString(root, body) || !root.isObject())
        return WEBAPI_ERR_BAD_REQUEST;
    const Json::Value* api = Member(root, "api");
    const Json::Value* method = Member(root, "method");
    const Json::Value* version = Member(root, "version");
    if (!api || !IsNonEmptyString(*api) || !method || !IsNonEmptyString(*method))
        return WEBAPI_ERR_BAD_REQUEST;
    if (!version || !TakeVersion(*version, call.version))
        return WEBAPI_ERR_BAD_REQUEST;
    call.api = api->asString();
    call.method = method->asString();
    const Json::Value* sid = Member(root, "_sid");
    if (sid && sid->isString())
        call.sid = sid->asString();
    const Json::Value* params = Member(root, "params");
    if (!params) {
        call.params = Json::Value(Json::objectValue);
    } else if (params->isObject()) {
        call.params.swap(root["params"]);
    } else {
        return WEBAPI_ERR_BAD_PARAMS;
    }
    return 0;
}

int ReadFieldCall(const FieldList& fields, EntryCall& call)
{
    const std::string* api = nullptr;
    const std::string* method = nullptr;
    const std::string* version = nullptr;
    call.params = Json::Value(Json::objectValue);
    for (const auto& field : fields) {
        if (field.first == "api")
            api = &field.second;
        else if (field.first == "method")
            method = &field.second;
        else if (field.first == "version")
            version = &field.second;
        else if (field.first == "_sid")
            call.sid = field.second;
        else
            call.params[field.first] = FieldValue(field.second);
    }
    if (!api || api->empty() || !method || method->empty() || !version)
        return WEBAPI_ERR_BAD_REQUEST;
    Json::Value versionValue;
    if (!KOVA::fromString(versionValue, *version) || !TakeVersion(versionValue, call.version))
        return WEBAPI_ERR_BAD_REQUEST;
    call.api = *api;
    call.method = *method;
    return 0;
}

std::string SuccessEnvelope(const Json::Value& data)
{
    std::string text = "{\"success\":true,\"data\":";
    text += KOVA::toString(data);
    text += '}';
    return text;
}

std::string ErrorEnvelope(int code, const Json::Value& detail)
{
    std::string text = "{\"success\":false,\"error\":{\"code\":";
    text += std::to_string(code);
    if (!detail.isNull()) {
        text += ",\"detail\":";
        text += KOVA::toString(detail);
    }
    text += "}}";
    return text;
}

int HttpStatusOf(int runtimeCode)
{
    switch (runtimeCode) {
    case WEBAPI_ERR_BAD_REQUEST:
    case WEBAPI_ERR_BAD_PARAMS:
    case WEBAPI_ERR_CREDENTIALS_IN_URL:
    case WEBAPI_ERR_BAD_TEXT:
        return 400;
    case WEBAPI_ERR_NOT_LOGGED_IN:
    case WEBAPI_ERR_BAD_LOGIN:
    case WEBAPI_ERR_OTP_REQUIRED:
    case WEBAPI_ERR_BAD_OTP:
    case WEBAPI_ERR_SESSION_EXPIRED:
        return 401;
    case WEBAPI_ERR_TOO_MANY_ATTEMPTS:
        return 429;
    case WEBAPI_ERR_NO_SUCH_API:
    case WEBAPI_ERR_NO_SUCH_METHOD:
    case WEBAPI_ERR_NO_SUCH_VERSION:
        return 404;
    case WEBAPI_ERR_TOO_LARGE:
        return 413;
    case WEBAPI_ERR_PAGE_TOKEN:
        return 403;
    case WEBAPI_ERR_NO_ANSWER:
        return 200;
    default:
        return 500;
    }
}

std::string CookieValue(const std::string& header, const std::string& name)
{
    size_t pos = 0;
    while (pos < header.size()) {
        size_t end = header.find(';', pos);
        if (end == std::string::npos)
            end = header.size();
        size_t begin = header.find_first_not_of(' ', pos);
        if (begin != std::string::npos && begin < end) {
            const size_t eq = header.find('=', begin);
            if (eq != std::string::npos && eq < end && header.compare(begin, eq - begin, name) == 0 &&
                eq - begin == name.size()) {
                size_t valueEnd = end;
                while (valueEnd > eq + 1 && header[valueEnd - 1] == ' ')
                    --valueEnd;
                return header.substr(eq + 1, valueEnd - eq - 1);
            }
        }
        pos = end + 1;
    }
    return std::string();
}

} // namespace Daemon
} // namespace KOVA
