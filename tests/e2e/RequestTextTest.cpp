// The text check of requests at the entry points: bodies, fields and escapes that are not
// UTF-8 or stand for NUL are refused with WEBAPI_ERR_BAD_TEXT; clean ones pass.
#include "RequestText.h"

#include <kova/WebAPIErrors.h>

#include <gtest/gtest.h>

#include <string>

using namespace KOVA::Daemon;

namespace {

EntryInput JsonInput(const std::string& body)
{
    EntryInput in;
    in.contentType = "application/json";
    in.body = body;
    return in;
}

EntryInput FormInput(const std::string& body)
{
    EntryInput in;
    in.contentType = "application/x-www-form-urlencoded";
    in.body = body;
    return in;
}

TEST(RequestTextJsonEscapes, NulAndLoneSurrogatesAreRefused)
{
    EXPECT_TRUE(JsonEscapesAreClean(R"({"a":"b\n\"\\u0000"})"));
    EXPECT_TRUE(JsonEscapesAreClean(R"({"a":"\u00e9\ud83d\ude00\u0041"})"));
    EXPECT_FALSE(JsonEscapesAreClean(R"({"a":"\u0000"})"));
    EXPECT_FALSE(JsonEscapesAreClean(R"({"a\u0000":1})"));
    EXPECT_FALSE(JsonEscapesAreClean(R"({"a":"\\\u0000"})"));
    EXPECT_FALSE(JsonEscapesAreClean(R"({"a":"\udc00"})"));
    EXPECT_FALSE(JsonEscapesAreClean(R"({"a":"\ud800x"})"));
    EXPECT_FALSE(JsonEscapesAreClean(R"({"a":"\ud800\u0041"})"));
}

TEST(RequestText, CleanRequestsPass)
{
    EXPECT_EQ(0, CheckRequestText(
                     JsonInput(R"({"api":"A","version":1,"method":"m","params":{"n":"\u00e9t\u00e9"}})")));
    EXPECT_EQ(0, CheckRequestText(JsonInput("{\"params\":{\"n\":\"\xC3\xA9t\xC3\xA9\"}}")));
    EXPECT_EQ(0, CheckRequestText(FormInput("api=A&name=%C3%A9t%C3%A9&x=%2B")));
    EntryInput query;
    query.query = {{"api", "A"}, {"name", "\xE2\x82\xAC"}};
    EXPECT_EQ(0, CheckRequestText(query));
}

TEST(RequestText, JsonBodiesWithBadTextAreRefused)
{
    for (const std::string& body :
         {std::string("{\"params\":{\"name\":\"lun\xFF\"}}"),
          std::string("{\"params\":{\"na\xC0\xAFme\":1}}"),
          std::string("{\"params\":{\"name\":\"a\0b\"}}", 25),
          std::string(R"({"params":{"name":"a\u0000b"}})"), std::string(R"({"params":{"name":"\udc00"}})"),
          std::string(R"({"other":["\u0000"]})")})
        EXPECT_EQ(KOVA::WEBAPI_ERR_BAD_TEXT, CheckRequestText(JsonInput(body))) << body;
}

TEST(RequestText, FormQueryAndMultipartFieldsWithBadTextAreRefused)
{
    for (const char* form : {"name=lun%00", "na%00me=1", "name=%FF", "name=%ED%A0%80", "n%C3=1"})
        EXPECT_EQ(KOVA::WEBAPI_ERR_BAD_TEXT, CheckRequestText(FormInput(form))) << form;

    EntryInput query;
    query.query = {{"name", std::string("a\0", 2)}};
    EXPECT_EQ(KOVA::WEBAPI_ERR_BAD_TEXT, CheckRequestText(query));
    query.query = {{"\xFF", "1"}};
    EXPECT_EQ(KOVA::WEBAPI_ERR_BAD_TEXT, CheckRequestText(query));

    EntryInput multipart;
    multipart.multipart = true;
    multipart.parts = {{"name", "lun\xFE"}};
    EXPECT_EQ(KOVA::WEBAPI_ERR_BAD_TEXT, CheckRequestText(multipart));
}

TEST(RequestText, FieldValuesReadAsJsonAreCheckedAsTheyWereRead)
{
    // The text sent is clean, but the field's value parses as JSON holding a NUL.
    EntryInput in = FormInput("api=A&version=1&method=m&name=%22a%5Cu0000%22");
    EXPECT_EQ(0, CheckRequestText(in));
    EntryCall call;
    ASSERT_EQ(0, ReadFieldCall(DecodeForm(in.body), call));
    EXPECT_EQ(KOVA::WEBAPI_ERR_BAD_TEXT, CheckCallText(in, call));

    EntryInput clean = FormInput("api=A&version=1&method=m&name=%22a%5Cu00e9%22");
    EntryCall cleanCall;
    ASSERT_EQ(0, ReadFieldCall(DecodeForm(clean.body), cleanCall));
    EXPECT_EQ(0, CheckCallText(clean, cleanCall));
}

} // namespace
