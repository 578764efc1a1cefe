// The local node's methods against the recording double: create with its node uuid, get with
// the words of "additional", and set with its settings applied one after another.
#include "HandlerTest.h"

#include "etc/WebAPITable.h"
#include "node/WebAPIServerNode.h"

#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APINode;
using KOVATest::Answer;

// The JSON form of a default node record, as the double logs the record an operation runs on.
const char LOCAL_NODE[] = R"({"account":"","hostname":"","is_local_node":false,"port":0,"protocol":"",)"
                          R"("rod_key":"","session_id":"","uuid":""})";

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerNode.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerNode.cpp", function, code, params);
}

// create

const char CREATE_PARAMS[] = R"({"hostname":"nas2.example","port":5001,"protocol":"https","rod_key":"rk-9",)"
                             R"("account":"admin","password":"s3cret","otp_code":"123456"})";

// The node uuid that the standard generator draws from seed: a hexadecimal digit from each
// draw, and hyphens between the groups.
std::string UuidOfSeed(std::uint32_t seed)
{
    srand(seed);
    std::string uuid;
    for (int position = 0; position < 36; ++position) {
        if (position == 8 || position == 13 || position == 18 || position == 23)
            uuid += '-';
        else
            uuid += "0123456789abcdef"[rand() % 16];
    }
    return uuid;
}

// More node uuids than this process ever creates: the range the creation counter lies in.
const std::uint32_t MAX_CREATIONS = 10000;

// The seed in [low, high] from which uuid was drawn.
bool FindSeed(const std::string& uuid, std::uint32_t low, std::uint32_t high, std::uint32_t& seed)
{
    for (std::uint32_t n = 0; n <= high - low; ++n) {
        if (UuidOfSeed(low + n) == uuid) {
            seed = low + n;
            return true;
        }
    }
    return false;
}

std::uint32_t Now()
{
    return static_cast<std::uint32_t>(time(nullptr));
}

bool HasUuidForm(const std::string& uuid)
{
    if (uuid.size() != 36)
        return false;
    for (std::size_t i = 0; i < uuid.size(); ++i) {
        const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
        if (hyphen ? uuid[i] != '-'
                   : !std::isxdigit(static_cast<unsigned char>(uuid[i])) || std::isupper(uuid[i]))
            return false;
    }
    return true;
}

class NodeCreateTest : public KOVATest::HandlerTest {
protected:
    // Creates a node and answers the uuid of the reply.
    std::string CreateNode(const std::string& params = CREATE_PARAMS)
    {
        KOVA::APIResponse r = Call(Create, params);
        EXPECT_TRUE(r.HasSuccess()) << Answer(r);
        return r.GetData()["uuid"].asString();
    }
};

TEST_F(NodeCreateTest, CreateBuildsTheNodeFromTheConnectionDataAndAnswersItsNewUuid)
{
    auto r = Call(Create, CREATE_PARAMS);
    const std::string uuid = r.GetData()["uuid"].asString();
    EXPECT_EQ(Answer(r), R"(success {"uuid":")" + uuid + "\"}");
    EXPECT_EQ(LibCalls(),
              "KLIBGetSerialNumber([1024])\n"
              "ISCSILIBNode::ISCSILIBNode([\"" +
                  uuid +
                  "\",\"nas2.example\",5001,\"https\",\"rk-9\",\"admin\",\"s3cret\",\"123456\"])\n"
                  "ISCSILIBNode::createNode([])\n");
}

TEST_F(NodeCreateTest, CreateWithoutOtpCodeHandsTheEmptyCodeToTheLibrary)
{
    Call(Create, R"({"hostname":"h","port":1,"protocol":"http","rod_key":"k","account":"a","password":"p"})");
    const auto calls = Lib().CallsOf("ISCSILIBNode::ISCSILIBNode");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(KOVA::toString(calls[0].args[7]), "\"\"");
    EXPECT_EQ(calls[0].args[2].asInt(), 1);
}

