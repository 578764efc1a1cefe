#include <webapi-iSCSI/node/WebAPIClientNodeLogList.h>

#include "etc/WebAPIClientFields.h"

namespace ISCSI {
namespace WebAPI {
namespace APINode {

namespace {

// The members of summary, level name to number of lines; a member that is no unsigned number
// is skipped.
std::map<std::string, unsigned int> LevelCounts(const Json::Value& summary)
{
    std::map<std::string, unsigned int> counts;
    if (!summary.isObject())
        return counts;
    for (const std::string& level : summary.getMemberNames())
        if (summary[level].isConvertibleTo(Json::uintValue))
            counts[level] = summary[level].asUInt();
    return counts;
}

} // namespace

WebAPIClientNodeLogList::WebAPIClientNodeLogList() = default;

WebAPIClientNodeLogList::WebAPIClientNodeLogList(const ISCSI::ISCSINodeInfo& node, int offset, int limit,
                                                 int date_from, int date_to, const std::string& keyword,
                                                 const std::vector<std::string>& log_level,
                                                 const std::vector<std::string>& additional)
    : WebAPIClientNode(node), offset(offset), limit(limit), date_from(date_from), date_to(date_to),
      keyword(keyword), log_level(log_level), additional(additional)
{}

WebAPIClientNodeLogList::~WebAPIClientNodeLogList() = default;

int WebAPIClientNodeLogList::send()
{
    beginRequest(API, "log_list");
    SetIfNotNegative(params, "offset", offset);
    SetIfNotNegative(params, "limit", limit);
    setLogFilter(date_from, date_to, keyword, log_level);
    SetIfNotEmpty(params, "additional", additional);
    const int result = sendRequestByDrNode();
    if (result != 0)
        return result;
    const Json::Value& data = replyData();
    logs.clear();
    const int loaded = ReadReplyRecords<ISCSI::ISCSILogInfo>(data, "logs", logs);
    if (loaded != 0)
        return loaded;
    if (data.isMember("summary"))
        summary = LevelCounts(data["summary"]);
    return 0;
}

bool WebAPIClientNodeLogList::isInvalid() const
{
    return dst_node.isInvalid(false);
}

std::string WebAPIClientNodeLogList::toString() const
{
    std::string own = "logs: [";
    for (size_t i = 0; i < logs.size(); ++i)
        own += Text(i) + ": " + logs[i].toString();
    return leafText(own + "] ,");
}

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
