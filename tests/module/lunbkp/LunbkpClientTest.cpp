// The client classes of KOVA.Core.ISCSI.Lunbkp: validity, keys sent, replies read, texts (with
// the family's ", " separators), and round trips through this module's own backup handlers.
#include "ClientLoopback.h"
#include "ClientTest.h"

#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpBackupStart.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpBackupStop.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpBitmapReset.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpLunMove.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpProgressGet.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpRestoreStart.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpRestoreStop.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpSizeGet.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpTargetConnect.h>
#include <webapi-iSCSI/lunbkp/WebAPIClientLunbkpTargetDisconnect.h>

#include <type_traits>

using namespace KOVATest;
using namespace ISCSI::WebAPI::APILUNBKP;

namespace {

class LunbkpClient : public ClientTest {
protected:
    static std::string Root(const std::string& method)
    {
        return RootText("KOVA.Core.ISCSI.Lunbkp", method, 1);
    }
    // The root's text of a client that was not sent yet.
    static std::string Unsent() { return "Dst node: [" + NodeText() + "] [api:  ,method:  ,version: 0]"; }
    // The start of every leaf's text: the root's, ", " and the family's.
    static std::string Head(const std::string& root, const std::string& uuid)
    {
        return root + ", LUNBKP: [uuid: " + uuid + "]";
    }
    static ISCSI::ISCSINodeInfo NoNode() { return ISCSI::ISCSINodeInfo(); }
};

} // namespace

// The two target leaves

TEST_F(LunbkpClient, TargetConnectWithAnEmptyIqnIsInvalidAndItsUuidIsNotLookedAt)
{
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetConnect(Node(), "192.0.2.7", ""));
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetConnect(Node(), "", "iqn.2026-11.com.example:bkp"));
    ExpectRefusedUnsent(
        WebAPIClientLunbkpTargetConnect(NoNode(), "192.0.2.7", "iqn.2026-11.com.example:bkp"));
    const WebAPIClientLunbkpTargetConnect good(Node(), "192.0.2.7", "iqn.2026-11.com.example:bkp");
    EXPECT_EQ(good.uuid, "");
    EXPECT_FALSE(good.isInvalid());
}

TEST_F(LunbkpClient, TargetConnectSendsAddressAndIqnAndReadsTheBlockDevicePath)
{
    WebAPIClientLunbkpTargetConnect client(Node(), "192.0.2.7", "iqn.2026-11.com.example:bkp");
    ReplyByNode(R"({"success":true,"data":{"block_dev_path":"/dev/sdk"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Lunbkp target_connect 1 "
                            R"({"target_ip":"192.0.2.7","target_iqn":"iqn.2026-11.com.example:bkp"})");
    EXPECT_EQ(client.block_dev_path, "/dev/sdk");
}

TEST_F(LunbkpClient, TargetConnectLeavesThePathOnAMissingOrWrongTypedKeyAndWhenTheSendFails)
{
    WebAPIClientLunbkpTargetConnect client(Node(), "192.0.2.7", "iqn.b");
    client.block_dev_path = "/dev/old";
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    ReplyByNode(R"({"success":true,"data":{"block_dev_path":["/dev/sdk"]}})");
    EXPECT_EQ(client.send(), 0);
    ReplyByNode(R"({"success":false,"error":{"code":18990203},"data":{"block_dev_path":"/dev/sdk"}})");
    EXPECT_EQ(client.send(), 18990203);
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
    EXPECT_EQ(client.block_dev_path, "/dev/old");
}

TEST_F(LunbkpClient, TargetConnectTextClosesThePathsBracketBeforeThePath)
{
    WebAPIClientLunbkpTargetConnect client(Node(), "192.0.2.7", "iqn.b");
    EXPECT_EQ(client.toString(), Head(Unsent(), "") +
                                     ", [target_ip: 192.0.2.7], [target_iqn: iqn.b], [block_dev_path: ]]"
                                     ", [Response: ]");
    ReplyByNode(R"({"success":true,"data":{"block_dev_path":"/dev/sdk"}})");
    client.send();
    EXPECT_EQ(client.toString(),
              Head(Root("target_connect"), "") +
                  ", [target_ip: 192.0.2.7], [target_iqn: iqn.b], [block_dev_path: ]/dev/sdk]"
                  ", [Response: ]");
}

