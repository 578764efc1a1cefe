// The parameter validators: pure functions from a parameter's typed value to whether the
// method accepts it. One definition of each rule serves every API.
#pragma once

#include <iscsi/ISCSITypes.h>

#include <json/json.h>

#include <string>

namespace ISCSI {
namespace WebAPI {

bool AcceptAnyString(const std::string& value);
bool AcceptAnyBool(const bool& value);
bool AcceptAnyInt(const int& value);
bool AcceptAnyUInt(const unsigned int& value);
bool AcceptAnyUInt64(const unsigned long long& value);
bool AcceptAnyJson(const Json::Value& value);

bool IsNonEmptyString(const std::string& value);
// False for null, an empty array and an empty object.
bool IsNonEmptyJson(const Json::Value& value);
bool IsPositiveInt(const int& value);
bool IsNonNegativeInt(const int& value);
bool IsNonZeroUInt(const unsigned int& value);
bool IsNonZeroUInt64(const unsigned long long& value);
// 1 to 65535.
bool IsValidPort(const int& value);
// 1 to 1024.
bool IsValidTargetId(const int& value);
// 0, 1 or 2.
bool IsValidAuthType(const unsigned int& value);
// A whole multiple of 4096, at least 4096.
bool IsValidSegmentBytes(const unsigned int& value);
// 1 to 3, with a non-zero entry in the VLUN type table.
bool IsValidVLUNType(const int& value);
// Exactly "csv" or "html".
bool IsValidExportFormat(const std::string& value);
// 32 hexadecimal digits in groups of 8-4-4-4-12 and nothing after.
bool IsValidUuid(const std::string& value);
// A letter or digit, then up to 256 of letters, digits, '\', '-', ':' and '.'; a name whose
// second character is outside that set passes whatever follows it.
bool IsValidObjectName(const std::string& value);
// "/volumeN", optionally with one trailing '/', or "/volumeN" followed by anything that does
// not start with '/'.
bool IsValidVolumeLocation(const std::string& value);

// The VLUN type of a request's type id, indexed by the id less one.
extern const ISCSI::_tag_iscsi_vlun_type VLUNTypeTable[3];

} // namespace WebAPI
} // namespace ISCSI
