// Copying a value's text into a fixed-size field of a library structure.
#pragma once

#include <syslog.h>

#include <cstddef>
#include <cstdio>
#include <sstream>
#include <string>

namespace ISCSI {
namespace WebAPI {

enum { ISCSI_WEBAPI_ERR_STRING_TOO_LONG = 18990025 };

// Writes the text of value (anything a stream can take) into field, of size bytes, NUL
// included. A text that does not fit is left truncated in the field, logged, and answered
// with 18990025; a text of size - 1 characters still fits.
template <typename T> int StringCopy(char* field, std::size_t size, const T& value)
{
    std::ostringstream stream;
    stream << value;
    const std::string text = stream.str();
    const unsigned int written = static_cast<unsigned int>(snprintf(field, size, "%s", text.c_str()));
    if (written >= size) {
        syslog(LOG_ERR, "iSCSI:%s:%d:%s Failed to copy string: %s", "ISCSIWebAPIStringTool.h", __LINE__,
               "StringCopy", text.c_str());
        return ISCSI_WEBAPI_ERR_STRING_TOO_LONG;
    }
    return 0;
}

} // namespace WebAPI
} // namespace ISCSI
