// The typed readers of KOVA::APIRequest: JSON types are followed strictly, ranges are checked,
// necessity and validators decide validity, and IsSet tells what the request gave.
#include <kova/APIRequest.h>
#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
#include <string>

using KOVA::APIRequest;

namespace {

Json::Value Parse(const std::string& text)
{
    Json::Value v;
    EXPECT_TRUE(KOVA::fromString(v, text)) << text;
    return v;
}

// A request whose only parameter "p" has the JSON value text.
APIRequest With(const std::string& text)
{
    return APIRequest(Parse("{\"p\":" + text + "}"));
}

// Values of every JSON type, for readers to refuse.
const char* const ALL_TYPES[] = {"null",  "true", "1",  "-1",  "1.5", "1.0",
                                 "\"1\"", "\"\"", "[]", "[1]", "{}",  "{\"a\":1}"};

bool IsYes(const std::string& s)
{
    return s == "yes";
}
bool IsPositiveInt(const int& v)
{
    return v > 0;
}
bool IsTrue(const bool& v)
{
    return v;
}
bool IsNonEmpty(const Json::Value& v)
{
    return !v.empty();
}
bool IsEvenUInt(const unsigned int& v)
{
    return v % 2 == 0;
}
bool IsNotMaxULL(const unsigned long long& v)
{
    return v != ULLONG_MAX;
}

int validatorCalls = 0;
bool CountingStringValidator(const std::string&)
{
    ++validatorCalls;
    return true;
}

} // namespace

TEST(APIRequest, NecessityValues)
{
    EXPECT_EQ(APIRequest::PARAM_REQUIRED, 0);
    EXPECT_EQ(APIRequest::PARAM_OPTIONAL, 1);
}

// ---------------------------------------------------------------- strings

