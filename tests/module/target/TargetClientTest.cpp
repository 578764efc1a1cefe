// The client classes of KOVA.Core.ISCSI.Target: validity, keys sent, replies read, texts, and
// round trips through this module's own target handlers.
#include "ClientLoopback.h"
#include "ClientTest.h"

#include <webapi-iSCSI/target/WebAPIClientTargetACLMasksAdd.h>
#include <webapi-iSCSI/target/WebAPIClientTargetACLMasksRemove.h>
#include <webapi-iSCSI/target/WebAPIClientTargetCreate.h>
#include <webapi-iSCSI/target/WebAPIClientTargetDelete.h>
#include <webapi-iSCSI/target/WebAPIClientTargetDisable.h>
#include <webapi-iSCSI/target/WebAPIClientTargetEnable.h>
#include <webapi-iSCSI/target/WebAPIClientTargetGet.h>
#include <webapi-iSCSI/target/WebAPIClientTargetList.h>
#include <webapi-iSCSI/target/WebAPIClientTargetMapLUN.h>
#include <webapi-iSCSI/target/WebAPIClientTargetNetworkPortalsAdd.h>
#include <webapi-iSCSI/target/WebAPIClientTargetNetworkPortalsRemove.h>
#include <webapi-iSCSI/target/WebAPIClientTargetSet.h>
#include <webapi-iSCSI/target/WebAPIClientTargetUnmapLUN.h>

#include <type_traits>

using namespace KOVATest;
using namespace ISCSI::WebAPI::APITarget;

namespace {

class TargetClient : public ClientTest {
protected:
    static std::string Root(const std::string& method)
    {
        return RootText("KOVA.Core.ISCSI.Target", method, 1);
    }
    // The root's text of a client that was not sent yet.
    static std::string Unsent() { return "Dst node: [" + NodeText() + "] [api:  ,method:  ,version: 0]"; }
    static std::string Family(const std::string& target_id, const std::string& name = "",
                              const std::string& iqn = "", unsigned int max_sessions = 0, int auth_type = 0,
                              const std::string& user = "", const std::string& password = "",
                              const std::string& mutual_user = "", const std::string& mutual_password = "")
    {
        return "target: [target_id: " + target_id + " ,name: " + name + " ,iqn: " + iqn +
               " ,max_sessions: " + std::to_string(max_sessions) +
               " ,auth_type: " + std::to_string(auth_type) + " ,user: " + user + " ,password: " + password +
               " ,mutual_user: " + mutual_user + " ,mutual_password: " + mutual_password + "]";
    }
    static ISCSI::ISCSINodeInfo NoNode() { return ISCSI::ISCSINodeInfo(); }
    // The JSON value of a key of the request sent, for type checks.
    Json::Value SentKey(const char* key) { return Lib().CallsOf("NodeSender::process").at(0).args[4][key]; }

    static WebAPIClientTargetCreate Create(const ISCSI::ISCSINodeInfo& node, const std::string& name = "t1",
                                           const std::string& iqn = "iqn.2026-11.com.example:t1")
    {
        return WebAPIClientTargetCreate(node, name, iqn, ISCSI_AUTH_TYPE_MUTUAL_CHAP, "u", "p", "mu", "mp", 4,
                                        true);
    }
    // A set request with every setting filled, so that the mask alone decides what is sent.
    static WebAPIClientTargetSet SetWithMask(int mask, const std::string& target_id = "3")
    {
        return WebAPIClientTargetSet(Node(), target_id, mask, "t2", "iqn.2026-11.com.example:t2", true, false,
                                     8192, 16384, 5, ISCSI_AUTH_TYPE_CHAP, "u", "p", "mu", "mp");
    }
};

// A leaf of the family that takes the family's constructors as they are, to look at the
// family's fields and text on their own.
class AnyTargetClient : public WebAPIClientTarget {
public:
    using WebAPIClientTarget::WebAPIClientTarget;
    int send() override { return 0; }
    bool isInvalid() const override { return false; }
};

} // namespace

// The family

TEST_F(TargetClient, TheFamilyConstructorsFillTheirFieldsAndLeaveTheRestEmpty)
{
    const AnyTargetClient none;
    EXPECT_EQ(none.toString(), Family(""));
    EXPECT_FALSE(none.has_header_checksum);
    EXPECT_EQ(none.max_recv_seg_bytes, 0u);

    const AnyTargetClient byId(Node(), "7");
    EXPECT_EQ(byId.dst_node.uuid, "node-b-uuid");
    EXPECT_EQ(byId.toString(), Family("7"));

    const AnyTargetClient settings(Node(), "t1", "iqn.a", ISCSI_AUTH_TYPE_CHAP, "u", "p", "mu", "mp", 9);
    EXPECT_EQ(settings.toString(), Family("", "t1", "iqn.a", 9, 1, "u", "p", "mu", "mp"));

    const AnyTargetClient all(Node(), "7", "t1", "iqn.a", true, true, 4096, 8192, 9,
                              ISCSI_AUTH_TYPE_MUTUAL_CHAP, "u", "p", "mu", "mp");
    EXPECT_TRUE(all.has_header_checksum);
    EXPECT_TRUE(all.has_data_checksum);
    EXPECT_EQ(all.max_recv_seg_bytes, 4096u);
    EXPECT_EQ(all.max_send_seg_bytes, 8192u);
    EXPECT_EQ(all.toString(), Family("7", "t1", "iqn.a", 9, 2, "u", "p", "mu", "mp"));
}

