// An iSCSI initiator for the end-to-end tests, over libiscsi's synchronous API: it logs in to
// one LUN of a target (with one-way or mutual CHAP when asked), reads the capacity, and reads
// and writes blocks; and a bounded runner for libiscsi's command line tools.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

struct iscsi_context;

namespace KOVATest {

struct InitiatorLogin {
    std::string portal; // "127.0.0.1:3260"
    std::string targetIqn;
    int lun = 0;
    std::string initiatorIqn = "iqn.2026-11.invalid.kova:initiator-a";
    std::string chapUser; // one-way CHAP when set
    std::string chapPassword;
    std::string mutualUser; // mutual CHAP when set: the secret the target must show
    std::string mutualPassword;
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
    // WRITE (16) and READ (16) of whole blocks at lba; false with the SCSI or transport error.
    bool Write(std::uint64_t lba, const std::string& data, std::uint32_t blockSize, std::string& error);
    bool Read(std::uint64_t lba, std::uint32_t blocks, std::uint32_t blockSize, std::string& data,
              std::string& error);
    // SYNCHRONIZE CACHE (10) of the whole LUN: written data reaches the disk.
    bool Synchronize(std::string& error);
    // The LUN numbers that REPORT LUNS lists.
    bool ReportLuns(std::vector<int>& luns, std::string& error);

private:
    iscsi_context* iscsi_ = nullptr;
    int lun_ = 0;
};

struct ToolResult {
    int exitCode = -1;  // -1 when killed or not started
    std::string output; // stdout and stderr together
};

// Runs a command with a bounded wait; the process is killed when the bound runs out.
ToolResult RunTool(std::vector<std::string> args,
                   std::chrono::milliseconds timeout = std::chrono::seconds(60));
// The full path of a program on PATH, or empty.
std::string FindOnPath(const std::string& name);
// A TCP port in 20001..60000 on which nothing listens at address now, or 0.
int FreeTcpPort(const std::string& address = "127.0.0.1");

} // namespace KOVATest