TEST_F(LunbkpClient, TargetDisconnectIsValidWithNodeAddressAndIqn)
{
    EXPECT_FALSE(WebAPIClientLunbkpTargetDisconnect(Node(), "192.0.2.7", "iqn.b").isInvalid());
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetDisconnect(NoNode(), "192.0.2.7", "iqn.b"));
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetDisconnect(Node(), "", "iqn.b"));
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetDisconnect(Node(), "192.0.2.7", ""));
}

TEST_F(LunbkpClient, TargetDisconnectSendsAddressAndIqnAndShowsThemInItsText)
{
    WebAPIClientLunbkpTargetDisconnect client(Node(), "192.0.2.7", "iqn.b");
    EXPECT_EQ(client.toString(),
              Head(Unsent(), "") + ", [target_ip: 192.0.2.7], [target_iqn: iqn.b], [Response: ]");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Lunbkp target_disconnect 1 "
                            R"({"target_ip":"192.0.2.7","target_iqn":"iqn.b"})");
    EXPECT_EQ(client.toString(), Head(Root("target_disconnect"), "") +
                                     ", [target_ip: 192.0.2.7], [target_iqn: iqn.b], [Response: ]");
}

// The copy

TEST_F(LunbkpClient, ThePathThatTargetConnectReadsIsWhatBackupStartTakes)
{
    WebAPIClientLunbkpTargetConnect connect(Node(), "192.0.2.7", "iqn.b");
    ReplyByNode(R"({"success":true,"data":{"block_dev_path":"/dev/sdk"}})");
    ASSERT_EQ(connect.send(), 0);
    WebAPIClientLunbkpBackupStart start(Node(), "lun-1", connect.block_dev_path);
    EXPECT_FALSE(start.isInvalid());
    EXPECT_EQ(start.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Lunbkp lunbackup_start 1 "
                            R"({"block_dev_path":"/dev/sdk","uuid":"lun-1"})");
}

TEST_F(LunbkpClient, ABackupFromConnectToDisconnectRunsThroughTheBackupHandlers)
{
    ClientLoopback loopback;
    Lib().Script("ISCSILIBLUNBKP::targetConnect", 0, R"({"block_dev_path":"/dev/sdk"})");
    Lib().ScriptAlways("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"uuid-1"})");
    Lib().Script("ISCSILIBLUNBKP::smartddProgressGet", 0,
                 R"({"progress":2,"offset_sector":8589934592,"total_sector":17179869184})");

    WebAPIClientLunbkpTargetConnect connect(Node(), "192.0.2.7", "iqn.b");
    ASSERT_EQ(connect.send(), 0);
    EXPECT_EQ(connect.block_dev_path, "/dev/sdk");
    EXPECT_EQ(WebAPIClientLunbkpBackupStart(Node(), "lun-1", connect.block_dev_path).send(), 0);
    WebAPIClientLunbkpProgressGet progress(Node(), "lun-1");
    EXPECT_EQ(progress.send(), 0);
    EXPECT_EQ(WebAPIClientLunbkpBackupStop(Node(), "lun-1").send(), 0);
    EXPECT_EQ(WebAPIClientLunbkpTargetDisconnect(Node(), "192.0.2.7", "iqn.b").send(), 0);

    EXPECT_EQ(progress.lunbkp_progress, 2);
    EXPECT_EQ(progress.lunbkp_offset_sector, 8589934592ull);
    EXPECT_EQ(progress.lunbkp_total_sector, 17179869184ull);
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUNBKP::smartddStart").at(0).args), R"(["/dev/sdk",0])");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUNBKP::smartddStop").at(0).args), "[0]");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUNBKP::targetDisconnect").at(0).args),
              R"(["192.0.2.7","iqn.b"])");
}

TEST_F(LunbkpClient, ARestoreStartsAndStopsTheCopyTheOtherWayThroughTheBackupHandlers)
{
    ClientLoopback loopback;
    Lib().ScriptAlways("ISCSILUNInfo::GetLunUuid", 0, R"({"uuid":"uuid-1"})");
    EXPECT_EQ(WebAPIClientLunbkpRestoreStart(Node(), "lun-1", "/dev/sdk").send(), 0);
    EXPECT_EQ(WebAPIClientLunbkpRestoreStop(Node(), "lun-1").send(), 0);
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUNBKP::smartddStart").at(0).args), R"(["/dev/sdk",1])");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUNBKP::smartddStop").at(0).args), "[1]");
}

