// The client classes of KOVA.Core.ISCSI.LUN that work on snapshots (take, stop, delete, list,
// get, set, restore, clone): validity, keys sent, replies read, texts.
#include "LUNClientTest.h"

#include <webapi-iSCSI/lun/WebAPIClientLUNCloneSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNDeleteSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNGetSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNListSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNRestoreSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNSetSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNStopSnapshot.h>
#include <webapi-iSCSI/lun/WebAPIClientLUNTakeSnapshot.h>

using namespace KOVATest;
using namespace ISCSI::WebAPI::APILUN;

namespace {

using LUNSnapshotClient = LUNClient;

WebAPIClientLUNTakeSnapshot Take(const ISCSI::ISCSINodeInfo& node, const std::string& src)
{
    return WebAPIClientLUNTakeSnapshot(node, src, false, false, "", "", "", 0, false, "", "");
}

WebAPIClientLUNTakeSnapshot TakeWithAll(const ISCSI::ISCSINodeInfo& node)
{
    return WebAPIClientLUNTakeSnapshot(node, "lun-1", true, true, "daily", "before upgrade", "admin",
                                       1700000000, true, "/volume1/@snap", "v2");
}

// The code loadFromJson of a snapshot record answers for json, and the record's text.
int SnapshotLoadCode(const std::string& json)
{
    ISCSI::ISCSISnapshotInfo record;
    return record.loadFromJson(ParseJson(json));
}
std::string SnapshotText(const std::string& json)
{
    ISCSI::ISCSISnapshotInfo record;
    record.loadFromJson(ParseJson(json));
    return record.toString();
}

const char* const kSnapA = R"({"uuid":"snap-a","lun_uuid":"lun-1","name":"a","snapshot_id":1})";
const char* const kSnapB =
    R"({"uuid":"snap-b","lun_uuid":"lun-1","name":"b","snapshot_id":2,"is_user_locked":true})";
const char* const kBadSnap = R"({"uuid":"snap-x","snapshot_id":"two"})";

} // namespace

// take_snapshot

TEST_F(LUNSnapshotClient, TakeSnapshotIsValidWithNodeAndSourceLUN)
{
    EXPECT_FALSE(Take(Node(), "lun-1").isInvalid());
    ExpectRefused(Take(NoNode(), "lun-1"));
    ExpectRefused(Take(Node(), ""));
}

TEST_F(LUNSnapshotClient, TakeSnapshotSendsFlagsAndTimeAlwaysAndEmptyTextsNever)
{
    WebAPIClientLUNTakeSnapshot client = Take(Node(), "lun-1");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(),
              Sent("take_snapshot", R"({"is_app_consistent":false,"is_locked":false,)"
                                    R"("is_scheduled":false,"snapshot_time":0,"src_lun_uuid":"lun-1"})"));
    EXPECT_TRUE(SentJson()["snapshot_time"].isIntegral());
}

TEST_F(LUNSnapshotClient, TakeSnapshotSendsEveryTextGiven)
{
    WebAPIClientLUNTakeSnapshot client = TakeWithAll(Node());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(),
              R"({"description":"before upgrade","is_app_consistent":true,"is_locked":true,)"
              R"("is_scheduled":true,"snap_version":"v2","snapshot_name":"daily",)"
              R"("snapshot_time":1700000000,"src_lun_uuid":"lun-1","src_snap_dir":"/volume1/@snap",)"
              R"("taken_by":"admin"})");
}

