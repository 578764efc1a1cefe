// Handlers of API KOVA.Core.ISCSI.Replication, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APIReplication {

void Create(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response);
void List(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response);
void SendSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void StopSending(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Promote(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Demote(KOVA::APIRequest* request, KOVA::APIResponse* response);
void ComputeUnsyncSize(KOVA::APIRequest* request, KOVA::APIResponse* response);
void GetUnsyncSize(KOVA::APIRequest* request, KOVA::APIResponse* response);
void CheckNode(KOVA::APIRequest* request, KOVA::APIResponse* response);
void CreateTask(KOVA::APIRequest* request, KOVA::APIResponse* response);
void DeleteTask(KOVA::APIRequest* request, KOVA::APIResponse* response);
void GetBaseVersion(KOVA::APIRequest* request, KOVA::APIResponse* response);
void GetToken(KOVA::APIRequest* request, KOVA::APIResponse* response);
void CleanToken(KOVA::APIRequest* request, KOVA::APIResponse* response);

} // namespace APIReplication
} // namespace WebAPI
} // namespace ISCSI
