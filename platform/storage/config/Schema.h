// The schema steps that the library's areas contribute to the configuration database, each in
// the source of its area. ConfigDB runs them in version order; a released step is never edited.
#pragma once

namespace ISCSI {
namespace Storage {

// Version 3: targets, their access lists, portals and LUN mappings (target/TargetSchema.cpp).
const char* TargetSchemaSql();
// Version 4: the job runner's jobs (jobs/JobSchema.cpp).
const char* JobSchemaSql();
// Version 5: the service log, the local node settings and virtual LUNs (log/ServiceSchema.cpp).
const char* ServiceSchemaSql();
// Version 6: conversions of LUN files into subvolumes (node/SubvolConversion.cpp).
const char* SubvolSchemaSql();
// Version 7: remote nodes and the node sessions held here (node/NodeSchema.cpp).
const char* NodeSchemaSql();
// Version 8: the targets attached for LUN backup and the copy bitmaps (lunbkp/LunbkpSchema.cpp).
const char* LunbkpSchemaSql();

} // namespace Storage
} // namespace ISCSI
