// The recording double of the storage library.
//
// Every operation of the library (value-class constructors other than the default one,
// operations, static resolvers, core functions) is implemented here by one call of
// LibDouble::Record with the operation's name ("Class::operation", or the bare name of a free
// function) and its input arguments in argument order. Record appends the call to the log and
// answers the scripted result for that operation: an error code and a JSON object whose
// members name output values ("Class::field" for fields the operation sets on the object, the
// argument's name for output arguments). Unscripted calls answer 0 with no outputs, so output
// arguments keep what the caller put in them.
//
// A record is not built through the double, so an operation on a record logs the record's JSON
// form first, as the object it works on, and then its arguments; lists and maps of records are
// logged as arrays and objects of their JSON forms.
//
// A test scripts results, runs a handler, and asserts the log:
//     LibDouble::Get().Script("ISCSILIBVLUN::loadStatus", 0, R"({"status":2})");
//     ...
//     EXPECT_EQ(LibDouble::Get().CallsText(), "ISCSILIBVLUN::ISCSILIBVLUN([\"u\"])\n...");
#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdio>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace KOVATest {

struct LibCall {
    std::string op;
    Json::Value args; // JSON array, in argument order
};

struct LibResult {
    int code = 0;
    Json::Value out;       // object: output name -> value
    bool scripted = false; // false: nothing was scripted for the call
};

// In a process that loads the double without a test around it (the daemon in end-to-end
// tests), two environment variables stand in for the test: KOVA_DOUBLE_SCRIPT names a JSON file
// {"Class::operation": {"code": N, "out": {...}}, ...} of standing answers, read at first use,
// and KOVA_DOUBLE_CALLS names a file to which each call is appended as one CallsText line.
class LibDouble {
public:
    static LibDouble& Get();

    // Forgets all calls and scripts.
    void Reset();

    // The next call of op answers code and out (queued: each call takes the next script; with
    // the queue empty, the op's standing answer, else 0). out may be a JSON text.
    void Script(const std::string& op, int code, const Json::Value& out = Json::Value(Json::objectValue));
    void Script(const std::string& op, int code, const char* outText);
    void Script(const std::string& op, int code, const std::string& outText)
    {
        Script(op, code, outText.c_str());
    }
    // Every call of op answers code and out, once its queue is used up.
    void ScriptAlways(const std::string& op, int code,
                      const Json::Value& out = Json::Value(Json::objectValue));

    // Called by the double's operations.
    LibResult Record(const std::string& op, const Json::Value& args);

    std::vector<LibCall> Calls() const;
    // The operations called, in order.
    std::vector<std::string> Ops() const;
    // The calls of one operation, in order.
    std::vector<LibCall> CallsOf(const std::string& op) const;
    // One line per call, "op(args as compact JSON)".
    std::string CallsText() const;

private:
    LibDouble();

    mutable std::mutex mutex_;
    std::string callsFile_;
    std::vector<LibCall> calls_;
    std::map<std::string, std::deque<LibResult>> queued_;
    std::map<std::string, LibResult> standing_;
};

// Input arguments to JSON, for the call log.
inline Json::Value ToJson(const std::string& v)
{
    return Json::Value(v);
}
inline Json::Value ToJson(const char* v)
{
    return Json::Value(v ? v : "");
}
inline Json::Value ToJson(bool v)
{
    return Json::Value(v);
}
inline Json::Value ToJson(int v)
{
    return Json::Value(v);
}
inline Json::Value ToJson(unsigned int v)
{
    return Json::Value(v);
}
inline Json::Value ToJson(long v)
{
    return Json::Value(static_cast<Json::Int64>(v));
}
inline Json::Value ToJson(unsigned long v)
{
    return Json::Value(static_cast<Json::UInt64>(v));
}
inline Json::Value ToJson(long long v)
{
    return Json::Value(static_cast<Json::Int64>(v));
}
inline Json::Value ToJson(unsigned long long v)
{
    return Json::Value(static_cast<Json::UInt64>(v));
}
inline Json::Value ToJson(unsigned short v)
{
    return Json::Value(static_cast<unsigned int>(v));
}
inline Json::Value ToJson(const Json::Value& v)
{
    return v;
}
template <typename E, typename std::enable_if<std::is_enum<E>::value, int>::type = 0> Json::Value ToJson(E v)
{
    return Json::Value(static_cast<int>(v));
}
// Records with toJsonFormat: their JSON form.
template <typename R, typename std::enable_if<std::is_class<R>::value, int>::type = 0,
          typename = decltype(std::declval<const R&>().toJsonFormat(std::declval<Json::Value&>()))>
