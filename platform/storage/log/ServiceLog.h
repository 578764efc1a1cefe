// Writing the iSCSI service's log: the events of the library (targets and LUNs created,
// changed, deleted, enabled; initiator logins and refusals; job results). Read by
// ISCSI::ISCSILogInfo::ListLog and ExportLog.
#pragma once

#include <string>

namespace ISCSI {
namespace Storage {

class ConfigDB;

// Appends one line now. level: "info", "warning" or "err"; user: who did it ("SYSTEM" for the
// service itself). A line that cannot be written is reported to syslog and dropped: writing
// the log never makes an operation fail.
void WriteServiceLog(ConfigDB& db, const std::string& level, const std::string& user,
                     const std::string& message);

} // namespace Storage
} // namespace ISCSI
