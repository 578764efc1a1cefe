// The LUN client classes of snapshot locks, loading, export and import, vhost, loop mounts,
// clone stops, whitelists, cloneability, defragmentation and I/O statistics.
#include "ClientTest.h"

#include <webapi-iSCSI/lun/WebAPIClientLUNExport.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNExportCancel.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNImport.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNImportCancel.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNLoadSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNLockSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNLoopMount.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNLoopUnmount.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNMapVhost.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNRetryStop.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNSetWhitelist.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNStartDefrag.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNStopClone.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNStopDefrag.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNTestCloneability.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNTop.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNUnloadSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNUnlockSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNUnmapVhost.h>

#include <functional>
#include <memory>

using namespace KOVATest;
using namespace ISCSI::WebAPI::APILUN;
using ISCSI::WebAPI::WebAPIClient;

namespace {

// How to build a leaf of one class for a node, and how to ask for its own text (toString is
// not virtual: each class has its own).
struct Maker {
    std::function<std::unique_ptr<WebAPIClient>(const ISCSI::ISCSINodeInfo&)> build;
    std::function<std::string(const WebAPIClient&)> text;
};

// One leaf built valid: its method, the request it sends, and the own part of its text
// between the family's text and "[Response: ...]".
struct Leaf {
    const char* name;
    Maker make;
    const char* method;
    const char* params;
    std::string ownText;
    std::string familyUuid;
};

template <typename T, typename... A> Maker Make(A... args)
{
    return {
        [=](const ISCSI::ISCSINodeInfo& node) { return std::unique_ptr<WebAPIClient>(new T(node, args...)); },
        [](const WebAPIClient& client) { return static_cast<const T&>(client).toString(); }};
}

std::string LUNText(const std::string& uuid)
{
    return "LUN: [uuid: " + uuid + " ,lun_id: 0 ,name:  ,type: 0 ,location:  ,size: 0 ,extent_size: 0]";
}

std::vector<Leaf> Leaves()
{
    return {
        {"LockSnapshot", Make<WebAPIClientLUNLockSnapshot>(std::string("s1"), std::string("app")),
         "lock_snapshot", R"({"app_key":"app","snapshot_uuid":"s1"})", "snapshot_uuid: s1 ,app_key: app ,",
         ""},
        {"UnlockSnapshot", Make<WebAPIClientLUNUnlockSnapshot>(std::string("s1"), std::string("app")),
         "unlock_snapshot", R"({"app_key":"app","snapshot_uuid":"s1"})", "snapshot_uuid: s1 ,app_key: app ,",
         ""},
        {"LoadSnapshot", Make<WebAPIClientLUNLoadSnapshot>(std::string("s1"), true, false), "load_snapshot",
         R"({"is_for_trash":true,"is_for_unsync_size":false,"snapshot_uuid":"s1"})", "", ""},
        {"UnloadSnapshot", Make<WebAPIClientLUNUnloadSnapshot>(std::string("s1"), false, true),
         "unload_snapshot", R"({"is_for_trash":false,"is_for_unsync_size":true,"snapshot_uuid":"s1"})", "",
         ""},
        {"Export", Make<WebAPIClientLUNExport>(std::string("s1"), std::string("/volume1/exp")), "export",
         R"({"exported_dir_path":"/volume1/exp","snapshot_uuid":"s1"})",
         "[snapshot_uuid: s1 ,exported_dir_path: /volume1/exp] ,", ""},
        {"Import",
         Make<WebAPIClientLUNImport>(std::string("l1"), std::string("/volume1/exp"), std::string("n"),
                                     std::string("d"), std::string("t")),
         "import",
         R"({"description":"d","exported_dir_path":"/volume1/exp","snapshot_name":"n","src_lun_uuid":"l1","taken_by":"t"})",
         "[exported_dir_path: /volume1/exp ,snapshot_name: n ,description: d ,taken_by: t] ,", "l1"},
        {"ExportCancel", Make<WebAPIClientLUNExportCancel>(std::string("s1")), "export_cancel",
         R"({"snapshot_uuid":"s1"})", "[snapshot_uuid: s1] ,", ""},
        {"ImportCancel", Make<WebAPIClientLUNImportCancel>(std::string("l1")), "import_cancel",
         R"({"src_lun_uuid":"l1"})", "", "l1"},
        {"MapVhost",
         Make<WebAPIClientLUNMapVhost>(std::string("l1"), std::string("rk"), std::string("eth0"),
                                       std::set<std::string>{"127.0.0.3:3260"}),
         "map_vhost",
         R"({"outgoing_interface":"eth0","portals":["127.0.0.3:3260"],"rod_key":"rk","src_lun_uuid":"l1"})",
         "", "l1"},
        {"UnmapVhost", Make<WebAPIClientLUNUnmapVhost>(std::string("l1"), std::set<std::string>{"p2", "p1"}),
         "unmap_vhost", R"({"portals":["p1","p2"],"src_lun_uuid":"l1"})", "", "l1"},
        {"LoopMount", Make<WebAPIClientLUNLoopMount>(std::string("l1")), "loop_mount", R"({"uuid":"l1"})", "",
         "l1"},
        {"LoopUnmount", Make<WebAPIClientLUNLoopUnmount>(std::string("l1")), "loop_unmount",
         R"({"uuid":"l1"})", "", "l1"},
        {"RetryStop", Make<WebAPIClientLUNRetryStop>(std::string("l1")), "retry_stop", R"({"uuid":"l1"})", "",
         "l1"},
        {"StopClone", Make<WebAPIClientLUNStopClone>(std::string("l1")), "stop_clone", R"({"uuid":"l1"})", "",
         "l1"},
        {"SetWhitelist",
         Make<WebAPIClientLUNSetWhitelist>(std::string("l1"),
                                           std::vector<std::string>{"10.0.0.9", "10.0.0.1"}),
         "set_whitelist", R"({"uuid":"l1","whitelist":["10.0.0.9","10.0.0.1"]})", "", "l1"},
        {"StartDefrag", Make<WebAPIClientLUNStartDefrag>(std::string("l1"), true), "defrag",
         R"({"background":true,"uuid":"l1"})", "", "l1"},
        {"StopDefrag", Make<WebAPIClientLUNStopDefrag>(std::string("l1")), "stop_defrag", R"({"uuid":"l1"})",
         "", "l1"},
        {"Top",
         Make<WebAPIClientLUNTop>(true, std::string("location"), std::string("/volume1"),
                                  std::vector<std::string>{"l2", "l1"}),
         "top", R"({"filter":{"attr":"location","value":"/volume1"},"object":true,"uuids":["l2","l1"]})", "",
         ""},
    };
}

class LUNClientOperations : public ClientTest, public ::testing::WithParamInterface<Leaf> {
protected:
    static std::string Root(const std::string& method) { return RootText("KOVA.Core.ISCSI.LUN", method, 1); }
};

class LUNClientOperationRules : public ClientTest {};

std::string LeafName(const ::testing::TestParamInfo<Leaf>& info)
{
    return info.param.name;
}

} // namespace

