// Writing the iSCSI service's log: the events of the library (targets and LUNs created,
// changed, deleted, enabled; initiator logins and refusals; job results). Read by
// ISCSI::ISCSILogInfo::ListLog and ExportLog.
//
// The log is the table service_log of the configuration database: id (growing, never reused),
// time (seconds since the epoch), level, user, message and unread (1 until a listing with
// ISCSI_LOG_LIST_UPDATE_UNREAD has shown the line). It keeps the newest kServiceLogMaxLines
// lines: each append removes the oldest lines beyond that in the same transaction.
#pragma once

#include <string>

namespace ISCSI {
namespace Storage {

class ConfigDB;

// The number of lines the log keeps.
constexpr long long kServiceLogMaxLines = 100000;

// Appends one line now. level: "info", "warning" or "err"; user: who did it ("SYSTEM" for the
// service itself). A line that cannot be written is reported to syslog and dropped: writing
// the log never makes an operation fail. Called inside a transaction of the caller, the line
// becomes part of it (and is gone if the caller rolls back).
void WriteServiceLog(ConfigDB& db, const std::string& level, const std::string& user,
                     const std::string& message);

// WriteServiceLog with the line's time given and the number of lines kept given (at least 1).
// Answers whether the line was written.
bool AppendServiceLogLine(ConfigDB& db, long long time, const std::string& level, const std::string& user,
                          const std::string& message, long long maxLines = kServiceLogMaxLines);

} // namespace Storage
} // namespace ISCSI
