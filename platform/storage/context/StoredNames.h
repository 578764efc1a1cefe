// The start-up check of stored names: a name written before requests were checked for their
// text may hold bytes that are not UTF-8 (replies show such bytes as U+FFFD). The check finds
// them so that the operator can rename what they name.
#pragma once

#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

class ConfigDB;

// One stored name that is not valid UTF-8 or holds a NUL character: what it is ("LUN name",
// "target IQN", ...) and the key of its row (a uuid or a target id), never the name itself.
struct BadStoredName {
    std::string what;
    std::string key;
};

// The stored names of LUNs, snapshots, targets and access lists that are not clean text.
std::vector<BadStoredName> FindBadStoredNames(ConfigDB& db);

// Reports each of FindBadStoredNames to syslog as a warning; answers how many there are.
size_t ReportBadStoredNames(ConfigDB& db);

} // namespace Storage
} // namespace ISCSI
