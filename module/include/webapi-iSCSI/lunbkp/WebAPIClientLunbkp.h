// The client classes of KOVA.Core.ISCSI.Lunbkp: the family's field and text. Unlike the other
// families, the parts of a text are joined with ", " (comma first), as the logs of the backup
// have always shown them.
#pragma once

#include <webapi-iSCSI/etc/WebAPIClient.h>

#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

class WebAPIClientLunbkp : public WebAPIClient {
public:
    WebAPIClientLunbkp();
    // For a leaf that names no LUN (the two target leaves) or whose fields are filled later.
    explicit WebAPIClientLunbkp(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLunbkp(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    ~WebAPIClientLunbkp() override;

    // "LUNBKP: [uuid: U]"
    std::string toString() const;

    std::string uuid;

protected:
    static constexpr const char* API = "KOVA.Core.ISCSI.Lunbkp";
    // A leaf's text: the root's, ", ", the family's, the leaf's own fields (each beginning with
    // ", "), ", " and "[Response: ...]".
    std::string leafText(const std::string& own = std::string()) const;
};

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
