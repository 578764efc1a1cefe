// The LUN record's operations on the stored configuration: the plain configuration structure
// of a LUN, and the resolution of a LUN identifier. ListIOStat is in target/.
#include <iscsi/ISCSILUNInfo.h>

#include "context/LibraryContext.h"
#include "lun/LUNStore.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace ISCSI {
namespace {

using Storage::kNoSuchLUN;

// Copies text into a fixed buffer, cut to fit and NUL-terminated.
template <std::size_t N> void CopyText(char (&dst)[N], const std::string& text)
{
    const std::size_t n = std::min(text.size(), N - 1);
    text.copy(dst, n);
    dst[n] = '\0';
}

} // namespace

int ISCSILUNInfo::loadFromConfig(_tag_iscsi_lun_& lun, int)
{
    return Storage::LibraryContext::With([this, &lun](Storage::LibraryContext& ctx) -> int {
        Storage::LUNRow row;
        const int rc = Storage::FindLUNByUuid(ctx.db(), uuid, row);
        if (rc != 0)
            return rc;
        CopyText(lun.uuid, row.uuid);
        lun.lun_id = row.lun_id;
        CopyText(lun.name, row.name);
        lun.type = static_cast<_tag_iscsi_lun_type>(row.type);
        CopyText(lun.location, row.location);
        lun.size = row.size;
        lun.extent_size = row.extent_size;
        lun.dev_attribs = row.dev_attribs;
        CopyText(lun.vpd_unit_sn, row.vpd_unit_sn);
        return 0;
    });
}

// A text of the form of a uuid names the LUN of that uuid (in any case of its hex digits); any
// other text, or a uuid that no LUN has, is taken as a LUN name.
int ISCSILUNInfo::GetLunUuid(const std::string& id, std::string& uuid)
{
    if (id.empty()) {
        uuid.clear();
        return 0;
    }
    return Storage::LibraryContext::With([&id, &uuid](Storage::LibraryContext& ctx) -> int {
        Storage::LUNRow row;
        int rc = kNoSuchLUN;
        if (Storage::LooksLikeUuid(id)) {
            std::string lower = id;
            std::transform(lower.begin(), lower.end(), lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            rc = Storage::FindLUNByUuid(ctx.db(), lower, row);
        }
        if (rc == kNoSuchLUN)
            rc = Storage::FindLUNByName(ctx.db(), id, row);
        if (rc != 0)
            return rc;
        uuid = row.uuid;
        return 0;
    });
}

} // namespace ISCSI
