// Handlers of API KOVA.Core.ISCSI.LUN, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUN {

// LUNs: create, delete, read, change, clone, map and load.
void Create(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Delete(KOVA::APIRequest* request, KOVA::APIResponse* response);
void List(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Get(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Top(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Set(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Clone(KOVA::APIRequest* request, KOVA::APIResponse* response);
void RetryStop(KOVA::APIRequest* request, KOVA::APIResponse* response);
void StopClone(KOVA::APIRequest* request, KOVA::APIResponse* response);
void TestCloneability(KOVA::APIRequest* request, KOVA::APIResponse* response);
void MapTarget(KOVA::APIRequest* request, KOVA::APIResponse* response);
void UnmapTarget(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LoadLUN(KOVA::APIRequest* request, KOVA::APIResponse* response);
void UnloadLUN(KOVA::APIRequest* request, KOVA::APIResponse* response);

// Snapshots.
void TakeSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void StopSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void DeleteSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void ListSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void GetSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void SetSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void RestoreSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void CloneSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LockSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void UnlockSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LoadSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);
void UnloadSnapshot(KOVA::APIRequest* request, KOVA::APIResponse* response);

// Export and import.
void Export(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Import(KOVA::APIRequest* request, KOVA::APIResponse* response);
void ExportCancel(KOVA::APIRequest* request, KOVA::APIResponse* response);
void ImportCancel(KOVA::APIRequest* request, KOVA::APIResponse* response);

// Vhost mapping, loop mount, whitelist and defrag.
void MapVhost(KOVA::APIRequest* request, KOVA::APIResponse* response);
void UnmapVhost(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LoopMount(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LoopUnmount(KOVA::APIRequest* request, KOVA::APIResponse* response);
void SetWhitelist(KOVA::APIRequest* request, KOVA::APIResponse* response);
void Defrag(KOVA::APIRequest* request, KOVA::APIResponse* response);
void StopDefrag(KOVA::APIRequest* request, KOVA::APIResponse* response);

} // namespace APILUN
} // namespace WebAPI
} // namespace ISCSI
