// What every handler of the module repeats: reading the parameter object, the debug line
// before the checks, the first failing check, and the error line at the end.
//
// The shape of a handler:
//     void Method(KOVA::APIRequest* request, KOVA::APIResponse* response)
//     {
//         KOVA::APIParameter<std::string> uuid = request->GetAndCheckString("uuid", REQUIRED, IsValidUuid);
//         const Json::Value params = request->GetParam("", Json::nullValue);
//         ISCSI::LIB::... lib;
//         WEBAPI_LOG_DEBUG(params);
//         if (!RejectFirstInvalid(response, {{uuid, 18991001}})) {
//             lib = ISCSI::LIB::...(uuid.Get());
//             AnswerResult(response, lib.operation(), reply);
//         }
//         WEBAPI_LOG_ERROR(response, params);
//     }
#pragma once

#include <iscsi/ISCSIErrors.h>
#include <kova/APIRequest.h>
#include <kova/APIResponse.h>
#include <kova/JsonText.h>

#include <json/json.h>
#include <syslog.h>

#include <cstddef>
#include <initializer_list>
#include <string>

namespace ISCSI {
namespace WebAPI {

constexpr KOVA::APIRequest::PARAM_NECESSITY REQUIRED = KOVA::APIRequest::PARAM_REQUIRED;
constexpr KOVA::APIRequest::PARAM_NECESSITY OPTIONAL = KOVA::APIRequest::PARAM_OPTIONAL;

// The base name of a source path, at compile time.
constexpr const char* SourceBaseName(const char* path)
{
    const char* base = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/')
            base = p + 1;
    return base;
}

// The debug line of a request: its parameters as they came, secrets included. Skipped
// without building the text when the process masks debug lines out of syslog.
inline void LogDebug(const char* file, int line, const char* function, const Json::Value& params)
{
    if (!(setlogmask(0) & LOG_MASK(LOG_DEBUG)))
        return;
    syslog(LOG_DEBUG, "[D] iSCSIWebAPI:%s:%d:%s %s", file, line, function, KOVA::toString(params).c_str());
}

// The error line of a failed request: its code, the code's text and all its parameters.
inline void LogError(const char* file, int line, const char* function, const KOVA::APIResponse* response,
                     const Json::Value& params)
{
    if (response->GetError() == 0)
        return;
    syslog(LOG_ERR, "[E] iSCSIWebAPI:%s:%d:%s error code: %d (%s) [%s]", file, line, function,
           response->GetError(), KOVAiSCSIStrError(response->GetError()), KOVA::toString(params).c_str());
}

// A parameter and the code a method answers when it is invalid.
struct ParamCheck {
    const KOVA::APIParameterState& param;
    int code;
};

// Tests the parameters in the given order; the first invalid one sets its code on the
// response. True when one was invalid.
inline bool RejectFirstInvalid(KOVA::APIResponse* response, std::initializer_list<ParamCheck> checks)
{
    for (const ParamCheck& check : checks) {
        if (check.param.IsInvalid()) {
            response->SetError(check.code, Json::nullValue);
            return true;
        }
    }
    return false;
}

// Passes a library result on: 0 answers success with reply, another code is the error.
inline void AnswerResult(KOVA::APIResponse* response, int result, const Json::Value& reply)
{
    if (result != 0)
        response->SetError(result, Json::nullValue);
    else
        response->SetSuccess(reply);
}

// A word of an "additional" parameter and the flag it sets.
struct WordFlag {
    const char* word;
    int flag;
};

// The flag word of an "additional" array: each element is read as a string, the way every
// method of the module reads array elements (JsonCpp's asString: a number or a boolean gives
// its text and null the empty text, so none of them names a word; an array or an object
// throws Json::LogicError, which the runtime answers with its code 100). Each word of the
// table sets its flag; other words are ignored.
template <std::size_t N> int FlagsOfWords(const Json::Value& words, const WordFlag (&table)[N])
{
    int flags = 0;
    for (const Json::Value& element : words) {
        const std::string text = element.asString();
        for (const WordFlag& entry : table)
            if (text == entry.word)
                flags |= entry.flag;
    }
    return flags;
}

} // namespace WebAPI
} // namespace ISCSI

#define WEBAPI_LOG_DEBUG(params)                                                                             \
    ::ISCSI::WebAPI::LogDebug(::ISCSI::WebAPI::SourceBaseName(__FILE__), __LINE__, __func__, (params))
#define WEBAPI_LOG_ERROR(response, params)                                                                   \
    ::ISCSI::WebAPI::LogError(::ISCSI::WebAPI::SourceBaseName(__FILE__), __LINE__, __func__, (response),     \
                              (params))
// A specific fault, in the form "iSCSI:<source>:<line>:<function> <text>".
#define WEBAPI_LOG_FAULT(format, ...) WEBAPI_LOG_FAULT_IN(__func__, format, ##__VA_ARGS__)
// The same, on behalf of the named function (a step shared by several functions).
#define WEBAPI_LOG_FAULT_IN(function, format, ...)                                                           \
    syslog(LOG_ERR, "iSCSI:%s:%d:%s " format, ::ISCSI::WebAPI::SourceBaseName(__FILE__), __LINE__,           \
           (function), ##__VA_ARGS__)
