// Method list of KOVA.Core.ISCSI.Target on a remote node: the targets (of one LUN when lun_uuid
// is set), with the optional groups that additional asks for ("mapped_lun", "acls",
// "connected_sessions", "status"), read into targets.
#pragma once

#include <webapi-iSCSI/target/WebAPIClientTarget.h>

#include <string>
#include <vector>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

class WebAPIClientTargetList : public WebAPIClientTarget {
public:
    WebAPIClientTargetList();
    WebAPIClientTargetList(const ISCSI::ISCSINodeInfo& node, const std::string& lun_uuid,
                           const std::vector<std::string>& additional);
    ~WebAPIClientTargetList() override;

    // A successful send empties targets and reads the reply's records into it; a record that
    // does not load ends the reading with its code, and the records before it stay.
    int send() override;
    bool isInvalid() const override;
    std::string toString() const;

    std::string lun_uuid;
    std::vector<std::string> additional;
    std::vector<ISCSI::ISCSITargetInfo> targets;
};

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
