// One appliance of the pair tests: the real kova-webapid with the shipped module and storage
// library, on its own loopback address (127.0.0.N), data directory and iSCSI portal, without a
// data path (KOVA_TGTD=off). Started, stopped and restarted by pid; its directory is removed
// with the object.
#pragma once

#include "HttpClient.h"

#include <json/json.h>

#include <sys/types.h>

#include <string>

namespace KOVAPairTest {

class Appliance {
public:
    // address: 127.0.0.N; tls: also serve HTTPS with a self-signed certificate.
    Appliance(const std::string& address, const std::string& adminPassword, bool tls);
    ~Appliance();
    Appliance(const Appliance&) = delete;
    Appliance& operator=(const Appliance&) = delete;

    // Starts the daemon (again, on the same data directory and ports) and waits (bounded)
    // until it listens; false when it did not.
    bool Start();
    // SIGTERM, and waits (bounded; SIGKILL after that).
    void Stop();
    bool Running() const { return pid_ > 0; }

    const std::string& Address() const { return address_; }
    int HttpPort() const { return httpPort_; }
    int TlsPort() const { return tlsPort_; }
    const std::string& DataDir() const { return dataDir_; }
    std::string Stderr() const;

    // A call of the API as admin (logged in on first use): the reply's JSON.
    Json::Value Call(const std::string& api, const std::string& method, const Json::Value& params);
    Json::Value Node(const std::string& method, const Json::Value& params = Json::Value(Json::objectValue))
    {
        return Call("KOVA.Core.ISCSI.Node", method, params);
    }

private:
    std::string address_;
    std::string password_;
    bool tls_;
    std::string dir_;
    std::string dataDir_;
    pid_t pid_ = -1;
    int httpPort_ = 0;
    int tlsPort_ = 0;
    std::string sid_;
    KOVATest::HttpClient client_;
};

} // namespace KOVAPairTest
