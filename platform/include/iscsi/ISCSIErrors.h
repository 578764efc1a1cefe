// Error codes of the storage library and their texts.
#pragma once

// The text of an error code of the 1899xxxx range (or of 0); never null. Unknown codes
// answer "Unknown error".
extern "C" const char* KOVAiSCSIStrError(int code);

namespace ISCSI {

enum {
    // An operation this build of the storage library does not offer yet.
    ISCSI_ERR_NOT_AVAILABLE = 18999001,
};

} // namespace ISCSI
