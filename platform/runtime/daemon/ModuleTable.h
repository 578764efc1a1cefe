// The methods the daemon serves: the rows of every loaded module's table, found by API name,
// method name and version.
#pragma once

#include <kova/APITable.h>

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace KOVA {
namespace Daemon {

class ModuleTable {
public:
    ModuleTable() = default;
    ModuleTable(const ModuleTable&) = delete;
    ModuleTable& operator=(const ModuleTable&) = delete;
    // Loaded modules stay loaded for the life of the process: handlers may have left work or
    // static objects behind that outlive the table.
    ~ModuleTable() = default;

    // Loads the module at path and adds its table. False, with the reason in message, when
    // the file cannot be loaded or exports no GetAPITable; true with message naming the rows
    // left out as already served (empty when there were none).
    bool LoadModule(const std::string& path, std::string& message);
    // The start functions ("KOVAPlatformStart") that the loaded modules, or the libraries they
    // link (the storage library), export: each once, in the order found. The daemon calls them
    // after loading, before it serves, so that what must run without a request (the iSCSI data
    // path, interrupted jobs) starts with the daemon.
    using StartFn = void (*)();
    const std::vector<StartFn>& StartFunctions() const { return starts_; }
    // The session providers ("KOVASessionCheck", "KOVASessionRenew", kova/SessionProvider.h)
    // that the loaded modules or their libraries export, each once, in the order found.
    const std::vector<std::pair<void*, void*>>& SessionProviders() const { return sessionProviders_; }

    // Loads every "*.so" file of dir (in name order) that exports GetAPITable; the others are
    // closed again. loaded counts the modules loaded; notes tells what was skipped and why.
    // False, with the reason in error, when dir cannot be read.
    bool LoadModuleDir(const std::string& dir, int& loaded, std::vector<std::string>& notes,
                       std::string& error);

    // Adds the rows of table up to its null row. A row whose API, method and version another
    // module already serves is left out (the first one loaded wins) and named in duplicates.
    // Answers the number of rows added.
    size_t AddTable(const APITableRow* table, std::vector<std::string>& duplicates);

    // Finds the handler of a call: 0 and handler, or WEBAPI_ERR_NO_SUCH_API,
    // WEBAPI_ERR_NO_SUCH_METHOD (the API is served, the method is not) or
    // WEBAPI_ERR_NO_SUCH_VERSION (the method is served, not in that version).
    int Find(const std::string& api, int version, const std::string& method, APIHandler& handler) const;

    size_t RowCount() const { return rows_; }

    // The names of the APIs served, sorted.
    std::vector<std::string> ApiNames() const;
    // The lowest and highest version of any method of api; false when api is not served.
    bool ApiVersions(const std::string& api, int& minVersion, int& maxVersion) const;

private:
    std::vector<StartFn> starts_;
    std::vector<std::pair<void*, void*>> sessionProviders_;
    using Versions = std::map<int, APIHandler>;
    using Methods = std::unordered_map<std::string, Versions>;

    std::unordered_map<std::string, Methods> apis_;
    size_t rows_ = 0;
};

} // namespace Daemon
} // namespace KOVA
