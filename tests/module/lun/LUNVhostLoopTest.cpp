// Vhost mappings of a LUN, local and through portals, and loop mounts against the recording
// double: what reaches the storage library, what the caller gets back, and what the system log
// shows.
#include "LUNHandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;
using namespace KOVATest::LUNTests;

class LUNVhostLoopTest : public LUNHandlerTest {};

const std::string RESOLVE = "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n";

// map_vhost

TEST_F(LUNVhostLoopTest, MapVhostWithoutPortalsAndWithoutRodKeyMapsTheLUNLocallyAndAnswersTheInterface)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::localMapVhost", 0, Out("vhost_interface", "vhost3"));
    const std::string params = R"({"src_lun_uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(MapVhost, params)), R"(success {"vhost_interface":"vhost3"})");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::localMapVhost([\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("MapVhost", params));
}

TEST_F(LUNVhostLoopTest, MapVhostOnTheLocalWayIgnoresRodKeyAndOutgoingInterfaceOfAnyType)
{
    ResolveLun();
    auto r = Call(MapVhost, R"({"src_lun_uuid":"lun1","rod_key":5,"outgoing_interface":[]})");
    EXPECT_EQ(Answer(r), R"(success {"vhost_interface":""})");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::localMapVhost([\"\"])\n");
}

TEST_F(LUNVhostLoopTest, MapVhostWithPortalsMapsThroughThemSortedWithKeyAndOutgoingInterface)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::remoteMapVhost", 0, Out("vhost_interface", "vhost7"));
    const std::string params = R"({"src_lun_uuid":"lun1","portals":["10.0.0.9:3260","10.0.0.1:3260"],
                                   "rod_key":"K3Y","outgoing_interface":"eth1"})";
    EXPECT_EQ(Answer(Call(MapVhost, params)), R"(success {"vhost_interface":"vhost7"})");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::remoteMapVhost([\"" + LUN_UUID +
                              "\",[\"10.0.0.1:3260\",\"10.0.0.9:3260\"],\"K3Y\",\"eth1\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("MapVhost", params));
}

TEST_F(LUNVhostLoopTest, MapVhostWithTheSamePortalTwiceGivesTheLibraryASetOfOne)
{
    ResolveLun();
    Call(MapVhost, R"({"src_lun_uuid":"lun1","portals":["10.0.0.1:3260","10.0.0.1:3260"],"rod_key":"k"})");
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::remoteMapVhost")[0].args[1]),
              R"(["10.0.0.1:3260"])");
}

TEST_F(LUNVhostLoopTest, MapVhostWithoutOutgoingInterfaceOrWithOneOfTheWrongTypeGoesOutOnAnyInterface)
{
    for (const char* outgoing : {"", "7"}) {
        SetUp();
        ResolveLun();
        auto r = Call(MapVhost, With(R"({"src_lun_uuid":"lun1","portals":["p"],"rod_key":"k"})",
                                     "outgoing_interface", outgoing));
        EXPECT_TRUE(r.HasSuccess()) << outgoing;
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::remoteMapVhost")[0].args[3].asString(), "") << outgoing;
    }
}

TEST_F(LUNVhostLoopTest, MapVhostWithPortalsButNoRodKeyAnswers18991119AfterResolvingTheLUN)
{
    ResolveLun();
    const std::string params = R"({"src_lun_uuid":"lun1","portals":["p"]})";
    EXPECT_EQ(Answer(Call(MapVhost, params)), "error 18991119");
    EXPECT_EQ(LibCalls(), RESOLVE);
    EXPECT_EQ(Log(), DebugLine("MapVhost", params) + ErrorLine("MapVhost", 18991119, params));
}

TEST_F(LUNVhostLoopTest, MapVhostCountsARodKeyThatIsGivenWhateverItsValue)
{
    for (const char* rodKey : {R"("")", "42"}) {
        SetUp();
        ResolveLun();
        auto r = Call(MapVhost, With(R"({"src_lun_uuid":"lun1","portals":["p"]})", "rod_key", rodKey));
        EXPECT_TRUE(r.HasSuccess()) << rodKey;
        EXPECT_EQ(Lib().CallsOf("ISCSILIBLUN::remoteMapVhost")[0].args[2].asString(), "") << rodKey;
    }
}

