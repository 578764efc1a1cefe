#include <kova/APIResponse.h>

namespace KOVA {

APIResponse::APIResponse() = default;
APIResponse::~APIResponse() = default;

void APIResponse::SetSuccess(const Json::Value& data)
{
    success_ = true;
    data_ = data;
}

void APIResponse::SetError(int code, const Json::Value& data)
{
    errorCode_ = code;
    errorData_ = data;
}

int APIResponse::GetError() const
{
    return errorCode_;
}

void APIResponse::SetEnableOutput(bool enable)
{
    outputEnabled_ = enable;
}

bool APIResponse::WriteOutput(const std::string& contentType, const std::string& body) const
{
    if (!sink_)
        return false;
    sink_(contentType, body);
    return true;
}

namespace {
thread_local const APIResponse* currentResponse = nullptr;
}

APIOutputScope::APIOutputScope(const APIResponse* response) : previous_(currentResponse)
{
    currentResponse = response;
}

APIOutputScope::~APIOutputScope()
{
    currentResponse = previous_;
}

bool WriteRequestOutput(const std::string& contentType, const std::string& body)
{
    return currentResponse && currentResponse->WriteOutput(contentType, body);
}

} // namespace KOVA
