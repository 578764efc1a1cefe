// Writes the text of every error code the service answers with, as one JSON object
// {"CODE": "text", ...}, for the management page: the runtime's own codes and the iSCSI
// service's (1899xxxx), taken from the tables the service itself answers from.
#include <iscsi/ISCSIErrors.h>
#include <kova/JsonText.h>
#include <kova/WebAPIErrors.h>

#include <json/json.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace {

void AddKnown(Json::Value& texts, int code, const char* text)
{
    if (std::strcmp(text, "Unknown error") != 0)
        texts[std::to_string(code)] = text;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: kova-error-texts OUTPUT.json\n");
        return 2;
    }
    Json::Value texts(Json::objectValue);
    for (int code = 100; code < 200; ++code)
        AddKnown(texts, code, KOVA::WebAPIErrorText(code));
    // The service's two ranges: the module's and the library's checks, the library's failures.
    for (int code = 18990000; code < 18992000; ++code)
        AddKnown(texts, code, KOVAiSCSIStrError(code));
    for (int code = 18999000; code < 19000000; ++code)
        AddKnown(texts, code, KOVAiSCSIStrError(code));
    std::ofstream out(argv[1], std::ios::trunc);
    out << KOVA::toString(texts) << "\n";
    if (!out.flush()) {
        std::fprintf(stderr, "kova-error-texts: cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
