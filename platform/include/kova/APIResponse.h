// The web-API runtime's response object, as handlers see it.
#pragma once

#include <json/json.h>

#include <functional>
#include <string>

namespace KOVA {

class APIResponse {
public:
    // Where a handler that turned the runtime's output off writes its own body.
    typedef std::function<void(const std::string& contentType, const std::string& body)> OutputSink;

    APIResponse();
    virtual ~APIResponse();

    // The request succeeded; data is its result (null: success without data).
    void SetSuccess(const Json::Value& data);
    // The request failed with code; data is extra error data (null in nearly all uses).
    // The last call counts.
    void SetError(int code, const Json::Value& data);
    // The code of the last SetError, or 0.
    int GetError() const;
    // Switches the runtime's own output of the reply on or off.
    void SetEnableOutput(bool enable);

    // Runtime side.
    bool HasSuccess() const { return success_; }
    bool IsOutputEnabled() const { return outputEnabled_; }
    const Json::Value& GetData() const { return data_; }
    const Json::Value& GetErrorData() const { return errorData_; }
    void SetOutputSink(OutputSink sink) { sink_ = std::move(sink); }
    // For handlers that write their own body: the runtime's per-request sink. Answers false,
    // writing nothing, without a sink.
    bool WriteOutput(const std::string& contentType, const std::string& body) const;

private:
    bool success_ = false;
    int errorCode_ = 0;
    bool outputEnabled_ = true;
    Json::Value data_;
    Json::Value errorData_;
    OutputSink sink_;
};

// The output of the request being handled on this thread. The runtime opens a scope around
// each handler call; a handler or the storage library that produces the reply's bytes itself
// (after SetEnableOutput(false)) writes them with WriteRequestOutput, without being handed the
// response object.
class APIOutputScope {
public:
    explicit APIOutputScope(const APIResponse* response);
    ~APIOutputScope();
    APIOutputScope(const APIOutputScope&) = delete;
    APIOutputScope& operator=(const APIOutputScope&) = delete;

private:
    const APIResponse* previous_;
};

// Writes body to the output of this thread's request; false when no request is being handled
// here or its response has no sink. Called several times, the bodies follow one another.
bool WriteRequestOutput(const std::string& contentType, const std::string& body);

} // namespace KOVA