TEST(APIRequestString, ReadsAString)
{
    const auto p = With("\"lun1\"").GetAndCheckString("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(p.IsInvalid());
    EXPECT_TRUE(p.IsSet());
    EXPECT_EQ(p.Get(), "lun1");
    EXPECT_EQ(p.Get("default"), "lun1");
}

TEST(APIRequestString, RefusesEveryOtherJsonType)
{
    for (const char* text : ALL_TYPES) {
        if (text[0] == '"')
            continue;
        const auto p = With(text).GetAndCheckString("p", APIRequest::PARAM_OPTIONAL, nullptr);
        EXPECT_TRUE(p.IsInvalid()) << text;
        EXPECT_TRUE(p.IsSet()) << text;
        EXPECT_EQ(p.Get(), "") << text;
        EXPECT_EQ(p.Get("default"), "default") << text;
    }
}

TEST(APIRequestString, ValidatorDecides)
{
    const auto yes = With("\"yes\"").GetAndCheckString("p", APIRequest::PARAM_REQUIRED, IsYes);
    EXPECT_FALSE(yes.IsInvalid());
    const auto no = With("\"no\"").GetAndCheckString("p", APIRequest::PARAM_REQUIRED, IsYes);
    EXPECT_TRUE(no.IsInvalid());
    EXPECT_TRUE(no.IsSet());
    // The reader took the value; only the validator refused it.
    EXPECT_EQ(no.Get(), "no");
    EXPECT_EQ(no.Get("default"), "no");
}

TEST(APIRequestString, TheValidatorSeesOnlyValuesOfItsType)
{
    validatorCalls = 0;
    With("5").GetAndCheckString("p", APIRequest::PARAM_REQUIRED, CountingStringValidator);
    APIRequest(Parse("{}")).GetAndCheckString("p", APIRequest::PARAM_REQUIRED, CountingStringValidator);
    EXPECT_EQ(validatorCalls, 0);
    With("\"x\"").GetAndCheckString("p", APIRequest::PARAM_REQUIRED, CountingStringValidator);
    EXPECT_EQ(validatorCalls, 1);
}

TEST(APIRequestString, EmptyStringIsAValueLikeAnyOther)
{
    const auto p = With("\"\"").GetAndCheckString("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(p.IsInvalid());
    EXPECT_TRUE(p.IsSet());
    EXPECT_EQ(p.Get("default"), "");
}

// ---------------------------------------------------------------- missing parameters

TEST(APIRequestMissing, RequiredIsInvalidOptionalIsNot)
{
    const APIRequest request(Parse(R"({"other":1})"));
    const auto required = request.GetAndCheckString("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_TRUE(required.IsInvalid());
    EXPECT_FALSE(required.IsSet());
    const auto optional = request.GetAndCheckString("p", APIRequest::PARAM_OPTIONAL, IsYes);
    EXPECT_FALSE(optional.IsInvalid());
    EXPECT_FALSE(optional.IsSet());
    EXPECT_EQ(optional.Get(), "");
    EXPECT_EQ(optional.Get("default"), "default");

    EXPECT_TRUE(request.GetAndCheckInt("p", APIRequest::PARAM_REQUIRED, nullptr).IsInvalid());
    EXPECT_FALSE(request.GetAndCheckInt("p", APIRequest::PARAM_OPTIONAL, nullptr).IsInvalid());
    EXPECT_EQ(request.GetAndCheckInt("p", APIRequest::PARAM_OPTIONAL, nullptr).Get(-1), -1);
    EXPECT_TRUE(request.GetAndCheckBool("p", APIRequest::PARAM_REQUIRED, nullptr).IsInvalid());
    EXPECT_TRUE(request.GetAndCheckArray("p", APIRequest::PARAM_REQUIRED, nullptr).IsInvalid());
    EXPECT_TRUE(request.GetAndCheckObject("p", APIRequest::PARAM_REQUIRED, nullptr).IsInvalid());
    EXPECT_TRUE(
        request.GetAndCheckIntegral<unsigned int>("p", APIRequest::PARAM_REQUIRED, nullptr).IsInvalid());
    EXPECT_TRUE(request.GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_REQUIRED, nullptr)
                    .IsInvalid());
    EXPECT_EQ(
        request.GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_OPTIONAL, nullptr).Get(7ull),
        7ull);
}

TEST(APIRequestMissing, NullIsAGivenValueNotAMissingOne)
{
    const auto p = With("null").GetAndCheckString("p", APIRequest::PARAM_OPTIONAL, nullptr);
    EXPECT_TRUE(p.IsSet());
    EXPECT_TRUE(p.IsInvalid());
}

TEST(APIRequestMissing, NamesAreMatchedExactly)
{
    const APIRequest request(Parse(R"({"Uuid":"u"})"));
    EXPECT_FALSE(request.GetAndCheckString("uuid", APIRequest::PARAM_OPTIONAL, nullptr).IsSet());
    EXPECT_TRUE(request.GetAndCheckString("Uuid", APIRequest::PARAM_OPTIONAL, nullptr).IsSet());
}

// ---------------------------------------------------------------- int

TEST(APIRequestInt, ReadsTheWholeIntRange)
{
    EXPECT_EQ(With("0").GetAndCheckInt("p", APIRequest::PARAM_REQUIRED, nullptr).Get(), 0);
    EXPECT_EQ(With("-5").GetAndCheckInt("p", APIRequest::PARAM_REQUIRED, nullptr).Get(), -5);
    const auto max = With("2147483647").GetAndCheckInt("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(max.IsInvalid());
    EXPECT_EQ(max.Get(), INT_MAX);
    const auto min = With("-2147483648").GetAndCheckInt("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(min.IsInvalid());
    EXPECT_EQ(min.Get(), INT_MIN);
}

TEST(APIRequestInt, RefusesOutOfRangeFractionsRealsAndOtherTypes)
{
    for (const char* text :
         {"2147483648", "-2147483649", "4294967296", "18446744073709551615", "-9223372036854775808", "1.5",
          "1.0", "-0.5", "1e3", "\"1\"", "true", "null", "[1]", "{}"}) {
        const auto p = With(text).GetAndCheckInt("p", APIRequest::PARAM_REQUIRED, nullptr);
        EXPECT_TRUE(p.IsInvalid()) << text;
        EXPECT_TRUE(p.IsSet()) << text;
        EXPECT_EQ(p.Get(), 0) << text;
        EXPECT_EQ(p.Get(-7), -7) << text;
    }
}

TEST(APIRequestInt, ValidatorDecides)
{
    EXPECT_FALSE(With("3").GetAndCheckInt("p", APIRequest::PARAM_REQUIRED, IsPositiveInt).IsInvalid());
    const auto zero = With("0").GetAndCheckInt("p", APIRequest::PARAM_REQUIRED, IsPositiveInt);
    EXPECT_TRUE(zero.IsInvalid());
    EXPECT_TRUE(zero.IsSet());
}

// ---------------------------------------------------------------- unsigned int

TEST(APIRequestUnsignedInt, ReadsZeroToMax)
{
    const auto zero = With("0").GetAndCheckIntegral<unsigned int>("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(zero.IsInvalid());
    EXPECT_EQ(zero.Get(), 0u);
    const auto max =
        With("4294967295").GetAndCheckIntegral<unsigned int>("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(max.IsInvalid());
    EXPECT_EQ(max.Get(), UINT_MAX);
}

TEST(APIRequestUnsignedInt, RefusesNegativesOutOfRangeFractionsAndOtherTypes)
{
    for (const char* text : {"-1", "-4294967295", "4294967296", "18446744073709551615", "1.5", "2.0", "\"1\"",
                             "false", "null", "[]", "{}"}) {
        const auto p = With(text).GetAndCheckIntegral<unsigned int>("p", APIRequest::PARAM_REQUIRED, nullptr);
        EXPECT_TRUE(p.IsInvalid()) << text;
        EXPECT_TRUE(p.IsSet()) << text;
        EXPECT_EQ(p.Get(9u), 9u) << text;
    }
}

TEST(APIRequestUnsignedInt, ValidatorDecides)
{
    EXPECT_FALSE(
        With("4").GetAndCheckIntegral<unsigned int>("p", APIRequest::PARAM_REQUIRED, IsEvenUInt).IsInvalid());
    EXPECT_TRUE(
        With("5").GetAndCheckIntegral<unsigned int>("p", APIRequest::PARAM_REQUIRED, IsEvenUInt).IsInvalid());
}

// ---------------------------------------------------------------- unsigned long long

TEST(APIRequestUnsignedLongLong, ReadsTheWhole64BitRangeExactly)
{
    const auto max = With("18446744073709551615")
                         .GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(max.IsInvalid());
    EXPECT_EQ(max.Get(), ULLONG_MAX);
    const auto big = With("9007199254740993")
                         .GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_EQ(big.Get(), 9007199254740993ull);
    const auto above4g =
        With("4294967296").GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_EQ(above4g.Get(), 4294967296ull);
    EXPECT_EQ(
        With("0").GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_REQUIRED, nullptr).Get(1ull),
        0ull);
}

TEST(APIRequestUnsignedLongLong, RefusesNegativesFractionsRealsAndOtherTypes)
{
    for (const char* text : {"-1", "-9223372036854775808", "1.5", "1e19", "18446744073709551616",
                             "\"18446744073709551615\"", "true", "null", "[1]", "{}"}) {
        const auto p =
            With(text).GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_REQUIRED, nullptr);
        EXPECT_TRUE(p.IsInvalid()) << text;
        EXPECT_TRUE(p.IsSet()) << text;
        EXPECT_EQ(p.Get(), 0ull) << text;
        EXPECT_EQ(p.Get(3ull), 3ull) << text;
    }
}

TEST(APIRequestUnsignedLongLong, ValidatorDecides)
{
    EXPECT_TRUE(With("18446744073709551615")
                    .GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_REQUIRED, IsNotMaxULL)
                    .IsInvalid());
    EXPECT_FALSE(With("1")
                     .GetAndCheckIntegral<unsigned long long>("p", APIRequest::PARAM_REQUIRED, IsNotMaxULL)
                     .IsInvalid());
}

// ---------------------------------------------------------------- bool

TEST(APIRequestBool, ReadsTrueAndFalseOnly)
{
    EXPECT_TRUE(With("true").GetAndCheckBool("p", APIRequest::PARAM_REQUIRED, nullptr).Get());
    const auto f = With("false").GetAndCheckBool("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(f.IsInvalid());
    EXPECT_FALSE(f.Get(true));
    for (const char* text : {"1", "0", "\"true\"", "null", "[]", "{}", "1.0"}) {
        const auto p = With(text).GetAndCheckBool("p", APIRequest::PARAM_REQUIRED, nullptr);
        EXPECT_TRUE(p.IsInvalid()) << text;
        EXPECT_TRUE(p.IsSet()) << text;
        EXPECT_TRUE(p.Get(true)) << text;
    }
}

TEST(APIRequestBool, ValidatorDecides)
{
    EXPECT_TRUE(With("false").GetAndCheckBool("p", APIRequest::PARAM_REQUIRED, IsTrue).IsInvalid());
    EXPECT_FALSE(With("true").GetAndCheckBool("p", APIRequest::PARAM_REQUIRED, IsTrue).IsInvalid());
}

// ---------------------------------------------------------------- arrays and objects

TEST(APIRequestArray, ReadsArraysOnly)
{
    const auto a = With("[\"x\",2]").GetAndCheckArray("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(a.IsInvalid());
    EXPECT_EQ(a.Get(), Parse("[\"x\",2]"));
    // A null validator takes the empty array too.
    EXPECT_FALSE(With("[]").GetAndCheckArray("p", APIRequest::PARAM_REQUIRED, nullptr).IsInvalid());
    for (const char* text : {"{}", "\"[]\"", "null", "1"}) {
        const auto p = With(text).GetAndCheckArray("p", APIRequest::PARAM_REQUIRED, nullptr);
        EXPECT_TRUE(p.IsInvalid()) << text;
        EXPECT_TRUE(p.IsSet()) << text;
        EXPECT_TRUE(p.Get().isNull()) << text;
    }
    EXPECT_TRUE(With("[]").GetAndCheckArray("p", APIRequest::PARAM_REQUIRED, IsNonEmpty).IsInvalid());
    EXPECT_FALSE(With("[1]").GetAndCheckArray("p", APIRequest::PARAM_REQUIRED, IsNonEmpty).IsInvalid());
}

TEST(APIRequestArray, GetWithDefault)
{
    const Json::Value fallback = Parse("[\"d\"]");
    EXPECT_EQ(With("5").GetAndCheckArray("p", APIRequest::PARAM_OPTIONAL, nullptr).Get(fallback), fallback);
    EXPECT_EQ(
        APIRequest(Parse("{}")).GetAndCheckArray("p", APIRequest::PARAM_OPTIONAL, nullptr).Get(fallback),
        fallback);
    EXPECT_EQ(With("[1]").GetAndCheckArray("p", APIRequest::PARAM_OPTIONAL, nullptr).Get(fallback),
              Parse("[1]"));
}

TEST(APIRequestObject, ReadsObjectsOnly)
{
    const auto o = With("{\"k\":[1]}").GetAndCheckObject("p", APIRequest::PARAM_REQUIRED, nullptr);
    EXPECT_FALSE(o.IsInvalid());
    EXPECT_EQ(o.Get(), Parse("{\"k\":[1]}"));
    EXPECT_FALSE(With("{}").GetAndCheckObject("p", APIRequest::PARAM_REQUIRED, nullptr).IsInvalid());
    EXPECT_TRUE(With("{}").GetAndCheckObject("p", APIRequest::PARAM_REQUIRED, IsNonEmpty).IsInvalid());
    for (const char* text : {"[]", "\"{}\"", "null", "true"}) {
        const auto p = With(text).GetAndCheckObject("p", APIRequest::PARAM_REQUIRED, nullptr);
        EXPECT_TRUE(p.IsInvalid()) << text;
        EXPECT_TRUE(p.IsSet()) << text;
    }
}

// ---------------------------------------------------------------- raw parameters

TEST(APIRequestGetParam, TheEmptyNameGivesTheWholeObject)
{
    const Json::Value params = Parse(R"({"uuid":"u","size":18446744073709551615,"list":[1,2]})");
    const APIRequest request(params);
    EXPECT_EQ(request.GetParam("", Json::Value()), params);
    EXPECT_EQ(request.GetParam("", Json::Value()).toStyledString(), params.toStyledString());
}

TEST(APIRequestGetParam, ANamedParameterOrTheDefault)
{
    const APIRequest request(Parse(R"({"uuid":"u","n":1.5,"nothing":null})"));
    EXPECT_EQ(request.GetParam("uuid", Json::Value("d")), "u");
    // Raw: whatever type the request gave.
    EXPECT_EQ(request.GetParam("n", Json::Value()), Json::Value(1.5));
    EXPECT_TRUE(request.GetParam("nothing", Json::Value("d")).isNull());
    EXPECT_EQ(request.GetParam("absent", Json::Value("d")), "d");
    EXPECT_TRUE(request.GetParam("absent", Json::Value()).isNull());
}

TEST(APIRequestGetParam, ParamsThatAreNoObjectAreNoParameters)
{
    for (const char* text : {"null", "[1,2]", "\"p\"", "5"}) {
        const APIRequest request(Parse(text));
        EXPECT_EQ(request.GetParam("", Json::Value()), Json::Value(Json::objectValue)) << text;
        EXPECT_FALSE(request.GetAndCheckString("p", APIRequest::PARAM_OPTIONAL, nullptr).IsSet()) << text;
    }
    const APIRequest empty;
    EXPECT_EQ(empty.GetParam("", Json::Value()), Json::Value(Json::objectValue));
}

TEST(APIRequestCaller, RemoteAddressUserAndSession)
{
    const APIRequest request(Parse("{}"), "192.0.2.7", "admin", "sid-1");
    EXPECT_EQ(request.GetRemoteIP(), "192.0.2.7");
    EXPECT_EQ(request.GetLoginUserName(), "admin");
    EXPECT_EQ(request.GetSessionID(), "sid-1");
    const APIRequest anonymous(Parse("{}"));
    EXPECT_EQ(anonymous.GetRemoteIP(), "");
    EXPECT_EQ(anonymous.GetLoginUserName(), "");
    EXPECT_EQ(anonymous.GetSessionID(), "");
}
