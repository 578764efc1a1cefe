// Appending lines to the service log.
#include "log/ServiceLog.h"

#include "config/ConfigDB.h"
#include "context/LibraryContext.h"

#include <iscsi/ISCSILogInfo.h>

#include <syslog.h>

#include <cstdint>
#include <ctime>

namespace ISCSI {
namespace Storage {
namespace {

// Inserts the line and trims the log to maxLines, without a transaction of its own.
bool InsertAndTrim(ConfigDB& db, long long time, const std::string& level, const std::string& user,
                   const std::string& message, long long maxLines)
{
    Statement insert(
        db, "INSERT INTO service_log (time, level, user, message, unread) VALUES (?1, ?2, ?3, ?4, 1);");
    if (!insert.bind(1, static_cast<std::int64_t>(time)).bind(2, level).bind(3, user).bind(4, message).run())
        return false;
    // Ids only grow and lines are only removed from the oldest end or all at once, so the lines
    // with an id within maxLines of the newest are the newest maxLines lines.
    Statement trim(db, "DELETE FROM service_log WHERE id <= (SELECT MAX(id) FROM service_log) - ?1;");
    return trim.bind(1, static_cast<std::int64_t>(maxLines)).run();
}

} // namespace

bool AppendServiceLogLine(ConfigDB& db, long long time, const std::string& level, const std::string& user,
                          const std::string& message, long long maxLines)
{
    if (!db.isOpen())
        return false;
    if (maxLines < 1)
        maxLines = 1;
    if (sqlite3_get_autocommit(db.handle()) == 0) {
        // Inside the caller's transaction: a savepoint, so that a failed line leaves the
        // caller's changes as they were.
        if (!db.exec("SAVEPOINT service_log_line;"))
            return false;
        if (InsertAndTrim(db, time, level, user, message, maxLines))
            return db.exec("RELEASE service_log_line;");
        db.exec("ROLLBACK TO service_log_line;");
        db.exec("RELEASE service_log_line;");
        return false;
    }
    Transaction tx(db);
    return tx.begun() && InsertAndTrim(db, time, level, user, message, maxLines) && tx.commit();
}

void WriteServiceLog(ConfigDB& db, const std::string& level, const std::string& user,
                     const std::string& message)
{
    if (!AppendServiceLogLine(db, static_cast<long long>(std::time(nullptr)), level, user, message))
        syslog(LOG_ERR, "iSCSI storage: cannot write the service log line [%s] %s: %s: %s", level.c_str(),
               user.c_str(), message.c_str(), db.isOpen() ? db.lastError().c_str() : "database closed");
}

} // namespace Storage
} // namespace ISCSI

extern "C" void KOVAiSCSIServiceLogWrite(const char* level, const char* message)
{
    const std::string levelText = level ? level : "info";
    const std::string text = message ? message : "";
    const int rc = ISCSI::Storage::LibraryContext::With([&](ISCSI::Storage::LibraryContext& ctx) {
        ISCSI::Storage::WriteServiceLog(ctx.db(), levelText, "SYSTEM", text);
        return 0;
    });
    if (rc != 0)
        syslog(LOG_ERR, "iSCSI storage: cannot write the service log line [%s] SYSTEM: %s: code %d",
               levelText.c_str(), text.c_str(), rc);
}
