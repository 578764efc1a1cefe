// Reading and writing the metadata of an exported snapshot.
#include "export/ExportFormat.h"

#include <kova/JsonText.h>

#include <iscsi/ISCSIErrors.h>

#include <fcntl.h>
#include <unistd.h>

#include <memory>

namespace ISCSI {
namespace Storage {

int ReadExportMetadata(int fd, ExportMetadata& metadata)
{
    std::string body;
    char chunk[16384];
    for (;;) {
        const ssize_t n = ::pread(fd, chunk, sizeof(chunk), static_cast<off_t>(body.size()));
        if (n < 0)
            return ISCSI_ERR_NOT_AN_EXPORT;
        if (n == 0)
            break;
        body.append(chunk, static_cast<std::size_t>(n));
        if (body.size() > kExportMetadataMaxBytes)
            return ISCSI_ERR_NOT_AN_EXPORT;
    }
    // Strict JSON, as WriteJsonFile writes it: no comments (JsonCpp's default reader keeps
    // them in the value, and writers would put them back into replies), nothing after it.
    Json::Value document;
    if (!KOVA::fromString(document, body) || !document.isObject())
        return ISCSI_ERR_NOT_AN_EXPORT;
    if (!document["format"].isString() || document["format"].asString() != kExportFormatName ||
        !document["format_version"].isInt())
        return ISCSI_ERR_NOT_AN_EXPORT;
    if (document["format_version"].asInt() != kExportFormatVersion)
        return ISCSI_ERR_EXPORT_VERSION;
    const Json::Value& image = document["image"];
    if (!image.isObject() || !image["file"].isString() || !image["size"].isUInt64() ||
        !image["checksum"].isObject() || !image["checksum"]["algorithm"].isString() ||
        image["checksum"]["algorithm"].asString() != kExportDigestAlgorithm ||
        !image["checksum"]["value"].isString())
        return ISCSI_ERR_NOT_AN_EXPORT;
    const std::string file = image["file"].asString();
    if (file.empty() || file.find('/') != std::string::npos || file == "." || file == "..")
        return ISCSI_ERR_NOT_AN_EXPORT;
    metadata.formatVersion = document["format_version"].asInt();
    metadata.image = file;
    metadata.imageSize = image["size"].asUInt64();
    metadata.digest = image["checksum"]["value"].asString();
    metadata.all = document;
    return 0;
}

bool WriteJsonFile(const std::string& path, const Json::Value& document)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    const std::string text = Json::writeString(builder, document) + "\n";
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    std::size_t done = 0;
    bool ok = true;
    while (ok && done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        ok = n > 0;
        if (ok)
            done += static_cast<std::size_t>(n);
    }
    ok = ok && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (!ok)
        ::unlink(path.c_str());
    return ok;
}

} // namespace Storage
} // namespace ISCSI
