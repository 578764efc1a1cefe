#include <kova/JsonText.h>
#include <kova/Utf8Text.h>

#include <memory>
#include <sstream>

namespace KOVA {

namespace {

// Writers and readers are built once per thread: building one per call costs more than
// writing a small value.
Json::StreamWriter& CompactWriter()
{
    thread_local std::unique_ptr<Json::StreamWriter> writer = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        // A value read by a reader that keeps comments carries them; JSON has none.
        builder["commentStyle"] = "None";
        return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
    }();
    return *writer;
}

Json::CharReader& StrictReader()
{
    thread_local std::unique_ptr<Json::CharReader> reader = [] {
        Json::CharReaderBuilder builder;
        builder["collectComments"] = false;
        builder["allowComments"] = false;
        builder["failIfExtra"] = true;
        builder["rejectDupKeys"] = false;
        builder["allowSpecialFloats"] = false;
        builder["allowTrailingCommas"] = false;
        builder["stackLimit"] = JSON_MAX_NESTING;
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    return *reader;
}

} // namespace

std::string toString(const Json::Value& value)
{
    std::ostringstream out;
    CompactWriter().write(value, &out);
    std::string text = out.str();
    // The writer copies the bytes of strings as they are: a string stored before texts were
    // checked can hold bytes that are not UTF-8. They become U+FFFD, so that the text is
    // always valid JSON.
    if (!IsValidUtf8(text))
        return RepairUtf8(text);
    return text;
}

bool fromString(Json::Value& value, const std::string& text)
{
    Json::Value parsed;
    std::string errors;
    bool ok = false;
    try {
        ok = StrictReader().parse(text.data(), text.data() + text.size(), &parsed, &errors);
    } catch (const Json::Exception&) {
        // The reader throws, rather than fails, on a text nested deeper than its stack limit.
        ok = false;
    }
    if (!ok) {
        value = Json::Value();
        return false;
    }
    value.swap(parsed);
    return true;
}

} // namespace KOVA
