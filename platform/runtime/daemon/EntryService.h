// The entry point's work for one request, between the HTTP layer and a module's handler:
// read the call, build the handler's request object, find and call the handler, and turn its
// response into the reply.
#pragma once

#include "Authenticator.h"
#include "EntryWire.h"
#include "ModuleTable.h"

#include <kova/APIRequest.h>

#include <memory>
#include <string>

namespace KOVA {
namespace Daemon {

// What the HTTP layer hands over of one request to the entry point.
struct EntryInput {
    std::string remoteAddr;
    std::string contentType;
    std::string body;       // the body as sent (empty for a multipart body)
    FieldList query;        // the fields of the query string
    bool multipart = false; // the body was multipart/form-data, its fields are in parts
    FieldList parts;
    int bodyError = 0;     // WEBAPI_ERR_TOO_LARGE or WEBAPI_ERR_BAD_REQUEST when the body could not be read
    std::string sidHeader; // the X-Kova-Sid header
    std::string sidCookie; // the cookie "sid"
    std::string pageToken; // the X-Kova-Token header: the page's anti-forgery token
};

// The reply on the wire.
struct EntryReply {
    int status = 200;
    std::string contentType;
    std::string body;
    // "api.method" once the call was read, for the access log.
    std::string apiMethod;
    // The handler's error code when it wrote its own body (the runtime's JSON carries it
    // otherwise), else 0.
    int rawOutputError = 0;
};

// The session a request names: the "_sid" of the call, else the X-Kova-Sid header, else the
// cookie "sid".
std::string SessionOf(const EntryInput& in, const EntryCall& call);

// Reads the call of a request, checks its session and builds the handler's request object for
// it, with the session's account, the session id and the caller's address: the one step from
// what came over HTTP to what a handler sees. Answers 0 or a runtime error code
// (WEBAPI_ERR_NOT_LOGGED_IN without a valid session, WEBAPI_ERR_SESSION_EXPIRED), and then
// builds no request object.
int MakeAPIRequest(const EntryInput& in, Authenticator& auth, EntryCall& call,
                   std::unique_ptr<APIRequest>& request);

class EntryService {
public:
    EntryService(const ModuleTable& table, Authenticator& auth) : table_(table), auth_(auth) {}

    // /webapi/entry. Never throws for a handler's sake: an exception escaping a handler is
    // answered with WEBAPI_ERR_UNKNOWN (HTTP 500) and logged.
    void Handle(const EntryInput& in, EntryReply& out) const;

    // /webapi/auth: login and logout.
    void HandleAuth(const EntryInput& in, EntryReply& out) const;

    // /webapi/query: the path and versions of one API ("api" field) or of all ("all").
    void HandleQuery(const FieldList& fields, EntryReply& out) const;

private:
    const ModuleTable& table_;
    Authenticator& auth_;
};

// The reply of a request that failed in the runtime, with the code's HTTP status.
void RuntimeErrorReply(int code, EntryReply& out, const Json::Value& detail = Json::Value());

} // namespace Daemon
} // namespace KOVA