TEST_F(NodeCreateTest, CreateWithAnEmptyOtpCodeAnswers18991107WithoutMakingAUuid)
{
    auto r = Call(Create, R"({"hostname":"h","port":1,"protocol":"http","rod_key":"k","account":"a",)"
                          R"("password":"p","otp_code":""})");
    EXPECT_EQ(Answer(r), "error 18991107");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(NodeCreateTest, CreateLogsPasswordOtpCodeAndRodKeyAsTheyCame)
{
    Call(Create, CREATE_PARAMS);
    EXPECT_EQ(Log(),
              DebugLine("Create", R"({"account":"admin","hostname":"nas2.example","otp_code":"123456",)"
                                  R"("password":"s3cret","port":5001,"protocol":"https","rod_key":"rk-9"})"));
}

TEST_F(NodeCreateTest, CreatePassesACreateNodeFailureOnWithTheDebugAndTheErrorLine)
{
    Lib().Script("ISCSILIBNode::createNode", 18990204);
    auto r = Call(Create,
                  R"({"hostname":"h","port":1,"protocol":"p","rod_key":"k","account":"a","password":"w"})");
    EXPECT_EQ(Answer(r), "error 18990204");
    const std::string params =
        R"({"account":"a","hostname":"h","password":"w","port":1,"protocol":"p","rod_key":"k"})";
    EXPECT_EQ(Log(), DebugLine("Create", params) + ErrorLine("Create", 18990204, params));
}

TEST_F(NodeCreateTest, EachParameterMissingEmptyOrOfTheWrongTypeAnswersItsOwnCode)
{
    const std::vector<std::pair<std::string, int>> names = {
        {"hostname", 18991101}, {"port", 18991102},     {"protocol", 18991103}, {"rod_key", 18991104},
        {"account", 18991105},  {"password", 18991106}, {"otp_code", 18991107},
    };
    for (const auto& name : names) {
        for (const char* value : {"absent", "\"\"", "7", "true", "[\"x\"]", "null"}) {
            if (name.first == "otp_code" && std::string(value) == "absent")
                continue;
            if (name.first == "port" && std::string(value) == "7")
                continue;
            Json::Value params = KOVATest::ParseJson(CREATE_PARAMS);
            if (std::string(value) == "absent")
                params.removeMember(name.first);
            else
                params[name.first] = KOVATest::ParseJson(value);
            SetUp();
            EXPECT_EQ(Answer(Call(Create, KOVA::toString(params))), "error " + std::to_string(name.second))
                << name.first << "=" << value;
            EXPECT_EQ(LibCalls(), "") << name.first << "=" << value;
        }
    }
}

TEST_F(NodeCreateTest, APortOutside1To65535Answers18991102AndBothEndsPass)
{
    for (const char* port : {"0", "65536", "-1"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(Create, R"({"hostname":"h","port":)" + std::string(port) +
                                          R"(,"protocol":"p","rod_key":"k","account":"a","password":"w"})")),
                  "error 18991102")
            << port;
    }
    for (const char* port : {"1", "65535"}) {
        SetUp();
        Call(Create, R"({"hostname":"h","port":)" + std::string(port) +
                         R"(,"protocol":"p","rod_key":"k","account":"a","password":"w"})");
        ASSERT_EQ(Lib().CallsOf("ISCSILIBNode::ISCSILIBNode").size(), 1u) << port;
        EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBNode::ISCSILIBNode")[0].args[2]), port);
    }
}

TEST_F(NodeCreateTest, TheFirstInvalidParameterInReadingOrderDecidesTheCode)
{
    EXPECT_EQ(Answer(Call(Create, R"({"port":0,"password":""})")), "error 18991101");
    EXPECT_EQ(Answer(Call(Create, R"({"hostname":"h","port":0,"password":""})")), "error 18991102");
    EXPECT_EQ(Answer(Call(Create, R"({"hostname":"h","port":1,"account":"","otp_code":""})")),
              "error 18991103");
    EXPECT_EQ(Answer(Call(Create, R"({"hostname":"h","port":1,"protocol":"p","password":""})")),
              "error 18991104");
    EXPECT_EQ(Answer(Call(Create, R"({"hostname":"h","port":1,"protocol":"p","rod_key":"k","otp_code":""})")),
              "error 18991105");
    EXPECT_EQ(Answer(Call(Create, R"({"hostname":"h","port":1,"protocol":"p","rod_key":"k","account":"a",)"
                                  R"("otp_code":""})")),
              "error 18991106");
}

