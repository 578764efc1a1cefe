// send_snapshot, stop_sending, promote and demote against the recording double: what reaches
// the storage library, what the caller gets back, and what the system log shows.
#include "HandlerTest.h"

#include "replication/WebAPIServerReplication.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace {

using namespace ISCSI::WebAPI::APIReplication;
using KOVATest::Answer;

const char TASK_ID[] = "task-7";
const char TASK[] = "7a5c0000-0000-4000-8000-000000000007";
const char SNAP_ID[] = "snap-3";
const char SNAP[] = "5a900000-0000-4000-8000-000000000003";
const char LUN_ID[] = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";
const char LUN[] = "1c0e0000-0000-4000-8000-0000000000aa";

using KOVATest::Params;
using KOVATest::With;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerReplication.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerReplication.cpp", function, code, params);
}

const std::string SEND = Params({{"uuid", TASK_ID}, {"snapshot_uuid", SNAP_ID}, {"dst_address", "10.0.0.2"}});

class ReplicationSendingTest : public KOVATest::HandlerTest {
protected:
    // Scripts the resolvers to turn the request's identifiers into canonical ones.
    void ResolveAll()
    {
        Lib().Script("ISCSITaskInfo::GetTaskUuid", 0, Params({{"uuid", TASK}}));
        Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 0, Params({{"uuid", SNAP}}));
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", LUN}}));
    }
    // The arguments of the one sendSnapshot call, as compact JSON.
    std::string SendArgs()
    {
        const auto calls = Lib().CallsOf("ISCSILIBReplication::sendSnapshot");
        return calls.size() == 1 ? KOVA::toString(calls[0].args) : "no single call";
    }
};

// send_snapshot

TEST_F(ReplicationSendingTest, SendSnapshotResolvesTaskSnapshotAndLUNAndSendsWithTheCanonicalForms)
{
    ResolveAll();
    const std::string params =
        With(SEND, {{"lun_uuid", LUN_ID}, {"dst_port", 3270}, {"dst_snap_name", "s1"}});
    auto r = Call(SendSnapshot, params);
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), std::string("ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                                      "ISCSISnapshotInfo::GetSnapshotUuid([\"snap-3\",\"\"])\n"
                                      "ISCSILUNInfo::GetLunUuid([\"") +
                              LUN_ID + "\",\"\"])\nISCSILIBReplication::ISCSILIBReplication([\"" + TASK +
                              "\"])\nISCSILIBReplication::sendSnapshot([\"" + LUN + "\",0,\"" + SNAP +
                              "\",\"10.0.0.2\",3270,\"s1\"])\n");
    EXPECT_EQ(Log(), DebugLine("SendSnapshot", params));
}

TEST_F(ReplicationSendingTest, SendSnapshotWithoutDstPortSendsToPort3261)
{
    Call(SendSnapshot, SEND);
    EXPECT_EQ(SendArgs(), R"(["",0,"","10.0.0.2",3261,""])");
}

TEST_F(ReplicationSendingTest, SendSnapshotWithBothFlagsAbsentHandsFlags0)
{
    Call(SendSnapshot, SEND);
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::sendSnapshot")[0].args[1].asInt(), 0);
}

TEST_F(ReplicationSendingTest, SendSnapshotWithFullSyncRefusedAndDataEncryptedHandsFlags0x28)
{
    Call(SendSnapshot, With(SEND, {{"is_full_sync_allowed", false}, {"is_data_encrypted", true}}));
    EXPECT_EQ(Lib().CallsOf("ISCSILIBReplication::sendSnapshot")[0].args[1].asInt(), 0x28);
}

TEST_F(ReplicationSendingTest, SendSnapshotSetsBit0x20OnlyWhenFullSyncIsRefused)
{
    Call(SendSnapshot, With(SEND, {{"is_full_sync_allowed", true}, {"is_data_encrypted", false}}));
    Call(SendSnapshot, With(SEND, {{"is_full_sync_allowed", false}}));
    Call(SendSnapshot, With(SEND, {{"is_data_encrypted", true}}));
    const auto calls = Lib().CallsOf("ISCSILIBReplication::sendSnapshot");
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].args[1].asInt(), 0);
    EXPECT_EQ(calls[1].args[1].asInt(), 0x20);
    EXPECT_EQ(calls[2].args[1].asInt(), 0x08);
}

TEST_F(ReplicationSendingTest, SendSnapshotWithDstPort0Answers18990847)
{
    EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{"dst_port", 0}}))), "error 18990847");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationSendingTest, SendSnapshotWithSrcPort0Answers18990846ThoughTheSourcePortHasNoUse)
{
    EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{"src_port", 0}}))), "error 18990846");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ReplicationSendingTest, SendSnapshotChecksButDoesNotPassOnTheSourceAddressAndPort)
{
    Call(SendSnapshot, With(SEND, {{"src_address", "10.0.0.1"}, {"src_port", 4000}}));
    EXPECT_EQ(SendArgs(), R"(["",0,"","10.0.0.2",3261,""])");
}

