// The record of one line of the iSCSI service's log, and the class-level operations on the log.
#pragma once

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

namespace ISCSI {

// Bits of the flags that ListLog takes first.
enum {
    // Only lines not read yet.
    ISCSI_LOG_LIST_UNREAD = 1,
    // Mark the lines listed as read.
    ISCSI_LOG_LIST_UPDATE_UNREAD = 2,
};

enum {
    // The JSON form of a log line record is malformed: no object, or a member of the wrong
    // type or out of range. The code of a reply from a remote node that lacks what a record
    // needs.
    ISCSI_ERR_LOG_RECORD_INVALID = 18990204,
};

class ISCSILogInfo {
public:
    ISCSILogInfo();
    ISCSILogInfo(unsigned long long id, long long time, const std::string& level, const std::string& user,
                 const std::string& message, bool isUnread);
    virtual ~ISCSILogInfo();

    // Writes the JSON form into out (replacing what it held): an object with "id" (unsigned
    // 64-bit), "time" (64-bit), "level", "user", "message" and "is_unread" (a bool). Answers 0.
    int toJsonFormat(Json::Value& out) const;
    // Fills the record from such a form. Keys that are absent leave their fields as they are;
    // a value that is not an object, or a key of the wrong JSON type, answers
    // ISCSI_ERR_LOG_RECORD_INVALID and changes nothing.
    int loadFromJson(const Json::Value& in);
    // One line for logs: "id: I, time: T, level: L, user: U, message: M, is_unread: true".
    std::string toString() const;

    // A page of the log, newest first. flags: ISCSI_LOG_LIST_* bits. limit: at most that
    // many lines (negative: no limit), after skipping offset lines. dateFrom, dateTo: seconds
    // since the epoch, inclusive bounds (negative: no bound). levels: only lines of these
    // level names (empty: all). keyword: only lines whose user or message holds it (empty:
    // all). Receives the lines and the number of lines of each level name ("info",
    // "warning", "err") among all that pass the filters, before paging.
    static int ListLog(int flags, int limit, int offset, int dateFrom, int dateTo,
                       const std::vector<std::string>& levels, const std::string& keyword,
                       std::vector<ISCSI::ISCSILogInfo>& logs,
                       std::map<std::string, unsigned long long>& levelCounts);
    // Writes the lines that pass the filters (as in ListLog) as a file of format "csv" or
    // "html" to the output of the request being handled (KOVA::WriteRequestOutput); the caller
    // has turned the runtime's own output off.
    static int ExportLog(const std::string& format, int dateFrom, int dateTo,
                         const std::vector<std::string>& levels, const std::string& keyword);
    // Empties the log.
    static int ClearLog();

    unsigned long long id;
    long long time;    // seconds since the epoch
    std::string level; // "info", "warning" or "err"
    std::string user;
    std::string message;
    bool is_unread;
};

} // namespace ISCSI

// Appends one line to the service log as the service itself (user "SYSTEM"), for the parts of
// the platform outside the storage library (the credential library and the node channel).
// level: "info", "warning" or "err". A line that cannot be written goes to syslog. It takes the
// storage library's lock: never call it from inside an operation of the library.
extern "C" void KOVAiSCSIServiceLogWrite(const char* level, const char* message);