TEST_F(LUNVhostLoopTest, MapVhostOfAnUnknownLUNAnswersTheResolversCodeEvenWithoutRodKey)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(MapVhost, R"({"src_lun_uuid":"lun1","portals":["p"]})")), "error 18990501");
    EXPECT_EQ(LibCalls(), RESOLVE);
}

TEST_F(LUNVhostLoopTest, MapVhostPassesALibraryFailureOnWithoutTheInterface)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::localMapVhost", 18991120, Out("vhost_interface", "vhost3"));
    auto r = Call(MapVhost, R"({"src_lun_uuid":"lun1"})");
    EXPECT_EQ(Answer(r), "error 18991120");
    EXPECT_FALSE(r.HasSuccess());
    SetUp();
    ResolveLun();
    Lib().Script("ISCSILIBLUN::remoteMapVhost", 18991121);
    EXPECT_EQ(Answer(Call(MapVhost, R"({"src_lun_uuid":"lun1","portals":["p"],"rod_key":"k"})")),
              "error 18991121");
}

TEST_F(LUNVhostLoopTest, MapVhostRefusesABadLUNAndPortalsThatAreNoArrayOrEmpty)
{
    ExpectRefusals(MapVhost, "MapVhost", true, R"({"src_lun_uuid":"lun1","rod_key":"k"})",
                   {{"src_lun_uuid", "", 18990505},
                    {"src_lun_uuid", R"("")", 18990505},
                    {"src_lun_uuid", "5", 18990505},
                    {"portals", "[]", 18990402},
                    {"portals", R"("10.0.0.1:3260")", 18990402},
                    {"portals", R"({"a":"b"})", 18990402},
                    {"portals", "null", 18990402}});
}

TEST_F(LUNVhostLoopTest, MapVhostChecksTheLUNBeforeThePortals)
{
    ExpectCheckOrder(MapVhost, R"({"portals":[]})",
                     {{"src_lun_uuid", R"("lun1")", 18990505}, {"portals", R"(["p"])", 18990402}});
}

// unmap_vhost

TEST_F(LUNVhostLoopTest, UnmapVhostWithoutPortalsUnmapsTheLUNLocally)
{
    ResolveLun();
    const std::string params = R"({"src_lun_uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(UnmapVhost, params)), "success null");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::localUnmapVhost([])\n");
    EXPECT_EQ(Log(), DebugLine("UnmapVhost", params));
}

TEST_F(LUNVhostLoopTest, UnmapVhostWithPortalsUnmapsTheRemoteMappingByTheLUNAlone)
{
    ResolveLun();
    const std::string params = R"({"src_lun_uuid":"lun1","portals":["10.0.0.9:3260","10.0.0.1:3260"]})";
    EXPECT_EQ(Answer(Call(UnmapVhost, params)), "success null");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::remoteUnmapVhost([\"" + LUN_UUID + "\"])\n");
    EXPECT_EQ(Log(), DebugLine("UnmapVhost", params));
}

TEST_F(LUNVhostLoopTest, UnmapVhostWithAnEmptyPortalsArrayAnswers18990402AndCallsNothing)
{
    const std::string params = R"({"src_lun_uuid":"lun1","portals":[]})";
    EXPECT_EQ(Answer(Call(UnmapVhost, params)), "error 18990402");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), DebugLine("UnmapVhost", params) + ErrorLine("UnmapVhost", 18990402, params));
}

TEST_F(LUNVhostLoopTest, UnmapVhostOfAnUnknownLUNAnswersTheResolversCode)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(UnmapVhost, R"({"src_lun_uuid":"lun1","portals":["p"]})")), "error 18990501");
    EXPECT_EQ(LibCalls(), RESOLVE);
}