TEST_F(LUNSnapshotClient, TakeSnapshotReadsTheNewSnapshotsUuidAndId)
{
    WebAPIClientLUNTakeSnapshot client = Take(Node(), "lun-1");
    EXPECT_EQ(client.snapshot_id, -1);
    ReplyByNode(R"({"success":true,"data":{"snapshot_uuid":"snap-new","snapshot_id":6}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.snapshot_uuid, "snap-new");
    EXPECT_EQ(client.snapshot_id, 6);
}

TEST_F(LUNSnapshotClient, TakeSnapshotKeepsItsStartValuesWhenTheSendFailsOrNothingCame)
{
    WebAPIClientLUNTakeSnapshot client = Take(Node(), "lun-1");
    ReplyByNode(
        R"({"success":false,"error":{"code":18990508},"data":{"snapshot_uuid":"s","snapshot_id":6}})");
    EXPECT_EQ(client.send(), 18990508);
    ReplyByNode(R"({"success":true,"data":{"snapshot_id":"6"}})");
    EXPECT_EQ(client.send(), 0);
    ReplyByNode(R"({"success":true})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.snapshot_uuid, "");
    EXPECT_EQ(client.snapshot_id, -1);
}

TEST_F(LUNSnapshotClient, TakeSnapshotTextShowsTheRequestButNotTheSourceTwice)
{
    WebAPIClientLUNTakeSnapshot client = TakeWithAll(Node());
    const std::string tail =
        " ,[is_app_consistent: true ,is_locked: true ,snapshot_name: daily"
        " ,description: before upgrade ,taken_by: admin ,snapshot_time: 1700000000"
        " ,is_scheduled: true ,src_snap_dir: /volume1/@snap ,snap_version: v2] ,[Response: ]";
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("lun-1") + tail);
    client.send();
    EXPECT_EQ(client.toString(), Root("take_snapshot") + " ," + Family("lun-1") + tail);
}

// stop_snapshot and restore_snapshot, twins but for the method

namespace {

constexpr char kStopSnapshot[] = "stop_snapshot";
constexpr char kRestoreSnapshot[] = "restore_snapshot";

template <typename T> class LUNSnapshotOfLUNClient : public LUNClient {};
using SnapshotOfLUNCases = ::testing::Types<LeafCase<WebAPIClientLUNStopSnapshot, kStopSnapshot>,
                                            LeafCase<WebAPIClientLUNRestoreSnapshot, kRestoreSnapshot>>;
TYPED_TEST_SUITE(LUNSnapshotOfLUNClient, SnapshotOfLUNCases);

} // namespace

TYPED_TEST(LUNSnapshotOfLUNClient, IsValidWithNodeSourceLUNAndSnapshot)
{
    using Client = typename TypeParam::Client;
    EXPECT_FALSE(Client(this->Node(), "lun-1", "snap-1").isInvalid());
    this->ExpectRefused(Client(this->NoNode(), "lun-1", "snap-1"));
    this->ExpectRefused(Client(this->Node(), "", "snap-1"));
    this->ExpectRefused(Client(this->Node(), "lun-1", ""));
}

TYPED_TEST(LUNSnapshotOfLUNClient, SendsSourceLUNAndSnapshotAndReadsNothing)
{
    typename TypeParam::Client client(this->Node(), "lun-1", "snap-1");
    this->ReplyByNode(R"({"success":true,"data":{"snapshot_uuid":"other","uuid":"other"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(this->SentByNode(),
              this->Sent(TypeParam::Method(), R"({"snapshot_uuid":"snap-1","src_lun_uuid":"lun-1"})"));
    EXPECT_EQ(client.snapshot_uuid, "snap-1");
    EXPECT_EQ(client.uuid, "lun-1");
    this->ReplyByNode(R"({"success":false,"error":{"code":18990520}})");
    EXPECT_EQ(client.send(), 18990520);
}

TYPED_TEST(LUNSnapshotOfLUNClient, TextShowsTheSnapshotInBrackets)
{
    typename TypeParam::Client client(this->Node(), "lun-1", "snap-1");
    const std::string tail = " ,[snapshot_uuid: snap-1] ,[Response: ]";
    EXPECT_EQ(client.toString(), this->Unsent() + " ," + this->Family("lun-1") + tail);
    client.send();
    EXPECT_EQ(client.toString(), this->Root(TypeParam::Method()) + " ," + this->Family("lun-1") + tail);
}

// delete_snapshot

TEST_F(LUNSnapshotClient, DeleteSnapshotIsValidWithNodeAndSnapshot)
{
    EXPECT_FALSE(WebAPIClientLUNDeleteSnapshot(Node(), "snap-1", "", {}).isInvalid());
    ExpectRefused(WebAPIClientLUNDeleteSnapshot(NoNode(), "snap-1", "", {}));
}

TEST_F(LUNSnapshotClient, ADeleteSnapshotBuiltForAListStillNeedsASnapshotUuid)
{
    ExpectRefused(WebAPIClientLUNDeleteSnapshot(Node(), "", "admin", {"snap-1", "snap-2"}));
    WebAPIClientLUNDeleteSnapshot client(Node(), "snap-1", "admin", {"snap-3", "snap-2"});
    EXPECT_FALSE(client.isInvalid());
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("delete_snapshot", R"({"deleted_by":"admin","snapshot_uuid":"snap-1",)"
                                                    R"("snapshot_uuids":["snap-2","snap-3"]})"));
}

