// The family of a LUN: plain fields, written and read inside the LUN record's JSON form.
#include <iscsi/ISCSILUNInfo.h>

namespace ISCSI {

ISCSIFamilyConfigInfo::ISCSIFamilyConfigInfo() = default;
ISCSIFamilyConfigInfo::~ISCSIFamilyConfigInfo() = default;

} // namespace ISCSI
