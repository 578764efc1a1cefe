// subvol_convert against the recording double: the feasibility check first, the conversion
// only when it passes, and the hard reasons as error data.
#include "HandlerTest.h"

#include "node/WebAPIServerNode.h"

#include <string>

namespace {

using namespace ISCSI::WebAPI::APINode;
using KOVATest::Answer;

std::string DebugLine(const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerNode.cpp", "SubvolConvert", params);
}

std::string ErrorLine(int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerNode.cpp", "SubvolConvert", code, params);
}

class NodeSubvolConvertTest : public KOVATest::HandlerTest {};

TEST_F(NodeSubvolConvertTest, AFeasibleConversionIsStartedAndAnswersNullData)
{
    auto r = Call(SubvolConvert, R"({"root_path":"/volume1"})");
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::subvolConvFeasibilityCheck([\"/volume1\",[]])\n"
                          "ISCSILIBNode::subvolConvert([\"/volume1\"])\n");
    EXPECT_EQ(Log(), DebugLine(R"({"root_path":"/volume1"})"));
}

TEST_F(NodeSubvolConvertTest, RootPathAbsentEmptyOrNotAStringAnswers18991122WithTheErrorLineAndNoDebugLine)
{
    for (const char* params : {"{}", R"({"root_path":""})", R"({"root_path":1})"}) {
        SetUp();
        EXPECT_EQ(Answer(Call(SubvolConvert, params)), "error 18991122") << params;
        EXPECT_EQ(LibCalls(), "") << params;
        EXPECT_EQ(Log(), ErrorLine(18991122, params));
    }
}

TEST_F(NodeSubvolConvertTest, HardReasonsAreAnsweredAsErrorDataInTheirOrder)
{
    Lib().Script("ISCSILIBNode::subvolConvFeasibilityCheck", 18990335,
                 R"({"feasibility_hard":["lun_busy","replication_running"]})");
    auto r = Call(SubvolConvert, R"({"root_path":"/volume1"})");
    EXPECT_EQ(Answer(r), R"(error 18990335 {"feasibility_hard":["lun_busy","replication_running"]})");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::subvolConvFeasibilityCheck([\"/volume1\",[]])\n");
    EXPECT_EQ(Log(),
              DebugLine(R"({"root_path":"/volume1"})") + ErrorLine(18990335, R"({"root_path":"/volume1"})"));
}

TEST_F(NodeSubvolConvertTest, HardInfeasibilityWithNoReasonsAnswersAnEmptyArray)
{
    Lib().Script("ISCSILIBNode::subvolConvFeasibilityCheck", 18990335);
    EXPECT_EQ(Answer(Call(SubvolConvert, R"({"root_path":"/volume1"})")),
              R"(error 18990335 {"feasibility_hard":[]})");
}

TEST_F(NodeSubvolConvertTest, AnyOtherFailedCheckAnswersItsCodeWithNullDataAndDropsTheReasons)
{
    Lib().Script("ISCSILIBNode::subvolConvFeasibilityCheck", 18990336, R"({"feasibility_hard":["x"]})");
    auto r = Call(SubvolConvert, R"({"root_path":"/volume1"})");
    EXPECT_EQ(Answer(r), "error 18990336");
    EXPECT_TRUE(r.GetErrorData().isNull());
    EXPECT_TRUE(Lib().CallsOf("ISCSILIBNode::subvolConvert").empty());
}

TEST_F(NodeSubvolConvertTest, AFailedConversionAnswersItsCodeWithNullData)
{
    Lib().Script("ISCSILIBNode::subvolConvFeasibilityCheck", 0, R"({"feasibility_hard":["ignored"]})");
    Lib().Script("ISCSILIBNode::subvolConvert", 18990335);
    auto r = Call(SubvolConvert, R"({"root_path":"/volume2"})");
    EXPECT_EQ(Answer(r), "error 18990335");
    EXPECT_EQ(LibCalls(), "ISCSILIBNode::subvolConvFeasibilityCheck([\"/volume2\",[]])\n"
                          "ISCSILIBNode::subvolConvert([\"/volume2\"])\n");
}

} // namespace