TEST_F(LUNSnapshotClient, DeleteSnapshotSendsWhoDeletedAlwaysAndTheListOnlyWhenGiven)
{
    WebAPIClientLUNDeleteSnapshot client(Node(), "snap-1", "", {});
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(SentParams(), R"({"deleted_by":"","snapshot_uuid":"snap-1"})");
}

TEST_F(LUNSnapshotClient, DeleteSnapshotReadsNothingAndNamesNoLUN)
{
    WebAPIClientLUNDeleteSnapshot client(Node(), "snap-1", "admin", {});
    const std::string tail = " ,[snapshot_uuid: snap-1 ,deleted_by: admin] ,[Response: ]";
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("") + tail);
    ReplyByNode(R"({"success":true,"data":{"uuid":"other"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.toString(), Root("delete_snapshot") + " ," + Family("") + tail);
    ReplyByNode(R"({"success":false,"error":{"code":18990404}})");
    EXPECT_EQ(client.send(), 18990404);
}

// list_snapshot

TEST_F(LUNSnapshotClient, ListSnapshotIsValidWithTheNodeAlone)
{
    EXPECT_FALSE(WebAPIClientLUNListSnapshot(Node(), "", false, {}).isInvalid());
    ExpectRefused(WebAPIClientLUNListSnapshot(NoNode(), "lun-1", false, {}));
}

TEST_F(LUNSnapshotClient, ListSnapshotSendsOnlyASourceGivenACountOnlyRequestAndAdditional)
{
    WebAPIClientLUNListSnapshot all(Node(), "", false, {});
    EXPECT_EQ(all.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("list_snapshot", "{}"));
    WebAPIClientLUNListSnapshot some(Node(), "lun-1", true, {"status", "export"});
    EXPECT_EQ(some.send(), 0);
    EXPECT_EQ(SentParams(),
              R"({"additional":["status","export"],"is_count_only":true,"src_lun_uuid":"lun-1"})");
}

TEST_F(LUNSnapshotClient, ListSnapshotReadsTheCountAndEachRecord)
{
    WebAPIClientLUNListSnapshot client(Node(), "lun-1", false, {});
    ReplyByNode(std::string(R"({"success":true,"data":{"count":2,"snapshots":[)") + kSnapA + "," + kSnapB +
                "]}}");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.count, 2u);
    ASSERT_EQ(client.snapshots.size(), 2u);
    EXPECT_EQ(client.snapshots[0].uuid, "snap-a");
    EXPECT_TRUE(client.snapshots[1].is_user_locked);
}

