// The client classes of KOVA.Core.ISCSI.LUN that work on LUNs (create, delete, get, list, set,
// clone, target mapping, loading): validity, keys sent, replies read, texts.
#include "LUNClientTest.h"

#include <webapi-iSCSI/lun/WebAPIClientLUNClone.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNCreate.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNDelete.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNGet.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNList.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNLoadLUN.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNMapTarget.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNSet.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNUnloadLUN.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNUnmapTarget.h>

using namespace KOVATest;
using namespace ISCSI::WebAPI::APILUN;

namespace {

WebAPIClientLUNCreate Create(const ISCSI::ISCSINodeInfo& node, const std::string& name,
                             _tag_iscsi_lun_type type, const std::string& location,
                             const std::set<std::string>& dev_attribs = {})
{
    return WebAPIClientLUNCreate(node, name, type, location, 1073741824, 4096, "", "", "", false,
                                 dev_attribs);
}

WebAPIClientLUNClone LocalClone(const ISCSI::ISCSINodeInfo& node, const std::string& src,
                                const std::string& name)
{
    return WebAPIClientLUNClone(node, src, name, "", "", "", "", 0, false, false, false, "");
}

WebAPIClientLUNClone RemoteClone(const ISCSI::ISCSINodeInfo& node, const std::string& location,
                                 const std::string& address, unsigned int port)
{
    return WebAPIClientLUNClone(node, "lun-1", "copy", "", location, "node-c", address, port, false, false,
                                false, "");
}

// The code loadFromJson of a LUN record answers for json.
int LUNLoadCode(const std::string& json)
{
    ISCSI::ISCSILUNInfo record;
    return record.loadFromJson(ParseJson(json));
}

const char* const kBadLUN = R"({"uuid":"lun-c","size":"big"})";

} // namespace

// create

