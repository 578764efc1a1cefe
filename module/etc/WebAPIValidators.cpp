#include "WebAPIValidators.h"

#include <cstdio>
#include <cstring>

namespace ISCSI {
namespace WebAPI {

const ISCSI::_tag_iscsi_vlun_type VLUNTypeTable[3] = {ISCSI::ISCSI_VLUN_TYPE_1, ISCSI::ISCSI_VLUN_TYPE_2,
                                                      ISCSI::ISCSI_VLUN_TYPE_3};

bool AcceptAnyString(const std::string&)
{
    return true;
}
bool AcceptAnyBool(const bool&)
{
    return true;
}
bool AcceptAnyInt(const int&)
{
    return true;
}
bool AcceptAnyUInt(const unsigned int&)
{
    return true;
}
bool AcceptAnyUInt64(const unsigned long long&)
{
    return true;
}
bool AcceptAnyJson(const Json::Value&)
{
    return true;
}

bool IsNonEmptyString(const std::string& value)
{
    return value.length() > 0;
}
bool IsNonEmptyJson(const Json::Value& value)
{
    return !value.empty();
}
bool IsPositiveInt(const int& value)
{
    return value > 0;
}
bool IsNonNegativeInt(const int& value)
{
    return value >= 0;
}
bool IsNonZeroUInt(const unsigned int& value)
{
    return value != 0;
}
bool IsNonZeroUInt64(const unsigned long long& value)
{
    return value != 0;
}
bool IsValidPort(const int& value)
{
    return value >= 1 && value <= 65535;
}
bool IsValidTargetId(const int& value)
{
    return value >= 1 && value <= 1024;
}
bool IsValidAuthType(const unsigned int& value)
{
    return value <= 2;
}
bool IsValidSegmentBytes(const unsigned int& value)
{
    return value > 4095 && value % 4096 == 0;
}

bool IsValidVLUNType(const int& value)
{
    const unsigned int index = static_cast<unsigned int>(value) - 1;
    return index <= 2 && VLUNTypeTable[index] != 0;
}

bool IsValidExportFormat(const std::string& value)
{
    return value == "csv" || value == "html";
}

// The text rules are one formatted scan each, judged by the scan's count of conversions.

bool IsValidUuid(const std::string& value)
{
    unsigned int d[32];
    char trailing;
    const int count =
        sscanf(value.c_str(),
               "%1x%1x%1x%1x%1x%1x%1x%1x-%1x%1x%1x%1x-%1x%1x%1x%1x-%1x%1x%1x%1x-"
               "%1x%1x%1x%1x%1x%1x%1x%1x%1x%1x%1x%1x%c",
               &d[0], &d[1], &d[2], &d[3], &d[4], &d[5], &d[6], &d[7], &d[8], &d[9], &d[10], &d[11], &d[12],
               &d[13], &d[14], &d[15], &d[16], &d[17], &d[18], &d[19], &d[20], &d[21], &d[22], &d[23], &d[24],
               &d[25], &d[26], &d[27], &d[28], &d[29], &d[30], &d[31], &trailing);
    return count == 32;
}

bool IsValidObjectName(const std::string& value)
{
    char first[2];
    char rest[257 + 1];
    char trailing;
    std::memset(rest, 0, sizeof(rest));
    const int count = sscanf(value.c_str(), "%1[a-zA-Z0-9]%256[a-zA-Z0-9\\-:\\.]%c", first, rest, &trailing);
    return count == 1 || count == 2;
}

bool IsValidVolumeLocation(const std::string& value)
{
    if (value.empty())
        return false;
    int number;
    char character;
    return sscanf(value.c_str(), "/volume%d/%c", &number, &character) == 1;
}

} // namespace WebAPI
} // namespace ISCSI
