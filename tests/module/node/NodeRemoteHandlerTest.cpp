// The methods on the list of known nodes and on sessions against the recording double: list,
// add_node with its three passes, delete_node with its two, the delete shell, and the session
// methods that take the caller's connection facts.
#include "HandlerTest.h"

#include "node/WebAPIServerNode.h"

#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APINode;
using KOVATest::Answer;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerNode.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerNode.cpp", function, code, params);
}

// The JSON form of a node record, as the double logs it and as list answers it.
std::string NodeJson(const std::string& uuid, const std::string& sessionId = "",
                     const std::string& hostname = "", unsigned port = 0, const std::string& protocol = "",
                     const std::string& rodKey = "", const std::string& account = "", bool isLocal = false)
{
    return R"({"account":")" + account + R"(","hostname":")" + hostname + R"(","is_local_node":)" +
           (isLocal ? "true" : "false") + R"(,"port":)" + std::to_string(port) + R"(,"protocol":")" +
           protocol + R"(","rod_key":")" + rodKey + R"(","session_id":")" + sessionId + R"(","uuid":")" +
           uuid + R"("})";
}

// An element of add_node's "nodes".
std::string NodeParam(const std::string& uuid, unsigned port = 5001)
{
    return R"({"uuid":")" + uuid + R"(","session_id":"s-)" + uuid + R"(","hostname":"h-)" + uuid +
           R"(","port":)" + std::to_string(port) + R"(,"protocol":"https","rod_key":"rk-)" + uuid +
           R"(","account":"admin"})";
}

std::string NodeRecord(const std::string& uuid, unsigned port = 5001)
{
    return NodeJson(uuid, "s-" + uuid, "h-" + uuid, port, "https", "rk-" + uuid, "admin");
}

// list

class NodeListTest : public KOVATest::HandlerTest {};

TEST_F(NodeListTest, ListWithNoNodesAnswersAnEmptyArray)
{
    auto r = Call(List, "{}");
    EXPECT_EQ(Answer(r), R"(success {"nodes":[]})");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::ListNode([[]])\n");
}

TEST_F(NodeListTest, ListAnswersEveryNodeInTheLibrarysOrderWithoutALogLine)
{
    Lib().Script("ISCSILIBNode::ListNode", 0,
                 "{\"nodes\":[" + NodeJson("n-2", "", "local", 5000, "https", "rk2", "", true) + "," +
                     NodeJson("n-1", "sess", "remote", 5001, "http", "rk1", "admin") + "]}");
    auto r = Call(List, R"({"ignored":1})");
    EXPECT_EQ(Answer(r), "success {\"nodes\":[" +
                             NodeJson("n-2", "", "local", 5000, "https", "rk2", "", true) + "," +
                             NodeJson("n-1", "sess", "remote", 5001, "http", "rk1", "admin") + "]}");
    EXPECT_EQ(Log(), "");
}

TEST_F(NodeListTest, AListNodeFailureAnswersItsCodeWithOnlyTheErrorLine)
{
    Lib().Script("ISCSILIBNode::ListNode", 18990204, "{\"nodes\":[" + NodeJson("n-1") + "]}");
    auto r = Call(List, R"({"x":true})");
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_FALSE(r.HasSuccess());
    EXPECT_EQ(Log(), ErrorLine("List", 18990204, R"({"x":true})"));
}

// add_node

class NodeAddNodeTest : public KOVATest::HandlerTest {};

TEST_F(NodeAddNodeTest, AddNodeChecksEveryNodeThenWritesEachAsARemoteNode)
{
    auto r = Call(AddNode, "{\"nodes\":[" + NodeParam("b") + "," + NodeParam("a") + "]}");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSINodeInfo::isInConfig([" + NodeRecord("b") +
                              "])\n"
                              "ISCSINodeInfo::isInConfig([" +
                              NodeRecord("a") +
                              "])\n"
                              "ISCSINodeInfo::updateConfig([" +
                              NodeRecord("b") +
                              ",true,false])\n"
                              "ISCSINodeInfo::updateConfig([" +
                              NodeRecord("a") + ",true,false])\n");
}

TEST_F(NodeAddNodeTest, AddNodeMakesARemoteEntryEvenForANodeGivenAsLocal)
{
    Call(AddNode, R"({"nodes":[{"uuid":"u","session_id":"","hostname":"h","port":1,"protocol":"p",)"
                  R"("rod_key":"k","account":"a","is_local_node":true}]})");
    const auto calls = Lib().CallsOf("ISCSINodeInfo::updateConfig");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_FALSE(calls[0].args[0]["is_local_node"].asBool());
}

TEST_F(NodeAddNodeTest, AddNodeWithAnEmptyArrayAnswersSuccessAndWritesNothing)
{
    EXPECT_EQ(Answer(Call(AddNode, R"({"nodes":[]})")), "success null");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), DebugLine("AddNode", R"({"nodes":[]})"));
}

