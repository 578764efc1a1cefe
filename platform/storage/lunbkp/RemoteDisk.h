// A disk LUN of an iSCSI target, reached in user space through libiscsi: login with a bounded
// wait, READ CAPACITY, reads and writes of whole blocks, zeroing, and SYNCHRONIZE CACHE. The
// block copies of LUN backup use one session each; targetConnect uses one to check the target
// and find its disk LUN.
#pragma once

#include <cstdint>
#include <string>

struct iscsi_context;

namespace ISCSI {
namespace Storage {

class RemoteDisk {
public:
    RemoteDisk() = default;
    ~RemoteDisk();
    RemoteDisk(const RemoteDisk&) = delete;
    RemoteDisk& operator=(const RemoteDisk&) = delete;

    // Connects to portal ("a.b.c.d:port", "[v6]:port"), logs in to the target iqn and reads the
    // capacity of its LUN lun; lun -1 takes the first LUN that is a disk (a target's LUN 0 is
    // often its controller) and sets lun to it. The connection and the login each get
    // timeoutSeconds. 0, ISCSI_ERR_LUNBKP_TARGET_UNREACHABLE (nothing answered),
    // ISCSI_ERR_LUNBKP_TARGET_LOGIN (the login was refused) or ISCSI_ERR_LUNBKP_NO_DEVICE (no
    // disk LUN, or its capacity cannot be read).
    int open(const std::string& portal, const std::string& iqn, int& lun, int timeoutSeconds = 10);
    void close();

    std::uint64_t bytes() const { return blocks_ * blockSize_; }
    std::uint32_t blockSize() const { return blockSize_; }

    // Whole blocks at a byte offset (a multiple of the block size); length is rounded up to
    // whole blocks, so buf must hold that much. 0 or ISCSI_ERR_COPY_FAILED.
    int read(std::uint64_t offset, std::uint64_t length, char* buf);
    int write(std::uint64_t offset, std::uint64_t length, const char* buf);
    // Zeroes the blocks of a range: WRITE SAME with UNMAP where the target releases blocks, else
    // WRITE SAME of zeros, else writes of zeros.
    int zero(std::uint64_t offset, std::uint64_t length);
    // SYNCHRONIZE CACHE of the whole LUN: what was written is on the target's disk.
    int sync();

    // The blocks that length bytes take, in bytes.
    std::uint64_t roundUp(std::uint64_t length) const
    {
        return (length + blockSize_ - 1) / blockSize_ * blockSize_;
    }

private:
    iscsi_context* iscsi_ = nullptr;
    int lun_ = 0;
    std::uint64_t blocks_ = 0;
    std::uint32_t blockSize_ = 512;
    // How zero() works on this target: 0 WRITE SAME with UNMAP, 1 WRITE SAME, 2 writes.
    int zeroWay_ = 0;
};

} // namespace Storage
} // namespace ISCSI
