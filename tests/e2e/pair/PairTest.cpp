// Two appliances on loopback (127.0.0.2 and 127.0.0.3): A makes B a node through its API, both
// list each other, A's node channel reaches B (over HTTPS pinned to B's certificate), B's
// delete_session and delete_node end its trust of A, a stopped B fails A's calls with a code,
// a restarted B keeps the pairing, an expired node session is renewed. And the node list,
// add_node, delete_node, delete and create_session of one appliance with the real library.
//
// The node channel runs in the test process as A: after A made the node, A's daemon is stopped
// and the test opens A's data directory with the storage library, calling from A's address.
#include "Appliance.h"

#include <kova/Cred.h>
#include <kova/JsonText.h>
#include <kova/NodeSender.h>

#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSINodeInfo.h>

#include "context/LibraryContext.h"

#include "CertFingerprint.h"
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

namespace {

using KOVAPairTest::Appliance;

constexpr const char* kPasswordA = "pair-password-a";
constexpr const char* kPasswordB = "pair-password-b";
constexpr int kNotLoggedIn = 106;
constexpr int kNoAnswer = 107;
constexpr int kNodeInConfig = 18991111;

struct CredDeleter {
    void operator()(KOVACred* cred) const { KOVACredFree(cred); }
    void operator()(KOVACredSess* sess) const { KOVACredSessFree(sess); }
};

using KOVATest::CertSha256;

Json::Value NodeEntry(const std::string& uuid, const std::string& host, int port)
{
    Json::Value node(Json::objectValue);
    node["uuid"] = uuid;
    node["session_id"] = "";
    node["hostname"] = host;
    node["port"] = port;
    node["protocol"] = "http";
    node["rod_key"] = "key-of-" + uuid;
    node["account"] = "admin";
    return node;
}

class PairTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(a.Start()) << a.Stderr();
        ASSERT_TRUE(b.Start()) << b.Stderr();
    }
    void TearDown() override
    {
        ISCSI::Storage::LibraryContext::Reset();
        unsetenv("KOVA_DATA_DIR");
        unsetenv("KOVA_NODE_SOURCE_ADDRESS");
    }

    // A makes B a node (over B's HTTPS listener); answers the uuid A keeps B under.
    std::string Pair()
    {
        const std::string rodKey = b.Node("get")["data"]["rod_key"].asString();
        const Json::Value reply = a.Node("create", CreateParams(rodKey, kPasswordB));
        EXPECT_TRUE(reply["success"].asBool()) << KOVA::toString(reply) << a.Stderr();
        return reply["data"]["uuid"].asString();
    }

    Json::Value CreateParams(const std::string& rodKey, const std::string& password)
    {
        Json::Value params(Json::objectValue);
        params["hostname"] = b.Address();
        params["port"] = b.TlsPort();
        params["protocol"] = "https";
        params["rod_key"] = rodKey;
        params["account"] = "admin";
        params["password"] = password;
        return params;
    }

    // Stops A's daemon and opens A's data directory in this process, calling from A's address.
    void BecomeA()
    {
        a.Stop();
        ISCSI::Storage::LibraryContext::Reset();
        setenv("KOVA_DATA_DIR", a.DataDir().c_str(), 1);
        setenv("KOVA_TGTD", "off", 1);
        setenv("KOVA_NODE_SOURCE_ADDRESS", a.Address().c_str(), 1);
    }

    // One call to B over A's node channel.
    bool Send(const std::string& uuid, const std::string& api, const std::string& method,
              const Json::Value& params, Json::Value& reply, int& error)
    {
        KovaDRNode::NodeSender sender;
        const bool ok = sender.process(uuid, api, method, 1, params, reply);
        error = sender.lastError();
        return ok;
    }

    Appliance a{"127.0.0.2", kPasswordA, false};
    Appliance b{"127.0.0.3", kPasswordB, true};
};

