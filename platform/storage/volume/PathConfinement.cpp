// Confining the paths that callers give to the configured volumes.
#include "volume/Volumes.h"

#include <iscsi/ISCSIErrors.h>

namespace ISCSI {
namespace Storage {

int ResolveInsideVolume(const std::map<std::string, std::string>&, const std::string&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace Storage
} // namespace ISCSI
