// The root of the client classes: its three send paths, step by step, and its text.
#include "ClientTest.h"

#include <webapi-iSCSI/etc/WebAPIClient.h>

using namespace KOVATest;
using ISCSI::WebAPI::WebAPIClient;

namespace {

// A client whose validity the test sets, sent by the path the test picks.
class ProbeClient : public WebAPIClient {
public:
    explicit ProbeClient(const ISCSI::ISCSINodeInfo& node) : WebAPIClient(node)
    {
        api = "KOVA.Core.ISCSI.VLUN";
        method = "get";
        version = 1;
        params["uuid"] = "vlun-1";
    }
    int send() override { return 0; }
    bool isInvalid() const override { return invalid; }
    bool invalid = false;
};

class WebAPIClientRoot : public ClientTest {
protected:
    ProbeClient client{Node()};
};

const char* const kSessionCalls =
    "KOVACredAlloc([])\n"
    "KOVACredSessAlloc([])\n"
    "KOVACredItemSetHost([\"127.0.0.3\"])\n"
    "KOVACredItemSetPort([5080])\n"
    "KOVACredItemSetProtocol([\"http\"])\n"
    "KOVACredSessItemSetAccessToken([\"sid-b\"])\n"
    "CredRequestUtil::GetWebAPIPath([\"KOVA.Core.ISCSI.VLUN\"])\n"
    "CredRequest::CreateWebAPIRequest([\"KOVA.Core.ISCSI.VLUN\",1,\"get\",{\"uuid\":\"vlun-1\"}])\n"
    "CredRequest::Process([true,0])\n"
    "CredRequest::GetResponse([])\n"
    "CredRequest::delete([])\n"
    "KOVACredSessFree([])\n"
    "KOVACredFree([])\n";

void ScriptResponse(LibDouble& lib, const std::string& text)
{
    Json::Value out(Json::objectValue);
    out["response"] = text;
    lib.Script("CredRequest::GetResponse", 0, out);
}

} // namespace

TEST_F(WebAPIClientRoot, ConstructionLeavesRequestAndReplyEmpty)
{
    struct Bare : WebAPIClient {
        int send() override { return 0; }
        bool isInvalid() const override { return false; }
    } bare;
    EXPECT_EQ(bare.version, 0);
    EXPECT_TRUE(bare.params.isNull());
    EXPECT_TRUE(bare.response.isNull());
    EXPECT_EQ(bare.response_text, "");
    EXPECT_EQ(bare.api, "");
    EXPECT_EQ(bare.dst_node.uuid, "");
}

TEST_F(WebAPIClientRoot, TextShowsNodeApiMethodAndVersion)
{
    EXPECT_EQ(client.toString(),
              "Dst node: [" + NodeText() + "] [api: KOVA.Core.ISCSI.VLUN ,method: get ,version: 1]");
}

// Session path.

TEST_F(WebAPIClientRoot, AnInvalidObjectNeverTouchesTheCredentialLibraryOrTheNodeChannel)
{
    client.invalid = true;
    EXPECT_EQ(client.sendRequestBySessionID(true), 18990004);
    EXPECT_EQ(client.sendRequestByAccount(), 18990004);
    EXPECT_EQ(client.sendRequestByDrNode(), 18990004);
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), "");
}

TEST_F(WebAPIClientRoot, SessionPathCallsTheCredentialLibraryInOrderAndFreesAll)
{
    ScriptResponse(Lib(), R"({"success":true,"data":{"status":1}})");
    EXPECT_EQ(client.sendRequestBySessionID(false), 0);
    EXPECT_EQ(LibCalls(), kSessionCalls);
    EXPECT_EQ(client.response_text, R"({"success":true,"data":{"status":1}})");
    EXPECT_EQ(client.response["data"]["status"].asInt(), 1);
}

TEST_F(WebAPIClientRoot, SessionPathWithReloadLoadsTheNodeFirst)
{
    Lib().Script("ISCSINodeInfo::loadFromConfig", 0, R"({"ISCSINodeInfo::session_id":"sid-new"})");
    ScriptResponse(Lib(), "{}");
    EXPECT_EQ(client.sendRequestBySessionID(true), 0);
    const std::vector<std::string> ops = Lib().Ops();
    ASSERT_FALSE(ops.empty());
    EXPECT_EQ(ops.front(), "ISCSINodeInfo::loadFromConfig");
    EXPECT_EQ(Lib().CallsOf("KOVACredSessItemSetAccessToken").at(0).args[0].asString(), "sid-new");
}