TEST_F(PairTest, CreateMakesBothListEachOther)
{
    const std::string uuidOfB = Pair();
    ASSERT_EQ(36u, uuidOfB.size());
    const Json::Value listA = a.Node("list");
    const Json::Value listB = b.Node("list");
    ASSERT_EQ(2u, listA["data"]["nodes"].size()) << KOVA::toString(listA);
    ASSERT_EQ(2u, listB["data"]["nodes"].size()) << KOVA::toString(listB);
    const Json::Value& selfA = listA["data"]["nodes"][0];
    const Json::Value& nodeB = listA["data"]["nodes"][1];
    const Json::Value& selfB = listB["data"]["nodes"][0];
    const Json::Value& nodeA = listB["data"]["nodes"][1];
    EXPECT_TRUE(selfA["is_local_node"].asBool());
    EXPECT_TRUE(selfB["is_local_node"].asBool());
    EXPECT_FALSE(nodeB["is_local_node"].asBool());
    EXPECT_FALSE(nodeA["is_local_node"].asBool());
    // A keeps B under the uuid it answered, with B's address, protocol, port and rod key.
    EXPECT_EQ(uuidOfB, nodeB["uuid"].asString());
    EXPECT_EQ(b.Address(), nodeB["hostname"].asString());
    EXPECT_EQ(b.TlsPort(), nodeB["port"].asInt());
    EXPECT_EQ("https", nodeB["protocol"].asString());
    EXPECT_EQ(selfB["rod_key"].asString(), nodeB["rod_key"].asString());
    EXPECT_EQ(64u, nodeB["session_id"].asString().size());
    // B keeps A under A's own uuid, reachable at A's address.
    EXPECT_EQ(selfA["uuid"].asString(), nodeA["uuid"].asString());
    EXPECT_EQ(a.Address(), nodeA["hostname"].asString());
    EXPECT_EQ(a.HttpPort(), nodeA["port"].asInt());
    EXPECT_EQ(selfA["rod_key"].asString(), nodeA["rod_key"].asString());
    EXPECT_EQ(64u, nodeA["session_id"].asString().size());
    // The node's uuid and its host name both name it.
    const Json::Value again = a.Node("create", CreateParams(selfB["rod_key"].asString(), kPasswordB));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NODE_EXISTS, again["error"]["code"].asInt());
}

TEST_F(PairTest, CreateRefusesWrongPasswordAndWrongRodKey)
{
    const std::string rodKey = b.Node("get")["data"]["rod_key"].asString();
    Json::Value reply = a.Node("create", CreateParams(rodKey, "wrong"));
    EXPECT_EQ(KOVA_CRED_ERR_LOGIN, reply["error"]["code"].asInt()) << KOVA::toString(reply);
    reply = a.Node("create", CreateParams(std::string(64, '0'), kPasswordB));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NODE_ROD_KEY, reply["error"]["code"].asInt()) << KOVA::toString(reply);
    EXPECT_EQ(1u, a.Node("list")["data"]["nodes"].size());
    EXPECT_EQ(1u, b.Node("list")["data"]["nodes"].size());
}