TEST_F(LUNClient, CreateIsValidWithNodeNameTypeAndLocation)
{
    EXPECT_FALSE(Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1").isInvalid());
    ExpectRefused(Create(NoNode(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1"));
    ExpectRefused(Create(Node(), "", ISCSI_LUN_TYPE_THIN, "/volume1"));
    ExpectRefused(Create(Node(), "lun1", ISCSI_LUN_TYPE_NONE, "/volume1"));
    ExpectRefused(Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, ""));
}

TEST_F(LUNClient, CreateSendsTheLUNWithAnIntegerTypeAndLeavesOutEmptyOptionalTexts)
{
    WebAPIClientLUNCreate client = Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(),
              Sent("create", R"({"dev_attribs":[],"extent_size":4096,"is_soft_feas_ignored":false,)"
                             R"("location":"/volume1","name":"lun1","size":1073741824,"type":7})"));
    EXPECT_TRUE(SentJson()["type"].isInt());
    EXPECT_TRUE(SentJson()["size"].isUInt64());
    EXPECT_TRUE(SentJson()["is_soft_feas_ignored"].isBool());
}

TEST_F(LUNClient, CreateSendsSerialNumberSourcesAndFlagWhenGiven)
{
    WebAPIClientLUNCreate client(Node(), "lun1", ISCSI_LUN_TYPE_ADV, "/volume2", 18446744073709551615ull, 0,
                                 "SN-1", "/volume2/src", "lun.img", true, {});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(
        SentParams(),
        R"({"dev_attribs":[],"extent_size":0,"is_soft_feas_ignored":true,"location":"/volume2",)"
        R"("name":"lun1","size":18446744073709551615,"src_lun_dir":"/volume2/src","src_lun_file":"lun.img",)"
        R"("type":15,"vpd_unit_sn":"SN-1"})");
}

TEST_F(LUNClient, ADevAttribTextOfNameColonOneGivesTheNameWithEnableOne)
{
    WebAPIClientLUNCreate client = Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1", {"emulate_caw:1"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(KOVA::toString(SentJson()["dev_attribs"]), R"([{"dev_attrib":"emulate_caw","enable":1}])");
    EXPECT_TRUE(SentJson()["dev_attribs"][0]["enable"].isIntegral());
}

TEST_F(LUNClient, ADevAttribTextWithoutAColonIsLeftOutOfTheArray)
{
    WebAPIClientLUNCreate client = Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1",
                                          {"can_snapshot", "emulate_tpu:0", "emulate_3pc"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(KOVA::toString(SentJson()["dev_attribs"]), R"([{"dev_attrib":"emulate_tpu","enable":0}])");
}

TEST_F(LUNClient, DevAttribValuesAreDecimalIntegersAfterTheFirstColonInTheSetsOrder)
{
    WebAPIClientLUNCreate client =
        Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1",
               {"emulate_tpws:12x", "a:b:1", "emulate_3pc:on", ":7", "emulate_tpu:-3"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(KOVA::toString(SentJson()["dev_attribs"]),
              R"([{"dev_attrib":"","enable":7},{"dev_attrib":"a","enable":0},)"
              R"({"dev_attrib":"emulate_3pc","enable":0},{"dev_attrib":"emulate_tpu","enable":-3},)"
              R"({"dev_attrib":"emulate_tpws","enable":12}])");
}

TEST_F(LUNClient, CreateReadsTheNewUuidAndLunIdIntoTheFamilyFields)
{
    WebAPIClientLUNCreate client = Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1");
    ReplyByNode(R"({"success":true,"data":{"uuid":"lun-new","lun_id":4}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "lun-new");
    EXPECT_EQ(client.lun_id, 4);
}

TEST_F(LUNClient, CreateReadsNothingWhenTheSendFails)
{
    WebAPIClientLUNCreate client = Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1");
    ReplyByNode(R"({"success":false,"error":{"code":18990335},"data":{"uuid":"lun-new","lun_id":4}})");
    EXPECT_EQ(client.send(), 18990335);
    EXPECT_EQ(client.uuid, "");
    EXPECT_EQ(client.lun_id, 0);
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
    EXPECT_EQ(client.uuid, "");
}

TEST_F(LUNClient, CreateLeavesItsFieldsOnAReplyWithoutDataOrWithWrongTypes)
{
    WebAPIClientLUNCreate client = Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1");
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    ReplyByNode(R"({"success":true,"data":{"uuid":["x"],"lun_id":"4"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "");
    EXPECT_EQ(client.lun_id, 0);
}

TEST_F(LUNClient, CreateTextBeforeAndAfterSend)
{
    WebAPIClientLUNCreate client = Create(Node(), "lun1", ISCSI_LUN_TYPE_THIN, "/volume1");
    EXPECT_EQ(client.toString(),
              Unsent() + " ," + Family("", 0, "lun1", 7, "/volume1", 1073741824, 4096) + " ,[Response: ]");
    ReplyByNode(R"({"success":true,"data":{"uuid":"lun-new","lun_id":4}})");
    client.send();
    EXPECT_EQ(client.toString(), Root("create") + " ," +
                                     Family("lun-new", 4, "lun1", 7, "/volume1", 1073741824, 4096) +
                                     " ,[Response: ]");
}

// delete

TEST_F(LUNClient, ADeleteIsValidWithoutAUuidAndSendsUuidsAsAnEmptyArray)
{
    WebAPIClientLUNDelete client(Node(), "", false, {});
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("delete", R"({"is_soft_feas_ignored":false,"uuid":"","uuids":[]})"));
    EXPECT_TRUE(SentJson()["uuids"].isArray());
}

TEST_F(LUNClient, DeleteWithoutANodeIsRefused)
{
    ExpectRefused(WebAPIClientLUNDelete(NoNode(), "lun-1", false, {}));
}

TEST_F(LUNClient, DeleteSendsTheSetOfUuidsInItsOrder)
{
    WebAPIClientLUNDelete client(Node(), "lun-1", true, {"lun-3", "lun-2"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"is_soft_feas_ignored":true,"uuid":"lun-1","uuids":["lun-2","lun-3"]})");
}

TEST_F(LUNClient, DeleteReadsNothingAndAnswersTheRemoteCode)
{
    WebAPIClientLUNDelete client(Node(), "lun-1", false, {});
    ReplyByNode(R"({"success":true,"data":{"uuid":"other","lun_id":9}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "lun-1");
    EXPECT_EQ(client.lun_id, 0);
    EXPECT_EQ(client.toString(), Root("delete") + " ," + Family("lun-1") + " ,[Response: ]");
    ReplyByNode(R"({"success":false,"error":{"code":18990336}})");
    EXPECT_EQ(client.send(), 18990336);
}

// get

TEST_F(LUNClient, GetIsValidWithNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientLUNGet(Node(), "lun-1", {}).isInvalid());
    ExpectRefused(WebAPIClientLUNGet(NoNode(), "lun-1", {}));
    ExpectRefused(WebAPIClientLUNGet(Node(), "", {"whitelist"}));
}

TEST_F(LUNClient, GetSendsAdditionalOnlyWhenGivenInItsOrder)
{
    WebAPIClientLUNGet plain(Node(), "lun-1", {});
    EXPECT_EQ(plain.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("get", R"({"uuid":"lun-1"})"));
    WebAPIClientLUNGet asking(Node(), "lun-1", {"whitelist", "sync_progress"});
    EXPECT_EQ(asking.send(), 0);
    EXPECT_EQ(SentParams(), R"({"additional":["whitelist","sync_progress"],"uuid":"lun-1"})");
}

TEST_F(LUNClient, GetReadsTheLUNRecordAndEachProgressKey)
{
    WebAPIClientLUNGet client(Node(), "lun-1", {});
    ReplyByNode(
        R"({"success":true,"data":{)"
        R"("lun":{"uuid":"lun-1","lun_id":3,"name":"lun1","type":7,"location":"/volume1","size":1024},)"
        R"("import_total":18446744073709551615,"import_done":2,"import_errno":-5,)"
        R"("sync_total":30,"sync_done":20,"sync_errno":28,)"
        R"("rmt_clone_total":300,"rmt_clone_done":200,"rmt_clone_sent":100,)"
        R"("rmt_clone_errno":5,"rmt_clone_status":2,"whitelist":["iqn.b","iqn.a"]}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.lun.uuid, "lun-1");
    EXPECT_EQ(client.lun.lun_id, 3);
    EXPECT_EQ(client.lun.size, 1024u);
    EXPECT_EQ(client.import_total, 18446744073709551615ull);
    EXPECT_EQ(client.import_done, 2u);
    EXPECT_EQ(client.import_errno, -5);
    EXPECT_EQ(client.sync_total, 30u);
    EXPECT_EQ(client.sync_done, 20u);
    EXPECT_EQ(client.sync_errno, 28);
    EXPECT_EQ(client.rmt_clone_total, 300u);
    EXPECT_EQ(client.rmt_clone_done, 200u);
    EXPECT_EQ(client.rmt_clone_sent, 100u);
    EXPECT_EQ(client.rmt_clone_errno, 5);
    EXPECT_EQ(client.rmt_clone_status, 2);
    EXPECT_EQ(client.whitelist, (std::vector<std::string>{"iqn.b", "iqn.a"}));
    EXPECT_EQ(client.uuid, "lun-1");
}

TEST_F(LUNClient, GetAnswersTheCodeOfABadLUNRecordAndReadsNoFurtherKey)
{
    WebAPIClientLUNGet client(Node(), "lun-1", {});
    ReplyByNode(std::string(R"({"success":true,"data":{"lun":)") + kBadLUN +
                R"(,"import_total":7,"whitelist":["iqn.a"]}})");
    const int code = client.send();
    EXPECT_NE(code, 0);
    EXPECT_EQ(code, LUNLoadCode(kBadLUN));
    EXPECT_EQ(client.import_total, 0u);
    EXPECT_TRUE(client.whitelist.empty());
}

TEST_F(LUNClient, GetReadsTheProgressKeysOfAReplyWithoutALUNAndSkipsWrongTypes)
{
    WebAPIClientLUNGet client(Node(), "lun-1", {});
    client.sync_errno = 9;
    ReplyByNode(R"({"success":true,"data":{"sync_total":40,"sync_errno":"no","import_done":-1,)"
                R"("whitelist":["iqn.a",{"x":1},"iqn.c"]}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.lun.uuid, "");
    EXPECT_EQ(client.sync_total, 40u);
    EXPECT_EQ(client.sync_errno, 9);
    EXPECT_EQ(client.import_done, 0u);
    EXPECT_EQ(client.whitelist, (std::vector<std::string>{"iqn.a", "iqn.c"}));
}

TEST_F(LUNClient, GetReadsNothingWhenTheSendFailsOrTheReplyHasNoData)
{
    WebAPIClientLUNGet client(Node(), "lun-1", {});
    ReplyByNode(R"({"error":{"code":18990505},"data":{"lun":{"uuid":"lun-1"},"sync_total":3}})");
    EXPECT_EQ(client.send(), 18990505);
    EXPECT_EQ(client.lun.uuid, "");
    EXPECT_EQ(client.sync_total, 0u);
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.lun.uuid, "");
}

TEST_F(LUNClient, GetTextShowsTheLUNRecord)
{
    WebAPIClientLUNGet client(Node(), "lun-1", {});
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("lun-1") + " ,lun: [" +
                                     ISCSI::ISCSILUNInfo().toString() + "] ,[Response: ]");
    ReplyByNode(R"({"success":true,"data":{"lun":{"uuid":"lun-1","lun_id":3,"name":"lun1","type":7,)"
                R"("location":"/volume1","size":1024}}})");
    client.send();
    EXPECT_EQ(
        client.toString(),
        Root("get") + " ," + Family("lun-1") +
            " ,lun: [uuid: lun-1, lun_id: 3, name: lun1, type: THIN (7), location: /volume1, size: 1024]"
            " ,[Response: ]");
}

// list

TEST_F(LUNClient, ListIsValidWithTheNodeAlone)
{
    EXPECT_FALSE(WebAPIClientLUNList(Node(), "", {}, ISCSI_LUN_CATEGORY_ALL, "", {}).isInvalid());
    ExpectRefused(WebAPIClientLUNList(NoNode(), "thin", {}, ISCSI_LUN_CATEGORY_ALL, "", {}));
}

TEST_F(LUNClient, ListSendsNoFilterThatIsEmptyOrZero)
{
    WebAPIClientLUNList client(Node(), "", {}, ISCSI_LUN_CATEGORY_ALL, "", {});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("list", "{}"));
}

TEST_F(LUNClient, ListSendsEveryFilterGiven)
{
    WebAPIClientLUNList client(Node(), "thin", {"BLUN", "ADV"}, ISCSI_LUN_CATEGORY_BLUN, "/volume1",
                               {"status", "is_mapped"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"additional":["status","is_mapped"],"category":256,"location":"/volume1",)"
                            R"("type":"thin","types":["ADV","BLUN"]})");
    EXPECT_TRUE(SentJson()["category"].isInt());
}

TEST_F(LUNClient, ListReadsEveryRecordInTheRepliesOrder)
{
    WebAPIClientLUNList client(Node(), "", {}, ISCSI_LUN_CATEGORY_ALL, "", {});
    ReplyByNode(
        R"({"success":true,"data":{"luns":[{"uuid":"lun-b","type":1},{"uuid":"lun-a"},{"uuid":"lun-c"}]}})");
    EXPECT_EQ(client.send(), 0);
    ASSERT_EQ(client.luns.size(), 3u);
    EXPECT_EQ(client.luns[0].uuid, "lun-b");
    EXPECT_EQ(client.luns[0].type, ISCSI_LUN_TYPE_BLOCK);
    EXPECT_EQ(client.luns[2].uuid, "lun-c");
}

TEST_F(LUNClient, AListReplyWithABadThirdRecordLeavesTwoRecordsAndAnswersTheLoadCode)
{
    WebAPIClientLUNList client(Node(), "", {}, ISCSI_LUN_CATEGORY_ALL, "", {});
    ReplyByNode(std::string(R"({"success":true,"data":{"luns":[{"uuid":"lun-a"},{"uuid":"lun-b"},)") +
                kBadLUN + R"(,{"uuid":"lun-d"}]}})");
    const int code = client.send();
    EXPECT_NE(code, 0);
    EXPECT_EQ(code, LUNLoadCode(kBadLUN));
    ASSERT_EQ(client.luns.size(), 2u);
    EXPECT_EQ(client.luns[1].uuid, "lun-b");
}

TEST_F(LUNClient, ListReadsNothingWhenTheSendFailsOrTheReplyHasNoLUNs)
{
    WebAPIClientLUNList client(Node(), "", {}, ISCSI_LUN_CATEGORY_ALL, "", {});
    ReplyByNode(R"({"error":{"code":18990602},"data":{"luns":[{"uuid":"lun-a"}]}})");
    EXPECT_EQ(client.send(), 18990602);
    EXPECT_TRUE(client.luns.empty());
    ReplyByNode(R"({"success":true,"data":{"luns":{"uuid":"lun-a"}}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_TRUE(client.luns.empty());
}

TEST_F(LUNClient, ListTextShowsTheLocationFilterAndEachRecordByItsIndex)
{
    WebAPIClientLUNList client(Node(), "thin", {}, ISCSI_LUN_CATEGORY_ALL, "/volume1", {});
    EXPECT_EQ(client.toString(),
              Unsent() + " ," + Family("", 0, "", 0, "/volume1") + " ,luns: [] ,[Response: ]");
    ReplyByNode(R"({"success":true,"data":{"luns":[{"uuid":"lun-a"},{"uuid":"lun-b"}]}})");
    client.send();
    EXPECT_EQ(client.toString(), Root("list") + " ," + Family("", 0, "", 0, "/volume1") +
                                     " ,luns: [0: " + client.luns[0].toString() +
                                     "1: " + client.luns[1].toString() + "] ,[Response: ]");
}

// set

TEST_F(LUNClient, SetIsValidWithNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientLUNSet(Node(), "lun-1", "", 0, "", "", "", false, {}).isInvalid());
    ExpectRefused(WebAPIClientLUNSet(NoNode(), "lun-1", "lun2", 0, "", "", "", false, {}));
    ExpectRefused(WebAPIClientLUNSet(Node(), "", "lun2", 0, "", "", "", false, {}));
}

TEST_F(LUNClient, SetAlwaysSendsSizeTypeSoftFlagAndDevAttribs)
{
    WebAPIClientLUNSet client(Node(), "lun-1", "", 0, "", "", "", false, {});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("set", R"({"dev_attribs":[],"is_soft_feas_ignored":false,"new_size":0,)"
                                        R"("new_type":"","uuid":"lun-1"})"));
    EXPECT_TRUE(SentJson()["new_size"].isUInt64());
}

TEST_F(LUNClient, SetSendsNameLocationSerialNumberAndAttributesWhenGiven)
{
    WebAPIClientLUNSet client(Node(), "lun-1", "lun2", 2147483648ull, "ADV", "/volume2", "SN-2", true,
                              {"emulate_tpu:1", "emulate_3pc"});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"dev_attribs":[{"dev_attrib":"emulate_tpu","enable":1}],)"
                            R"("is_soft_feas_ignored":true,"new_location":"/volume2","new_name":"lun2",)"
                            R"("new_size":2147483648,"new_type":"ADV","uuid":"lun-1","vpd_unit_sn":"SN-2"})");
}

TEST_F(LUNClient, SetReadsNothingAndItsTextShowsTheChanges)
{
    WebAPIClientLUNSet client(Node(), "lun-1", "lun2", 2147483648ull, "ADV", "/volume2", "SN-2", true, {});
    const std::string tail = " ,[new_name: lun2 ,new_size: 2147483648 ,new_type: ADV ,new_location: /volume2]"
                             " ,[Response: ]";
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("lun-1") + tail);
    ReplyByNode(R"({"success":true,"data":{"uuid":"other","name":"x"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.toString(), Root("set") + " ," + Family("lun-1") + tail);
    ReplyByNode(R"({"success":false,"error":{"code":18990213}})");
    EXPECT_EQ(client.send(), 18990213);
}

// clone

TEST_F(LUNClient, CloneIsValidWithNodeSourceAndName)
{
    ExpectRefused(LocalClone(NoNode(), "lun-1", "copy"));
    ExpectRefused(LocalClone(Node(), "", "copy"));
    ExpectRefused(LocalClone(Node(), "lun-1", ""));
}

TEST_F(LUNClient, ALocalCloneWithoutDestinationNodeAndPortIsValidAndSendsNoRemoteKeys)
{
    WebAPIClientLUNClone client = LocalClone(Node(), "lun-1", "copy");
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("clone", R"({"dst_lun_name":"copy","is_data_clone":false,)"
                                          R"("is_data_encrypted":false,"is_soft_feas_ignored":false,)"
                                          R"("src_lun_uuid":"lun-1"})"));
}