TEST_F(ReplicationSendingTest, SendSnapshotWithAnEmptySourceAddressAnswers18990844AndWithoutOneGoesOn)
{
    EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{"src_address", ""}}))), "error 18990844");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Answer(Call(SendSnapshot, SEND)), "success null");
}

TEST_F(ReplicationSendingTest, SendSnapshotWithAnEmptyDestinationSnapshotNameAnswers18990902)
{
    EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{"dst_snap_name", ""}}))), "error 18990902");
}

TEST_F(ReplicationSendingTest, SendSnapshotChecksInTheOrderOfItsParameters)
{
    const std::string allBad = Params({{"uuid", ""},
                                       {"snapshot_uuid", ""},
                                       {"src_address", ""},
                                       {"dst_address", ""},
                                       {"src_port", 0},
                                       {"dst_port", 0},
                                       {"is_full_sync_allowed", "no"},
                                       {"is_data_encrypted", "no"},
                                       {"dst_snap_name", ""},
                                       {"lun_uuid", "bad"}});
    const struct {
        const char* fix;
        Json::Value good;
        int code;
    } steps[] = {{"uuid", TASK_ID, 18990831},
                 {"snapshot_uuid", SNAP_ID, 18990520},
                 {"src_address", "10.0.0.1", 18990844},
                 {"dst_address", "10.0.0.2", 18990845},
                 {"src_port", 1, 18990846},
                 {"dst_port", 2, 18990847},
                 {"is_full_sync_allowed", true, 18990848},
                 {"is_data_encrypted", true, 18990849},
                 {"dst_snap_name", "s", 18990902},
                 {"lun_uuid", LUN_ID, 18990505}};
    std::string params = allBad;
    for (const auto& step : steps) {
        EXPECT_EQ(Answer(Call(SendSnapshot, params)), "error " + std::to_string(step.code)) << step.fix;
        params = With(params, {{step.fix, step.good}});
    }
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Answer(Call(SendSnapshot, params)), "success null");
}

TEST_F(ReplicationSendingTest, SendSnapshotRefusesEachParameterOfTheWrongJsonTypeWithItsCode)
{
    const struct {
        const char* name;
        Json::Value wrong;
        int code;
    } cases[] = {{"uuid", 1, 18990831},
                 {"snapshot_uuid", 1, 18990520},
                 {"src_address", 1, 18990844},
                 {"dst_address", 1, 18990845},
                 {"src_port", "1", 18990846},
                 {"dst_port", -1, 18990847},
                 {"is_full_sync_allowed", 1, 18990848},
                 {"is_data_encrypted", "true", 18990849},
                 {"dst_snap_name", 1, 18990902},
                 {"lun_uuid", 1, 18990505}};
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{c.name, c.wrong}}))),
                  "error " + std::to_string(c.code))
            << c.name;
        EXPECT_EQ(LibCalls(), "") << c.name;
    }
}

TEST_F(ReplicationSendingTest, SendSnapshotWithoutItsRequiredParametersAnswersTheirCodes)
{
    EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{"uuid", Json::Value()}}))), "error 18990831");
    EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{"snapshot_uuid", Json::Value()}}))), "error 18990520");
    EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{"dst_address", Json::Value()}}))), "error 18990845");
}

TEST_F(ReplicationSendingTest, SendSnapshotStopsAtTheFirstIdentifierThatDoesNotResolve)
{
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990520);
    EXPECT_EQ(Answer(Call(SendSnapshot, With(SEND, {{"lun_uuid", LUN_ID}}))), "error 18990520");
    EXPECT_EQ(LibCalls(), "ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                          "ISCSISnapshotInfo::GetSnapshotUuid([\"snap-3\",\"\"])\n");
}

TEST_F(ReplicationSendingTest, SendSnapshotWhoseLibraryCallReturns18990811AnswersItWithNoErrorLine)
{
    Lib().Script("ISCSILIBReplication::sendSnapshot", 18990811);
    auto r = Call(SendSnapshot, SEND);
    EXPECT_EQ(Answer(r), "error 18990811");
    EXPECT_EQ(Log(), DebugLine("SendSnapshot", SEND));
}

TEST_F(ReplicationSendingTest, SendSnapshotWritesTheErrorLineForEveryOtherLibraryCode)
{
    Lib().Script("ISCSILIBReplication::sendSnapshot", 18990812);
    EXPECT_EQ(Answer(Call(SendSnapshot, SEND)), "error 18990812");
    EXPECT_EQ(Log(), DebugLine("SendSnapshot", SEND) + ErrorLine("SendSnapshot", 18990812, SEND));
}

TEST_F(ReplicationSendingTest, ARefusedSendSnapshotWritesTheDebugLineThenTheErrorLine)
{
    const std::string params = With(SEND, {{"dst_port", 0}});
    Call(SendSnapshot, params);
    EXPECT_EQ(Log(), DebugLine("SendSnapshot", params) + ErrorLine("SendSnapshot", 18990847, params));
}

// stop_sending, promote, demote

struct TaskLUNMethod {
    const char* function;
    KOVA::APIHandler handler;
    const char* operation;
    int badUuidCode;
};

const TaskLUNMethod TaskLUNMethods[] = {
    {"StopSending", StopSending, "ISCSILIBReplication::stopSending", 18990819},
    {"Promote", Promote, "ISCSILIBReplication::promote", 18990831},
    {"Demote", Demote, "ISCSILIBReplication::demote", 18990831},
};

TEST_F(ReplicationSendingTest, StopSendingPromoteAndDemoteResolveTaskThenLUNAndCallTheirOperationOnTheLUN)
{
    for (const TaskLUNMethod& m : TaskLUNMethods) {
        SetUp();
        Lib().Script("ISCSITaskInfo::GetTaskUuid", 0, Params({{"uuid", TASK}}));
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Params({{"uuid", LUN}}));
        const std::string params = Params({{"uuid", TASK_ID}, {"lun_uuid", LUN_ID}});
        auto r = Call(m.handler, params);
        EXPECT_EQ(Answer(r), "success null") << m.function;
        EXPECT_EQ(LibCalls(), std::string("ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n"
                                          "ISCSILUNInfo::GetLunUuid([\"") +
                                  LUN_ID + "\",\"\"])\nISCSILIBReplication::ISCSILIBReplication([\"" + TASK +
                                  "\"])\n" + m.operation + "([\"" + LUN + "\"])\n")
            << m.function;
        EXPECT_EQ(Log(), DebugLine(m.function, params));
    }
}