TEST_F(PairTest, NodeChannelAndSessionsReachB)
{
    const std::string uuidOfB = Pair();
    BecomeA();
    ISCSI::ISCSINodeInfo record(uuidOfB);
    ASSERT_EQ(0, record.loadFromConfig());
    // B's certificate was pinned when the node was made.
    EXPECT_EQ(CertSha256(b.DataDir() + "/tls-cert.pem"), record.cert_sha256);

    // The node channel: a LUN made on B.
    Json::Value params(Json::objectValue);
    params["name"] = "made-through-a";
    params["type"] = "THIN";
    params["location"] = "/volume1";
    params["size"] = static_cast<Json::UInt64>(64ULL << 20);
    Json::Value reply;
    int error = 0;
    ASSERT_TRUE(Send(uuidOfB, "KOVA.Core.ISCSI.LUN", "create", params, reply, error)) << error;
    EXPECT_TRUE(reply["success"].asBool()) << KOVA::toString(reply);
    const Json::Value luns = b.Call("KOVA.Core.ISCSI.LUN", "list", Json::Value(Json::objectValue));
    bool found = false;
    for (const auto& lun : luns["data"]["luns"])
        found = found || lun["name"].asString() == "made-through-a";
    EXPECT_TRUE(found) << KOVA::toString(luns);

    // The session path: the node's session, pinned to its certificate.
    std::unique_ptr<KOVACred, CredDeleter> cred(KOVACredAlloc());
    std::unique_ptr<KOVACredSess, CredDeleter> sess(KOVACredSessAlloc());
    ASSERT_EQ(0, KOVACredItemSetHost(cred.get(), record.hostname.c_str()));
    ASSERT_EQ(0, KOVACredItemSetPort(cred.get(), record.port));
    ASSERT_EQ(0, KOVACredItemSetProtocol(cred.get(), record.protocol.c_str()));
    ASSERT_EQ(0, KOVACredItemSetPinnedCertSha256(cred.get(), record.cert_sha256.c_str()));
    ASSERT_EQ(0, KOVACredSessItemSetAccessToken(sess.get(), record.session_id.c_str()));
    ASSERT_EQ("entry", KOVA::CredRequestUtil::GetWebAPIPath(cred.get(), "KOVA.Core.ISCSI.Node"));
    std::unique_ptr<KOVA::CredRequest> request(KOVA::CredRequest::CreateWebAPIRequest(
        cred.get(), sess.get(), "KOVA.Core.ISCSI.Node", 1, "get", Json::Value(Json::objectValue)));
    ASSERT_TRUE(request);
    ASSERT_TRUE(request->Process(true, 0)) << request->GetError();
    ASSERT_TRUE(KOVA::fromString(reply, request->GetResponse()));
    EXPECT_EQ(record.rod_key, reply["data"]["rod_key"].asString());

    // The account path: login with B's account and password.
    ASSERT_EQ(0, KOVACredItemSetRemoteAccount(cred.get(), "admin"));
    ASSERT_EQ(0, KOVACredItemSetRemotePasswd(cred.get(), kPasswordB));
    std::unique_ptr<KOVACredSess, CredDeleter> login(KOVACredSessAlloc());
    ASSERT_EQ(1, KOVA::CredRequestUtil::LoginWithOTP(cred.get(), "", login.get(), nullptr));
    std::unique_ptr<KOVA::CredRequest> list(KOVA::CredRequest::CreateWebAPIRequest(
        cred.get(), login.get(), "KOVA.Core.ISCSI.Node", 1, "list", Json::Value(Json::objectValue)));
    ASSERT_TRUE(list && list->Process(true, 0));
    ASSERT_TRUE(KOVA::fromString(reply, list->GetResponse()));
    EXPECT_EQ(2u, reply["data"]["nodes"].size());
    EXPECT_EQ(1, KOVA::CredRequestUtil::Logout(cred.get(), login.get()));

    // The node session is bound to A's address: from another address B does not know it.
    unsetenv("KOVA_NODE_SOURCE_ADDRESS");
    std::unique_ptr<KOVACred, CredDeleter> elsewhere(KOVACredAlloc());
    KOVACredItemSetHost(elsewhere.get(), "127.0.0.3");
    KOVACredItemSetPort(elsewhere.get(), b.HttpPort());
    KOVACredItemSetProtocol(elsewhere.get(), "http");
    std::unique_ptr<KOVA::CredRequest> stolen(KOVA::CredRequest::CreateWebAPIRequest(
        elsewhere.get(), sess.get(), "KOVA.Core.ISCSI.Node", 1, "get", Json::Value(Json::objectValue)));
    ASSERT_TRUE(stolen && stolen->Process(true, 0));
    ASSERT_TRUE(KOVA::fromString(reply, stolen->GetResponse()));
    EXPECT_EQ(kNotLoggedIn, reply["error"]["code"].asInt());
}

TEST_F(PairTest, DeleteSessionEndsTrust)
{
    const std::string uuidOfB = Pair();
    BecomeA();
    Json::Value reply;
    int error = 0;
    ASSERT_TRUE(
        Send(uuidOfB, "KOVA.Core.ISCSI.Node", "delete_session", Json::Value(Json::objectValue), reply, error))
        << error;
    EXPECT_TRUE(reply["success"].asBool()) << KOVA::toString(reply);
    EXPECT_FALSE(Send(uuidOfB, "KOVA.Core.ISCSI.Node", "get", Json::Value(Json::objectValue), reply, error));
    EXPECT_EQ(KOVA_NODE_ERR_NO_SESSION, error);
}

TEST_F(PairTest, DeleteNodeEndsTrust)
{
    const std::string uuidOfB = Pair();
    const std::string uuidOfA = a.Node("list")["data"]["nodes"][0]["uuid"].asString();
    Json::Value params(Json::objectValue);
    params["uuids"].append(uuidOfA);
    EXPECT_TRUE(b.Node("delete_node", params)["success"].asBool());
    EXPECT_EQ(1u, b.Node("list")["data"]["nodes"].size());
    BecomeA();
    Json::Value reply;
    int error = 0;
    EXPECT_FALSE(Send(uuidOfB, "KOVA.Core.ISCSI.Node", "get", Json::Value(Json::objectValue), reply, error));
    EXPECT_EQ(KOVA_NODE_ERR_NO_SESSION, error);
}

