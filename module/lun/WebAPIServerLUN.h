// Handlers of API KOVA.Core.ISCSI.LUN, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
