// Reading, exporting and clearing the service log (the table service_log, see
// log/ServiceLog.h).
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILogInfo.h>
#include <kova/APIResponse.h>

#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "log/ServiceLog.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace ISCSI {
namespace {

using Storage::ConfigDB;
using Storage::LibraryContext;
using Storage::Statement;
using Storage::Transaction;

// One value bound to a placeholder of a filter.
struct Binding {
    bool isText;
    std::string text;
    std::int64_t number;
};

// The lines that pass the filters of ListLog and ExportLog, as a WHERE clause with its values.
class LogFilter {
public:
    LogFilter(int flags, int dateFrom, int dateTo, const std::vector<std::string>& levels,
              const std::string& keyword)
    {
        if (flags & ISCSI_LOG_LIST_UNREAD)
            add("unread = 1");
        if (dateFrom >= 0)
            add("time >= " + number(dateFrom));
        if (dateTo >= 0)
            add("time <= " + number(dateTo));
        if (!levels.empty()) {
            std::string in;
            for (const std::string& level : levels)
                in += (in.empty() ? "" : ", ") + text(level);
            add("level IN (" + in + ")");
        }
        if (!keyword.empty()) {
            // LIKE with the wildcards of the keyword escaped: a plain substring test that ignores
            // the case of ASCII letters.
            std::string pattern = "%";
            for (char c : keyword) {
                if (c == '%' || c == '_' || c == '\\')
                    pattern += '\\';
                pattern += c;
            }
            pattern += '%';
            const std::string p = text(pattern);
            add("(user LIKE " + p + " ESCAPE '\\' OR message LIKE " + p + " ESCAPE '\\')");
        }
    }

    const std::string& where() const { return where_; }
    int next() const { return static_cast<int>(bindings_.size()) + 1; }

    void bindTo(Statement& statement) const
    {
        for (std::size_t i = 0; i < bindings_.size(); ++i) {
            const int index = static_cast<int>(i) + 1;
            if (bindings_[i].isText)
                statement.bind(index, bindings_[i].text);
            else
                statement.bind(index, bindings_[i].number);
        }
    }

private:
    void add(const std::string& condition) { where_ += (where_.empty() ? " WHERE " : " AND ") + condition; }
    std::string number(std::int64_t value)
    {
        bindings_.push_back({false, std::string(), value});
        return "?" + std::to_string(bindings_.size());
    }
    std::string text(const std::string& value)
    {
        bindings_.push_back({true, value, 0});
        return "?" + std::to_string(bindings_.size());
    }

    std::string where_;
    std::vector<Binding> bindings_;
};

// The lines that pass filter, newest first, after skipping offset lines, at most limit of them
// (negative: all). 0 or ISCSI_ERR_DATABASE.
int SelectLines(ConfigDB& db, const LogFilter& filter, long long limit, long long offset,
                std::vector<ISCSILogInfo>& lines)
{
    const int limitIndex = filter.next();
    const std::string sql = "SELECT id, time, level, user, message, unread FROM service_log" +
                            filter.where() + " ORDER BY time DESC, id DESC LIMIT ?" +
                            std::to_string(limitIndex) + " OFFSET ?" + std::to_string(limitIndex + 1) + ";";
    Statement select(db, sql.c_str());
    if (!select.ok())
        return ISCSI_ERR_DATABASE;
    filter.bindTo(select);
    select.bind(limitIndex, static_cast<std::int64_t>(limit < 0 ? -1 : limit));
    select.bind(limitIndex + 1, static_cast<std::int64_t>(offset < 0 ? 0 : offset));
    int rc;
    while ((rc = select.step()) == SQLITE_ROW)
        lines.emplace_back(static_cast<unsigned long long>(select.integer(0)), select.integer(1),
                           select.text(2), select.text(3), select.text(4), select.integer(5) != 0);
    return rc == SQLITE_DONE ? 0 : ISCSI_ERR_DATABASE;
}

int CountLevels(ConfigDB& db, const LogFilter& filter, std::map<std::string, unsigned long long>& counts)
{
    const std::string sql = "SELECT level, COUNT(*) FROM service_log" + filter.where() + " GROUP BY level;";
    Statement select(db, sql.c_str());
    if (!select.ok())
        return ISCSI_ERR_DATABASE;
    filter.bindTo(select);
    int rc;
    while ((rc = select.step()) == SQLITE_ROW)
        counts[select.text(0)] = static_cast<unsigned long long>(select.integer(1));
    return rc == SQLITE_DONE ? 0 : ISCSI_ERR_DATABASE;
}

// Marks the lines as read; ids come from the table, so the text is integers only.
int MarkRead(ConfigDB& db, const std::vector<ISCSILogInfo>& lines)
{
    const std::size_t kBatch = 500;
    for (std::size_t start = 0; start < lines.size(); start += kBatch) {
        std::string ids;
        for (std::size_t i = start; i < lines.size() && i < start + kBatch; ++i)
            ids += (ids.empty() ? "" : ",") + std::to_string(lines[i].id);
        const std::string sql = "UPDATE service_log SET unread = 0 WHERE id IN (" + ids + ");";
        if (!db.exec(sql.c_str()))
            return ISCSI_ERR_DATABASE;
    }
    return 0;
}

// "2026-11-22T10:14:16Z".
std::string IsoTime(long long time)
{
    const std::time_t t = static_cast<std::time_t>(time);
    std::tm tm{};
    char buffer[32];
    if (!gmtime_r(&t, &tm) || std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &tm) == 0)
        return std::to_string(time);
    return buffer;
}

