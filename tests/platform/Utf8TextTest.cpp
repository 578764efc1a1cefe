// The text checks and the repair of text that is not UTF-8, and the JSON text of values whose
// strings hold such bytes.
#include <kova/JsonText.h>
#include <kova/Utf8Text.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using KOVA::IsCleanJson;
using KOVA::IsCleanText;
using KOVA::IsValidUtf8;
using KOVA::RepairUtf8;

const std::string FFFD = "\xEF\xBF\xBD";

TEST(Utf8Text, WellFormedSequencesAreValid)
{
    for (const std::string& text :
         {std::string(), std::string("plain ascii"), std::string("\xC3\xA9t\xC3\xA9"),
          std::string("\xE2\x82\xAC"), std::string("\xEF\xBF\xBF"), std::string("\xF0\x9F\x98\x80"),
          std::string("\xF4\x8F\xBF\xBF"), std::string("\xED\x9F\xBF")})
        EXPECT_TRUE(IsValidUtf8(text)) << text;
}

TEST(Utf8Text, IllFormedSequencesAreNot)
{
    const char* bad[] = {
        "\x80",             // stray continuation byte
        "\xC0\xAF",         // overlong '/'
        "\xC1\xBF",         // overlong
        "\xE0\x80\xAF",     // overlong
        "\xED\xA0\x80",     // surrogate U+D800
        "\xED\xBF\xBF",     // surrogate U+DFFF
        "\xF0\x80\x80\xAF", // overlong
        "\xF4\x90\x80\x80", // above U+10FFFF
        "\xF5\x80\x80\x80", // no such lead byte
        "\xFF",             // no such byte
        "\xC3",             // cut short
        "\xE2\x82",         // cut short
        "a\xC3(b",          // lead byte followed by ASCII
    };
    for (const char* text : bad)
        EXPECT_FALSE(IsValidUtf8(std::string(text))) << text;
}

TEST(Utf8Text, CleanTextIsValidAndHoldsNoNul)
{
    EXPECT_TRUE(IsCleanText("lun-1"));
    EXPECT_FALSE(IsCleanText(std::string("lun\0-1", 6)));
    EXPECT_FALSE(IsCleanText("lun\xFF"));
}

TEST(Utf8Text, CleanJsonLooksAtEveryStringAndMemberName)
{
    Json::Value value(Json::objectValue);
    value["name"] = "lun";
    value["list"].append(1);
    value["list"].append("\xC3\xA9");
    EXPECT_TRUE(IsCleanJson(value));

    Json::Value nulInArray = value;
    nulInArray["list"].append(Json::Value(std::string("a\0b", 3)));
    EXPECT_FALSE(IsCleanJson(nulInArray));

    Json::Value badName = value;
    badName["deep"]["na\xFFme"] = 1;
    EXPECT_FALSE(IsCleanJson(badName));

    Json::Value badValue = value;
    badValue["deep"]["x"] = "\xED\xA0\x80";
    EXPECT_FALSE(IsCleanJson(badValue));
}

TEST(Utf8Text, RepairReplacesEachMaximalIllFormedSubpart)
{
    EXPECT_EQ("abc", RepairUtf8("abc"));
    EXPECT_EQ("\xC3\xA9", RepairUtf8("\xC3\xA9"));
    EXPECT_EQ("a" + FFFD + "b", RepairUtf8("a\xFF"
                                           "b"));
    // A lead byte with one fitting continuation byte, then ASCII: one replacement.
    EXPECT_EQ("a" + FFFD + "(", RepairUtf8("a\xE2\x82("));
    // A surrogate: the lead byte E0..EF's second byte is out of range, so three replacements.
    EXPECT_EQ(FFFD + FFFD + FFFD, RepairUtf8("\xED\xA0\x80"));
    EXPECT_EQ(FFFD + FFFD, RepairUtf8("\xC0\xAF"));
    EXPECT_EQ("x" + FFFD, RepairUtf8("x\xF0\x9F\x98"));
    for (const std::string& text :
         {std::string("\xFF\xFE"), std::string("a\xC3"), std::string("\xF4\x90\x80\x80")})
        EXPECT_TRUE(IsValidUtf8(RepairUtf8(text)));
}

TEST(Utf8Text, JsonTextOfStringsThatAreNotUtf8IsValidJson)
{
    Json::Value value(Json::objectValue);
    value["name"] = "lun-\xFF\xFE";
    value["ok"] = "\xC3\xA9";
    value["nul"] = Json::Value(std::string("a\0b", 3));
    const std::string text = KOVA::toString(value);
    EXPECT_TRUE(IsValidUtf8(text)) << text;
    EXPECT_EQ("{\"name\":\"lun-" + FFFD + FFFD + "\",\"nul\":\"a\\u0000b\",\"ok\":\"\xC3\xA9\"}", text);
    Json::Value back;
    ASSERT_TRUE(KOVA::fromString(back, text));
    EXPECT_EQ("lun-" + FFFD + FFFD, back["name"].asString());
}

} // namespace