TEST_F(PairTest, StoppedBFailsAndRestartedBKeepsThePairing)
{
    const std::string uuidOfB = Pair();
    BecomeA();
    b.Stop();
    Json::Value reply;
    int error = 0;
    EXPECT_FALSE(Send(uuidOfB, "KOVA.Core.ISCSI.Node", "get", Json::Value(Json::objectValue), reply, error));
    EXPECT_EQ(KOVA_CRED_ERR_CONNECT, error);
    ASSERT_TRUE(b.Start()) << b.Stderr();
    EXPECT_TRUE(Send(uuidOfB, "KOVA.Core.ISCSI.Node", "get", Json::Value(Json::objectValue), reply, error))
        << error;
    EXPECT_TRUE(reply["success"].asBool());
    EXPECT_EQ(2u, b.Node("list")["data"]["nodes"].size());
}

TEST_F(PairTest, UnknownNodeFailsWithItsCode)
{
    BecomeA();
    Json::Value reply;
    int error = 0;
    EXPECT_FALSE(Send("00000000-0000-4000-8000-000000000000", "KOVA.Core.ISCSI.Node", "get",
                      Json::Value(Json::objectValue), reply, error));
    EXPECT_EQ(ISCSI::ISCSI_ERR_NODE_NOT_FOUND, error);
}

// B's node sessions live three seconds here: A's next call after that renews the session.
class PairRenewTest : public PairTest {
protected:
    void SetUp() override
    {
        setenv("KOVA_NODE_SESSION_LIFETIME", "3", 1);
        PairTest::SetUp();
        unsetenv("KOVA_NODE_SESSION_LIFETIME");
    }
};

TEST_F(PairRenewTest, ExpiredSessionIsRenewedOnce)
{
    const std::string uuidOfB = Pair();
    BecomeA();
    ISCSI::ISCSINodeInfo before(uuidOfB);
    ASSERT_EQ(0, before.loadFromConfig());
    std::this_thread::sleep_for(std::chrono::milliseconds(4100));
    Json::Value reply;
    int error = 0;
    ASSERT_TRUE(Send(uuidOfB, "KOVA.Core.ISCSI.Node", "get", Json::Value(Json::objectValue), reply, error))
        << error;
    EXPECT_TRUE(reply["success"].asBool()) << KOVA::toString(reply);
    ISCSI::ISCSINodeInfo after(uuidOfB);
    ASSERT_EQ(0, after.loadFromConfig());
    EXPECT_NE(before.session_id, after.session_id);
    EXPECT_EQ(64u, after.session_id.size());
}

// The node methods of one appliance with the real library.
class NodeMethodsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.Start()) << b.Stderr(); }
    Json::Value AddNodes(const Json::Value& nodes)
    {
        Json::Value params(Json::objectValue);
        params["nodes"] = nodes;
        return b.Node("add_node", params);
    }
    Json::Value DeleteNodes(const Json::Value& uuids)
    {
        Json::Value params(Json::objectValue);
        params["uuids"] = uuids;
        return b.Node("delete_node", params);
    }
    Appliance b{"127.0.0.3", kPasswordB, false};
};

TEST_F(NodeMethodsTest, ListAlwaysAnArrayWithTheLocalNode)
{
    const Json::Value list = b.Node("list");
    ASSERT_TRUE(list["data"]["nodes"].isArray());
    ASSERT_EQ(1u, list["data"]["nodes"].size());
    EXPECT_TRUE(list["data"]["nodes"][0]["is_local_node"].asBool());
    // The local uuid stays across a restart.
    const std::string uuid = list["data"]["nodes"][0]["uuid"].asString();
    b.Stop();
    ASSERT_TRUE(b.Start());
    EXPECT_EQ(uuid, b.Node("list")["data"]["nodes"][0]["uuid"].asString());
}

