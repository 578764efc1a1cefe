// Handlers of API KOVA.Core.ISCSI.Node, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
