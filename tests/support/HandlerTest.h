// Fixture of the handler tests: a clean recording double and syslog capture for each test,
// and a call of a handler with parameters given as JSON text.
#pragma once

#include "LibDouble.h"
#include "SyslogCapture.h"

#include <iscsi/ISCSIErrors.h>
#include <kova/APIRequest.h>
#include <kova/APIResponse.h>
#include <kova/APITable.h>
#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

namespace KOVATest {

// Parses JSON text; fails the test on a text that does not parse.
Json::Value ParseJson(const std::string& text);

// The parameters of a request as compact JSON text, the form the log lines show them in.
std::string Params(std::initializer_list<std::pair<const char*, Json::Value>> members);
// The same with some members changed, added, or removed (a null value removes).
std::string With(const std::string& params,
                 std::initializer_list<std::pair<const char*, Json::Value>> changes);

// The frame's debug and error lines of a handler in source ("WebAPIServerNode.cpp") as Log()
// shows them (line number "L"); params is the parameter object's text as the handler logs it.
std::string FrameDebugLine(const std::string& source, const std::string& function, const std::string& params);
std::string FrameErrorLine(const std::string& source, const std::string& function, int code,
                           const std::string& params);

class HandlerTest : public ::testing::Test {
protected:
    void SetUp() override;

    // Runs handler with the parameters (a JSON object's text) and answers its response.
    KOVA::APIResponse Call(KOVA::APIHandler handler, const std::string& paramsText);

    LibDouble& Lib() { return LibDouble::Get(); }
    // The storage library's calls, one "Op(args)" line each.
    std::string LibCalls() const { return LibDouble::Get().CallsText(); }
    // The syslog lines, one "<priority> text" each, with the source line of each replaced by
    // "L" (":WebAPIServerVLUN.cpp:L:Create"), so assertions do not depend on line numbers.
    std::string Log() const;
    std::vector<SyslogLine> LogLines() const { return SyslogCapture::Lines(); }
};

// The reply of a response as the client sees it, for compact assertions:
// "success <data JSON>", "error <code>" or "error <code> <error data JSON>", or "none".
std::string Answer(const KOVA::APIResponse& response);

} // namespace KOVATest
