// Copies of LUN images for clones, export and import: sparse-aware, cancellable, with
// progress, and (for export and import) with a digest of the content.
//
// Holes stay holes: only the data extents of the source (lseek SEEK_DATA/SEEK_HOLE) are
// copied, and the destination gets the source's length by ftruncate. Plain copy_file_range
// over a whole file would write the holes out as zeros on ext4.
#pragma once

#include "jobs/JobRunner.h"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
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

// Paces a copy to CopyRateLimit(): after each chunk, sleeps until the bytes moved so far are
// due, in slices, so that a cancel is seen soon.
class Pacer {
public:
    Pacer();
    // The largest chunk to move at once.
    std::uint64_t chunk(std::uint64_t wanted) const;
    // Counts moved bytes and waits until they are due; false when cancelled while waiting.
    bool pace(std::uint64_t moved, JobControl* job);

private:
    std::uint64_t limit_;
    std::uint64_t total_ = 0;
    std::chrono::steady_clock::time_point start_;
};

// Calls fn(offset, length) for every data extent of fd below length, in order; a file system
// without hole detection gives one extent over the whole length. False (errno set) on a
// failure of lseek, or when fn answers false.
bool ForEachExtent(int fd, off_t length, const std::function<bool(off_t, off_t)>& fn);
// Calls fn(offset, length) for every block of blockSize (aligned) that holds a data extent,
// in order, each once; the last one may be shorter.
bool ForEachDataBlock(int fd, off_t length, std::uint64_t blockSize,
                      const std::function<bool(off_t, off_t)>& fn);

// pread and pwrite of a whole range, again after EINTR and short transfers; a file that ends
// inside the range reads as zeros past its end. False with errno on failure.
bool ReadFull(int fd, char* buf, off_t offset, off_t length);
bool WriteFull(int fd, const char* buf, off_t offset, off_t length);
// Whether the bytes are all zero.
bool AllZero(const char* buf, std::size_t length);

// The content digest of a file, as CopyWithDigest computes it: SHA-256 over the file's length
// (8 bytes, big-endian), then, for each block of kDigestBlockSize bytes in order that is not
// all zeros, its index (8 bytes, big-endian) and its bytes (the last block may be shorter).
// Blocks of zeros count the same whether they are holes or written zeros, so the digest does
// not depend on how a file system lays out the data. 0 or ISCSI_ERR_COPY_FAILED.
int ContentDigest(const std::string& path, std::string& digest);

} // namespace Storage
} // namespace ISCSI
