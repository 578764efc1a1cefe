// Appending lines to the service log.
#include "log/ServiceLog.h"

namespace ISCSI {
namespace Storage {

void WriteServiceLog(ConfigDB&, const std::string&, const std::string&, const std::string&) {}

} // namespace Storage
} // namespace ISCSI