TEST_F(NodeMethodsTest, AddNodeEdgeCases)
{
    // An empty list succeeds and writes nothing.
    EXPECT_TRUE(AddNodes(Json::Value(Json::arrayValue))["success"].asBool());
    EXPECT_EQ(1u, b.Node("list")["data"]["nodes"].size());
    // The second element without rod_key: neither error nor success, nothing written.
    Json::Value nodes(Json::arrayValue);
    nodes.append(NodeEntry("11111111-1111-4111-8111-111111111111", "127.0.0.20", 5080));
    Json::Value second = NodeEntry("22222222-2222-4222-8222-222222222222", "127.0.0.21", 5080);
    second.removeMember("rod_key");
    nodes.append(second);
    EXPECT_EQ(kNoAnswer, AddNodes(nodes)["error"]["code"].asInt());
    EXPECT_EQ(1u, b.Node("list")["data"]["nodes"].size());
    // A port above 65535 keeps its low 16 bits.
    nodes = Json::Value(Json::arrayValue);
    nodes.append(NodeEntry("33333333-3333-4333-8333-333333333333", "127.0.0.22", 65536 + 5080));
    EXPECT_TRUE(AddNodes(nodes)["success"].asBool());
    const Json::Value list = b.Node("list");
    ASSERT_EQ(2u, list["data"]["nodes"].size());
    EXPECT_EQ(5080, list["data"]["nodes"][1]["port"].asInt());
    // The last node already there: 18991111, none of the others written.
    nodes = Json::Value(Json::arrayValue);
    nodes.append(NodeEntry("44444444-4444-4444-8444-444444444444", "127.0.0.23", 5080));
    nodes.append(NodeEntry("33333333-3333-4333-8333-333333333333", "127.0.0.22", 5080));
    EXPECT_EQ(kNodeInConfig, AddNodes(nodes)["error"]["code"].asInt());
    EXPECT_EQ(2u, b.Node("list")["data"]["nodes"].size());
    // The local node cannot be added.
    nodes = Json::Value(Json::arrayValue);
    nodes.append(NodeEntry(list["data"]["nodes"][0]["uuid"].asString(), "127.0.0.24", 5080));
    EXPECT_EQ(kNodeInConfig, AddNodes(nodes)["error"]["code"].asInt());
}

TEST_F(NodeMethodsTest, DeleteNodeEdgeCases)
{
    Json::Value nodes(Json::arrayValue);
    nodes.append(NodeEntry("11111111-1111-4111-8111-111111111111", "127.0.0.20", 5080));
    nodes.append(NodeEntry("22222222-2222-4222-8222-222222222222", "127.0.0.21", 5080));
    ASSERT_TRUE(AddNodes(nodes)["success"].asBool());
    // An unknown uuid: the error of loadFromConfig, none deleted.
    Json::Value uuids(Json::arrayValue);
    uuids.append("11111111-1111-4111-8111-111111111111");
    uuids.append("99999999-9999-4999-8999-999999999999");
    EXPECT_EQ(ISCSI::ISCSI_ERR_NODE_NOT_FOUND, DeleteNodes(uuids)["error"]["code"].asInt());
    EXPECT_EQ(3u, b.Node("list")["data"]["nodes"].size());
    // One uuid twice is handled once; an empty list succeeds.
    uuids = Json::Value(Json::arrayValue);
    uuids.append("11111111-1111-4111-8111-111111111111");
    uuids.append("11111111-1111-4111-8111-111111111111");
    EXPECT_TRUE(DeleteNodes(uuids)["success"].asBool());
    EXPECT_TRUE(DeleteNodes(Json::Value(Json::arrayValue))["success"].asBool());
    EXPECT_EQ(2u, b.Node("list")["data"]["nodes"].size());
    // delete changes nothing.
    Json::Value params(Json::objectValue);
    params["uuids"] = uuids;
    EXPECT_TRUE(b.Node("delete", params)["success"].asBool());
    EXPECT_EQ(2u, b.Node("list")["data"]["nodes"].size());
}

TEST_F(NodeMethodsTest, CreateSessionIgnoresParametersAndDeleteSessionNeedsANodeSession)
{
    Json::Value params(Json::objectValue);
    params["anything"] = 1;
    const Json::Value reply = b.Node("create_session", params);
    ASSERT_TRUE(reply["success"].asBool()) << KOVA::toString(reply);
    EXPECT_EQ(64u, reply["data"]["session_id"].asString().size());
    // The admin's own login session is no node session.
    EXPECT_EQ(ISCSI::ISCSI_ERR_NODE_SESSION_UNKNOWN, b.Node("delete_session")["error"]["code"].asInt());
}

} // namespace