TEST_F(NodeAddNodeTest, ASecondNodeWithoutRodKeyEndsWithTheOneLineAndNeitherErrorNorSuccess)
{
    const std::string second =
        R"({"uuid":"b","session_id":"","hostname":"h","port":1,"protocol":"p","account":"a"})";
    const std::string params = "{\"nodes\":[" + NodeParam("a") + "," + second + "]}";
    auto r = Call(AddNode, params);
    EXPECT_EQ(Answer(r), "none");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), DebugLine("AddNode", KOVA::toString(KOVATest::ParseJson(params))) +
                         "<3> iSCSI:WebAPIServerNode.cpp:L:AddNode Failed to get node info from response.\n");
}

TEST_F(NodeAddNodeTest, EachOfTheSevenKeysMissingEndsTheRequestSilently)
{
    for (const char* key : {"uuid", "session_id", "hostname", "port", "protocol", "rod_key", "account"}) {
        SetUp();
        Json::Value node = KOVATest::ParseJson(NodeParam("a"));
        node.removeMember(key);
        Json::Value params(Json::objectValue);
        params["nodes"].append(node);
        auto r = Call(AddNode, KOVA::toString(params));
        EXPECT_EQ(Answer(r), "none") << key;
        EXPECT_EQ(LibCalls(), "") << key;
        ASSERT_EQ(LogLines().size(), 2u) << key;
        EXPECT_EQ(LogLines()[1].priority, 3);
    }
}

TEST_F(NodeAddNodeTest, ANullElementEndsTheRequestSilentlyLikeOneWithoutItsKeys)
{
    for (const char* element : {"null"}) {
        SetUp();
        const std::string params = "{\"nodes\":[" + NodeParam("a") + "," + element + "]}";
        auto r = Call(AddNode, params);
        EXPECT_EQ(Answer(r), "none") << element;
        EXPECT_EQ(LibCalls(), "") << element;
        EXPECT_EQ(Log(),
                  DebugLine("AddNode", KOVA::toString(KOVATest::ParseJson(params))) +
                      "<3> iSCSI:WebAPIServerNode.cpp:L:AddNode Failed to get node info from response.\n");
    }
}

TEST_F(NodeAddNodeTest, AnElementThatIsNeitherNullNorAnObjectThrowsBeforeTheLibrary)
{
    for (const char* element : {"7", "\"node\"", "[]"}) {
        SetUp();
        const std::string params = "{\"nodes\":[" + NodeParam("a") + "," + element + "]}";
        EXPECT_THROW(Call(AddNode, params), Json::LogicError) << element;
        EXPECT_EQ(LibCalls(), "") << element;
    }
}

TEST_F(NodeAddNodeTest, TheLastNodeAlreadyInTheConfigurationAnswers18991111AndWritesNoneOfTheOthers)
{
    Lib().Script("ISCSINodeInfo::isInConfig", 0);
    Lib().Script("ISCSINodeInfo::isInConfig", 0);
    Lib().Script("ISCSINodeInfo::isInConfig", 1);
    const std::string params =
        "{\"nodes\":[" + NodeParam("a") + "," + NodeParam("b") + "," + NodeParam("c") + "]}";
    auto r = Call(AddNode, params);
    EXPECT_EQ(Answer(r), "error 18991111");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSINodeInfo::isInConfig", "ISCSINodeInfo::isInConfig",
                                                     "ISCSINodeInfo::isInConfig"}));
    const std::string logged = KOVA::toString(KOVATest::ParseJson(params));
    EXPECT_EQ(Log(), DebugLine("AddNode", logged) + ErrorLine("AddNode", 18991111, logged));
}

TEST_F(NodeAddNodeTest, TheFirstNodeFoundInTheConfigurationStopsTheCheck)
{
    Lib().Script("ISCSINodeInfo::isInConfig", 1);
    EXPECT_EQ(Answer(Call(AddNode, "{\"nodes\":[" + NodeParam("a") + "," + NodeParam("b") + "]}")),
              "error 18991111");
    EXPECT_EQ(Lib().Ops(), std::vector<std::string>{"ISCSINodeInfo::isInConfig"});
}

