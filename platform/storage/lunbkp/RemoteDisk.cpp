// A disk LUN of an iSCSI target through libiscsi (see RemoteDisk.h).
#include "lunbkp/RemoteDisk.h"

#include <iscsi/ISCSIErrors.h>

extern "C" {
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>
}

#include <poll.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <vector>

namespace ISCSI {
namespace Storage {
namespace {

// The name this node gives itself as an initiator.
constexpr char kInitiatorIqn[] = "iqn.2026-01.org.kova.iscsi:lunbkp";
// The seconds a SCSI command may take before the session counts as lost.
constexpr int kCommandTimeoutSeconds = 30;
// The most blocks one WRITE SAME zeroes.
constexpr std::uint64_t kZeroBytesPerCommand = 64 * 1024 * 1024;

struct AsyncResult {
    bool done = false;
    int status = 0;
};

void OnDone(iscsi_context*, int status, void*, void* privateData)
{
    auto* result = static_cast<AsyncResult*>(privateData);
    result->done = true;
    result->status = status;
}

// Serves the context until the asynchronous call of result has answered or the deadline has
// passed. True when it answered SCSI_STATUS_GOOD.
bool RunUntilDone(iscsi_context* iscsi, AsyncResult& result, std::chrono::steady_clock::time_point deadline)
{
    while (!result.done) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        pollfd pfd{iscsi_get_fd(iscsi), static_cast<short>(iscsi_which_events(iscsi)), 0};
        const int n = poll(&pfd, 1, static_cast<int>(std::min<long long>(left.count(), 200)));
        if (n < 0 && errno != EINTR)
            return false;
        if (iscsi_service(iscsi, n > 0 ? pfd.revents : 0) < 0 && !result.done)
            return false;
    }
    return result.status == SCSI_STATUS_GOOD;
}

// Runs a command, again while it answers UNIT ATTENTION (the first command of a session to a
// logical unit reports its power-on reset); the task is GOOD or null.
scsi_task* Command(const std::function<scsi_task*()>& send)
{
    for (int attempt = 0; attempt < 4; ++attempt) {
        scsi_task* task = send();
        if (!task)
            return nullptr;
        if (task->status == SCSI_STATUS_GOOD)
            return task;
        const bool retry =
            task->status == SCSI_STATUS_CHECK_CONDITION && task->sense.key == SCSI_SENSE_UNIT_ATTENTION;
        scsi_free_scsi_task(task);
        if (!retry)
            return nullptr;
    }
    return nullptr;
}

// Whether the LUN is a disk that answers now: a direct-access device, connected.
bool IsDisk(iscsi_context* iscsi, int lun)
{
    scsi_task* task = Command([&] { return iscsi_inquiry_sync(iscsi, lun, 0, 0, 255); });
    if (!task)
        return false;
    auto* inquiry = static_cast<scsi_inquiry_standard*>(scsi_datain_unmarshall(task));
    const bool disk = inquiry && inquiry->qualifier == SCSI_INQUIRY_PERIPHERAL_QUALIFIER_CONNECTED &&
                      inquiry->device_type == SCSI_INQUIRY_PERIPHERAL_DEVICE_TYPE_DIRECT_ACCESS;
    scsi_free_scsi_task(task);
    return disk;
}

// The first disk LUN that REPORT LUNS lists, or -1.
int FirstDiskLun(iscsi_context* iscsi)
{
    scsi_task* task = Command([&] { return iscsi_reportluns_sync(iscsi, 0, 16384); });
    if (!task)
        return -1;
    std::vector<int> luns;
    auto* list = static_cast<scsi_reportluns_list*>(scsi_datain_unmarshall(task));
    for (std::uint32_t i = 0; list && i < list->num; ++i)
        luns.push_back(list->luns[i]);
    scsi_free_scsi_task(task);
    std::sort(luns.begin(), luns.end());
    for (int lun : luns)
        if (IsDisk(iscsi, lun))
            return lun;
    return -1;
}

} // namespace

RemoteDisk::~RemoteDisk()
{
    close();
}

void RemoteDisk::close()
{
    if (!iscsi_)
        return;
    if (iscsi_is_logged_in(iscsi_))
        iscsi_logout_sync(iscsi_);
    iscsi_destroy_context(iscsi_);
    iscsi_ = nullptr;
}

int RemoteDisk::open(const std::string& portal, const std::string& iqn, int& lun, int timeoutSeconds)
{
    close();
    iscsi_ = iscsi_create_context(kInitiatorIqn);
    if (!iscsi_)
        return ISCSI_ERR_LUNBKP_TARGET_UNREACHABLE;
    iscsi_set_targetname(iscsi_, iqn.c_str());
    iscsi_set_session_type(iscsi_, ISCSI_SESSION_NORMAL);
    iscsi_set_header_digest(iscsi_, ISCSI_HEADER_DIGEST_NONE);
    // A lost session fails the copy (which then resumes from its bitmap) rather than waiting
    // for reconnections.
    iscsi_set_reconnect_max_retries(iscsi_, 0);
    iscsi_set_timeout(iscsi_, timeoutSeconds);

    AsyncResult connected;
    if (iscsi_connect_async(iscsi_, portal.c_str(), OnDone, &connected) != 0 ||
        !RunUntilDone(iscsi_, connected,
                      std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds))) {
        syslog(LOG_WARNING, "iSCSI storage: no iSCSI target answered at %s: %s", portal.c_str(),
               iscsi_get_error(iscsi_));
        close();
        return ISCSI_ERR_LUNBKP_TARGET_UNREACHABLE;
    }
    AsyncResult loggedIn;
    if (iscsi_login_async(iscsi_, OnDone, &loggedIn) != 0 ||
        !RunUntilDone(iscsi_, loggedIn,
                      std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds))) {
        syslog(LOG_WARNING, "iSCSI storage: the target %s at %s refused the login: %s", iqn.c_str(),
               portal.c_str(), iscsi_get_error(iscsi_));
        close();
        return ISCSI_ERR_LUNBKP_TARGET_LOGIN;
    }
    iscsi_set_timeout(iscsi_, kCommandTimeoutSeconds);
    if (lun < 0)
        lun = FirstDiskLun(iscsi_);
    scsi_task* task = lun < 0 ? nullptr : Command([&] { return iscsi_readcapacity16_sync(iscsi_, lun); });
    auto* capacity = task ? static_cast<scsi_readcapacity16*>(scsi_datain_unmarshall(task)) : nullptr;
    if (!capacity || capacity->block_length == 0) {
        if (task)
            scsi_free_scsi_task(task);
        close();
        return ISCSI_ERR_LUNBKP_NO_DEVICE;
    }
    blocks_ = capacity->returned_lba + 1;
    blockSize_ = capacity->block_length;
    scsi_free_scsi_task(task);
    lun_ = lun;
    zeroWay_ = 0;
    return 0;
}