TEST_F(LUNClient, ACloneToAThirdNodeNeedsLocationAddressAndPort)
{
    EXPECT_FALSE(RemoteClone(Node(), "/volume1", "127.0.0.4", 3261).isInvalid());
    ExpectRefused(RemoteClone(Node(), "", "127.0.0.4", 3261));
    ExpectRefused(RemoteClone(Node(), "/volume1", "", 3261));
    ExpectRefused(RemoteClone(Node(), "/volume1", "127.0.0.4", 0));
}

TEST_F(LUNClient, CloneSendsEveryKeyGivenWithAnUnsignedPort)
{
    WebAPIClientLUNClone client(Node(), "lun-1", "copy", "THIN", "/volume1", "node-c", "127.0.0.4", 3261,
                                true, true, true, "SN-3");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(),
              R"({"clone_type":"THIN","dst_address":"127.0.0.4","dst_location":"/volume1",)"
              R"("dst_lun_name":"copy","dst_node_uuid":"node-c","dst_port":3261,"is_data_clone":true,)"
              R"("is_data_encrypted":true,"is_soft_feas_ignored":true,"src_lun_uuid":"lun-1",)"
              R"("vpd_unit_sn":"SN-3"})");
    EXPECT_TRUE(SentJson()["dst_port"].isUInt());
}

