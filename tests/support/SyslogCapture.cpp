#include "SyslogCapture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <syslog.h>

namespace KOVATest {

namespace {
std::mutex captureMutex;
std::vector<SyslogLine>& Captured()
{
    static std::vector<SyslogLine> lines;
    return lines;
}

void Capture(int priority, const char* format, va_list args)
{
    char buffer[16384];
    vsnprintf(buffer, sizeof(buffer), format, args);
    std::lock_guard<std::mutex> lock(captureMutex);
    Captured().push_back(SyslogLine{LOG_PRI(priority), buffer});
}
} // namespace

void SyslogCapture::Clear()
{
    std::lock_guard<std::mutex> lock(captureMutex);
    Captured().clear();
}

std::vector<SyslogLine> SyslogCapture::Lines()
{
    std::lock_guard<std::mutex> lock(captureMutex);
    return Captured();
}

std::string SyslogCapture::Text()
{
    std::string text;
    for (const SyslogLine& line : Lines())
        text += "<" + std::to_string(line.priority) + "> " + line.text + "\n";
    return text;
}

} // namespace KOVATest

extern "C" {

void syslog(int priority, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    KOVATest::Capture(priority, format, args);
    va_end(args);
}

void __syslog_chk(int priority, int, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    KOVATest::Capture(priority, format, args);
    va_end(args);
}
}
