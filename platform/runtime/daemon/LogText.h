// Request text as it may stand in a log line: whatever a client sends (a path, an API or
// method name, an account) must not forge or split lines, nor fill the log.
#pragma once

#include <cstddef>
#include <string>

namespace KOVA {
namespace Daemon {

// The most bytes of one request field that a log line carries.
constexpr std::size_t LOG_FIELD_MAX = 256;

// text with every byte outside printable ASCII, the space and the backslash written as \xNN
// (so a field never holds a line break, a terminal escape or a field separator), cut to at
// most maxBytes of the input with "..." added when it was longer. Empty text stays empty.
std::string LogField(const std::string& text, std::size_t maxBytes = LOG_FIELD_MAX);

} // namespace Daemon
} // namespace KOVA
