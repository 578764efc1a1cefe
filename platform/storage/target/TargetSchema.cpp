// The schema step of targets, their access lists, portals and LUN mappings.
#include "config/Schema.h"

namespace ISCSI {
namespace Storage {

const char* TargetSchemaSql()
{
    return "SELECT 1;";
}

} // namespace Storage
} // namespace ISCSI
