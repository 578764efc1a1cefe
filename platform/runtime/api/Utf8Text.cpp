#include <kova/Utf8Text.h>

#include <cstring>

namespace KOVA {

namespace {

// Reads the sequence at text[i] along the table of well-formed byte sequences of the Unicode
// standard (3.9). Answers how many bytes it takes: the whole sequence when it is well-formed
// (wellFormed set), else its maximal ill-formed subpart, the lead byte and the continuation
// bytes that could still have followed it (at least one byte).
size_t ReadSequence(const unsigned char* text, size_t length, size_t i, bool& wellFormed)
{
    const unsigned char c = text[i];
    wellFormed = c < 0x80;
    if (wellFormed)
        return 1;
    size_t need;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (c >= 0xC2 && c <= 0xDF) {
        need = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        need = 3;
        if (c == 0xE0)
            low = 0xA0; // overlong below U+0800
        else if (c == 0xED)
            high = 0x9F; // surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
        need = 4;
        if (c == 0xF0)
            low = 0x90; // overlong below U+10000
        else if (c == 0xF4)
            high = 0x8F; // above U+10FFFF
    } else {
        return 1;
    }
    size_t n = 1;
    while (n < need && i + n < length) {
        const unsigned char next = text[i + n];
        if (next < (n == 1 ? low : 0x80) || next > (n == 1 ? high : 0xBF))
            break;
        ++n;
    }
    wellFormed = n == need;
    return n;
}

const char REPLACEMENT[] = "\xEF\xBF\xBD";

} // namespace

bool IsValidUtf8(const char* text, size_t length)
{
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    size_t i = 0;
    while (i < length) {
        // Runs of ASCII are the common case.
        if (bytes[i] < 0x80) {
            ++i;
            continue;
        }
        bool wellFormed;
        i += ReadSequence(bytes, length, i, wellFormed);
        if (!wellFormed)
            return false;
    }
    return true;
}

bool IsValidUtf8(const std::string& text)
{
    return IsValidUtf8(text.data(), text.size());
}

bool IsCleanText(const std::string& text)
{
    return std::memchr(text.data(), '\0', text.size()) == nullptr && IsValidUtf8(text);
}

bool IsCleanJson(const Json::Value& value)
{
    switch (value.type()) {
    case Json::stringValue: {
        const char* begin = nullptr;
        const char* end = nullptr;
        if (!value.getString(&begin, &end))
            return true;
        const size_t length = static_cast<size_t>(end - begin);
        return std::memchr(begin, '\0', length) == nullptr && IsValidUtf8(begin, length);
    }
    case Json::arrayValue:
        for (const Json::Value& element : value) {
            if (!IsCleanJson(element))
                return false;
        }
        return true;
    case Json::objectValue:
        for (auto it = value.begin(); it != value.end(); ++it) {
            if (!IsCleanText(it.name()) || !IsCleanJson(*it))
                return false;
        }
        return true;
    default:
        return true;
    }
}

std::string RepairUtf8(const std::string& text)
{
    if (IsValidUtf8(text))
        return text;
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const size_t length = text.size();
    std::string out;
    out.reserve(length + 16);
    size_t i = 0;
    while (i < length) {
        bool wellFormed;
        const size_t n = ReadSequence(bytes, length, i, wellFormed);
        if (wellFormed)
            out.append(text, i, n);
        else
            out += REPLACEMENT;
        i += n;
    }
    return out;
}

} // namespace KOVA
