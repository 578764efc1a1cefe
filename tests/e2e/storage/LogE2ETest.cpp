// The service log through the real daemon, the shipped module and the real storage library:
// node settings changed over HTTP leave lines, log_list pages, filters and counts them,
// log_clear empties it, and log_export answers the CSV and HTML files byte for byte.
#include "RealDaemonTest.h"

#include <kova/JsonText.h>

#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

using namespace KOVATest;

namespace {

std::string IsoTime(long long time)
{
    const std::time_t t = static_cast<std::time_t>(time);
    std::tm tm{};
    char buffer[32];
    gmtime_r(&t, &tm);
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buffer;
}

class LogE2ETest : public RealDaemonTest {
protected:
    LogE2ETest() : RealDaemonTest("KOVA.Core.ISCSI.Node") {}

    void SetUp() override { StartDaemon(); }
};

TEST_F(LogE2ETest, ListClearAndExportThroughTheDaemon)
{
    // A cleared log holds the one line that says so.
    Json::Value cleared = Succeed("log_clear");
    EXPECT_TRUE(cleared.isNull());
    Json::Value data = Succeed("log_list");
    ASSERT_EQ(1u, data["logs"].size()) << data.toStyledString();
    EXPECT_EQ("The iSCSI log was cleared.", data["logs"][0]["message"].asString());
    EXPECT_EQ("info", data["logs"][0]["level"].asString());
    EXPECT_EQ("SYSTEM", data["logs"][0]["user"].asString());
    EXPECT_EQ(1u, data["summary"]["info_count"].asUInt64());
    EXPECT_EQ(1u, data["summary"]["total"].asUInt64());
    EXPECT_FALSE(data["summary"].isMember("warn_count"));
    EXPECT_FALSE(data["summary"].isMember("error_count"));

    // Settings changed through the Node API leave lines.
    Succeed("set", R"({"io_queue_length": 64})");
    Succeed("set", R"({"isns_enabled": false, "isns_address": ""})");
    Succeed("set", R"({"promote_storage_console": false})");
    // A refused value leaves none.
    const Json::Value refused = Post("set", R"({"io_queue_length": 5000})").Json();
    EXPECT_FALSE(refused["success"].asBool());
    EXPECT_EQ(18999173, refused["error"]["code"].asInt());

    data = Succeed("log_list", R"({"limit": 2})");
    ASSERT_EQ(2u, data["logs"].size());
    EXPECT_EQ("The storage console is no longer promoted.", data["logs"][0]["message"].asString());
    EXPECT_EQ("iSNS was disabled.", data["logs"][1]["message"].asString());
    EXPECT_EQ(4u, data["summary"]["info_count"].asUInt64());
    EXPECT_EQ(4u, data["summary"]["total"].asUInt64());

    data = Succeed("log_list", R"({"offset": 2, "keyword": "QUEUE"})");
    EXPECT_EQ(0u, data["logs"].size());
    EXPECT_EQ(1u, data["summary"]["total"].asUInt64());
    data = Succeed("log_list", R"({"keyword": "QUEUE"})");
    ASSERT_EQ(1u, data["logs"].size());
    EXPECT_EQ("The I/O queue length was set to 64.", data["logs"][0]["message"].asString());

    data = Succeed("log_list", R"({"log_level": ["err"]})");
    EXPECT_TRUE(data["logs"].isArray());
    EXPECT_EQ(0u, data["logs"].size());
    EXPECT_EQ(0u, data["summary"]["total"].asUInt64());
    EXPECT_FALSE(data["summary"].isMember("info_count"));

    // Reading with update_unread marks the lines read.
    data = Succeed("log_list", R"({"additional": ["unread", "update_unread"]})");
    EXPECT_EQ(4u, data["logs"].size());
    EXPECT_TRUE(data["logs"][0]["is_unread"].asBool());
    data = Succeed("log_list", R"({"additional": ["unread"]})");
    EXPECT_EQ(0u, data["logs"].size());

    // The exports hold every line, newest first, in the caller's filters.
    const Json::Value all = Succeed("log_list");
    ASSERT_EQ(4u, all["logs"].size());
    std::string csv = "Time,Level,User,Message\r\n";
    std::string rows;
    for (const Json::Value& line : all["logs"]) {
        const std::string time = IsoTime(line["time"].asInt64());
        csv += time + "," + line["level"].asString() + "," + line["user"].asString() + "," +
               line["message"].asString() + "\r\n";
        rows += "<tr><td>" + time + "</td><td>" + line["level"].asString() + "</td><td>" +
                line["user"].asString() + "</td><td>" + line["message"].asString() + "</td></tr>\n";
    }
    HttpResult exported = Post("log_export", R"({"export_format": "csv"})");
    ASSERT_TRUE(exported.Ok());
    EXPECT_EQ(200, exported.status);
    EXPECT_EQ("text/csv; charset=utf-8", exported.contentType);
    EXPECT_EQ(csv, exported.body);

    exported = Post("log_export", R"({"export_format": "html"})");
    ASSERT_TRUE(exported.Ok());
    EXPECT_EQ("text/html; charset=utf-8", exported.contentType);
    EXPECT_EQ("<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>iSCSI log</title>\n</head>\n"
              "<body>\n<table>\n<tr><th>Time</th><th>Level</th><th>User</th><th>Message</th></tr>\n" +
                  rows + "</table>\n</body>\n</html>\n",
              exported.body);

    exported = Post("log_export", R"({"export_format": "csv", "keyword": "iSNS", "log_level": ["info"]})");
    const std::string isnsTime = IsoTime(all["logs"][1]["time"].asInt64());
    EXPECT_EQ("Time,Level,User,Message\r\n" + isnsTime + ",info,SYSTEM,iSNS was disabled.\r\n",
              exported.body);

    // A format the handler does not know is refused in JSON, before output is turned off.
    const Json::Value bad = Post("log_export", R"({"export_format": "xml"})").Json();
    EXPECT_FALSE(bad["success"].asBool());
    EXPECT_EQ(18991131, bad["error"]["code"].asInt());

    // Clearing again leaves only the new line.
    Succeed("log_clear");
    data = Succeed("log_list");
    ASSERT_EQ(1u, data["logs"].size());
    EXPECT_EQ("The iSCSI log was cleared.", data["logs"][0]["message"].asString());
}

TEST_F(LogE2ETest, NodeSettingsAndKeysThroughTheDaemon)
{
    Json::Value data = Succeed("get");
    ASSERT_TRUE(data["rod_key"].isString());
    EXPECT_EQ(64u, data["rod_key"].asString().size());
    ASSERT_TRUE(data["status"].isInt());
    const std::string rodKey = data["rod_key"].asString();

    Succeed("set",
            R"({"io_queue_length": 256, "ep_unmap_buf_mode": 1, "tp_hard_threshold_bytes": 4294967297})");
    data =
        Succeed("get", R"({"additional": ["no_rod_key", "no_status", "io_queue_length", "ep_unmap_buf_mode",
                                            "tp_hard_threshold_bytes", "promote_storage_console", "isns_info",
                                            "iqn_hash_key", "ep_buf_mapped_size"]})");
    EXPECT_FALSE(data.isMember("rod_key"));
    EXPECT_EQ(256, data["io_queue_length"].asInt());
    EXPECT_EQ(1, data["ep_unmap_buf_mode"].asInt());
    EXPECT_EQ(4294967297ULL, data["tp_hard_threshold_bytes"].asUInt64());
    EXPECT_TRUE(data["promote_storage_console"].asBool());
    EXPECT_FALSE(data["isns_enabled"].asBool());
    EXPECT_EQ(32u, data["iqn_hash_key"].asString().size());
    ASSERT_TRUE(data["ep_buf_mapped_size"].isArray());
    EXPECT_EQ("/volume1", data["ep_buf_mapped_size"][0]["root_path"].asString());

    data = Succeed("get", R"({"iscsi_dir_root_path": "/volume1", "additional": ["no_status"]})");
    EXPECT_EQ(rodKey, data["rod_key"].asString());
    EXPECT_EQ("/volume1/@iscsi", data["iscsi_dir_path"].asString());
    const Json::Value notVolume = Post("get", R"({"iscsi_dir_root_path": "/volume7"})").Json();
    EXPECT_EQ(18999175, notVolume["error"]["code"].asInt());
}

