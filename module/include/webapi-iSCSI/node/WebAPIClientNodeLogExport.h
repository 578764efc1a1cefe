// Method log_export of KOVA.Core.ISCSI.Node on a remote node: has it write its service log as a
// file (csv or html). Negative dates and empty texts and lists are not sent.
#pragma once

#include <webapi-iSCSI/node/WebAPIClientNode.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

class WebAPIClientNodeLogExport : public WebAPIClientNode {
public:
    WebAPIClientNodeLogExport();
    WebAPIClientNodeLogExport(const ISCSI::ISCSINodeInfo& node, const std::string& export_format,
                              int date_from, int date_to, const std::string& keyword,
                              const std::vector<std::string>& log_level);
    ~WebAPIClientNodeLogExport() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string export_format;
    int date_from = 0;
    int date_to = 0;
    std::string keyword;
    std::vector<std::string> log_level;
};

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
