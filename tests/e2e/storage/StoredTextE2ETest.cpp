// Text stored before requests were checked (a LUN name and a service log line with bytes that
// are not UTF-8) goes out of the real daemon as valid UTF-8: the bad bytes become U+FFFD in the
// JSON replies and in the log export. Requests that would store such text are refused.
#include "RealDaemonTest.h"
#include "config/ConfigDB.h"

#include <kova/JsonText.h>
#include <kova/Utf8Text.h>

#include <gtest/gtest.h>

#include <string>

using namespace KOVATest;

namespace {

const std::string FFFD = "\xEF\xBF\xBD";

class StoredTextE2ETest : public RealDaemonTest {
protected:
    StoredTextE2ETest() : RealDaemonTest("KOVA.Core.ISCSI.LUN") {}

    void SetUp() override { StartDaemon(); }

    // Runs one statement on the daemon's database from outside, as an older release or a
    // hand edit could have written it.
    void Write(const char* sql, const std::string& first, const std::string& second)
    {
        ISCSI::Storage::ConfigDB db;
        std::string error;
        ASSERT_TRUE(db.open(daemon_->DataDir() + "/iscsi.db", error)) << error;
        ISCSI::Storage::Statement statement(db, sql);
        ASSERT_TRUE(statement.bind(1, first).bind(2, second).run());
    }
};

TEST_F(StoredTextE2ETest, StoredNamesThatAreNotUtf8GoOutAsReplacementCharacters)
{
    const Json::Value created =
        Succeed("create", R"({"name":"lun-text","type":"THIN","location":"/volume1","size":1048576})");
    const std::string uuid = created["uuid"].asString();
    Write("UPDATE luns SET name = ?1 WHERE uuid = ?2;", "lun-\xFF\xC3(", uuid);

    const HttpResult list = Post("list", "{}");
    EXPECT_EQ(200, list.status);
    EXPECT_TRUE(KOVA::IsValidUtf8(list.body)) << list.body;
    Json::Value reply;
    ASSERT_TRUE(KOVA::fromString(reply, list.body)) << list.body;
    ASSERT_EQ(1u, reply["data"]["luns"].size()) << list.body;
    EXPECT_EQ("lun-" + FFFD + FFFD + "(", reply["data"]["luns"][0]["name"].asString());

    // A new name with such bytes is refused at the door.
    const HttpResult refused = Post(
        "create", "{\"name\":\"lun-\xFF\",\"type\":\"THIN\",\"location\":\"/volume1\",\"size\":1048576}");
    EXPECT_EQ(400, refused.status);
    EXPECT_EQ(109, refused.Json()["error"]["code"].asInt()) << refused.body;
}

TEST_F(StoredTextE2ETest, TheLogExportIsValidUtf8WhateverTheLinesHold)
{
    Write("INSERT INTO service_log (time, level, user, message) VALUES (1700000000, 'info', ?1, ?2);",
          "SYSTEM", "LUN lun-\xFE was created.");
    const HttpResult csv = Post("log_export", R"({"export_format": "csv"})", "KOVA.Core.ISCSI.Node");
    EXPECT_EQ(200, csv.status);
    EXPECT_TRUE(KOVA::IsValidUtf8(csv.body)) << csv.body;
    EXPECT_NE(std::string::npos, csv.body.find("LUN lun-" + FFFD + " was created.")) << csv.body;
    const HttpResult list = Post("log_list", "{}", "KOVA.Core.ISCSI.Node");
    EXPECT_TRUE(KOVA::IsValidUtf8(list.body)) << list.body;
    EXPECT_NE(std::string::npos, list.body.find("lun-" + FFFD)) << list.body;
}

} // namespace
