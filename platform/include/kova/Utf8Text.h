// Checks and repair of text that crosses the daemon's boundary: what callers send must be
// valid UTF-8 without NUL characters, and what the daemon writes must be valid UTF-8 whatever
// was stored before the checks existed.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>

namespace KOVA {

// True when text is well-formed UTF-8: no stray continuation bytes, no overlong forms, no
// surrogates (U+D800..U+DFFF) and nothing above U+10FFFF.
bool IsValidUtf8(const char* text, size_t length);
bool IsValidUtf8(const std::string& text);

// True when text is valid UTF-8 and holds no NUL character.
bool IsCleanText(const std::string& text);

// True when every member name and every string of value, at any depth, is clean text.
bool IsCleanJson(const Json::Value& value);

// The text with every ill-formed byte sequence replaced by U+FFFD (one per maximal ill-formed
// subpart, as Unicode recommends); valid text comes back unchanged. Bytes below 0x80 are never
// touched, so repairing a JSON text leaves its structure as it was.
std::string RepairUtf8(const std::string& text);

} // namespace KOVA
