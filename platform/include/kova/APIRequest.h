// The web-API runtime's request object, as handlers see it.
#pragma once

#include <kova/APIParameter.h>

#include <json/json.h>

#include <string>

namespace KOVA {

class APIRequest {
public:
    enum PARAM_NECESSITY { PARAM_REQUIRED = 0, PARAM_OPTIONAL = 1 };

    typedef bool (*StringValidator)(const std::string&);
    typedef bool (*IntValidator)(const int&);
    typedef bool (*BoolValidator)(const bool&);
    typedef bool (*JsonValidator)(const Json::Value&);
    template <typename T> using IntegralValidator = bool (*)(const T&);

    APIRequest();
    // params must be a JSON object (anything else is taken as no parameters).
    explicit APIRequest(const Json::Value& params, const std::string& remoteIP = "",
                        const std::string& loginUserName = "", const std::string& sessionID = "");
    virtual ~APIRequest();

    // Typed readers. A value of another JSON type than the reader's, a fraction, a number out
    // of the reader's range or a negative number for an unsigned reader is invalid; so is a
    // missing required parameter. A null validator accepts every value of the right type.
    APIParameter<std::string> GetAndCheckString(const std::string& name, PARAM_NECESSITY necessity,
                                                StringValidator validator) const;
    APIParameter<int> GetAndCheckInt(const std::string& name, PARAM_NECESSITY necessity,
                                     IntValidator validator) const;
    APIParameter<bool> GetAndCheckBool(const std::string& name, PARAM_NECESSITY necessity,
                                       BoolValidator validator) const;
    APIParameter<Json::Value> GetAndCheckArray(const std::string& name, PARAM_NECESSITY necessity,
                                               JsonValidator validator) const;
    APIParameter<Json::Value> GetAndCheckObject(const std::string& name, PARAM_NECESSITY necessity,
                                                JsonValidator validator) const;
    // Defined for unsigned int and unsigned long long.
    template <typename T>
    APIParameter<T> GetAndCheckIntegral(const std::string& name, PARAM_NECESSITY necessity,
                                        IntegralValidator<T> validator) const;

    // The raw named parameter, or defaultValue when absent; the empty name gives the whole
    // parameter object.
    Json::Value GetParam(const std::string& name, const Json::Value& defaultValue) const;

    // The caller's address, the logged-in user and the session of the request.
    std::string GetRemoteIP() const;
    std::string GetLoginUserName() const;
    std::string GetSessionID() const;

private:
    Json::Value params_;
    std::string remoteIP_;
    std::string loginUserName_;
    std::string sessionID_;
};

extern template APIParameter<unsigned int>
APIRequest::GetAndCheckIntegral<unsigned int>(const std::string&, PARAM_NECESSITY,
                                              IntegralValidator<unsigned int>) const;
extern template APIParameter<unsigned long long>
APIRequest::GetAndCheckIntegral<unsigned long long>(const std::string&, PARAM_NECESSITY,
                                                    IntegralValidator<unsigned long long>) const;

} // namespace KOVA
