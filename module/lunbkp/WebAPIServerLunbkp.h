// Handlers of API KOVA.Core.ISCSI.Lunbkp, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