TEST_F(TargetClient, TheFamilyTextShowsBothPasswordsInPlain)
{
    const AnyTargetClient client(Node(), "t1", "iqn.a", ISCSI_AUTH_TYPE_MUTUAL_CHAP, "alice", "s3cret!",
                                 "bob", "b0b-pass", 1);
    EXPECT_NE(client.toString().find(" ,password: s3cret! ,"), std::string::npos);
    EXPECT_NE(client.toString().find(" ,mutual_password: b0b-pass]"), std::string::npos);
}

// create

TEST_F(TargetClient, CreateIsValidWithNodeNameAndIqn)
{
    EXPECT_FALSE(Create(Node()).isInvalid());
    ExpectRefusedUnsent(Create(NoNode()));
    ExpectRefusedUnsent(Create(Node(), ""));
    ExpectRefusedUnsent(Create(Node(), "t1", ""));
    ExpectRefusedUnsent(WebAPIClientTargetCreate());
}

TEST_F(TargetClient, CreateIsValidWithoutCredentialsForAnyAuthenticationType)
{
    EXPECT_FALSE(
        WebAPIClientTargetCreate(Node(), "t1", "iqn.a", ISCSI_AUTH_TYPE_MUTUAL_CHAP, "", "", "", "", 0, false)
            .isInvalid());
}

TEST_F(TargetClient, CreateSendsEveryKeyByNodeChannelWithIntegerAuthTypeAndBooleanFlag)
{
    WebAPIClientTargetCreate client = Create(Node());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(
        SentByNode(),
        "node-b-uuid KOVA.Core.ISCSI.Target create 1 "
        R"({"auth_type":2,"iqn":"iqn.2026-11.com.example:t1","is_soft_feas_ignored":true,)"
        R"("max_sessions":4,"mutual_password":"mp","mutual_user":"mu","name":"t1","password":"p","user":"u"})");
    EXPECT_TRUE(SentKey("auth_type").isInt());
    EXPECT_TRUE(SentKey("max_sessions").isUInt());
    EXPECT_TRUE(SentKey("is_soft_feas_ignored").isBool());
}

TEST_F(TargetClient, CreateSendsEmptyCredentialsAndAFalseFlagAsWell)
{
    WebAPIClientTargetCreate client(Node(), "t1", "iqn.a", ISCSI_AUTH_TYPE_NONE, "", "", "", "", 0, false);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"auth_type":0,"iqn":"iqn.a","is_soft_feas_ignored":false,"max_sessions":0,)"
                            R"("mutual_password":"","mutual_user":"","name":"t1","password":"","user":""})");
}

TEST_F(TargetClient, CreateReadsTheNumericTargetIdAsItsText)
{
    WebAPIClientTargetCreate client = Create(Node());
    ReplyByNode(R"({"success":true,"data":{"target_id":12}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target_id, "12");
    ReplyByNode(R"({"success":true,"data":{"target_id":"13"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target_id, "13");
}

TEST_F(TargetClient, CreateLeavesTheTargetIdOnAReplyWithoutDataOrWithAWrongType)
{
    WebAPIClientTargetCreate client = Create(Node());
    client.target_id = "old";
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target_id, "old");
    ReplyByNode(R"({"success":true,"data":{"target_id":[1]}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target_id, "old");
    ReplyByNode(R"({"success":true,"data":{"other":1}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target_id, "old");
}

TEST_F(TargetClient, CreateReadsNothingWhenTheSendFails)
{
    WebAPIClientTargetCreate client = Create(Node());
    ReplyByNode(R"({"success":false,"error":{"code":18990335},"data":{"target_id":12}})");
    EXPECT_EQ(client.send(), 18990335);
    EXPECT_EQ(client.target_id, "");
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
    EXPECT_EQ(client.target_id, "");
}

TEST_F(TargetClient, CreateTextBeforeAndAfterSendShowsTheRequestAndThePasswordsInPlain)
{
    WebAPIClientTargetCreate client = Create(Node());
    const std::string family = Family("", "t1", "iqn.2026-11.com.example:t1", 4, 2, "u", "p", "mu", "mp");
    EXPECT_EQ(client.toString(), Unsent() + " ," + family + " ,[Response: ]");
    ReplyByNode(R"({"success":true,"data":{"target_id":12}})");
    client.send();
    EXPECT_EQ(client.toString(),
              Root("create") + " ," +
                  Family("12", "t1", "iqn.2026-11.com.example:t1", 4, 2, "u", "p", "mu", "mp") +
                  " ,[Response: ]");
}

TEST_F(TargetClient, CreateThroughTheTargetHandlerGetsTheNewTargetsId)
{
    ClientLoopback loopback;
    Lib().Script("ISCSILIBTarget::createTarget", 0, R"({"ISCSILIBTarget::tid":42})");
    WebAPIClientTargetCreate client = Create(Node());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target_id, "42");
    const Json::Value built = Lib().CallsOf("ISCSILIBTarget::ISCSILIBTarget").at(0).args;
    EXPECT_EQ(KOVA::toString(built),
              R"(["t1","iqn.2026-11.com.example:t1",true,false,false,262144,262144,4,2,)"
              R"("u","p","mu","mp",true])");
}

// delete, enable, disable

TEST_F(TargetClient, DeleteEnableAndDisableAreValidWithNodeAndTargetId)
{
    EXPECT_FALSE(WebAPIClientTargetDelete(Node(), "3").isInvalid());
    EXPECT_FALSE(WebAPIClientTargetEnable(Node(), "3").isInvalid());
    EXPECT_FALSE(WebAPIClientTargetDisable(Node(), "3").isInvalid());
    ExpectRefusedUnsent(WebAPIClientTargetDelete(NoNode(), "3"));
    ExpectRefusedUnsent(WebAPIClientTargetEnable(NoNode(), "3"));
    ExpectRefusedUnsent(WebAPIClientTargetDisable(NoNode(), "3"));
    ExpectRefusedUnsent(WebAPIClientTargetDelete(Node(), ""));
    ExpectRefusedUnsent(WebAPIClientTargetEnable(Node(), ""));
    ExpectRefusedUnsent(WebAPIClientTargetDisable(Node(), ""));
}

TEST_F(TargetClient, DeleteSendsTheTargetIdAndReadsNothing)
{
    WebAPIClientTargetDelete client(Node(), "3");
    ReplyByNode(R"({"success":true,"data":{"target_id":"9"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Target delete 1 {"target_id":"3"})");
    EXPECT_EQ(client.target_id, "3");
    EXPECT_EQ(client.toString(), Root("delete") + " ," + Family("3") + " ,[Response: ]");
}

TEST_F(TargetClient, EnableSendsTheTargetId)
{
    WebAPIClientTargetEnable client(Node(), "3");
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("3") + " ,[Response: ]");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Target enable 1 {"target_id":"3"})");
    EXPECT_EQ(client.toString(), Root("enable") + " ," + Family("3") + " ,[Response: ]");
}

