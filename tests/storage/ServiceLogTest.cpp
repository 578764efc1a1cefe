// The service log of the storage library on a temporary data directory: appending and trimming,
// every filter of a listing, paging, level counts, the unread flags, clearing, and the CSV and
// HTML exports written to a request's output.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILogInfo.h>
#include <kova/APIResponse.h>

#include "StorageTestSupport.h"
#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "log/ServiceLog.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace {

using ISCSI::ISCSILogInfo;
using ISCSI::Storage::ConfigDB;
using namespace KovaStorageTest;

using Counts = std::map<std::string, unsigned long long>;

class ServiceLogTest : public StorageLibraryTest {
protected:
    ServiceLogTest() : StorageLibraryTest("servicelog") {}

    // Appends a line with a given time; fails the test when it is not written.
    void Append(long long time, const std::string& level, const std::string& user, const std::string& message,
                long long maxLines = ISCSI::Storage::kServiceLogMaxLines)
    {
        const int rc = LibraryContext::With([&](LibraryContext& ctx) {
            return ISCSI::Storage::AppendServiceLogLine(ctx.db(), time, level, user, message, maxLines) ? 0
                                                                                                        : 1;
        });
        ASSERT_EQ(0, rc);
    }

    // Lines at the times 100, 200, ... 600 with levels and texts to filter on.
    void AppendSample()
    {
        Append(100, "info", "SYSTEM", "Target tgt-a was created.");
        Append(200, "warning", "admin", "Initiator iqn.x was refused on tgt-a.");
        Append(300, "err", "SYSTEM", "Clone of LUN lun-b failed.");
        Append(400, "info", "operator", "LUN lun-b was deleted.");
        Append(500, "info", "SYSTEM", "Snapshot 100% done_now.");
        Append(600, "warning", "SYSTEM", "LUN lun-c is nearly full.");
    }

    static int List(std::vector<ISCSILogInfo>& logs, Counts& counts, int flags = 0, int limit = -1,
                    int offset = 0, int dateFrom = -1, int dateTo = -1,
                    const std::vector<std::string>& levels = {}, const std::string& keyword = "")
    {
        logs.clear();
        counts.clear();
        return ISCSILogInfo::ListLog(flags, limit, offset, dateFrom, dateTo, levels, keyword, logs, counts);
    }

    static std::vector<long long> Times(const std::vector<ISCSILogInfo>& logs)
    {
        std::vector<long long> times;
        for (const ISCSILogInfo& line : logs)
            times.push_back(line.time);
        return times;
    }

    // Runs ExportLog inside a request scope whose output is captured.
    static int Export(const std::string& format, std::string& contentType, std::string& body,
                      int dateFrom = -1, int dateTo = -1, const std::vector<std::string>& levels = {},
                      const std::string& keyword = "")
    {
        KOVA::APIResponse response;
        response.SetOutputSink([&](const std::string& type, const std::string& bytes) {
            contentType = type;
            body += bytes;
        });
        KOVA::APIOutputScope scope(&response);
        return ISCSILogInfo::ExportLog(format, dateFrom, dateTo, levels, keyword);
    }
};

TEST_F(ServiceLogTest, EmptyLogListsNothingAndCountsNothing)
{
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts));
    EXPECT_TRUE(logs.empty());
    EXPECT_TRUE(counts.empty());
}

TEST_F(ServiceLogTest, WriteServiceLogAppendsAnUnreadLineOfNow)
{
    const long long before = static_cast<long long>(time(nullptr));
    LibraryContext::With([](LibraryContext& ctx) {
        ISCSI::Storage::WriteServiceLog(ctx.db(), "warning", "SYSTEM", "Target t1 was disabled.");
        return 0;
    });
    const long long after = static_cast<long long>(time(nullptr));
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts));
    ASSERT_EQ(1u, logs.size());
    EXPECT_GE(logs[0].time, before);
    EXPECT_LE(logs[0].time, after);
    EXPECT_EQ("warning", logs[0].level);
    EXPECT_EQ("SYSTEM", logs[0].user);
    EXPECT_EQ("Target t1 was disabled.", logs[0].message);
    EXPECT_TRUE(logs[0].is_unread);
    EXPECT_GT(logs[0].id, 0u);
    EXPECT_EQ((Counts{{"warning", 1}}), counts);
}

TEST_F(ServiceLogTest, ListsNewestFirstWithTiesByLaterLine)
{
    Append(200, "info", "SYSTEM", "b");
    Append(100, "info", "SYSTEM", "a");
    Append(200, "info", "SYSTEM", "c");
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts));
    ASSERT_EQ(3u, logs.size());
    EXPECT_EQ("c", logs[0].message);
    EXPECT_EQ("b", logs[1].message);
    EXPECT_EQ("a", logs[2].message);
}

