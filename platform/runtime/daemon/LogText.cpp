#include "LogText.h"

namespace KOVA {
namespace Daemon {

std::string LogField(const std::string& text, std::size_t maxBytes)
{
    static const char HEX[] = "0123456789abcdef";
    const std::size_t taken = text.size() < maxBytes ? text.size() : maxBytes;
    std::string out;
    out.reserve(taken + 8);
    for (std::size_t i = 0; i < taken; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c > 0x20 && c < 0x7f && c != '\\') {
            out += static_cast<char>(c);
        } else {
            out += "\\x";
            out += HEX[c >> 4];
            out += HEX[c & 0xf];
        }
    }
    if (text.size() > maxBytes)
        out += "...";
    return out;
}

} // namespace Daemon
} // namespace KOVA
