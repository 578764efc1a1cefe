// Virtual LUNs: made over a source LUN, with a sync status, bound to a LUN of another node.
#pragma once

#include <iscsi/ISCSITypes.h>

#include <string>

namespace ISCSI {
namespace LIB {
namespace LIBVLUN {

class ISCSILIBVLUN {
public:
    ISCSILIBVLUN();
    // A VLUN to be made over the LUN srcLunUuid.
    ISCSILIBVLUN(ISCSI::_tag_iscsi_vlun_type type, const std::string& srcLunUuid);
    // An existing VLUN.
    explicit ISCSILIBVLUN(const std::string& uuid);
    virtual ~ISCSILIBVLUN();

    // Makes the VLUN; on 0, uuid holds the new VLUN's uuid.
    int createVLUN();
    int deleteVLUN();
    // On 0: status, bytes in sync and total bytes.
    int loadStatus(int& status, unsigned long long& syncSize, unsigned long long& totalSize);
    // Binds the VLUN to dstLunUuid on the node dstNodeUuid through portal.
    int bind(const std::string& dstLunUuid, const std::string& dstNodeUuid, const std::string& portal);

    std::string uuid;
    ISCSI::_tag_iscsi_vlun_type type;
    std::string src_lun_uuid;
};

} // namespace LIBVLUN
} // namespace LIB
} // namespace ISCSI
