// Compact JSON text of a value and parsing of a text into a value, around JsonCpp's writer
// and reader. JsonCpp's Json::Value cannot take new members, so these are free functions.
#pragma once

#include <json/json.h>

#include <string>

namespace KOVA {

// The value's compact one-line JSON text, always valid UTF-8: bytes of a string that are not
// UTF-8 are written as U+FFFD.
std::string toString(const Json::Value& value);

// The deepest nesting of arrays and objects that fromString reads.
constexpr int JSON_MAX_NESTING = 100;

// Parses text into value; true on success. On failure (also for a text nested deeper than
// JSON_MAX_NESTING) value is left null.
bool fromString(Json::Value& value, const std::string& text);

} // namespace KOVA
