// Method log_list of KOVA.Core.ISCSI.Node on a remote node: a page of its service log and the
// number of lines of each level. Negative numbers (the default) and empty texts and lists are
// not sent.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

#include <iscsi/ISCSILogInfo.h>

#include <map>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeLogList : public WebAPIClientNode {
public:
    WebAPIClientNodeLogList();
    WebAPIClientNodeLogList(const ISCSI::ISCSINodeInfo& node, int offset, int limit, int date_from,
                            int date_to, const std::string& keyword,
                            const std::vector<std::string>& log_level,
                            const std::vector<std::string>& additional);
    ~WebAPIClientNodeLogList() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    int offset = -1;
    int limit = -1;
    int date_from = -1;
    int date_to = -1;
    std::string keyword;
    std::vector<std::string> log_level;
    std::vector<std::string> additional;

    std::vector<ISCSI::ISCSILogInfo> logs;
    // Number of lines by level name.
    std::map<std::string, unsigned int> summary;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