TEST_F(TargetClient, DisableSendsTheTargetIdAndAnswersTheRemoteCode)
{
    WebAPIClientTargetDisable client(Node(), "3");
    ReplyByNode(R"({"success":false,"error":{"code":18990710}})");
    EXPECT_EQ(client.send(), 18990710);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Target disable 1 {"target_id":"3"})");
    EXPECT_EQ(client.toString(), Root("disable") + " ," + Family("3") + " ,[Response: ]");
}

TEST_F(TargetClient, DeleteEnableAndDisableReachTheirLibraryOperationsThroughTheHandlers)
{
    ClientLoopback loopback;
    EXPECT_EQ(WebAPIClientTargetDelete(Node(), "3").send(), 0);
    EXPECT_EQ(WebAPIClientTargetEnable(Node(), "3").send(), 0);
    EXPECT_EQ(WebAPIClientTargetDisable(Node(), "3").send(), 0);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::deleteTarget").size(), 1u);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::enableTarget").size(), 1u);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::disableTarget").size(), 1u);
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSITargetInfo::GetTid").at(2).args[0]), R"("3")");
}

// set

TEST_F(TargetClient, SetIsValidWithNodeAndTargetIdWhateverTheMask)
{
    EXPECT_FALSE(SetWithMask(0).isInvalid());
    EXPECT_FALSE(SetWithMask(-1).isInvalid());
    ExpectRefusedUnsent(WebAPIClientTargetSet(NoNode(), "3", 1, "t2", "", false, false, 0, 0, 0,
                                              ISCSI_AUTH_TYPE_NONE, "", "", "", ""));
    ExpectRefusedUnsent(SetWithMask(4095, ""));
}

TEST_F(TargetClient, SetWithMaskZeroSendsOnlyTheTargetId)
{
    WebAPIClientTargetSet client = SetWithMask(0);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Target set 1 {"target_id":"3"})");
}

TEST_F(TargetClient, SetWithTheUserBitAloneSendsOnlyTheTargetId)
{
    WebAPIClientTargetSet client = SetWithMask(ISCSI::ISCSI_TARGET_UPDATE_USER);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"target_id":"3"})");
}

TEST_F(TargetClient, SetWithTheAuthTypeAndUserBitsSendsAuthTypeAndUser)
{
    WebAPIClientTargetSet client = SetWithMask(96);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"auth_type":1,"target_id":"3","user":"u"})");
    EXPECT_TRUE(SentKey("auth_type").isInt());
}

TEST_F(TargetClient, SetSendsNoCredentialWithoutTheAuthTypeBit)
{
    WebAPIClientTargetSet client = SetWithMask(64 | 128 | 256 | 512);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"target_id":"3"})");
}

