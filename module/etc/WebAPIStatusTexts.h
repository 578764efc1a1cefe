// The texts of the status values of node and task records. Every server source includes
// this header and so holds its own copy of both tables, built when the module loads.
#pragma once

#include <string>

namespace ISCSI {
namespace WebAPI {

static const std::string NodeStatusTexts[] = {
    "OK",
    "iSCSI kernel modules are not loaded",
    "iSCSI task handler's daemon is dead",
    "system is not in BOOT_DONE status",
    "unknown node status",
};

static const std::string TaskStatusTexts[] = {
    "doing sync",
    "sync done",
    "not a sink task",
    "unknown task status",
};

} // namespace WebAPI
} // namespace ISCSI
