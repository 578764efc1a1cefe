// Target network portals against the recording double: the portal records built from the
// request, the default port, texts too long for their fields, and the twin methods.
#include "HandlerTest.h"

#include "target/WebAPIServerTarget.h"

#include <utility>

namespace {

using namespace ISCSI::WebAPI::APITarget;
using KOVATest::Answer;

std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine("WebAPIServerTarget.cpp", function, params);
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine("WebAPIServerTarget.cpp", function, code, params);
}

// A portal record as the library receives it.
std::string Portal(const std::string& ip, const std::string& interfaceName, unsigned int port)
{
    return "{\"id\":0,\"interface_name\":\"" + interfaceName + "\",\"ip\":\"" + ip +
           "\",\"port\":" + std::to_string(port) + ",\"reserved\":0,\"tpgt\":0}";
}

std::string PortalsParams(const std::string& portals)
{
    return R"({"network_portals":)" + portals + R"(,"target_id":"2"})";
}

struct PortalMethod {
    KOVA::APIHandler handler;
    const char* function;
    const char* operation;
};
const PortalMethod PortalMethods[] = {
    {NetworkPortalsAdd, "NetworkPortalsAdd", "ISCSILIBTarget::networkPortalsAdd"},
    {NetworkPortalsRemove, "NetworkPortalsRemove", "ISCSILIBTarget::networkPortalsRemove"},
};

class TargetNetworkPortalsTest : public KOVATest::HandlerTest {
protected:
    void SetUp() override
    {
        KOVATest::HandlerTest::SetUp();
        Lib().Script("ISCSITargetInfo::GetTid", 0, R"({"tid":2})");
    }

    // The library's calls of a run that reached the library with these portals.
    static std::string CallsWith(const char* operation, const std::string& portals)
    {
        return "ISCSITargetInfo::GetTid([\"2\",0])\n"
               "ISCSILIBTarget::ISCSILIBTarget([2])\n" +
               std::string(operation) + "([[" + portals + "]])\n";
    }
};

TEST_F(TargetNetworkPortalsTest, BothMethodsPassThePortalsInRequestOrderInOneCall)
{
    for (const auto& m : PortalMethods) {
        SetUp();
        const std::string params =
            PortalsParams(R"([{"ip":"10.0.0.2","port":3261},{"interface_name":"eth1"},{"ip":"fe80::1"}])");
        auto r = Call(m.handler, params);
        EXPECT_EQ(Answer(r), "success null") << m.function;
        EXPECT_EQ(LibCalls(),
                  CallsWith(m.operation, Portal("10.0.0.2", "", 3261) + "," + Portal("", "eth1", 3260) + "," +
                                             Portal("fe80::1", "", 3260)));
        EXPECT_EQ(Log(), DebugLine(m.function, params));
    }
}

TEST_F(TargetNetworkPortalsTest, APortalWithIpAndInterfaceNameUsesIpAndNeverReadsTheInterface)
{
    auto r = Call(NetworkPortalsAdd,
                  PortalsParams(R"([{"ip":"10.0.0.1","interface_name":"a-much-too-long-interface-name"}])"));
    EXPECT_EQ(Answer(r), "success null");
    EXPECT_EQ(LibCalls(), CallsWith("ISCSILIBTarget::networkPortalsAdd", Portal("10.0.0.1", "", 3260)));
}

TEST_F(TargetNetworkPortalsTest, APortalWithoutPortGets3260AndAnyGivenPortPassesUnchecked)
{
    Call(NetworkPortalsAdd, PortalsParams(R"([{"ip":"a"},{"ip":"b","port":0},{"ip":"c","port":70000}])"));
    EXPECT_EQ(LibCalls(),
              CallsWith("ISCSILIBTarget::networkPortalsAdd",
                        Portal("a", "", 3260) + "," + Portal("b", "", 0) + "," + Portal("c", "", 70000)));
}

TEST_F(TargetNetworkPortalsTest, AnIpOf45CharactersFits)
{
    const std::string ip(45, '1');
    EXPECT_EQ(Answer(Call(NetworkPortalsAdd, PortalsParams(R"([{"ip":")" + ip + "\"}]"))), "success null");
    EXPECT_EQ(LibCalls(), CallsWith("ISCSILIBTarget::networkPortalsAdd", Portal(ip, "", 3260)));
}

TEST_F(TargetNetworkPortalsTest, AnIpOf46CharactersAnswers18990025WithThreeLinesAndNoLibraryCall)
{
    const std::string ip(46, '1');
    const std::string params = PortalsParams(R"([{"ip":")" + ip + "\"}]");
    EXPECT_EQ(Answer(Call(NetworkPortalsAdd, params)), "error 18990025");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"2\",0])\n");
    EXPECT_EQ(Log(), DebugLine("NetworkPortalsAdd", params) +
                         "<3> iSCSI:ISCSIWebAPIStringTool.h:L:StringCopy Failed to copy string: " + ip +
                         "\n" +
                         "<3> iSCSI:WebAPIServerTarget.cpp:L:NetworkPortalsAdd Failed to copy string " + ip +
                         " to np structure\n" + ErrorLine("NetworkPortalsAdd", 18990025, params));
}

