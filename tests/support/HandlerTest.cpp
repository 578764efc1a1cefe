#include "HandlerTest.h"

#include <iscsi/ISCSIErrors.h>

#include <regex>

namespace KOVATest {

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    EXPECT_TRUE(KOVA::fromString(value, text)) << "not JSON: " << text;
    return value;
}

std::string Params(std::initializer_list<std::pair<const char*, Json::Value>> members)
{
    Json::Value object(Json::objectValue);
    for (const auto& member : members)
        object[member.first] = member.second;
    return KOVA::toString(object);
}

std::string With(const std::string& params,
                 std::initializer_list<std::pair<const char*, Json::Value>> changes)
{
    Json::Value object = ParseJson(params);
    for (const auto& change : changes) {
        if (change.second.isNull())
            object.removeMember(change.first);
        else
            object[change.first] = change.second;
    }
    return KOVA::toString(object);
}

std::string FrameDebugLine(const std::string& source, const std::string& function, const std::string& params)
{
    return "<7> [D] iSCSIWebAPI:" + source + ":L:" + function + " " + params + "\n";
}

std::string FrameErrorLine(const std::string& source, const std::string& function, int code,
                           const std::string& params)
{
    return "<3> [E] iSCSIWebAPI:" + source + ":L:" + function + " error code: " + std::to_string(code) +
           " (" + KOVAiSCSIStrError(code) + ") [" + params + "]\n";
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