TEST_F(TargetClient, SetSendsEachSettingUnderItsOwnBit)
{
    const std::pair<int, std::string> bits[] = {
        {1, R"("name":"t2")"},
        {2, R"("iqn":"iqn.2026-11.com.example:t2")"},
        {4, R"("max_sessions":5)"},
        {8, R"("has_header_checksum":true)"},
        {16, R"("has_data_checksum":false)"},
        {32, R"("auth_type":1)"},
        {1024, R"("max_recv_seg_bytes":8192)"},
        {2048, R"("max_send_seg_bytes":16384)"},
        {32 | 128, R"("auth_type":1,"password":"p")"},
        {32 | 256, R"("auth_type":1,"mutual_user":"mu")"},
        {32 | 512, R"("auth_type":1,"mutual_password":"mp")"},
    };
    for (const auto& bit : bits) {
        Lib().Reset();
        WebAPIClientTargetSet client = SetWithMask(bit.first);
        EXPECT_EQ(client.send(), 0);
        const std::string params = SentParams();
        const std::string expected = "{" + bit.second + R"(,"target_id":"3"})";
        const std::string expectedAfter = R"({"target_id":"3",)" + bit.second + "}";
        EXPECT_TRUE(params == expected || params == expectedAfter) << "mask " << bit.first << ": " << params;
    }
}

TEST_F(TargetClient, SetWithEveryBitSendsEveryKeyWithItsJsonType)
{
    WebAPIClientTargetSet client = SetWithMask(4095);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"auth_type":1,"has_data_checksum":false,"has_header_checksum":true,)"
                            R"("iqn":"iqn.2026-11.com.example:t2","max_recv_seg_bytes":8192,)"
                            R"("max_send_seg_bytes":16384,"max_sessions":5,"mutual_password":"mp",)"
                            R"("mutual_user":"mu","name":"t2","password":"p","target_id":"3","user":"u"})");
    EXPECT_TRUE(SentKey("max_sessions").isUInt());
    EXPECT_TRUE(SentKey("has_header_checksum").isBool());
    EXPECT_TRUE(SentKey("max_recv_seg_bytes").isUInt());
    EXPECT_TRUE(SentKey("auth_type").isInt());
}

TEST_F(TargetClient, SetReadsNothingAndItsTextShowsTheFamilyFields)
{
    WebAPIClientTargetSet client = SetWithMask(1);
    EXPECT_EQ(client.mask, 1);
    ReplyByNode(R"({"success":true,"data":{"name":"other","target_id":"9"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.name, "t2");
    EXPECT_EQ(client.toString(),
              Root("set") + " ," +
                  Family("3", "t2", "iqn.2026-11.com.example:t2", 5, 1, "u", "p", "mu", "mp") +
                  " ,[Response: ]");
}

TEST_F(TargetClient, SetThroughTheTargetHandlerUpdatesWithTheSameMask)
{
    ClientLoopback loopback;
    EXPECT_EQ(SetWithMask(96).send(), 0);
    const Json::Value update = Lib().CallsOf("ISCSILIBTarget::updateTarget").at(0).args;
    EXPECT_EQ(update[0].asInt(), 96);
    EXPECT_EQ(update[8].asInt(), 1);
    EXPECT_EQ(update[9].asString(), "u");
}

// list

TEST_F(TargetClient, ListWithoutLunUuidOrAdditionalSendsNeitherKeyAndIsValidOnAnyValidNode)
{
    WebAPIClientTargetList client(Node(), "", {});
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Target list 1 {}");
    EXPECT_FALSE(WebAPIClientTargetList(ISCSI::ISCSINodeInfo("another-node"), "", {}).isInvalid());
}

TEST_F(TargetClient, ListIsInvalidOnlyWithoutANode)
{
    ExpectRefusedUnsent(WebAPIClientTargetList(NoNode(), "lun-1", {"acls"}));
    ExpectRefusedUnsent(WebAPIClientTargetList());
}

TEST_F(TargetClient, ListSendsTheLunFilterAndTheAdditionalWordsAsAnArrayInTheirOrder)
{
    WebAPIClientTargetList client(Node(), "lun-1", {"status", "acls", "status"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"additional":["status","acls","status"],"lun_uuid":"lun-1"})");
    EXPECT_TRUE(SentKey("additional").isArray());
}

TEST_F(TargetClient, ListReadsEveryTargetRecordOfTheReply)
{
    WebAPIClientTargetList client(Node(), "", {"acls"});
    ReplyByNode(
        R"({"success":true,"data":{"targets":[)"
        R"({"target_id":1,"name":"t1","iqn":"iqn.a","auth_type":1,"acls":[{"iqn":"iqn.i","permission":"r"}]},)"
        R"({"target_id":2,"name":"t2","iqn":"iqn.b","max_sessions":3}]}})");
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.targets.size(), 2u);
    EXPECT_EQ(client.targets[0].tid, 1u);
    EXPECT_EQ(client.targets[0].name, "t1");
    EXPECT_EQ(client.targets[0].auth_type, ISCSI_AUTH_TYPE_CHAP);
    EXPECT_EQ(client.targets[0].acls.at("iqn.i"), ISCSI_TARGET_AUTHORITY_READ);
    EXPECT_EQ(client.targets[1].iqn, "iqn.b");
    EXPECT_EQ(client.targets[1].max_sessions, 3u);
}

TEST_F(TargetClient, ListEmptiesItsTargetsOnEverySuccessfulSend)
{
    WebAPIClientTargetList client(Node(), "", {});
    ReplyByNode(R"({"success":true,"data":{"targets":[{"target_id":1},{"target_id":2}]}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.targets.size(), 2u);
    ReplyByNode(R"({"success":true,"data":{"targets":[{"target_id":3}]}})");
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.targets.size(), 1u);
    EXPECT_EQ(client.targets[0].tid, 3u);
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_TRUE(client.targets.empty());
}

