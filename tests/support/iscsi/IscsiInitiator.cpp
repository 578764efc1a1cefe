// The tests' initiator over libiscsi.
#include "IscsiInitiator.h"

extern "C" {
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>
}

namespace KOVATest {
namespace {

// The sense or transport error of a finished task, as text; empty when it succeeded.
std::string TaskError(iscsi_context* iscsi, scsi_task* task)
{
    if (!task)
        return std::string("no task: ") + iscsi_get_error(iscsi);
    if (task->status == SCSI_STATUS_GOOD)
        return {};
    if (task->status == SCSI_STATUS_CHECK_CONDITION)
        return std::string("check condition: ") + scsi_sense_key_str(task->sense.key) + " / " +
               scsi_sense_ascq_str(task->sense.ascq);
    return "status " + std::to_string(task->status) + ": " + iscsi_get_error(iscsi);
}

// Runs a command, again while it answers UNIT ATTENTION when retry is set.
template <typename Command> scsi_task* Send(bool retry, Command command)
{
    scsi_task* task = nullptr;
    for (int attempt = 0; attempt < (retry ? 4 : 1); ++attempt) {
        task = command();
        if (!retry || !task || task->status != SCSI_STATUS_CHECK_CONDITION ||
            task->sense.key != SCSI_SENSE_UNIT_ATTENTION)
            return task;
        scsi_free_scsi_task(task);
        task = nullptr;
    }
    return task;
}

} // namespace

Initiator::~Initiator()
{
    Disconnect();
}

void Initiator::Disconnect()
{
    if (!iscsi_)
        return;
    iscsi_logout_sync(iscsi_);
    iscsi_destroy_context(iscsi_);
    iscsi_ = nullptr;
}

bool Initiator::Connect(const InitiatorLogin& login, std::string& error)
{
    Disconnect();
    iscsi_context* iscsi = iscsi_create_context(login.initiatorIqn.c_str());
    if (!iscsi) {
        error = "cannot create an iSCSI context";
        return false;
    }
    iscsi_set_targetname(iscsi, login.targetIqn.c_str());
    iscsi_set_session_type(iscsi, ISCSI_SESSION_NORMAL);
    iscsi_set_header_digest(iscsi, login.offerHeaderCrc32c ? ISCSI_HEADER_DIGEST_NONE_CRC32C
                                                           : ISCSI_HEADER_DIGEST_NONE);
    if (login.failFast)
        iscsi_set_reconnect_max_retries(iscsi, 0);
    iscsi_set_timeout(iscsi, 10);
    if (!login.chapUser.empty())
        iscsi_set_initiator_username_pwd(iscsi, login.chapUser.c_str(), login.chapPassword.c_str());
    if (!login.mutualUser.empty())
        iscsi_set_target_username_pwd(iscsi, login.mutualUser.c_str(), login.mutualPassword.c_str());
    if (iscsi_full_connect_sync(iscsi, login.portal.c_str(), login.lun) != 0) {
        error = iscsi_get_error(iscsi);
        iscsi_destroy_context(iscsi);
        return false;
    }
    iscsi_ = iscsi;
    lun_ = login.lun;
    retryUnitAttention_ = login.retryUnitAttention;
    return true;
}

bool Initiator::ReadCapacity(std::uint64_t& blocks, std::uint32_t& blockSize, std::string& error)
{
    return ReadCapacity(lun_, blocks, blockSize, error);
}

bool Initiator::ReadCapacity(int lun, std::uint64_t& blocks, std::uint32_t& blockSize, std::string& error)
{
    scsi_task* task = Send(retryUnitAttention_, [&] { return iscsi_readcapacity16_sync(iscsi_, lun); });
    error = TaskError(iscsi_, task);
    bool ok = error.empty();
    if (ok) {
        auto* rc16 = static_cast<scsi_readcapacity16*>(scsi_datain_unmarshall(task));
        ok = rc16 != nullptr;
        if (ok) {
            blocks = rc16->returned_lba + 1;
            blockSize = rc16->block_length;
        } else {
            error = "cannot read the READ CAPACITY (16) data";
        }
    }
    if (task)
        scsi_free_scsi_task(task);
    return ok;
}

bool Initiator::Write(std::uint64_t lba, const std::string& data, std::uint32_t blockSize, std::string& error)
{
    return Write(lun_, lba, data, blockSize, error);
}

bool Initiator::Write(int lun, std::uint64_t lba, const std::string& data, std::uint32_t blockSize,
                      std::string& error)
{
    std::string buffer = data;
    scsi_task* task = Send(retryUnitAttention_, [&] {
        return iscsi_write16_sync(iscsi_, lun, lba, reinterpret_cast<unsigned char*>(&buffer[0]),
                                  static_cast<std::uint32_t>(buffer.size()), static_cast<int>(blockSize), 0,
                                  0, 0, 0, 0);
    });
    error = TaskError(iscsi_, task);
    if (task)
        scsi_free_scsi_task(task);
    return error.empty();
}

bool Initiator::Read(std::uint64_t lba, std::uint32_t blocks, std::uint32_t blockSize, std::string& data,
                     std::string& error)
{
    return Read(lun_, lba, blocks, blockSize, data, error);
}

bool Initiator::Read(int lun, std::uint64_t lba, std::uint32_t blocks, std::uint32_t blockSize,
                     std::string& data, std::string& error)
{
    scsi_task* task = Send(retryUnitAttention_, [&] {
        return iscsi_read16_sync(iscsi_, lun, lba, blocks * blockSize, static_cast<int>(blockSize), 0, 0, 0,
                                 0, 0);
    });
    error = TaskError(iscsi_, task);
    if (error.empty())
        data.assign(reinterpret_cast<const char*>(task->datain.data),
                    static_cast<std::size_t>(task->datain.size));
    if (task)
        scsi_free_scsi_task(task);
    return error.empty();
}

bool Initiator::Synchronize(std::string& error)
{
    scsi_task* task =
        Send(retryUnitAttention_, [&] { return iscsi_synchronizecache10_sync(iscsi_, lun_, 0, 0, 0, 0); });
    error = TaskError(iscsi_, task);
    if (task)
        scsi_free_scsi_task(task);
    return error.empty();
}

bool Initiator::ReportLuns(std::vector<int>& luns, std::string& error)
{
    scsi_task* task = Send(retryUnitAttention_, [&] {
        return iscsi_reportluns_sync(iscsi_, SCSI_REPORTLUNS_REPORT_ALL_LUNS, 16384);
    });
    error = TaskError(iscsi_, task);
    bool ok = error.empty();
    if (ok) {
        auto* list = static_cast<scsi_reportluns_list*>(scsi_datain_unmarshall(task));
        ok = list != nullptr;
        luns.clear();
        for (std::uint32_t i = 0; ok && i < list->num; ++i)
            luns.push_back(list->luns[i] & 0x3fff);
        if (!ok)
            error = "cannot read the REPORT LUNS data";
    }
    if (task)
        scsi_free_scsi_task(task);
    return ok;
}

} // namespace KOVATest