TEST_F(WebAPIClientRoot, ReloadOfANodeThatCannotBeLoadedAnswersItsCodeAndMakesNoCred)
{
    Lib().Script("ISCSINodeInfo::loadFromConfig", 18990204);
    EXPECT_EQ(client.sendRequestBySessionID(true), 18990204);
    EXPECT_EQ(Lib().Ops(), std::vector<std::string>{"ISCSINodeInfo::loadFromConfig"});
}

TEST_F(WebAPIClientRoot, SessionPathWithoutCredAnswers18990001)
{
    Lib().Script("KOVACredAlloc", 1);
    EXPECT_EQ(client.sendRequestBySessionID(false), 18990001);
    EXPECT_EQ(LibCalls(), "KOVACredAlloc([])\n");
}

TEST_F(WebAPIClientRoot, SessionPathWithoutSessionAnswers18990001AndFreesTheCred)
{
    Lib().Script("KOVACredSessAlloc", 1);
    EXPECT_EQ(client.sendRequestBySessionID(false), 18990001);
    EXPECT_EQ(LibCalls(), "KOVACredAlloc([])\nKOVACredSessAlloc([])\nKOVACredFree([])\n");
}

TEST_F(WebAPIClientRoot, SessionPathFailedSetterAnswers18990004)
{
    for (const char* setter : {"KOVACredItemSetHost", "KOVACredItemSetPort", "KOVACredItemSetProtocol",
                               "KOVACredSessItemSetAccessToken"}) {
        Lib().Reset();
        Lib().Script(setter, -1);
        EXPECT_EQ(client.sendRequestBySessionID(false), 18990004) << setter;
        const std::vector<std::string> ops = Lib().Ops();
        EXPECT_EQ(ops.back(), "KOVACredFree") << setter;
        EXPECT_EQ(Lib().CallsOf("CredRequestUtil::GetWebAPIPath").size(), 0u) << setter;
    }
}

TEST_F(WebAPIClientRoot, SessionPathWithoutApiPathAnswers18990200)
{
    Lib().Script("CredRequestUtil::GetWebAPIPath", 1);
    EXPECT_EQ(client.sendRequestBySessionID(false), 18990200);
    EXPECT_EQ(Lib().CallsOf("CredRequest::CreateWebAPIRequest").size(), 0u);
    EXPECT_EQ(Lib().Ops().back(), "KOVACredFree");
}

TEST_F(WebAPIClientRoot, SessionPathWithoutRequestObjectAnswers18990207)
{
    Lib().Script("CredRequest::CreateWebAPIRequest", 1);
    EXPECT_EQ(client.sendRequestBySessionID(false), 18990207);
    EXPECT_EQ(Lib().CallsOf("CredRequest::Process").size(), 0u);
    EXPECT_EQ(Lib().Ops().back(), "KOVACredFree");
}

TEST_F(WebAPIClientRoot, SessionPathFailedProcessLogsTheCredErrorAndAnswers18990211)
{
    Lib().Script("CredRequest::Process", 1);
    Lib().Script("CredRequest::GetError", 0, R"({"error":7})");
    EXPECT_EQ(client.sendRequestBySessionID(false), 18990211);
    EXPECT_EQ(
        Log(),
        "<3> iSCSI:WebAPIClient.cpp:L:sendRequestBySessionID Failed to process cred request cred_err=[7]\n");
    EXPECT_EQ(Lib().CallsOf("CredRequest::GetResponse").size(), 0u);
    EXPECT_EQ(Lib().CallsOf("CredRequest::delete").size(), 1u);
    EXPECT_EQ(Lib().Ops().back(), "KOVACredFree");
}

TEST_F(WebAPIClientRoot, SessionPathUnparsableReplyAnswers18990208)
{
    ScriptResponse(Lib(), "<html>not json</html>");
    EXPECT_EQ(client.sendRequestBySessionID(false), 18990208);
    EXPECT_EQ(client.response_text, "<html>not json</html>");
    EXPECT_EQ(Lib().CallsOf("CredRequest::delete").size(), 1u);
}