TEST_F(NodeAddNodeTest, AFailedWriteLogsTheRecordAnswersItsCodeAndKeepsTheNodesWrittenBefore)
{
    Lib().Script("ISCSINodeInfo::updateConfig", 0);
    Lib().Script("ISCSINodeInfo::updateConfig", 18990204);
    const std::string params =
        "{\"nodes\":[" + NodeParam("a") + "," + NodeParam("b") + "," + NodeParam("c") + "]}";
    auto r = Call(AddNode, params);
    EXPECT_EQ(Answer(r), "error 18990204");
    const auto writes = Lib().CallsOf("ISCSINodeInfo::updateConfig");
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[0].args[0]["uuid"].asString(), "a");
    EXPECT_EQ(writes[1].args[0]["uuid"].asString(), "b");
    const std::string logged = KOVA::toString(KOVATest::ParseJson(params));
    EXPECT_EQ(Log(), DebugLine("AddNode", logged) +
                         "<3> iSCSI:WebAPIServerNode.cpp:L:AddNode Failed to update node config: uuid: b, "
                         "session_id: s-b, hostname: h-b, port: 5001, protocol: https, rod_key: rk-b, "
                         "account: admin, is_local_node: false\n" +
                         ErrorLine("AddNode", 18990204, logged));
}

TEST_F(NodeAddNodeTest, APortAbove65535KeepsOnlyItsLow16Bits)
{
    Call(AddNode, "{\"nodes\":[" + NodeParam("a", 70000) + "]}");
    EXPECT_EQ(LibCalls(), "ISCSINodeInfo::isInConfig([" + NodeRecord("a", 4464) +
                              "])\n"
                              "ISCSINodeInfo::updateConfig([" +
                              NodeRecord("a", 4464) + ",true,false])\n");
}

TEST_F(NodeAddNodeTest, NodesAbsentOrNotAnArrayAnswers18991110)
{
    for (const char* params : {"{}", R"({"nodes":{"uuid":"a"}})", R"({"nodes":"a"})", R"({"nodes":null})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(AddNode, params)), "error 18991110") << params;
        EXPECT_EQ(LibCalls(), "");
        EXPECT_EQ(Log(), DebugLine("AddNode", params) + ErrorLine("AddNode", 18991110, params));
    }
}

// delete_node

class NodeDeleteNodeTest : public KOVATest::HandlerTest {};

TEST_F(NodeDeleteNodeTest, DeleteNodeLoadsEveryNodeThenDeletesEachInSortedOrderOnce)
{
    auto r = Call(DeleteNode, R"({"uuids":["node-b","node-a","node-b"]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSINodeInfo::loadFromConfig([" + NodeJson("node-a") +
                              "])\n"
                              "ISCSINodeInfo::loadFromConfig([" +
                              NodeJson("node-b") +
                              "])\n"
                              "ISCSINodeInfo::deleteFromNodeConfig([" +
                              NodeJson("node-a") +
                              "])\n"
                              "ISCSINodeInfo::deleteFromNodeConfig([" +
                              NodeJson("node-b") + "])\n");
    EXPECT_EQ(Log(), DebugLine("DeleteNode", R"({"uuids":["node-b","node-a","node-b"]})"));
}

TEST_F(NodeDeleteNodeTest, DeletionRunsOnAFreshRecordNotTheLoadedOne)
{
    Lib().Script("ISCSINodeInfo::loadFromConfig", 0, R"({"ISCSINodeInfo::hostname":"loaded"})");
    Call(DeleteNode, R"({"uuids":["n"]})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSINodeInfo::deleteFromNodeConfig")[0].args[0]), NodeJson("n"));
}

TEST_F(NodeDeleteNodeTest, AnUnknownUuidAnswersTheLoadErrorAndDeletesNoneOfTheOthers)
{
    Lib().Script("ISCSINodeInfo::loadFromConfig", 0);
    Lib().Script("ISCSINodeInfo::loadFromConfig", 18990204);
    auto r = Call(DeleteNode, R"({"uuids":["a","zz","c"]})");
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_EQ(Lib().Ops(),
              (std::vector<std::string>{"ISCSINodeInfo::loadFromConfig", "ISCSINodeInfo::loadFromConfig"}));
    EXPECT_EQ(Lib().CallsOf("ISCSINodeInfo::loadFromConfig")[1].args[0]["uuid"].asString(), "c");
}

TEST_F(NodeDeleteNodeTest, AFailedDeletionStopsAndTheDeletionsBeforeItStand)
{
    Lib().Script("ISCSINodeInfo::deleteFromNodeConfig", 0);
    Lib().Script("ISCSINodeInfo::deleteFromNodeConfig", 18990204);
    auto r = Call(DeleteNode, R"({"uuids":["c","b","a"]})");
    EXPECT_EQ(Answer(r), "error 18990204");
    const auto deletions = Lib().CallsOf("ISCSINodeInfo::deleteFromNodeConfig");
    ASSERT_EQ(deletions.size(), 2u);
    EXPECT_EQ(deletions[0].args[0]["uuid"].asString(), "a");
    EXPECT_EQ(deletions[1].args[0]["uuid"].asString(), "b");
}