TEST_F(NodeCreateTest, ARefusedCreateWritesTheDebugLineThenTheErrorLine)
{
    Call(Create, R"({"port":3})");
    EXPECT_EQ(Log(), DebugLine("Create", R"({"port":3})") + ErrorLine("Create", 18991101, R"({"port":3})"));
}

TEST_F(NodeCreateTest, TheGeneratedUuidHasLength36LowerCaseHexDigitsAndHyphensAt8And13And18And23)
{
    for (int i = 0; i < 20; ++i) {
        const std::string uuid = CreateNode();
        EXPECT_TRUE(HasUuidForm(uuid)) << uuid;
    }
}

TEST_F(NodeCreateTest, TwoCreatesInOneProcessMakeDifferentUuids)
{
    Lib().ScriptAlways("KLIBGetSerialNumber", 0, KOVATest::ParseJson(R"({"buffer":"KOVA-SN-2041A7"})"));
    const std::string first = CreateNode();
    const std::string second = CreateNode();
    EXPECT_NE(first, second);
}

TEST_F(NodeCreateTest, TheUuidIsDrawnFromTheSerialHashPlusCounterTimeAndProcessId)
{
    // The serial's hash: each byte added to twice the hash so far.
    const std::uint32_t serialHash = 1240989u;
    Lib().Script("KLIBGetSerialNumber", 0, R"({"buffer":"KOVA-SN-2041A7"})");
    const std::uint32_t before = Now();
    const std::string uuid = CreateNode();
    const std::uint32_t after = Now();
    const std::uint32_t base = serialHash + static_cast<std::uint32_t>(getpid());
    std::uint32_t seed = 0;
    EXPECT_TRUE(FindSeed(uuid, base + before + 1, base + after + MAX_CREATIONS, seed)) << uuid;
}

TEST_F(NodeCreateTest, TheSerialHashTakesBytesAsUnsigned)
{
    // "\u00e9-ABCDEFGH" is the bytes c3 a9 2d 41 ... 48; taken as signed the hash would differ.
    const std::uint32_t serialHash = 314550u;
    Lib().Script("KLIBGetSerialNumber", 0, R"({"buffer":"\u00e9-ABCDEFGH"})");
    const std::uint32_t before = Now();
    const std::string uuid = CreateNode();
    const std::uint32_t after = Now();
    const std::uint32_t base = serialHash + static_cast<std::uint32_t>(getpid());
    std::uint32_t seed = 0;
    EXPECT_TRUE(FindSeed(uuid, base + before + 1, base + after + MAX_CREATIONS, seed)) << uuid;
}

TEST_F(NodeCreateTest, TheSerialHashWrapsAt32Bits)
{
    // 49 bytes: only the last 32 still count in the hash.
    const std::uint32_t serialHash = 3149640605u;
    Lib().Script("KLIBGetSerialNumber", 0,
                 R"({"buffer":"KOVAKOVAKOVAKOVAKOVAKOVAKOVAKOVAKOVAKOVASN-2041A7"})");
    const std::uint32_t before = Now();
    const std::string uuid = CreateNode();
    const std::uint32_t after = Now();
    const std::uint32_t base = serialHash + static_cast<std::uint32_t>(getpid());
    std::uint32_t seed = 0;
    EXPECT_TRUE(FindSeed(uuid, base + before + 1, base + after + MAX_CREATIONS, seed)) << uuid;
}

TEST_F(NodeCreateTest, AFailingSerialNumberCallStillMakesAUuidSeededWithoutTheSerial)
{
    Lib().Script("KLIBGetSerialNumber", -1, R"({"buffer":"XYZ-SERIAL-0001"})");
    const std::uint32_t before = Now();
    auto r = Call(Create, CREATE_PARAMS);
    const std::uint32_t after = Now();
    ASSERT_TRUE(r.HasSuccess());
    const std::string uuid = r.GetData()["uuid"].asString();
    EXPECT_TRUE(HasUuidForm(uuid));
    const std::uint32_t base = static_cast<std::uint32_t>(getpid());
    std::uint32_t seed = 0;
    EXPECT_TRUE(FindSeed(uuid, base + before + 1, base + after + MAX_CREATIONS, seed)) << uuid;
    EXPECT_EQ(Log(),
              DebugLine("Create", R"({"account":"admin","hostname":"nas2.example","otp_code":"123456",)"
                                  R"("password":"s3cret","port":5001,"protocol":"https","rod_key":"rk-9"})"));
}

