// Sparse-aware, cancellable copies of LUN images.
#include "clone/CopyEngine.h"
#include "util/Fd.h"

#include <iscsi/ISCSIErrors.h>

#include <fcntl.h>
#include <linux/fs.h>
#include <openssl/evp.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace ISCSI {
namespace Storage {
namespace {

// The most bytes one copy_file_range (or read/write round) moves between two looks at the
// cancel flag.
constexpr std::uint64_t kChunk = 8 * 1024 * 1024;

// The rate limit: -1 until set or read from the environment.
std::atomic<std::int64_t> gRateLimit{-1};

int CodeOfErrno(int error)
{
    return error == ENOSPC || error == EDQUOT ? ISCSI_ERR_NO_SPACE : ISCSI_ERR_COPY_FAILED;
}

} // namespace

// Calls fn(offset, length) for every data extent of fd below length, in order; a file system
// without hole detection gives one extent over the whole length. False (errno set) on a
// failure of lseek, or when fn answers false.
bool ForEachExtent(int fd, off_t length, const std::function<bool(off_t, off_t)>& fn)
{
    off_t pos = 0;
    while (pos < length) {
        off_t data = lseek(fd, pos, SEEK_DATA);
        off_t hole;
        if (data < 0) {
            if (errno == ENXIO)
                return true;
            if (errno != EINVAL && errno != EOPNOTSUPP)
                return false;
            data = pos;
            hole = length;
        } else {
            hole = lseek(fd, data, SEEK_HOLE);
            if (hole < 0)
                hole = length;
        }
        if (data >= length)
            return true;
        hole = std::min(hole, length);
        if (!fn(data, hole - data))
            return false;
        pos = hole;
    }
    return true;
}

// Calls fn(offset, length) for every block of blockSize (aligned) that holds a data extent,
// in order, each once; the last one may be shorter.
bool ForEachDataBlock(int fd, off_t length, std::uint64_t blockSize,
                      const std::function<bool(off_t, off_t)>& fn)
{
    off_t next = 0; // the first block not yet given
    return ForEachExtent(fd, length, [&](off_t start, off_t size) {
        off_t block = static_cast<off_t>(static_cast<std::uint64_t>(start) / blockSize * blockSize);
        block = std::max(block, next);
        const off_t end = start + size;
        for (; block < end; block += static_cast<off_t>(blockSize)) {
            const off_t len = std::min<off_t>(static_cast<off_t>(blockSize), length - block);
            if (!fn(block, len))
                return false;
            next = block + static_cast<off_t>(blockSize);
        }
        return true;
    });
}

Pacer::Pacer() : limit_(CopyRateLimit()), start_(std::chrono::steady_clock::now()) {}

std::uint64_t Pacer::chunk(std::uint64_t wanted) const
{
    if (limit_ == 0)
        return wanted;
    return std::max<std::uint64_t>(4096, std::min<std::uint64_t>(wanted, limit_ / 10));
}

bool Pacer::pace(std::uint64_t moved, JobControl* job)
{
    if (limit_ == 0)
        return true;
    total_ += moved;
    const auto due = start_ + std::chrono::microseconds(total_ * 1000000 / limit_);
    while (std::chrono::steady_clock::now() < due) {
        if (job && job->cancelled())
            return false;
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
            due - std::chrono::steady_clock::now(), std::chrono::milliseconds(20)));
    }
    return true;
}

bool ReadFull(int fd, char* buf, off_t offset, off_t length)
{
    off_t done = 0;
    while (done < length) {
        const ssize_t n = pread(fd, buf + done, static_cast<size_t>(length - done), offset + done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0) {
                // The file became shorter while being copied: the rest reads as zeros.
                std::memset(buf + done, 0, static_cast<size_t>(length - done));
                return true;
            }
            return false;
        }
        done += n;
    }
    return true;
}

bool WriteFull(int fd, const char* buf, off_t offset, off_t length)
{
    off_t done = 0;
    while (done < length) {
        const ssize_t n = pwrite(fd, buf + done, static_cast<size_t>(length - done), offset + done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = EIO;
            return false;
        }
        done += n;
    }
    return true;
}

bool AllZero(const char* buf, std::size_t length)
{
    static const char zeros[4096] = {};
    while (length > 0) {
        const std::size_t n = std::min(length, sizeof(zeros));
        if (std::memcmp(buf, zeros, n) != 0)
            return false;
        buf += n;
        length -= n;
    }
    return true;
}

