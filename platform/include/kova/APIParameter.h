// The typed result of reading one request parameter.
#pragma once

#include <json/json.h>

namespace KOVA {

// What every parameter read knows besides its value: whether the request gave it and
// whether it is acceptable. Shared by all value types so that checks can be listed together.
class APIParameterState {
public:
    APIParameterState() = default;
    APIParameterState(bool isSet, bool isInvalid) : set_(isSet), invalid_(isInvalid) {}

    // True when a required parameter is missing, or a given one has the wrong JSON type,
    // is out of the reader's range, or fails its validator. A missing optional one is valid.
    bool IsInvalid() const { return invalid_; }
    // True when the request gave the parameter, even with a value the reader cannot take.
    bool IsSet() const { return set_; }

private:
    bool set_ = false;
    bool invalid_ = false;
};

template <typename T> class APIParameter : public APIParameterState {
public:
    APIParameter() : value_() {}
    APIParameter(bool isSet, bool isInvalid, bool hasValue, const T& value)
        : APIParameterState(isSet, isInvalid), hasValue_(hasValue), value_(value)
    {}

    // The value; a default-constructed T (an empty or null value) when the request gave none
    // the reader could take.
    const T& Get() const { return value_; }
    // The value when the reader took one, else defaultValue.
    const T& Get(const T& defaultValue) const { return hasValue_ ? value_ : defaultValue; }

private:
    bool hasValue_ = false;
    T value_;
};

} // namespace KOVA
