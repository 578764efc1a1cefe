// The export manifest reader: the fuzzer's bytes are an export's export.json, read by
// ReadExportMetadata from a descriptor, as an import would. An accepted manifest names an image inside its
// directory.
#include "FuzzSupport.h"
#include "export/ExportFormat.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

std::string& Dir()
{
    static std::string dir = [] {
        char pattern[] = "/tmp/kova-fuzz-manifest-XXXXXX";
        const char* made = mkdtemp(pattern);
        if (!made)
            KOVAFuzz::Broken("cannot make a temporary directory");
        return std::string(made);
    }();
    return dir;
}

void RemoveDir()
{
    std::remove((Dir() + "/" + ISCSI::Storage::kExportMetadataName).c_str());
    rmdir(Dir().c_str());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Dir();
    std::atexit(RemoveDir);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string path = Dir() + "/" + ISCSI::Storage::kExportMetadataName;
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        KOVAFuzz::Broken("cannot write the manifest", path);
    if (size > 0 && std::fwrite(data, 1, size, file) != size)
        KOVAFuzz::Broken("cannot write the manifest", path);
    std::fclose(file);
    // The import reads the manifest from a descriptor opened inside the volume.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        KOVAFuzz::Broken("cannot open the manifest", path);
    ISCSI::Storage::ExportMetadata metadata;
    const int read = ISCSI::Storage::ReadExportMetadata(fd, metadata);
    ::close(fd);
    if (read == 0) {
        if (metadata.image.empty() || metadata.image.find('/') != std::string::npos)
            KOVAFuzz::Broken("an accepted manifest names an image outside its directory", metadata.image);
        KOVAFuzz::CheckWritable(metadata.all);
    }
    return 0;
}
