// The client classes of KOVA.Core.ISCSI.Node: validity, the send path each takes, keys sent,
// replies read, texts.
#include "ClientTest.h"

#include <webapi-iSCSI/node/WebAPIClientNodeAddNode.h>
#include <webapi-iSCSI/node/WebAPIClientNodeCreate.h>
#include <webapi-iSCSI/node/WebAPIClientNodeCreateSession.h>
#include <webapi-iSCSI/node/WebAPIClientNodeDeleteNode.h>
#include <webapi-iSCSI/node/WebAPIClientNodeDeleteSession.h>
#include <webapi-iSCSI/node/WebAPIClientNodeGet.h>
#include <webapi-iSCSI/node/WebAPIClientNodeList.h>
#include <webapi-iSCSI/node/WebAPIClientNodeLogClear.h>
#include <webapi-iSCSI/node/WebAPIClientNodeLogExport.h>
#include <webapi-iSCSI/node/WebAPIClientNodeLogList.h>
#include <webapi-iSCSI/node/WebAPIClientNodeSet.h>
#include <webapi-iSCSI/node/WebAPIClientNodeSubvolConvert.h>

#include <algorithm>
#include <initializer_list>
#include <vector>

using namespace KOVATest;
using namespace ISCSI::WebAPI::APINode;

namespace {

// The family's fields in their order (uuid, hostname, port, protocol, rod_key, account,
// otp_code, session_id), as its text shows them; the ones not given are those of a fresh
// object: port 0, the rest empty.
struct FamilyFields {
    FamilyFields(std::initializer_list<std::string> given = {}) : values{"", "", "0", "", "", "", "", ""}
    {
        std::copy(given.begin(), given.end(), values.begin());
    }
    std::vector<std::string> values;
};

class NodeClient : public ClientTest {
protected:
    static std::string Root(const std::string& method) { return RootText("KOVA.Core.ISCSI.Node", method, 1); }
    static std::string Family(const FamilyFields& f)
    {
        const std::vector<std::string>& v = f.values;
        return "Node: [uuid: " + v[0] + " ,hostname: " + v[1] + " ,port: " + v[2] + " ,protocol: " + v[3] +
               " ,rod_key: " + v[4] + " ,account: " + v[5] + " ,otp_code: " + v[6] + " ,session_id: " + v[7] +
               "]";
    }
    // The text of a leaf after send (rootText: the root's part), with the family's fields, the
    // leaf's own part and the reply text.
    static std::string Text(const std::string& rootText, const FamilyFields& f, const std::string& own = "",
                            const std::string& response = "")
    {
        return rootText + " ," + Family(f) + " ," + own + "[Response: " + response + "]";
    }
    static std::string Unsent() { return "Dst node: [" + NodeText() + "] [api:  ,method:  ,version: 0]"; }
    static ISCSI::ISCSINodeInfo NoNode() { return ISCSI::ISCSINodeInfo(); }
    // A target reached with its own account: what the account path needs.
    static ISCSI::ISCSINodeInfo AccountNode()
    {
        ISCSI::ISCSINodeInfo node = Node();
        node.password = "pw";
        node.otp_code = "123456";
        return node;
    }

    // The next reply of the credential library (session and account paths).
    void ReplyByCred(const std::string& text)
    {
        Json::Value out(Json::objectValue);
        out["response"] = text;
        Lib().Script("CredRequest::GetResponse", 0, out);
    }
    // The target node is (or is not) in the node configuration, for every question.
    void TargetInConfig(bool inConfig) { Lib().ScriptAlways("ISCSINodeInfo::isInConfig", inConfig ? 1 : 0); }

    bool Called(const std::string& op) const
    {
        const std::vector<std::string> ops = LibDouble::Get().Ops();
        return std::find(ops.begin(), ops.end(), op) != ops.end();
    }
    // The path the request went by: "node channel", "account", "session" (the node's session id
    // as it is) or "session reloaded" (the node first reloaded from the node configuration);
    // "" when nothing was sent.
    std::string PathTaken() const
    {
        if (Called("NodeSender::process"))
            return "node channel";
        if (Called("CredRequestUtil::LoginWithOTP"))
            return "account";
        if (Called("KOVACredSessItemSetAccessToken"))
            return Called("ISCSINodeInfo::loadFromConfig") ? "session reloaded" : "session";
        return "";
    }
    // The request given to the credential library, as "api method version params".
    std::string SentByCred() const
    {
        const std::vector<LibCall> calls = LibDouble::Get().CallsOf("CredRequest::CreateWebAPIRequest");
        if (calls.empty())
            return "";
        const Json::Value& a = calls.back().args;
        return a[0].asString() + " " + a[2].asString() + " " + std::to_string(a[1].asInt()) + " " +
               KOVA::toString(a[3]);
    }

