// What the library's areas do when the context opens and closes.
//
// LibraryContext::open calls, after the database is open and LUN and snapshot files are
// reconciled, and under the library lock: ReconcileSubvolConversions, MarkInterruptedJobs,
// then StartTargetEngine. LibraryContext::Reset calls StopJobRunner first, without the library
// lock (job threads take the lock themselves), then StopTargetEngine under the lock, and
// closes the context.
#pragma once

namespace ISCSI {
namespace Storage {

class LibraryContext;

// Finishes or rolls back the LUN conversions into subvolumes that a dead process cut off
// (node/SubvolConversion.cpp).
void ReconcileSubvolConversions(LibraryContext& context);
// Marks jobs that a previous process left running as interrupted (jobs/JobStartup.cpp).
void MarkInterruptedJobs(LibraryContext& context);
// Cancels the running jobs and waits for their threads (jobs/JobStartup.cpp).
void StopJobRunner();
// Starts tgtd when it is installed and applies the stored targets to it (target/TargetEngine.cpp).
void StartTargetEngine(LibraryContext& context);
// Stops what StartTargetEngine started (target/TargetEngine.cpp).
void StopTargetEngine(LibraryContext& context);

} // namespace Storage
} // namespace ISCSI