TEST_F(ServiceLogTest, PagingCountsEveryFilteredLine)
{
    AppendSample();
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts, 0, 2, 1));
    EXPECT_EQ((std::vector<long long>{500, 400}), Times(logs));
    EXPECT_EQ((Counts{{"err", 1}, {"info", 3}, {"warning", 2}}), counts);

    ASSERT_EQ(0, List(logs, counts, 0, -1, 4));
    EXPECT_EQ((std::vector<long long>{200, 100}), Times(logs));
    ASSERT_EQ(0, List(logs, counts, 0, 0, 0));
    EXPECT_TRUE(logs.empty());
    EXPECT_EQ(6u, counts["info"] + counts["warning"] + counts["err"]);
    ASSERT_EQ(0, List(logs, counts, 0, 10, 6));
    EXPECT_TRUE(logs.empty());
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0));
    EXPECT_EQ(6u, logs.size());
}

TEST_F(ServiceLogTest, DatesAreInclusiveBoundsAndNegativeMeansNone)
{
    AppendSample();
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, 200, 400));
    EXPECT_EQ((std::vector<long long>{400, 300, 200}), Times(logs));
    EXPECT_EQ((Counts{{"err", 1}, {"info", 1}, {"warning", 1}}), counts);
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, 450, -1));
    EXPECT_EQ((std::vector<long long>{600, 500}), Times(logs));
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, -1, 100));
    EXPECT_EQ((std::vector<long long>{100}), Times(logs));
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, 500, 200));
    EXPECT_TRUE(logs.empty());
    EXPECT_TRUE(counts.empty());
}

TEST_F(ServiceLogTest, LevelsSelectLinesOfThoseLevels)
{
    AppendSample();
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, -1, -1, {"warning", "err"}));
    EXPECT_EQ((std::vector<long long>{600, 300, 200}), Times(logs));
    EXPECT_EQ((Counts{{"err", 1}, {"warning", 2}}), counts);
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, -1, -1, {"debug"}));
    EXPECT_TRUE(logs.empty());
}

TEST_F(ServiceLogTest, KeywordMatchesUserOrMessageLiterally)
{
    AppendSample();
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, -1, -1, {}, "lun-b"));
    EXPECT_EQ((std::vector<long long>{400, 300}), Times(logs));
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, -1, -1, {}, "OPERATOR"));
    EXPECT_EQ((std::vector<long long>{400}), Times(logs));
    // Wildcards of SQL are plain characters of the keyword.
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, -1, -1, {}, "100%"));
    EXPECT_EQ((std::vector<long long>{500}), Times(logs));
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, -1, -1, {}, "_"));
    EXPECT_EQ((std::vector<long long>{500}), Times(logs));
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, -1, -1, {}, "%%"));
    EXPECT_TRUE(logs.empty());
    // All filters together.
    ASSERT_EQ(0, List(logs, counts, 0, -1, 0, 150, 650, {"info"}, "SYSTEM"));
    EXPECT_EQ((std::vector<long long>{500}), Times(logs));
    EXPECT_EQ((Counts{{"info", 1}}), counts);
}

TEST_F(ServiceLogTest, UpdateUnreadMarksOnlyTheListedPage)
{
    AppendSample();
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts, ISCSI::ISCSI_LOG_LIST_UPDATE_UNREAD, 2, 0));
    ASSERT_EQ(2u, logs.size());
    // The page shows the state the lines had when they were listed.
    EXPECT_TRUE(logs[0].is_unread);
    EXPECT_TRUE(logs[1].is_unread);

    ASSERT_EQ(0, List(logs, counts, ISCSI::ISCSI_LOG_LIST_UNREAD));
    EXPECT_EQ((std::vector<long long>{400, 300, 200, 100}), Times(logs));
    EXPECT_EQ((Counts{{"err", 1}, {"info", 2}, {"warning", 1}}), counts);

    ASSERT_EQ(0, List(logs, counts));
    ASSERT_EQ(6u, logs.size());
    EXPECT_FALSE(logs[0].is_unread);
    EXPECT_FALSE(logs[1].is_unread);
    EXPECT_TRUE(logs[2].is_unread);

    ASSERT_EQ(0, List(logs, counts, ISCSI::ISCSI_LOG_LIST_UNREAD | ISCSI::ISCSI_LOG_LIST_UPDATE_UNREAD));
    EXPECT_EQ(4u, logs.size());
    ASSERT_EQ(0, List(logs, counts, ISCSI::ISCSI_LOG_LIST_UNREAD));
    EXPECT_TRUE(logs.empty());
    EXPECT_TRUE(counts.empty());
}

