// Recording double of the class-level log operations of ISCSI::ISCSILogInfo (its data code is
// the shared one).
//
// ExportLog writes its scripted "body" to the output of the request being handled, as the
// library does with the file it makes, under the scripted "content_type" (by default
// "text/csv" or "text/html" after the format). Without a scripted body it writes nothing.
#include "../LibDouble.h"

#include <iscsi/ISCSILogInfo.h>
#include <kova/APIResponse.h>

using namespace KOVATest;

namespace ISCSI {

int ISCSILogInfo::ListLog(int flags, int limit, int offset, int dateFrom, int dateTo,
                          const std::vector<std::string>& levels, const std::string& keyword,
                          std::vector<ISCSI::ISCSILogInfo>& logs,
                          std::map<std::string, unsigned long long>& levelCounts)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILogInfo::ListLog", Args(flags, limit, offset, dateFrom, dateTo, levels,
                                                              keyword, logs, levelCounts));
    Output(r, "logs", logs);
    Output(r, "level_counts", levelCounts);
    return r.code;
}

int ISCSILogInfo::ExportLog(const std::string& format, int dateFrom, int dateTo,
                            const std::vector<std::string>& levels, const std::string& keyword)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILogInfo::ExportLog", Args(format, dateFrom, dateTo, levels, keyword));
    if (r.out.isObject() && r.out.isMember("body")) {
        std::string contentType = format == "html" ? "text/html" : "text/csv";
        Output(r, "content_type", contentType);
        KOVA::WriteRequestOutput(contentType, r.out["body"].asString());
    }
    return r.code;
}

int ISCSILogInfo::ClearLog()
{
    return LibDouble::Get().Record("ISCSILogInfo::ClearLog", Args()).code;
}

} // namespace ISCSI