TEST_P(LUNClientOperations, AValidObjectSendsItsKeysByTheNodeChannel)
{
    const Leaf& leaf = GetParam();
    auto client = leaf.make.build(Node());
    EXPECT_FALSE(client->isInvalid());
    EXPECT_EQ(client->send(), 0);
    EXPECT_EQ(SentByNode(),
              std::string("node-b-uuid KOVA.Core.ISCSI.LUN ") + leaf.method + " 1 " + leaf.params);
    EXPECT_EQ(Lib().Ops(), std::vector<std::string>{"NodeSender::process"});
}

TEST_P(LUNClientOperations, ANodeThatCannotBeReachedByItsUuidMakesItInvalid)
{
    const Leaf& leaf = GetParam();
    auto client = leaf.make.build(ISCSI::ISCSINodeInfo());
    EXPECT_TRUE(client->isInvalid());
    EXPECT_EQ(client->send(), 18990004);
    EXPECT_TRUE(NothingSent());
}

TEST_P(LUNClientOperations, TheTextBeforeAndAfterSend)
{
    const Leaf& leaf = GetParam();
    auto client = leaf.make.build(Node());
    const std::string tail = " ," + LUNText(leaf.familyUuid) + " ," + leaf.ownText + "[Response: ]";
    EXPECT_EQ(leaf.make.text(*client), "Dst node: [" + NodeText() + "] [api:  ,method:  ,version: 0]" + tail);
    client->send();
    EXPECT_EQ(leaf.make.text(*client), Root(leaf.method) + tail);
}