TEST_F(WebAPIClientRoot, ARemoteErrorCodeIsAnsweredAsItIs)
{
    ScriptResponse(Lib(), R"({"success":false,"error":{"code":18990503}})");
    EXPECT_EQ(client.sendRequestBySessionID(false), 18990503);
}

TEST_F(WebAPIClientRoot, AReplyThatParsesButHasNoErrorGivesZeroOnAllPaths)
{
    ScriptResponse(Lib(), R"({"success":true})");
    EXPECT_EQ(client.sendRequestBySessionID(false), 0);
    ScriptResponse(Lib(), R"({"success":true})");
    EXPECT_EQ(client.sendRequestByAccount(), 0);
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.sendRequestByDrNode(), 0);
}

TEST_F(WebAPIClientRoot, AParsedReplyWithErrorButNoCodeGivesZero)
{
    ScriptResponse(Lib(), R"({"success":false,"error":{"detail":"x"}})");
    EXPECT_EQ(client.sendRequestBySessionID(false), 0);
    ScriptResponse(Lib(), R"({"success":false,"error":{}})");
    EXPECT_EQ(client.sendRequestByAccount(), 0);
    ReplyByNode(R"({"success":false,"error":{"detail":"x"}})");
    EXPECT_EQ(client.sendRequestByDrNode(), 0);
}

TEST_F(WebAPIClientRoot, AnErrorCodeThatIsNoIntegerMakesTheReplyUnreadable)
{
    ScriptResponse(Lib(), R"({"error":{"code":"many"}})");
    EXPECT_EQ(client.sendRequestBySessionID(false), 18990208);
    ReplyByNode(R"({"error":{"code":[1]}})");
    EXPECT_EQ(client.sendRequestByDrNode(), 18990208);
}

// Account path.

TEST_F(WebAPIClientRoot, AccountPathLogsInSendsAndLogsOut)
{
    client.dst_node.password = "pw";
    client.dst_node.otp_code = "123456";
    ScriptResponse(Lib(), R"({"data":{}})");
    EXPECT_EQ(client.sendRequestByAccount(), 0);
    EXPECT_EQ(LibCalls(),
              "KOVACredAlloc([])\n"
              "KOVACredSessAlloc([])\n"
              "KOVACredItemSetHost([\"127.0.0.3\"])\n"
              "KOVACredItemSetPort([5080])\n"
              "KOVACredItemSetProtocol([\"http\"])\n"
              "KOVACredItemSetRemoteAccount([\"admin\"])\n"
              "KOVACredItemSetRemotePasswd([\"pw\"])\n"
              "CredRequestUtil::LoginWithOTP([\"123456\"])\n"
              "CredRequestUtil::GetWebAPIPath([\"KOVA.Core.ISCSI.VLUN\"])\n"
              "CredRequest::CreateWebAPIRequest([\"KOVA.Core.ISCSI.VLUN\",1,\"get\",{\"uuid\":\"vlun-1\"}])\n"
              "CredRequest::Process([true,0])\n"
              "CredRequest::GetResponse([])\n"
              "CredRequest::delete([])\n"
              "CredRequestUtil::Logout([])\n"
              "KOVACredSessFree([])\n"
              "KOVACredFree([])\n");
}

TEST_F(WebAPIClientRoot, AccountPathNeverReloadsTheNode)
{
    ScriptResponse(Lib(), "{}");
    EXPECT_EQ(client.sendRequestByAccount(), 0);
    EXPECT_EQ(Lib().CallsOf("ISCSINodeInfo::loadFromConfig").size(), 0u);
}

TEST_F(WebAPIClientRoot, AccountPathWithoutCredAnswers18990001WithoutLogout)
{
    Lib().Script("KOVACredAlloc", 1);
    EXPECT_EQ(client.sendRequestByAccount(), 18990001);
    EXPECT_EQ(LibCalls(), "KOVACredAlloc([])\n");
}

