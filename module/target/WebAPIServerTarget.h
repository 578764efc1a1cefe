// Handlers of API KOVA.Core.ISCSI.Target, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APITarget {

void Create(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response);
void List(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Enable(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Disable(KOVA::APIRequest* request, KOVA::APIResponse* response);
void MapLUN(KOVA::APIRequest* request, KOVA::APIResponse* response);
void UnmapLUN(KOVA::APIRequest* request, KOVA::APIResponse* response);
void ACLMasksSet(KOVA::APIRequest* request, KOVA::APIResponse* response);
void ACLMasksAdd(KOVA::APIRequest* request, KOVA::APIResponse* response);
void ACLMasksRemove(KOVA::APIRequest* request, KOVA::APIResponse* response);
void NetworkPortalsAdd(KOVA::APIRequest* request, KOVA::APIResponse* response);
void NetworkPortalsRemove(KOVA::APIRequest* request, KOVA::APIResponse* response);

} // namespace APITarget
} // namespace WebAPI
} // namespace ISCSI