TEST_F(LUNSnapshotClient, ACountOnlyReplyGivesTheCountAndAnEmptyList)
{
    WebAPIClientLUNListSnapshot client(Node(), "lun-1", true, {});
    ReplyByNode(R"({"success":true,"data":{"count":4}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.count, 4u);
    EXPECT_TRUE(client.snapshots.empty());
}

TEST_F(LUNSnapshotClient, AListSnapshotReplyWithABadRecordKeepsThoseBeforeItAndAnswersTheLoadCode)
{
    WebAPIClientLUNListSnapshot client(Node(), "lun-1", false, {});
    ReplyByNode(std::string(R"({"success":true,"data":{"count":3,"snapshots":[)") + kSnapA + "," + kBadSnap +
                "," + kSnapB + "]}}");
    const int code = client.send();
    EXPECT_NE(code, 0);
    EXPECT_EQ(code, SnapshotLoadCode(kBadSnap));
    EXPECT_EQ(client.count, 3u);
    ASSERT_EQ(client.snapshots.size(), 1u);
    EXPECT_EQ(client.snapshots[0].uuid, "snap-a");
}

TEST_F(LUNSnapshotClient, ListSnapshotReadsNothingWhenTheSendFails)
{
    WebAPIClientLUNListSnapshot client(Node(), "lun-1", false, {});
    ReplyByNode(std::string(R"({"error":{"code":18990508},"data":{"count":1,"snapshots":[)") + kSnapA +
                "]}}");
    EXPECT_EQ(client.send(), 18990508);
    EXPECT_EQ(client.count, 0u);
    EXPECT_TRUE(client.snapshots.empty());
    ReplyByNode(R"({"success":true,"data":{"count":-1}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.count, 0u);
}

TEST_F(LUNSnapshotClient, ListSnapshotTextKeepsItsSnapshopsLabel)
{
    WebAPIClientLUNListSnapshot client(Node(), "lun-1", false, {});
    EXPECT_EQ(client.toString(),
              Unsent() + " ," + Family("lun-1") + " ,count: 0 ,snapshops: [] ,[Response: ]");
    ReplyByNode(std::string(R"({"success":true,"data":{"count":2,"snapshots":[)") + kSnapA + "," + kSnapB +
                "]}}");
    client.send();
    EXPECT_EQ(client.toString(), Root("list_snapshot") + " ," + Family("lun-1") +
                                     " ,count: 2 ,snapshops: [ [0: " + SnapshotText(kSnapA) +
                                     "] [1: " + SnapshotText(kSnapB) + "]] ,[Response: ]");
}

// get_snapshot

TEST_F(LUNSnapshotClient, GetSnapshotIsValidWithNodeAndSnapshot)
{
    EXPECT_FALSE(WebAPIClientLUNGetSnapshot(Node(), "snap-1", {}).isInvalid());
    ExpectRefused(WebAPIClientLUNGetSnapshot(NoNode(), "snap-1", {}));
    ExpectRefused(WebAPIClientLUNGetSnapshot(Node(), "", {"export"}));
}

TEST_F(LUNSnapshotClient, GetSnapshotSendsAdditionalOnlyWhenGiven)
{
    WebAPIClientLUNGetSnapshot plain(Node(), "snap-1", {});
    EXPECT_EQ(plain.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("get_snapshot", R"({"snapshot_uuid":"snap-1"})"));
    WebAPIClientLUNGetSnapshot asking(Node(), "snap-1", {"sync_progress", "export_progress"});
    EXPECT_EQ(asking.send(), 0);
    EXPECT_EQ(SentParams(), R"({"additional":["sync_progress","export_progress"],"snapshot_uuid":"snap-1"})");
}

TEST_F(LUNSnapshotClient, GetSnapshotReadsTheRecordAndEachProgressKey)
{
    WebAPIClientLUNGetSnapshot client(Node(), "snap-a", {});
    ReplyByNode(std::string(R"({"success":true,"data":{"snapshot":)") + kSnapA +
                R"(,"export_done":5,"export_total":18446744073709551615,"export_errno":-2,)"
                R"("sync_total":9,"sync_done":8}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.snapshot.uuid, "snap-a");
    EXPECT_EQ(client.snapshot.snapshot_id, 1);
    EXPECT_EQ(client.export_done, 5u);
    EXPECT_EQ(client.export_total, 18446744073709551615ull);
    EXPECT_EQ(client.export_errno, -2);
    EXPECT_EQ(client.sync_total, 9u);
    EXPECT_EQ(client.sync_done, 8u);
}

TEST_F(LUNSnapshotClient, GetSnapshotAnswersTheCodeOfABadRecordAndReadsNoFurtherKey)
{
    WebAPIClientLUNGetSnapshot client(Node(), "snap-x", {});
    ReplyByNode(std::string(R"({"success":true,"data":{"snapshot":)") + kBadSnap + R"(,"export_done":5}})");
    const int code = client.send();
    EXPECT_NE(code, 0);
    EXPECT_EQ(code, SnapshotLoadCode(kBadSnap));
    EXPECT_EQ(client.export_done, 0u);
}

TEST_F(LUNSnapshotClient, GetSnapshotLeavesMissingAndWrongTypedKeysAndReadsNothingOnFailure)
{
    WebAPIClientLUNGetSnapshot client(Node(), "snap-a", {});
    client.export_errno = 3;
    ReplyByNode(R"({"success":true,"data":{"export_errno":"x","sync_done":-4,"sync_total":2}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.snapshot.uuid, "");
    EXPECT_EQ(client.export_errno, 3);
    EXPECT_EQ(client.sync_done, 0u);
    EXPECT_EQ(client.sync_total, 2u);
    ReplyByNode(std::string(R"({"error":{"code":18990520},"data":{"snapshot":)") + kSnapA + "}}");
    EXPECT_EQ(client.send(), 18990520);
    EXPECT_EQ(client.snapshot.uuid, "");
}

TEST_F(LUNSnapshotClient, GetSnapshotTextShowsTheSnapshotWithoutBrackets)
{
    WebAPIClientLUNGetSnapshot client(Node(), "snap-a", {});
    const std::string tail = " ,snapshot_uuid: snap-a ,[Response: ]";
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("") + tail);
    client.send();
    EXPECT_EQ(client.toString(), Root("get_snapshot") + " ," + Family("") + tail);
}

// set_snapshot

TEST_F(LUNSnapshotClient, SetSnapshotIsValidWithNodeAndSnapshot)
{
    EXPECT_FALSE(WebAPIClientLUNSetSnapshot(Node(), "snap-1", "", -1, "").isInvalid());
    ExpectRefused(WebAPIClientLUNSetSnapshot(NoNode(), "snap-1", "n", 1, ""));
    ExpectRefused(WebAPIClientLUNSetSnapshot(Node(), "", "n", 1, ""));
}

TEST_F(LUNSnapshotClient, SetSnapshotSendsNoLockBelowZeroFalseAtZeroAndTrueAboveZero)
{
    WebAPIClientLUNSetSnapshot untouched(Node(), "snap-1", "", -1, "");
    EXPECT_EQ(untouched.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("set_snapshot", R"({"snapshot_uuid":"snap-1"})"));
    WebAPIClientLUNSetSnapshot unlock(Node(), "snap-1", "", 0, "");
    EXPECT_EQ(unlock.send(), 0);
    EXPECT_EQ(SentParams(), R"({"is_user_locked":false,"snapshot_uuid":"snap-1"})");
    WebAPIClientLUNSetSnapshot lock(Node(), "snap-1", "", 7, "");
    EXPECT_EQ(lock.send(), 0);
    EXPECT_EQ(SentParams(), R"({"is_user_locked":true,"snapshot_uuid":"snap-1"})");
    EXPECT_TRUE(SentJson()["is_user_locked"].isBool());
}

TEST_F(LUNSnapshotClient, SetSnapshotSendsNameAndDescriptionWhenGiven)
{
    WebAPIClientLUNSetSnapshot client(Node(), "snap-1", "weekly", 1, "kept");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(
        SentParams(),
        R"({"description":"kept","is_user_locked":true,"snapshot_name":"weekly","snapshot_uuid":"snap-1"})");
}

TEST_F(LUNSnapshotClient, SetSnapshotReadsNothingAndItsTextShowsTheSnapshot)
{
    WebAPIClientLUNSetSnapshot client(Node(), "snap-1", "weekly", 1, "kept");
    const std::string tail = " ,snapshot_uuid: snap-1 ,[Response: ]";
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("") + tail);
    ReplyByNode(R"({"success":true,"data":{"snapshot_uuid":"other"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.snapshot_uuid, "snap-1");
    EXPECT_EQ(client.toString(), Root("set_snapshot") + " ," + Family("") + tail);
    FailByNode();
    EXPECT_EQ(client.send(), 18990211);
}

// clone_snapshot

TEST_F(LUNSnapshotClient, CloneSnapshotIsValidWithNodeSourceSnapshotAndName)
{
    EXPECT_FALSE(WebAPIClientLUNCloneSnapshot(Node(), "lun-1", "snap-1", "copy", "", "").isInvalid());
    ExpectRefused(WebAPIClientLUNCloneSnapshot(NoNode(), "lun-1", "snap-1", "copy", "", ""));
    ExpectRefused(WebAPIClientLUNCloneSnapshot(Node(), "", "snap-1", "copy", "", ""));
    ExpectRefused(WebAPIClientLUNCloneSnapshot(Node(), "lun-1", "", "copy", "", ""));
    ExpectRefused(WebAPIClientLUNCloneSnapshot(Node(), "lun-1", "snap-1", "", "", ""));
}

TEST_F(LUNSnapshotClient, CloneSnapshotSendsTheCloneTypeAlwaysAndTheSerialNumberWhenGiven)
{
    WebAPIClientLUNCloneSnapshot plain(Node(), "lun-1", "snap-1", "copy", "", "");
    EXPECT_EQ(plain.send(), 0);
    EXPECT_EQ(SentByNode(), Sent("clone_snapshot", R"({"clone_type":"","cloned_lun_name":"copy",)"
                                                   R"("snapshot_uuid":"snap-1","src_lun_uuid":"lun-1"})"));
    WebAPIClientLUNCloneSnapshot full(Node(), "lun-1", "snap-1", "copy", "CINDER", "SN-4");
    EXPECT_EQ(full.send(), 0);
    EXPECT_EQ(SentParams(), R"({"clone_type":"CINDER","cloned_lun_name":"copy","snapshot_uuid":"snap-1",)"
                            R"("src_lun_uuid":"lun-1","vpd_unit_sn":"SN-4"})");
}

TEST_F(LUNSnapshotClient, CloneSnapshotReadsTheClonedLUNsUuidUnlessTheSendFails)
{
    WebAPIClientLUNCloneSnapshot client(Node(), "lun-1", "snap-1", "copy", "", "");
    ReplyByNode(R"({"success":false,"error":{"code":18990598},"data":{"cloned_lun_uuid":"lun-new"}})");
    EXPECT_EQ(client.send(), 18990598);
    EXPECT_EQ(client.cloned_lun_uuid, "");
    ReplyByNode(R"({"success":true,"data":{"cloned_lun_uuid":["lun-new"]}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.cloned_lun_uuid, "");
    ReplyByNode(R"({"success":true,"data":{"cloned_lun_uuid":"lun-new"}})");
    EXPECT_EQ(client.send(), 0);
    EXPECT_EQ(client.cloned_lun_uuid, "lun-new");
}

TEST_F(LUNSnapshotClient, CloneSnapshotTextShowsSnapshotAndName)
{
    WebAPIClientLUNCloneSnapshot client(Node(), "lun-1", "snap-1", "copy", "", "");
    const std::string tail = " ,[snapshot_uuid: snap-1 ,cloned_lun_name: copy] ,[Response: ]";
    EXPECT_EQ(client.toString(), Unsent() + " ," + Family("lun-1") + tail);
    client.send();
    EXPECT_EQ(client.toString(), Root("clone_snapshot") + " ," + Family("lun-1") + tail);
}
