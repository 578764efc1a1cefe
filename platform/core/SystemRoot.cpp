// The process-wide map of the appliance's root directory and volumes.
#include <kova/SystemRoot.h>

#include <mutex>
#include <shared_mutex>
#include <vector>

namespace KOVA {
namespace {

struct RootState {
    std::shared_mutex mutex;
    std::string root = "/";
    std::map<std::string, std::string> volumes;
};

RootState& State()
{
    static RootState state;
    return state;
}

// The components of a path with "", "." and ".." folded; ".." at the top stays at the top,
// as the kernel resolves "/..".
std::vector<std::string> Components(const std::string& path)
{
    std::vector<std::string> parts;
    std::size_t pos = 0;
    while (pos <= path.size()) {
        std::size_t next = path.find('/', pos);
        if (next == std::string::npos) {
            next = path.size();
        }
        const std::string part = path.substr(pos, next - pos);
        if (part == "..") {
            if (!parts.empty()) {
                parts.pop_back();
            }
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        pos = next + 1;
    }
    return parts;
}

// Splits an absolute path into its first component, as written, and the rest.
bool SplitFirst(const std::string& path, std::string& first, std::string& rest)
{
    std::size_t begin = 0;
    while (begin < path.size()) {
        while (begin < path.size() && path[begin] == '/') {
            ++begin;
        }
        std::size_t end = path.find('/', begin);
        if (end == std::string::npos) {
            end = path.size();
        }
        const std::string part = path.substr(begin, end - begin);
        if (!part.empty() && part != ".") {
            first = part;
            rest = path.substr(end);
            return true;
        }
        begin = end;
    }
    return false;
}

// dir followed by the components, joined by single slashes.
std::string Join(const std::string& dir, const std::vector<std::string>& parts, std::size_t from)
{
    std::string out = dir;
    for (std::size_t i = from; i < parts.size(); ++i) {
        if (out.empty() || out.back() != '/') {
            out += '/';
        }
        out += parts[i];
    }
    return out.empty() ? "/" : out;
}

// A directory text without trailing slashes, "/" kept as it is.
std::string WithoutTrailingSlash(std::string dir)
{
    while (dir.size() > 1 && dir.back() == '/') {
        dir.pop_back();
    }
    return dir;
}

// Resolves path on a mapped volume into mapped; false when path is on no mapped volume.
// The caller holds the lock.
bool ResolveOnVolume(const RootState& state, const std::string& path, std::string& mapped)
{
    if (path.empty() || path[0] != '/' || state.volumes.empty()) {
        return false;
    }
    std::string first;
    std::string rest;
    if (!SplitFirst(path, first, rest) || first == "..") {
        return false;
    }
    const auto it = state.volumes.find("/" + first);
    if (it == state.volumes.end()) {
        return false;
    }
    // The rest is folded on its own, so that ".." stops at the volume's directory.
    mapped = Join(it->second, Components(rest), 0);
    return true;
}

} // namespace

void SystemRoot::SetRoot(const std::string& dir)
{
    RootState& state = State();
    std::unique_lock<std::shared_mutex> lock(state.mutex);
    state.root = dir.empty() ? "/" : WithoutTrailingSlash(dir);
}

std::string SystemRoot::Root()
{
    RootState& state = State();
    std::shared_lock<std::shared_mutex> lock(state.mutex);
    return state.root;
}

bool SystemRoot::SetVolume(const std::string& volume, const std::string& dir)
{
    if (volume.empty() || volume[0] != '/') {
        return false;
    }
    const std::vector<std::string> parts = Components(volume);
    if (parts.size() != 1 || volume.find("..") != std::string::npos) {
        return false;
    }
    const std::string key = "/" + parts[0];
    RootState& state = State();
    std::unique_lock<std::shared_mutex> lock(state.mutex);
    if (dir.empty()) {
        state.volumes.erase(key);
    } else {
        state.volumes[key] = WithoutTrailingSlash(dir);
    }
    return true;
}

void SystemRoot::ClearVolumes()
{
    RootState& state = State();
    std::unique_lock<std::shared_mutex> lock(state.mutex);
    state.volumes.clear();
}

std::map<std::string, std::string> SystemRoot::Volumes()
{
    RootState& state = State();
    std::shared_lock<std::shared_mutex> lock(state.mutex);
    return state.volumes;
}

std::string SystemRoot::ResolveVolumePath(const std::string& path)
{
    RootState& state = State();
    std::shared_lock<std::shared_mutex> lock(state.mutex);
    std::string mapped;
    return ResolveOnVolume(state, path, mapped) ? mapped : path;
}

std::string SystemRoot::ResolveFile(const std::string& path)
{
    RootState& state = State();
    std::shared_lock<std::shared_mutex> lock(state.mutex);
    std::string mapped;
    if (ResolveOnVolume(state, path, mapped)) {
        return mapped;
    }
    if (path.empty() || path[0] != '/') {
        return path;
    }
    return Join(state.root, Components(path), 0);
}

} // namespace KOVA
