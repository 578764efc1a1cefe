// What the harnesses share: reading the fuzzer's bytes as a JSON value, and the checks that
// end a run with a crash report when the code under test broke one of its promises.
#pragma once

#include <kova/JsonText.h>
#include <kova/Utf8Text.h>

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace KOVAFuzz {

// Stops the run so that libFuzzer keeps the input: a broken promise is a defect.
[[noreturn]] inline void Broken(const char* what, const std::string& detail = std::string())
{
    std::fprintf(stderr, "broken promise: %s %s\n", what, detail.c_str());
    std::abort();
}

// The JSON text of a value must be valid UTF-8 and parse back to a value.
inline void CheckWritable(const Json::Value& value)
{
    const std::string text = KOVA::toString(value);
    if (!KOVA::IsValidUtf8(text))
        Broken("toString wrote text that is not UTF-8", text);
    Json::Value back;
    if (!KOVA::fromString(back, text))
        Broken("toString wrote text that does not parse", text);
}

// The bytes as JSON when they parse, else as one string (as a form field's value is read).
inline Json::Value ValueOf(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    Json::Value value;
    if (KOVA::fromString(value, text))
        return value;
    return Json::Value(text);
}

} // namespace KOVAFuzz