TEST_F(NodeCreateTest, TwoCreatesInTheSameSecondAreSeededOneApart)
{
    Lib().ScriptAlways("KLIBGetSerialNumber", 0, KOVATest::ParseJson(R"({"buffer":"KOVA-SN-2041A7"})"));
    const std::uint32_t base = 1240989u + static_cast<std::uint32_t>(getpid());
    for (int attempt = 0; attempt < 5; ++attempt) {
        const std::uint32_t before = Now();
        const std::string first = CreateNode();
        const std::string second = CreateNode();
        if (Now() != before)
            continue; // a second boundary fell between the calls; try again
        std::uint32_t firstSeed = 0;
        ASSERT_TRUE(FindSeed(first, base + before + 1, base + before + MAX_CREATIONS, firstSeed));
        EXPECT_EQ(UuidOfSeed(firstSeed + 1), second);
        return;
    }
    FAIL() << "no two creates within one second";
}

// get

class NodeGetTest : public KOVATest::HandlerTest {};

TEST_F(NodeGetTest, GetWithoutAdditionalAnswersExactlyRodKeyAndStatus)
{
    Lib().Script("ISCSINodeInfo::loadLocalRodKey", 0, R"({"rod_key":"local-rk"})");
    Lib().Script("ISCSILIBNode::getStatus", 2);
    auto r = Call(Get, "{}");
    EXPECT_EQ(Answer(r), R"(success {"rod_key":"local-rk","status":2})");
    EXPECT_EQ(LibCalls(), std::string("ISCSINodeInfo::loadLocalRodKey([") + LOCAL_NODE +
                              ",\"\"])\n"
                              "ISCSILIBNode::getStatus([])\n");
}

TEST_F(NodeGetTest, GetWritesNoDebugLine)
{
    Call(Get, R"({"additional":["isns_info"]})");
    EXPECT_EQ(Log(), "");
}

TEST_F(NodeGetTest, EpBufMappedSizeDropsRodKeyAndStatus)
{
    Lib().Script("ISCSILIBNode::getEpBufMapSize", 0,
                 R"({"ep_buf_mapped_size":[{"root_path":"/volume1","mapped_size":4096}]})");
    auto r = Call(Get, R"({"additional":["ep_buf_mapped_size"]})");
    EXPECT_EQ(Answer(r), R"(success {"ep_buf_mapped_size":[{"mapped_size":4096,"root_path":"/volume1"}]})");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::getEpBufMapSize([null])\n");
}

TEST_F(NodeGetTest, SubvolConvProgressDropsRodKeyAndStatusAndAnswersTheSevenProgressKeys)
{
    Lib().Script("ISCSILIBNode::getSubvolConvProgress", 0,
                 R"({"progress":{"total_size":8589934592,"done_size":4294967296,"total_number":10,)"
                 R"("done_number":4,"err_no":0,"status":"converting","uuid":"conv-1"}})");
    auto r = Call(Get, R"({"subvol_root_path":"/volume2","additional":["subvol_conv_progress"]})");
    EXPECT_EQ(Answer(r), R"(success {"done_number":4,"done_size":4294967296,"subvol_conv_errno":0,)"
                         R"("subvol_conv_status":"converting","subvol_conv_uuid":"conv-1","total_number":10,)"
                         R"("total_size":8589934592})");
    EXPECT_EQ(LibCalls(),
              "ISCSILIBNode::getSubvolConvProgress([\"/volume2\",{\"done_number\":0,\"done_size\":0,"
              "\"err_no\":0,\"status\":\"\",\"total_number\":0,\"total_size\":0,\"uuid\":\"\"}])\n");
}

