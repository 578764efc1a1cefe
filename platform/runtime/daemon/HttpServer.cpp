#include "HttpServer.h"

#include "LogText.h"
#include "PipelinedServer.h"
#include "WebPage.h"
#include "RequestText.h"

#include <kova/WebAPIErrors.h>

#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

namespace KOVA {
namespace Daemon {

namespace {

const char ENTRY_PATH[] = "/webapi/entry";
const char AUTH_PATH[] = "/webapi/auth";
const char QUERY_PATH[] = "/webapi/query";
const char JSON_TYPE[] = "application/json";

// Requests on one keep-alive connection before the server closes it: large, since closing
// makes the client pay a new connection.
constexpr size_t KEEP_ALIVE_MAX_COUNT = 100000;

// The request being served on this thread, for the access log: cpp-httplib serves one
// connection on one thread from the routing to the logger.
thread_local std::chrono::steady_clock::time_point requestStart;
thread_local bool requestStarted = false;
thread_local std::string requestApiMethod;

// "ADDR METHOD PATH API.METHOD STATUS TIMEus"; a request refused before routing (a request
// line that cannot be read, a URL over the limit) has "-" for what is unknown.
void WriteAccessLog(const httplib::Request& req, const httplib::Response& res)
{
    char took[32] = "-";
    if (requestStarted) {
        const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(
                                std::chrono::steady_clock::now() - requestStart)
                                .count();
        std::snprintf(took, sizeof took, "%lldus", static_cast<long long>(micros));
    }
    // Every field a client chose is escaped and bounded (LogField): one request, one line.
    std::string line;
    line.reserve(256);
    for (const std::string& field : {LogField(req.remote_addr), LogField(req.method, 16), LogField(req.path),
                                     requestStarted ? LogField(requestApiMethod) : std::string()}) {
        line += field.empty() ? "-" : field;
        line += ' ';
    }
    line += std::to_string(res.status) + " " + took + "\n";
    requestStarted = false;
    // One write per line, so that lines of concurrent requests do not mix.
    const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    (void)written;
}

bool IsChunked(const httplib::Request& req)
{
    return strcasecmp(req.get_header_value("Transfer-Encoding").c_str(), "chunked") == 0;
}

FieldList QueryFields(const httplib::Request& req)
{
    FieldList fields;
    fields.reserve(req.params.size());
    for (const auto& p : req.params)
        fields.emplace_back(p.first, p.second);
    return fields;
}

// Reads and drops the body of a request that is refused anyway, so that the connection can
// carry the next request. Without a length and not chunked there is no body.
void DropBody(const httplib::Request& req, const httplib::ContentReader& reader)
{
    if (!req.has_header("Content-Length") && !IsChunked(req))
        return;
    auto drop = [](const char*, size_t) { return true; };
    if (req.is_multipart_form_data())
        reader([](const httplib::MultipartFormData&) { return true; }, drop);
    else
        reader(drop);
}

void SendReply(EntryReply& reply, httplib::Response& res)
{
    res.status = reply.status;
    if (reply.rawOutputError != 0)
        res.set_header("X-WebAPI-Error", std::to_string(reply.rawOutputError));
    res.body.swap(reply.body);
    res.set_header("Content-Type", reply.contentType);
}

} // namespace

HttpServer::HttpServer(const EntryService& service, const HttpOptions& options)
    : service_(service), options_(options)
{
    if (!options_.tlsCert.empty())
        server_.reset(new httplib::SSLServer(options_.tlsCert.c_str(), options_.tlsKey.c_str()));
    else
        server_.reset(new PipelinedServer());
    // cpp-httplib's defaults suit a browser, not an API: without TCP_NODELAY every reply
    // waits for the peer's delayed ACK, and a keep-alive connection closes after 5 requests.
    server_->set_tcp_nodelay(true);
    // cpp-httplib's default listening socket takes SO_REUSEPORT, which lets a second daemon
    // share the port unnoticed, each getting part of the connections. Only SO_REUSEADDR here.
    server_->set_socket_options([](socket_t sock) {
        int yes = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server_->set_keep_alive_max_count(KEEP_ALIVE_MAX_COUNT);
    server_->set_keep_alive_timeout(options_.keepAliveTimeout);
    server_->set_payload_max_length(options_.maxBody);
    const size_t threads = options_.threads > 0 ? static_cast<size_t>(options_.threads) : 1;
    server_->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };

    server_->set_pre_routing_handler([](const httplib::Request&, httplib::Response&) {
        requestStart = std::chrono::steady_clock::now();
        requestStarted = true;
        requestApiMethod.clear();
        return httplib::Server::HandlerResponse::Unhandled;
    });
    if (options_.accessLog)
        server_->set_logger(WriteAccessLog);

    server_->Post(ENTRY_PATH, [this](const httplib::Request& req, httplib::Response& res,
                                     const httplib::ContentReader& reader) {
        HandleEntry(req, res, &reader, Route::Entry);
    });
    server_->Get(ENTRY_PATH, [this](const httplib::Request& req, httplib::Response& res) {
        HandleEntry(req, res, nullptr, Route::Entry);
    });
    // Login only by POST: a password in a URL would end up in logs and histories.
    server_->Post(AUTH_PATH, [this](const httplib::Request& req, httplib::Response& res,
                                    const httplib::ContentReader& reader) {
        HandleEntry(req, res, &reader, Route::Auth);
    });
    server_->Get(AUTH_PATH, [](const httplib::Request&, httplib::Response& res) {
        res.status = 405;
        res.set_header("Allow", "POST");
    });
    server_->Post(QUERY_PATH, [this](const httplib::Request& req, httplib::Response& res,
                                     const httplib::ContentReader& reader) {
        HandleEntry(req, res, &reader, Route::Query);
    });
    server_->Get(QUERY_PATH, [this](const httplib::Request& req, httplib::Response& res) {
        HandleEntry(req, res, nullptr, Route::Query);
    });
    if (!options_.pageDir.empty())
        ServePageFiles(*server_, options_.pageDir);
    // Every other request that may carry a body is refused here rather than by cpp-httplib,
    // which would wait for a body without a length until the read timeout.
    const auto refuse = [](const httplib::Request& req, httplib::Response& res,
                           const httplib::ContentReader& reader) {
        DropBody(req, reader);
        if (req.path == ENTRY_PATH || req.path == QUERY_PATH) {
            res.status = 405;
            res.set_header("Allow", "GET, POST");
        } else if (req.path == AUTH_PATH) {
            res.status = 405;
            res.set_header("Allow", "POST");
        } else {
            res.status = 404;
        }
    };
    server_->Post(".*", refuse);
    server_->Put(".*", refuse);
    server_->Patch(".*", refuse);
    server_->Delete(".*", refuse);

    // Every failure the server answers by itself (unknown path or HTTP method, a body over
    // the limit, an unreadable request) gets a JSON envelope too. Replies that already have a
    // body are the entry point's own and are left as they are.
    server_->set_error_handler(
        httplib::Server::HandlerWithResponse([](const httplib::Request&, httplib::Response& res) {
            if (!res.body.empty())
                return httplib::Server::HandlerResponse::Unhandled;
            int code = WEBAPI_ERR_BAD_REQUEST;
            if (res.status == 413)
                code = WEBAPI_ERR_TOO_LARGE;
            else if (res.status >= 500)
                code = WEBAPI_ERR_UNKNOWN;
            res.set_content(ErrorEnvelope(code), JSON_TYPE);
            return httplib::Server::HandlerResponse::Handled;
        }));
    // A safety net: the entry point catches what handlers throw, so only the runtime's own
    // failures (out of memory) get here.
    server_->set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
        res.status = 500;
        res.set_content(ErrorEnvelope(WEBAPI_ERR_UNKNOWN), JSON_TYPE);
    });
}

int HttpServer::Bind()
{
    if (options_.port == 0)
        return server_->bind_to_any_port(options_.host);
    return server_->bind_to_port(options_.host, options_.port) ? options_.port : -1;
}

void HttpServer::ReadBody(const httplib::Request& req, httplib::Response& res,
                          const httplib::ContentReader& reader, EntryInput& in) const
{
    // A request without a length and not chunked has no body (reading on would wait for the
    // client to close the connection).
    if (!req.has_header("Content-Length") && !IsChunked(req))
        return;
    const size_t limit = options_.maxBody;
    size_t total = 0;
    bool tooLarge = false;
    // A body with a Content-Length over the limit is skipped by the server (reader answers
    // false with status 413). A chunked one is counted here: past the limit the rest is read
    // and dropped, so that the connection stays usable for the next request.
    auto take = [&](const char* data, size_t length, std::string& into) {
        total += length;
        if (tooLarge || total > limit) {
            if (!tooLarge) {
                tooLarge = true;
                std::string().swap(into);
            }
            return true;
        }
        into.append(data, length);
        return true;
    };
    bool ok;
    if (req.is_multipart_form_data()) {
        in.multipart = true;
        std::string ignored;
        ok = reader(
            [&](const httplib::MultipartFormData& part) {
                in.parts.emplace_back(part.name, std::string());
                return true;
            },
            [&](const char* data, size_t length) {
                return take(data, length, in.parts.empty() ? ignored : in.parts.back().second);
            });
        if (tooLarge)
            in.parts.clear();
    } else {
        ok = reader([&](const char* data, size_t length) { return take(data, length, in.body); });
    }
    if (tooLarge || (!ok && res.status == 413))
        in.bodyError = WEBAPI_ERR_TOO_LARGE;
    else if (!ok)
        in.bodyError = WEBAPI_ERR_BAD_REQUEST;
}

void HttpServer::HandleEntry(const httplib::Request& req, httplib::Response& res,
                             const httplib::ContentReader* reader, Route route)
{
    EntryInput in;
    in.remoteAddr = req.remote_addr;
    in.contentType = req.get_header_value("Content-Type");
    in.query = QueryFields(req);
    in.sidHeader = req.get_header_value("X-Kova-Sid");
    in.pageToken = req.get_header_value(PAGE_TOKEN_HEADER);
    if (req.has_header("Cookie"))
        in.sidCookie = CookieValue(req.get_header_value("Cookie"), "sid");
    if (reader)
        ReadBody(req, res, *reader, in);
    EntryReply reply;
    if (route == Route::Auth) {
        service_.HandleAuth(in, reply);
        FinishPageAuth(req, reply, res, !options_.tlsCert.empty());
        res.set_header("Cache-Control", "no-store");
    } else if (route == Route::Query) {
        const int code = in.bodyError != 0 ? in.bodyError : CheckRequestText(in);
        if (code != 0) {
            RuntimeErrorReply(code, reply);
        } else {
            FieldList fields = in.query;
            if (ClassifyBody(in.contentType, in.body) == BodyKind::Form) {
                const FieldList form = DecodeForm(in.body);
                fields.insert(fields.end(), form.begin(), form.end());
            }
            fields.insert(fields.end(), in.parts.begin(), in.parts.end());
            service_.HandleQuery(fields, reply);
        }
    } else {
        service_.Handle(in, reply);
    }
    requestApiMethod = reply.apiMethod;
    SendReply(reply, res);
}

bool HttpServer::Serve()
{
    serving_ = true;
    bool ok = true;
    if (!stopRequested_)
        ok = server_->listen_after_bind();
    done_ = true;
    return ok;
}

void HttpServer::Stop()
{
    stopRequested_ = true;
    if (!serving_)
        return; // Serve has not begun: it sees the request and does not listen
    // cpp-httplib's stop only acts once the server runs, and must be called once: wait for
    // Serve to be running or to be over. Both come quickly once Serve has begun.
    for (int i = 0; i < 100000 && !done_; ++i) {
        if (server_->is_running()) {
            if (!stopCalled_.exchange(true))
                server_->stop();
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace Daemon
} // namespace KOVA