namespace {

// Copies one range, in chunks: copy_file_range, or read and write where the kernel refuses
// it between these files. Checks the cancel flag before each chunk.
int CopyRange(int in, int out, off_t offset, off_t length, JobControl* job, std::uint64_t& done,
              std::vector<char>& buffer, bool& useCopyFileRange, Pacer& pacer)
{
    off_t pos = offset;
    const off_t end = offset + length;
    while (pos < end) {
        if (job && job->cancelled())
            return ISCSI_ERR_JOB_CANCELLED;
        const off_t want = std::min<off_t>(static_cast<off_t>(pacer.chunk(kChunk)), end - pos);
        off_t moved = 0;
        if (useCopyFileRange) {
            loff_t inPos = pos;
            loff_t outPos = pos;
            const ssize_t n = copy_file_range(in, &inPos, out, &outPos, static_cast<size_t>(want), 0);
            if (n > 0) {
                moved = n;
            } else if (n == 0) {
                return 0; // the source ended early
            } else if (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ||
                       errno == EBADF) {
                useCopyFileRange = false;
                continue;
            } else if (errno == EINTR) {
                continue;
            } else {
                return CodeOfErrno(errno);
            }
        } else {
            if (buffer.size() < kChunk)
                buffer.resize(kChunk);
            if (!ReadFull(in, buffer.data(), pos, want))
                return CodeOfErrno(errno);
            if (!WriteFull(out, buffer.data(), pos, want))
                return CodeOfErrno(errno);
            moved = want;
        }
        pos += moved;
        done += static_cast<std::uint64_t>(moved);
        if (job)
            job->progress(done);
        if (!pacer.pace(static_cast<std::uint64_t>(moved), job))
            return ISCSI_ERR_JOB_CANCELLED;
    }
    return 0;
}

struct DigestDeleter {
    void operator()(EVP_MD_CTX* ctx) const { EVP_MD_CTX_free(ctx); }
};

class Digest {
public:
    Digest() : ctx_(EVP_MD_CTX_new())
    {
        ok_ = ctx_ && EVP_DigestInit_ex(ctx_.get(), EVP_sha256(), nullptr) == 1;
    }
    void add(const void* data, std::size_t length)
    {
        ok_ = ok_ && EVP_DigestUpdate(ctx_.get(), data, length) == 1;
    }
    void addNumber(std::uint64_t value)
    {
        unsigned char bytes[8];
        for (int i = 7; i >= 0; --i) {
            bytes[i] = static_cast<unsigned char>(value & 0xff);
            value >>= 8;
        }
        add(bytes, sizeof(bytes));
    }
    bool finish(std::string& hex)
    {
        unsigned char md[EVP_MAX_MD_SIZE];
        unsigned int len = 0;
        if (!ok_ || EVP_DigestFinal_ex(ctx_.get(), md, &len) != 1)
            return false;
        static const char digits[] = "0123456789abcdef";
        hex.clear();
        for (unsigned int i = 0; i < len; ++i) {
            hex += digits[md[i] >> 4];
            hex += digits[md[i] & 0xf];
        }
        return true;
    }

private:
    std::unique_ptr<EVP_MD_CTX, DigestDeleter> ctx_;
    bool ok_ = false;
};

// Reads src block by block, digests it, and writes the non-zero blocks to out when out >= 0.
int DigestBlocks(int in, off_t length, int out, JobControl* job, std::string& digest)
{
    std::uint64_t total = 0;
    if (!ForEachDataBlock(in, length, kDigestBlockSize, [&](off_t, off_t len) {
            total += static_cast<std::uint64_t>(len);
            return true;
        }))
        return ISCSI_ERR_COPY_FAILED;
    if (job)
        job->setTotal(total);

    Digest sha;
    sha.addNumber(static_cast<std::uint64_t>(length));
    std::vector<char> buffer(kDigestBlockSize);
    std::uint64_t done = 0;
    int rc = 0;
    Pacer pacer;
    const bool walked = ForEachDataBlock(in, length, kDigestBlockSize, [&](off_t offset, off_t len) {
        if (job && job->cancelled()) {
            rc = ISCSI_ERR_JOB_CANCELLED;
            return false;
        }
        if (!ReadFull(in, buffer.data(), offset, len)) {
            rc = CodeOfErrno(errno);
            return false;
        }
        if (!AllZero(buffer.data(), static_cast<std::size_t>(len))) {
            sha.addNumber(static_cast<std::uint64_t>(offset) / kDigestBlockSize);
            sha.add(buffer.data(), static_cast<std::size_t>(len));
            if (out >= 0 && !WriteFull(out, buffer.data(), offset, len)) {
                rc = CodeOfErrno(errno);
                return false;
            }
        }
        done += static_cast<std::uint64_t>(len);
        if (job)
            job->progress(done);
        if (!pacer.pace(static_cast<std::uint64_t>(len), job)) {
            rc = ISCSI_ERR_JOB_CANCELLED;
            return false;
        }
        return true;
    });
    if (rc != 0)
        return rc;
    if (!walked)
        return ISCSI_ERR_COPY_FAILED;
    return sha.finish(digest) ? 0 : ISCSI_ERR_COPY_FAILED;
}

// Ends a copy into dst: sets its length, syncs and closes it; on any failure (rc non-zero
// included) removes dst. Answers the final code.
int FinishDestination(Fd& out, const std::string& dst, off_t length, int rc)
{
    if (rc == 0 && ftruncate(out.get(), length) != 0)
        rc = CodeOfErrno(errno);
    if (rc == 0 && fsync(out.get()) != 0)
        rc = CodeOfErrno(errno);
    if (!out.closeNow() && rc == 0)
        rc = CodeOfErrno(errno);
    if (rc != 0)
        std::remove(dst.c_str());
    return rc;
}

// Reads the facts of the source of a copy into st and creates its destination, which must
// not exist. 0, ISCSI_ERR_COPY_FAILED for the source, or the code of the errno of the
// destination.
int OpenDestination(int in, const std::string& dst, Fd& out, struct stat& st)
{
    if (in < 0 || fstat(in, &st) != 0)
        return ISCSI_ERR_COPY_FAILED;
    out.reset(::open(dst.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return out.valid() ? 0 : CodeOfErrno(errno);
}

} // namespace

void SetCopyRateLimit(std::uint64_t bytesPerSecond)
{
    gRateLimit = static_cast<std::int64_t>(bytesPerSecond);
}

std::uint64_t CopyRateLimit()
{
    const std::int64_t set = gRateLimit.load();
    if (set >= 0)
        return static_cast<std::uint64_t>(set);
    const char* env = std::getenv("KOVA_COPY_MAX_BYTES_PER_SEC");
    if (!env || !*env)
        return 0;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(env, &end, 10);
    return end && *end == '\0' ? value : 0;
}

bool DataExtentBytes(const std::string& path, std::uint64_t& bytes)
{
    Fd in(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return DataExtentBytes(in.get(), bytes);
}

bool DataExtentBytes(int in, std::uint64_t& bytes)
{
    struct stat st {};
    if (in < 0 || fstat(in, &st) != 0)
        return false;
    std::uint64_t sum = 0;
    if (!ForEachExtent(in, st.st_size, [&](off_t, off_t len) {
            sum += static_cast<std::uint64_t>(len);
            return true;
        }))
        return false;
    bytes = sum;
    return true;
}

int CopyLunImage(const std::string& src, const std::string& dst, bool tryReflink, JobControl* job,
                 CopyWay* way)
{
    Fd in(::open(src.c_str(), O_RDONLY | O_CLOEXEC));
    return CopyLunImage(in.get(), dst, tryReflink, job, way);
}

int CopyLunImage(int src, const std::string& dst, bool tryReflink, JobControl* job, CopyWay* way)
{
    Fd out;
    struct stat st {};
    if (const int opened = OpenDestination(src, dst, out, st))
        return opened;

    if (tryReflink && ioctl(out.get(), FICLONE, src) == 0) {
        if (job) {
            job->setTotal(static_cast<std::uint64_t>(st.st_size));
            job->progress(static_cast<std::uint64_t>(st.st_size));
        }
        if (way)
            *way = CopyWay::Reflink;
        return FinishDestination(out, dst, st.st_size, 0);
    }

    std::uint64_t total = 0;
    if (!ForEachExtent(src, st.st_size, [&](off_t, off_t len) {
            total += static_cast<std::uint64_t>(len);
            return true;
        }))
        return FinishDestination(out, dst, st.st_size, ISCSI_ERR_COPY_FAILED);
    if (job)
        job->setTotal(total);

    std::uint64_t done = 0;
    std::vector<char> buffer;
    bool useCopyFileRange = true;
    int rc = 0;
    Pacer pacer;
    const bool walked = ForEachExtent(src, st.st_size, [&](off_t offset, off_t len) {
        rc = CopyRange(src, out.get(), offset, len, job, done, buffer, useCopyFileRange, pacer);
        return rc == 0;
    });
    if (rc == 0 && !walked)
        rc = ISCSI_ERR_COPY_FAILED;
    if (way)
        *way = CopyWay::ExtentCopy;
    return FinishDestination(out, dst, st.st_size, rc);
}

int CopyWithDigest(const std::string& src, const std::string& dst, std::uint64_t length, JobControl* job,
                   std::string& digest)
{
    Fd in(::open(src.c_str(), O_RDONLY | O_CLOEXEC));
    return CopyWithDigest(in.get(), dst, length, job, digest);
}

int CopyWithDigest(int src, const std::string& dst, std::uint64_t length, JobControl* job,
                   std::string& digest)
{
    Fd out;
    struct stat st {};
    if (const int opened = OpenDestination(src, dst, out, st))
        return opened;
    const int rc = DigestBlocks(src, st.st_size, out.get(), job, digest);
    const off_t finalLength = std::max<off_t>(st.st_size, static_cast<off_t>(length));
    return FinishDestination(out, dst, finalLength, rc);
}

int ContentDigest(const std::string& path, std::string& digest)
{
    Fd in(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat st {};
    if (in.get() < 0 || fstat(in.get(), &st) != 0)
        return ISCSI_ERR_COPY_FAILED;
    return DigestBlocks(in.get(), st.st_size, -1, nullptr, digest);
}

} // namespace Storage
} // namespace ISCSI
