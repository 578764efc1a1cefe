// The job runner's part in opening and closing the library context.
#include "context/StartupHooks.h"

namespace ISCSI {
namespace Storage {

void MarkInterruptedJobs(LibraryContext&) {}

void StopJobRunner() {}

} // namespace Storage
} // namespace ISCSI