TEST_F(TargetNetworkPortalsTest, AnInterfaceNameOf15CharactersFitsAndOneOf16Answers18990025)
{
    const std::string fits(15, 'e');
    EXPECT_EQ(Answer(Call(NetworkPortalsAdd, PortalsParams(R"([{"interface_name":")" + fits + "\"}]"))),
              "success null");
    EXPECT_EQ(LibCalls(), CallsWith("ISCSILIBTarget::networkPortalsAdd", Portal("", fits, 3260)));

    SetUp();
    const std::string tooLong(16, 'e');
    const std::string params = PortalsParams(R"([{"interface_name":")" + tooLong + "\"}]");
    EXPECT_EQ(Answer(Call(NetworkPortalsRemove, params)), "error 18990025");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"2\",0])\n");
    EXPECT_EQ(Log(),
              DebugLine("NetworkPortalsRemove", params) +
                  "<3> iSCSI:ISCSIWebAPIStringTool.h:L:StringCopy Failed to copy string: " + tooLong + "\n" +
                  "<3> iSCSI:WebAPIServerTarget.cpp:L:NetworkPortalsRemove Failed to copy string " + tooLong +
                  " to np structure\n" + ErrorLine("NetworkPortalsRemove", 18990025, params));
}

TEST_F(TargetNetworkPortalsTest, APortalWithNeitherIpNorInterfaceAnswers18990402AlsoBehindGoodOnes)
{
    for (const char* portals : {R"([{"interface_name":"","ip":""}])", R"([{"port":3260}])",
                                R"([{"ip":"10.0.0.1"},{"interface_name":"eth0"},{"ip":""}])"}) {
        for (const auto& m : PortalMethods) {
            SetUp();
            const std::string params = PortalsParams(portals);
            EXPECT_EQ(Answer(Call(m.handler, params)), "error 18990402") << portals;
            EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"2\",0])\n");
            EXPECT_EQ(Log(), DebugLine(m.function, params) + ErrorLine(m.function, 18990402, params));
        }
    }
}

TEST_F(TargetNetworkPortalsTest, AnEmptyPortalListCallsTheLibraryWithAnEmptyVector)
{
    EXPECT_EQ(Answer(Call(NetworkPortalsRemove, PortalsParams("[]"))), "success null");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"2\",0])\n"
                          "ISCSILIBTarget::ISCSILIBTarget([2])\n"
                          "ISCSILIBTarget::networkPortalsRemove([[]])\n");
}

TEST_F(TargetNetworkPortalsTest, TheSamePortalTwiceStaysTwice)
{
    Call(NetworkPortalsAdd, PortalsParams(R"([{"ip":"10.0.0.1"},{"ip":"10.0.0.1"}])"));
    EXPECT_EQ(LibCalls(), CallsWith("ISCSILIBTarget::networkPortalsAdd",
                                    Portal("10.0.0.1", "", 3260) + "," + Portal("10.0.0.1", "", 3260)));
}

TEST_F(TargetNetworkPortalsTest, AnIpTextThatIsNoAddressIsNotRefused)
{
    EXPECT_EQ(Answer(Call(NetworkPortalsAdd, PortalsParams(R"([{"ip":"not an address"}])"))), "success null");
    EXPECT_EQ(LibCalls(), CallsWith("ISCSILIBTarget::networkPortalsAdd", Portal("not an address", "", 3260)));
}

TEST_F(TargetNetworkPortalsTest, WithABadTargetIdAndABadPortalTheAnswerIs18990710)
{
    EXPECT_EQ(Answer(Call(NetworkPortalsAdd, R"({"target_id":"","network_portals":[{"ip":""}]})")),
              "error 18990710");
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(TargetNetworkPortalsTest, AnUnknownTargetAnswersTheResolversCodeBeforeThePortalsAreRead)
{
    KOVATest::HandlerTest::SetUp();
    Lib().Script("ISCSITargetInfo::GetTid", 18990710);
    EXPECT_EQ(Answer(Call(NetworkPortalsAdd, R"({"target_id":"9","network_portals":[{"ip":""}]})")),
              "error 18990710");
    EXPECT_EQ(LibCalls(), "ISCSITargetInfo::GetTid([\"9\",0])\n");
}

TEST_F(TargetNetworkPortalsTest, ParametersMissingEmptyOrOfTheWrongTypeAnswerTheirCodes)
{
    const std::pair<const char*, int> cases[] = {
        {R"({"network_portals":[]})", 18990710},
        {R"({"target_id":"","network_portals":[]})", 18990710},
        {R"({"target_id":2,"network_portals":[]})", 18990710},
        {R"({"target_id":"2"})", 18990743},
        {R"({"target_id":"2","network_portals":{"ip":"10.0.0.1"}})", 18990743},
        {R"({"target_id":"2","network_portals":"10.0.0.1"})", 18990743},
        {R"({"target_id":7,"network_portals":7})", 18990710},
    };
    for (const auto& m : PortalMethods) {
        for (const auto& c : cases) {
            SetUp();
            EXPECT_EQ(Answer(Call(m.handler, c.first)), "error " + std::to_string(c.second)) << c.first;
            EXPECT_EQ(LibCalls(), "") << c.first;
        }
    }
}

TEST_F(TargetNetworkPortalsTest, BothMethodsPassALibraryFailureOn)
{
    for (const auto& m : PortalMethods) {
        SetUp();
        Lib().Script(m.operation, 18990402);
        EXPECT_EQ(Answer(Call(m.handler, PortalsParams(R"([{"ip":"10.0.0.1"}])"))), "error 18990402")
            << m.function;
    }
}

} // namespace