TEST_F(LUNClient, CloneReadsTheNewLUNsUuidUnlessTheSendFails)
{
    WebAPIClientLUNClone client = LocalClone(Node(), "lun-1", "copy");
    ReplyByNode(R"({"success":false,"error":{"code":18990201},"data":{"dst_lun_uuid":"lun-new"}})");
    EXPECT_EQ(client.send(), 18990201);
    EXPECT_EQ(client.dst_lun_uuid, "");
    ReplyByNode(R"({"success":true,"data":{"dst_lun_uuid":7}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.dst_lun_uuid, "7");
    ReplyByNode(R"({"success":true,"data":{"dst_lun_uuid":"lun-new"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.dst_lun_uuid, "lun-new");
    EXPECT_EQ(client.uuid, "lun-1");
}

TEST_F(LUNClient, CloneTextLeavesItsFirstBracketOpen)
{
    WebAPIClientLUNClone client(Node(), "lun-1", "copy", "THIN", "/volume1", "node-c", "127.0.0.4", 3261,
                                true, false, true, "SN-3");
    ReplyByNode(R"({"success":true,"data":{"dst_lun_uuid":"lun-new"}})");
    client.send();
    EXPECT_EQ(
        client.toString(),
        Root("clone") + " ," + Family("lun-1") +
            " ,[dst_lun_name: copy ,clone_type: THIN ,dst_location: /volume1 ,dst_node_uuid: node-c"
            " ,dst_address: 127.0.0.4 ,dst_port: 3261 ,is_data_encrypted: true ,is_soft_feas_ignored: false"
            " ,vpd_unit_sn: SN-3 ,dst_lun_uuid: lun-new ,[Response: ]");
}

// map_target and unmap_target, twins but for the method

namespace {

constexpr char kMapTarget[] = "map_target";
constexpr char kUnmapTarget[] = "unmap_target";
constexpr char kLoadLUN[] = "load_lun";
constexpr char kUnloadLUN[] = "unload_lun";

template <typename T> class LUNTargetMappingClient : public LUNClient {};
using TargetMappingCases = ::testing::Types<LeafCase<WebAPIClientLUNMapTarget, kMapTarget>,
                                            LeafCase<WebAPIClientLUNUnmapTarget, kUnmapTarget>>;
TYPED_TEST_SUITE(LUNTargetMappingClient, TargetMappingCases);

template <typename T> class LUNLoadingClient : public LUNClient {};
using LoadingCases = ::testing::Types<LeafCase<WebAPIClientLUNLoadLUN, kLoadLUN>,
                                      LeafCase<WebAPIClientLUNUnloadLUN, kUnloadLUN>>;
TYPED_TEST_SUITE(LUNLoadingClient, LoadingCases);

} // namespace

TYPED_TEST(LUNTargetMappingClient, IsValidWithNodeUuidAndATarget)
{
    using Client = typename TypeParam::Client;
    EXPECT_FALSE(Client(this->Node(), "lun-1", {"1"}).isInvalid());
    this->ExpectRefused(Client(this->NoNode(), "lun-1", {"1"}));
    this->ExpectRefused(Client(this->Node(), "", {"1"}));
    this->ExpectRefused(Client(this->Node(), "lun-1", {}));
}

TYPED_TEST(LUNTargetMappingClient, SendsTheTargetIdsAsAnArrayAndReadsNothing)
{
    typename TypeParam::Client client(this->Node(), "lun-1", {"2", "10", "1"});
    this->ReplyByNode(R"({"success":true,"data":{"uuid":"other"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(this->SentByNode(),
              this->Sent(TypeParam::Method(), R"({"target_ids":["1","10","2"],"uuid":"lun-1"})"));
    EXPECT_EQ(client.uuid, "lun-1");
    this->ReplyByNode(R"({"success":false,"error":{"code":18990710}})");
    EXPECT_EQ(client.send(), 18990710);
}

TYPED_TEST(LUNTargetMappingClient, TextListsEachTargetFollowedByABlank)
{
    typename TypeParam::Client client(this->Node(), "lun-1", {"2", "1"});
    const std::string tail = " ,[target_ids: 1 2 ] ,[Response: ]";
    EXPECT_EQ(client.toString(), this->Unsent() + " ," + this->Family("lun-1") + tail);
    client.send();
    EXPECT_EQ(client.toString(), this->Root(TypeParam::Method()) + " ," + this->Family("lun-1") + tail);
}

// load_lun and unload_lun, twins but for the method

TYPED_TEST(LUNLoadingClient, IsValidWithNodeAndUuid)
{
    using Client = typename TypeParam::Client;
    EXPECT_FALSE(Client(this->Node(), "lun-1", false, false).isInvalid());
    this->ExpectRefused(Client(this->NoNode(), "lun-1", true, true));
    this->ExpectRefused(Client(this->Node(), "", true, true));
}

TYPED_TEST(LUNLoadingClient, SendsUuidAndBothFlagsAsBooleans)
{
    typename TypeParam::Client client(this->Node(), "lun-1", true, false);
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(this->SentByNode(),
              this->Sent(TypeParam::Method(),
                         R"({"is_for_trash":true,"is_for_unsync_size":false,"uuid":"lun-1"})"));
    EXPECT_TRUE(this->SentJson()["is_for_unsync_size"].isBool());
}

TYPED_TEST(LUNLoadingClient, ReadsNothingAndItsTextEndsWithTheResponse)
{
    typename TypeParam::Client client(this->Node(), "lun-1", false, true);
    EXPECT_EQ(client.toString(), this->Unsent() + " ," + this->Family("lun-1") + " ,[Response: ]");
    this->ReplyByNode(R"({"success":true,"data":{"uuid":"other","lun_id":3}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.uuid, "lun-1");
    EXPECT_EQ(client.lun_id, 0);
    EXPECT_EQ(client.toString(),
              this->Root(TypeParam::Method()) + " ," + this->Family("lun-1") + " ,[Response: ]");
    this->FailByNode();
    EXPECT_EQ(client.send(), 18990211);
}
