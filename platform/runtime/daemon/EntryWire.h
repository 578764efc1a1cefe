// The wire format of the web-API entry point: how a call is read from a request's body and
// fields, and how the reply envelope is written.
#pragma once

#include <json/json.h>

#include <string>
#include <utility>
#include <vector>

namespace KOVA {
namespace Daemon {

// One call of the entry point: which method of which API, and its parameter object.
struct EntryCall {
    std::string api;
    int version = 0;
    std::string method;
    Json::Value params{Json::objectValue};
    // The session the call names with "_sid" (a top-level member of a JSON body, or a field),
    // empty when it names none. It is not a parameter.
    std::string sid;
};

// Name and value pairs in the order they came (query string, form or multipart body).
using FieldList = std::vector<std::pair<std::string, std::string>>;

// How a request body is to be read.
enum class BodyKind {
    Empty,     // no body: the call is in the query string
    Json,      // {"api":..., "version":..., "method":..., "params":{...}}
    Form,      // application/x-www-form-urlencoded fields
    Multipart, // multipart/form-data fields
};

// A body whose first non-blank byte is '{' is JSON whatever its content type says (curl -d
// sends JSON as a form unless told otherwise); a form or multipart content type makes fields;
// any other non-empty body is read as JSON.
BodyKind ClassifyBody(const std::string& contentType, const std::string& body);

// Decodes an application/x-www-form-urlencoded text: '&' separates fields, the first '='
// separates name and value, '+' is a space and %XX a byte. A malformed escape stays as it is.
FieldList DecodeForm(const std::string& text);

// Reads a call from a JSON body. Answers 0, WEBAPI_ERR_BAD_REQUEST (not JSON, not an object,
// api or method missing or not a non-empty string, version missing or not an integer) or
// WEBAPI_ERR_BAD_PARAMS ("params" present but not an object). A string "_sid" names the
// session; other members are ignored.
int ReadJsonCall(const std::string& body, EntryCall& call);

// Reads a call from fields: "api", "version" and "method" name the method, every other field
// names the session when it is "_sid", else it is a parameter whose value is JSON when it parses as JSON and
// a plain string otherwise. The last of several fields of one name counts. Answers 0 or
// WEBAPI_ERR_BAD_REQUEST.
int ReadFieldCall(const FieldList& fields, EntryCall& call);

// The value of a field: its JSON value when the text parses, else the text as a string.
Json::Value FieldValue(const std::string& text);

// The reply envelopes.
std::string SuccessEnvelope(const Json::Value& data);
// detail is left out when null.
std::string ErrorEnvelope(int code, const Json::Value& detail = Json::Value());

// The HTTP status that goes with one of the runtime's own error codes.
int HttpStatusOf(int runtimeCode);

// The value of the cookie name in a Cookie header; empty when absent.
std::string CookieValue(const std::string& header, const std::string& name);

} // namespace Daemon
} // namespace KOVA
