// The module's method table: every method of every API, in the table's fixed order, ended
// by a null row. The web-API runtime walks it to route requests by API, version and method.
// Each API keeps its rows beside its handlers, in <API folder>/WebAPIServer<API>Rows.inc.
#include "WebAPITable.h"

#include "lun/WebAPIServerLUN.h"
#include "lunbkp/WebAPIServerLunbkp.h"
#include "node/WebAPIServerNode.h"
#include "replication/WebAPIServerReplication.h"
#include "target/WebAPIServerTarget.h"
#include "vlun/WebAPIServerVLUN.h"

namespace {
[[maybe_unused]] const char API_LUN[] = "KOVA.Core.ISCSI.LUN";
[[maybe_unused]] const char API_TARGET[] = "KOVA.Core.ISCSI.Target";
[[maybe_unused]] const char API_REPLICATION[] = "KOVA.Core.ISCSI.Replication";
[[maybe_unused]] const char API_VLUN[] = "KOVA.Core.ISCSI.VLUN";
[[maybe_unused]] const char API_NODE[] = "KOVA.Core.ISCSI.Node";
[[maybe_unused]] const char API_LUNBKP[] = "KOVA.Core.ISCSI.Lunbkp";
} // namespace

extern "C" {

const KOVA::APITableRow gTable[] = {
// clang-format off
#include "lun/WebAPIServerLUNRows.inc"
#include "target/WebAPIServerTargetRows.inc"
#include "replication/WebAPIServerReplicationRows.inc"
#include "vlun/WebAPIServerVLUNRows.inc"
#include "node/WebAPIServerNodeRows.inc"
#include "lunbkp/WebAPIServerLunbkpRows.inc"
    {nullptr, 0, nullptr, nullptr},
    // clang-format on
};

const KOVA::APITableRow* GetAPITable(void)
{
    return gTable;
}
}