// One field of a CSV record: quoted when it holds a comma, a quote, CR or LF, with quotes doubled.
std::string CsvField(const std::string& value)
{
    if (value.find_first_of(",\"\r\n") == std::string::npos)
        return value;
    std::string out = "\"";
    for (char c : value) {
        if (c == '"')
            out += '"';
        out += c;
    }
    return out + "\"";
}

std::string HtmlText(const std::string& value)
{
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string CsvExport(const std::vector<ISCSILogInfo>& lines)
{
    std::string out = "Time,Level,User,Message\r\n";
    for (const ISCSILogInfo& line : lines)
        out += CsvField(IsoTime(line.time)) + "," + CsvField(line.level) + "," + CsvField(line.user) + "," +
               CsvField(line.message) + "\r\n";
    return out;
}

std::string HtmlExport(const std::vector<ISCSILogInfo>& lines)
{
    std::string out =
        "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>iSCSI log</title>\n"
        "</head>\n<body>\n<table>\n<tr><th>Time</th><th>Level</th><th>User</th><th>Message</th></tr>\n";
    for (const ISCSILogInfo& line : lines)
        out += "<tr><td>" + HtmlText(IsoTime(line.time)) + "</td><td>" + HtmlText(line.level) + "</td><td>" +
               HtmlText(line.user) + "</td><td>" + HtmlText(line.message) + "</td></tr>\n";
    return out + "</table>\n</body>\n</html>\n";
}

} // namespace

int ISCSILogInfo::ListLog(int flags, int limit, int offset, int dateFrom, int dateTo,
                          const std::vector<std::string>& levels, const std::string& keyword,
                          std::vector<ISCSI::ISCSILogInfo>& logs,
                          std::map<std::string, unsigned long long>& levelCounts)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        ConfigDB& db = ctx.db();
        const LogFilter filter(flags, dateFrom, dateTo, levels, keyword);
        // One transaction: the page and the counts see the same lines, and the lines shown are
        // the ones marked read.
        Transaction tx(db);
        if (!tx.begun())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        std::vector<ISCSILogInfo> lines;
        std::map<std::string, unsigned long long> counts;
        int rc = SelectLines(db, filter, limit, offset, lines);
        if (rc == 0)
            rc = CountLevels(db, filter, counts);
        if (rc == 0 && (flags & ISCSI_LOG_LIST_UPDATE_UNREAD))
            rc = MarkRead(db, lines);
        if (rc == 0 && !tx.commit())
            rc = ISCSI_ERR_DATABASE;
        if (rc != 0)
            return rc;
        // The lines keep the unread state they had when they were listed.
        logs = std::move(lines);
        levelCounts = std::move(counts);
        return 0;
    });
}

int ISCSILogInfo::ExportLog(const std::string& format, int dateFrom, int dateTo,
                            const std::vector<std::string>& levels, const std::string& keyword)
{
    if (format != "csv" && format != "html")
        return ISCSI_ERR_LOG_EXPORT_FORMAT;
    std::string body;
    const int rc = LibraryContext::With([&](LibraryContext& ctx) {
        std::vector<ISCSILogInfo> lines;
        const int selected =
            SelectLines(ctx.db(), LogFilter(0, dateFrom, dateTo, levels, keyword), -1, 0, lines);
        if (selected != 0)
            return selected;
        body = format == "csv" ? CsvExport(lines) : HtmlExport(lines);
        return 0;
    });
    if (rc != 0)
        return rc;
    const char* contentType = format == "csv" ? "text/csv; charset=utf-8" : "text/html; charset=utf-8";
    return KOVA::WriteRequestOutput(contentType, body) ? 0 : ISCSI_ERR_LOG_EXPORT_OUTPUT;
}

int ISCSILogInfo::ClearLog()
{
    return LibraryContext::With([](LibraryContext& ctx) {
        ConfigDB& db = ctx.db();
        Transaction tx(db);
        if (!tx.begun() || !db.exec("DELETE FROM service_log;"))
            return static_cast<int>(ISCSI_ERR_DATABASE);
        // The clearing itself is the first line of the new log.
        if (!Storage::AppendServiceLogLine(db, static_cast<long long>(std::time(nullptr)), "info", "SYSTEM",
                                           "The iSCSI log was cleared.") ||
            !tx.commit())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        return 0;
    });
}

} // namespace ISCSI
