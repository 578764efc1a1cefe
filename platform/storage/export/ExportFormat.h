// The layout of an exported snapshot (see docs/jobs.md):
//
//   <dir>/lun.img      the image of the snapshot, as long as the LUN, sparse (blocks of zeros
//                      are holes);
//   <dir>/export.json  the metadata, written last: an export without it is not complete.
//
// export.json holds the format name and version, the image's file name, length and content
// digest (CopyEngine.h: SHA-256 over the non-zero 1 MiB blocks), and the facts of the LUN and
// of the snapshot that were exported.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

namespace ISCSI {
namespace Storage {

constexpr char kExportFormatName[] = "kova-iscsi-lun-export";
constexpr int kExportFormatVersion = 1;
constexpr char kExportImageName[] = "lun.img";
constexpr char kExportMetadataName[] = "export.json";
constexpr char kExportDigestAlgorithm[] = "sha256-nonzero-1MiB-blocks";
// The suffix of files of an export that is still being written.
constexpr char kExportPartialSuffix[] = ".partial";

// What import needs of an export's metadata.
struct ExportMetadata {
    int formatVersion = 0;
    std::string image; // file name inside the directory
    std::uint64_t imageSize = 0;
    std::string digest; // lower-case hex
    Json::Value all;    // the whole document
};

// The most bytes an export.json may have.
constexpr std::size_t kExportMetadataMaxBytes = 1024 * 1024;

// Reads an export.json from fd (opened by the caller, read from its start). 0,
// ISCSI_ERR_NOT_AN_EXPORT (unreadable, larger than kExportMetadataMaxBytes, not this format,
// fields missing or of the wrong type, an image name with a '/'), or ISCSI_ERR_EXPORT_VERSION
// (a format version other than kExportFormatVersion).
int ReadExportMetadata(int fd, ExportMetadata& metadata);
// Writes the document to path (created, must not exist) and syncs it. false on failure.
bool WriteJsonFile(const std::string& path, const Json::Value& document);

} // namespace Storage
} // namespace ISCSI