TEST_F(WebAPIClientRoot, AccountPathFailedSetterAnswers18990001AndLogsOut)
{
    for (const char* setter : {"KOVACredItemSetHost", "KOVACredItemSetPort", "KOVACredItemSetProtocol",
                               "KOVACredItemSetRemoteAccount", "KOVACredItemSetRemotePasswd"}) {
        Lib().Reset();
        Lib().Script(setter, -1);
        EXPECT_EQ(client.sendRequestByAccount(), 18990001) << setter;
        EXPECT_EQ(Lib().CallsOf("CredRequestUtil::LoginWithOTP").size(), 0u) << setter;
        const std::vector<std::string> ops = Lib().Ops();
        ASSERT_GE(ops.size(), 3u);
        EXPECT_EQ(ops[ops.size() - 3], "CredRequestUtil::Logout") << setter;
        EXPECT_EQ(ops.back(), "KOVACredFree") << setter;
    }
}

TEST_F(WebAPIClientRoot, AccountPathFailedLoginAnswers18990205AndLogsOut)
{
    Lib().Script("CredRequestUtil::LoginWithOTP", 1);
    EXPECT_EQ(client.sendRequestByAccount(), 18990205);
    EXPECT_EQ(Lib().CallsOf("CredRequestUtil::GetWebAPIPath").size(), 0u);
    EXPECT_EQ(Lib().CallsOf("CredRequestUtil::Logout").size(), 1u);
    EXPECT_EQ(Lib().Ops().back(), "KOVACredFree");
}

TEST_F(WebAPIClientRoot, AccountPathLogsOutOnEveryLaterFailure)
{
    for (const char* failing :
         {"CredRequestUtil::GetWebAPIPath", "CredRequest::CreateWebAPIRequest", "CredRequest::Process"}) {
        Lib().Reset();
        Lib().Script(failing, 1);
        EXPECT_NE(client.sendRequestByAccount(), 0) << failing;
        EXPECT_EQ(Lib().CallsOf("CredRequestUtil::Logout").size(), 1u) << failing;
    }
    Lib().Reset();
    ScriptResponse(Lib(), "not json");
    EXPECT_EQ(client.sendRequestByAccount(), 18990208);
    EXPECT_EQ(Lib().CallsOf("CredRequestUtil::Logout").size(), 1u);
}

TEST_F(WebAPIClientRoot, AccountPathFailedProcessLogsUnderItsOwnName)
{
    Lib().Script("CredRequest::Process", 1);
    Lib().Script("CredRequest::GetError", 0, R"({"error":28})");
    EXPECT_EQ(client.sendRequestByAccount(), 18990211);
    EXPECT_EQ(
        Log(),
        "<3> iSCSI:WebAPIClient.cpp:L:sendRequestByAccount Failed to process cred request cred_err=[28]\n");
}

TEST_F(WebAPIClientRoot, AccountPathWithoutApiPathOrRequestAnswersTheirCodes)
{
    Lib().Script("CredRequestUtil::GetWebAPIPath", 1);
    EXPECT_EQ(client.sendRequestByAccount(), 18990200);
    Lib().Script("CredRequest::CreateWebAPIRequest", 1);
    EXPECT_EQ(client.sendRequestByAccount(), 18990207);
}

// Node channel.

TEST_F(WebAPIClientRoot, NodeChannelSendsByTheNodeUuidAndKeepsNoText)
{
    ReplyByNode(R"({"success":true,"data":{"status":2}})");
    EXPECT_EQ(client.sendRequestByDrNode(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.VLUN get 1 {"uuid":"vlun-1"})");
    EXPECT_EQ(client.response["data"]["status"].asInt(), 2);
    EXPECT_EQ(client.response_text, "");
    EXPECT_EQ(Lib().Ops(), std::vector<std::string>{"NodeSender::process"});
}

TEST_F(WebAPIClientRoot, NodeChannelFailureLogsAndAnswers18990211)
{
    FailByNode();
    EXPECT_EQ(client.sendRequestByDrNode(), 18990211);
    EXPECT_EQ(Log(), "<3> iSCSI:WebAPIClient.cpp:L:sendRequestByDrNode Failed to send request by DR Node.\n");
}

TEST_F(WebAPIClientRoot, NodeChannelAnswersTheRemoteCode)
{
    ReplyByNode(R"({"success":false,"error":{"code":18991001}})");
    EXPECT_EQ(client.sendRequestByDrNode(), 18991001);
}