TEST_F(LUNVhostLoopTest, UnmapVhostPassesALibraryFailureOn)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::localUnmapVhost", 18991122);
    EXPECT_EQ(Answer(Call(UnmapVhost, R"({"src_lun_uuid":"lun1"})")), "error 18991122");
    SetUp();
    ResolveLun();
    Lib().Script("ISCSILIBLUN::remoteUnmapVhost", 18991123);
    EXPECT_EQ(Answer(Call(UnmapVhost, R"({"src_lun_uuid":"lun1","portals":["p"]})")), "error 18991123");
}

TEST_F(LUNVhostLoopTest, UnmapVhostRefusesABadLUNAndPortalsThatAreNoArray)
{
    ExpectRefusals(UnmapVhost, "UnmapVhost", true, R"({"src_lun_uuid":"lun1"})",
                   {{"src_lun_uuid", "", 18990505},
                    {"src_lun_uuid", R"("")", 18990505},
                    {"src_lun_uuid", "[]", 18990505},
                    {"portals", R"("p")", 18990402},
                    {"portals", "{}", 18990402}});
}

TEST_F(LUNVhostLoopTest, UnmapVhostChecksTheLUNBeforeThePortals)
{
    ExpectCheckOrder(UnmapVhost, R"({"portals":7})",
                     {{"src_lun_uuid", R"("lun1")", 18990505}, {"portals", "", 18990402}});
}

// loop_mount and loop_unmount

TEST_F(LUNVhostLoopTest, LoopMountAttachesTheLUNAndAnswersTheDevicePath)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::loopMount", 0, Out("loop_dev_path", "/dev/loop4"));
    const std::string params = R"({"uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(LoopMount, params)), R"(success {"loop_dev_path":"/dev/loop4"})");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::loopMount([\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("LoopMount", params));
}

TEST_F(LUNVhostLoopTest, LoopMountOfAnUnknownLUNAnswersTheResolversCodeAndNoDevicePath)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    const std::string params = R"({"uuid":"lun1"})";
    auto r = Call(LoopMount, params);
    EXPECT_EQ(Answer(r), "error 18990501");
    EXPECT_FALSE(r.GetData().isMember("loop_dev_path"));
    EXPECT_EQ(LibCalls(), RESOLVE);
    EXPECT_EQ(Log(), DebugLine("LoopMount", params) + ErrorLine("LoopMount", 18990501, params));
}

TEST_F(LUNVhostLoopTest, LoopMountPassesALibraryFailureOnWithoutTheDevicePath)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::loopMount", 18991124, Out("loop_dev_path", "/dev/loop4"));
    auto r = Call(LoopMount, R"({"uuid":"lun1"})");
    EXPECT_EQ(Answer(r), "error 18991124");
    EXPECT_FALSE(r.HasSuccess());
}

TEST_F(LUNVhostLoopTest, LoopUnmountDetachesTheLUNsLoopDevice)
{
    ResolveLun();
    const std::string params = R"({"uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(LoopUnmount, params)), "success null");
    EXPECT_EQ(LibCalls(), RESOLVE + LunObject() + "ISCSILIBLUN::loopUnmount([])\n");
    EXPECT_EQ(Log(), DebugLine("LoopUnmount", params));
}

TEST_F(LUNVhostLoopTest, LoopUnmountOfAnUnknownLUNOrAFailedUnmountAnswersTheCode)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(LoopUnmount, R"({"uuid":"lun1"})")), "error 18990501");
    EXPECT_EQ(LibCalls(), RESOLVE);
    SetUp();
    ResolveLun();
    Lib().Script("ISCSILIBLUN::loopUnmount", 18991125);
    EXPECT_EQ(Answer(Call(LoopUnmount, R"({"uuid":"lun1"})")), "error 18991125");
}

TEST_F(LUNVhostLoopTest, LoopMountAndUnmountRefuseAMissingEmptyOrWronglyTypedUuid)
{
    const std::vector<Refusal> refusals = {
        {"uuid", "", 18990505}, {"uuid", R"("")", 18990505}, {"uuid", "5", 18990505}};
    ExpectRefusals(LoopMount, "LoopMount", true, R"({"uuid":"lun1"})", refusals);
    ExpectRefusals(LoopUnmount, "LoopUnmount", true, R"({"uuid":"lun1"})", refusals);
}

} // namespace
