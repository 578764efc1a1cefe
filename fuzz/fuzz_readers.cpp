// The typed request readers of the runtime: the fuzzer's bytes are the parameter object (or a
// value put under every name), and each reader of each type reads each name. Readers answer
// set/valid and a value; they must never throw, whatever the JSON holds.
#include "FuzzSupport.h"

#include <kova/APIRequest.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

bool AnyString(const std::string&)
{
    return true;
}
bool NonEmpty(const std::string& s)
{
    return !s.empty();
}
bool AnyInt(const int&)
{
    return true;
}
bool Positive(const int& i)
{
    return i > 0;
}
bool AnyBool(const bool&)
{
    return true;
}
bool AnyJson(const Json::Value&)
{
    return true;
}
template <typename T> bool AnyIntegral(const T&)
{
    return true;
}

const char* const kNames[] = {"name", "size", "uuid", "additional", "", "a.b", "params", "0"};

// A reader's answer: a parameter that is not set is never invalid when optional, and its
// value can always be taken.
template <typename T> void Use(const KOVA::APIParameter<T>& p)
{
    (void)p.IsSet();
    (void)p.IsInvalid();
    (void)p.Get(T());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Json::Value value = KOVAFuzz::ValueOf(data, size);
    Json::Value params(Json::objectValue);
    if (value.isObject()) {
        params = value;
    } else {
        for (const char* name : kNames)
            params[name] = value;
    }
    KOVA::APIRequest request(params, "127.0.0.1", "admin", "sid");
    for (const char* name : kNames) {
        for (auto necessity : {KOVA::APIRequest::PARAM_REQUIRED, KOVA::APIRequest::PARAM_OPTIONAL}) {
            Use(request.GetAndCheckString(name, necessity, AnyString));
            Use(request.GetAndCheckString(name, necessity, NonEmpty));
            Use(request.GetAndCheckInt(name, necessity, AnyInt));
            Use(request.GetAndCheckInt(name, necessity, Positive));
            Use(request.GetAndCheckBool(name, necessity, AnyBool));
            Use(request.GetAndCheckArray(name, necessity, AnyJson));
            Use(request.GetAndCheckObject(name, necessity, AnyJson));
            Use(request.GetAndCheckIntegral<unsigned int>(name, necessity, AnyIntegral<unsigned int>));
            Use(request.GetAndCheckIntegral<unsigned long long>(name, necessity,
                                                                AnyIntegral<unsigned long long>));
        }
        KOVAFuzz::CheckWritable(request.GetParam(name, Json::Value()));
    }
    KOVAFuzz::CheckWritable(request.GetParam("", Json::Value()));
    return 0;
}
