// What other areas of the library ask of the target engine. Called under the library lock.
#pragma once

#include <string>

namespace ISCSI {
namespace Storage {

class LibraryContext;

// Whether the data path is up: tgtd runs, or it has not been needed yet (no enabled target)
// and can be started.
bool TargetEngineRunning(LibraryContext& context);
// Applies the iSNS setting to tgtd (nothing to do when tgtd does not run; the engine applies
// the stored setting when it starts). Answers 0 or an error code.
int ApplyIsnsToTargetEngine(LibraryContext& context, bool enabled, const std::string& address);

} // namespace Storage
} // namespace ISCSI
