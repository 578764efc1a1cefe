#include "context/StoredNames.h"

#include "config/ConfigDB.h"

#include <kova/Utf8Text.h>

#include <syslog.h>

namespace ISCSI {
namespace Storage {

namespace {

struct NameColumn {
    const char* what;
    const char* sql; // answers the key and the name of each row
};

const NameColumn kNameColumns[] = {
    {"LUN name", "SELECT uuid, name FROM luns;"},
    {"LUN description", "SELECT uuid, description FROM luns;"},
    {"snapshot name", "SELECT uuid, name FROM snapshots;"},
    {"snapshot description", "SELECT uuid, description FROM snapshots;"},
    {"target name", "SELECT tid, name FROM targets;"},
    {"target IQN", "SELECT tid, iqn FROM targets;"},
    {"access list initiator", "SELECT tid, initiator_iqn FROM target_acls;"},
};

} // namespace

std::vector<BadStoredName> FindBadStoredNames(ConfigDB& db)
{
    std::vector<BadStoredName> found;
    for (const NameColumn& column : kNameColumns) {
        Statement query(db, column.sql);
        while (query.ok() && query.step() == SQLITE_ROW) {
            if (!KOVA::IsCleanText(query.text(1)))
                found.push_back({column.what, query.text(0)});
        }
    }
    return found;
}

size_t ReportBadStoredNames(ConfigDB& db)
{
    const std::vector<BadStoredName> found = FindBadStoredNames(db);
    for (const BadStoredName& name : found) {
        // The key is a uuid or a number the library made, so the line is valid text.
        syslog(LOG_WARNING,
               "iSCSI storage: the %s of %s is not valid UTF-8 or holds a NUL character; replies show "
               "its bad bytes as U+FFFD, rename it",
               name.what.c_str(), KOVA::RepairUtf8(name.key).c_str());
    }
    return found.size();
}

} // namespace Storage
} // namespace ISCSI
