// The client classes of KOVA.Core.ISCSI.LUN: the family's fields and text.
#pragma once

#include <webapi-iSCSI/etc/WebAPIClient.h>

#include <iscsi/ISCSITypes.h>

#include <string>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

class WebAPIClientLUN : public WebAPIClient {
public:
    WebAPIClientLUN();
    // For a leaf that names no LUN of its own: uuid stays empty.
    explicit WebAPIClientLUN(const ISCSI::ISCSINodeInfo& node);
    WebAPIClientLUN(const ISCSI::ISCSINodeInfo& node, const std::string& uuid);
    WebAPIClientLUN(const ISCSI::ISCSINodeInfo& node, const std::string& name, _tag_iscsi_lun_type type,
                    const std::string& location, unsigned long long size, unsigned int extent_size);
    ~WebAPIClientLUN() override;

    // "LUN: [uuid: U ,lun_id: I ,name: N ,type: T ,location: L ,size: S ,extent_size: E]"
    std::string toString() const;

    std::string uuid;
    int lun_id;
    std::string name;
    _tag_iscsi_lun_type type;
    std::string location;
    unsigned long long size;
    unsigned int extent_size;

protected:
    static constexpr const char* API = "KOVA.Core.ISCSI.LUN";
    // A leaf's text: the root's, " ,", the family's, " ,", the leaf's own fields (each leaf's
    // own text ends in " ," when it has one) and "[Response: ...]".
    std::string leafText(const std::string& own = std::string()) const;
};

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
