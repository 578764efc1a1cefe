// The target engine's part in opening and closing the library context.
#include "context/StartupHooks.h"
#include "target/TargetEngineHooks.h"

namespace ISCSI {
namespace Storage {

void StartTargetEngine(LibraryContext&) {}

void StopTargetEngine(LibraryContext&) {}

bool TargetEngineRunning(LibraryContext&)
{
    return false;
}

int ApplyIsnsToTargetEngine(LibraryContext&, bool, const std::string&)
{
    return 0;
}

} // namespace Storage
} // namespace ISCSI
