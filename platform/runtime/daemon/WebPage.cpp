#include "WebPage.h"

#include "EntryService.h"

#include <kova/JsonText.h>
#include <kova/WebAPIErrors.h>

#include <sodium.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace KOVA {
namespace Daemon {

const char PAGE_TOKEN_HEADER[] = "X-Kova-Token";

namespace {

// Scripts, styles, images and calls only from the daemon itself; no inline code, no frames,
// no plug-ins, forms only back to the daemon.
const char PAGE_POLICY[] = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
                           "connect-src 'self'; font-src 'self'; form-action 'self'; base-uri 'none'; "
                           "frame-ancestors 'none'";

const char COOKIE_HEADER[] = "X-Kova-Cookie";

struct ContentType {
    const char* suffix;
    const char* type;
};

const ContentType CONTENT_TYPES[] = {
    {".html", "text/html; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".mjs", "text/javascript; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".json", "application/json"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".ico", "image/x-icon"},
    {".txt", "text/plain; charset=utf-8"},
};

const char* ContentTypeOf(const std::string& path)
{
    for (const auto& entry : CONTENT_TYPES) {
        const size_t n = std::strlen(entry.suffix);
        if (path.size() > n && path.compare(path.size() - n, n, entry.suffix) == 0)
            return entry.type;
    }
    return nullptr;
}

// A path the page may name: letters, digits, '.', '_', '-', '/', no empty component and none
// that starts with a dot (so neither ".." nor hidden files).
bool SafePagePath(const std::string& path)
{
    if (path.empty() || path.size() > 200)
        return false;
    char previous = '/';
    for (const char c : path) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '_' || c == '-';
        if (c == '/' && previous == '/')
            return false;
        if (c == '.' && previous == '/')
            return false;
        if (!plain && c != '.' && c != '/')
            return false;
        previous = c;
    }
    return previous != '/';
}

void SetPageHeaders(httplib::Response& res)
{
    res.set_header("Content-Security-Policy", PAGE_POLICY);
    res.set_header("X-Content-Type-Options", "nosniff");
    res.set_header("Referrer-Policy", "no-referrer");
    res.set_header("X-Frame-Options", "DENY");
}

void ServeFile(const std::string& dir, const httplib::Request& req, httplib::Response& res)
{
    std::string path = req.path == "/" ? std::string("index.html") : req.path.substr(1);
    const char* type = SafePagePath(path) ? ContentTypeOf(path) : nullptr;
    struct stat st;
    const std::string file = dir + "/" + path;
    if (!type || ::stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        res.status = 404;
        return;
    }
    // The files change only with an update of the service: the browser asks each time and is
    // answered 304 while size and modification time stay.
    char etag[64];
    std::snprintf(etag, sizeof etag, "\"%llx-%llx\"", static_cast<unsigned long long>(st.st_size),
                  static_cast<unsigned long long>(st.st_mtim.tv_sec) * 1000000000ull +
                      static_cast<unsigned long long>(st.st_mtim.tv_nsec));
    SetPageHeaders(res);
    res.set_header("Cache-Control", "no-cache");
    res.set_header("ETag", etag);
    if (req.get_header_value("If-None-Match") == etag) {
        res.status = 304;
        return;
    }
    std::ifstream in(file, std::ios::binary);
    std::ostringstream body;
    body << in.rdbuf();
    if (!in) {
        res.status = 404;
        return;
    }
    res.status = 200;
    res.set_content(body.str(), type);
}

// The value of a Set-Cookie header for the session.
std::string SessionCookie(const std::string& sid, bool tls)
{
    std::string cookie = "sid=" + sid + "; Path=/webapi; HttpOnly; SameSite=Strict";
    if (sid.empty())
        cookie += "; Max-Age=0";
    if (tls)
        cookie += "; Secure";
    return cookie;
}

} // namespace

void ServePageFiles(httplib::Server& server, const std::string& dir)
{
    server.Get("/|/[A-Za-z0-9_./-]+",
               [dir](const httplib::Request& req, httplib::Response& res) { ServeFile(dir, req, res); });
}

std::string PageToken(const std::string& sid)
{
    static const char context[] = "kova-webapid page token";
    unsigned char digest[32];
    // The key is the session id itself (64 bytes of hex text), so the token is known to
    // whoever was given it at login and can be made by nobody else.
    const size_t keyLength =
        sid.size() < crypto_generichash_KEYBYTES_MAX ? sid.size() : crypto_generichash_KEYBYTES_MAX;
    crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char*>(context),
                       sizeof context - 1, reinterpret_cast<const unsigned char*>(sid.data()), keyLength);
    char hex[sizeof digest * 2 + 1];
    sodium_bin2hex(hex, sizeof hex, digest, sizeof digest);
    return hex;
}

int CheckPageToken(const std::string& sidFromCall, const std::string& sidHeader, const std::string& sidCookie,
                   const std::string& token)
{
    // A session named by the call or the header was put there by a client's own code, which a
    // page of another site cannot do; only the cookie travels by itself.
    if (!sidFromCall.empty() || !sidHeader.empty() || sidCookie.empty())
        return 0;
    const std::string expected = PageToken(sidCookie);
    if (token.size() != expected.size() || sodium_memcmp(token.data(), expected.data(), expected.size()) != 0)
        return WEBAPI_ERR_PAGE_TOKEN;
    return 0;
}

void FinishPageAuth(const httplib::Request& req, EntryReply& reply, httplib::Response& res, bool tls)
{
    if (reply.status != 200 || req.get_header_value(COOKIE_HEADER) != "1")
        return;
    Json::Value envelope;
    if (!KOVA::fromString(envelope, reply.body) || !envelope.isObject())
        return;
    const Json::Value& data = envelope["data"];
    if (data.isObject() && data["sid"].isString()) {
        const std::string sid = data["sid"].asString();
        res.set_header("Set-Cookie", SessionCookie(sid, tls));
        Json::Value pageData(Json::objectValue);
        pageData["token"] = PageToken(sid);
        reply.body = SuccessEnvelope(pageData);
    } else {
        res.set_header("Set-Cookie", SessionCookie("", tls));
    }
}

} // namespace Daemon
} // namespace KOVA
