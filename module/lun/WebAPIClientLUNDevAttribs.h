// Device attributes of the LUN clients create and set: the caller names each attribute as a
// text "name:value" (such as "emulate_caw:1"); the request carries them as the array
// "dev_attribs" of objects {"dev_attrib": name, "enable": value}.
#pragma once

#include <json/json.h>

#include <cstdlib>
#include <set>
#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

// The array "dev_attribs" of the texts, in the set's order. A text without ":" names nothing
// and is left out; the name is what stands before the first ":", the value the rest read as a
// decimal integer (as strtol reads it, so a value that is no number gives 0). The array is
// sent even when it ends up empty.
inline Json::Value DevAttribsArray(const std::set<std::string>& texts)
{
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts) {
        const std::string::size_type colon = text.find(':');
        if (colon == std::string::npos)
            continue;
        Json::Value attrib(Json::objectValue);
        attrib["dev_attrib"] = text.substr(0, colon);
        attrib["enable"] = static_cast<Json::Int64>(std::strtol(text.c_str() + colon + 1, nullptr, 10));
        array.append(attrib);
    }
    return array;
}

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
