// The web API as iscsictl sees it: login and logout at /webapi/auth, method calls at
// /webapi/entry with the session in X-Kova-Sid, and the reply envelope read into a Reply.
#pragma once

#include <json/json.h>

#include <stdexcept>
#include <string>

namespace iscsictl {

// Exit statuses of the tool, one per kind of failure.
enum ExitStatus {
    EXIT_OK = 0,
    EXIT_REFUSED = 1,       // the API answered an error code, or a waited-for job failed
    EXIT_USAGE = 2,         // the command line is wrong
    EXIT_CONNECTION = 3,    // the daemon could not be reached, TLS failed, or its reply was unreadable
    EXIT_AUTH = 4,          // not logged in, session over, or login refused
    EXIT_INTERRUPTED = 130, // Ctrl-C while waiting for a job
};

// A failure that ends the command with an exit status and a message for stderr.
class Failure : public std::runtime_error {
public:
    Failure(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
    int Status() const { return status_; }

private:
    int status_;
};

// The text of any code the tool can be answered with: the runtime's (100-114) and the
// service's (1899xxxx).
std::string ErrorText(int code);

// A failure for an error code of a reply: "error CODE: TEXT", with the hint to log in again
// for the session codes, and the exit status of its kind.
Failure ErrorFailure(int code, const std::string& method = "");

struct Reply {
    bool success = false;
    Json::Value data;   // "data" of a success
    int code = 0;       // "error"."code" of a failure
    Json::Value detail; // "error"."detail", when given
    // A reply that is no JSON envelope (the log export's file): its body and content type.
    bool raw = false;
    std::string body;
    std::string contentType;
};

struct Connection {
    std::string url = "http://127.0.0.1:5080"; // the daemon's base URL
    bool insecure = false;                     // HTTPS without a certificate check
    std::string caFile;                        // trust this CA (PEM) for HTTPS
};

class ApiClient {
public:
    explicit ApiClient(Connection connection);
    ~ApiClient();
    ApiClient(const ApiClient&) = delete;
    ApiClient& operator=(const ApiClient&) = delete;

    void SetSession(const std::string& sid) { sid_ = sid; }

    // Logs in; answers the reply (its data holds "sid" on success).
    Reply Login(const std::string& account, const std::string& password, const std::string& otpCode);
    Reply Logout();
    // Calls api's method (version 1) with params, an object.
    Reply Call(const std::string& api, const std::string& method, const Json::Value& params);

private:
    Reply Post(const std::string& path, const Json::Value& body);

    Connection connection_;
    std::string sid_;
    void* curl_;
};

} // namespace iscsictl
