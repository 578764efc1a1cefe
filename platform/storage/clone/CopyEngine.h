// Copies of LUN images for clones, export and import: sparse-aware, cancellable, with
// progress, and (for export and import) with a digest of the content.
//
// Holes stay holes: only the data extents of the source (lseek SEEK_DATA/SEEK_HOLE) are
// copied, and the destination gets the source's length by ftruncate. Plain copy_file_range
// over a whole file would write the holes out as zeros on ext4.
#pragma once

#include "jobs/JobRunner.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace ISCSI {
namespace Storage {

// How CopyLunImage made its copy.
enum class CopyWay { Reflink, ExtentCopy };

// The size of the blocks of a digest copy (and of its digest).
constexpr std::uint64_t kDigestBlockSize = 1024 * 1024;

// The bytes that a copy of the file goes through: the sum of its data extents (the whole
// length on file systems without hole detection). False when the file cannot be read.
bool DataExtentBytes(const std::string& path, std::uint64_t& bytes);
bool DataExtentBytes(int fd, std::uint64_t& bytes);

// Copies src into dst, which must not exist; dst is synced. tryReflink: share the extents
// (ioctl FICLONE) where the file system allows it, else copy the data extents
// (copy_file_range in chunks, read/write where that is refused). job (may be null) gets the
// total and the progress and is asked for cancellation between chunks. Answers 0,
// ISCSI_ERR_JOB_CANCELLED, ISCSI_ERR_NO_SPACE or ISCSI_ERR_COPY_FAILED; on failure nothing is
// left at dst.
int CopyLunImage(const std::string& src, const std::string& dst, bool tryReflink, JobControl* job,
                 CopyWay* way = nullptr);
// The same from a source the caller opened (read from its start; left open).
int CopyLunImage(int src, const std::string& dst, bool tryReflink, JobControl* job, CopyWay* way = nullptr);

// Copies src into dst (which must not exist) block by block, skipping the blocks that hold
// no data and writing no block that is all zeros, and computes the content digest of src
// (ContentDigest). length: the length to give dst (at least src's; a longer one gets a hole
// at its end), 0 for src's own. Answers as CopyLunImage; digest is the lower-case hex text.
int CopyWithDigest(const std::string& src, const std::string& dst, std::uint64_t length, JobControl* job,
                   std::string& digest);
int CopyWithDigest(int src, const std::string& dst, std::uint64_t length, JobControl* job,
                   std::string& digest);

// The most bytes a second that the copies of this process move, to leave the disks to the
// initiators (0: no limit, the default). Without a call, the environment variable
// KOVA_COPY_MAX_BYTES_PER_SEC gives it when set. A limited copy moves small chunks and looks
// at the cancel flag at least ten times a second.
void SetCopyRateLimit(std::uint64_t bytesPerSecond);
std::uint64_t CopyRateLimit();

// The content digest of a file, as CopyWithDigest computes it: SHA-256 over the file's length
// (8 bytes, big-endian), then, for each block of kDigestBlockSize bytes in order that is not
// all zeros, its index (8 bytes, big-endian) and its bytes (the last block may be shorter).
// Blocks of zeros count the same whether they are holes or written zeros, so the digest does
// not depend on how a file system lays out the data. 0 or ISCSI_ERR_COPY_FAILED.
int ContentDigest(const std::string& path, std::string& digest);

} // namespace Storage
} // namespace ISCSI
