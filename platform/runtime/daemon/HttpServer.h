// The HTTP side of the daemon: cpp-httplib configured for many small requests, the entry
// point's routes, JSON bodies for every failure, and the access log.
#pragma once

#include "EntryService.h"

#include <httplib.h>

#include <atomic>
#include <cstddef>
#include <ctime>
#include <memory>
#include <string>

namespace KOVA {
namespace Daemon {

struct HttpOptions {
    std::string host = "127.0.0.1";
    int port = 5080;             // 0: any free port
    int threads = 8;             // worker threads; each keep-alive connection holds one while open
    size_t maxBody = 1 << 20;    // request bodies above this are refused with 413
    time_t keepAliveTimeout = 5; // seconds an idle keep-alive connection is kept
    bool accessLog = true;       // one line per request on stderr
    // HTTPS: the certificate (PEM, chain allowed) and its private key; both empty for HTTP.
    std::string tlsCert;
    std::string tlsKey;
    // The directory of the management page served at /; empty: no page.
#ifdef KOVA_DEFAULT_UI_DIR
    std::string pageDir = KOVA_DEFAULT_UI_DIR;
#else
    std::string pageDir;
#endif
};

class HttpServer {
public:
    HttpServer(const EntryService& service, const HttpOptions& options);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // False when the TLS certificate or key could not be loaded.
    bool Valid() const { return server_->is_valid(); }

    // Opens the listening socket. Answers the bound port, or -1.
    int Bind();

    // Serves until Stop; returns once the requests in flight are answered. False when the
    // server failed (not when it was stopped).
    bool Serve();

    // Stops accepting and makes Serve return after the requests in flight. Callable from
    // any thread, before or during Serve, once or more.
    void Stop();

private:
    enum class Route { Entry, Auth, Query };
    void HandleEntry(const httplib::Request& req, httplib::Response& res,
                     const httplib::ContentReader* reader, Route route);
    void ReadBody(const httplib::Request& req, httplib::Response& res, const httplib::ContentReader& reader,
                  EntryInput& in) const;

    const EntryService& service_;
    HttpOptions options_;
    std::unique_ptr<httplib::Server> server_;
    std::atomic<bool> stopRequested_{false};
    std::atomic<bool> serving_{false};
    std::atomic<bool> done_{false};
    std::atomic<bool> stopCalled_{false};
};

} // namespace Daemon
} // namespace KOVA
