// Handlers of API KOVA.Core.ISCSI.Replication, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
