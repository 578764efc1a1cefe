// Method get of KOVA.Core.ISCSI.LUN on a remote node: the LUN's record and, as asked by
// additional, its import, sync and remote clone progress and its whitelist.
#pragma once

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <iscsi/ISCSILUNInfo.h>

#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUNGet : public WebAPIClientLUN {
public:
    WebAPIClientLUNGet();
    WebAPIClientLUNGet(const ISCSI::ISCSINodeInfo& node, const std::string& uuid,
                       const std::vector<std::string>& additional);
    ~WebAPIClientLUNGet() override;

    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::vector<std::string> additional;

    // Read from the reply.
    ISCSI::ISCSILUNInfo lun;
    unsigned long long import_total = 0;
    unsigned long long import_done = 0;
    int import_errno = 0;
    unsigned long long sync_total = 0;
    unsigned long long sync_done = 0;
    int sync_errno = 0;
    unsigned long long rmt_clone_total = 0;
    unsigned long long rmt_clone_done = 0;
    unsigned long long rmt_clone_sent = 0;
    int rmt_clone_errno = 0;
    int rmt_clone_status = 0;
    std::vector<std::string> whitelist;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
