// The schema step of the service log, the local node settings and virtual LUNs.
#include "config/Schema.h"

namespace ISCSI {
namespace Storage {

const char* ServiceSchemaSql()
{
    return "SELECT 1;";
}

} // namespace Storage
} // namespace ISCSI
