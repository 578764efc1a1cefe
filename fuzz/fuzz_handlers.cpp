// The module's handlers over the real storage library on a temporary volume: the first byte
// picks a method of the module's table, the rest is its parameter object. A handler may
// answer anything, or throw Json::LogicError (the runtime's code 100); it must not crash, and
// what it answers must write as valid JSON.
//
// The run is kept to itself: as root it gets its own network namespace (nothing is reached
// beyond it: calls to other appliances fail at once) and its own mount namespace with a
// 256 MiB tmpfs as data directory and volume, so that thick LUNs and copies stay bounded.
// tgtd is off. Methods that attach loop devices, mount or reach block devices (loop mount,
// vhost, LUN backup) are left out: they act on the machine outside the run.
#include "FuzzSupport.h"

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>
#include <kova/APITable.h>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

extern "C" void KOVAPlatformStart();

namespace {

std::vector<KOVA::APITableRow> gRows;
std::string gDir;

// The temporary directory goes at exit, with the tmpfs on it.
void RemoveDir()
{
    umount2(gDir.c_str(), MNT_DETACH);
    std::error_code ec;
    std::filesystem::remove_all(gDir, ec);
}

bool LeftOut(const KOVA::APITableRow& row)
{
    const std::string api = row.api;
    const std::string method = row.method;
    return api == "KOVA.Core.ISCSI.Lunbkp" || method.find("mount") != std::string::npos ||
           method.find("vhost") != std::string::npos || method == "subvol_convert";
}

void Isolate(const std::string& dir)
{
    if (geteuid() != 0)
        return;
    if (unshare(CLONE_NEWNET | CLONE_NEWNS) != 0)
        KOVAFuzz::Broken("cannot enter namespaces of its own", std::strerror(errno));
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        KOVAFuzz::Broken("cannot make mounts private", std::strerror(errno));
    if (mount("tmpfs", dir.c_str(), "tmpfs", 0, "size=256m,mode=0700") != 0)
        KOVAFuzz::Broken("cannot mount the tmpfs", std::strerror(errno));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    char pattern[] = "/tmp/kova-fuzz-handlers-XXXXXX";
    const char* dir = mkdtemp(pattern);
    if (!dir)
        KOVAFuzz::Broken("cannot make a temporary directory");
    gDir = dir;
    Isolate(dir);
    std::atexit(RemoveDir);
    setenv("KOVA_DATA_DIR", (std::string(dir) + "/data").c_str(), 1);
    setenv("KOVA_TGTD", "off", 1);
    unsetenv("KOVA_VOLUMES");
    KOVAPlatformStart();
    for (const KOVA::APITableRow* row = GetAPITable(); row->api; ++row) {
        if (!LeftOut(*row))
            gRows.push_back(*row);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1 || gRows.empty())
        return 0;
    const KOVA::APITableRow& row = gRows[data[0] % gRows.size()];
    Json::Value value = KOVAFuzz::ValueOf(data + 1, size - 1);
    Json::Value params(Json::objectValue);
    if (value.isObject())
        params.swap(value);
    else
        params["name"] = value;
    KOVA::APIRequest request(params, "127.0.0.1", "admin", "sid");
    KOVA::APIResponse response;
    std::string raw;
    response.SetOutputSink([&raw](const std::string&, const std::string& bytes) { raw += bytes; });
    try {
        KOVA::APIOutputScope scope(&response);
        row.handler(&request, &response);
    } catch (const Json::LogicError&) {
        return 0; // the runtime answers 100
    }
    KOVAFuzz::CheckWritable(response.GetData());
    KOVAFuzz::CheckWritable(response.GetErrorData());
    return 0;
}
