// The client classes of KOVA.Core.ISCSI.VLUN: validity, keys sent, replies read, texts.
#include "ClientTest.h"

#include <webapi-iSCSI/vlun/WebAPIClientVLUNBind.h>
#include <webapi-iSCSI/vlun/WebAPIClientVLUNCreate.h>
#include <webapi-iSCSI/vlun/WebAPIClientVLUNDelete.h>
#include <webapi-iSCSI/vlun/WebAPIClientVLUNGet.h>

using namespace KOVATest;
using namespace ISCSI::WebAPI::APIVLUN;

namespace {

class VLUNClient : public ClientTest {
protected:
    static std::string Root(const std::string& method) { return RootText("KOVA.Core.ISCSI.VLUN", method, 1); }
    static std::string Family(const std::string& uuid, int type, const std::string& src,
                              const std::string& dst, const std::string& portals)
    {
        return "vLUN: [uuid: " + uuid + " ,type: " + std::to_string(type) + " ,src_lun_uuid: " + src +
               " ,dst_lun_uuid: " + dst + " ,portals: " + portals + "]";
    }
    ISCSI::ISCSINodeInfo NoNode() { return ISCSI::ISCSINodeInfo(); }
};

} // namespace

// create

TEST_F(VLUNClient, CreateIsValidWithNodeSourceAndType)
{
    EXPECT_FALSE(WebAPIClientVLUNCreate(Node(), "lun-1", ISCSI::ISCSI_VLUN_TYPE_1).isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNCreate(NoNode(), "lun-1", ISCSI::ISCSI_VLUN_TYPE_1).isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNCreate(Node(), "", ISCSI::ISCSI_VLUN_TYPE_1).isInvalid());
}

TEST_F(VLUNClient, CreateWithTypeZeroIsInvalidAndTheUpperLimitIsNotLookedAt)
{
    WebAPIClientVLUNCreate zero(Node(), "lun-1", ISCSI::ISCSI_VLUN_TYPE_NONE);
    EXPECT_TRUE(zero.isInvalid());
    EXPECT_EQ(zero.send(), 18990004);
    EXPECT_TRUE(NothingSent());
    EXPECT_FALSE(
        WebAPIClientVLUNCreate(Node(), "lun-1", static_cast<ISCSI::_tag_iscsi_vlun_type>(99)).isInvalid());
}

TEST_F(VLUNClient, CreateSendsSourceAndIntegerTypeByNodeChannel)
{
    WebAPIClientVLUNCreate client(Node(), "lun-1", ISCSI::ISCSI_VLUN_TYPE_2);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.VLUN create 1 {"src_lun_uuid":"lun-1","type":2})");
    EXPECT_TRUE(Lib().CallsOf("NodeSender::process").at(0).args[4]["type"].isInt());
}

TEST_F(VLUNClient, ASuccessfulCreateOverwritesTheUuidTheRequestDidNotUse)
{
    WebAPIClientVLUNCreate client(Node(), "lun-1", ISCSI::ISCSI_VLUN_TYPE_1);
    client.uuid = "stale";
    ReplyByNode(R"({"success":true,"data":{"uuid":"vlun-new"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "vlun-new");
    EXPECT_EQ(SentParams(), R"({"src_lun_uuid":"lun-1","type":1})");
}

TEST_F(VLUNClient, CreateReadsNothingWhenTheSendFails)
{
    WebAPIClientVLUNCreate client(Node(), "lun-1", ISCSI::ISCSI_VLUN_TYPE_1);
    ReplyByNode(R"({"success":false,"error":{"code":18991002},"data":{"uuid":"vlun-new"}})");
    EXPECT_EQ(client.send(), 18991002);
    EXPECT_EQ(client.uuid, "");
}

TEST_F(VLUNClient, CreateLeavesTheUuidOnAReplyWithoutDataOrWithAWrongType)
{
    WebAPIClientVLUNCreate client(Node(), "lun-1", ISCSI::ISCSI_VLUN_TYPE_1);
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "");
    ReplyByNode(R"({"success":true,"data":{"uuid":{"a":1}}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "");
    ReplyByNode(R"({"success":true,"data":"text"})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "");
}

TEST_F(VLUNClient, CreateTextBeforeAndAfterSend)
{
    WebAPIClientVLUNCreate client(Node(), "lun-1", ISCSI::ISCSI_VLUN_TYPE_1);
    EXPECT_EQ(client.toString(), "Dst node: [" + NodeText() + "] [api:  ,method:  ,version: 0] ," +
                                     Family("", 1, "lun-1", "", "") + " ,[Response: ]");
    ReplyByNode(R"({"success":true,"data":{"uuid":"v1"}})");
    client.send();
    EXPECT_EQ(client.toString(), Root("create") + " ," + Family("v1", 1, "lun-1", "", "") + " ,[Response: ]");
}

// delete

TEST_F(VLUNClient, DeleteIsValidWithNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientVLUNDelete(Node(), "v1").isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNDelete(NoNode(), "v1").isInvalid());
    WebAPIClientVLUNDelete empty(Node(), "");
    EXPECT_TRUE(empty.isInvalid());
    EXPECT_EQ(empty.send(), 18990004);
    EXPECT_TRUE(NothingSent());
}

TEST_F(VLUNClient, DeleteSendsTheUuidAndReadsNothing)
{
    WebAPIClientVLUNDelete client(Node(), "v1");
    ReplyByNode(R"({"success":true,"data":{"uuid":"other"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.VLUN delete 1 {"uuid":"v1"})");
    EXPECT_EQ(client.uuid, "v1");
    EXPECT_EQ(client.toString(), Root("delete") + " ," + Family("v1", 0, "", "", "") + " ,[Response: ]");
}

// get

TEST_F(VLUNClient, GetIsValidWithNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientVLUNGet(Node(), "v1").isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNGet(NoNode(), "v1").isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNGet(Node(), "").isInvalid());
}

