// Binding a VLUN to a LUN of another node is not offered by this build of the storage library
// yet (it needs the exchange between appliances): bind answers ISCSI_ERR_NOT_AVAILABLE. The
// rest of the VLUN operations are in vlun/ISCSILIBVLUN.cpp.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBVLUN.h>

namespace ISCSI {
namespace LIB {
namespace LIBVLUN {

int ISCSILIBVLUN::bind(const std::string&, const std::string&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBVLUN
} // namespace LIB
} // namespace ISCSI
