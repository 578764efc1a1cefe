// The module's small shared vocabulary: LUN type names and ids, replication type names,
// byte sizes as text, the volume of a location, and the error member of a reply.
#pragma once

#include <iscsi/ISCSITypes.h>

#include <json/json.h>

#include <string>

namespace ISCSI {
namespace WebAPI {

// The 22 LUN types in the order in which type texts are compared: the storage library's table.
using LUNTypeName = ISCSILUNTypeName;
inline constexpr const LUNTypeName (&LUNTypeNames)[22] = ISCSILUNTypeNames;

// A type name (any case, at most 63 characters count) or, failing that, a number.
_tag_iscsi_lun_type LUNTypeFromString(const char* text);
// A decimal number (leading blanks and trailing characters tolerated) that is one of the
// ids; else 0.
_tag_iscsi_lun_type LUNTypeFromNumber(const char* text);
// True when id is one of the 22 LUN type ids.
bool IsLUNTypeId(long id);

// The name of a replication task type, or "UNKNOWN".
const char* RepTypeToString(_tag_iscsi_rep_type type);
// True when id is one of the fourteen named replication task types.
bool IsRepTypeId(long id);

// A byte count as 1024-based units, highest first: "1KB,512bytes", "0bytes", "1GB".
std::string FormatByteSize(unsigned long long bytes);

// The value under key inside the reply's "error" member, or null.
const Json::Value* FindErrorMember(const Json::Value& reply, const std::string& key);

// "/volumeN" of a location that is "/volumeN", "/volumeN/" or "/volumeN" followed by
// something not starting with '/'; else empty.
std::string VolumePathOfLocation(const std::string& location);

} // namespace WebAPI
} // namespace ISCSI
