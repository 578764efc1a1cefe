// The HTTP(S) exchanges of the credential library, on libcurl.
//
// Connections are kept alive and reused: finished curl handles go back to a process-wide pool,
// keyed by everything that decides how a connection is verified (protocol, host, port, pinned
// fingerprint, trust mode, CA file), so a connection verified under one pin is never reused
// under another.
#pragma once

#include <string>

namespace KOVA {
namespace Net {

// Where and how to connect.
struct Endpoint {
    std::string protocol; // "http" or "https"
    std::string host;
    int port = 0;
    std::string pinnedSha256; // 64 lower-case hex digits, or empty
    bool trustOnFirstUse = false;
    std::string caFile;
    int connectTimeout = 0; // seconds
    int totalTimeout = 0;   // seconds
    // Local address to connect from (KOVA_NODE_SOURCE_ADDRESS), or empty for the system's choice.
    std::string sourceAddress;
};

// One request: POST of body (JSON) to path, or GET when body is empty and get is true.
struct Exchange {
    std::string path; // from the root, e.g. "/webapi/auth"
    bool get = false;
    std::string body;
    std::string sessionId; // sent as X-Kova-Sid when not empty
    int totalTimeout = 0;  // seconds; 0: the endpoint's
};

struct Result {
    int error = 0;   // 0 or a KOVA_CRED_ERR_* code
    long status = 0; // the HTTP status, when a reply came
    std::string body;
    std::string peerSha256; // fingerprint of the certificate seen on a new HTTPS connection
    std::string detail;     // why it failed, for log lines
};

// Carries out one exchange; never throws. A failure is also written to syslog, and a changed
// certificate to the service log.
Result Perform(const Endpoint& endpoint, const Exchange& exchange);

// "protocol://host:port" with an IPv6 host in brackets.
std::string BaseUrl(const Endpoint& endpoint);

// A fingerprint as given (hex, ':' between bytes allowed, any case) in the form kept: 64
// lower-case hex digits; empty when it is none.
std::string NormalizeFingerprint(const std::string& text);

} // namespace Net
} // namespace KOVA