TEST_F(NodeGetTest, SubvolConvProgressWithoutARootPathAsksWithTheEmptyPath)
{
    Call(Get, R"({"additional":["subvol_conv_progress"]})");
    const auto calls = Lib().CallsOf("ISCSILIBNode::getSubvolConvProgress");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(KOVA::toString(calls[0].args[0]), "\"\"");
}

TEST_F(NodeGetTest, NoRodKeyAndNoStatusAloneAnswerSuccessWithNullData)
{
    auto r = Call(Get, R"({"additional":["no_rod_key","no_status"]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(NodeGetTest, NoRodKeyDropsOnlyRodKeyAndNoStatusDropsOnlyStatus)
{
    Lib().ScriptAlways("ISCSINodeInfo::loadLocalRodKey", 0, KOVATest::ParseJson(R"({"rod_key":"rk"})"));
    EXPECT_EQ(Answer(Call(Get, R"({"additional":["no_rod_key"]})")), R"(success {"status":0})");
    EXPECT_EQ(Answer(Call(Get, R"({"additional":["no_status"]})")), R"(success {"rod_key":"rk"})");
}

TEST_F(NodeGetTest, AnUnknownWordInAdditionalIsIgnored)
{
    Lib().Script("ISCSINodeInfo::loadLocalRodKey", 0, R"({"rod_key":"rk"})");
    auto r = Call(Get, R"({"additional":["everything","NO_ROD_KEY"]})");
    EXPECT_EQ(Answer(r), R"(success {"rod_key":"rk","status":0})");
}

TEST_F(NodeGetTest, ScalarElementsOfAdditionalAreReadAsTextAndNameNoWord)
{
    auto r = Call(Get, R"({"additional":[5,true,null,"no_rod_key"]})");
    EXPECT_EQ(Answer(r), R"(success {"status":0})");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::getStatus([])\n");
}

TEST_F(NodeGetTest, AnArrayOrObjectElementOfAdditionalThrowsBeforeTheLibrary)
{
    EXPECT_THROW(Call(Get, R"({"additional":[{"word":"isns_info"}]})"), Json::LogicError);
    EXPECT_THROW(Call(Get, R"({"additional":[["no_status"]]})"), Json::LogicError);
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(NodeGetTest, IscsiDirRootPathAbsentGivesNoIscsiDirPathWhateverAdditionalSays)
{
    auto r = Call(Get, R"({"additional":["iscsi_dir_path","iscsi_dir_root_path","no_rod_key","no_status"]})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_TRUE(Lib().CallsOf("ISCSILIBNode::getIscsiDirPath").empty());
}

TEST_F(NodeGetTest, IscsiDirRootPathGivenAnswersTheLibrarysIscsiDirPath)
{
    Lib().Script("ISCSILIBNode::getIscsiDirPath", 0, R"({"iscsi_dir_path":"/volume1/@iscsi"})");
    auto r = Call(Get, R"({"iscsi_dir_root_path":"/volume1","additional":["no_rod_key","no_status"]})");
    EXPECT_EQ(Answer(r), R"(success {"iscsi_dir_path":"/volume1/@iscsi"})");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::getIscsiDirPath([\"/volume1\",\"\"])\n");
}

TEST_F(NodeGetTest, EveryWordAsksItsOperationInTheOrderOfTheReplyStartingFromTheLocalsInitialValues)
{
    Lib().Script("ISCSINodeInfo::loadLocalRodKey", 0, R"({"rod_key":"rk"})");
    Lib().Script("ISCSILIBNode::getStatus", 1);
    Lib().Script("ISCSILIBNode::getIscsiDirPath", 0, R"({"iscsi_dir_path":"/volume1/@iscsi"})");
    Lib().Script("ISCSILIBNode::getIsnsInfo", 0, R"({"isns_enabled":true,"isns_address":"10.0.0.7"})");
    Lib().Script("ISCSILIBNode::getIoQueueLength", 0, R"({"io_queue_length":64})");
    Lib().Script("ISCSILIBNode::getIqnHashKey", 0, R"({"iqn_hash_key":"hk"})");
    Lib().Script("ISCSILIBNode::checkAllSubvolConvStatusNormal", 0, R"({"is_subvol_conv_normal":true})");
    Lib().Script("ISCSILIBNode::getEpBufMapSize", 0, R"({"ep_buf_mapped_size":[]})");
    Lib().Script("ISCSILIBNode::getEpUnmapBufMode", 0, R"({"ep_unmap_buf_mode":1})");
    Lib().Script("ISCSILIBNode::getTpHardThreshold", 0,
                 R"({"tp_hard_threshold_bytes":18446744073709551615})");
    Lib().Script("ISCSILIBNode::getPluginInfo", 0, R"({"plugin_info":{"vaai":true}})");
    Lib().Script("ISCSILIBNode::getPromoteStorageConsole", 0, R"({"promote_storage_console":false})");
    // Words in an order other than the reply's: the reply's order rules.
    auto r =
        Call(Get, R"({"iscsi_dir_root_path":"/volume1","additional":["promote_storage_console",)"
                  R"("plugin_info","tp_hard_threshold_bytes","ep_unmap_buf_mode","is_subvol_conv_normal",)"
                  R"("iqn_hash_key","io_queue_length","isns_info"]})");
    EXPECT_EQ(Answer(r), R"(success {"ep_unmap_buf_mode":1,"io_queue_length":64,"iqn_hash_key":"hk",)"
                         R"("is_subvol_conv_normal":true,"iscsi_dir_path":"/volume1/@iscsi",)"
                         R"("isns_address":"10.0.0.7","isns_enabled":true,"plugin_info":{"vaai":true},)"
                         R"("promote_storage_console":false,"rod_key":"rk","status":1,)"
                         R"("tp_hard_threshold_bytes":18446744073709551615})");
    EXPECT_EQ(LibCalls(), std::string("ISCSINodeInfo::loadLocalRodKey([") + LOCAL_NODE +
                              ",\"\"])\n"
                              "ISCSILIBNode::getStatus([])\n"
                              "ISCSILIBNode::getIscsiDirPath([\"/volume1\",\"\"])\n"
                              "ISCSILIBNode::getIsnsInfo([false,\"\"])\n"
                              "ISCSILIBNode::getIoQueueLength([-1])\n"
                              "ISCSILIBNode::getIqnHashKey([\"\"])\n"
                              "ISCSILIBNode::checkAllSubvolConvStatusNormal([false])\n"
                              "ISCSILIBNode::getEpUnmapBufMode([2])\n"
                              "ISCSILIBNode::getTpHardThreshold([0])\n"
                              "ISCSILIBNode::getPluginInfo([null])\n"
                              "ISCSILIBNode::getPromoteStorageConsole([true])\n");
}

TEST_F(NodeGetTest, UnsetOutputsAnswerTheLocalsInitialValues)
{
    auto r = Call(
        Get, R"({"additional":["no_rod_key","no_status","io_queue_length","ep_unmap_buf_mode",)"
             R"("tp_hard_threshold_bytes","promote_storage_console","isns_info","is_subvol_conv_normal"]})");
    EXPECT_EQ(Answer(r),
              R"(success {"ep_unmap_buf_mode":2,"io_queue_length":-1,"is_subvol_conv_normal":false,)"
              R"("isns_address":"","isns_enabled":false,"promote_storage_console":true,)"
              R"("tp_hard_threshold_bytes":0})");
}

TEST_F(NodeGetTest, TheFirstFailingPartEndsTheWorkAndDropsWhatWasGathered)
{
    Lib().Script("ISCSINodeInfo::loadLocalRodKey", 0, R"({"rod_key":"rk"})");
    Lib().Script("ISCSILIBNode::getIqnHashKey", 18990204);
    auto r = Call(Get, R"({"additional":["isns_info","iqn_hash_key","plugin_info"]})");
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_FALSE(r.HasSuccess());
    EXPECT_EQ(LibCalls(), std::string("ISCSINodeInfo::loadLocalRodKey([") + LOCAL_NODE +
                              ",\"\"])\n"
                              "ISCSILIBNode::getStatus([])\n"
                              "ISCSILIBNode::getIsnsInfo([false,\"\"])\n"
                              "ISCSILIBNode::getIqnHashKey([\"\"])\n");
    const std::string params = R"({"additional":["isns_info","iqn_hash_key","plugin_info"]})";
    EXPECT_EQ(Log(), ErrorLine("Get", 18990204, params));
}

TEST_F(NodeGetTest, ARodKeyFailureEndsTheWorkBeforeStatus)
{
    Lib().Script("ISCSINodeInfo::loadLocalRodKey", 18990204);
    EXPECT_EQ(Answer(Call(Get, "{}")), "error 18990204");
    EXPECT_EQ(Lib().Ops(), std::vector<std::string>{"ISCSINodeInfo::loadLocalRodKey"});
}

TEST_F(NodeGetTest, EachParameterOfTheWrongTypeOrEmptyAnswersItsCodeWithTheErrorLineOnly)
{
    const std::vector<std::pair<std::string, int>> cases = {
        {R"({"subvol_root_path":""})", 18991122},    {R"({"subvol_root_path":5})", 18991122},
        {R"({"iscsi_dir_root_path":""})", 18991125}, {R"({"iscsi_dir_root_path":["/v"]})", 18991125},
        {R"({"additional":"isns_info"})", 18990517}, {R"({"additional":{"a":1}})", 18990517},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(Get, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
        EXPECT_EQ(Log(), ErrorLine("Get", c.second, c.first));
    }
}

TEST_F(NodeGetTest, ChecksRunSubvolRootPathThenIscsiDirRootPathThenAdditional)
{
    EXPECT_EQ(Answer(Call(Get, R"({"additional":1,"iscsi_dir_root_path":"","subvol_root_path":""})")),
              "error 18991122");
    EXPECT_EQ(Answer(Call(Get, R"({"additional":1,"iscsi_dir_root_path":""})")), "error 18991125");
}

// set

class NodeSetTest : public KOVATest::HandlerTest {};

TEST_F(NodeSetTest, SetAppliesEverySettingGivenInItsOrderAndAnswersNullData)
{
    const std::string params = R"({"promote_storage_console":false,"tp_hard_threshold_bytes":5368709120,)"
                               R"("ep_unmap_buf_mode":1,"io_queue_length":32,"isns_address":"10.0.0.7",)"
                               R"("isns_enabled":true})";
    auto r = Call(Set, params);
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::setIsnsInfo([true,\"10.0.0.7\"])\n"
                          "ISCSILIBNode::setIoQueueLength([32])\n"
                          "ISCSILIBNode::setEpUnmapBufMode([1])\n"
                          "ISCSILIBNode::setTpHardThreshold([5368709120])\n"
                          "ISCSILIBNode::setPromoteStorageConsole([false])\n");
    EXPECT_EQ(Log(), DebugLine("Set", KOVA::toString(KOVATest::ParseJson(params))));
}

TEST_F(NodeSetTest, SetWithNothingPresentAnswersSuccessAndCallsNoSetter)
{
    EXPECT_EQ(Answer(Call(Set, "{}")), "success null");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), DebugLine("Set", "{}"));
}

TEST_F(NodeSetTest, IsnsEnabledOrIsnsAddressAloneAnswers18991137AndChangesNothing)
{
    for (const char* params :
         {R"({"isns_enabled":true,"io_queue_length":4})", R"({"isns_address":"10.0.0.7"})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(Set, params)), "error 18991137") << params;
        EXPECT_EQ(LibCalls(), "") << params;
        const std::string logged = KOVA::toString(KOVATest::ParseJson(params));
        EXPECT_EQ(Log(), DebugLine("Set", logged) + ErrorLine("Set", 18991137, logged));
    }
}

TEST_F(NodeSetTest, TheIsnsPairGivenTogetherWithAnEmptyAddressPasses)
{
    EXPECT_EQ(Answer(Call(Set, R"({"isns_enabled":false,"isns_address":""})")), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::setIsnsInfo([false,\"\"])\n");
}

TEST_F(NodeSetTest, AFailedTpHardThresholdLeavesTheEarlierSettingsAppliedAndStops)
{
    Lib().Script("ISCSILIBNode::setTpHardThreshold", 18990204);
    auto r = Call(Set, R"({"isns_enabled":true,"isns_address":"a","io_queue_length":2,"ep_unmap_buf_mode":3,)"
                       R"("tp_hard_threshold_bytes":1,"promote_storage_console":true})");
    EXPECT_EQ(Answer(r), "error 18990204");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::setIsnsInfo([true,\"a\"])\n"
                          "ISCSILIBNode::setIoQueueLength([2])\n"
                          "ISCSILIBNode::setEpUnmapBufMode([3])\n"
                          "ISCSILIBNode::setTpHardThreshold([1])\n");
}

TEST_F(NodeSetTest, AFailedIsnsSettingStopsBeforeTheQueueLength)
{
    Lib().Script("ISCSILIBNode::setIsnsInfo", 18990204);
    EXPECT_EQ(Answer(Call(Set, R"({"isns_enabled":true,"isns_address":"a","io_queue_length":2})")),
              "error 18990204");
    EXPECT_EQ(Lib().Ops(), std::vector<std::string>{"ISCSILIBNode::setIsnsInfo"});
}

TEST_F(NodeSetTest, EachParameterOfTheWrongTypeOrOutOfItsRangeAnswersItsCode)
{
    const std::vector<std::pair<std::string, int>> cases = {
        {R"({"isns_enabled":"true","isns_address":"a"})", 18991135},
        {R"({"isns_enabled":1,"isns_address":"a"})", 18991135},
        {R"({"isns_enabled":true,"isns_address":7})", 18991136},
        {R"({"io_queue_length":0})", 18990741},
        {R"({"io_queue_length":-3})", 18990741},
        {R"({"io_queue_length":"8"})", 18990741},
        {R"({"ep_unmap_buf_mode":0})", 18991139},
        {R"({"ep_unmap_buf_mode":1.5})", 18991139},
        {R"({"tp_hard_threshold_bytes":-1})", 18991140},
        {R"({"tp_hard_threshold_bytes":"1"})", 18991140},
        {R"({"promote_storage_console":"yes"})", 18991141},
    };
    for (const auto& c : cases) {
        SetUp();
        EXPECT_EQ(Answer(Call(Set, c.first)), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(LibCalls(), "") << c.first;
    }
}

TEST_F(NodeSetTest, ParameterChecksRunInTheirOrderAndTheIsnsPairRuleAfterThem)
{
    EXPECT_EQ(Answer(Call(Set, R"({"isns_enabled":"x","io_queue_length":0})")), "error 18991135");
    EXPECT_EQ(Answer(Call(Set, R"({"isns_address":1,"io_queue_length":0})")), "error 18991136");
    EXPECT_EQ(Answer(Call(Set, R"({"io_queue_length":0,"ep_unmap_buf_mode":0})")), "error 18990741");
    EXPECT_EQ(Answer(Call(Set, R"({"ep_unmap_buf_mode":0,"tp_hard_threshold_bytes":-1})")), "error 18991139");
    EXPECT_EQ(Answer(Call(Set, R"({"tp_hard_threshold_bytes":-1,"promote_storage_console":1})")),
              "error 18991140");
    EXPECT_EQ(Answer(Call(Set, R"({"isns_enabled":true,"promote_storage_console":1})")), "error 18991141");
}

TEST_F(NodeSetTest, ThresholdsAbove32BitsReachTheLibraryExactly)
{
    Call(Set, R"({"tp_hard_threshold_bytes":18446744073709551615})");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::setTpHardThreshold([18446744073709551615])\n");
}

// The method table

TEST(NodeTable, TheNodeRowsStandInTheirFixedOrderWithTheirHandlers)
{
    std::vector<std::pair<std::string, KOVA::APIHandler>> rows;
    for (const KOVA::APITableRow* row = gTable; row->api; ++row)
        if (std::string(row->api) == "KOVA.Core.ISCSI.Node")
            rows.push_back({row->method, row->handler});
    const std::vector<std::pair<std::string, KOVA::APIHandler>> expected = {
        {"create", Create},
        {"delete", Delete},
        {"list", List},
        {"get", Get},
        {"set", Set},
        {"add_node", AddNode},
        {"delete_node", DeleteNode},
        {"create_session", CreateSession},
        {"delete_session", DeleteSession},
        {"subvol_convert", SubvolConvert},
        {"log_list", LogList},
        {"log_clear", LogClear},
        {"log_export", LogExport},
    };
    EXPECT_EQ(rows, expected);
}

} // namespace
