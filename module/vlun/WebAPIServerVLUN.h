// Handlers of API KOVA.Core.ISCSI.VLUN, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APIVLUN {

void Create(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response);
void List(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Bind(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Unbind(KOVA::APIRequest* request, KOVA::APIResponse* response);

} // namespace APIVLUN
} // namespace WebAPI
} // namespace ISCSI
