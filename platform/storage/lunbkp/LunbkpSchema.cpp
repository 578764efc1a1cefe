// The schema step of LUN backup: the iSCSI targets attached as block devices of copies, and the
// state of each LUN's block copy with its bitmap of copied chunks, kept so that a stopped or
// interrupted copy resumes where it was.
#include "config/Schema.h"

namespace ISCSI {
namespace Storage {

const char* LunbkpSchemaSql()
{
    return "CREATE TABLE IF NOT EXISTS lunbkp_targets ("
           " portal TEXT NOT NULL,"
           " iqn TEXT NOT NULL,"
           " lun INTEGER NOT NULL,"
           " block_dev_path TEXT NOT NULL UNIQUE,"
           " connected_at INTEGER NOT NULL,"
           " PRIMARY KEY (portal, iqn)"
           ");"
           "CREATE TABLE IF NOT EXISTS lunbkp_copies ("
           " lun_uuid TEXT PRIMARY KEY NOT NULL,"
           " type INTEGER NOT NULL,"
           " block_dev_path TEXT NOT NULL,"
           " location TEXT NOT NULL,"
           " lun_size INTEGER NOT NULL,"
           " chunk_size INTEGER NOT NULL,"
           " bitmap TEXT NOT NULL,"
           " chunks_done INTEGER NOT NULL DEFAULT 0,"
           " state TEXT NOT NULL,"
           " error_code INTEGER NOT NULL DEFAULT 0,"
           " updated_at INTEGER NOT NULL"
           ");";
}

} // namespace Storage
} // namespace ISCSI
