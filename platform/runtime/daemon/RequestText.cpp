#include "RequestText.h"

#include <kova/Utf8Text.h>
#include <kova/WebAPIErrors.h>

#include <cstring>

namespace KOVA {
namespace Daemon {

namespace {

bool FieldsAreClean(const FieldList& fields)
{
    for (const auto& field : fields) {
        if (!IsCleanText(field.first) || !IsCleanText(field.second))
            return false;
    }
    return true;
}

// The value of the four hex digits at text[at], or -1.
long Hex4(const std::string& text, size_t at)
{
    if (at + 4 > text.size())
        return -1;
    long value = 0;
    for (size_t i = at; i < at + 4; ++i) {
        const char c = text[i];
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return -1;
        value = value * 16 + digit;
    }
    return value;
}

} // namespace

bool JsonEscapesAreClean(const std::string& text)
{
    // Outside its strings a JSON text has no backslash, so every backslash begins an escape.
    size_t i = text.find('\\');
    while (i != std::string::npos && i + 1 < text.size()) {
        if (text[i + 1] != 'u') {
            i = text.find('\\', i + 2);
            continue;
        }
        const long unit = Hex4(text, i + 2);
        if (unit <= 0 || (unit >= 0xDC00 && unit <= 0xDFFF))
            return false;
        size_t next = i + 6;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            if (text.compare(next, 2, "\\u") != 0)
                return false;
            const long low = Hex4(text, next + 2);
            if (low < 0xDC00 || low > 0xDFFF)
                return false;
            next += 6;
        }
        i = text.find('\\', next);
    }
    return true;
}

int CheckRequestText(const EntryInput& in)
{
    if (!FieldsAreClean(in.query) || !FieldsAreClean(in.parts))
        return WEBAPI_ERR_BAD_TEXT;
    if (in.multipart)
        return 0;
    switch (ClassifyBody(in.contentType, in.body)) {
    case BodyKind::Json:
        if (std::memchr(in.body.data(), '\0', in.body.size()) != nullptr || !IsValidUtf8(in.body) ||
            !JsonEscapesAreClean(in.body))
            return WEBAPI_ERR_BAD_TEXT;
        return 0;
    case BodyKind::Form:
        return FieldsAreClean(DecodeForm(in.body)) ? 0 : WEBAPI_ERR_BAD_TEXT;
    case BodyKind::Multipart:
    case BodyKind::Empty:
        break;
    }
    return 0;
}

int CheckCallText(const EntryInput& in, const EntryCall& call)
{
    const int code = CheckRequestText(in);
    if (code != 0)
        return code;
    return IsCleanJson(call.params) ? 0 : WEBAPI_ERR_BAD_TEXT;
}

} // namespace Daemon
} // namespace KOVA
