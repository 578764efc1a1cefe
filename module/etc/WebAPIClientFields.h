// What the client classes repeat when they fill a request, read a reply and write their text:
// one helper per shape, so that a leaf's send and toString read as the list of its keys.
#pragma once

#include <json/json.h>

#include <sstream>
#include <string>
#include <vector>

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

// Optional numeric request keys: sent only when the number is not 0 (ports, modes), or only
// when it is 0 or over (offsets, limits and dates, where a negative number means "not given").
template <typename Number> void SetIfNotZero(Json::Value& params, const char* key, Number value)
{
    if (value != 0)
        params[key] = value;
}
inline void SetIfNotNegative(Json::Value& params, const char* key, int value)
{
    if (value >= 0)
        params[key] = value;
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
// A member that a record built from an element of a reply's list cannot do without (texts,
// integers, bools): true when the element is an object that holds key with a value of the
// field's type, which is then read into the field; false, leaving the field, otherwise.
inline Json::ValueType ReplyTypeOf(const std::string&)
{
    return Json::stringValue;
}
inline Json::ValueType ReplyTypeOf(int)
{
    return Json::intValue;
}
inline Json::ValueType ReplyTypeOf(bool)
{
    return Json::booleanValue;
}
template <typename T> bool ReadRequired(const Json::Value& element, const char* key, T& into)
{
    if (!element.isObject() || !element.isMember(key) || !element[key].isConvertibleTo(ReplyTypeOf(into)))
        return false;
    ReadReply(element, key, into);
    return true;
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

// An array key walked element by element with read(element, record), all or nothing: when an
// element cannot be read, false is answered and the list is left as it was; else the records
// read replace the list. A key that is absent or no array leaves the list and answers true.
template <typename Record, typename ReadElement>
bool ReadReplyList(const Json::Value& data, const char* key, std::vector<Record>& into, ReadElement read)
{
    if (!data.isMember(key) || !data[key].isArray())
        return true;
    std::vector<Record> records;
    for (const Json::Value& element : data[key]) {
        Record record;
        if (!read(element, record))
            return false;
        records.push_back(record);
    }
    into = records;
    return true;
}

// The JSON forms of a list of records (toJsonFormat of each), appended to an array; the first
// record that cannot be written ends it, and its code is answered.
template <typename List> int AppendJsonRecords(const List& records, Json::Value& array)
{
    for (const auto& record : records) {
        Json::Value json;
        const int written = record.toJsonFormat(json);
        if (written != 0)
            return written;
        array.append(json);
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
