// A small HTTP client over libcurl for the daemon's end-to-end tests. One client keeps one
// connection open across requests (keep-alive), as a real caller would.
#pragma once

#include <curl/curl.h>
#include <json/json.h>

#include <string>
#include <utility>
#include <vector>

namespace KOVATest {

struct HttpResult {
    CURLcode curl = CURLE_OK;
    long status = 0;
    std::string contentType;
    std::string body;
    std::vector<std::string> headers; // raw header lines of the final response
    long newConnections = 0;          // connections curl opened for this request
    long localPort = 0;

    bool Ok() const { return curl == CURLE_OK; }
    // The body as JSON (null when it is not JSON).
    Json::Value Json() const;
    // The value of a response header (empty when absent); the name is matched without case.
    std::string Header(const std::string& name) const;
};

using Fields = std::vector<std::pair<std::string, std::string>>;

class HttpClient {
public:
    HttpClient();
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    HttpResult Post(const std::string& url, const std::string& body,
                    const std::string& contentType = "application/json");
    // The body sent with Transfer-Encoding: chunked.
    HttpResult PostChunked(const std::string& url, const std::string& body,
                           const std::string& contentType = "application/json");
    HttpResult PostMultipart(const std::string& url, const Fields& fields);
    HttpResult Get(const std::string& url);
    // Any HTTP method without a body.
    HttpResult Request(const std::string& method, const std::string& url);

    // Headers sent with every request from now on ("Name: value"), e.g. the session's
    // X-Kova-Sid; SetSession sets exactly that one (empty: none).
    void SetHeaders(const std::vector<std::string>& headers) { headers_ = headers; }
    void SetSession(const std::string& sid);
    // HTTPS: trust this CA file (PEM); the peer and its host name are always verified.
    void SetCaFile(const std::string& path) { caFile_ = path; }
    // Connect from this local address (e.g. "127.0.0.2", to be another caller on loopback);
    // empty: the system's choice. Takes effect with the next new connection.
    void SetLocalAddress(const std::string& address) { localAddress_ = address; }

    // Form and query encoding of fields.
    static std::string Encode(const Fields& fields);

private:
    HttpResult Perform(struct curl_slist* headers);

    CURL* curl_;
    std::vector<std::string> headers_;
    std::string caFile_;
    std::string localAddress_;
};

} // namespace KOVATest