TEST_F(ServiceLogTest, KeepsOnlyTheNewestLines)
{
    for (int i = 1; i <= 8; ++i)
        Append(i, "info", "SYSTEM", "line " + std::to_string(i), 5);
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts));
    EXPECT_EQ((std::vector<long long>{8, 7, 6, 5, 4}), Times(logs));
    EXPECT_EQ((Counts{{"info", 5}}), counts);
}

TEST_F(ServiceLogTest, ClearLeavesOneLineSayingSoAndIdsGoOn)
{
    AppendSample();
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts));
    const unsigned long long newest = logs[0].id;
    ASSERT_EQ(0, ISCSILogInfo::ClearLog());
    ASSERT_EQ(0, List(logs, counts));
    ASSERT_EQ(1u, logs.size());
    EXPECT_EQ("The iSCSI log was cleared.", logs[0].message);
    EXPECT_EQ("info", logs[0].level);
    EXPECT_EQ("SYSTEM", logs[0].user);
    EXPECT_GT(logs[0].id, newest);
    EXPECT_EQ((Counts{{"info", 1}}), counts);
}

TEST_F(ServiceLogTest, LinesSurviveARestart)
{
    AppendSample();
    LibraryContext::Reset();
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts, 0, 1, 0));
    ASSERT_EQ(1u, logs.size());
    EXPECT_EQ("LUN lun-c is nearly full.", logs[0].message);
    EXPECT_EQ(6u, counts["info"] + counts["warning"] + counts["err"]);
}

TEST_F(ServiceLogTest, LineWrittenInARolledBackTransactionIsGoneAndCommittedStays)
{
    LibraryContext::With([](LibraryContext& ctx) {
        {
            ISCSI::Storage::Transaction tx(ctx.db());
            ISCSI::Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM", "rolled back");
        }
        ISCSI::Storage::Transaction tx(ctx.db());
        ISCSI::Storage::WriteServiceLog(ctx.db(), "info", "SYSTEM", "committed");
        tx.commit();
        return 0;
    });
    std::vector<ISCSILogInfo> logs;
    Counts counts;
    ASSERT_EQ(0, List(logs, counts));
    ASSERT_EQ(1u, logs.size());
    EXPECT_EQ("committed", logs[0].message);
}

TEST_F(ServiceLogTest, CsvExportQuotesFieldsAndEndsRecordsWithCrLf)
{
    Append(1795000000, "info", "SYSTEM", "plain");
    Append(1795000001, "warning", "a,b", "said \"hi\"");
    Append(1795000002, "err", "SYSTEM", "two\nlines");
    std::string type, body;
    ASSERT_EQ(0, Export("csv", type, body));
    EXPECT_EQ("text/csv; charset=utf-8", type);
    EXPECT_EQ("Time,Level,User,Message\r\n"
              "2026-11-18T11:06:42Z,err,SYSTEM,\"two\nlines\"\r\n"
              "2026-11-18T11:06:41Z,warning,\"a,b\",\"said \"\"hi\"\"\"\r\n"
              "2026-11-18T11:06:40Z,info,SYSTEM,plain\r\n",
              body);
}

TEST_F(ServiceLogTest, HtmlExportEscapesText)
{
    Append(1795000000, "info", "<admin>", "a & b \"c\" 'd'");
    std::string type, body;
    ASSERT_EQ(0, Export("html", type, body));
    EXPECT_EQ("text/html; charset=utf-8", type);
    EXPECT_EQ("<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>iSCSI log</title>\n</head>\n"
              "<body>\n<table>\n<tr><th>Time</th><th>Level</th><th>User</th><th>Message</th></tr>\n"
              "<tr><td>2026-11-18T11:06:40Z</td><td>info</td><td>&lt;admin&gt;</td>"
              "<td>a &amp; b &quot;c&quot; &#39;d&#39;</td></tr>\n"
              "</table>\n</body>\n</html>\n",
              body);
}

TEST_F(ServiceLogTest, ExportAppliesTheFilters)
{
    AppendSample();
    std::string type, body;
    ASSERT_EQ(0, Export("csv", type, body, 200, 500, {"info", "warning"}, "lun"));
    EXPECT_EQ("Time,Level,User,Message\r\n"
              "1970-01-01T00:06:40Z,info,operator,LUN lun-b was deleted.\r\n",
              body);
}

TEST_F(ServiceLogTest, ExportRefusesOtherFormatsAndAMissingOutput)
{
    Append(100, "info", "SYSTEM", "x");
    std::string type, body;
    EXPECT_EQ(ISCSI::ISCSI_ERR_LOG_EXPORT_FORMAT, Export("CSV", type, body));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LOG_EXPORT_FORMAT, Export("json", type, body));
    EXPECT_TRUE(body.empty());
    // No request is being handled on this thread.
    EXPECT_EQ(ISCSI::ISCSI_ERR_LOG_EXPORT_OUTPUT, ISCSILogInfo::ExportLog("csv", -1, -1, {}, ""));
}

} // namespace
