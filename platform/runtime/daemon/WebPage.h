// The management page: its files served at /, and the browser's session, which lives in an
// HttpOnly cookie and is paired with an anti-forgery token that only the page knows.
#pragma once

#include <httplib.h>

#include <string>

namespace KOVA {
namespace Daemon {

struct EntryReply;

// The header a page sends its anti-forgery token in.
extern const char PAGE_TOKEN_HEADER[];

// Serves the files of dir at / (index.html for /) with their content types, revalidation by
// ETag and the page's Content-Security-Policy. Only GET and HEAD; names of letters, digits,
// '.', '_', '-' and '/', never a component that starts with a dot.
void ServePageFiles(httplib::Server& server, const std::string& dir);

// The anti-forgery token of a session: a keyed BLAKE2b digest of the session id, so the daemon
// keeps nothing for it, and a page that was given it at login can name it in every call.
std::string PageToken(const std::string& sid);

// 0 when a call may go on: it names its session by the header or the _sid field, or it names
// it by the cookie alone and carries that session's token. Else WEBAPI_ERR_PAGE_TOKEN.
int CheckPageToken(const std::string& sidFromCall, const std::string& sidHeader, const std::string& sidCookie,
                   const std::string& token);

// A login that asked for a cookie (header X-Kova-Cookie: 1): the session id goes into an
// HttpOnly, SameSite=Strict cookie and the reply's data holds only the page's token. A logout
// by cookie clears the cookie. Other replies are left as they are.
void FinishPageAuth(const httplib::Request& req, EntryReply& reply, httplib::Response& res, bool tls);

} // namespace Daemon
} // namespace KOVA