    static Json::Value NodeJson(const std::string& uuid, bool isLocal)
    {
        Json::Value node(Json::objectValue);
        node["uuid"] = uuid;
        node["session_id"] = "sid-" + uuid;
        node["hostname"] = "127.0.0.5";
        node["port"] = 5081;
        node["protocol"] = "https";
        node["rod_key"] = "rod-" + uuid;
        node["account"] = "admin";
        node["is_local_node"] = isLocal;
        return node;
    }
    static std::string Reply(const char* key, std::initializer_list<Json::Value> elements)
    {
        Json::Value reply(Json::objectValue);
        reply["success"] = true;
        reply["data"][key] = Json::Value(Json::arrayValue);
        for (const Json::Value& element : elements)
            reply["data"][key].append(element);
        return KOVA::toString(reply);
    }
    static std::string NodeLog()
    {
        return "<3> iSCSI:WebAPIClientNodeList.cpp:L:send Failed to get node info from response.\n";
    }
};

const char* const kCreateByAccount = "KOVACredAlloc\n"
                                     "KOVACredSessAlloc\n"
                                     "KOVACredItemSetHost\n"
                                     "KOVACredItemSetPort\n"
                                     "KOVACredItemSetProtocol\n"
                                     "KOVACredItemSetRemoteAccount\n"
                                     "KOVACredItemSetRemotePasswd\n"
                                     "CredRequestUtil::LoginWithOTP\n"
                                     "CredRequestUtil::GetWebAPIPath\n"
                                     "CredRequest::CreateWebAPIRequest\n"
                                     "CredRequest::Process\n"
                                     "CredRequest::GetResponse\n"
                                     "CredRequest::delete\n"
                                     "CredRequestUtil::Logout\n"
                                     "KOVACredSessFree\n"
                                     "KOVACredFree\n";

std::string OpsText()
{
    std::string text;
    for (const std::string& op : LibDouble::Get().Ops())
        text += op + "\n";
    return text;
}

// The family

TEST_F(NodeClient, TheFamilyTextLeavesThePasswordOut)
{
    WebAPIClientNodeCreate client(Node(), "127.0.0.9", 5090, "https", "rod-x", "root", "secret-pw", "654321");
    const std::string text = client.toString();
    EXPECT_EQ(text, Unsent() + " ," +
                        Family({"", "127.0.0.9", "5090", "https", "rod-x", "root", "654321", ""}) +
                        " ,[Response: ]");
    EXPECT_EQ(text.find("secret-pw"), std::string::npos);
}

// create

TEST_F(NodeClient, CreateOnATargetInTheConfigurationGoesBySessionId)
{
    TargetInConfig(true);
    WebAPIClientNodeCreate client(Node(), "127.0.0.9", 5090, "https", "rod-x", "root", "pw-x", "");
    const std::string reply = R"({"success":true,"data":{"uuid":"node-new"}})";
    ReplyByCred(reply);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(PathTaken(), "session reloaded");
    EXPECT_EQ(Lib().CallsOf("KOVACredSessItemSetAccessToken").at(0).args[0].asString(), "sid-b");
    EXPECT_EQ(SentByCred(), "KOVA.Core.ISCSI.Node create 1 "
                            R"({"account":"root","hostname":"127.0.0.9","password":"pw-x","port":5090,)"
                            R"("protocol":"https","rod_key":"rod-x"})");
    EXPECT_EQ(client.uuid, "node-new");
    EXPECT_EQ(client.toString(),
              Text(Root("create"), {"node-new", "127.0.0.9", "5090", "https", "rod-x", "root"}, "", reply));
}

TEST_F(NodeClient, CreateOnAnUnknownTargetGoesByAccountWithTheTargetsOwnLogin)
{
    TargetInConfig(false);
    WebAPIClientNodeCreate client(AccountNode(), "127.0.0.9", 5090, "https", "rod-x", "root", "pw-x",
                                  "111222");
    ReplyByCred(R"({"success":true,"data":{"uuid":"node-new"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(PathTaken(), "account");
    EXPECT_EQ(OpsText(),
              "ISCSINodeInfo::isInConfig\nISCSINodeInfo::isInConfig\n" + std::string(kCreateByAccount));
    EXPECT_EQ(Lib().CallsOf("KOVACredItemSetRemotePasswd").at(0).args[0].asString(), "pw");
    EXPECT_EQ(Lib().CallsOf("CredRequestUtil::LoginWithOTP").at(0).args[0].asString(), "123456");
    EXPECT_EQ(SentByCred(),
              "KOVA.Core.ISCSI.Node create 1 "
              R"({"account":"root","hostname":"127.0.0.9","otp_code":"111222","password":"pw-x",)"
              R"("port":5090,"protocol":"https","rod_key":"rod-x"})");
    EXPECT_EQ(client.uuid, "node-new");
}

TEST_F(NodeClient, CreateOnAnUnknownTargetNeedsTheTargetsAccountLogin)
{
    TargetInConfig(false);
    WebAPIClientNodeCreate noPassword(Node(), "127.0.0.9", 5090, "https", "rod-x", "root", "pw-x", "");
    ExpectRefused(noPassword);
    ISCSI::ISCSINodeInfo byAddressAlone = AccountNode();
    byAddressAlone.uuid.clear();
    EXPECT_FALSE(
        WebAPIClientNodeCreate(byAddressAlone, "127.0.0.9", 5090, "https", "rod-x", "root", "pw-x", "")
            .isInvalid());
}

TEST_F(NodeClient, CreateOnATargetInTheConfigurationNeedsOnlyItsUuid)
{
    TargetInConfig(true);
    EXPECT_FALSE(
        WebAPIClientNodeCreate(Node(), "127.0.0.9", 5090, "https", "rod-x", "root", "pw-x", "").isInvalid());
    ISCSI::ISCSINodeInfo noUuid = AccountNode();
    noUuid.uuid.clear();
    WebAPIClientNodeCreate client(noUuid, "127.0.0.9", 5090, "https", "rod-x", "root", "pw-x", "");
    ExpectRefused(client);
}

TEST_F(NodeClient, CreateNeedsEveryFieldButTheOneTimeCode)
{
    TargetInConfig(true);
    using C = WebAPIClientNodeCreate;
    EXPECT_TRUE(C(Node(), "", 5090, "https", "rod-x", "root", "pw-x", "1").isInvalid());
    EXPECT_TRUE(C(Node(), "127.0.0.9", 5090, "", "rod-x", "root", "pw-x", "1").isInvalid());
    EXPECT_TRUE(C(Node(), "127.0.0.9", 5090, "https", "", "root", "pw-x", "1").isInvalid());
    EXPECT_TRUE(C(Node(), "127.0.0.9", 5090, "https", "rod-x", "", "pw-x", "1").isInvalid());
    EXPECT_TRUE(C(Node(), "127.0.0.9", 5090, "https", "rod-x", "root", "", "1").isInvalid());
}

TEST_F(NodeClient, CreateWithAPortOf0IsInvalid)
{
    TargetInConfig(true);
    WebAPIClientNodeCreate client(Node(), "127.0.0.9", 0, "https", "rod-x", "root", "pw-x", "");
    ExpectRefused(client);
}

TEST_F(NodeClient, CreateSendsThePortAsAnIntegerAndReadsNothingWhenTheRemoteRefuses)
{
    TargetInConfig(true);
    WebAPIClientNodeCreate client(Node(), "127.0.0.9", 65535, "https", "rod-x", "root", "pw-x", "");
    ReplyByCred(R"({"success":false,"error":{"code":18991101},"data":{"uuid":"node-new"}})");
    EXPECT_EQ(client.send(), 18991101);
    const Json::Value sent = Lib().CallsOf("CredRequest::CreateWebAPIRequest").at(0).args[3];
    EXPECT_TRUE(sent["port"].isInt());
    EXPECT_EQ(sent["port"].asInt(), 65535);
    EXPECT_EQ(client.uuid, "");
}

// list

TEST_F(NodeClient, ListNeedsTheNodeAndGoesByTheNodeChannelWithoutParameters)
{
    WebAPIClientNodeList noNode(NoNode());
    ExpectRefused(noNode);
    WebAPIClientNodeList client(Node());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Node list 1 {}");
}

TEST_F(NodeClient, ListBuildsEachNodeFromItsEightKeysAndTellsTheLocalOne)
{
    WebAPIClientNodeList client(Node());
    Json::Value wide = NodeJson("n2", false);
    wide["port"] = 70000;
    ReplyByNode(Reply("nodes", {NodeJson("n1", true), wide}));
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.nodes.size(), 2u);
    const ISCSI::ISCSINodeInfo& local = client.nodes[0];
    EXPECT_EQ(local.uuid, "n1");
    EXPECT_EQ(local.session_id, "sid-n1");
    EXPECT_EQ(local.hostname, "127.0.0.5");
    EXPECT_EQ(local.port, 5081);
    EXPECT_EQ(local.protocol, "https");
    EXPECT_EQ(local.rod_key, "rod-n1");
    EXPECT_EQ(local.account, "admin");
    EXPECT_TRUE(local.is_local_node);
    EXPECT_FALSE(client.nodes[1].is_local_node);
    EXPECT_EQ(client.nodes[1].port, 70000 & 0xFFFF);
    EXPECT_EQ(Log(), "");
}

TEST_F(NodeClient, AListReplyWithoutIsLocalNodeOnOneElementAnswers18990204)
{
    WebAPIClientNodeList client(Node());
    Json::Value bad = NodeJson("n2", false);
    bad.removeMember("is_local_node");
    ReplyByNode(Reply("nodes", {NodeJson("n1", true), bad}));
    EXPECT_EQ(client.send(), 18990204);
    EXPECT_TRUE(client.nodes.empty());
    EXPECT_EQ(Log(), NodeLog());
}

TEST_F(NodeClient, AListedNodeWithoutAnyOneOfItsKeysOrOfAWrongTypeIsRefused)
{
    for (const char* key :
         {"uuid", "session_id", "hostname", "port", "protocol", "rod_key", "account", "is_local_node"}) {
        for (bool remove : {true, false}) {
            Lib().Reset();
            SyslogCapture::Clear();
            Json::Value node = NodeJson("n1", false);
            if (remove)
                node.removeMember(key);
            else
                node[key] = Json::Value(Json::objectValue);
            WebAPIClientNodeList client(Node());
            ReplyByNode(Reply("nodes", {node}));
            EXPECT_EQ(client.send(), 18990204) << key;
            EXPECT_EQ(Log(), NodeLog()) << key;
        }
    }
    WebAPIClientNodeList client(Node());
    ReplyByNode(Reply("nodes", {Json::Value(3)}));
    EXPECT_EQ(client.send(), 18990204);
}

TEST_F(NodeClient, AFailedListKeepsTheNodesOfTheLastGoodOne)
{
    WebAPIClientNodeList client(Node());
    ReplyByNode(Reply("nodes", {NodeJson("n1", true)}));
    EXPECT_EQ(client.send(), 0);
    Json::Value bad = NodeJson("n2", false);
    bad.removeMember("account");
    ReplyByNode(Reply("nodes", {bad}));
    EXPECT_EQ(client.send(), 18990204);
    ASSERT_EQ(client.nodes.size(), 1u);
    EXPECT_EQ(client.nodes[0].uuid, "n1");
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.nodes.size(), 1u);
    ReplyByNode(Reply("nodes", {}));
    EXPECT_EQ(client.send(), 0);
    EXPECT_TRUE(client.nodes.empty());
}