int RemoteDisk::read(std::uint64_t offset, std::uint64_t length, char* buf)
{
    const std::uint64_t bytes = roundUp(length);
    scsi_iovec iov{buf, static_cast<size_t>(bytes)};
    scsi_task* task = Command([&] {
        return iscsi_read16_iov_sync(iscsi_, lun_, offset / blockSize_, static_cast<std::uint32_t>(bytes),
                                     static_cast<int>(blockSize_), 0, 0, 0, 0, 0, &iov, 1);
    });
    if (!task)
        return ISCSI_ERR_COPY_FAILED;
    scsi_free_scsi_task(task);
    return 0;
}

int RemoteDisk::write(std::uint64_t offset, std::uint64_t length, const char* buf)
{
    const std::uint64_t bytes = roundUp(length);
    scsi_task* task = Command([&] {
        return iscsi_write16_sync(
            iscsi_, lun_, offset / blockSize_, reinterpret_cast<unsigned char*>(const_cast<char*>(buf)),
            static_cast<std::uint32_t>(bytes), static_cast<int>(blockSize_), 0, 0, 0, 0, 0);
    });
    if (!task)
        return ISCSI_ERR_COPY_FAILED;
    scsi_free_scsi_task(task);
    return 0;
}

int RemoteDisk::zero(std::uint64_t offset, std::uint64_t length)
{
    const std::uint64_t end = offset + roundUp(length);
    std::vector<unsigned char> zeros(zeroWay_ == 2 ? kZeroBytesPerCommand : blockSize_, 0);
    for (std::uint64_t at = offset; at < end;) {
        const std::uint64_t bytes = std::min(end - at, kZeroBytesPerCommand);
        scsi_task* task = nullptr;
        if (zeroWay_ < 2) {
            task = Command([&] {
                return iscsi_writesame16_sync(iscsi_, lun_, at / blockSize_, zeros.data(), blockSize_,
                                              static_cast<std::uint32_t>(bytes / blockSize_), 0,
                                              zeroWay_ == 0 ? 1 : 0, 0, 0);
            });
            if (!task) {
                // The target does not release blocks (or has no WRITE SAME): the next way.
                ++zeroWay_;
                if (zeroWay_ == 2)
                    zeros.assign(kZeroBytesPerCommand, 0);
                continue;
            }
        } else {
            task = Command([&] {
                return iscsi_write16_sync(iscsi_, lun_, at / blockSize_, zeros.data(),
                                          static_cast<std::uint32_t>(bytes), static_cast<int>(blockSize_), 0,
                                          0, 0, 0, 0);
            });
            if (!task)
                return ISCSI_ERR_COPY_FAILED;
        }
        scsi_free_scsi_task(task);
        at += bytes;
    }
    return 0;
}

int RemoteDisk::sync()
{
    scsi_task* task = Command([&] { return iscsi_synchronizecache16_sync(iscsi_, lun_, 0, 0, 0, 0); });
    if (!task)
        return ISCSI_ERR_COPY_FAILED;
    scsi_free_scsi_task(task);
    return 0;
}

} // namespace Storage
} // namespace ISCSI
