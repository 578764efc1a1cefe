// Recording double of ISCSI::LIB::LIBVLUN::ISCSILIBVLUN.
#include "../LibDouble.h"

#include <iscsi/ISCSILIBVLUN.h>

using namespace KOVATest;

namespace ISCSI {
namespace LIB {
namespace LIBVLUN {

ISCSILIBVLUN::ISCSILIBVLUN() : type(ISCSI::ISCSI_VLUN_TYPE_NONE) {}

ISCSILIBVLUN::ISCSILIBVLUN(ISCSI::_tag_iscsi_vlun_type type, const std::string& srcLunUuid)
    : type(type), src_lun_uuid(srcLunUuid)
{
    LibDouble::Get().Record("ISCSILIBVLUN::ISCSILIBVLUN", Args(type, srcLunUuid));
}

ISCSILIBVLUN::ISCSILIBVLUN(const std::string& uuid) : uuid(uuid), type(ISCSI::ISCSI_VLUN_TYPE_NONE)
{
    LibDouble::Get().Record("ISCSILIBVLUN::ISCSILIBVLUN", Args(uuid));
}

ISCSILIBVLUN::~ISCSILIBVLUN() = default;

int ISCSILIBVLUN::createVLUN()
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBVLUN::createVLUN", Args());
    Output(r, "ISCSILIBVLUN::uuid", uuid);
    return r.code;
}

int ISCSILIBVLUN::deleteVLUN()
{
    return LibDouble::Get().Record("ISCSILIBVLUN::deleteVLUN", Args()).code;
}

int ISCSILIBVLUN::loadStatus(int& status, unsigned long long& syncSize, unsigned long long& totalSize)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBVLUN::loadStatus", Args(status, syncSize, totalSize));
    Output(r, "status", status);
    Output(r, "sync_size", syncSize);
    Output(r, "total_size", totalSize);
    return r.code;
}

int ISCSILIBVLUN::bind(const std::string& dstLunUuid, const std::string& dstNodeUuid,
                       const std::string& portal)
{
    return LibDouble::Get().Record("ISCSILIBVLUN::bind", Args(dstLunUuid, dstNodeUuid, portal)).code;
}

} // namespace LIBVLUN
} // namespace LIB
} // namespace ISCSI