Json::Value ToJson(const R& record)
{
    Json::Value j;
    record.toJsonFormat(j);
    return j;
}
// Lists (vectors and sets): an array of their elements' forms.
template <typename List> Json::Value ListToJson(const List& list);
template <typename T> Json::Value ToJson(const std::vector<T>& v)
{
    return ListToJson(v);
}
template <typename T> Json::Value ToJson(const std::set<T>& v)
{
    return ListToJson(v);
}
template <typename K, typename V> Json::Value ToJson(const std::map<K, V>& v)
{
    Json::Value o(Json::objectValue);
    for (const auto& e : v)
        o[e.first] = ToJson(e.second);
    return o;
}
template <typename List> Json::Value ListToJson(const List& list)
{
    Json::Value a(Json::arrayValue);
    for (const auto& e : list)
        a.append(ToJson(e));
    return a;
}

inline Json::Value Args()
{
    return Json::Value(Json::arrayValue);
}
template <typename... T> Json::Value Args(const T&... v)
{
    Json::Value a(Json::arrayValue);
    (a.append(ToJson(v)), ...);
    return a;
}

// Scripted outputs into the caller's variables. A name absent from out leaves the variable.
inline void FromJson(const Json::Value& j, std::string& v)
{
    v = j.asString();
}
inline void FromJson(const Json::Value& j, bool& v)
{
    v = j.asBool();
}
inline void FromJson(const Json::Value& j, int& v)
{
    v = j.asInt();
}
inline void FromJson(const Json::Value& j, unsigned int& v)
{
    v = j.asUInt();
}
inline void FromJson(const Json::Value& j, long& v)
{
    v = static_cast<long>(j.asInt64());
}
inline void FromJson(const Json::Value& j, unsigned long& v)
{
    v = static_cast<unsigned long>(j.asUInt64());
}
inline void FromJson(const Json::Value& j, long long& v)
{
    v = j.asInt64();
}
inline void FromJson(const Json::Value& j, unsigned long long& v)
{
    v = j.asUInt64();
}
inline void FromJson(const Json::Value& j, unsigned short& v)
{
    v = static_cast<unsigned short>(j.asUInt());
}
inline void FromJson(const Json::Value& j, Json::Value& v)
{
    v = j;
}
template <typename E, typename std::enable_if<std::is_enum<E>::value, int>::type = 0>
void FromJson(const Json::Value& j, E& v)
{
    v = static_cast<E>(j.asInt());
}
// A text into a fixed NUL-terminated buffer, cut to fit.
template <std::size_t N> void FromJson(const Json::Value& j, char (&v)[N])
{
    std::snprintf(v, N, "%s", j.asString().c_str());
}
// Records with loadFromJson.
template <typename R, typename std::enable_if<std::is_class<R>::value, int>::type = 0,
          typename = decltype(std::declval<R&>().loadFromJson(std::declval<const Json::Value&>()))>
void FromJson(const Json::Value& j, R& v)
{
    v.loadFromJson(j);
}
// Lists (vectors and sets): the array's elements, in order.
template <typename List> void ListFromJson(const Json::Value& j, List& list);
template <typename T> void FromJson(const Json::Value& j, std::vector<T>& v)
{
    ListFromJson(j, v);
}
template <typename T> void FromJson(const Json::Value& j, std::set<T>& v)
{
    ListFromJson(j, v);
}
template <typename V> void FromJson(const Json::Value& j, std::map<std::string, V>& v)
{
    v.clear();
    for (const auto& name : j.getMemberNames()) {
        V t{};
        FromJson(j[name], t);
        v[name] = t;
    }
}
template <typename List> void ListFromJson(const Json::Value& j, List& list)
{
    list.clear();
    for (const auto& e : j) {
        typename List::value_type t{};
        FromJson(e, t);
        list.insert(list.end(), t);
    }
}

// The member name of a scripted object into a variable; an absent name (or a value that is no
// object) leaves the variable.
template <typename T> void OutputMember(const Json::Value& out, const char* name, T& into)
{
    if (out.isObject() && out.isMember(name))
        FromJson(out[name], into);
}

template <typename T> void Output(const LibResult& r, const char* name, T& into)
{
    OutputMember(r.out, name, into);
}

// A static resolver of the library (the identifier a request gives into the canonical one):
// logs op(id, out) and sets out from the scripted output name.
template <typename T> int RecordResolve(const char* op, const std::string& id, const char* name, T& out)
{
    const LibResult r = LibDouble::Get().Record(op, Args(id, out));
    Output(r, name, out);
    return r.code;
}

} // namespace KOVATest
