// The schema step of the job runner's jobs.
#include "config/Schema.h"

namespace ISCSI {
namespace Storage {

const char* JobSchemaSql()
{
    return "SELECT 1;";
}

} // namespace Storage
} // namespace ISCSI