TEST_F(ReplicationSendingTest, StopSendingPromoteAndDemoteWithoutLUNPassTheEmptyLUN)
{
    for (const TaskLUNMethod& m : TaskLUNMethods) {
        SetUp();
        Call(m.handler, Params({{"uuid", TASK_ID}}));
        ASSERT_EQ(Lib().CallsOf(m.operation).size(), 1u) << m.function;
        EXPECT_EQ(KOVA::toString(Lib().CallsOf(m.operation)[0].args), R"([""])") << m.function;
    }
}

TEST_F(ReplicationSendingTest, StopSendingWithAnEmptyUuidAnswers18990819AndPromoteAndDemote18990831)
{
    for (const TaskLUNMethod& m : TaskLUNMethods) {
        SetUp();
        const std::string params = Params({{"uuid", ""}});
        EXPECT_EQ(Answer(Call(m.handler, params)), "error " + std::to_string(m.badUuidCode)) << m.function;
        EXPECT_EQ(LibCalls(), "");
        EXPECT_EQ(Log(), DebugLine(m.function, params) + ErrorLine(m.function, m.badUuidCode, params));
    }
}

TEST_F(ReplicationSendingTest, StopSendingPromoteAndDemoteCheckTheTaskBeforeTheLUN)
{
    for (const TaskLUNMethod& m : TaskLUNMethods) {
        SetUp();
        EXPECT_EQ(Answer(Call(m.handler, Params({{"lun_uuid", "bad"}}))),
                  "error " + std::to_string(m.badUuidCode))
            << m.function;
        EXPECT_EQ(Answer(Call(m.handler, Params({{"uuid", TASK_ID}, {"lun_uuid", "bad"}}))), "error 18990505")
            << m.function;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(ReplicationSendingTest, StopSendingPromoteAndDemoteRefuseParametersOfTheWrongJsonType)
{
    for (const TaskLUNMethod& m : TaskLUNMethods) {
        SetUp();
        EXPECT_EQ(Answer(Call(m.handler, Params({{"uuid", 7}}))), "error " + std::to_string(m.badUuidCode))
            << m.function;
        EXPECT_EQ(Answer(Call(m.handler, Params({{"uuid", TASK_ID}, {"lun_uuid", true}}))), "error 18990505")
            << m.function;
        EXPECT_EQ(LibCalls(), "");
    }
}

TEST_F(ReplicationSendingTest, StopSendingPromoteAndDemoteStopAtATaskThatDoesNotResolve)
{
    for (const TaskLUNMethod& m : TaskLUNMethods) {
        SetUp();
        Lib().Script("ISCSITaskInfo::GetTaskUuid", 18990831);
        EXPECT_EQ(Answer(Call(m.handler, Params({{"uuid", TASK_ID}, {"lun_uuid", LUN_ID}}))),
                  "error 18990831")
            << m.function;
        EXPECT_EQ(LibCalls(), "ISCSITaskInfo::GetTaskUuid([\"task-7\",\"\"])\n") << m.function;
    }
}

TEST_F(ReplicationSendingTest, StopSendingPromoteAndDemotePassALibraryFailureOnWithAnErrorLine)
{
    for (const TaskLUNMethod& m : TaskLUNMethods) {
        SetUp();
        Lib().Script(m.operation, 18990811);
        const std::string params = Params({{"uuid", TASK_ID}});
        EXPECT_EQ(Answer(Call(m.handler, params)), "error 18990811") << m.function;
        EXPECT_EQ(Log(), DebugLine(m.function, params) + ErrorLine(m.function, 18990811, params));
    }
}

} // namespace
