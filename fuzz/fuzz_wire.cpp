// The wire parser of /webapi/entry: a body read as JSON, as a form, or fields as a query
// string or multipart parts (the first byte picks), then the text check. A call that passes
// the text check must carry only clean text, and its parameters must write as valid JSON.
#include "EntryService.h"
#include "EntryWire.h"
#include "FuzzSupport.h"
#include "RequestText.h"

#include <kova/Utf8Text.h>

#include <cstddef>
#include <cstdint>
#include <string>

using namespace KOVA::Daemon;

namespace {

// Fields from "name=value" lines, as the HTTP layer hands over a decoded query string or parts.
FieldList LinesAsFields(const std::string& text)
{
    FieldList fields;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            end = text.size();
        const std::string line = text.substr(pos, end - pos);
        const size_t eq = line.find('=');
        if (eq == std::string::npos)
            fields.emplace_back(line, std::string());
        else
            fields.emplace_back(line.substr(0, eq), line.substr(eq + 1));
        pos = end + 1;
    }
    return fields;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    EntryInput in;
    switch (data[0] % 4) {
    case 0:
        in.contentType = "application/json";
        in.body = text;
        break;
    case 1:
        in.contentType = "application/x-www-form-urlencoded";
        in.body = text;
        break;
    case 2:
        in.query = LinesAsFields(text);
        break;
    default:
        in.multipart = true;
        in.parts = LinesAsFields(text);
        break;
    }

    EntryCall call;
    int code = 0;
    if (in.multipart) {
        code = ReadFieldCall(in.parts, call);
    } else {
        switch (ClassifyBody(in.contentType, in.body)) {
        case BodyKind::Json:
            code = ReadJsonCall(in.body, call);
            break;
        case BodyKind::Form:
            code = ReadFieldCall(DecodeForm(in.body), call);
            break;
        case BodyKind::Multipart:
            return 0;
        case BodyKind::Empty:
            code = ReadFieldCall(in.query, call);
            break;
        }
    }
    KOVAFuzz::CheckWritable(call.params);
    if (code != 0)
        return 0;
    if (CheckCallText(in, call) != 0)
        return 0;
    if (!KOVA::IsCleanJson(call.params))
        KOVAFuzz::Broken("a call that passed the text check holds text that is not clean");
    for (const std::string* s : {&call.api, &call.method, &call.sid})
        if (!KOVA::IsCleanText(*s))
            KOVAFuzz::Broken("a call that passed the text check has a name that is not clean", *s);
    (void)CookieValue(text, "sid");
    (void)ErrorEnvelope(HttpStatusOf(code), call.params);
    return 0;
}
