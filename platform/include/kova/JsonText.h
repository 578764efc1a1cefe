// Compact JSON text of a value and parsing of a text into a value, around JsonCpp's writer
// and reader. JsonCpp's Json::Value cannot take new members, so these are free functions.
#pragma once

#include <json/json.h>

#include <string>

namespace KOVA {

// The value's compact one-line JSON text, always valid UTF-8: bytes of a string that are not
// UTF-8 are written as U+FFFD.
std::string toString(const Json::Value& value);

// Parses text into value; true on success. On failure value is left null.
bool fromString(Json::Value& value, const std::string& text);

} // namespace KOVA
