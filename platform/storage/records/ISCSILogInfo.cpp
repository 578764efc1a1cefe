// Data code of the log line record: its fields, JSON form and text.
#include <iscsi/ISCSILogInfo.h>

#include "RecordJson.h"

namespace ISCSI {

using namespace RecordJson;

ISCSILogInfo::ISCSILogInfo() : id(0), time(0), is_unread(false) {}

ISCSILogInfo::ISCSILogInfo(unsigned long long id, long long time, const std::string& level,
                           const std::string& user, const std::string& message, bool isUnread)
    : id(id), time(time), level(level), user(user), message(message), is_unread(isUnread)
{}

ISCSILogInfo::~ISCSILogInfo() = default;

int ISCSILogInfo::toJsonFormat(Json::Value& out) const
{
    out = Json::Value(Json::objectValue);
    out["id"] = static_cast<Json::UInt64>(id);
    out["time"] = static_cast<Json::Int64>(time);
    out["level"] = level;
    out["user"] = user;
    out["message"] = message;
    out["is_unread"] = is_unread;
    return 0;
}

int ISCSILogInfo::loadFromJson(const Json::Value& in)
{
    // Numbers only as integers; a bad member leaves the whole record as it was.
    if (!in.isObject() || !ReadAllOrNothing(*this, [&in](ISCSILogInfo& read) {
            return ReadMember(in, "id", read.id, Numbers::Integers) &&
                   ReadMember(in, "time", read.time, Numbers::Integers) &&
                   ReadMember(in, "level", read.level) && ReadMember(in, "user", read.user) &&
                   ReadMember(in, "message", read.message) && ReadMember(in, "is_unread", read.is_unread);
        }))
        return ISCSI_ERR_LOG_RECORD_INVALID;
    return 0;
}

std::string ISCSILogInfo::toString() const
{
    return "id: " + std::to_string(id) + ", time: " + std::to_string(time) + ", level: " + level +
           ", user: " + user + ", message: " + message + ", is_unread: " + (is_unread ? "true" : "false");
}

} // namespace ISCSI
