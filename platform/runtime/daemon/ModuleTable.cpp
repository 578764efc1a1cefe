#include "ModuleTable.h"

#include <kova/WebAPIErrors.h>

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace KOVA {
namespace Daemon {

namespace {

// A table longer than this is taken as one that lacks its null row.
constexpr size_t MAX_TABLE_ROWS = 100000;

std::string DlError()
{
    const char* text = dlerror();
    return text ? text : "unknown dynamic loader error";
}

} // namespace

bool ModuleTable::LoadModule(const std::string& path, std::string& message)
{
    message.clear();
    dlerror();
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        message = DlError();
        return false;
    }
    dlerror();
    void* symbol = dlsym(handle, "GetAPITable");
    if (!symbol) {
        message = path + ": exports no GetAPITable";
        dlclose(handle);
        return false;
    }
    auto getTable = reinterpret_cast<GetAPITableFn>(symbol);
    const APITableRow* table = getTable();
    if (!table) {
        message = path + ": GetAPITable answered no table";
        dlclose(handle);
        return false;
    }
    // dlsym on the module's handle also finds what the libraries it links export.
    if (void* start = dlsym(handle, "KOVAPlatformStart")) {
        const auto fn = reinterpret_cast<StartFn>(start);
        if (std::find(starts_.begin(), starts_.end(), fn) == starts_.end())
            starts_.push_back(fn);
    }
    const std::pair<void*, void*> provider(dlsym(handle, "KOVASessionCheck"),
                                           dlsym(handle, "KOVASessionRenew"));
    if (provider.first &&
        std::find(sessionProviders_.begin(), sessionProviders_.end(), provider) == sessionProviders_.end())
        sessionProviders_.push_back(provider);
    std::vector<std::string> duplicates;
    AddTable(table, duplicates);
    if (!duplicates.empty()) {
        message = path + ": left out, already served:";
        for (const auto& d : duplicates)
            message += " " + d;
    }
    return true;
}

bool ModuleTable::LoadModuleDir(const std::string& dir, int& loaded, std::vector<std::string>& notes,
                                std::string& error)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    std::vector<fs::path> files;
    fs::directory_iterator it(dir, ec);
    if (ec) {
        error = dir + ": " + ec.message();
        return false;
    }
    for (; it != fs::directory_iterator(); it.increment(ec)) {
        if (ec)
            break;
        const fs::path& p = it->path();
        if (p.extension() == ".so" && fs::is_regular_file(p, ec))
            files.push_back(p);
    }
    if (ec) {
        error = dir + ": " + ec.message();
        return false;
    }
    std::sort(files.begin(), files.end());
    loaded = 0;
    for (const auto& file : files) {
        std::string message;
        if (LoadModule(file.string(), message))
            ++loaded;
        if (!message.empty())
            notes.push_back(message);
    }
    return true;
}

size_t ModuleTable::AddTable(const APITableRow* table, std::vector<std::string>& duplicates)
{
    size_t added = 0;
    for (size_t i = 0; i < MAX_TABLE_ROWS && table[i].api && table[i].method; ++i) {
        const APITableRow& row = table[i];
        if (!row.handler)
            continue;
        Versions& versions = apis_[row.api][row.method];
        if (!versions.emplace(row.version, row.handler).second) {
            duplicates.push_back(std::string(row.api) + "." + row.method + " v" +
                                 std::to_string(row.version));
            continue;
        }
        ++added;
    }
    rows_ += added;
    return added;
}

int ModuleTable::Find(const std::string& api, int version, const std::string& method,
                      APIHandler& handler) const
{
    const auto a = apis_.find(api);
    if (a == apis_.end())
        return WEBAPI_ERR_NO_SUCH_API;
    const auto m = a->second.find(method);
    if (m == a->second.end())
        return WEBAPI_ERR_NO_SUCH_METHOD;
    const auto v = m->second.find(version);
    if (v == m->second.end())
        return WEBAPI_ERR_NO_SUCH_VERSION;
    handler = v->second;
    return 0;
}

std::vector<std::string> ModuleTable::ApiNames() const
{
    std::vector<std::string> names;
    names.reserve(apis_.size());
    for (const auto& a : apis_)
        names.push_back(a.first);
    std::sort(names.begin(), names.end());
    return names;
}

bool ModuleTable::ApiVersions(const std::string& api, int& minVersion, int& maxVersion) const
{
    const auto a = apis_.find(api);
    if (a == apis_.end())
        return false;
    bool any = false;
    for (const auto& m : a->second) {
        for (const auto& v : m.second) {
            if (!any || v.first < minVersion)
                minVersion = v.first;
            if (!any || v.first > maxVersion)
                maxVersion = v.first;
            any = true;
        }
    }
    return any;
}

} // namespace Daemon
} // namespace KOVA