TEST_P(LUNClientOperations, AFailedSendAnswersItsCode)
{
    auto client = GetParam().make.build(Node());
    FailByNode();
    EXPECT_EQ(client->send(), 18990211);
    ReplyByNode(R"({"success":false,"error":{"code":18990503}})");
    EXPECT_EQ(client->send(), 18990503);
}

INSTANTIATE_TEST_SUITE_P(Leaves, LUNClientOperations, ::testing::ValuesIn(Leaves()), LeafName);

// Validity, field by field.

TEST_F(LUNClientOperationRules, LockAndUnlockSnapshotNeedSnapshotAndAppKey)
{
    EXPECT_TRUE(WebAPIClientLUNLockSnapshot(Node(), "", "app").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNLockSnapshot(Node(), "s1", "").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNUnlockSnapshot(Node(), "", "app").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNUnlockSnapshot(Node(), "s1", "").isInvalid());
}

TEST_F(LUNClientOperationRules, LoadingASnapshotNeedsItsUuid)
{
    EXPECT_TRUE(WebAPIClientLUNLoadSnapshot(Node(), "", false, false).isInvalid());
    EXPECT_TRUE(WebAPIClientLUNUnloadSnapshot(Node(), "", false, false).isInvalid());
}

TEST_F(LUNClientOperationRules, ExportNeedsSnapshotAndDirectory)
{
    EXPECT_TRUE(WebAPIClientLUNExport(Node(), "", "/volume1/e").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNExport(Node(), "s1", "").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNExportCancel(Node(), "").isInvalid());
}

TEST_F(LUNClientOperationRules, ImportNeedsLunAndDirectoryAndLeavesEmptyTextsOut)
{
    EXPECT_TRUE(WebAPIClientLUNImport(Node(), "", "/volume1/e", "", "", "").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNImport(Node(), "l1", "", "", "", "").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNImportCancel(Node(), "").isInvalid());
    WebAPIClientLUNImport client(Node(), "l1", "/volume1/e", "", "", "");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"exported_dir_path":"/volume1/e","src_lun_uuid":"l1"})");
}

TEST_F(LUNClientOperationRules, AMapVhostWithoutPortalsAndWithoutRodKeyIsValidAndSendsOnlyTheLun)
{
    WebAPIClientLUNMapVhost client(Node(), "l1", "", "eth0", {});
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"src_lun_uuid":"l1"})");
}

TEST_F(LUNClientOperationRules, AMapVhostWithPortalsNeedsTheRodKey)
{
    EXPECT_TRUE(WebAPIClientLUNMapVhost(Node(), "l1", "", "", {"p1"}).isInvalid());
    EXPECT_TRUE(WebAPIClientLUNMapVhost(Node(), "", "rk", "", {"p1"}).isInvalid());
    WebAPIClientLUNMapVhost client(Node(), "l1", "rk", "", {"p1"});
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"portals":["p1"],"rod_key":"rk","src_lun_uuid":"l1"})");
}

TEST_F(LUNClientOperationRules, MapVhostReadsTheVhostInterface)
{
    WebAPIClientLUNMapVhost client(Node(), "l1", "", "", {});
    ReplyByNode(R"({"success":true,"data":{"vhost_interface":"iqn.2026-11.local:vhost.l1"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.vhost_interface, "iqn.2026-11.local:vhost.l1");
    ReplyByNode(R"({"success":true,"data":{"vhost_interface":[]}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.vhost_interface, "iqn.2026-11.local:vhost.l1");
}

TEST_F(LUNClientOperationRules, UnmapVhostLeavesAnEmptyPortalSetOut)
{
    EXPECT_TRUE(WebAPIClientLUNUnmapVhost(Node(), "", {}).isInvalid());
    WebAPIClientLUNUnmapVhost client(Node(), "l1", {});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"src_lun_uuid":"l1"})");
}

