#include "WebAPIVocabulary.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ISCSI {
namespace WebAPI {

bool IsLUNTypeId(long id)
{
    for (const LUNTypeName& row : LUNTypeNames)
        if (row.id == id)
            return true;
    return false;
}

_tag_iscsi_lun_type LUNTypeFromNumber(const char* text)
{
    const long id = strtol(text, nullptr, 10);
    return IsLUNTypeId(id) ? static_cast<_tag_iscsi_lun_type>(id) : ISCSI_LUN_TYPE_NONE;
}

_tag_iscsi_lun_type LUNTypeFromString(const char* text)
{
    char name[64];
    std::memset(name, 0, sizeof(name));
    snprintf(name, sizeof(name), "%s", text);
    for (char* c = name; *c; ++c)
        *c = static_cast<char>(toupper(static_cast<unsigned char>(*c)));
    for (const LUNTypeName& row : LUNTypeNames)
        if (strcmp(name, row.text) == 0)
            return row.id;
    return LUNTypeFromNumber(text);
}

namespace {

// The fourteen task types that have a name; every other value is "UNKNOWN".
struct RepTypeName {
    _tag_iscsi_rep_type id;
    const char* text;
};
const RepTypeName kRepTypeNames[] = {
    {ISCSI_REP_TYPE_ADV_SRC, "ADV_SRC"},
    {ISCSI_REP_TYPE_ADV_DST, "ADV_DST"},
    {ISCSI_REP_TYPE_BLUN_SRC, "BLUN_SRC"},
    {ISCSI_REP_TYPE_BLUN_DST, "BLUN_DST"},
    {ISCSI_REP_TYPE_VDISK_BLUN_SRC, "VDISK_BLUN_SRC"},
    {ISCSI_REP_TYPE_VDISK_BLUN_DST, "VDISK_BLUN_DST"},
    {ISCSI_REP_TYPE_BLUN_THICK_SRC, "BLUN_THICK_SRC"},
    {ISCSI_REP_TYPE_BLUN_THICK_DST, "BLUN_THICK_DST"},
    {ISCSI_REP_TYPE_LOCAL_BLUN_SRC, "LOCAL_BLUN_SRC"},
    {ISCSI_REP_TYPE_LOCAL_BLUN_DST, "LOCAL_BLUN_DST"},
    {ISCSI_REP_TYPE_LOCAL_VDISK_BLUN_SRC, "LOCAL_VDISK_BLUN_SRC"},
    {ISCSI_REP_TYPE_LOCAL_VDISK_BLUN_DST, "LOCAL_VDISK_BLUN_DST"},
    {ISCSI_REP_TYPE_LOCAL_BLUN_THICK_SRC, "LOCAL_BLUN_THICK_SRC"},
    {ISCSI_REP_TYPE_LOCAL_BLUN_THICK_DST, "LOCAL_BLUN_THICK_DST"},
};

} // namespace

const char* RepTypeToString(_tag_iscsi_rep_type type)
{
    for (const RepTypeName& row : kRepTypeNames)
        if (row.id == type)
            return row.text;
    return "UNKNOWN";
}

bool IsRepTypeId(long id)
{
    for (const RepTypeName& row : kRepTypeNames)
        if (row.id == id)
            return true;
    return false;
}

std::string FormatByteSize(unsigned long long bytes)
{
    static const char* const units[] = {"bytes", "KB", "MB", "GB", "TB", "PB"};
    unsigned long long n = bytes;
    std::string text;
    for (const char* unit : units) {
        const unsigned long long digit = n % 1024;
        if (digit != 0 || (unit == units[0] && n == 0))
            text = (n > 1023 ? "," : "") + std::to_string(digit) + unit + text;
        n >>= 10;
    }
    if (n != 0)
        text = std::to_string(n) + "EB" + text;
    return text;
}

const Json::Value* FindErrorMember(const Json::Value& reply, const std::string& key)
{
    if (!reply.isObject() || !reply.isMember("error"))
        return nullptr;
    const Json::Value& error = reply["error"];
    if (!error.isObject() || !error.isMember(key))
        return nullptr;
    return &error[key];
}

std::string VolumePathOfLocation(const std::string& location)
{
    int number;
    char character;
    if (location.empty() || sscanf(location.c_str(), "/volume%d/%c", &number, &character) != 1)
        return std::string();
    return "/volume" + std::to_string(number);
}

} // namespace WebAPI
} // namespace ISCSI