TEST_F(NodeDeleteNodeTest, DeleteNodeWithAnEmptyArrayAnswersSuccess)
{
    EXPECT_EQ(Answer(Call(DeleteNode, R"({"uuids":[]})")), "success null");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(NodeDeleteNodeTest, UuidsAbsentOrNotAnArrayAnswers18991100)
{
    for (const char* params : {"{}", R"({"uuids":"a"})", R"({"uuids":{"a":1}})", R"({"uuids":1})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(DeleteNode, params)), "error 18991100") << params;
        EXPECT_EQ(LibCalls(), "");
        EXPECT_EQ(Log(), DebugLine("DeleteNode", params) + ErrorLine("DeleteNode", 18991100, params));
    }
}

// delete

class NodeDeleteShellTest : public KOVATest::HandlerTest {};

TEST_F(NodeDeleteShellTest, DeleteOnAnyInputAnswersSuccessChangesNothingAndWritesOnlyTheDebugLine)
{
    for (const char* params : {"{}", R"({"uuids":["a"],"uuid":7})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(Delete, params)), "success null") << params;
        EXPECT_EQ(LibCalls(), "");
        EXPECT_EQ(Log(), DebugLine("Delete", KOVA::toString(KOVATest::ParseJson(params))));
    }
}

// create_session and delete_session

class NodeSessionTest : public KOVATest::HandlerTest {
protected:
    // Runs handler for a caller at remoteIp logged in as user with session sessionId.
    KOVA::APIResponse CallAs(KOVA::APIHandler handler, const std::string& paramsText,
                             const std::string& remoteIp, const std::string& user,
                             const std::string& sessionId)
    {
        KOVA::APIRequest request(KOVATest::ParseJson(paramsText), remoteIp, user, sessionId);
        KOVA::APIResponse response;
        handler(&request, &response);
        return response;
    }
};

TEST_F(NodeSessionTest, CreateSessionOpensASessionForTheCallersAddressAndLoginAndAnswersItsId)
{
    Lib().Script("ISCSINodeInfo::createSession", 0, R"({"ISCSINodeInfo::session_id":"sess-42"})");
    auto r = CallAs(CreateSession, "{}", "192.168.1.20", "replicator", "old");
    EXPECT_EQ(Answer(r), R"(success {"session_id":"sess-42"})");
    EXPECT_EQ(LibCalls(), "ISCSINodeInfo::createSession([" +
                              NodeJson("", "", "192.168.1.20", 0, "", "", "replicator") + "])\n");
    EXPECT_EQ(Log(), DebugLine("CreateSession", "{}"));
}

TEST_F(NodeSessionTest, CreateSessionIgnoresParameters)
{
    auto r = CallAs(CreateSession, R"({"hostname":"evil","account":"root","session_id":"x"})", "10.0.0.1",
                    "u", "");
    EXPECT_TRUE(r.HasSuccess());
    EXPECT_EQ(LibCalls(),
              "ISCSINodeInfo::createSession([" + NodeJson("", "", "10.0.0.1", 0, "", "", "u") + "])\n");
}

TEST_F(NodeSessionTest, ACreateSessionFailureAnswersItsCodeWithTheDebugAndTheErrorLine)
{
    Lib().Script("ISCSINodeInfo::createSession", 18990204, R"({"ISCSINodeInfo::session_id":"half"})");
    auto r = Call(CreateSession, R"({"a":1})");
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_EQ(Log(),
              DebugLine("CreateSession", R"({"a":1})") + ErrorLine("CreateSession", 18990204, R"({"a":1})"));
}

TEST_F(NodeSessionTest, DeleteSessionClosesTheCallersOwnSession)
{
    auto r = CallAs(DeleteSession, R"({"session_id":"other"})", "192.168.1.20", "replicator", "sess-42");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSINodeInfo::deleteSession([" +
                              NodeJson("", "sess-42", "192.168.1.20", 0, "", "", "replicator") + "])\n");
    EXPECT_EQ(Log(), DebugLine("DeleteSession", R"({"session_id":"other"})"));
}

TEST_F(NodeSessionTest, ADeleteSessionFailureAnswersItsCodeWithTheErrorLine)
{
    Lib().Script("ISCSINodeInfo::deleteSession", 18990204);
    EXPECT_EQ(Answer(Call(DeleteSession, "{}")), "error 18990204");
    EXPECT_EQ(Log(), DebugLine("DeleteSession", "{}") + ErrorLine("DeleteSession", 18990204, "{}"));
}

} // namespace
