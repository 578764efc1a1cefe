// What the client classes repeat when they fill a request, read a reply and write their text:
// one helper per shape, so that a leaf's send and toString read as the list of its keys.
#pragma once

#include <json/json.h>

#include <sstream>
#include <string>

namespace ISCSI {
namespace WebAPI {

// A JSON array of the elements of a list or set, in its order.
template <typename List> Json::Value JsonArray(const List& list)
{
    Json::Value array(Json::arrayValue);
    for (const auto& element : list)
        array.append(Json::Value(element));
    return array;
}

// Optional request keys: sent only when the value is not empty (texts, lists, sets).
inline void SetIfNotEmpty(Json::Value& params, const char* key, const std::string& value)
{
    if (!value.empty())
        params[key] = value;
}
template <typename List> void SetIfNotEmpty(Json::Value& params, const char* key, const List& list)
{
    if (!list.empty())
        params[key] = JsonArray(list);
}

// Reply keys: a key that is absent, or whose value JsonCpp cannot convert to the field's type,
// leaves the field as it is. No reply makes a client throw.
inline void ReadReply(const Json::Value& data, const char* key, std::string& into)
{
    if (data.isMember(key) && data[key].isConvertibleTo(Json::stringValue))
        into = data[key].asString();
}
inline void ReadReply(const Json::Value& data, const char* key, int& into)
{
    if (data.isMember(key) && data[key].isConvertibleTo(Json::intValue))
        into = data[key].asInt();
}
inline void ReadReply(const Json::Value& data, const char* key, unsigned int& into)
{
    if (data.isMember(key) && data[key].isConvertibleTo(Json::uintValue))
        into = data[key].asUInt();
}
inline void ReadReply(const Json::Value& data, const char* key, bool& into)
{
    if (data.isMember(key) && data[key].isConvertibleTo(Json::booleanValue))
        into = data[key].asBool();
}
inline void ReadReply(const Json::Value& data, const char* key, unsigned long long& into)
{
    if (!data.isMember(key))
        return;
    const Json::Value& value = data[key];
    if (value.isUInt64() || value.isNull() || value.isBool() ||
        (value.isDouble() && value.asDouble() >= 0 && value.asDouble() < 18446744073709551616.0))
        into = value.asUInt64();
}
template <typename E, typename = typename std::enable_if<std::is_enum<E>::value>::type>
void ReadReply(const Json::Value& data, const char* key, E& into)
{
    int value = static_cast<int>(into);
    ReadReply(data, key, value);
    into = static_cast<E>(value);
}
// The elements of an array key, appended to a list as texts (numbers and bools as JsonCpp
// writes them); elements that cannot be texts (objects, arrays) are skipped.
template <typename List> void ReadReplyTexts(const Json::Value& data, const char* key, List& into)
{
    if (!data.isMember(key) || !data[key].isArray())
        return;
    for (const Json::Value& element : data[key])
        if (element.isConvertibleTo(Json::stringValue))
            into.insert(into.end(), element.asString());
}
// An array key walked record by record with the record's loadFromJson; the first record that
// does not load ends the walk, and its code is answered. The records read so far stay.
template <typename Record, typename List>
int ReadReplyRecords(const Json::Value& data, const char* key, List& into)
{
    if (!data.isMember(key) || !data[key].isArray())
        return 0;
    for (const Json::Value& element : data[key]) {
        Record record;
        const int loaded = record.loadFromJson(element);
        if (loaded != 0)
            return loaded;
        into.push_back(record);
    }
    return 0;
}

// Texts: a value as its text (numbers in decimal, bools as "true" and "false").
inline std::string Text(const std::string& value)
{
    return value;
}
inline std::string Text(bool value)
{
    return value ? "true" : "false";
}
template <typename T> std::string Text(const T& value)
{
    std::ostringstream out;
    out << +value;
    return out.str();
}
// Every element of a list followed by a blank.
template <typename List> std::string EachFollowedByBlank(const List& list)
{
    std::string text;
    for (const auto& element : list)
        text += Text(element) + " ";
    return text;
}

} // namespace WebAPI
} // namespace ISCSI
