#include <kova/APIRequest.h>

#include <limits>

namespace KOVA {

namespace {

// What a reader makes of one parameter: given or not, taken or not, and its value.
template <typename T> struct Reading {
    bool set = false;
    bool taken = false;
    T value{};
};

// Reads name from params with take (which answers false for a value of the wrong JSON type
// or out of range), then applies necessity and the validator.
template <typename T, typename Take, typename Validator>
APIParameter<T> Read(const Json::Value& params, const std::string& name,
                     APIRequest::PARAM_NECESSITY necessity, Validator validator, Take take)
{
    Reading<T> r;
    const Json::Value* raw =
        params.isObject() ? params.find(name.data(), name.data() + name.size()) : nullptr;
    r.set = raw != nullptr;
    if (r.set)
        r.taken = take(*raw, r.value);
    bool invalid;
    if (!r.set)
        invalid = necessity == APIRequest::PARAM_REQUIRED;
    else
        invalid = !r.taken || (validator && !validator(r.value));
    return APIParameter<T>(r.set, invalid, r.taken, r.taken ? r.value : T{});
}

// Integers only: a JSON real, even a whole one, is not an integer.
bool IsJsonInteger(const Json::Value& v)
{
    return v.type() == Json::intValue || v.type() == Json::uintValue;
}

template <typename T> bool TakeInteger(const Json::Value& v, T& out)
{
    if (!IsJsonInteger(v))
        return false;
    if (std::numeric_limits<T>::is_signed) {
        if (v.type() == Json::uintValue) {
            if (v.asUInt64() > static_cast<Json::UInt64>(std::numeric_limits<T>::max()))
                return false;
            out = static_cast<T>(v.asUInt64());
            return true;
        }
        const Json::Int64 i = v.asInt64();
        if (i < static_cast<Json::Int64>(std::numeric_limits<T>::min()) ||
            i > static_cast<Json::Int64>(std::numeric_limits<T>::max()))
            return false;
        out = static_cast<T>(i);
        return true;
    }
    if (v.type() == Json::intValue && v.asInt64() < 0)
        return false;
    const Json::UInt64 u = v.asUInt64();
    if (u > static_cast<Json::UInt64>(std::numeric_limits<T>::max()))
        return false;
    out = static_cast<T>(u);
    return true;
}

} // namespace

APIRequest::APIRequest() : params_(Json::objectValue) {}

APIRequest::APIRequest(const Json::Value& params, const std::string& remoteIP,
                       const std::string& loginUserName, const std::string& sessionID)
    : params_(params.isObject() ? params : Json::Value(Json::objectValue)), remoteIP_(remoteIP),
      loginUserName_(loginUserName), sessionID_(sessionID)
{}

APIRequest::~APIRequest() = default;

APIParameter<std::string> APIRequest::GetAndCheckString(const std::string& name, PARAM_NECESSITY necessity,
                                                        StringValidator validator) const
{
    return Read<std::string>(params_, name, necessity, validator, [](const Json::Value& v, std::string& out) {
        if (!v.isString())
            return false;
        out = v.asString();
        return true;
    });
}

APIParameter<int> APIRequest::GetAndCheckInt(const std::string& name, PARAM_NECESSITY necessity,
                                             IntValidator validator) const
{
    return Read<int>(params_, name, necessity, validator, TakeInteger<int>);
}

APIParameter<bool> APIRequest::GetAndCheckBool(const std::string& name, PARAM_NECESSITY necessity,
                                               BoolValidator validator) const
{
    return Read<bool>(params_, name, necessity, validator, [](const Json::Value& v, bool& out) {
        if (!v.isBool())
            return false;
        out = v.asBool();
        return true;
    });
}

APIParameter<Json::Value> APIRequest::GetAndCheckArray(const std::string& name, PARAM_NECESSITY necessity,
                                                       JsonValidator validator) const
{
    return Read<Json::Value>(params_, name, necessity, validator, [](const Json::Value& v, Json::Value& out) {
        if (!v.isArray())
            return false;
        out = v;
        return true;
    });
}

APIParameter<Json::Value> APIRequest::GetAndCheckObject(const std::string& name, PARAM_NECESSITY necessity,
                                                        JsonValidator validator) const
{
    return Read<Json::Value>(params_, name, necessity, validator, [](const Json::Value& v, Json::Value& out) {
        if (!v.isObject())
            return false;
        out = v;
        return true;
    });
}

template <typename T>
APIParameter<T> APIRequest::GetAndCheckIntegral(const std::string& name, PARAM_NECESSITY necessity,
                                                IntegralValidator<T> validator) const
{
    return Read<T>(params_, name, necessity, validator, TakeInteger<T>);
}

template APIParameter<unsigned int>
APIRequest::GetAndCheckIntegral<unsigned int>(const std::string&, PARAM_NECESSITY,
                                              IntegralValidator<unsigned int>) const;
template APIParameter<unsigned long long>
APIRequest::GetAndCheckIntegral<unsigned long long>(const std::string&, PARAM_NECESSITY,
                                                    IntegralValidator<unsigned long long>) const;

Json::Value APIRequest::GetParam(const std::string& name, const Json::Value& defaultValue) const
{
    if (name.empty())
        return params_;
    const Json::Value* raw = params_.find(name.data(), name.data() + name.size());
    return raw ? *raw : defaultValue;
}

std::string APIRequest::GetRemoteIP() const
{
    return remoteIP_;
}
std::string APIRequest::GetLoginUserName() const
{
    return loginUserName_;
}
std::string APIRequest::GetSessionID() const
{
    return sessionID_;
}

} // namespace KOVA