TEST_F(NodeClient, ListTextShowsEachNodeInBrackets)
{
    WebAPIClientNodeList client(Node());
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family({}) + " ,nodes: [Response: ]");
    ReplyByNode(Reply("nodes", {NodeJson("n1", true), NodeJson("n2", false)}));
    client.send();
    EXPECT_EQ(client.toString(),
              Text(Root("list"), {},
                   "nodes: [" + client.nodes[0].toString() + "] [" + client.nodes[1].toString() + "] "));
}

// get

TEST_F(NodeClient, GetNeedsTheNodeAndSendsOnlyTheKeysThatAreSet)
{
    WebAPIClientNodeGet noNode(NoNode(), "", "", {});
    ExpectRefused(noNode);
    WebAPIClientNodeGet bare(Node(), "", "", {});
    EXPECT_EQ(bare.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Node get 1 {}");
    WebAPIClientNodeGet all(Node(), "/volume1", "/volume2", {"isns_info", "ep_buf_mapped_size"});
    all.send();
    EXPECT_EQ(SentParams(),
              R"({"additional":["isns_info","ep_buf_mapped_size"],"iscsi_dir_root_path":"/volume2",)"
              R"("subvol_root_path":"/volume1"})");
}

TEST_F(NodeClient, GetReadsEveryKeyOfTheReplyIntoItsField)
{
    WebAPIClientNodeGet client(Node(), "", "", {});
    ReplyByNode(
        R"({"success":true,"data":{"status":2,"rod_key":"rod-r","subvol_conv_uuid":"c1",)"
        R"("subvol_conv_status":"running","iscsi_dir_path":"/volume1/@iscsi","isns_address":"127.0.0.8",)"
        R"("iqn_hash_key":"h1","total_size":18446744073709551615,"done_size":1024,"total_number":9,)"
        R"("done_number":3,"subvol_conv_errno":5,"io_queue_length":64,"ep_unmap_buf_mode":1,)"
        R"("tp_hard_threshold_bytes":1048576,"isns_enabled":true,"is_subvol_conv_normal":true,)"
        R"("ep_buf_mapped_size":[{"root_path":"/volume1","mapped_size":4096},)"
        R"({"root_path":"/volume2","mapped_size":18446744073709551615}],)"
        R"("plugin_info":{"a":1},"promote_storage_console":true}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.status, 2);
    EXPECT_EQ(client.rod_key, "rod-r");
    EXPECT_EQ(client.subvol_conv_uuid, "c1");
    EXPECT_EQ(client.subvol_conv_status, "running");
    EXPECT_EQ(client.iscsi_dir_path, "/volume1/@iscsi");
    EXPECT_EQ(client.isns_address, "127.0.0.8");
    EXPECT_EQ(client.iqn_hash_key, "h1");
    EXPECT_EQ(client.total_size, 18446744073709551615ull);
    EXPECT_EQ(client.done_size, 1024u);
    EXPECT_EQ(client.total_number, 9);
    EXPECT_EQ(client.done_number, 3);
    EXPECT_EQ(client.subvol_conv_errno, 5);
    EXPECT_EQ(client.io_queue_length, 64);
    EXPECT_EQ(client.ep_unmap_buf_mode, 1);
    EXPECT_EQ(client.tp_hard_threshold_bytes, 1048576);
    EXPECT_TRUE(client.isns_enabled);
    EXPECT_TRUE(client.is_subvol_conv_normal);
    const std::map<std::string, unsigned long long> sizes{{"/volume1", 4096},
                                                          {"/volume2", 18446744073709551615ull}};
    EXPECT_EQ(client.ep_buf_mapped_size, sizes);
    EXPECT_EQ(client.toString(),
              Text(Root("get"), {"", "", "0", "", "rod-r"}, "[status: 2 ,rod_key: rod-r] ,"));
}

TEST_F(NodeClient, GetReadsTheHardThresholdAsAnIntAndLeavesALargerValue)
{
    WebAPIClientNodeGet client(Node(), "", "", {});
    client.tp_hard_threshold_bytes = 7;
    ReplyByNode(R"({"success":true,"data":{"tp_hard_threshold_bytes":5000000000}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.tp_hard_threshold_bytes, 7);
}

TEST_F(NodeClient, GetReplacesTheMappedSizesAndSkipsEntriesThatAreNoObject)
{
    WebAPIClientNodeGet client(Node(), "", "", {});
    client.ep_buf_mapped_size["/volume9"] = 1;
    ReplyByNode(
        R"({"success":true,"data":{"ep_buf_mapped_size":[3,{"root_path":"/volume1","mapped_size":8}]}})");
    EXPECT_EQ(client.send(), 0);
    const std::map<std::string, unsigned long long> sizes{{"/volume1", 8}};
    EXPECT_EQ(client.ep_buf_mapped_size, sizes);
    ReplyByNode(R"({"success":true,"data":{"status":1}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.ep_buf_mapped_size, sizes);
}

TEST_F(NodeClient, GetLeavesFieldsOnAReplyWithoutDataOrAFailedSend)
{
    WebAPIClientNodeGet client(Node(), "", "", {});
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.toString(), Text(Root("get"), {}, "[status: 0 ,rod_key: ] ,"));
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
    ReplyByNode(R"({"error":{"code":18991122},"data":{"status":4}})");
    EXPECT_EQ(client.send(), 18991122);
    EXPECT_EQ(client.status, 0);
}

// set

TEST_F(NodeClient, SetWithIsnsEnabledMinus1SendsNeitherIsnsKey)
{
    WebAPIClientNodeSet client(Node(), -1, "127.0.0.8", 0, EP_BUFFER_UNMAP_MODE_NONE, 0);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Node set 1 {}");
}

TEST_F(NodeClient, SetSendsIsnsEnabledAsABoolWithTheAddress)
{
    WebAPIClientNodeSet off(Node(), 0, "", 0, EP_BUFFER_UNMAP_MODE_NONE, 0);
    off.send();
    EXPECT_EQ(SentParams(), R"({"isns_address":"","isns_enabled":false})");
    WebAPIClientNodeSet on(Node(), 2, "127.0.0.8", 0, EP_BUFFER_UNMAP_MODE_NONE, 0);
    on.send();
    EXPECT_EQ(SentParams(), R"({"isns_address":"127.0.0.8","isns_enabled":true})");
    EXPECT_TRUE(SentJson()["isns_enabled"].isBool());
}

TEST_F(NodeClient, SetSendsQueueLengthAndThresholdOver0AndAModeNot0)
{
    WebAPIClientNodeSet client(Node(), -1, "", 32, EP_BUFFER_UNMAP_MODE_2, 4096);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"ep_unmap_buf_mode":2,"io_queue_length":32,"tp_hard_threshold_bytes":4096})");
    WebAPIClientNodeSet negative(Node(), -1, "", -5, EP_BUFFER_UNMAP_MODE_NONE, -1);
    negative.send();
    EXPECT_EQ(SentParams(), "{}");
    EXPECT_EQ(negative.toString(), Text(Root("set"), {}));
}

TEST_F(NodeClient, SetNeedsTheNode)
{
    WebAPIClientNodeSet client(NoNode(), 1, "127.0.0.8", 32, EP_BUFFER_UNMAP_MODE_1, 0);
    ExpectRefused(client);
}

// add_node

TEST_F(NodeClient, AddNodeAndDeleteNodeWithAnEmptyListAreInvalid)
{
    WebAPIClientNodeAddNode add(Node(), {});
    ExpectRefused(add);
    WebAPIClientNodeDeleteNode del(Node(), {});
    ExpectRefused(del);
    EXPECT_TRUE(WebAPIClientNodeAddNode(NoNode(), {ISCSI::ISCSINodeInfo("n1")}).isInvalid());
    EXPECT_TRUE(WebAPIClientNodeDeleteNode(NoNode(), {"n1"}).isInvalid());
}

TEST_F(NodeClient, AddNodeSendsTheNodesInTheirJsonFormBySessionIdAfterReloadingTheTarget)
{
    ISCSI::ISCSINodeInfo other("n2", "sid-2", "127.0.0.6", 5082, "http", "rod-2", "admin", false);
    other.password = "not-sent";
    WebAPIClientNodeAddNode client(Node(), {other});
    ReplyByCred(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(PathTaken(), "session reloaded");
    EXPECT_EQ(Lib().Ops().front(), "ISCSINodeInfo::loadFromConfig");
    EXPECT_EQ(SentByCred(),
              "KOVA.Core.ISCSI.Node add_node 1 "
              R"({"nodes":[{"account":"admin","hostname":"127.0.0.6","is_local_node":false,)"
              R"("port":5082,"protocol":"http","rod_key":"rod-2","session_id":"sid-2","uuid":"n2"}]})");
    EXPECT_EQ(client.toString(), Text(Root("add_node"), {}, "0: " + other.toString(), R"({"success":true})"));
}

TEST_F(NodeClient, AddNodeWhoseListHoldsTheTargetsOwnUuidUpdatesTheTargetRecordAndSendsWithFalse)
{
    ISCSI::ISCSINodeInfo first("n1", "sid-1", "127.0.0.6", 5082, "http", "rod-1", "admin", false);
    ISCSI::ISCSINodeInfo self("node-b-uuid", "sid-new", "127.0.0.7", 5083, "https", "rod-b2", "root", false);
    WebAPIClientNodeAddNode client(Node(), {first, self});
    ReplyByCred("{}");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(PathTaken(), "session");
    EXPECT_FALSE(Called("ISCSINodeInfo::loadFromConfig"));
    EXPECT_EQ(Lib().CallsOf("KOVACredItemSetHost").at(0).args[0].asString(), "127.0.0.7");
    EXPECT_EQ(Lib().CallsOf("KOVACredSessItemSetAccessToken").at(0).args[0].asString(), "sid-new");
    EXPECT_EQ(client.dst_node.toString(), self.toString());
    EXPECT_EQ(SentParams(), ""); // not by the node channel
    const Json::Value sent = Lib().CallsOf("CredRequest::CreateWebAPIRequest").at(0).args[3];
    ASSERT_EQ(sent["nodes"].size(), 2u);
    EXPECT_EQ(sent["nodes"][0]["uuid"].asString(), "n1");
    EXPECT_EQ(sent["nodes"][1]["uuid"].asString(), "node-b-uuid");
    EXPECT_EQ(client.toString(), "Dst node: [" + self.toString() +
                                     "] [api: KOVA.Core.ISCSI.Node ,method: add_node ,version: 1] ," +
                                     Family({}) + " ,0: " + first.toString() + "1: " + self.toString() +
                                     "[Response: {}]");
}

TEST_F(NodeClient, AddNodeAnswersTheRemoteCode)
{
    WebAPIClientNodeAddNode client(Node(), {ISCSI::ISCSINodeInfo("n1")});
    ReplyByCred(R"({"success":false,"error":{"code":18991111}})");
    EXPECT_EQ(client.send(), 18991111);
}

// delete_node

TEST_F(NodeClient, DeleteNodeSendsTheUuidsSortedBySessionIdAfterReloadingTheTarget)
{
    WebAPIClientNodeDeleteNode client(Node(), {"n3", "n1", "n2"});
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family({}) + " ,[uuids: n1 n2 n3] ,[Response: ]");
    ReplyByCred(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(PathTaken(), "session reloaded");
    EXPECT_EQ(SentByCred(), R"(KOVA.Core.ISCSI.Node delete_node 1 {"uuids":["n1","n2","n3"]})");
    EXPECT_EQ(client.toString(), Text(Root("delete_node"), {}, "[uuids: n1 n2 n3] ,", R"({"success":true})"));
}

// create_session

TEST_F(NodeClient, CreateSessionNeedsTheTargetsAccountLogin)
{
    WebAPIClientNodeCreateSession noPassword(Node());
    ExpectRefused(noPassword);
    ISCSI::ISCSINodeInfo noPort = AccountNode();
    noPort.port = 0;
    EXPECT_TRUE(WebAPIClientNodeCreateSession(noPort).isInvalid());
    ISCSI::ISCSINodeInfo noUuid = AccountNode();
    noUuid.uuid.clear();
    EXPECT_FALSE(WebAPIClientNodeCreateSession(noUuid).isInvalid());
}

TEST_F(NodeClient, CreateSessionGoesByAccountAndReadsTheSessionId)
{
    WebAPIClientNodeCreateSession client(AccountNode());
    EXPECT_EQ(client.toString(), "Dst node: [" + AccountNode().toString() +
                                     "] [api:  ,method:  ,version: 0] ," + Family({}) +
                                     " ,session_id:  ,[Response: ]");
    const std::string reply = R"({"success":true,"data":{"session_id":"sid-9"}})";
    ReplyByCred(reply);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(OpsText(), kCreateByAccount);
    EXPECT_EQ(SentByCred(), "KOVA.Core.ISCSI.Node create_session 1 {}");
    EXPECT_EQ(client.session_id, "sid-9");
    EXPECT_EQ(client.toString(), Text(Root("create_session"), {"", "", "0", "", "", "", "", "sid-9"},
                                      "session_id: sid-9 ,", reply));
}

TEST_F(NodeClient, CreateSessionReadsNothingWhenTheLoginFails)
{
    WebAPIClientNodeCreateSession client(AccountNode());
    Lib().Script("CredRequestUtil::LoginWithOTP", 1);
    EXPECT_EQ(client.send(), 18990205);
    EXPECT_EQ(client.session_id, "");
}

// delete_session

TEST_F(NodeClient, DeleteSessionGoesBySessionIdAfterReloadingTheTarget)
{
    WebAPIClientNodeDeleteSession noNode(NoNode());
    ExpectRefused(noNode);
    WebAPIClientNodeDeleteSession client(Node());
    ReplyByCred(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(PathTaken(), "session reloaded");
    EXPECT_EQ(SentByCred(), "KOVA.Core.ISCSI.Node delete_session 1 {}");
    EXPECT_EQ(client.toString(), Text(Root("delete_session"), {}, "", R"({"success":true})"));
}

TEST_F(NodeClient, DeleteSessionOnATargetThatCannotBeReloadedAnswersItsCode)
{
    Lib().Script("ISCSINodeInfo::loadFromConfig", 18990204);
    WebAPIClientNodeDeleteSession client(Node());
    EXPECT_EQ(client.send(), 18990204);
    EXPECT_TRUE(NothingSent());
}

// subvol_convert

TEST_F(NodeClient, SubvolConvertNeedsNodeAndRootPath)
{
    EXPECT_TRUE(WebAPIClientNodeSubvolConvert(NoNode(), "/volume1").isInvalid());
    WebAPIClientNodeSubvolConvert empty(Node(), "");
    ExpectRefused(empty);
    WebAPIClientNodeSubvolConvert client(Node(), "/volume1");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(PathTaken(), "node channel");
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Node subvol_convert 1 {"root_path":"/volume1"})");
    EXPECT_EQ(client.toString(), Text(Root("subvol_convert"), {}));
}

// log_list

TEST_F(NodeClient, LogListBuiltWithTheDefaultConstructorSendsNoneOfTheFourNumbers)
{
    WebAPIClientNodeLogList client;
    EXPECT_EQ(client.offset, -1);
    EXPECT_EQ(client.limit, -1);
    EXPECT_EQ(client.date_from, -1);
    EXPECT_EQ(client.date_to, -1);
    client.dst_node = Node();
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Node log_list 1 {}");
}

TEST_F(NodeClient, LogListSendsNumbersOf0AndOverAndTheTextsAndListsThatAreSet)
{
    WebAPIClientNodeLogList noNode(NoNode(), 0, 50, 0, 0, "", {}, {});
    ExpectRefused(noNode);
    WebAPIClientNodeLogList client(Node(), 0, 50, -1, 1700000000, "lun", {"err", "warning"}, {"unread"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"additional":["unread"],"date_to":1700000000,"keyword":"lun",)"
                            R"("limit":50,"log_level":["err","warning"],"offset":0})");
}

TEST_F(NodeClient, LogListReadsTheLinesAndTheSummary)
{
    WebAPIClientNodeLogList client(Node(), -1, -1, -1, -1, "", {}, {});
    ReplyByNode(R"({"success":true,"data":{"logs":[{"id":1,"time":100,"level":"err","user":"admin",)"
                R"("message":"m1","is_unread":true},{"id":2,"time":200,"level":"info","user":"system",)"
                R"("message":"m2","is_unread":false}],"summary":{"err":1,"info":1,"warning":0,"bad":"x"}}})");
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.logs.size(), 2u);
    EXPECT_EQ(client.logs[0].message, "m1");
    EXPECT_EQ(client.logs[1].level, "info");
    const std::map<std::string, unsigned int> summary{{"err", 1}, {"info", 1}, {"warning", 0}};
    EXPECT_EQ(client.summary, summary);
    EXPECT_EQ(client.toString(),
              Text(Root("log_list"), {},
                   "logs: [0: " + client.logs[0].toString() + "1: " + client.logs[1].toString() + "] ,"));
}

TEST_F(NodeClient, LogListClearsTheLinesFirstAndAnswersTheCodeOfALineThatDoesNotLoad)
{
    WebAPIClientNodeLogList client(Node(), -1, -1, -1, -1, "", {}, {});
    client.logs.resize(3);
    ReplyByNode(
        R"({"success":true,"data":{"logs":[{"id":1,"message":"m1"},{"id":"two"}],"summary":{"err":4}}})");
    EXPECT_EQ(client.send(), 18990204);
    ASSERT_EQ(client.logs.size(), 1u);
    EXPECT_EQ(client.logs[0].message, "m1");
    EXPECT_TRUE(client.summary.empty());
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_TRUE(client.logs.empty());
    EXPECT_EQ(client.toString(), Text(Root("log_list"), {}, "logs: [] ,"));
}

// log_clear

TEST_F(NodeClient, LogClearNeedsTheNodeAndSendsNothingButItsName)
{
    WebAPIClientNodeLogClear noNode(NoNode());
    ExpectRefused(noNode);
    WebAPIClientNodeLogClear client(Node());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Node log_clear 1 {}");
    EXPECT_EQ(client.toString(), Text(Root("log_clear"), {}));
}

// log_export

TEST_F(NodeClient, LogExportSendsOnlyWhatIsSet)
{
    WebAPIClientNodeLogExport noNode(NoNode(), "csv", 0, 0, "", {});
    ExpectRefused(noNode);
    WebAPIClientNodeLogExport bare(Node(), "", -1, -1, "", {});
    EXPECT_EQ(bare.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Node log_export 1 {}");
    WebAPIClientNodeLogExport all(Node(), "csv", 0, 1700000000, "lun", {"err"});
    EXPECT_EQ(all.send(), 0);
    EXPECT_EQ(
        SentParams(),
        R"({"date_from":0,"date_to":1700000000,"export_format":"csv","keyword":"lun","log_level":["err"]})");
    EXPECT_EQ(all.toString(), Text(Root("log_export"), {}));
}

} // namespace
