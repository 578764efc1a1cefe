// Helpers of the tests that drive tgtd and libiscsi's command line tools: a bounded runner for
// commands, a lookup on PATH and a free TCP port.
#pragma once

#include <chrono>
#include <initializer_list>
#include <string>
#include <vector>

namespace KOVATest {

struct ToolResult {
    int exitCode = -1;  // -1 when killed or not started
    std::string output; // stdout and stderr together
};

// Runs a command with a bounded wait; the process is killed when the bound runs out.
ToolResult RunTool(std::vector<std::string> args,
                   std::chrono::milliseconds timeout = std::chrono::seconds(60));
// The full path of a program on PATH, or empty.
std::string FindOnPath(const std::string& name);
// Why a run against tgtd's data path cannot happen here, or "": it needs root, /usr/sbin/tgtd and
// the tools on PATH (a missing one is named, with hint after it).
std::string MissingTgtdPrerequisite(std::initializer_list<const char*> tools, const std::string& hint = "");
// A TCP port in 20001..highest other than avoid on which nothing listens at address now, or 0.
int FreeTcpPort(const std::string& address = "127.0.0.1", int avoid = 0, int highest = 60000);

} // namespace KOVATest
