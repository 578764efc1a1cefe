// KOVA::toString and KOVA::fromString: compact one-line text, strict parsing, exact integers.
#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <memory>

#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

Json::Value Parse(const std::string& text)
{
    Json::Value v;
    EXPECT_TRUE(KOVA::fromString(v, text)) << text;
    return v;
}

TEST(JsonTextToString, CommentsAValueCarriesAreNotWritten)
{
    // Found by fuzzing the export manifest reader: JsonCpp's default reader keeps comments in
    // the value, and its writer wrote them out, which is no JSON.
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    const std::string text = "{\"a\": 1 // note\n, \"b\": /* x */ 2}";
    Json::Value value;
    std::string errors;
    ASSERT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
    EXPECT_EQ(KOVA::toString(value), R"({"a":1,"b":2})");
}

} // namespace

TEST(JsonTextToString, CompactOneLine)
{
    Json::Value v;
    v["name"] = "lun1";
    v["size"] = Json::UInt64(1073741824);
    v["list"].append(true);
    v["list"].append(Json::Value());
    v["list"].append("x");
    v["empty"] = Json::Value(Json::objectValue);
    EXPECT_EQ(KOVA::toString(v), R"({"empty":{},"list":[true,null,"x"],"name":"lun1","size":1073741824})");
}

TEST(JsonTextToString, Scalars)
{
    EXPECT_EQ(KOVA::toString(Json::Value()), "null");
    EXPECT_EQ(KOVA::toString(Json::Value(true)), "true");
    EXPECT_EQ(KOVA::toString(Json::Value(-5)), "-5");
    EXPECT_EQ(KOVA::toString(Json::Value("a\"b\n")), R"("a\"b\n")");
    EXPECT_EQ(KOVA::toString(Json::Value(Json::arrayValue)), "[]");
    EXPECT_EQ(KOVA::toString(Json::Value(Json::objectValue)), "{}");
}

TEST(JsonTextToString, NoLineBreaksInsideNestedValues)
{
    const Json::Value v = Parse(R"({"a":{"b":[1,{"c":[2,3]}]},"d":"e f"})");
    const std::string text = KOVA::toString(v);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(text, R"({"a":{"b":[1,{"c":[2,3]}]},"d":"e f"})");
}

TEST(JsonTextToString, Utf8StaysUtf8)
{
    EXPECT_EQ(KOVA::toString(Json::Value("caf\xc3\xa9")), "\"caf\xc3\xa9\"");
}

TEST(JsonTextFromString, AcceptsValidJsonOfEveryRootType)
{
    Json::Value v;
    EXPECT_TRUE(KOVA::fromString(v, R"({"a":[1,2]})"));
    EXPECT_EQ(v["a"][1], 2);
    EXPECT_TRUE(KOVA::fromString(v, "[1]"));
    EXPECT_TRUE(v.isArray());
    EXPECT_TRUE(KOVA::fromString(v, "5"));
    EXPECT_EQ(v, 5);
    EXPECT_TRUE(KOVA::fromString(v, "\"text\""));
    EXPECT_EQ(v, "text");
    EXPECT_TRUE(KOVA::fromString(v, "null"));
    EXPECT_TRUE(v.isNull());
    EXPECT_TRUE(KOVA::fromString(v, "  {\"a\" : 1}\n"));
    EXPECT_EQ(v["a"], 1);
}

TEST(JsonTextFromString, RefusesWhatIsNotJsonAndLeavesNull)
{
    for (const char* text : {"", "{", "{\"a\":1} x", "{} {}", "// c\n1", "/* c */ 1", "'x'", "NaN",
                             "Infinity", "lun1", "{a:1}", "[1 2]", "tru"}) {
        Json::Value v("previous");
        EXPECT_FALSE(KOVA::fromString(v, text)) << text;
        EXPECT_TRUE(v.isNull()) << text;
    }
}

TEST(JsonTextFromString, RefusesNestingDeeperThanTheLimitWithoutThrowing)
{
    const auto nested = [](int depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    Json::Value value;
    EXPECT_TRUE(KOVA::fromString(value, nested(KOVA::JSON_MAX_NESTING)));
    for (int depth : {KOVA::JSON_MAX_NESTING + 1, 1000, 100000}) {
        value = Json::Value(1);
        EXPECT_FALSE(KOVA::fromString(value, nested(depth))) << depth;
        EXPECT_TRUE(value.isNull()) << depth;
    }
    EXPECT_FALSE(KOVA::fromString(value, "{\"a\":" + std::string(5000, '{')));
}

TEST(JsonTextRoundTrip, TextToValueToTheSameText)
{
    const std::string text =
        R"({"a":[true,false,null],"b":{"c":-1,"d":"x\ty"},"e":18446744073709551615,"f":-9223372036854775808,"g":1.5})";
    const Json::Value v = Parse(text);
    EXPECT_EQ(KOVA::toString(v), text);
    Json::Value again;
    ASSERT_TRUE(KOVA::fromString(again, KOVA::toString(v)));
    EXPECT_EQ(again, v);
}

TEST(JsonTextExactness, Uint64MaxSurvivesBothWays)
{
    const Json::UInt64 max = std::numeric_limits<Json::UInt64>::max();
    EXPECT_EQ(KOVA::toString(Json::Value(max)), "18446744073709551615");
    const Json::Value v = Parse("18446744073709551615");
    EXPECT_TRUE(v.isUInt64());
    EXPECT_EQ(v.asUInt64(), max);
    const Json::Value nested = Parse(R"({"total_size":18446744073709551615,"sync_size":4294967297})");
    EXPECT_EQ(nested["total_size"].asUInt64(), max);
    EXPECT_EQ(nested["sync_size"].asUInt64(), 4294967297ull);
    EXPECT_EQ(KOVA::toString(nested), R"({"sync_size":4294967297,"total_size":18446744073709551615})");
}

TEST(JsonTextExactness, IntegersBeyondDoublePrecision)
{
    EXPECT_EQ(Parse("9007199254740993").asUInt64(), 9007199254740993ull);
    EXPECT_EQ(KOVA::toString(Json::Value(Json::UInt64(9007199254740993ull))), "9007199254740993");
    EXPECT_EQ(Parse("-9223372036854775808").asInt64(), std::numeric_limits<Json::Int64>::min());
    EXPECT_EQ(KOVA::toString(Json::Value(std::numeric_limits<Json::Int64>::min())), "-9223372036854775808");
}

TEST(JsonTextThreads, ConcurrentCallsGiveTheSameResults)
{
    const Json::Value v = Parse(R"({"a":[1,2,3],"b":"text","c":18446744073709551615})");
    const std::string expected = KOVA::toString(v);
    std::vector<int> mismatches(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &v, &expected, &mismatches] {
            for (int i = 0; i < 2000; ++i) {
                Json::Value parsed;
                if (KOVA::toString(v) != expected || !KOVA::fromString(parsed, expected) || parsed != v)
                    ++mismatches[t];
            }
        });
    }
    for (auto& th : threads)
        th.join();
    for (int t = 0; t < 4; ++t)
        EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}