TEST_F(TargetClient, ListStopsAtARecordThatDoesNotLoadAndKeepsTheRecordsBeforeIt)
{
    WebAPIClientTargetList client(Node(), "", {});
    ReplyByNode(R"({"success":true,"data":{"targets":[{"target_id":1},{"name":5},{"target_id":3}]}})");
    EXPECT_EQ(client.send(), 18990204);
    ASSERT_EQ(client.targets.size(), 1u);
    EXPECT_EQ(client.targets[0].tid, 1u);
}

TEST_F(TargetClient, ListKeepsItsTargetsWhenTheSendFails)
{
    WebAPIClientTargetList client(Node(), "", {});
    ReplyByNode(R"({"success":true,"data":{"targets":[{"target_id":1}]}})");
    EXPECT_EQ(client.send(), 0);
    ReplyByNode(R"({"success":false,"error":{"code":18990505},"data":{"targets":[]}})");
    EXPECT_EQ(client.send(), 18990505);
    EXPECT_EQ(client.targets.size(), 1u);
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
    EXPECT_EQ(client.targets.size(), 1u);
}

TEST_F(TargetClient, ListTextShowsTheLunFilterWithAClosingBracketOnly)
{
    WebAPIClientTargetList client(Node(), "lun-1", {"acls"});
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("") + " ,lun_uuid: lun-1] ,[Response: ]");
    client.send();
    EXPECT_EQ(client.toString(), Root("list") + " ," + Family("") + " ,lun_uuid: lun-1] ,[Response: ]");
}

TEST_F(TargetClient, ListThroughTheTargetHandlerReadsTheTargetsTheLibraryListed)
{
    ClientLoopback loopback;
    Lib().Script("ISCSILIBTarget::ListTarget", 0,
                 R"({"targets":[{"target_id":4,"name":"t4","iqn":"iqn.d","auth_type":0},)"
                 R"({"target_id":6,"name":"t6","iqn":"iqn.f","auth_type":2}]})");
    WebAPIClientTargetList client(Node(), "", {"status"});
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.targets.size(), 2u);
    EXPECT_EQ(client.targets[1].name, "t6");
    EXPECT_EQ(client.targets[1].auth_type, ISCSI_AUTH_TYPE_MUTUAL_CHAP);
}

// get

TEST_F(TargetClient, GetIsValidWithNodeAndTargetId)
{
    EXPECT_FALSE(WebAPIClientTargetGet(Node(), "3", {}).isInvalid());
    ExpectRefusedUnsent(WebAPIClientTargetGet(NoNode(), "3", {}));
    ExpectRefusedUnsent(WebAPIClientTargetGet(Node(), "", {"acls"}));
}

TEST_F(TargetClient, GetSendsAdditionalOnlyWhenItHasWords)
{
    WebAPIClientTargetGet bare(Node(), "3", {});
    EXPECT_EQ(bare.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Target get 1 {"target_id":"3"})");
    WebAPIClientTargetGet withWords(Node(), "3", {"mapped_lun", "acls"});
    EXPECT_EQ(withWords.send(), 0);
    EXPECT_EQ(SentParams(), R"({"additional":["mapped_lun","acls"],"target_id":"3"})");
}

TEST_F(TargetClient, GetLoadsTheTargetRecordOfTheReply)
{
    WebAPIClientTargetGet client(Node(), "3", {"mapped_lun"});
    ReplyByNode(
        R"({"success":true,"data":{"target":{"target_id":3,"name":"t3","iqn":"iqn.c","is_enabled":true,)"
        R"("mapped_luns":[{"target_id":3,"lun_id":1,"lun_uuid":"lun-1"}]}}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target.tid, 3u);
    EXPECT_EQ(client.target.name, "t3");
    EXPECT_TRUE(client.target.is_enabled);
    ASSERT_EQ(client.target.mapped_luns.size(), 1u);
    EXPECT_EQ(client.target.mapped_luns[0].lun_uuid, "lun-1");
    EXPECT_EQ(client.target_id, "3");
}

TEST_F(TargetClient, GetAnswersTheCodeOfARecordThatDoesNotLoad)
{
    WebAPIClientTargetGet client(Node(), "3", {});
    ReplyByNode(R"({"success":true,"data":{"target":"t3"}})");
    EXPECT_EQ(client.send(), 18990204);
    ReplyByNode(R"({"success":true,"data":{"target":{"target_id":-4}}})");
    EXPECT_EQ(client.send(), 18990204);
}

TEST_F(TargetClient, GetWithoutATargetInTheReplyAnswers0AndKeepsTheRecord)
{
    WebAPIClientTargetGet client(Node(), "3", {});
    client.target.name = "kept";
    ReplyByNode(R"({"success":true,"data":{"targets":[]}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target.name, "kept");
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.target.name, "kept");
}

TEST_F(TargetClient, GetReadsNothingWhenTheSendFails)
{
    WebAPIClientTargetGet client(Node(), "3", {});
    ReplyByNode(R"({"success":false,"error":{"code":18990710},"data":{"target":{"name":"t3"}}})");
    EXPECT_EQ(client.send(), 18990710);
    EXPECT_EQ(client.target.name, "");
}

TEST_F(TargetClient, GetTextIsTheStandardOne)
{
    WebAPIClientTargetGet client(Node(), "3", {"acls"});
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("3") + " ,[Response: ]");
    ReplyByNode(R"({"success":true,"data":{"target":{"target_id":3,"name":"t3"}}})");
    client.send();
    EXPECT_EQ(client.toString(), Root("get") + " ," + Family("3") + " ,[Response: ]");
}

