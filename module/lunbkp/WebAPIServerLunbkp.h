// Handlers of API KOVA.Core.ISCSI.Lunbkp, version 1.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>

namespace ISCSI {
namespace WebAPI {
namespace APILUNBKP {

void BackupLunMove(KOVA::APIRequest* request, KOVA::APIResponse* response);
void TargetConnect(KOVA::APIRequest* request, KOVA::APIResponse* response);
void TargetDisconnect(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LunBackupStart(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LunBackupStop(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LunRestoreStart(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LunRestoreStop(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LunBkpProgressGet(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LunBkpBitmapReset(KOVA::APIRequest* request, KOVA::APIResponse* response);
void LunBkpSizeGet(KOVA::APIRequest* request, KOVA::APIResponse* response);

} // namespace APILUNBKP
} // namespace WebAPI
} // namespace ISCSI
