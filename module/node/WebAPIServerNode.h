// Handlers of API KOVA.Core.ISCSI.Node, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APINode {

void Create(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response);
void List(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response);
void AddNode(KOVA::APIRequest* request, KOVA::APIResponse* response);
void DeleteNode(KOVA::APIRequest* request, KOVA::APIResponse* response);
void CreateSession(KOVA::APIRequest* request, KOVA::APIResponse* response);
void DeleteSession(KOVA::APIRequest* request, KOVA::APIResponse* response);
void SubvolConvert(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LogList(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LogClear(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LogExport(KOVA::APIRequest* request, KOVA::APIResponse* response);

} // namespace APINode
} // namespace WebAPI
} // namespace ISCSI
