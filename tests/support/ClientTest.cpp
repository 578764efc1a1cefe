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

} // namespace KOVATest