TEST_F(VLUNClient, GetReadsStatusAndSizes)
{
    WebAPIClientVLUNGet client(Node(), "v1");
    ReplyByNode(R"({"success":true,"data":{"status":3,"sync_size":1025,"total_size":18446744073709551615}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"uuid":"v1"})");
    EXPECT_EQ(client.status, 3);
    EXPECT_EQ(client.sync_size, 1025u);
    EXPECT_EQ(client.total_size, 18446744073709551615ull);
}

TEST_F(VLUNClient, GetLeavesFieldsOfMissingOrWrongTypedKeys)
{
    WebAPIClientVLUNGet client(Node(), "v1");
    client.status = 5;
    client.sync_size = 7;
    ReplyByNode(R"({"success":true,"data":{"status":"high","total_size":-1}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.status, 5);
    EXPECT_EQ(client.sync_size, 7u);
    EXPECT_EQ(client.total_size, 0u);
}

TEST_F(VLUNClient, GetTextShowsSizesWithTheirUnits)
{
    WebAPIClientVLUNGet client(Node(), "v1");
    ReplyByNode(R"({"success":true,"data":{"status":1,"sync_size":1536,"total_size":1073741824}})");
    client.send();
    EXPECT_EQ(client.toString(),
              Root("get") + " ," + Family("v1", 0, "", "", "") +
                  " ,[status: 1 ,sync_size: 1536 (1KB,512bytes) ,total_size: 1073741824 (1GB)]"
                  " ,[Response: ]");
}

// bind

TEST_F(VLUNClient, BindIsValidOnlyWithAllFieldsAndAPortal)
{
    const std::set<std::string> portals{"127.0.0.3:3260"};
    EXPECT_FALSE(WebAPIClientVLUNBind(Node(), "v1", "node-c", "lun-c", portals).isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNBind(NoNode(), "v1", "node-c", "lun-c", portals).isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNBind(Node(), "", "node-c", "lun-c", portals).isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNBind(Node(), "v1", "", "lun-c", portals).isInvalid());
    EXPECT_TRUE(WebAPIClientVLUNBind(Node(), "v1", "node-c", "", portals).isInvalid());
}

TEST_F(VLUNClient, BindWithAnEmptyPortalSetIsInvalidAndCannotBeSent)
{
    WebAPIClientVLUNBind client(Node(), "v1", "node-c", "lun-c", {});
    EXPECT_TRUE(client.isInvalid());
    EXPECT_EQ(client.send(), 18990004);
    EXPECT_TRUE(NothingSent());
}

TEST_F(VLUNClient, BindSendsThePortalsAsAnArrayInSortedOrder)
{
    WebAPIClientVLUNBind client(Node(), "v1", "node-c", "lun-c", {"127.0.0.9:3260", "127.0.0.3:3260"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(
        SentByNode(),
        "node-b-uuid KOVA.Core.ISCSI.VLUN bind 1 "
        R"({"dst_lun_uuid":"lun-c","dst_node_uuid":"node-c","portals":["127.0.0.3:3260","127.0.0.9:3260"],"uuid":"v1"})");
    EXPECT_EQ(client.toString(), Root("bind") + " ," +
                                     Family("v1", 0, "", "lun-c", "127.0.0.3:3260 127.0.0.9:3260 ") +
                                     " ,[dst_node_uuid: node-c] ,[Response: ]");
}