TEST_F(TargetClient, GetThroughTheTargetHandlerLoadsTheRecordWithTheFlagsOfItsWords)
{
    ClientLoopback loopback;
    Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":3})");
    Lib().Script("ISCSILIBTarget::loadTargetInfo", 0,
                 R"({"ISCSILIBTarget::tid":3,"ISCSILIBTarget::name":"t3","ISCSILIBTarget::iqn":"iqn.c"})");
    WebAPIClientTargetGet client(Node(), "3", {"acls", "status"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::loadTargetInfo").at(0).args[0].asInt(), 4 | 16);
    EXPECT_EQ(client.target.name, "t3");
    EXPECT_EQ(client.target.tid, 3u);
    EXPECT_EQ(client.target.load_flags, 4 | 16);
}

// map_lun, unmap_lun

TEST_F(TargetClient, MapAndUnmapAreValidWithNodeLunsAndTargetId)
{
    EXPECT_FALSE(WebAPIClientTargetMapLUN(Node(), "3", {"lun-1"}).isInvalid());
    EXPECT_FALSE(WebAPIClientTargetUnmapLUN(Node(), "3", {"lun-1"}).isInvalid());
    ExpectRefusedUnsent(WebAPIClientTargetMapLUN(NoNode(), "3", {"lun-1"}));
    ExpectRefusedUnsent(WebAPIClientTargetUnmapLUN(NoNode(), "3", {"lun-1"}));
    ExpectRefusedUnsent(WebAPIClientTargetMapLUN(Node(), "3", {}));
    ExpectRefusedUnsent(WebAPIClientTargetUnmapLUN(Node(), "3", {}));
    ExpectRefusedUnsent(WebAPIClientTargetMapLUN(Node(), "", {"lun-1"}));
    ExpectRefusedUnsent(WebAPIClientTargetUnmapLUN(Node(), "", {"lun-1"}));
}

TEST_F(TargetClient, MapAndUnmapSendTheLunUuidsAsAnArrayInSortedOrder)
{
    const std::string sent = R"( 1 {"lun_uuids":["lun-a","lun-b"],"target_id":"3"})";
    EXPECT_EQ(WebAPIClientTargetMapLUN(Node(), "3", {"lun-b", "lun-a"}).send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Target map_lun" + sent);
    EXPECT_EQ(WebAPIClientTargetUnmapLUN(Node(), "3", {"lun-b", "lun-a"}).send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Target unmap_lun" + sent);
}

TEST_F(TargetClient, MapAndUnmapTextsListTheUuidsWithoutClosingTheirBracket)
{
    WebAPIClientTargetMapLUN map(Node(), "3", {"lun-b", "lun-a"});
    EXPECT_EQ(map.toString(), Unsent() + " ," + Family("3") + ",[uuids: lun-a lun-b  ,[Response: ]");
    map.send();
    EXPECT_EQ(map.toString(), Root("map_lun") + " ," + Family("3") + ",[uuids: lun-a lun-b  ,[Response: ]");
    WebAPIClientTargetUnmapLUN unmap(Node(), "3", {"lun-a"});
    unmap.send();
    EXPECT_EQ(unmap.toString(), Root("unmap_lun") + " ," + Family("3") + ",[uuids: lun-a  ,[Response: ]");
}

TEST_F(TargetClient, MapThroughTheTargetHandlerMapsTheResolvedLuns)
{
    ClientLoopback loopback;
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"uuid-a"})");
    Lib().Script("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"uuid-b"})");
    EXPECT_EQ(WebAPIClientTargetMapLUN(Node(), "3", {"lun-b", "lun-a"}).send(), 0);
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBTarget::mapLUN").at(0).args), R"([["uuid-a","uuid-b"]])");
}

// acl_masks_add, acl_masks_remove

TEST_F(TargetClient, ACLMasksAddIsValidWithNodeTargetIdAndMasks)
{
    EXPECT_FALSE(WebAPIClientTargetACLMasksAdd(Node(), "3", {{"iqn.i", "rw"}}).isInvalid());
    ExpectRefusedUnsent(WebAPIClientTargetACLMasksAdd(NoNode(), "3", {{"iqn.i", "rw"}}));
    ExpectRefusedUnsent(WebAPIClientTargetACLMasksAdd(Node(), "", {{"iqn.i", "rw"}}));
    ExpectRefusedUnsent(WebAPIClientTargetACLMasksAdd(Node(), "3", {}));
}

TEST_F(TargetClient, ACLMasksAddSendsOneObjectPerInitiatorInIqnOrderWithThePermissionAsGiven)
{
    WebAPIClientTargetACLMasksAdd client(Node(), "3", {{"iqn.z", "rw"}, {"iqn.a", "-"}, {"iqn.m", "RW?"}});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Target acl_masks_add 1 "
                            R"({"acls":[{"iqn":"iqn.a","permission":"-"},{"iqn":"iqn.m","permission":"RW?"},)"
                            R"({"iqn":"iqn.z","permission":"rw"}],"target_id":"3"})");
    EXPECT_EQ(client.toString(), Root("acl_masks_add") + " ," + Family("3") + " ,[Response: ]");
}

