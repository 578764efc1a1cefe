// Captures the process's syslog lines for tests: this support library defines syslog (and the
// fortified variant) itself, so the module's calls land here instead of in the system log.
#pragma once

#include <string>
#include <vector>

namespace KOVATest {

struct SyslogLine {
    int priority;
    std::string text;
    bool operator==(const SyslogLine& other) const
    {
        return priority == other.priority && text == other.text;
    }
};

class SyslogCapture {
public:
    // Forgets the lines captured so far.
    static void Clear();
    static std::vector<SyslogLine> Lines();
    // The lines, one "<priority> text" per line.
    static std::string Text();
};

} // namespace KOVATest
