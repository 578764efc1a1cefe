// Recording double of ISCSI::LIB::LIBLUNBKP::ISCSILIBLUNBKP.
#include "../LibDouble.h"

#include <iscsi/ISCSILIBLUNBKP.h>

using namespace KOVATest;

namespace ISCSI {
namespace LIB {
namespace LIBLUNBKP {

ISCSILIBLUNBKP::ISCSILIBLUNBKP() = default;

ISCSILIBLUNBKP::ISCSILIBLUNBKP(const std::string& lunUuid) : lun_uuid(lunUuid)
{
    LibDouble::Get().Record("ISCSILIBLUNBKP::ISCSILIBLUNBKP", Args(lunUuid));
}

ISCSILIBLUNBKP::~ISCSILIBLUNBKP() = default;

int ISCSILIBLUNBKP::backupLunMove(const std::string& dstLocation)
{
    return LibDouble::Get().Record("ISCSILIBLUNBKP::backupLunMove", Args(dstLocation)).code;
}

int ISCSILIBLUNBKP::targetConnect(const std::string& targetIp, const std::string& targetIqn,
                                  std::string& blockDevPath)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBLUNBKP::targetConnect", Args(targetIp, targetIqn, blockDevPath));
    Output(r, "block_dev_path", blockDevPath);
    return r.code;
}

int ISCSILIBLUNBKP::targetDisconnect(const std::string& targetIp, const std::string& targetIqn)
{
    return LibDouble::Get().Record("ISCSILIBLUNBKP::targetDisconnect", Args(targetIp, targetIqn)).code;
}

int ISCSILIBLUNBKP::smartddStart(const std::string& blockDevPath, tag_lunbkp_type type)
{
    return LibDouble::Get().Record("ISCSILIBLUNBKP::smartddStart", Args(blockDevPath, type)).code;
}

int ISCSILIBLUNBKP::smartddStop(tag_lunbkp_type type)
{
    return LibDouble::Get().Record("ISCSILIBLUNBKP::smartddStop", Args(type)).code;
}

int ISCSILIBLUNBKP::smartddProgressGet(int& progress, unsigned long long& offsetSector,
                                       unsigned long long& totalSector)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUNBKP::smartddProgressGet",
                                                Args(progress, offsetSector, totalSector));
    Output(r, "progress", progress);
    Output(r, "offset_sector", offsetSector);
    Output(r, "total_sector", totalSector);
    return r.code;
}

int ISCSILIBLUNBKP::bitmapReset()
{
    return LibDouble::Get().Record("ISCSILIBLUNBKP::bitmapReset", Args()).code;
}

int ISCSILIBLUNBKP::sizeGet(unsigned long long& totalSector)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBLUNBKP::sizeGet", Args(totalSector));
    Output(r, "total_sector", totalSector);
    return r.code;
}

} // namespace LIBLUNBKP
} // namespace LIB
} // namespace ISCSI
