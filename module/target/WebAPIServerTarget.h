// Handlers of API KOVA.Core.ISCSI.Target, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