TEST_F(LUNClientOperationRules, LoopMountNeedsTheLunAndReadsTheLoopDevice)
{
    EXPECT_TRUE(WebAPIClientLUNLoopMount(Node(), "").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNLoopUnmount(Node(), "").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNRetryStop(Node(), "").isInvalid());
    WebAPIClientLUNLoopMount client(Node(), "l1");
    ReplyByNode(R"({"success":true,"data":{"loop_dev_path":"/dev/loop7"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.loop_dev_path, "/dev/loop7");
}

TEST_F(LUNClientOperationRules, LoopMountReadsNothingFromAReplyWithoutData)
{
    WebAPIClientLUNLoopMount client(Node(), "l1");
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.loop_dev_path, "");
}

TEST_F(LUNClientOperationRules, AStopCloneOrStartDefragWithAnEmptyUuidIsValidHereAndRefusedByThePeer)
{
    WebAPIClientLUNStopClone stop(Node(), "");
    EXPECT_FALSE(stop.isInvalid());
    WebAPIClientLUNStartDefrag defrag(Node(), "", false);
    EXPECT_FALSE(defrag.isInvalid());
    EXPECT_FALSE(WebAPIClientLUNStopDefrag(Node(), "").isInvalid());
    ReplyByNode(R"({"success":false,"error":{"code":18990503}})");
    EXPECT_EQ(stop.send(), 18990503);
    EXPECT_EQ(SentParams(), R"({"uuid":""})");
}

TEST_F(LUNClientOperationRules, SetWhitelistNeedsTheLunAndAddresses)
{
    EXPECT_TRUE(WebAPIClientLUNSetWhitelist(Node(), "", {"10.0.0.1"}).isInvalid());
    WebAPIClientLUNSetWhitelist empty(Node(), "l1", {});
    EXPECT_TRUE(empty.isInvalid());
    EXPECT_EQ(empty.send(), 18990004);
    EXPECT_TRUE(NothingSent());
}

TEST_F(LUNClientOperationRules, TestCloneabilityDoesNotTestTheNodeAndSendsLocationNotDstLocation)
{
    WebAPIClientLUNTestCloneability client(ISCSI::ISCSINodeInfo(), "/volume1/a.img", "/volume2");
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(
        SentByNode(),
        R"( KOVA.Core.ISCSI.LUN test_cloneability 1 {"location":"/volume2","src_lun_file":"/volume1/a.img"})");
    EXPECT_TRUE(WebAPIClientLUNTestCloneability(Node(), "", "/volume2").isInvalid());
    EXPECT_TRUE(WebAPIClientLUNTestCloneability(Node(), "/volume1/a.img", "").isInvalid());
}

TEST_F(LUNClientOperationRules, TestCloneabilityTextHasNoFamilyPart)
{
    WebAPIClientLUNTestCloneability client(Node(), "/volume1/a.img", "/volume2");
    EXPECT_EQ(client.toString(),
              "Dst node: [" + NodeText() + "] [api:  ,method:  ,version: 0] ,[Response: ]");
    client.send();
    EXPECT_EQ(client.toString(), RootText("KOVA.Core.ISCSI.LUN", "test_cloneability", 1) + " ,[Response: ]");
}

TEST_F(LUNClientOperationRules, TopSendsNoFilterWithoutAnAttributeAndNoEmptyUuids)
{
    WebAPIClientLUNTop client(Node(), false, "", "ignored", {});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"object":false})");
}

TEST_F(LUNClientOperationRules, TopKeepsTheIostatsAsStyledText)
{
    WebAPIClientLUNTop client(Node(), true, "", "", {});
    ReplyByNode(R"({"success":true,"data":{"iostats":{"l1":{"read_bytes":5}}}})");
    EXPECT_EQ(client.send(), 0);
    Json::Value expected;
    expected["l1"]["read_bytes"] = 5;
    EXPECT_EQ(client.iostats, expected.toStyledString());
    ReplyByNode(R"({"success":true,"data":{}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.iostats, expected.toStyledString());
}
