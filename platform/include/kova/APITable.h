// One row of a web-API module's method table, and the function a module exports to give it.
#pragma once

namespace KOVA {
class APIRequest;
class APIResponse;

typedef void (*APIHandler)(APIRequest* request, APIResponse* response);

// The table ends with a row of four zero fields.
struct APITableRow {
    const char* api;
    int version;
    const char* method;
    APIHandler handler;
};

} // namespace KOVA

extern "C" {
// Exported by every web-API module under this plain name.
const KOVA::APITableRow* GetAPITable(void);
typedef const KOVA::APITableRow* (*GetAPITableFn)(void);
}
