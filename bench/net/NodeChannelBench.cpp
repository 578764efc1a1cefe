// The round trip of a small method (KOVA.Core.ISCSI.Node get) to another appliance over the node
// channel (NodeSender: node record, session, HTTPS pinned to the node's certificate, keep-alive)
// against the same call sent directly with libcurl on one kept-alive HTTPS connection, as curl
// would send it. Appliance B is the real daemon on 127.0.0.3; A is this process with its own
// data directory, calling from 127.0.0.2. Prints the medians and their ratio, measured in the
// same run, rounds of the two interleaved.
//
//   node-channel-bench [ROUNDS]   (default 2000)
#include "pair/Appliance.h"

#include <kova/Cred.h>
#include <kova/JsonText.h>
#include <kova/NodeSender.h>

#include <iscsi/ISCSINodeInfo.h>

#include <curl/curl.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr const char* kApi = "KOVA.Core.ISCSI.Node";

size_t Discard(char*, size_t size, size_t count, void*)
{
    return size * count;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// A node session on B for this process (from 127.0.0.2), and the fingerprint of B's certificate.
bool OpenNodeSession(KOVAPairTest::Appliance& b, const std::string& password, std::string& sid,
                     std::string& cert)
{
    KOVACred* cred = KOVACredAlloc();
    KOVACredSess* sess = KOVACredSessAlloc();
    KOVACredItemSetHost(cred, b.Address().c_str());
    KOVACredItemSetPort(cred, b.TlsPort());
    KOVACredItemSetProtocol(cred, "https");
    KOVACredItemSetRemoteAccount(cred, "admin");
    KOVACredItemSetRemotePasswd(cred, password.c_str());
    KOVACredItemSetTrustOnFirstUse(cred, 1);
    bool ok = KOVA::CredRequestUtil::LoginWithOTP(cred, "", sess, nullptr) == 1;
    cert = KOVACredGetPeerCertSha256(cred);
    if (ok) {
        std::unique_ptr<KOVA::CredRequest> request(KOVA::CredRequest::CreateWebAPIRequest(
            cred, sess, kApi, 1, "create_session", Json::Value(Json::objectValue)));
        Json::Value reply;
        ok = request && request->Process(true, 0) && KOVA::fromString(reply, request->GetResponse());
        sid = reply["data"]["session_id"].asString();
        ok = ok && !sid.empty();
        KOVA::CredRequestUtil::Logout(cred, sess);
    }
    KOVACredSessFree(sess);
    KOVACredFree(cred);
    return ok;
}

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(10, std::atoi(argv[1])) : 2000;
    const std::string password = "bench-password-b";
    KOVAPairTest::Appliance b("127.0.0.3", password, true);
    if (!b.Start()) {
        std::fprintf(stderr, "SKIPPED: the daemon did not start on 127.0.0.3: %s\n", b.Stderr().c_str());
        return 0;
    }
    char pattern[] = "/tmp/kova-node-bench-XXXXXX";
    const char* dir = mkdtemp(pattern);
    if (!dir)
        return 1;
    setenv("KOVA_DATA_DIR", dir, 1);
    setenv("KOVA_TGTD", "off", 1);
    setenv("KOVA_NODE_SOURCE_ADDRESS", "127.0.0.2", 1);

    std::string sid;
    std::string cert;
    if (!OpenNodeSession(b, password, sid, cert)) {
        std::fprintf(stderr, "cannot open a node session on B\n");
        return 1;
    }
    const std::string uuid = "0b0b0b0b-0000-4000-8000-00000000000b";
    const std::string rodKey = b.Node("get")["data"]["rod_key"].asString();
    ISCSI::ISCSINodeInfo node(uuid, sid, b.Address(), static_cast<unsigned short>(b.TlsPort()), "https",
                              rodKey, "admin", false);
    node.cert_sha256 = cert;
    if (node.updateConfig(true, false) != 0) {
        std::fprintf(stderr, "cannot write the node record\n");
        return 1;
    }

    // The direct call: one curl handle, kept alive, verifying B's certificate as its authority.
    const std::string url = "https://" + b.Address() + ":" + std::to_string(b.TlsPort()) + "/webapi/entry";
    const std::string body = R"({"api":"KOVA.Core.ISCSI.Node","version":1,"method":"get","params":{}})";
    const std::string certFile = b.DataDir() + "/tls-cert.pem";
    CURL* curl = curl_easy_init();
    curl_slist* headers = curl_slist_append(nullptr, ("X-Kova-Sid: " + sid).c_str());
    headers = curl_slist_append(headers, "Content-Type: application/json");
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl, CURLOPT_CAINFO, certFile.c_str());
    curl_easy_setopt(curl, CURLOPT_INTERFACE, "host!127.0.0.2");
    curl_easy_setopt(curl, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Discard);

    KovaDRNode::NodeSender sender;
    Json::Value reply;
    // Warm-up: connections, the discovery cache.
    for (int i = 0; i < 20; ++i) {
        if (!sender.process(uuid, kApi, "get", 1, Json::Value(Json::objectValue), reply) ||
            curl_easy_perform(curl) != CURLE_OK) {
            std::fprintf(stderr, "warm-up failed (node channel code %d)\n", sender.lastError());
            return 1;
        }
    }
    std::vector<double> channel;
    std::vector<double> direct;
    int failures = 0;
    for (int i = 0; i < rounds; ++i) {
        auto start = std::chrono::steady_clock::now();
        if (!sender.process(uuid, kApi, "get", 1, Json::Value(Json::objectValue), reply))
            ++failures;
        channel.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
        start = std::chrono::steady_clock::now();
        if (curl_easy_perform(curl) != CURLE_OK)
            ++failures;
        direct.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    const double c = Median(channel);
    const double d = Median(direct);
    std::printf("rounds: %d (failures: %d)\n", rounds, failures);
    std::printf("node channel (NodeSender, HTTPS pinned, keep-alive): median %.1f us\n", c);
    std::printf("direct libcurl call (one kept-alive HTTPS connection):  median %.1f us\n", d);
    std::printf("ratio node channel / direct: %.2f\n", d > 0 ? c / d : 0.0);
    b.Stop();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return failures == 0 ? 0 : 1;
}
