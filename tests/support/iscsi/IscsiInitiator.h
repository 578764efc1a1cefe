// An iSCSI initiator for the tests, over libiscsi's synchronous API: it logs in to a target
// (with one-way or mutual CHAP when asked), reads the capacity of a LUN, reads and writes
// blocks, and lists the LUNs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct iscsi_context;

namespace KOVATest {

struct InitiatorLogin {
    std::string portal; // "127.0.0.1:3260"
    std::string targetIqn;
    int lun = 0; // the LUN the login checks and the commands without a LUN address
    std::string initiatorIqn = "iqn.2026-11.invalid.kova:initiator-a";
    std::string chapUser; // one-way CHAP when set
    std::string chapPassword;
    std::string mutualUser; // mutual CHAP when set: the secret the target must show
    std::string mutualPassword;
    // Header digests offered: none only, or CRC32C and none.
    bool offerHeaderCrc32c = false;
    // A refused login fails at once rather than being retried by libiscsi; when false,
    // libiscsi's own reconnect setting stays.
    bool failFast = true;
    // A command answered UNIT ATTENTION (the first command of a session to another logical unit
    // than the login's, or a changed LUN inventory) is sent again, up to four times in all.
    bool retryUnitAttention = false;
};

class Initiator {
public:
    Initiator() = default;
    ~Initiator();
    Initiator(const Initiator&) = delete;
    Initiator& operator=(const Initiator&) = delete;

    // Logs in and connects to the LUN; on false, error says why (libiscsi's own text).
    bool Connect(const InitiatorLogin& login, std::string& error);
    bool Connected() const { return iscsi_ != nullptr; }
    void Disconnect();

    // READ CAPACITY (16): the number of blocks and the block size.
    bool ReadCapacity(std::uint64_t& blocks, std::uint32_t& blockSize, std::string& error);
    bool ReadCapacity(int lun, std::uint64_t& blocks, std::uint32_t& blockSize, std::string& error);
    // WRITE (16) and READ (16) of whole blocks at lba; false with the SCSI or transport error.
    bool Write(std::uint64_t lba, const std::string& data, std::uint32_t blockSize, std::string& error);
    bool Write(int lun, std::uint64_t lba, const std::string& data, std::uint32_t blockSize,
               std::string& error);
    bool Read(std::uint64_t lba, std::uint32_t blocks, std::uint32_t blockSize, std::string& data,
              std::string& error);
    bool Read(int lun, std::uint64_t lba, std::uint32_t blocks, std::uint32_t blockSize, std::string& data,
              std::string& error);
    // SYNCHRONIZE CACHE (10) of the whole LUN: written data reaches the disk.
    bool Synchronize(std::string& error);
    // The LUN numbers that REPORT LUNS lists.
    bool ReportLuns(std::vector<int>& luns, std::string& error);

private:
    iscsi_context* iscsi_ = nullptr;
    int lun_ = 0;
    bool retryUnitAttention_ = false;
};

} // namespace KOVATest
