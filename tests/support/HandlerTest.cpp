#include "HandlerTest.h"

#include <regex>

namespace KOVATest {

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    EXPECT_TRUE(KOVA::fromString(value, text)) << "not JSON: " << text;
    return value;
}

void HandlerTest::SetUp()
{
    LibDouble::Get().Reset();
    SyslogCapture::Clear();
}

KOVA::APIResponse HandlerTest::Call(KOVA::APIHandler handler, const std::string& paramsText)
{
    KOVA::APIRequest request(ParseJson(paramsText), "127.0.0.1", "admin", "sid");
    KOVA::APIResponse response;
    handler(&request, &response);
    return response;
}

std::string HandlerTest::Log() const
{
    static const std::regex sourceLine("(\\.(cpp|h)):[0-9]+:");
    return std::regex_replace(SyslogCapture::Text(), sourceLine, "$1:L:");
}

std::string Answer(const KOVA::APIResponse& response)
{
    if (response.GetError() != 0) {
        std::string text = "error " + std::to_string(response.GetError());
        if (!response.GetErrorData().isNull())
            text += " " + KOVA::toString(response.GetErrorData());
        return text;
    }
    if (response.HasSuccess())
        return "success " + KOVA::toString(response.GetData());
    return "none";
}

} // namespace KOVATest
