// Reading and writing the records' JSON forms: the strict member readers every record's
// loadFromJson is made of, and the array writers of their toJsonFormat. Internal to the
// records' data code.
//
// A reader of one member answers true when the member is absent (the field is left as it was)
// or of the field's JSON type and range (the field takes its value), and false for a member of
// another JSON type or out of the field's range (the field is left). JsonCpp's own conversions
// would throw or convert silently instead.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace ISCSI {
namespace RecordJson {

// The error of the LUN and snapshot records' loadFromJson: a JSON form that lacks their keys
// or has a key of the wrong JSON type.
constexpr int kErrBadRecordJson = 18990204;

// Which JSON numbers a numeric reader takes.
enum class Numbers {
    Whole,    // any number whose value is whole and fits the field: 3 and 3.0
    Integers, // only numbers written as integers: 3, not 3.0
};

bool ReadMember(const Json::Value& in, const char* key, std::string& field);
bool ReadMember(const Json::Value& in, const char* key, bool& field);
bool ReadMember(const Json::Value& in, const char* key, int& field, Numbers numbers = Numbers::Whole);
bool ReadMember(const Json::Value& in, const char* key, long& field, Numbers numbers = Numbers::Whole);
bool ReadMember(const Json::Value& in, const char* key, long long& field, Numbers numbers = Numbers::Whole);
bool ReadMember(const Json::Value& in, const char* key, unsigned int& field,
                Numbers numbers = Numbers::Whole);
bool ReadMember(const Json::Value& in, const char* key, unsigned long long& field,
                Numbers numbers = Numbers::Whole);
// A number from 0 to 65535 (a port).
bool ReadMember(const Json::Value& in, const char* key, unsigned short& field,
                Numbers numbers = Numbers::Whole);
// An array of strings; the field is replaced only when every element is a string.
bool ReadMember(const Json::Value& in, const char* key, std::vector<std::string>& field);
// A text into a fixed NUL-terminated buffer of size bytes; false when it does not fit or holds
// a NUL. A text read clears the whole buffer before it is copied in.
bool ReadMember(const Json::Value& in, const char* key, char* buffer, std::size_t size);
template <std::size_t N> bool ReadMember(const Json::Value& in, const char* key, char (&buffer)[N])
{
    return ReadMember(in, key, buffer, N);
}

// Sets out to id when the enumeration can hold it, and answers whether it could: an
// enumeration without a fixed underlying type holds only the values within the bits of its
// largest enumerator (limit, that mask), and holding another is undefined.
template <typename Enum> bool SetEnum(int id, int limit, Enum& out)
{
    if (id < 0 || id > limit)
        return false;
    out = static_cast<Enum>(id);
    return true;
}

// Reads a member as a T (with the reader's options) and, when it is present and read, hands the
// value to set: for fields that are set from a member rather than being it, such as an
// enumeration or a record named by its uuid. A set that returns bool can refuse the value
// (false), which makes the member an error.
template <typename T, typename Set, typename... Options>
bool ReadMemberAs(const Json::Value& in, const char* key, Set set, Options... options)
{
    if (!in.isMember(key))
        return true;
    T value{};
    if (!ReadMember(in, key, value, options...))
        return false;
    if constexpr (std::is_void_v<decltype(set(value))>) {
        set(value);
        return true;
    } else {
        return set(value);
    }
}

// Reads an array member element by element, each by readOne(element, item) -> bool, into a
// fresh list; the field is replaced only when every element was read.
template <typename T, typename ReadOne>
bool ReadArray(const Json::Value& in, const char* key, std::vector<T>& field, ReadOne readOne)
{
    if (!in.isMember(key))
        return true;
    const Json::Value& v = in[key];
    if (!v.isArray())
        return false;
    std::vector<T> list;
    for (const auto& e : v) {
        T item{};
        if (!readOne(e, item))
            return false;
        list.push_back(item);
    }
    field.swap(list);
    return true;
}

// Reads a record all or nothing: read(copy) fills a copy of the record, which replaces the
// record only when read succeeds, so that a form with one bad member leaves the record as it
// was.
template <typename Record, typename Read> bool ReadAllOrNothing(Record& record, Read read)
{
    Record copy(record);
    if (!read(copy))
        return false;
    record = copy;
    return true;
}

// The keys of one loaded fact of a record: a key present in a JSON form marks the fact (its
// bit) as loaded. Unused key slots are null.
struct LoadGroup {
    int bit;
    const char* keys[5];
};

// Sets in flags the bit of each group of which a key is present in the object in.
void MarkLoaded(const Json::Value& in, const LoadGroup* groups, std::size_t count, int& flags);
template <std::size_t N> void MarkLoaded(const Json::Value& in, const LoadGroup (&groups)[N], int& flags)
{
    MarkLoaded(in, groups, N, flags);
}

// A list as a JSON array, each element written by writeOne(element, Json::Value& out).
template <typename List, typename WriteOne> Json::Value WriteArray(const List& list, WriteOne writeOne)
{
    Json::Value out(Json::arrayValue);
    for (const auto& e : list) {
        Json::Value j;
        writeOne(e, j);
        out.append(j);
    }
    return out;
}

// Strings as a JSON array.
Json::Value WriteArray(const std::vector<std::string>& list);

// Records as a JSON array of their JSON forms (toJsonFormat).
template <typename Record> Json::Value WriteRecords(const std::vector<Record>& records)
{
    return WriteArray(records, [](const Record& record, Json::Value& j) { record.toJsonFormat(j); });
}

} // namespace RecordJson
} // namespace ISCSI