TEST_F(LunbkpClient, BackupStartAndRestoreStartAreValidWithNodeUuidAndPath)
{
    EXPECT_FALSE(WebAPIClientLunbkpBackupStart(Node(), "lun-1", "/dev/sdk").isInvalid());
    EXPECT_FALSE(WebAPIClientLunbkpRestoreStart(Node(), "lun-1", "/dev/sdk").isInvalid());
    ExpectRefusedUnsent(WebAPIClientLunbkpBackupStart(NoNode(), "lun-1", "/dev/sdk"));
    ExpectRefusedUnsent(WebAPIClientLunbkpRestoreStart(NoNode(), "lun-1", "/dev/sdk"));
    ExpectRefusedUnsent(WebAPIClientLunbkpBackupStart(Node(), "", "/dev/sdk"));
    ExpectRefusedUnsent(WebAPIClientLunbkpRestoreStart(Node(), "", "/dev/sdk"));
    ExpectRefusedUnsent(WebAPIClientLunbkpBackupStart(Node(), "lun-1", ""));
    ExpectRefusedUnsent(WebAPIClientLunbkpRestoreStart(Node(), "lun-1", ""));
}

TEST_F(LunbkpClient, BackupStartAndRestoreStartDifferOnlyInTheMethod)
{
    WebAPIClientLunbkpBackupStart backup(Node(), "lun-1", "/dev/sdk");
    WebAPIClientLunbkpRestoreStart restore(Node(), "lun-1", "/dev/sdk");
    EXPECT_EQ(backup.toString(), Head(Unsent(), "lun-1") + ", [block_dev_path: /dev/sdk], [Response: ]");
    EXPECT_EQ(backup.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Lunbkp lunbackup_start 1 "
                            R"({"block_dev_path":"/dev/sdk","uuid":"lun-1"})");
    EXPECT_EQ(restore.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Lunbkp lunrestore_start 1 "
                            R"({"block_dev_path":"/dev/sdk","uuid":"lun-1"})");
    EXPECT_EQ(backup.toString(),
              Head(Root("lunbackup_start"), "lun-1") + ", [block_dev_path: /dev/sdk], [Response: ]");
    EXPECT_EQ(restore.toString(),
              Head(Root("lunrestore_start"), "lun-1") + ", [block_dev_path: /dev/sdk], [Response: ]");
}

TEST_F(LunbkpClient, BackupStopRestoreStopAndBitmapResetSendTheUuidAlone)
{
    const std::string methods[] = {"lunbackup_stop", "lunrestore_stop", "lunbkp_bitmap_reset"};
    WebAPIClientLunbkpBackupStop backupStop(Node(), "lun-1");
    WebAPIClientLunbkpRestoreStop restoreStop(Node(), "lun-1");
    WebAPIClientLunbkpBitmapReset bitmapReset(Node(), "lun-1");
    ISCSI::WebAPI::WebAPIClient* clients[] = {&backupStop, &restoreStop, &bitmapReset};
    for (size_t i = 0; i < 3; ++i) {
        ReplyByNode(R"({"success":true,"data":{"uuid":"other"}})");
        EXPECT_EQ(clients[i]->send(), 0);
        EXPECT_EQ(SentByNode(),
                  "node-b-uuid KOVA.Core.ISCSI.Lunbkp " + methods[i] + R"( 1 {"uuid":"lun-1"})");
    }
    EXPECT_EQ(backupStop.uuid, "lun-1");
    EXPECT_EQ(backupStop.toString(), Head(Root("lunbackup_stop"), "lun-1") + ", [Response: ]");
    EXPECT_EQ(restoreStop.toString(), Head(Root("lunrestore_stop"), "lun-1") + ", [Response: ]");
    EXPECT_EQ(bitmapReset.toString(), Head(Root("lunbkp_bitmap_reset"), "lun-1") + ", [Response: ]");
}

