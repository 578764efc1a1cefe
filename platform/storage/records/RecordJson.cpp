// The records' strict member readers and array writers.
#include "RecordJson.h"

#include <cstring>
#include <limits>
#include <optional>

namespace ISCSI {
namespace RecordJson {

namespace {

// A JSON number that the numeric readers may take at all; each then checks that its value
// fits the field (JsonCpp's isInt, isUInt64, ... are true only for whole values in range).
bool IsNumber(const Json::Value& v, Numbers numbers)
{
    if (numbers == Numbers::Integers)
        return v.type() == Json::intValue || v.type() == Json::uintValue;
    return v.isNumeric();
}

// Reads a present member that passes the check is (and IsNumber, when numbers are given) by as.
template <typename T, typename As>
bool ReadValue(const Json::Value& in, const char* key, T& field, bool (Json::Value::*is)() const,
               As (Json::Value::*as)() const, std::optional<Numbers> numbers = std::nullopt)
{
    if (!in.isMember(key))
        return true;
    const Json::Value& v = in[key];
    if ((numbers && !IsNumber(v, *numbers)) || !(v.*is)())
        return false;
    field = static_cast<T>((v.*as)());
    return true;
}

} // namespace

bool ReadMember(const Json::Value& in, const char* key, std::string& field)
{
    return ReadValue(in, key, field, &Json::Value::isString, &Json::Value::asString);
}

bool ReadMember(const Json::Value& in, const char* key, bool& field)
{
    return ReadValue(in, key, field, &Json::Value::isBool, &Json::Value::asBool);
}

bool ReadMember(const Json::Value& in, const char* key, int& field, Numbers numbers)
{
    return ReadValue(in, key, field, &Json::Value::isInt, &Json::Value::asInt, numbers);
}

bool ReadMember(const Json::Value& in, const char* key, long& field, Numbers numbers)
{
    return ReadValue(in, key, field, &Json::Value::isInt64, &Json::Value::asInt64, numbers);
}

bool ReadMember(const Json::Value& in, const char* key, long long& field, Numbers numbers)
{
    return ReadValue(in, key, field, &Json::Value::isInt64, &Json::Value::asInt64, numbers);
}

bool ReadMember(const Json::Value& in, const char* key, unsigned int& field, Numbers numbers)
{
    return ReadValue(in, key, field, &Json::Value::isUInt, &Json::Value::asUInt, numbers);
}

bool ReadMember(const Json::Value& in, const char* key, unsigned long long& field, Numbers numbers)
{
    return ReadValue(in, key, field, &Json::Value::isUInt64, &Json::Value::asUInt64, numbers);
}

bool ReadMember(const Json::Value& in, const char* key, unsigned short& field, Numbers numbers)
{
    unsigned int value = field;
    if (!ReadMember(in, key, value, numbers) || value > std::numeric_limits<unsigned short>::max())
        return false;
    field = static_cast<unsigned short>(value);
    return true;
}

bool ReadMember(const Json::Value& in, const char* key, std::vector<std::string>& field)
{
    return ReadArray(in, key, field, [](const Json::Value& e, std::string& item) {
        if (!e.isString())
            return false;
        item = e.asString();
        return true;
    });
}

bool ReadMember(const Json::Value& in, const char* key, char* buffer, std::size_t size)
{
    if (!in.isMember(key))
        return true;
    std::string text;
    if (!ReadMember(in, key, text) || text.size() >= size || text.find('\0') != std::string::npos)
        return false;
    std::memset(buffer, 0, size);
    std::memcpy(buffer, text.data(), text.size());
    return true;
}

void MarkLoaded(const Json::Value& in, const LoadGroup* groups, std::size_t count, int& flags)
{
    for (std::size_t i = 0; i < count; ++i)
        for (const char* key : groups[i].keys)
            if (key && in.isMember(key))
                flags |= groups[i].bit;
}

Json::Value WriteArray(const std::vector<std::string>& list)
{
    return WriteArray(list, [](const std::string& text, Json::Value& j) { j = text; });
}

} // namespace RecordJson
} // namespace ISCSI
