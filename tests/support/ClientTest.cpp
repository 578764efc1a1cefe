#include "ClientTest.h"

namespace KOVATest {

ISCSI::ISCSINodeInfo ClientTest::Node()
{
    return ISCSI::ISCSINodeInfo("node-b-uuid", "sid-b", "127.0.0.3", 5080, "http", "rod-b", "admin", false);
}

std::string ClientTest::NodeText()
{
    return Node().toString();
}

void ClientTest::ReplyByNode(const std::string& replyText)
{
    Json::Value out(Json::objectValue);
    out["reply"] = ParseJson(replyText);
    Lib().Script("NodeSender::process", 0, out);
}

void ClientTest::FailByNode()
{
    Lib().Script("NodeSender::process", 1);
}

std::string ClientTest::SentByNode() const
{
    const std::vector<LibCall> calls = LibDouble::Get().CallsOf("NodeSender::process");
    if (calls.empty())
        return "";
    const Json::Value& a = calls.back().args;
    return a[0].asString() + " " + a[1].asString() + " " + a[2].asString() + " " +
           std::to_string(a[3].asInt()) + " " + KOVA::toString(a[4]);
}

std::string ClientTest::SentParams() const
{
    const std::vector<LibCall> calls = LibDouble::Get().CallsOf("NodeSender::process");
    return calls.empty() ? "" : KOVA::toString(calls.back().args[4]);
}

bool ClientTest::NothingSent() const
{
    for (const std::string& op : LibDouble::Get().Ops())
        if (op.rfind("KOVACred", 0) == 0 || op.rfind("CredRequest", 0) == 0 || op == "NodeSender::process")
            return false;
    return true;
}

void ClientTest::ExpectRefused(ISCSI::WebAPI::WebAPIClient& client)
{
    EXPECT_TRUE(client.isInvalid());
    EXPECT_EQ(client.send(), 18990004);
    EXPECT_TRUE(NothingSent());
}

Json::Value ClientTest::SentJson() const
{
    return ParseJson(SentParams());
}

std::string ClientTest::RootText(const std::string& api, const std::string& method, int version)
{
    return "Dst node: [" + NodeText() + "] [api: " + api + " ,method: " + method +
           " ,version: " + std::to_string(version) + "]";
}

void ClientTest::ExpectRefusedUnsent(ISCSI::WebAPI::WebAPIClient&& client)
{
    EXPECT_TRUE(client.isInvalid());
    EXPECT_EQ(client.send(), 18990004);
    EXPECT_TRUE(NothingSent());
}

void ClientTest::ExpectEachSentByNodeChannelAlone(std::initializer_list<ISCSI::WebAPI::WebAPIClient*> clients,
                                                  const std::string& api)
{
    for (ISCSI::WebAPI::WebAPIClient* client : clients) {
        LibDouble::Get().Reset();
        EXPECT_EQ(client->send(), 0) << client->method;
        int byNode = 0;
        for (const std::string& op : LibDouble::Get().Ops()) {
            EXPECT_FALSE(op.rfind("KOVACred", 0) == 0 || op.rfind("CredRequest", 0) == 0) << client->method;
            byNode += op == "NodeSender::process";
        }
        EXPECT_EQ(byNode, 1) << client->method;
        EXPECT_EQ(client->api, api);
        EXPECT_EQ(client->version, 1);
    }
}

} // namespace KOVATest