TEST_F(LunbkpClient, TheUuidLeavesAreValidWithNodeAndUuid)
{
    EXPECT_FALSE(WebAPIClientLunbkpBackupStop(Node(), "lun-1").isInvalid());
    EXPECT_FALSE(WebAPIClientLunbkpRestoreStop(Node(), "lun-1").isInvalid());
    EXPECT_FALSE(WebAPIClientLunbkpBitmapReset(Node(), "lun-1").isInvalid());
    EXPECT_FALSE(WebAPIClientLunbkpProgressGet(Node(), "lun-1").isInvalid());
    EXPECT_FALSE(WebAPIClientLunbkpSizeGet(Node(), "lun-1").isInvalid());
    ExpectRefusedUnsent(WebAPIClientLunbkpBackupStop(NoNode(), "lun-1"));
    ExpectRefusedUnsent(WebAPIClientLunbkpRestoreStop(NoNode(), "lun-1"));
    ExpectRefusedUnsent(WebAPIClientLunbkpBitmapReset(NoNode(), "lun-1"));
    ExpectRefusedUnsent(WebAPIClientLunbkpProgressGet(NoNode(), "lun-1"));
    ExpectRefusedUnsent(WebAPIClientLunbkpSizeGet(NoNode(), "lun-1"));
    ExpectRefusedUnsent(WebAPIClientLunbkpBackupStop(Node(), ""));
    ExpectRefusedUnsent(WebAPIClientLunbkpRestoreStop(Node(), ""));
    ExpectRefusedUnsent(WebAPIClientLunbkpBitmapReset(Node(), ""));
    ExpectRefusedUnsent(WebAPIClientLunbkpProgressGet(Node(), ""));
    ExpectRefusedUnsent(WebAPIClientLunbkpSizeGet(Node(), ""));
}

// Progress and size

TEST_F(LunbkpClient, ProgressGetReadsTheThreeValuesAndSizesAbove32BitsExactly)
{
    WebAPIClientLunbkpProgressGet client(Node(), "lun-1");
    ReplyByNode(R"({"success":true,"data":{"lunbkp_progress":-3,"lunbkp_offset_sector":4294967297,)"
                R"("lunbkp_total_sector":18446744073709551615}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Lunbkp lunbkp_progress_get 1 {"uuid":"lun-1"})");
    EXPECT_EQ(client.lunbkp_progress, -3);
    EXPECT_EQ(client.lunbkp_offset_sector, 4294967297ull);
    EXPECT_EQ(client.lunbkp_total_sector, 18446744073709551615ull);
}

TEST_F(LunbkpClient, ProgressGetLeavesFieldsOfMissingOrWrongTypedKeys)
{
    WebAPIClientLunbkpProgressGet client(Node(), "lun-1");
    client.lunbkp_progress = 7;
    client.lunbkp_offset_sector = 8;
    ReplyByNode(R"({"success":true,"data":{"lunbkp_progress":"half","lunbkp_total_sector":-1}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.lunbkp_progress, 7);
    EXPECT_EQ(client.lunbkp_offset_sector, 8u);
    EXPECT_EQ(client.lunbkp_total_sector, 0u);
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.lunbkp_progress, 7);
}

TEST_F(LunbkpClient, ProgressGetReadsNothingWhenTheSendFails)
{
    WebAPIClientLunbkpProgressGet client(Node(), "lun-1");
    ReplyByNode(R"({"success":false,"error":{"code":18990505},"data":{"lunbkp_progress":50}})");
    EXPECT_EQ(client.send(), 18990505);
    EXPECT_EQ(client.lunbkp_progress, 0);
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
    EXPECT_EQ(client.lunbkp_progress, 0);
}

TEST_F(LunbkpClient, ProgressGetTextShowsTheThreeValues)
{
    WebAPIClientLunbkpProgressGet client(Node(), "lun-1");
    EXPECT_EQ(client.toString(),
              Head(Unsent(), "lun-1") +
                  ", [lunbkp_progress: 0], [lunbkp_offset_sector: 0], [lunbkp_total_sector: 0]"
                  ", [Response: ]");
    ReplyByNode(R"({"success":true,"data":{"lunbkp_progress":50,"lunbkp_offset_sector":4294967296,)"
                R"("lunbkp_total_sector":8589934592}})");
    client.send();
    EXPECT_EQ(client.toString(), Head(Root("lunbkp_progress_get"), "lun-1") +
                                     ", [lunbkp_progress: 50], [lunbkp_offset_sector: 4294967296]"
                                     ", [lunbkp_total_sector: 8589934592], [Response: ]");
}

