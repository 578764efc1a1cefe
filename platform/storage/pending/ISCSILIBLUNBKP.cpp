// LUN backup is not offered by this build of the storage library yet: the object keeps what it
// was made with, and every operation answers ISCSI_ERR_NOT_AVAILABLE.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUNBKP.h>

namespace ISCSI {
namespace LIB {
namespace LIBLUNBKP {

ISCSILIBLUNBKP::ISCSILIBLUNBKP() = default;
ISCSILIBLUNBKP::ISCSILIBLUNBKP(const std::string& lunUuid) : lun_uuid(lunUuid) {}
ISCSILIBLUNBKP::~ISCSILIBLUNBKP() = default;

int ISCSILIBLUNBKP::backupLunMove(const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUNBKP::targetConnect(const std::string&, const std::string&, std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUNBKP::targetDisconnect(const std::string&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUNBKP::smartddStart(const std::string&, tag_lunbkp_type)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUNBKP::smartddStop(tag_lunbkp_type)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUNBKP::smartddProgressGet(int&, unsigned long long&, unsigned long long&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUNBKP::bitmapReset()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILIBLUNBKP::sizeGet(unsigned long long&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace LIBLUNBKP
} // namespace LIB
} // namespace ISCSI
