#include "EntryService.h"

#include <kova/APIResponse.h>
#include <kova/WebAPIErrors.h>

#include <syslog.h>

#include <exception>

namespace KOVA {
namespace Daemon {

namespace {

const char JSON_TYPE[] = "application/json";
const char RAW_TYPE[] = "application/octet-stream";

int ReadCall(const EntryInput& in, EntryCall& call)
{
    if (in.multipart) {
        FieldList fields = in.query;
        fields.insert(fields.end(), in.parts.begin(), in.parts.end());
        return ReadFieldCall(fields, call);
    }
    switch (ClassifyBody(in.contentType, in.body)) {
    case BodyKind::Json:
        return ReadJsonCall(in.body, call);
    case BodyKind::Form: {
        FieldList fields = in.query;
        FieldList form = DecodeForm(in.body);
        fields.insert(fields.end(), form.begin(), form.end());
        return ReadFieldCall(fields, call);
    }
    case BodyKind::Multipart:
        // A multipart body is read in parts by the HTTP layer; one that came as plain bytes
        // lacks its boundary.
        return WEBAPI_ERR_BAD_REQUEST;
    case BodyKind::Empty:
        break;
    }
    return ReadFieldCall(in.query, call);
}

} // namespace

int MakeAPIRequest(const EntryInput& in, EntryCall& call, std::unique_ptr<APIRequest>& request)
{
    if (in.bodyError != 0)
        return in.bodyError;
    const int code = ReadCall(in, call);
    if (code != 0)
        return code;
    // No login yet: every caller is anonymous and without a session.
    request.reset(new APIRequest(call.params, in.remoteAddr, std::string(), std::string()));
    return 0;
}

void RuntimeErrorReply(int code, EntryReply& out)
{
    out.status = HttpStatusOf(code);
    out.contentType = JSON_TYPE;
    out.body = ErrorEnvelope(code);
}

void EntryService::Handle(const EntryInput& in, EntryReply& out) const
{
    EntryCall call;
    std::unique_ptr<APIRequest> request;
    int code = MakeAPIRequest(in, call, request);
    if (!call.api.empty())
        out.apiMethod = call.api + "." + call.method;
    if (code != 0) {
        RuntimeErrorReply(code, out);
        return;
    }
    APIHandler handler = nullptr;
    code = table_.Find(call.api, call.version, call.method, handler);
    if (code != 0) {
        RuntimeErrorReply(code, out);
        return;
    }

    APIResponse response;
    std::string rawType;
    std::string rawBody;
    response.SetOutputSink([&rawType, &rawBody](const std::string& contentType, const std::string& body) {
        if (rawType.empty())
            rawType = contentType;
        rawBody += body;
    });
    try {
        APIOutputScope scope(&response);
        handler(request.get(), &response);
    } catch (const std::exception& e) {
        syslog(LOG_ERR, "%s.%s version %d: the handler threw: %s", call.api.c_str(), call.method.c_str(),
               call.version, e.what());
        RuntimeErrorReply(WEBAPI_ERR_UNKNOWN, out);
        return;
    } catch (...) {
        syslog(LOG_ERR, "%s.%s version %d: the handler threw a non-standard exception", call.api.c_str(),
               call.method.c_str(), call.version);
        RuntimeErrorReply(WEBAPI_ERR_UNKNOWN, out);
        return;
    }

    out.status = 200;
    if (!response.IsOutputEnabled()) {
        // The handler made the body itself; whatever it wrote is the reply, also when it
        // wrote nothing or failed after turning output off.
        out.contentType = rawType.empty() ? RAW_TYPE : rawType;
        out.body.swap(rawBody);
        out.rawOutputError = response.GetError();
        return;
    }
    out.contentType = JSON_TYPE;
    if (response.GetError() != 0)
        out.body = ErrorEnvelope(response.GetError(), response.GetErrorData());
    else if (response.HasSuccess())
        out.body = SuccessEnvelope(response.GetData());
    else
        out.body = ErrorEnvelope(WEBAPI_ERR_NO_ANSWER);
}

} // namespace Daemon
} // namespace KOVA