TEST_F(LunbkpClient, SizeGetReadsTheTotalAboveThirtyTwoBitsExactly)
{
    WebAPIClientLunbkpSizeGet client(Node(), "lun-1");
    ReplyByNode(R"({"success":true,"data":{"lunbkp_total_sector":17179869185}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), R"(node-b-uuid KOVA.Core.ISCSI.Lunbkp lunbkp_size_get 1 {"uuid":"lun-1"})");
    EXPECT_EQ(client.lunbkp_total_sector, 17179869185ull);
    EXPECT_EQ(client.toString(),
              Head(Root("lunbkp_size_get"), "lun-1") + ", [lunbkp_total_sector: 17179869185], [Response: ]");
}

TEST_F(LunbkpClient, SizeGetLeavesTheTotalOnAMissingOrWrongTypedKeyAndWhenTheSendFails)
{
    WebAPIClientLunbkpSizeGet client(Node(), "lun-1");
    client.lunbkp_total_sector = 5;
    ReplyByNode(R"({"success":true,"data":{}})");
    EXPECT_EQ(client.send(), 0);
    ReplyByNode(R"({"success":true,"data":{"lunbkp_total_sector":"many"}})");
    EXPECT_EQ(client.send(), 0);
    ReplyByNode(R"({"success":false,"error":{"code":18990505},"data":{"lunbkp_total_sector":9}})");
    EXPECT_EQ(client.send(), 18990505);
    EXPECT_EQ(client.lunbkp_total_sector, 5u);
    EXPECT_EQ(client.toString(),
              Head(Root("lunbkp_size_get"), "lun-1") + ", [lunbkp_total_sector: 5], [Response: ]");
}

TEST_F(LunbkpClient, SizeGetThroughTheBackupHandlerReadsTheLibrarysTotal)
{
    ClientLoopback loopback;
    Lib().Script("ISCSILIBLUNBKP::sizeGet", 0, R"({"total_sector":6442450944})");
    WebAPIClientLunbkpSizeGet client(Node(), "lun-1");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.lunbkp_total_sector, 6442450944ull);
}

// Moving a LUN

TEST_F(LunbkpClient, LunMoveIsValidWithNodeUuidAndLocation)
{
    EXPECT_FALSE(WebAPIClientLunbkpLunMove(Node(), "lun-1", "/volume2").isInvalid());
    ExpectRefusedUnsent(WebAPIClientLunbkpLunMove(NoNode(), "lun-1", "/volume2"));
    ExpectRefusedUnsent(WebAPIClientLunbkpLunMove(Node(), "", "/volume2"));
    ExpectRefusedUnsent(WebAPIClientLunbkpLunMove(Node(), "lun-1", ""));
    ExpectRefusedUnsent(WebAPIClientLunbkpLunMove());
}

TEST_F(LunbkpClient, LunMoveSendsUuidAndLocationAndShowsTheLocation)
{
    WebAPIClientLunbkpLunMove client(Node(), "lun-1", "/volume2");
    EXPECT_EQ(client.toString(), Head(Unsent(), "lun-1") + ", [dst_location: /volume2], [Response: ]");
    ReplyByNode(R"({"success":true,"data":null})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), "node-b-uuid KOVA.Core.ISCSI.Lunbkp backuplun_move 1 "
                            R"({"dst_location":"/volume2","uuid":"lun-1"})");
    EXPECT_EQ(client.toString(),
              Head(Root("backuplun_move"), "lun-1") + ", [dst_location: /volume2], [Response: ]");
}

TEST_F(LunbkpClient, LunMoveCannotBeBuiltWithTheNodeAlone)
{
    EXPECT_FALSE((std::is_constructible<WebAPIClientLunbkpLunMove, const ISCSI::ISCSINodeInfo&>::value));
    EXPECT_TRUE((std::is_constructible<WebAPIClientLunbkpBackupStop, const ISCSI::ISCSINodeInfo&>::value));
}

// Every leaf

