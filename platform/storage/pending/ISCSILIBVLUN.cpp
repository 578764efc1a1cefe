// Virtual LUNs are not offered by this build of the storage library yet: the object keeps
// what it was made with, and every operation answers ISCSI_ERR_NOT_AVAILABLE.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBVLUN.h>

namespace ISCSI {
namespace LIB {
namespace LIBVLUN {

ISCSILIBVLUN::ISCSILIBVLUN() : type(ISCSI::ISCSI_VLUN_TYPE_NONE) {}
ISCSILIBVLUN::ISCSILIBVLUN(ISCSI::_tag_iscsi_vlun_type type, const std::string& srcLunUuid)
    : type(type), src_lun_uuid(srcLunUuid)
{}
ISCSILIBVLUN::ISCSILIBVLUN(const std::string& uuid) : uuid(uuid), type(ISCSI::ISCSI_VLUN_TYPE_NONE) {}
ISCSILIBVLUN::~ISCSILIBVLUN() = default;

int ISCSILIBVLUN::createVLUN()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBVLUN::deleteVLUN()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBVLUN::loadStatus(int&, unsigned long long&, unsigned long long&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBVLUN::bind(const std::string&, const std::string&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBVLUN
} // namespace LIB
} // namespace ISCSI