TEST_F(TargetClient, ACLMasksAddThroughTheTargetHandlerPassesTheAuthorities)
{
    ClientLoopback loopback;
    EXPECT_EQ(WebAPIClientTargetACLMasksAdd(Node(), "3", {{"iqn.a", "r"}, {"iqn.b", "rw"}}).send(), 0);
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBTarget::aclMasksAdd").at(0).args),
              R"([{"iqn.a":1,"iqn.b":3}])");
}

TEST_F(TargetClient, ACLMasksRemoveIsValidWithNodeTargetIdAndInitiators)
{
    EXPECT_FALSE(WebAPIClientTargetACLMasksRemove(Node(), "3", {"iqn.i"}).isInvalid());
    ExpectRefusedUnsent(WebAPIClientTargetACLMasksRemove(NoNode(), "3", {"iqn.i"}));
    ExpectRefusedUnsent(WebAPIClientTargetACLMasksRemove(Node(), "", {"iqn.i"}));
    ExpectRefusedUnsent(WebAPIClientTargetACLMasksRemove(Node(), "3", {}));
}

TEST_F(TargetClient, ACLMasksRemoveAlwaysSendsAnEmptyAclsArrayBesideTheInitiators)
{
    WebAPIClientTargetACLMasksRemove client(Node(), "3", {"iqn.b", "iqn.a"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Target acl_masks_remove 1 "
                            R"({"acls":[],"initiator_iqns":["iqn.a","iqn.b"],"target_id":"3"})");
    EXPECT_TRUE(SentKey("acls").isArray());
    EXPECT_EQ(client.toString(), Root("acl_masks_remove") + " ," + Family("3") + " ,[Response: ]");
}

// network_portals_add, network_portals_remove

TEST_F(TargetClient, NetworkPortalsAddAndRemoveAreValidWithNodeTargetIdAndPortals)
{
    EXPECT_FALSE(WebAPIClientTargetNetworkPortalsAdd(Node(), "3", {"eth0"}).isInvalid());
    EXPECT_FALSE(WebAPIClientTargetNetworkPortalsRemove(Node(), "3", {"eth0"}).isInvalid());
    ExpectRefusedUnsent(WebAPIClientTargetNetworkPortalsAdd(NoNode(), "3", {"eth0"}));
    ExpectRefusedUnsent(WebAPIClientTargetNetworkPortalsRemove(NoNode(), "3", {"eth0"}));
    ExpectRefusedUnsent(WebAPIClientTargetNetworkPortalsAdd(Node(), "", {"eth0"}));
    ExpectRefusedUnsent(WebAPIClientTargetNetworkPortalsRemove(Node(), "", {"eth0"}));
    ExpectRefusedUnsent(WebAPIClientTargetNetworkPortalsAdd(Node(), "3", {}));
    ExpectRefusedUnsent(WebAPIClientTargetNetworkPortalsRemove(Node(), "3", {}));
}

TEST_F(TargetClient, AnAddressWithAPortGivesAnIpAndThePortAsText)
{
    WebAPIClientTargetNetworkPortalsAdd client(Node(), "3", {"192.0.2.1:3261"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Target network_portals_add 1 "
                            R"({"network_portals":[{"ip":"192.0.2.1","port":"3261"}],"target_id":"3"})");
    EXPECT_TRUE(SentKey("network_portals")[0]["port"].isString());
}

TEST_F(TargetClient, AnInterfaceNameWithoutAPortGivesAnInterfaceNameAndNoPort)
{
    WebAPIClientTargetNetworkPortalsAdd client(Node(), "3", {"eth0"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"network_portals":[{"interface_name":"eth0"}],"target_id":"3"})");
    EXPECT_FALSE(SentKey("network_portals")[0].isMember("port"));
}

TEST_F(TargetClient, APortalStartingWithAColonGivesAnEmptyInterfaceNameWithoutAskingTheAddressType)
{
    WebAPIClientTargetNetworkPortalsAdd client(Node(), "3", {":3260"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"network_portals":[{"interface_name":"","port":"3260"}],"target_id":"3"})");
    EXPECT_TRUE(Lib().CallsOf("KOVANetGetAddrType").empty());
}

TEST_F(TargetClient, APortalStartingWithAColonIsRefusedByTheTargetHandlerWith18990402)
{
    ClientLoopback loopback;
    WebAPIClientTargetNetworkPortalsAdd client(Node(), "3", {":3260"});
    EXPECT_EQ(client.send(), 18990402);
    EXPECT_TRUE(Lib().CallsOf("ISCSILIBTarget::networkPortalsAdd").empty());
}

TEST_F(TargetClient, AnIPv6PortalIsCutAtItsFirstColonAndGoesOutAsAnInterfaceName)
{
    WebAPIClientTargetNetworkPortalsAdd client(Node(), "3", {"fe80::1"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"network_portals":[{"interface_name":"fe80","port":":1"}],"target_id":"3"})");
    EXPECT_EQ(Lib().CallsText().find(R"(KOVANetGetAddrType(["fe80"]))"), 0u);
}

TEST_F(TargetClient, AnIPv6AddressTypeMakesTheAddressAnIp)
{
    Lib().Script("KOVANetGetAddrType", 10);
    WebAPIClientTargetNetworkPortalsAdd client(Node(), "3", {"v6name:3262"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"network_portals":[{"ip":"v6name","port":"3262"}],"target_id":"3"})");
}

TEST_F(TargetClient, PortalsGoOutInSortedOrderAndTheTwinsDifferOnlyInTheMethod)
{
    const std::set<std::string> portals{"eth1:3262", "10.0.0.2", "10.0.0.1:3260"};
    const std::string sent = R"({"network_portals":[{"ip":"10.0.0.1","port":"3260"},{"ip":"10.0.0.2"},)"
                             R"({"interface_name":"eth1","port":"3262"}],"target_id":"3"})";
    WebAPIClientTargetNetworkPortalsAdd add(Node(), "3", portals);
    EXPECT_EQ(add.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Target network_portals_add 1 " + sent);
    WebAPIClientTargetNetworkPortalsRemove remove(Node(), "3", portals);
    EXPECT_EQ(remove.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Target network_portals_remove 1 " + sent);
    EXPECT_EQ(add.toString(), Root("network_portals_add") + " ," + Family("3") + " ,[Response: ]");
    EXPECT_EQ(remove.toString(), Root("network_portals_remove") + " ," + Family("3") + " ,[Response: ]");
}

TEST_F(TargetClient, PortalsWithoutAPortReachTheLibraryThroughTheTargetHandler)
{
    ClientLoopback loopback;
    EXPECT_EQ(WebAPIClientTargetNetworkPortalsRemove(Node(), "3", {"10.0.0.2", "eth0"}).send(), 0);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBTarget::networkPortalsRemove").size(), 1u);
}

// Every leaf

TEST_F(TargetClient, EveryLeafReadsNothingFromAReplyWithoutDataAndAnswers0)
{
    ReplyByNode(R"({"success":true})");
    WebAPIClientTargetCreate create = Create(Node());
    EXPECT_EQ(create.send(), 0);
    EXPECT_EQ(create.target_id, "");
    ReplyByNode(R"({"success":true})");
    WebAPIClientTargetGet get(Node(), "3", {});
    EXPECT_EQ(get.send(), 0);
    EXPECT_EQ(get.target.tid, 0u);
    ReplyByNode(R"({"success":true})");
    WebAPIClientTargetList list(Node(), "", {});
    EXPECT_EQ(list.send(), 0);
    EXPECT_TRUE(list.targets.empty());
}

TEST_F(TargetClient, EveryLeafHasADefaultConstructorThatMakesAnInvalidObject)
{
    ExpectRefusedUnsent(WebAPIClientTargetCreate());
    ExpectRefusedUnsent(WebAPIClientTargetDelete());
    ExpectRefusedUnsent(WebAPIClientTargetEnable());
    ExpectRefusedUnsent(WebAPIClientTargetDisable());
    ExpectRefusedUnsent(WebAPIClientTargetSet());
    ExpectRefusedUnsent(WebAPIClientTargetList());
    ExpectRefusedUnsent(WebAPIClientTargetGet());
    ExpectRefusedUnsent(WebAPIClientTargetMapLUN());
    ExpectRefusedUnsent(WebAPIClientTargetUnmapLUN());
    ExpectRefusedUnsent(WebAPIClientTargetACLMasksAdd());
    ExpectRefusedUnsent(WebAPIClientTargetACLMasksRemove());
    ExpectRefusedUnsent(WebAPIClientTargetNetworkPortalsAdd());
    ExpectRefusedUnsent(WebAPIClientTargetNetworkPortalsRemove());
}

TEST_F(TargetClient, EveryLeafSendsByTheNodeChannelAlone)
{
    WebAPIClientTargetCreate create = Create(Node());
    WebAPIClientTargetDelete remove(Node(), "3");
    WebAPIClientTargetEnable enable(Node(), "3");
    WebAPIClientTargetDisable disable(Node(), "3");
    WebAPIClientTargetSet set = SetWithMask(4095);
    WebAPIClientTargetList list(Node(), "", {});
    WebAPIClientTargetGet get(Node(), "3", {});
    WebAPIClientTargetMapLUN map(Node(), "3", {"lun-1"});
    WebAPIClientTargetUnmapLUN unmap(Node(), "3", {"lun-1"});
    WebAPIClientTargetACLMasksAdd aclAdd(Node(), "3", {{"iqn.i", "rw"}});
    WebAPIClientTargetACLMasksRemove aclRemove(Node(), "3", {"iqn.i"});
    WebAPIClientTargetNetworkPortalsAdd portalsAdd(Node(), "3", {"eth0"});
    WebAPIClientTargetNetworkPortalsRemove portalsRemove(Node(), "3", {"eth0"});
    ExpectEachSentByNodeChannelAlone({&create, &remove, &enable, &disable, &set, &list, &get, &map, &unmap,
                                      &aclAdd, &aclRemove, &portalsAdd, &portalsRemove},
                                     "KOVA.Core.ISCSI.Target");
}
