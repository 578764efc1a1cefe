// Helpers of the records' tests: JSON texts into values, and the refusal of malformed JSON forms.
#pragma once

#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <string>

namespace RecordTest {

// A JSON text as a value; the text must be well-formed.
inline Json::Value Parse(const std::string& text)
{
    Json::Value v;
    EXPECT_TRUE(KOVA::fromString(v, text)) << text;
    return v;
}

// Each text, read into a fresh record, is refused with error.
template <typename Record, typename Texts> void ExpectEachFormRefused(const Texts& texts, int error)
{
    for (const auto& text : texts) {
        Record record;
        EXPECT_EQ(record.loadFromJson(Parse(text)), error) << text;
    }
}

} // namespace RecordTest