TEST_F(LunbkpClient, AnObjectBuiltWithTheNodeAloneIsInvalidUntilItsFieldsAreFilled)
{
    WebAPIClientLunbkpTargetConnect connect(Node());
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetConnect(Node()));
    connect.target_ip = "192.0.2.7";
    EXPECT_TRUE(connect.isInvalid());
    connect.target_iqn = "iqn.b";
    EXPECT_FALSE(connect.isInvalid());

    WebAPIClientLunbkpTargetDisconnect disconnect(Node());
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetDisconnect(Node()));
    disconnect.target_ip = "192.0.2.7";
    disconnect.target_iqn = "iqn.b";
    EXPECT_FALSE(disconnect.isInvalid());

    WebAPIClientLunbkpBackupStart backupStart(Node());
    WebAPIClientLunbkpRestoreStart restoreStart(Node());
    ExpectRefusedUnsent(WebAPIClientLunbkpBackupStart(Node()));
    ExpectRefusedUnsent(WebAPIClientLunbkpRestoreStart(Node()));
    backupStart.uuid = restoreStart.uuid = "lun-1";
    EXPECT_TRUE(backupStart.isInvalid());
    EXPECT_TRUE(restoreStart.isInvalid());
    backupStart.block_dev_path = restoreStart.block_dev_path = "/dev/sdk";
    EXPECT_FALSE(backupStart.isInvalid());
    EXPECT_FALSE(restoreStart.isInvalid());

    WebAPIClientLunbkpBackupStop backupStop(Node());
    WebAPIClientLunbkpRestoreStop restoreStop(Node());
    WebAPIClientLunbkpBitmapReset bitmapReset(Node());
    WebAPIClientLunbkpProgressGet progressGet(Node());
    WebAPIClientLunbkpSizeGet sizeGet(Node());
    ISCSI::WebAPI::APILUNBKP::WebAPIClientLunbkp* uuidLeaves[] = {&backupStop, &restoreStop, &bitmapReset,
                                                                  &progressGet, &sizeGet};
    for (auto* leaf : uuidLeaves) {
        EXPECT_TRUE(leaf->isInvalid());
        EXPECT_EQ(leaf->send(), 18990004);
        leaf->uuid = "lun-1";
        EXPECT_FALSE(leaf->isInvalid());
    }
    EXPECT_TRUE(NothingSent());
}

TEST_F(LunbkpClient, EveryLeafHasADefaultConstructorThatMakesAnInvalidObject)
{
    ExpectRefusedUnsent(WebAPIClientLunbkpLunMove());
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetConnect());
    ExpectRefusedUnsent(WebAPIClientLunbkpTargetDisconnect());
    ExpectRefusedUnsent(WebAPIClientLunbkpBackupStart());
    ExpectRefusedUnsent(WebAPIClientLunbkpBackupStop());
    ExpectRefusedUnsent(WebAPIClientLunbkpRestoreStart());
    ExpectRefusedUnsent(WebAPIClientLunbkpRestoreStop());
    ExpectRefusedUnsent(WebAPIClientLunbkpProgressGet());
    ExpectRefusedUnsent(WebAPIClientLunbkpBitmapReset());
    ExpectRefusedUnsent(WebAPIClientLunbkpSizeGet());
}

TEST_F(LunbkpClient, EveryLeafSendsByTheNodeChannelAlone)
{
    WebAPIClientLunbkpLunMove lunMove(Node(), "lun-1", "/volume2");
    WebAPIClientLunbkpTargetConnect connect(Node(), "192.0.2.7", "iqn.b");
    WebAPIClientLunbkpTargetDisconnect disconnect(Node(), "192.0.2.7", "iqn.b");
    WebAPIClientLunbkpBackupStart backupStart(Node(), "lun-1", "/dev/sdk");
    WebAPIClientLunbkpBackupStop backupStop(Node(), "lun-1");
    WebAPIClientLunbkpRestoreStart restoreStart(Node(), "lun-1", "/dev/sdk");
    WebAPIClientLunbkpRestoreStop restoreStop(Node(), "lun-1");
    WebAPIClientLunbkpProgressGet progressGet(Node(), "lun-1");
    WebAPIClientLunbkpBitmapReset bitmapReset(Node(), "lun-1");
    WebAPIClientLunbkpSizeGet sizeGet(Node(), "lun-1");
    ExpectEachSentByNodeChannelAlone({&lunMove, &connect, &disconnect, &backupStart, &backupStop,
                                      &restoreStart, &restoreStop, &progressGet, &bitmapReset, &sizeGet},
                                     "KOVA.Core.ISCSI.Lunbkp");
}