TEST_F(LogE2ETest, VLUNsThroughTheDaemon)
{
    const std::string lunApi = "KOVA.Core.ISCSI.LUN";
    const std::string vlunApi = "KOVA.Core.ISCSI.VLUN";
    const Json::Value lun = Succeed(
        "create", R"({"name":"vlun-src","type":"THIN","location":"/volume1","size":6442450944})", lunApi);
    const std::string lunUuid = lun["uuid"].asString();
    ASSERT_EQ(36u, lunUuid.size());

    const Json::Value created =
        Succeed("create", R"({"src_lun_uuid":")" + lunUuid + R"(","type":1})", vlunApi);
    const std::string uuid = created["uuid"].asString();
    ASSERT_EQ(36u, uuid.size());
    EXPECT_NE(lunUuid, uuid);

    const Json::Value status = Succeed("get", R"({"uuid":")" + uuid + R"("})", vlunApi);
    EXPECT_EQ(0, status["status"].asInt());
    EXPECT_EQ(0u, status["sync_size"].asUInt64());
    EXPECT_EQ(6442450944ULL, status["total_size"].asUInt64());

    // A source LUN that does not exist, and binding, which is not offered yet.
    const Json::Value missing =
        Post("create", R"({"src_lun_uuid":"00000000-0000-4000-8000-000000000000","type":2})", vlunApi).Json();
    EXPECT_EQ(18990505, missing["error"]["code"].asInt());
    const Json::Value bind =
        Post("bind",
             R"({"uuid":")" + uuid +
                 R"(","dst_node_uuid":"n1","dst_lun_uuid":"00000000-0000-4000-8000-000000000000",)"
                 R"("portals":["127.0.0.1:3260"]})",
             vlunApi)
            .Json();
    EXPECT_EQ(18999001, bind["error"]["code"].asInt());

    Succeed("delete", R"({"uuid":")" + uuid + R"("})", vlunApi);
    const Json::Value gone = Post("get", R"({"uuid":")" + uuid + R"("})", vlunApi).Json();
    EXPECT_EQ(18991001, gone["error"]["code"].asInt());
    // The VLUN's own lines (the source LUN's name holds the keyword too).
    const Json::Value lines = Succeed("log_list", R"({"keyword":"VLUN"})");
    std::vector<std::string> vlunLines;
    for (const Json::Value& line : lines["logs"])
        if (line["message"].asString().rfind("VLUN ", 0) == 0)
            vlunLines.push_back(line["message"].asString());
    ASSERT_EQ(2u, vlunLines.size()) << KOVA::toString(lines);
    EXPECT_EQ("VLUN " + uuid + " was deleted.", vlunLines[0]);
}

} // namespace
