// The target engine's payload checks: the value checks applied before anything reaches tgtd,
// the encoding of a request, the LU parameter payload and the parser of "target show"
// answers. A value a check accepts must encode into a request tgtd can read.
#include "FuzzSupport.h"
#include "target/TgtAdmClient.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using namespace ISCSI::Storage::Target;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    std::string reason;
    switch (data[0] % 9) {
    case 0:
        reason = CheckIscsiName(text);
        break;
    case 1:
        reason = CheckInitiatorAddress(text);
        break;
    case 2:
        reason = CheckPortal(text);
        break;
    case 3:
        reason = CheckBackingStorePath(text);
        break;
    case 4:
        reason = CheckChapUser(text);
        break;
    case 5:
        reason = CheckChapSecret(text);
        break;
    case 6:
        reason = CheckParamValue("vendor_id", text, 8);
        break;
    case 7: {
        LuParams params;
        params.scsiSerial = text;
        params.vendorId = text.substr(0, text.size() / 2);
        std::string payload;
        if (BuildLuParamsPayload(params, payload).ok()) {
            TgtRequest request;
            request.payload = payload;
            std::vector<char> bytes;
            if (!EncodeTgtRequest(request, bytes).ok())
                KOVAFuzz::Broken("an accepted LU payload does not encode", payload);
        }
        return 0;
    }
    default:
        (void)ParseTargetIds(text);
        return 0;
    }
    if (!reason.empty())
        return 0;
    // An accepted value goes into a payload as "key=value".
    TgtRequest request;
    request.payload = "name=" + text;
    std::vector<char> bytes;
    if (!EncodeTgtRequest(request, bytes).ok() && request.payload.size() + 1 <= kTgtMaxPayload)
        KOVAFuzz::Broken("an accepted value does not encode", text);
    return 0;
}
